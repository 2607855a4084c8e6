// SPDX-License-Identifier: MIT
#include "automation/sequenceparser.h"
#include "automation/sequencewriter.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(SequenceStep)

namespace {

QByteArray document(const QByteArray& body)
{
    return "<?xml version=\"1.0\"?>\n<qrvsequences>\n" + body + "</qrvsequences>\n";
}

QByteArray sequence(const QByteArray& steps)
{
    return "<sequence name=\"s\">" + steps + "</sequence>";
}

Sequence make(const QString& name, bool continueOnFail, const QVector<SequenceStep>& steps)
{
    Sequence s;
    s.name = name;
    s.continueOnFail = continueOnFail;
    s.steps = steps;
    return s;
}

} // namespace

class TestSequenceFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void roundTrip();
    void readsStep_data();
    void readsStep();
    void readsSequenceAttributes();
    void warnings_data();
    void warnings();
    void errors_data();
    void errors();
    void randomBytes();
    void readsWhatASaveWrites_data();
    void readsWhatASaveWrites();
};

void TestSequenceFile::roundTrip()
{
    const QVector<Sequence> sequences = {
        make(QStringLiteral("Status <&> \"all\""), false,
             {SequenceStep::send(1, QStringLiteral("GetStatus")),
              SequenceStep::expect(1, QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 500),
              SequenceStep::wait(0), SequenceStep::repeat(3),
              SequenceStep::send(2, QStringLiteral("Login=(Operator=\"a<b&c é\")")), SequenceStep::wait(25),
              SequenceStep::end(), SequenceStep::stop()}),
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
    control.steps.first().text = QStringLiteral("A\x01" "B");
    QVERIFY(parser.parse(writer.encode({control})));
    QCOMPARE(parser.sequences().first().steps.first().text, QStringLiteral("AB"));
}

void TestSequenceFile::readsStep_data()
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

void TestSequenceFile::readsStep()
{
    QFETCH(QByteArray, xml);
    QFETCH(SequenceStep, step);
    SequenceParser parser;
    QVERIFY2(parser.parse(document(sequence(xml))), qPrintable(parser.formatError()));
    // A repeat without its end is warned about; nothing else is.
    QCOMPARE(parser.warnings().isEmpty(), step.kind != SequenceStep::Repeat);
    QCOMPARE(parser.sequences().size(), 1);
    QCOMPARE(parser.sequences().first().steps, QVector<SequenceStep>{step});
}

void TestSequenceFile::readsSequenceAttributes()
{
    SequenceParser parser;
    QVERIFY(parser.parse(document("<sequence name=\" a \" continue=\"true\"/><sequence name=\"b\" continue=\"0\"/>"
                                  "<sequence name=\"c\" continue=\"1\"></sequence>")));
    QCOMPARE(parser.warnings(), QString());
    QCOMPARE(parser.sequences(), (QVector<Sequence>{make(QStringLiteral("a"), true, {}),
                                                    make(QStringLiteral("b"), false, {}),
                                                    make(QStringLiteral("c"), true, {})}));
}

void TestSequenceFile::warnings_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("warning"); // a part of the first warning
    QTest::addColumn<int>("line");
    QTest::addColumn<SequenceStep>("step"); // the step kept, if any

    const SequenceStep none = SequenceStep::stop();
    QTest::newRow("unknown element at the top") << document("<x/>" + sequence("<stop/>")) << "Unexpected element <x>"
                                                << 3 << none;
    QTest::newRow("unknown step") << document(sequence("<jump/><stop/>")) << "Unexpected element <jump>" << 3 << none;
    QTest::newRow("element inside wait") << document(sequence("<wait ms=\"1\"><x/></wait>")) << "Unexpected element <x>"
                                         << 3 << SequenceStep::wait(1);
    QTest::newRow("stray text in sequence") << document(sequence("text<stop/>")) << "haracters" << 3 << none;
    QTest::newRow("text in stop") << document(sequence("<stop>x</stop>")) << "haracters" << 3 << none;
    QTest::newRow("unknown sequence attribute") << document("<sequence name=\"s\" colour=\"red\"><stop/></sequence>")
                                                << "colour" << 3 << none;
    QTest::newRow("bad continue") << document("<sequence name=\"s\" continue=\"yes\"><stop/></sequence>")
                                  << "continue=\"yes\"" << 3 << none;
    QTest::newRow("no name") << document("<sequence><stop/></sequence>") << "called \"Sequence 1\"" << 3 << none;
    QTest::newRow("empty name") << document("<sequence name=\" \"><stop/></sequence>") << "without name" << 3 << none;
    QTest::newRow("two sequences of one name") << document(sequence("<stop/>") + "\n<sequence name=\"s\"/>")
                                               << "Another sequence is called \"s\"" << 4 << none;
    QTest::newRow("send without channel") << document(sequence("<send>A</send>")) << "without channel" << 3
                                          << SequenceStep::send(1, QStringLiteral("A"));
    QTest::newRow("send on channel 3") << document(sequence("<send channel=\"3\">A</send>")) << "channel=\"3\"" << 3
                                       << SequenceStep::send(1, QStringLiteral("A"));
    QTest::newRow("empty send") << document(sequence("<send channel=\"2\"></send>")) << "Empty <send>" << 3
                                << SequenceStep::send(2, QString());
    QTest::newRow("unknown send attribute") << document(sequence("<send channel=\"2\" ms=\"4\">A</send>"))
                                            << "Unknown attribute ms of <send>" << 3
                                            << SequenceStep::send(2, QStringLiteral("A"));
    QTest::newRow("expect without within") << document(sequence("<expect channel=\"1\">R</expect>"))
                                           << "without within=\"ms\" takes 1000 ms" << 3
                                           << SequenceStep::expect(1, QStringLiteral("R"), 1000);
    QTest::newRow("expect within negative") << document(sequence("<expect channel=\"1\" within=\"-5\">R</expect>"))
                                            << "within=\"-5\"" << 3 << SequenceStep::expect(1, QStringLiteral("R"), 1000);
    QTest::newRow("empty expect") << document(sequence("\n<expect channel=\"1\" within=\"5\"/>")) << "Empty <expect>"
                                  << 4 << SequenceStep::expect(1, QString(), 5);
    QTest::newRow("wait without ms") << document(sequence("<wait/>")) << "without ms=\"ms\" takes 0 ms" << 3
                                     << SequenceStep::wait(0);
    QTest::newRow("wait too long") << document(sequence("<wait ms=\"99999999999\"/>")) << "ms=\"99999999999\"" << 3
                                   << SequenceStep::wait(0);
    QTest::newRow("wait not a number") << document(sequence("<wait ms=\"1s\"/>")) << "ms=\"1s\"" << 3
                                       << SequenceStep::wait(0);
    QTest::newRow("wait with channel") << document(sequence("<wait channel=\"1\" ms=\"3\"/>"))
                                       << "Unknown attribute channel of <wait>" << 3 << SequenceStep::wait(3);
    QTest::newRow("repeat without times") << document(sequence("<repeat/><end/>")) << "runs once" << 3
                                          << SequenceStep::repeat(1);
    QTest::newRow("repeat too often") << document(sequence("<repeat times=\"1000001\"/><end/>")) << "times=\"1000001\""
                                      << 3 << SequenceStep::repeat(1);
    QTest::newRow("repeat without end") << document(sequence("<repeat times=\"2\"/>\n")) << "without <end>" << 4
                                        << SequenceStep::repeat(2);
    QTest::newRow("end without repeat") << document(sequence("<end/>")) << "<end> without <repeat>" << 3
                                        << SequenceStep::end();
}

