// SPDX-License-Identifier: MIT
// korv on a link, end to end: one korv process plays the controller or
// listens, another sends, over loopback TCP, TLS and a pair of ptys.

#include "connection/connectionsettings.h"
#include "qrv16/messageparser.h"
#include "qrv16/pcapngwriter.h"
#include "tests/cli/korvrun.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/pcapngreader.h"
#include "tests/support/pty.h"
#include "tests/support/tracelines.h"
#include "trace/replayer.h"
#include "trace/tracemodel.h"

#include <QXmlStreamReader>
#include <QSettings>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

namespace {

const QString demoDefinitions = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef");
const QString pumpAnswers = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvans");
const QString pumpSequences = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq");

// A JUnit report as a CI system reads it: the totals, and per test case
// "name|outcome|detail".
struct JUnit
{
    QMap<QString, int> totals;
    QStringList cases;
};

JUnit readJUnit(const QString& path)
{
    JUnit report;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return report;
    QXmlStreamReader xml(&file);
    QString name;
    QString outcome;
    QString detail;
    while (xml.readNext() != QXmlStreamReader::Invalid && !xml.atEnd()) {
        if (xml.isStartElement()) {
            const QXmlStreamAttributes a = xml.attributes();
            if (xml.name() == QLatin1String("testsuites")) {
                for (const char* key : {"tests", "failures", "errors", "skipped"})
                    report.totals[QLatin1String(key)] = a.value(QLatin1String(key)).toInt();
            } else if (xml.name() == QLatin1String("testcase")) {
                name = a.value(QLatin1String("name")).toString();
                outcome = QStringLiteral("passed");
                detail.clear();
            } else if (xml.name() != QLatin1String("testsuite")) {
                outcome = xml.name().toString();
                detail = a.value(QLatin1String("message")).toString();
            }
        } else if (xml.isEndElement() && xml.name() == QLatin1String("testcase")) {
            report.cases << name + QLatin1Char('|') + outcome + QLatin1Char('|') + detail;
        }
    }
    if (xml.hasError())
        report.cases << QStringLiteral("XML error: ") + xml.errorString();
    return report;
}

// Two ptys joined master to master, as a null-modem cable joins two ports.
class PtyCable
{
public:
    PtyCable() : m_thread([this] { run(); }) {}
    ~PtyCable()
    {
        m_stop = true;
        m_thread.join();
    }
    bool isValid() const { return m_a.isValid() && m_b.isValid(); }
    QString a() const { return m_a.path(); }
    QString b() const { return m_b.path(); }

private:
    void run()
    {
        while (!m_stop) {
            pollfd fds[2] = {{m_a.masterFd(), POLLIN, 0}, {m_b.masterFd(), POLLIN, 0}};
            if (::poll(fds, 2, 20) <= 0)
                continue;
            bool moved = false;
            for (int i = 0; i < 2; ++i) {
                if (!(fds[i].revents & POLLIN))
                    continue;
                char buffer[4096];
                const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
                if (n > 0) {
                    (i == 0 ? m_b : m_a).write(QByteArray(buffer, int(n)));
                    moved = true;
                }
            }
            // A closed side keeps reporting; do not spin on it.
            if (!moved)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    korvtest::Pty m_a;
    korvtest::Pty m_b;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

QStringList withDefinitions(QStringList args)
{
    return args << QStringLiteral("-d") << demoDefinitions;
}

// `line` split at blanks; $demo, $rules and $sequences are the examples.
QStringList words(const QString& line)
{
    QStringList args = line.split(QLatin1Char(' '));
    args.replaceInStrings(QStringLiteral("$rules"), pumpAnswers);
    args.replaceInStrings(QStringLiteral("$sequences"), pumpSequences);
    args.replaceInStrings(QStringLiteral("$demo"), demoDefinitions);
    return args;
}

// korv answer as the controller on channel 2 with `rules`, over "tcp",
// "tls", "pty", "bis" (the controller is slave 5) or "settings" (a stored
// channel of the window's reaches it); and the link options of a korv that
// talks to it, empty when it did not come up.
struct Controller
{
    Controller(const QString& link, const QString& rules)
    {
        QStringList server{"--listen", "127.0.0.1:0"};
        const bool serial = link == QLatin1String("pty") || link == QLatin1String("bis");
        if (serial) {
            cable = std::make_unique<PtyCable>();
            server = {"--serial", cable->a(), "--baud", "115200"};
            client = {"--serial", cable->b(), "--baud", "115200"};
            if (link == QLatin1String("bis")) {
                server << "--bis" << "slave" << "--src" << "5";
                client << "--bis" << "master" << "--dst" << "5";
            }
        } else if (link == QLatin1String("tls")) {
            server << "--tls";
        }
        answer = std::make_unique<Background>(withDefinitions(QStringList{"answer"} + server)
                                              << "--channel" << "2" << rules);
        if (serial) {
            if (!cable->isValid() || answer->waitFor(QStringLiteral("(Port .* opened)")).isEmpty())
                client.clear();
            return;
        }
        const int port = answer->port();
        if (port <= 0)
            return;
        if (link == QLatin1String("settings")) {
            ConnectionSettings stored;
            stored.setMode(ConnectionSettings::ClientMode);
            stored.setClientAddress(QStringLiteral("127.0.0.1"));
            stored.setClientPort(port);
            stored.saveToSettings(QStringLiteral("Connection2"));
            QSettings().sync();
            client = {"--settings", "Connection2"};
            return;
        }
        client = {"--tcp", QStringLiteral("127.0.0.1:%1").arg(port)};
        if (link == QLatin1String("tls"))
            client << "--tls";
    }

    std::unique_ptr<PtyCable> cable;
    std::unique_ptr<Background> answer;
    QStringList client;
};

} // namespace

class TestKorvLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void sendExpects_data();
    void sendExpects();
    void listenLogReplaysInTheWindow();
    void aNewPeerStartsAFreshMessage_data();
    void aNewPeerStartsAFreshMessage();
    void listenEndsCleanly_data();
    void listenEndsCleanly();
    void listenPrintsHexAndTime();
    void exitCodes_data();
    void exitCodes();
    void runWritesJUnit_data();
    void runWritesJUnit();
    void runInterruptedKeepsItsReport();
    void tlsFailureIsALinkFailure_data();
    void tlsFailureIsALinkFailure();
    void answerWarnsWhenNoRuleIsForItsChannel_data();
    void answerWarnsWhenNoRuleIsForItsChannel();

private:
    QTemporaryDir m_dir;
};

void TestKorvLink::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // The window's stored channels, where both this test and korv find them.
    qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("NO_COLOR", "1");
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui"));
}

void TestKorvLink::sendExpects_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QStringList>("expects");
    QTest::addColumn<int>("status");

