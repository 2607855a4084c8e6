// SPDX-License-Identifier: MIT
// The answer and sequence files: what each reads, warns about and keeps,
// refuses, and that whatever it read is written back whole. And the
// definitions in use, which a file that does not read leaves alone.
#include "automation/answerparser.h"
#include "automation/answerwriter.h"
#include "automation/definitions.h"
#include "automation/sequenceparser.h"
#include "automation/sequencewriter.h"
#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(AnswerRule)
Q_DECLARE_METATYPE(SequenceStep)

namespace {

enum Kind { Answers, Sequences };

QByteArray answers(const QByteArray& rules)
{
    return "<?xml version=\"1.0\"?>\n<qrvanswers>\n" + rules + "</qrvanswers>\n";
}

QByteArray sequences(const QByteArray& body)
{
    return "<?xml version=\"1.0\"?>\n<qrvsequences>\n" + body + "</qrvsequences>\n";
}

QByteArray sequence(const QByteArray& steps)
{
    return "<sequence name=\"s\">" + steps + "</sequence>";
}

AnswerRule make(const QString& name, const QString& when, const QString& answer, int channel, int delay, int limit,
                int every, bool enabled)
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

Sequence make(const QString& name, bool continueOnFail, const QVector<SequenceStep>& steps)
{
    Sequence s;
    s.name = name;
    s.continueOnFail = continueOnFail;
    s.steps = steps;
    return s;
}

// A file of either kind as read.
struct File
{
    explicit File(Kind kind) : kind(kind) {}
    bool parse(const QByteArray& bytes) { return kind == Answers ? answers.parse(bytes) : sequences.parse(bytes); }
    QString formatError() const { return kind == Answers ? answers.formatError() : sequences.formatError(); }
    bool isEmpty() const { return kind == Answers ? answers.rules().isEmpty() : sequences.sequences().isEmpty(); }
    // Whether what was read, written and read again, is the same.
    bool readsBack() const
    {
        if (kind == Answers) {
            AnswerParser again;
            return again.parse(AnswerWriter().encode(answers.rules())) && again.rules() == answers.rules();
        }
        SequenceParser again;
        return again.parse(SequenceWriter().encode(sequences.sequences())) &&
               again.sequences() == sequences.sequences();
    }

    Kind kind;
    AnswerParser answers;
    SequenceParser sequences;
};

} // namespace

class TestAutomationFiles : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void answersRoundTrip();
    void sequencesRoundTrip();
    void readsRule_data();
    void readsRule();
    void readsStep_data();
    void readsStep();
    void readsSequenceAttributes();
    void answerWarnings_data();
    void answerWarnings();
    void sequenceWarnings_data();
    void sequenceWarnings();
    void errors_data();
    void errors();
    void damagedFiles_data();
    void damagedFiles();
    void readsWhatASaveWrites_data();
    void readsWhatASaveWrites();
    void unreadableFileKeepsWhatIsInUse_data();
    void unreadableFileKeepsWhatIsInUse();
    void editedTreeIsTakenOver();

private:
    QTemporaryDir m_dir;
};