void TestSequenceFile::warnings()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, warning);
    QFETCH(int, line);
    QFETCH(SequenceStep, step);
    SequenceParser parser;
    QVERIFY2(parser.parse(xml), qPrintable(parser.formatError()));
    const QString warnings = parser.warnings();
    QCOMPARE(warnings.count(QStringLiteral("Warning: ")), 1);
    QVERIFY2(warnings.contains(warning), qPrintable(warnings));
    QVERIFY2(warnings.contains(QStringLiteral(", Line %1,").arg(line)), qPrintable(warnings));
    QVERIFY(!parser.sequences().isEmpty());
    // Nothing the file says is lost: the step is kept with what could be read.
    QCOMPARE(parser.sequences().first().steps.value(0, SequenceStep::stop()), step);
}

void TestSequenceFile::errors_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("line");

    QTest::newRow("empty") << QByteArray() << 1;
    QTest::newRow("not xml") << QByteArray("hello") << 1;
    QTest::newRow("other root") << QByteArray("<?xml version=\"1.0\"?>\n<qrvanswers/>") << 2;
    QTest::newRow("unclosed root") << QByteArray("<?xml version=\"1.0\"?>\n<qrvsequences>\n<sequence>") << 3;
    QTest::newRow("cut inside a step") << QByteArray("<?xml version=\"1.0\"?>\n<qrvsequences>\n<sequence>\n<send>Get")
                                       << 4;
    QTest::newRow("element in send") << document(sequence("<send channel=\"1\"><b/></send>")) << 3;
    QTest::newRow("duplicate attribute") << document(sequence("<wait ms=\"1\" ms=\"2\"/>")) << 3;
    QTest::newRow("duplicate name") << document("<sequence name=\"a\" name=\"b\"/>") << 3;
    QTest::newRow("mismatched tags") << document(sequence("<send channel=\"1\">A</expect>")) << 3;
}