    const QStringList ok{"GetStatusReply=(ResultCode=Ok)"};
    const QStringList denied{"GetStatusReply=(ResultCode=Denied)"};
    const QStringList both{"GetStatusReply=(Pumps=(PumpId=2))",
                           "SetPumpModeReply=(PumpId=2 ResultCode=Denied)"};
    const QStringList twice{"GetStatusReply", "GetStatusReply"};
    for (const QString& link : words("tcp tls pty bis settings")) {
        QTest::addRow("%s matched", qPrintable(link)) << link << ok << 0;
        QTest::addRow("%s not matched", qPrintable(link)) << link << denied << 1;
    }
    QTest::newRow("two expects, two answers") << QStringLiteral("tcp") << both << 0;
    QTest::newRow("one answer cannot meet two expects") << QStringLiteral("tcp") << twice << 1;
    QTest::newRow("no expect") << QStringLiteral("pty") << QStringList() << 0;
}

void TestKorvLink::sendExpects()
{
    QFETCH(QString, link);
    QFETCH(QStringList, expects);
    QFETCH(int, status);

    Controller controller(link, pumpAnswers);
    Background& answer = *controller.answer;
    QVERIFY2(!controller.client.isEmpty(), answer.err().constData());
    QStringList args = withDefinitions(QStringList{QStringLiteral("send")} + controller.client);
    for (const QString& expect : expects)
        args << QStringLiteral("--expect") << expect;
    // Without an expect, and when one is not met, send waits for the whole
    // timeout, which also bounds bringing the link up: on a loaded machine a
    // TLS handshake under the sanitizers took more than 3 s.
    args << QStringLiteral("--timeout")
         << (expects.isEmpty() ? QStringLiteral("3000") : status == 0 ? QStringLiteral("20000") : QStringLiteral("6000"));
    args << QStringLiteral("GetStatus") << QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service)");
    const KorvRun run = runKorv(args);
    QCOMPARE(run.status, status);
    if (!expects.isEmpty()) {
        // What came back is printed, decoded, whatever the verdict.
        QVERIFY2(run.out.startsWith("GetStatusReply=(ResultCode=Ok StationName=\"North well\""), run.out.constData());
    }
    if (status == 1)
        QVERIFY2(run.err.contains("no message matched"), run.err.constData());

    QCOMPARE(answer.stop(SIGINT), 0);
    // The controller traced what it answered, and by which rule.
    QVERIFY2(answer.out().contains("GetStatus=()\n"), answer.out().constData());
    QVERIFY(answer.out().contains("\n> GetStatusReply=(ResultCode=Ok"));
    QVERIFY(answer.out().contains("answer rule \"Pump 2 locked out\""));
}

