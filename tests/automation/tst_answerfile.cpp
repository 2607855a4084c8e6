// SPDX-License-Identifier: MIT
#include "automation/answerparser.h"
#include "automation/answerwriter.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(AnswerRule)

namespace {

QByteArray document(const QByteArray& rules)
{
    return "<?xml version=\"1.0\"?>\n<qrvanswers>\n" + rules + "</qrvanswers>\n";
}

AnswerRule make(const QString& name, const QString& when, const QString& answer, int channel, int delay,
                int limit, int every, bool enabled)
{
    AnswerRule r;
    r.name = name;
    r.when = when;
    r.answer = answer;
    r.channel = channel;
    r.delay = delay;
    r.limit = limit;
    r.every = every;
    r.enabled = enabled;
    return r;
}

} // namespace

class TestAnswerFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void roundTrip();
    void readsRule_data();
    void readsRule();
    void warnings_data();
    void warnings();
    void errors_data();
    void errors();
    void randomBytes();
    void readsWhatASaveWrites();
};

void TestAnswerFile::roundTrip()
{
    const QVector<AnswerRule> rules = {
        make(QStringLiteral("status"), QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(ResultCode=Ok)"),
             2, 20, 0, 0, true),
        make(QString(), QStringLiteral("Login=(Operator=\"a<b&c\")"), QStringLiteral("LoginReply=(Text=\"é ${Operator}\")"),
             AnswerRule::AnyChannel, 0, 3, 0, false),
        make(QStringLiteral("report"), QString(), QStringLiteral("StatusReport=(WellLevel=1)"), 1, 0, 0, 10000, true),
    };
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.qrvans"));
    AnswerWriter writer;
    QVERIFY2(writer.save(rules, path), qPrintable(writer.errorString()));
    AnswerParser parser;
    QVERIFY2(parser.parse(path), qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    QCOMPARE(parser.rules(), rules);
    // Control characters cannot live in XML; the rest of the text does.
    AnswerRule control = rules.first();
    control.answer = QStringLiteral("A\x01" "B");
    QVERIFY(parser.parse(writer.encode({control})));
    QCOMPARE(parser.rules().first().answer, QStringLiteral("AB"));
}

void TestAnswerFile::readsRule_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<AnswerRule>("rule");

    QTest::newRow("defaults") << QByteArray("<rule><when>GetStatus</when><answer>R</answer></rule>")
                              << make(QString(), QStringLiteral("GetStatus"), QStringLiteral("R"),
                                      AnswerRule::AnyChannel, 0, 0, 0, true);
    QTest::newRow("all attributes")
        << QByteArray("<rule enabled=\"false\" channel=\"2\" delay=\"15\" limit=\"4\"><name>n</name>"
                      "<when>A</when><answer>B</answer></rule>")
        << make(QStringLiteral("n"), QStringLiteral("A"), QStringLiteral("B"), 2, 15, 4, 0, false);
    QTest::newRow("numbers as 1 and 0") << QByteArray("<rule enabled=\"1\" channel=\"any\"><when>A</when><answer>B</answer></rule>")
                                        << make(QString(), QStringLiteral("A"), QStringLiteral("B"),
                                                AnswerRule::AnyChannel, 0, 0, 0, true);
    QTest::newRow("periodic") << QByteArray("<rule channel=\"1\" every=\"10000\"><answer>S</answer></rule>")
                              << make(QString(), QString(), QStringLiteral("S"), 1, 0, 0, 10000, true);
    QTest::newRow("trimmed, comments") << QByteArray("<!-- c --><rule>\n <when>\n A </when><answer> B\n</answer></rule>")
                                       << make(QString(), QStringLiteral("A"), QStringLiteral("B"),
                                               AnswerRule::AnyChannel, 0, 0, 0, true);
}

void TestAnswerFile::readsRule()
{
    QFETCH(QByteArray, xml);
    QFETCH(AnswerRule, rule);
    AnswerParser parser;
    QVERIFY2(parser.parse(document(xml)), qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    QCOMPARE(parser.rules().size(), 1);
    QCOMPARE(parser.rules().first(), rule);
}

void TestAnswerFile::warnings_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("warning"); // a part of the first warning
    QTest::addColumn<int>("line");
    QTest::addColumn<int>("rules");
    QTest::addColumn<bool>("enabled"); // of the first rule kept

    const QByteArray body = "<when>A</when><answer>B</answer>";
    QTest::newRow("unknown element") << QByteArray("<x/><rule>" + body + "</rule>") << "Unexpected" << 3 << 1 << true;
    QTest::newRow("unknown element in rule") << QByteArray("<rule><y>1</y>" + body + "</rule>") << "Unexpected" << 3 << 1 << true;
    QTest::newRow("stray text") << QByteArray("text<rule>" + body + "</rule>") << "haracters" << 3 << 1 << true;
    QTest::newRow("unknown attribute") << QByteArray("<rule colour=\"red\">" + body + "</rule>") << "colour" << 3 << 1 << true;
    QTest::newRow("bad channel") << QByteArray("<rule channel=\"3\">" + body + "</rule>") << "channel=\"3\"" << 3 << 1 << false;
    QTest::newRow("bad enabled") << QByteArray("<rule enabled=\"yes\">" + body + "</rule>") << "enabled=\"yes\"" << 3 << 1 << false;
    QTest::newRow("bad delay") << QByteArray("<rule delay=\"-1\">" + body + "</rule>") << "delay=\"-1\"" << 3 << 1 << false;
    QTest::newRow("delay too long") << QByteArray("<rule delay=\"99999999999\">" + body + "</rule>") << "delay" << 3 << 1 << false;
    QTest::newRow("bad limit") << QByteArray("<rule limit=\"x\">" + body + "</rule>") << "limit=\"x\"" << 3 << 1 << false;
    QTest::newRow("zero every") << QByteArray("<rule every=\"0\"><answer>B</answer></rule>") << "every=\"0\"" << 3 << 0 << false; // and no <when>
    QTest::newRow("repeated when") << QByteArray("<rule>\n<when>A</when>\n<when>C</when><answer>B</answer></rule>")
                                   << "Repeated <when>" << 5 << 1 << true;
    QTest::newRow("repeated answer") << QByteArray("<rule>" + body + "<answer>C</answer></rule>") << "Repeated <answer>" << 3 << 1 << true;
    QTest::newRow("repeated name") << QByteArray("<rule><name>a</name><name>b</name>" + body + "</rule>") << "Repeated <name>" << 3 << 1 << true;
    QTest::newRow("no answer") << QByteArray("<rule>\n<when>A</when>\n</rule>") << "without <answer>" << 5 << 0 << false;
    QTest::newRow("empty answer") << QByteArray("<rule><when>A</when><answer/></rule>") << "without <answer>" << 3 << 0 << false;
    QTest::newRow("no when") << QByteArray("<rule><answer>B</answer></rule>") << "without <when>" << 3 << 0 << false;
    QTest::newRow("when on a periodic rule") << QByteArray("<rule every=\"5\">" + body + "</rule>") << "<when> left out" << 3 << 1 << true;
}