void TestAutomationFiles::answersRoundTrip()
{
    const QVector<AnswerRule> rules = {
        make(QStringLiteral("status"), QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 2,
             20, 0, 0, true),
        make(QString(), QStringLiteral("Login=(Operator=\"a<b&c\")"),
             QStringLiteral("LoginReply=(Text=\"é ${Operator}\")"), AnswerRule::AnyChannel, 0, 3, 0, false),
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
    control.answer = QStringLiteral("A\001B");
    QVERIFY(parser.parse(writer.encode({control})));
    QCOMPARE(parser.rules().first().answer, QStringLiteral("AB"));
}

void TestAutomationFiles::sequencesRoundTrip()
{
    const QVector<Sequence> sequences = {
        make(QStringLiteral("Status <&> \"all\""), false,
             {SequenceStep::send(1, QStringLiteral("GetStatus")),
              SequenceStep::expect(1, QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 500), SequenceStep::wait(0),
              SequenceStep::repeat(3), SequenceStep::send(2, QStringLiteral("Login=(Operator=\"a<b&c é\")")),
              SequenceStep::wait(25), SequenceStep::end(), SequenceStep::stop()}),
        make(QStringLiteral("empty"), true, {}),
        make(QStringLiteral("open repeat"), true, {SequenceStep::repeat(0), SequenceStep::end(), SequenceStep::end()}),
    };
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.qrvseq"));
    SequenceWriter writer;
    QVERIFY2(writer.save(sequences, path), qPrintable(writer.errorString()));
    SequenceParser parser;
    QVERIFY2(parser.parse(path), qPrintable(parser.formatError()));
    // The stray <end> of the last sequence is kept, and warned about.
    QCOMPARE(parser.warnings().count(QStringLiteral("Warning: ")), 1);
    QVERIFY(parser.warnings().contains(QStringLiteral("<end> without <repeat>")));
    QCOMPARE(parser.sequences(), sequences);
    // Control characters cannot live in XML; the rest of the text does.
    Sequence control = sequences.first();
    control.steps.first().text = QStringLiteral("A\001B");
    QVERIFY(parser.parse(writer.encode({control})));
    QCOMPARE(parser.sequences().first().steps.first().text, QStringLiteral("AB"));
}

void TestAutomationFiles::readsRule_data()
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
    QTest::newRow("numbers as 1 and 0")
        << QByteArray("<rule enabled=\"1\" channel=\"any\"><when>A</when><answer>B</answer></rule>")
        << make(QString(), QStringLiteral("A"), QStringLiteral("B"), AnswerRule::AnyChannel, 0, 0, 0, true);
    QTest::newRow("periodic") << QByteArray("<rule channel=\"1\" every=\"10000\"><answer>S</answer></rule>")
                              << make(QString(), QString(), QStringLiteral("S"), 1, 0, 0, 10000, true);
    QTest::newRow("trimmed, comments") << QByteArray(
                                              "<!-- c --><rule>\n <when>\n A </when><answer> B\n</answer></rule>")
                                       << make(QString(), QStringLiteral("A"), QStringLiteral("B"),
                                               AnswerRule::AnyChannel, 0, 0, 0, true);
}

void TestAutomationFiles::readsRule()
{
    QFETCH(QByteArray, xml);
    QFETCH(AnswerRule, rule);
    AnswerParser parser;
    QVERIFY2(parser.parse(answers(xml)), qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    QCOMPARE(parser.rules().size(), 1);
    QCOMPARE(parser.rules().first(), rule);
}

void TestAutomationFiles::readsStep_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<SequenceStep>("step");

    QTest::newRow("send") << QByteArray("<send channel=\"2\">GetStatus</send>")
                          << SequenceStep::send(2, QStringLiteral("GetStatus"));
    QTest::newRow("send trimmed, comments around")
        << QByteArray("<!-- c --><send channel=\"1\">\n  A=(B=1)\n</send><!-- d -->")
        << SequenceStep::send(1, QStringLiteral("A=(B=1)"));
    QTest::newRow("expect") << QByteArray("<expect channel=\"1\" within=\"250\">R=(X=*)</expect>")
                            << SequenceStep::expect(1, QStringLiteral("R=(X=*)"), 250);
    QTest::newRow("expect within 0") << QByteArray("<expect channel=\"2\" within=\"0\">R</expect>")
                                     << SequenceStep::expect(2, QStringLiteral("R"), 0);
    QTest::newRow("wait") << QByteArray("<wait ms=\"1\"/>") << SequenceStep::wait(1);
    QTest::newRow("wait written open and closed") << QByteArray("<wait ms=\"7\"></wait>") << SequenceStep::wait(7);
    QTest::newRow("repeat") << QByteArray("<repeat times=\"1000000\"/>") << SequenceStep::repeat(1000000);
    QTest::newRow("repeat zero times") << QByteArray("<repeat times=\"0\"/>") << SequenceStep::repeat(0);
    QTest::newRow("stop") << QByteArray("<stop/>") << SequenceStep::stop();
}