void TestKorvLink::listenLogReplaysInTheWindow()
{
    const QString csv = m_dir.filePath(QStringLiteral("listen.csv"));
    const QString pcapng = m_dir.filePath(QStringLiteral("listen.pcapng"));
    Background listen(words("listen -d $demo --listen 127.0.0.1:0 --count 3 --log")
                      << csv << "--pcapng" << pcapng);
    const int port = listen.port();
    QVERIFY2(port > 0, listen.err().constData());
    const QStringList texts{"GetStatus=()", "SetPumpMode=(PumpId=2 PumpMode=Manual)",
                            "Login=(Operator=\"j.lindqvist\")"};
    const KorvRun sent = runKorv(withDefinitions(
        QStringList{"send", "--tcp", QStringLiteral("127.0.0.1:%1").arg(port)} + texts));
    QCOMPARE(sent.status, 0);
    QCOMPARE(listen.stop(), 0);
    QCOMPARE(QString::fromUtf8(listen.out()).split(QLatin1Char('\n'), Qt::SkipEmptyParts), texts);

    // The window replays the log as it would its own.
    const auto tags = demoTags();
    TraceModel model;
    model.setTags(tags.get());
    Replayer replayer(&model);
    QSignalSpy finished(&replayer, &Replayer::finished);
    QVERIFY(replayer.start(csv, Replayer::LogFile));
    QVERIFY(finished.wait(20000));
    QCOMPARE(replayer.badRecords(), 0);
    QStringList expected;
    for (const QString& text : texts)
        expected << QStringLiteral("1|") + text;
    // The replay is framed by separator lines.
    QStringList shown = lines(model);
    shown.removeAll(QStringLiteral("|"));
    QCOMPARE(shown, expected);

    // The capture holds the same messages, as the window exports them.
    QString error;
    const QList<PcapngReader::Packet> packets = PcapngReader::readPackets(readFile(pcapng), &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(packets.size(), texts.size());
    QRV16::MessageParser messages(tags.get());
    for (int i = 0; i < texts.size(); ++i) {
        QRV16::PcapngWriter::Packet packet;
        packet.data = messages.parseList(texts.at(i)).value(0).bytes();
        QCOMPARE(packets.at(i).data, QRV16::PcapngWriter::header(packet) + packet.data);
        QCOMPARE(packets.at(i).comment, QRV16::PcapngWriter::comment(packet));
    }
}

void TestKorvLink::aNewPeerStartsAFreshMessage_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::newRow("listen") << QStringList{"listen"};
    QTest::newRow("answer") << words("answer --channel 2 $rules");
}