void TestAnswerFile::warnings()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, warning);
    QFETCH(int, line);
    QFETCH(int, rules);
    QFETCH(bool, enabled);
    AnswerParser parser;
    QVERIFY2(parser.parse(document(xml)), qPrintable(parser.formatError()));
    const QString warnings = parser.warnings();
    const QString first = warnings.section(QStringLiteral("Warning: "), 1, 1);
    QCOMPARE(warnings.count(QStringLiteral("Warning: ")), QTest::currentDataTag() == QByteArray("zero every") ? 2 : 1);
    QVERIFY2(first.contains(warning), qPrintable(warnings));
    QVERIFY2(first.contains(QStringLiteral(", Line %1,").arg(line)), qPrintable(warnings));
    QCOMPARE(parser.rules().size(), rules);
    if (rules > 0)
        QCOMPARE(parser.rules().first().enabled, enabled);
}

void TestAnswerFile::errors_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("words"); // part of the error, if any

    QTest::newRow("empty") << QByteArray() << 1 << QString();
    QTest::newRow("not xml") << QByteArray("hello") << 1 << QString();
    QTest::newRow("other root") << QByteArray("<?xml version=\"1.0\"?>\n<qrvbm/>") << 2 << QString();
    QTest::newRow("unclosed root") << QByteArray("<?xml version=\"1.0\"?>\n<qrvanswers>\n<rule>") << 3 << QString();
    // The format's own words for a file cut short, not the XML library's.
    QTest::newRow("cut in a rule") << QByteArray("<?xml version=\"1.0\"?>\n<qrvanswers>\n<rule><when>A</when>") << 3
                                   << "Unexpected end of document";
    QTest::newRow("element in answer") << document("<rule><when>A</when><answer><b/></answer></rule>") << 3 << QString();
    QTest::newRow("duplicate attribute")
        << document("<rule delay=\"1\" delay=\"2\"><when>A</when><answer>B</answer></rule>") << 3 << QString();
    QTest::newRow("mismatched tags") << document("<rule><when>A</answer></rule>") << 3 << QString();
}

void TestAnswerFile::errors()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, line);
    QFETCH(QString, words);
    AnswerParser parser;
    QVERIFY(!parser.parse(bytes));
    QVERIFY(parser.rules().isEmpty());
    QVERIFY2(parser.formatError().contains(QStringLiteral("Line %1,").arg(line)), qPrintable(parser.formatError()));
    QVERIFY2(parser.formatError().contains(words), qPrintable(parser.formatError()));
}

void TestAnswerFile::randomBytes()
{
    // Every prefix and random damage of a good file: an answer, never a crash.
    const QByteArray good = document("<rule channel=\"2\" delay=\"5\"><name>n</name><when>A=(B=1)</when>"
                                     "<answer>C</answer></rule><rule every=\"9\"><answer>D</answer></rule>");
    AnswerParser parser;
    for (int n = 0; n + 1 < good.size(); ++n) // all but the final newline
        QCOMPARE(parser.parse(good.left(n)), false);
    QRandomGenerator random(18);
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes = good;
        for (int k = 0; k < 3; ++k)
            bytes[random.bounded(int(bytes.size()))] = char(random.bounded(256));
        if (!parser.parse(bytes))
            QVERIFY(parser.rules().isEmpty());
    }
}

void TestAnswerFile::readsWhatASaveWrites()
{
    // "+2AA-" is a lone surrogate in UTF-7, which XML cannot hold.
    const QByteArray document("<?xml version=\"1.0\" encoding=\"UTF-7\"?><qrvanswers><rule channel=\"2\">"
                              "<name>N+2AA-</name><when>GetStatus+2AA-</when><answer>GetStatusReply</answer>"
                              "</rule></qrvanswers>");
    AnswerParser parser;
    QVERIFY2(parser.parse(document), qPrintable(parser.formatError()));
    AnswerParser again;
    QVERIFY2(again.parse(AnswerWriter().encode(parser.rules())), qPrintable(again.formatError()));
    QCOMPARE(again.rules(), parser.rules());
}

QTEST_GUILESS_MAIN(TestAnswerFile)
#include "tst_answerfile.moc"