void TestAutomationFiles::readsStep()
{
    QFETCH(QByteArray, xml);
    QFETCH(SequenceStep, step);
    SequenceParser parser;
    QVERIFY2(parser.parse(sequences(sequence(xml))), qPrintable(parser.formatError()));
    // A repeat without its end is warned about; nothing else is.
    QCOMPARE(parser.warnings().isEmpty(), step.kind != SequenceStep::Repeat);
    QCOMPARE(parser.sequences().size(), 1);
    QCOMPARE(parser.sequences().first().steps, QVector<SequenceStep>{step});
}

void TestAutomationFiles::readsSequenceAttributes()
{
    SequenceParser parser;
    QVERIFY(parser.parse(sequences("<sequence name=\" a \" continue=\"true\"/><sequence name=\"b\" continue=\"0\"/>"
                                   "<sequence name=\"c\" continue=\"1\"></sequence>")));
    QCOMPARE(parser.warnings(), QString());
    QCOMPARE(parser.sequences(),
             (QVector<Sequence>{make(QStringLiteral("a"), true, {}), make(QStringLiteral("b"), false, {}),
                                make(QStringLiteral("c"), true, {})}));
}

void TestAutomationFiles::answerWarnings_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("warning"); // a part of the first warning
    QTest::addColumn<int>("line");
    QTest::addColumn<int>("rules");
    QTest::addColumn<bool>("enabled"); // of the first rule kept

    // A rule with these attributes around this content.
    const auto rule = [](const QByteArray& attributes,
                         const QByteArray& content = "<when>A</when><answer>B</answer>") -> QByteArray {
        return "<rule" + attributes + ">" + content + "</rule>";
    };
    QTest::newRow("unknown element") << "<x/>" + rule("") << "Unexpected" << 3 << 1 << true;
    QTest::newRow("unknown element in rule")
        << rule("", "<y>1</y><when>A</when><answer>B</answer>") << "Unexpected" << 3 << 1 << true;
    QTest::newRow("stray text") << "text" + rule("") << "haracters" << 3 << 1 << true;
    QTest::newRow("unknown attribute") << rule(" colour=\"red\"") << "colour" << 3 << 1 << true;
    QTest::newRow("bad channel") << rule(" channel=\"3\"") << "channel=\"3\"" << 3 << 1 << false;
    QTest::newRow("bad enabled") << rule(" enabled=\"yes\"") << "enabled=\"yes\"" << 3 << 1 << false;
    QTest::newRow("bad delay") << rule(" delay=\"-1\"") << "delay=\"-1\"" << 3 << 1 << false;
    QTest::newRow("delay too long") << rule(" delay=\"99999999999\"") << "delay" << 3 << 1 << false;
    QTest::newRow("bad limit") << rule(" limit=\"x\"") << "limit=\"x\"" << 3 << 1 << false;
    // And no <when>.
    QTest::newRow("zero every") << rule(" every=\"0\"", "<answer>B</answer>") << "every=\"0\"" << 3 << 0 << false;
    QTest::newRow("repeated when") << rule("", "\n<when>A</when>\n<when>C</when><answer>B</answer>")
                                   << "Repeated <when>" << 5 << 1 << true;
    QTest::newRow("repeated answer") << rule("", "<when>A</when><answer>B</answer><answer>C</answer>")
                                     << "Repeated <answer>" << 3 << 1 << true;
    QTest::newRow("repeated name") << rule("", "<name>a</name><name>b</name><when>A</when><answer>B</answer>")
                                   << "Repeated <name>" << 3 << 1 << true;
    QTest::newRow("no answer") << rule("", "\n<when>A</when>\n") << "without <answer>" << 5 << 0 << false;
    QTest::newRow("empty answer") << rule("", "<when>A</when><answer/>") << "without <answer>" << 3 << 0 << false;
    QTest::newRow("no when") << rule("", "<answer>B</answer>") << "without <when>" << 3 << 0 << false;
    QTest::newRow("when on a periodic rule") << rule(" every=\"5\"") << "<when> left out" << 3 << 1 << true;
}