// A client that goes with half a message sent leaves nothing behind for
// the next one.
void TestKorvLink::aNewPeerStartsAFreshMessage()
{
    QFETCH(QStringList, command);
    Background korv(withDefinitions(command << "--listen"
                                            << "127.0.0.1:0"));
    const int port = korv.port();
    QVERIFY2(port > 0, korv.err().constData());

    const auto tags = demoTags();
    const QString second = QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Manual)");
    const QByteArray secondBytes = QRV16::MessageParser(tags.get()).parse(second).bytes();
    QVERIFY(secondBytes.size() > 4);

    // One write: the whole first message is read with the half of the second.
    QTcpSocket first;
    first.connectToHost(QHostAddress::LocalHost, quint16(port));
    QVERIFY(first.waitForConnected(10000));
    first.write(QRV16::MessageParser(tags.get()).parse(QStringLiteral("GetStatus")).bytes() +
                secondBytes.left(3));
    QVERIFY(first.waitForBytesWritten(10000));
    QVERIFY2(!korv.waitFor(QStringLiteral("(^|\\n)(GetStatus=\\(\\)\\n)"), true).isNull(), korv.out().constData());

    QTcpSocket next;
    next.connectToHost(QHostAddress::LocalHost, quint16(port));
    QVERIFY(next.waitForConnected(10000));
    next.write(secondBytes);
    QVERIFY(next.waitForBytesWritten(10000));
    QVERIFY2(!korv.waitFor(QStringLiteral("\\n(") + QRegularExpression::escape(second) + QStringLiteral(")\\n"), true)
                  .isNull(),
             korv.out().constData());
    QCOMPARE(korv.stop(SIGTERM), 0);
}

void TestKorvLink::listenEndsCleanly_data()
{
    QTest::addColumn<int>("signal"); // 0: the reader of its output goes
    QTest::newRow("on SIGINT") << int(SIGINT);
    QTest::newRow("on SIGTERM") << int(SIGTERM);
    QTest::newRow("when its reader goes") << 0;
}

void TestKorvLink::listenEndsCleanly()
{
    QFETCH(int, signal);
    // Over a pty: the record must reach the file although the link stays up.
    PtyCable cable;
    QVERIFY(cable.isValid());
    const QString csv = m_dir.filePath(QStringLiteral("end%1.csv").arg(signal));
    Background listen({"listen", "--serial", cable.a(), "--log", csv}, signal == 0);
    QVERIFY2(!listen.waitFor(QStringLiteral("(Port .* opened)")).isEmpty(), listen.err().constData());
    QCOMPARE(runKorv({"send", "--serial", cable.b(), "0101=5"}).status, 0);
    if (signal)
        QVERIFY2(!listen.waitFor(QStringLiteral("(0101=05)"), true).isNull(),
                 listen.err().constData());
    QCOMPARE(listen.stop(signal), 0);
    // Also when it could not print the message.
    QFile file(csv);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY2(file.readAll().contains(",\"1\",\"0101=05\",7,,\n"), qPrintable(csv));
}