void TestSequenceFile::errors()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, line);
    SequenceParser parser;
    QVERIFY(!parser.parse(bytes));
    QVERIFY(parser.sequences().isEmpty());
    QVERIFY2(parser.formatError().contains(QStringLiteral("Line %1,").arg(line)), qPrintable(parser.formatError()));
}

void TestSequenceFile::randomBytes()
{
    // Every prefix and random damage of a good file: an answer, never a crash.
    const QByteArray good = document("<sequence name=\"n\" continue=\"true\"><send channel=\"2\">A=(B=1)</send>"
                                     "<repeat times=\"3\"/><wait ms=\"5\"/><end/>"
                                     "<expect channel=\"1\" within=\"9\">C</expect><stop/></sequence>");
    SequenceParser parser;
    for (int n = 0; n + 1 < good.size(); ++n) // all but the final newline
        QCOMPARE(parser.parse(good.left(n)), false);
    QRandomGenerator random(18);
    SequenceWriter writer;
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes = good;
        for (int k = 0; k < 3; ++k)
            bytes[random.bounded(int(bytes.size()))] = char(random.bounded(256));
        if (!parser.parse(bytes)) {
            QVERIFY(parser.sequences().isEmpty());
            continue;
        }
        // What was read is written back whole.
        const QVector<Sequence> read = parser.sequences();
        QVERIFY(parser.parse(writer.encode(read)));
        QCOMPARE(parser.sequences(), read);
    }
}

void TestSequenceFile::readsWhatASaveWrites_data()
{
    // "+2AA-" is a lone surrogate in UTF-7, which XML cannot hold.
    QTest::addColumn<QByteArray>("document");
    QTest::newRow("in a step") << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-7\"?><qrvsequences>"
                                             "<sequence name=\"S\"><send channel=\"1\">GetStatus+2AA-</send>"
                                             "</sequence></qrvsequences>");
    QTest::newRow("in a name") << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-7\"?><qrvsequences>"
                                             "<sequence name=\"S+2AA-\"><send channel=\"1\">GetStatus</send>"
                                             "</sequence></qrvsequences>");
}

void TestSequenceFile::readsWhatASaveWrites()
{
    QFETCH(QByteArray, document);
    SequenceParser parser;
    QVERIFY2(parser.parse(document), qPrintable(parser.formatError()));
    SequenceParser again;
    QVERIFY2(again.parse(SequenceWriter().encode(parser.sequences())), qPrintable(again.formatError()));
    QCOMPARE(again.sequences(), parser.sequences());
}

QTEST_GUILESS_MAIN(TestSequenceFile)
#include "tst_sequencefile.moc"