void TestAutomationFiles::answerWarnings()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, warning);
    QFETCH(int, line);
    QFETCH(int, rules);
    QFETCH(bool, enabled);
    AnswerParser parser;
    QVERIFY2(parser.parse(answers(xml)), qPrintable(parser.formatError()));
    const QString warnings = parser.warnings();
    const QString first = warnings.section(QStringLiteral("Warning: "), 1, 1);
    QCOMPARE(warnings.count(QStringLiteral("Warning: ")), QTest::currentDataTag() == QByteArray("zero every") ? 2 : 1);
    QVERIFY2(first.contains(warning), qPrintable(warnings));
    QVERIFY2(first.contains(QStringLiteral(", Line %1,").arg(line)), qPrintable(warnings));
    QCOMPARE(parser.rules().size(), rules);
    if (rules > 0)
        QCOMPARE(parser.rules().first().enabled, enabled);
}

void TestAutomationFiles::sequenceWarnings_data()
{
    QTest::addColumn<QByteArray>("xml");  // in the file's root element
    QTest::addColumn<QString>("warning"); // a part of the first warning
    QTest::addColumn<int>("line");
    QTest::addColumn<SequenceStep>("step"); // the step kept, if any

    const SequenceStep none = SequenceStep::stop();
    QTest::newRow("unknown element at the top")
        << QByteArray("<x/>" + sequence("<stop/>")) << "Unexpected element <x>" << 3 << none;
    QTest::newRow("unknown step") << sequence("<jump/><stop/>") << "Unexpected element <jump>" << 3 << none;
    QTest::newRow("element inside wait") << sequence("<wait ms=\"1\"><x/></wait>") << "Unexpected element <x>" << 3
                                         << SequenceStep::wait(1);
    QTest::newRow("stray text in sequence") << sequence("text<stop/>") << "haracters" << 3 << none;
    QTest::newRow("text in stop") << sequence("<stop>x</stop>") << "haracters" << 3 << none;
    QTest::newRow("unknown sequence attribute")
        << QByteArray("<sequence name=\"s\" colour=\"red\"><stop/></sequence>") << "colour" << 3 << none;
    QTest::newRow("bad continue") << QByteArray("<sequence name=\"s\" continue=\"yes\"><stop/></sequence>")
                                  << "continue=\"yes\"" << 3 << none;
    QTest::newRow("no name") << QByteArray("<sequence><stop/></sequence>") << "called \"Sequence 1\"" << 3 << none;
    QTest::newRow("empty name") << QByteArray("<sequence name=\" \"><stop/></sequence>") << "without name" << 3 << none;
    QTest::newRow("two sequences of one name") << sequence("<stop/>") + "\n<sequence name=\"s\"/>"
                                               << "Another sequence is called \"s\"" << 4 << none;
    QTest::newRow("send without channel")
        << sequence("<send>A</send>") << "without channel" << 3 << SequenceStep::send(1, QStringLiteral("A"));
    QTest::newRow("send on channel 3") << sequence("<send channel=\"3\">A</send>") << "channel=\"3\"" << 3
                                       << SequenceStep::send(1, QStringLiteral("A"));
    QTest::newRow("empty send") << sequence("<send channel=\"2\"></send>") << "Empty <send>" << 3
                                << SequenceStep::send(2, QString());
    QTest::newRow("unknown send attribute")
        << sequence("<send channel=\"2\" ms=\"4\">A</send>") << "Unknown attribute ms of <send>" << 3
        << SequenceStep::send(2, QStringLiteral("A"));
    QTest::newRow("expect without within")
        << sequence("<expect channel=\"1\">R</expect>") << "without within=\"ms\" takes 1000 ms" << 3
        << SequenceStep::expect(1, QStringLiteral("R"), 1000);
    QTest::newRow("expect within negative")
        << sequence("<expect channel=\"1\" within=\"-5\">R</expect>") << "within=\"-5\"" << 3
        << SequenceStep::expect(1, QStringLiteral("R"), 1000);
    QTest::newRow("empty expect") << sequence("\n<expect channel=\"1\" within=\"5\"/>") << "Empty <expect>" << 4
                                  << SequenceStep::expect(1, QString(), 5);
    QTest::newRow("wait without ms") << sequence("<wait/>") << "without ms=\"ms\" takes 0 ms" << 3
                                     << SequenceStep::wait(0);
    QTest::newRow("wait too long") << sequence("<wait ms=\"99999999999\"/>") << "ms=\"99999999999\"" << 3
                                   << SequenceStep::wait(0);
    QTest::newRow("wait not a number") << sequence("<wait ms=\"1s\"/>") << "ms=\"1s\"" << 3 << SequenceStep::wait(0);
    QTest::newRow("wait with channel") << sequence("<wait channel=\"1\" ms=\"3\"/>")
                                       << "Unknown attribute channel of <wait>" << 3 << SequenceStep::wait(3);
    QTest::newRow("repeat without times") << sequence("<repeat/><end/>") << "runs once" << 3 << SequenceStep::repeat(1);
    QTest::newRow("repeat too often") << sequence("<repeat times=\"1000001\"/><end/>") << "times=\"1000001\"" << 3
                                      << SequenceStep::repeat(1);
    QTest::newRow("repeat without end") << sequence("<repeat times=\"2\"/>\n") << "without <end>" << 4
                                        << SequenceStep::repeat(2);
    QTest::newRow("end without repeat") << sequence("<end/>") << "<end> without <repeat>" << 3 << SequenceStep::end();
}

