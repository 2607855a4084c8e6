// SPDX-License-Identifier: MIT
#include "connection/ansitext.h"

#include <QRandomGenerator>
#include <QtTest>

namespace {

// A run as "text:color[b][f]" for readable comparisons.
QStringList describe(const QString& plain, const QList<AnsiText::Run>& runs)
{
    QStringList out;
    for (const AnsiText::Run& run : runs) {
        QString d = plain.mid(run.start, run.length) + QLatin1Char(':') + QString::number(run.format.color);
        if (run.format.bold)
            d += QLatin1Char('b');
        if (run.format.faint)
            d += QLatin1Char('f');
        out << d;
    }
    return out;
}

} // namespace

class TestAnsiText : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parse_data();
    void parse();
    void rolesDiffer();
    void stripLeavesPlainTextAlone();
    void randomTextNeverBreaks();
};

void TestAnsiText::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("plain");
    QTest::addColumn<QStringList>("runs");
    const QString e(QChar(0x1B));

    QTest::newRow("plain text is one default run") << "abc" << "abc" << QStringList{"abc:-1"};
    QTest::newRow("basic colour then reset")
        << e + "[32mok" + e + "[0m rest" << "ok rest" << QStringList{"ok:2", " rest:-1"};
    QTest::newRow("bright colour and bold")
        << e + "[1;91mbad" + e + "[m" << "bad" << QStringList{"bad:9b"};
    QTest::newRow("default colour keeps bold")
        << e + "[1;33mA" + e + "[39mB" << "AB" << QStringList{"A:3b", "B:-1b"};
    QTest::newRow("normal intensity clears bold and faint")
        << e + "[1;2mA" + e + "[22mB" << "AB" << QStringList{"A:-1bf", "B:-1"};
    QTest::newRow("same format twice is one run")
        << e + "[36mA" + e + "[36mB" << "AB" << QStringList{"AB:6"};
    QTest::newRow("256-colour arguments are skipped")
        << e + "[38;5;196;32mA" << "A" << QStringList{"A:2"};
    QTest::newRow("true-colour arguments are skipped")
        << e + "[38;2;1;2;3;35mA" << "A" << QStringList{"A:5"};
    QTest::newRow("other sequences are dropped")
        << "a" + e + "[2Kb" + e + "[10;20Hc" << "abc" << QStringList{"abc:-1"};
    QTest::newRow("two-character escape is dropped") << "a" + e + "cb" << "ab" << QStringList{"ab:-1"};
    QTest::newRow("truncated sequence at the end") << "ab" + e + "[3" << "ab" << QStringList{"ab:-1"};
    QTest::newRow("lone escape at the end") << "ab" + e << "ab" << QStringList{"ab:-1"};
    QTest::newRow("malformed sequence keeps the character")
        << "a" + e + "[3\u00e9b" << "a\u00e9b" << QStringList{"a\u00e9b:-1"};
    QTest::newRow("unknown parameters are ignored")
        << e + "[4;53;31mx" << "x" << QStringList{"x:1"};
    QTest::newRow("non-numeric parameter is ignored") << e + "[3:2;32mx" << "x" << QStringList{"x:2"};
    QTest::newRow("a letter ends a sequence early") << e + "[3x;32mx" << ";32mx" << QStringList{";32mx:-1"};
    QTest::newRow("empty text has no runs") << "" << "" << QStringList{};
    QTest::newRow("only escapes") << e + "[31m" + e + "[0m" << "" << QStringList{};
}

void TestAnsiText::parse()
{
    QFETCH(QString, text);
    QFETCH(QString, plain);
    QFETCH(QStringList, runs);
    QList<AnsiText::Run> found;
    QCOMPARE(AnsiText::parse(text, &found), plain);
    QCOMPARE(describe(plain, found), runs);
    QCOMPARE(AnsiText::strip(text), plain);
}

void TestAnsiText::rolesDiffer()
{
    QList<AnsiText::Format> formats;
    for (int role = AnsiText::Marker; role <= AnsiText::Noise; ++role) {
        QList<AnsiText::Run> runs;
        AnsiText::parse(AnsiText::colored(AnsiText::Role(role), u"x"), &runs);
        QCOMPARE(runs.size(), 1);
        for (const AnsiText::Format& f : std::as_const(formats))
            QVERIFY2(!(f == runs.at(0).format), qPrintable(QString::number(role)));
        formats << runs.at(0).format;
    }
}

void TestAnsiText::stripLeavesPlainTextAlone()
{
    const QString text = QStringLiteral("len 0003 tag 2001 Bool | 01 = true");
    QVERIFY(!AnsiText::hasEscapes(text));
    QCOMPARE(AnsiText::strip(text), text);
    const QString colored = AnsiText::colored(AnsiText::Good, text);
    QVERIFY(AnsiText::hasEscapes(colored));
    QVERIFY(!AnsiText::hasEscapes(AnsiText::strip(colored)));
}

// Escape-dense random text: the runs always tile the plain text exactly.
void TestAnsiText::randomTextNeverBreaks()
{
    QRandomGenerator rng(99);
    const char16_t alphabet[] = {0x1B, u'[', u';', u'3', u'1', u'9', u'm', u'x', u'0', u'H', 0xE9};
    for (int round = 0; round < 20000; ++round) {
        QString text;
        const int n = int(rng.bounded(40));
        for (int i = 0; i < n; ++i)
            text += QChar(alphabet[rng.bounded(int(std::size(alphabet)))]);
        QList<AnsiText::Run> runs;
        const QString plain = AnsiText::parse(text, &runs);
        qsizetype at = 0;
        for (const AnsiText::Run& run : std::as_const(runs)) {
            QCOMPARE(run.start, at);
            QVERIFY(run.length > 0);
            at += run.length;
        }
        QCOMPARE(at, plain.size());
        QVERIFY(!plain.contains(QChar(0x1B)));
    }
}

QTEST_GUILESS_MAIN(TestAnsiText)
#include "tst_ansitext.moc"
