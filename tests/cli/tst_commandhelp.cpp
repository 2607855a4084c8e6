// SPDX-License-Identifier: MIT
// Every command's --help as a user reads it on a terminal.
#include "cli/commonoptions.h"
#include "tests/cli/korvrun.h"

#include <QRegularExpression>
#include <QtTest>

class TestCommandHelp : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void help_data();
    void help();
};

void TestCommandHelp::help_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QList<int>>("common");
    using C = CommonOptions;
    QTest::newRow("encode") << "encode" << QList<int>{C::Definitions, C::Quiet, C::Help};
    QTest::newRow("decode") << "decode" << QList<int>{C::Definitions, C::Quiet, C::Help};
    QTest::newRow("trace") << "trace" << QList<int>{C::Definitions, C::Help};
    QTest::newRow("send") << "send" << QList<int>{C::Definitions, C::Quiet, C::Time, C::Help};
    QTest::newRow("listen") << "listen" << QList<int>{C::Definitions, C::Quiet, C::Time, C::Channel, C::Help};
    QTest::newRow("answer") << "answer" << QList<int>{C::Definitions, C::Quiet, C::Time, C::Channel, C::Help};
    QTest::newRow("run") << "run" << QList<int>{C::Definitions, C::Quiet, C::Time, C::Channel, C::Help};
}

// Each option on a line of its own within 80 columns, and an option that
// several commands take said the same way in each of them.
void TestCommandHelp::help()
{
    QFETCH(QString, command);
    QFETCH(QList<int>, common);
    const KorvRun r = runKorv({command, QStringLiteral("--help")});
    QCOMPARE(r.status, 0);
    const QString text = QString::fromUtf8(r.out);
    QVERIFY(text.startsWith(QLatin1String("Usage: korv ") + command));
    static const QRegularExpression optionAfterText(QStringLiteral("\\S  +--?[a-z]"));
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        if (!line.startsWith(QLatin1String("  ")))
            continue;
        QVERIFY2(line.size() <= 80, qPrintable(line));
        QVERIFY2(!optionAfterText.match(line.trimmed()).hasMatch() || line.startsWith(QLatin1String("  -")),
                 qPrintable(line));
    }
    for (int option : common) {
        const QString lines = CommonOptions::help({CommonOptions::Option(option)});
        QVERIFY2(text.contains(lines), qPrintable(lines));
    }
}

QTEST_MAIN(TestCommandHelp)
#include "tst_commandhelp.moc"