void TestAutomationFiles::sequenceWarnings()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, warning);
    QFETCH(int, line);
    QFETCH(SequenceStep, step);
    SequenceParser parser;
    QVERIFY2(parser.parse(sequences(xml)), qPrintable(parser.formatError()));
    const QString warnings = parser.warnings();
    QCOMPARE(warnings.count(QStringLiteral("Warning: ")), 1);
    QVERIFY2(warnings.contains(warning), qPrintable(warnings));
    QVERIFY2(warnings.contains(QStringLiteral(", Line %1,").arg(line)), qPrintable(warnings));
    QVERIFY(!parser.sequences().isEmpty());
    // Nothing the file says is lost: the step is kept with what could be read.
    QCOMPARE(parser.sequences().first().steps.value(0, SequenceStep::stop()), step);
}

void TestAutomationFiles::errors_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("words"); // part of the error, if any

    QTest::newRow("answers: empty") << int(Answers) << QByteArray() << 1 << QString();
    QTest::newRow("answers: not xml") << int(Answers) << QByteArray("hello") << 1 << QString();
    QTest::newRow("answers: other root") << int(Answers) << QByteArray("<?xml version=\"1.0\"?>\n<qrvbm/>") << 2
                                         << QString();
    QTest::newRow("answers: unclosed root")
        << int(Answers) << QByteArray("<?xml version=\"1.0\"?>\n<qrvanswers>\n<rule>") << 3 << QString();
    // The format's own words for a file cut short, not the XML library's.
    QTest::newRow("answers: cut in a rule")
        << int(Answers) << QByteArray("<?xml version=\"1.0\"?>\n<qrvanswers>\n<rule><when>A</when>") << 3
        << "Unexpected end of document";
    QTest::newRow("answers: element in answer")
        << int(Answers) << answers("<rule><when>A</when><answer><b/></answer></rule>") << 3 << QString();
    QTest::newRow("answers: duplicate attribute")
        << int(Answers) << answers("<rule delay=\"1\" delay=\"2\"><when>A</when><answer>B</answer></rule>") << 3
        << QString();
    QTest::newRow("answers: mismatched tags")
        << int(Answers) << answers("<rule><when>A</answer></rule>") << 3 << QString();
    QTest::newRow("sequences: empty") << int(Sequences) << QByteArray() << 1 << QString();
    QTest::newRow("sequences: not xml") << int(Sequences) << QByteArray("hello") << 1 << QString();
    QTest::newRow("sequences: other root")
        << int(Sequences) << QByteArray("<?xml version=\"1.0\"?>\n<qrvanswers/>") << 2 << QString();
    QTest::newRow("sequences: unclosed root")
        << int(Sequences) << QByteArray("<?xml version=\"1.0\"?>\n<qrvsequences>\n<sequence>") << 3 << QString();
    QTest::newRow("sequences: cut inside a step")
        << int(Sequences) << QByteArray("<?xml version=\"1.0\"?>\n<qrvsequences>\n<sequence>\n<send>Get") << 4
        << QString();
    QTest::newRow("sequences: element in send")
        << int(Sequences) << sequences(sequence("<send channel=\"1\"><b/></send>")) << 3 << QString();
    QTest::newRow("sequences: duplicate attribute")
        << int(Sequences) << sequences(sequence("<wait ms=\"1\" ms=\"2\"/>")) << 3 << QString();
    QTest::newRow("sequences: duplicate name")
        << int(Sequences) << sequences("<sequence name=\"a\" name=\"b\"/>") << 3 << QString();
    QTest::newRow("sequences: mismatched tags")
        << int(Sequences) << sequences(sequence("<send channel=\"1\">A</expect>")) << 3 << QString();
}