void TestKorvLink::listenPrintsHexAndTime()
{
    PtyCable cable;
    QVERIFY(cable.isValid());
    Background listen({"listen", "--serial", cable.a(), "--count", "2", "--hex", "--time"});
    QVERIFY2(!listen.waitFor(QStringLiteral("(Port .* opened)")).isEmpty(), listen.err().constData());
    const QDateTime before = QDateTime::currentDateTime().addMSecs(-1);
    QCOMPARE(runKorv({"send", "--serial", cable.b(), "0101=5 0102=300"}).status, 0);
    QCOMPARE(listen.stop(), 0);
    const QStringList printed = QString::fromUtf8(listen.out()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(printed.size(), 2);
    // As encode writes them.
    const KorvRun encoded = runKorv({"encode", "0101=5 0102=300"});
    const QStringList hex = QString::fromLatin1(encoded.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(hex.size(), 2);
    for (int i = 0; i < 2; ++i) {
        const QString& line = printed.at(i);
        const QDateTime time = QDateTime::fromString(line.left(23), QStringLiteral("yyyy-MM-dd'T'hh:mm:ss.zzz"));
        QVERIFY2(time >= before && time <= QDateTime::currentDateTime(), qPrintable(line));
        QCOMPARE(line.mid(24), hex.at(i));
    }
}

void TestKorvLink::exitCodes_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("message");
    // $tty is a device that does not exist.
    const auto row = [this](const char* name, QStringList args, int status, const char* message) {
        args.replaceInStrings(QStringLiteral("$tty"),
                              m_dir.filePath(QStringLiteral("no-such-tty")));
        args.replaceInStrings(QStringLiteral("$dir"), m_dir.path());
        QTest::newRow(name) << args << status << QByteArray(message);
    };
    const char* unopened = "cannot open the link";
    row("refused", words("send --tcp 127.0.0.1:1 0101=1"), 3, unopened);
    row("missing device, send", words("send --serial $tty 0101=1"), 3, unopened);
    row("missing device, listen", words("listen --serial $tty"), 3, unopened);
    row("missing device, answer", words("answer --serial $tty $rules"), 3, unopened);
    row("refused remote port", words("send --serial rfc2217://127.0.0.1:1 0101=1"), 3,
        "Open: Connection refused");
    row("no link", words("send 0101=1"), 2, "choose a link");
    row("two links", words("listen --tcp h:1 --listen 1"), 2, "choose one link");
    row("no port", words("send --tcp localhost 0101=1"), 2, "--tcp wants HOST:PORT");
    row("port out of range", words("listen --listen 70000"), 2, "--listen wants");
    row("baud on tcp", words("listen --tcp h:1 --baud 9600"), 2, "need a serial link");
    row("bad handshake", words("listen --serial $tty --handshake dtr"), 2, "--handshake wants");
    row("bad bis mode", words("listen --serial $tty --bis boss"), 2, "--bis wants");
    row("address without bis", words("listen --serial $tty --dst 5"), 2, "need --bis");
    row("tls on serial", words("listen --serial $tty --tls"), 2, "TLS needs a TCP link");
    row("bad verify", words("listen --tcp h:1 --tls --verify always"), 2, "--verify wants");
    row("unknown stored channel", words("listen --settings Connection9"), 2, "no stored settings");
    row("no message", words("send --tcp h:1"), 2, "send needs a message");
    row("bad message", words("send --tcp h:1 NoSuchTag=1"), 2, "argument 1:1:1");
    row("number beyond 32 bits", words("send --tcp h:1") << "1001=1 1001=4294967296", 2,
        "argument 1:1:13: error: Value out of range");
    row("bad pattern", words("send --tcp h:1 --expect 0101=( 0101=1"), 2, "--expect \"0101=(\"");
    row("bad timeout", words("send --tcp h:1 --timeout soon 0101=1"), 2, "--timeout wants");
    row("zero count", words("listen --tcp h:1 --count 0"), 2, "--count wants");
    row("unknown option", words("listen --tcp h:1 --colour"), 2, "Unknown option");
    row("answer without rules", words("answer --listen 0"), 2, "exactly one rules file");
    row("missing rules file", words("answer --listen 0 $tty"), 1, "no-such-tty");
    row("run, refused", words("run --tcp 127.0.0.1:1 $sequences"), 3, unopened);
    row("run without sequences", words("run --listen 0"), 2, "exactly one sequence file");
    row("run, unknown sequence", words("run --listen 0 -d $demo --sequence Nightly $sequences"), 2,
        "no sequence \"Nightly\"");
    row("run, missing file", words("run --listen 0 $tty"), 1, "no-such-tty");
    row("count not reached in time", words("listen --listen 127.0.0.1:0 --count 2 --for 0.5"), 1,
        "Listening to");
    row("log cannot be written", words("listen --listen 0 --log $dir/no/such/dir.csv"), 1,
        "dir.csv");
}

void TestKorvLink::exitCodes()
{
    QFETCH(QStringList, args);
    QFETCH(int, status);
    QFETCH(QByteArray, message);
    const KorvRun run = runKorv(args);
    QCOMPARE(run.status, status);
    QVERIFY2(run.err.contains(message), run.err.constData());
}

void TestKorvLink::runWritesJUnit_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<bool>("lockout");
    QTest::addColumn<QString>("channel");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("skipped");

    QTest::newRow("tcp, green") << QStringLiteral("tcp") << true << QStringLiteral("1") << 0 << 0 << 0;
    QTest::newRow("pty, green") << QStringLiteral("pty") << true << QStringLiteral("1") << 0 << 0 << 0;
    // The rest of the first sequence is skipped; the second goes on.
    QTest::newRow("tcp, lockout rule off") << QStringLiteral("tcp") << false << QStringLiteral("1") << 1 << 1 << 1;
    QTest::newRow("pty, lockout rule off") << QStringLiteral("pty") << false << QStringLiteral("1") << 1 << 1 << 1;
    // The sequences send on channel 1, which this link is not.
    QTest::newRow("wrong channel") << QStringLiteral("tcp") << true << QStringLiteral("2") << 1 << 0 << 5;
}