void TestAutomationFiles::errors()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, bytes);
    QFETCH(int, line);
    QFETCH(QString, words);
    File file{Kind(kind)};
    QVERIFY(!file.parse(bytes));
    QVERIFY(file.isEmpty());
    QVERIFY2(file.formatError().contains(QStringLiteral("Line %1,").arg(line)), qPrintable(file.formatError()));
    QVERIFY2(file.formatError().contains(words), qPrintable(file.formatError()));
}

void TestAutomationFiles::damagedFiles_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("good");
    QTest::newRow("answers") << int(Answers)
                             << answers("<rule channel=\"2\" delay=\"5\"><name>n</name><when>A=(B=1)</when>"
                                        "<answer>C</answer></rule><rule every=\"9\"><answer>D</answer></rule>");
    QTest::newRow("sequences") << int(Sequences)
                               << sequences("<sequence name=\"n\" continue=\"true\"><send channel=\"2\">A=(B=1)</send>"
                                            "<repeat times=\"3\"/><wait ms=\"5\"/><end/>"
                                            "<expect channel=\"1\" within=\"9\">C</expect><stop/></sequence>");
}

// Every prefix and random damage of a good file: refused with nothing
// read, or read and written back whole; never a crash.
void TestAutomationFiles::damagedFiles()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, good);
    File file{Kind(kind)};
    for (int n = 0; n + 1 < good.size(); ++n) // all but the final newline
        QCOMPARE(file.parse(good.left(n)), false);
    QRandomGenerator random(18);
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes = good;
        for (int k = 0; k < 3; ++k)
            bytes[random.bounded(int(bytes.size()))] = char(random.bounded(256));
        if (file.parse(bytes))
            QVERIFY(file.readsBack());
        else
            QVERIFY(file.isEmpty());
    }
}

void TestAutomationFiles::readsWhatASaveWrites_data()
{
    // "+2AA-" is a lone surrogate in UTF-7, which XML cannot hold.
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("document");
    QTest::newRow("in a rule") << int(Answers)
                               << QByteArray(
                                      "<?xml version=\"1.0\" encoding=\"UTF-7\"?><qrvanswers><rule channel=\"2\">"
                                      "<name>N+2AA-</name><when>GetStatus+2AA-</when><answer>GetStatusReply</answer>"
                                      "</rule></qrvanswers>");
    QTest::newRow("in a step") << int(Sequences)
                               << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-7\"?><qrvsequences>"
                                             "<sequence name=\"S\"><send channel=\"1\">GetStatus+2AA-</send>"
                                             "</sequence></qrvsequences>");
    QTest::newRow("in a sequence name") << int(Sequences)
                                        << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-7\"?><qrvsequences>"
                                                      "<sequence name=\"S+2AA-\"><send channel=\"1\">GetStatus</send>"
                                                      "</sequence></qrvsequences>");
}