void TestKorvLink::runWritesJUnit()
{
    QFETCH(QString, link);
    QFETCH(bool, lockout);
    QFETCH(QString, channel);
    QFETCH(int, status);
    QFETCH(int, failures);
    QFETCH(int, skipped);

    QString rules = pumpAnswers;
    if (!lockout) {
        QByteArray text = readFile(pumpAnswers);
        QVERIFY(text.contains("<name>Pump 2 locked out</name>"));
        text.replace("<rule channel=\"2\" delay=\"20\">\n    <name>Pump 2 locked out</name>",
                     "<rule channel=\"2\" delay=\"20\" enabled=\"false\">\n    <name>Pump 2 locked out</name>");
        rules = m_dir.filePath(QStringLiteral("no-lockout.qrvans"));
        QVERIFY(writeFile(rules, text));
    }
    Controller controller(link, rules);
    Background& answer = *controller.answer;
    QVERIFY2(!controller.client.isEmpty(), answer.err().constData());
    const QString junit = m_dir.filePath(QStringLiteral("report.xml"));
    QFile::remove(junit);
    const KorvRun run = runKorv(withDefinitions(QStringList{QStringLiteral("run")} + controller.client)
                                << QStringLiteral("--channel") << channel << QStringLiteral("--junit") << junit
                                << pumpSequences);
    QCOMPARE(run.status, status);
    QCOMPARE(answer.stop(SIGTERM), 0);

    const JUnit report = readJUnit(junit);
    // 9 expects in the file, step 7 three times over.
    QCOMPARE(report.totals.value(QStringLiteral("tests")) - report.totals.value(QStringLiteral("errors")),
             channel == QLatin1String("1") ? 9 : 5);
    QCOMPARE(report.totals.value(QStringLiteral("failures")), failures);
    QCOMPARE(report.totals.value(QStringLiteral("skipped")), skipped);
    QCOMPARE(report.totals.value(QStringLiteral("errors")) > 0, channel != QLatin1String("1"));
    if (!lockout) {
        // The failure says what arrived instead.
        QVERIFY2(report.cases.contains(QStringLiteral(
                     "step 11: SetPumpModeReply=(PumpId=2 ResultCode=Denied)|failure|SetPumpModeReply=(PumpId=2 ResultCode=Ok)")),
                 qPrintable(report.cases.join(QLatin1Char('\n'))));
        QVERIFY(report.cases.contains(QStringLiteral("step 13: ReadLogReply=(ResultCode=Ok FirstEntry=0)|skipped|")));
        QVERIFY(run.out.contains("FAIL step 11: "));
    }
    if (channel != QLatin1String("1")) {
        // The error is the step's own case, the run's first step here.
        QVERIFY2(report.cases.value(0).startsWith(QStringLiteral("step 1: GetStatus|error|Sequence \"Pump station acceptance\", step 1: ")),
                 qPrintable(report.cases.join(QLatin1Char('\n'))));
    }
    if (status == 0) {
        QVERIFY(report.cases.contains(QStringLiteral("step 7: SetPumpModeReply=(PumpId=1 ResultCode=Ok) (run 3)|passed|")));
        QVERIFY(run.out.contains("Sequence \"Pump station acceptance\": 17 steps, 7 passed, 0 failed"));
    }
}