void TestAutomationFiles::readsWhatASaveWrites()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, document);
    File file{Kind(kind)};
    QVERIFY2(file.parse(document), qPrintable(file.formatError()));
    QVERIFY(file.readsBack());
}

void TestAutomationFiles::unreadableFileKeepsWhatIsInUse_data()
{
    QTest::addColumn<QByteArray>("content"); // null: no such file
    QTest::newRow("bad tag number") << QByteArray("<qrv16><tag name=\"X\" id=\"zz\"/></qrv16>");
    QTest::newRow("not XML") << QByteArray("<qrv16><tag");
    QTest::newRow("missing") << QByteArray();
}

void TestAutomationFiles::unreadableFileKeepsWhatIsInUse()
{
    QFETCH(QByteArray, content);
    const QString good = m_dir.filePath(QStringLiteral("good.qrvdef"));
    QVERIFY(writeFile(good, pumpDefinitions));
    const QString bad = m_dir.filePath(QStringLiteral("bad.qrvdef"));
    QFile::remove(bad);
    if (!content.isNull())
        QVERIFY(writeFile(bad, content));
    Definitions definitions;
    QList<const QRV16::TagDataLut*> changed;
    connect(&definitions, &Definitions::changed, this, [&](const QRV16::TagDataLut* tags) { changed << tags; });
    QVERIFY(definitions.load(good));
    // A good file is announced with its table.
    QCOMPARE(changed, QList<const QRV16::TagDataLut*>{definitions.tags()});
    QCOMPARE(definitions.tags()->tagNumber(QStringLiteral("PumpId")), 0x1001);
    QCOMPARE(definitions.path(), good);
    QVERIFY(definitions.errorString().isEmpty());
    const QRV16::Item* root = definitions.root();
    const QRV16::TagDataLut* tags = definitions.tags();
    QVERIFY(!definitions.load(bad));
    QVERIFY(!definitions.errorString().isEmpty());
    QCOMPARE(definitions.root(), root);
    QCOMPARE(definitions.tags(), tags);
    QCOMPARE(definitions.path(), good);
    QCOMPARE(changed.size(), 1);
    // A good file after a bad one clears the error.
    QVERIFY(definitions.load(good));
    QVERIFY(definitions.errorString().isEmpty());
}

// The editor's tree replaces the one in use; the old table stays readable
// while the signal is out, so a receiver may compare old and new.
void TestAutomationFiles::editedTreeIsTakenOver()
{
    const QString path = m_dir.filePath(QStringLiteral("edited.qrvdef"));
    QVERIFY(writeFile(path, pumpDefinitions));
    Definitions definitions;
    QVERIFY(definitions.load(path));
    const QRV16::TagDataLut* old = definitions.tags();
    int oldPump = -1;
    connect(&definitions, &Definitions::changed, this, [&](const QRV16::TagDataLut*) {
        if (oldPump < 0)
            oldPump = old->tagNumber(QStringLiteral("PumpId"));
    });
    QRV16::Parser parser;
    QVERIFY(parser.parse(path));
    QRV16::Item* root = parser.takeRoot();
    definitions.setRoot(root, path);
    QCOMPARE(definitions.root(), root);
    QVERIFY(definitions.tags() != old);
    QCOMPARE(oldPump, 0x1001);
    definitions.setRoot(nullptr, QString());
    QVERIFY(!definitions.tags());
}

QTEST_GUILESS_MAIN(TestAutomationFiles)
#include "tst_automationfiles.moc"