void TestKorvLink::runInterruptedKeepsItsReport()
{
    const QString sequences = m_dir.filePath(QStringLiteral("long.qrvseq"));
    QVERIFY(writeFile(sequences, R"(<?xml version="1.0" encoding="UTF-8"?>
<qrvsequences>
  <sequence name="Long">
    <send channel="1">0101=1</send>
    <expect channel="1" within="5000">0101</expect>
    <wait ms="600000"/>
    <expect channel="1" within="100">*</expect>
  </sequence>
</qrvsequences>
)"));
    // The far end echoes: an answer rule for anything.
    const QString rules = m_dir.filePath(QStringLiteral("echo.qrvans"));
    QVERIFY(writeFile(rules, R"(<?xml version="1.0" encoding="UTF-8"?>
<qrvanswers><rule><name>Echo</name><when>0101</when><answer>0101=1</answer></rule></qrvanswers>
)"));
    Background answer({"answer", "--listen", "127.0.0.1:0", rules});
    const int port = answer.port();
    QVERIFY2(port > 0, answer.err().constData());
    const QString junit = m_dir.filePath(QStringLiteral("interrupted.xml"));
    Background run(
        {"run", "--tcp", QStringLiteral("127.0.0.1:%1").arg(port), "--junit", junit, sequences});
    QVERIFY2(!run.waitFor(QStringLiteral("(PASS step 2)"), true).isNull(), run.err().constData());
    QCOMPARE(run.stop(SIGINT), 1);
    QCOMPARE(answer.stop(SIGINT), 0);
    const JUnit report = readJUnit(junit);
    QCOMPARE(report.cases, (QStringList{"step 2: 0101|passed|", "step 4: *|skipped|"}));
}

void TestKorvLink::tlsFailureIsALinkFailure_data()
{
    QTest::addColumn<QStringList>("server");
    QTest::addColumn<QStringList>("client");
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<QString>("timeout");

    // Failed handshakes end at once; the time-out is only for a loaded machine.
    QTest::newRow("test certificate not trusted")
        << QStringList{"--tls"} << words("--tls --verify verify")
        << QByteArray("cannot open the link") << QStringLiteral("30000");
    QTest::newRow("server without TLS")
        << QStringList() << QStringList{"--tls"} << QByteArray("the link was not up within 1000 ms")
        << QStringLiteral("1000");
    QTest::newRow("unreadable key")
        << QStringList{"--tls"} << words("--tls --key /nonexistent.key")
        << QByteArray("Load private key: FAIL") << QStringLiteral("30000");
}

void TestKorvLink::tlsFailureIsALinkFailure()
{
    QFETCH(QStringList, server);
    QFETCH(QStringList, client);
    QFETCH(QByteArray, message);
    QFETCH(QString, timeout);
    Background answer(words("answer --listen 127.0.0.1:0 $rules") + server);
    const int port = answer.port();
    QVERIFY2(port > 0, answer.err().constData());
    const QString to = QStringLiteral("127.0.0.1:%1").arg(port);
    const KorvRun run =
        runKorv(QStringList{"send", "--tcp", to, "--timeout", timeout} + client << "0101=1");
    QCOMPARE(run.status, 3);
    QVERIFY2(run.err.contains(message), run.err.constData());
    QCOMPARE(answer.stop(SIGTERM), 0);
}

void TestKorvLink::answerWarnsWhenNoRuleIsForItsChannel_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<QString>("warning");
    const QByteArray forTwo = R"(<qrvanswers>
<rule channel="2"><when>0101</when><answer>0101=1</answer></rule>
<rule channel="2" every="1000"><answer>0101=2</answer></rule>
</qrvanswers>)";
    const QByteArray forBoth = R"(<qrvanswers>
<rule channel="2"><when>0101</when><answer>0101=1</answer></rule>
<rule channel="1"><when>0101</when><answer>0101=1</answer></rule>
</qrvanswers>)";
    const QByteArray forAny = R"(<qrvanswers><rule><when>0101</when><answer>0101=1</answer></rule></qrvanswers>)";
    QTest::newRow("rules for channel 2, the default channel 1")
        << QStringList() << forTwo
        << QStringLiteral("korv: no rule in %1 is for channel 1; its rules are for channel 2 (--channel 2)");
    QTest::newRow("rules for channel 2, --channel 2") << QStringList{"--channel", "2"} << forTwo << QString();
    QTest::newRow("rules for both channels") << QStringList() << forBoth << QString();
    QTest::newRow("rules for any channel") << QStringList{"--channel", "2"} << forAny << QString();
}

// Rules that can never apply to the link are said so, before it is up.
void TestKorvLink::answerWarnsWhenNoRuleIsForItsChannel()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, rules);
    QFETCH(QString, warning);
    const QString path = m_dir.filePath(QStringLiteral("channels.qrvans"));
    QVERIFY(writeFile(path, rules));
    Background answer(words("answer --listen 127.0.0.1:0") + options << path);
    QVERIFY2(answer.port() > 0, answer.err().constData());
    const QString err = QString::fromLocal8Bit(answer.err());
    if (warning.isEmpty())
        QVERIFY2(!err.contains(QLatin1String("no rule")), qPrintable(err));
    else
        QVERIFY2(err.contains(warning.arg(path) + QLatin1Char('\n')), qPrintable(err));
    QCOMPARE(answer.stop(SIGTERM), 0);
}

QTEST_MAIN(TestKorvLink)
#include "tst_korvlink.moc"
