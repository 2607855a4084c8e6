// SPDX-License-Identifier: MIT
// korv as Wireshark's capture program, called as Wireshark calls it: the
// interface list, the link types, the configuration (whose options must
// be korv's own link options) and captures into a real FIFO from TCP in
// both directions and from a serial port with BiS framing.
#include "bis/bisframe.h"
#include "cli/linkoptions.h"
#include "qrv16/pcapngwriter.h"
#include "tests/cli/korvrun.h"
#include "tests/support/pcapngreader.h"
#include "tests/support/pty.h"
#include "tests/support/freeport.h"

#include <QCommandLineParser>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One line of the extcap grammar: its keyword and its {key=value} fields.
struct Sentence
{
    QString keyword;
    QMap<QString, QString> fields;
};

QList<Sentence> sentences(const QByteArray& text)
{
    static const QRegularExpression field(QStringLiteral("\\{([a-z]+)=([^}]*)\\}"));
    QList<Sentence> list;
    for (const QString& line : QString::fromUtf8(text).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        Sentence s;
        s.keyword = line.section(QLatin1Char(' '), 0, 0);
        for (auto it = field.globalMatch(line); it.hasNext();) {
            const auto m = it.next();
            s.fields.insert(m.captured(1), m.captured(2));
        }
        list << s;
    }
    return list;
}

// The read end of Wireshark's FIFO: opened without blocking, read as the
// capture comes, and not inherited by korv, which would then read its own
// FIFO and never see the reader go.
class Fifo
{
public:
    explicit Fifo(const QString& path) : m_path(path)
    {
        if (::mkfifo(path.toLocal8Bit().constData(), 0600) == 0)
            m_fd = ::open(path.toLocal8Bit().constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    ~Fifo() { close(); }
    bool isValid() const { return m_fd >= 0; }
    QString path() const { return m_path; }
    void close()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }
    // The packets of the complete blocks read so far.
    QList<PcapngReader::Packet> packets(QString* error)
    {
        char buffer[4096];
        ssize_t n;
        while (m_fd >= 0 && (n = ::read(m_fd, buffer, sizeof buffer)) > 0)
            m_bytes.append(buffer, n);
        qsizetype complete = 0;
        while (m_bytes.size() - complete >= 8) {
            const quint32 length = qFromLittleEndian<quint32>(m_bytes.constData() + complete + 4);
            if (length < 12 || m_bytes.size() - complete < qsizetype(length))
                break;
            complete += length;
        }
        return PcapngReader::readPackets(m_bytes.left(complete), error);
    }
    QByteArray bytes() const { return m_bytes; }

private:
    QString m_path;
    int m_fd = -1;
    QByteArray m_bytes;
};

// Waits for a capture to end, after a SIGTERM as Wireshark sends it or by
// itself. It must end quietly: under Wireshark any word on standard error
// is shown as an error.
void stop(QProcess& capture, bool bySignal = true)
{
    if (bySignal)
        ::kill(pid_t(capture.processId()), SIGTERM);
    QVERIFY(capture.waitForFinished(30000));
    QCOMPARE(capture.exitStatus(), QProcess::NormalExit);
    QCOMPARE(capture.exitCode(), 0);
    QCOMPARE(capture.readAllStandardError(), QByteArray());
}

QByteArray message(int tag, quint8 value)
{
    return QByteArray::fromHex("0300") + char(tag & 0xFF) + char(tag >> 8) + char(value);
}

} // namespace

class TestExtcap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void interfaces();
    void configHoldsLinkOptions_data();
    void configHoldsLinkOptions();
    void everyLinkOptionIsOffered();
    void badCalls_data();
    void badCalls();
    void captureFilters();
    void captureFromTcpServer_data();
    void captureFromTcpServer();
    void captureAsTcpServer();
    void captureFromBisSerial();
    void refusedLink();

private:
    QTemporaryDir m_dir;
};

// Each interface listed captures with the link type of the exported traces.
void TestExtcap::interfaces()
{
    const KorvRun r = runKorv({"--extcap-interfaces", "--extcap-version=4.0"});
    QCOMPARE(r.status, 0);
    QVERIFY(r.err.isEmpty());
    const QList<Sentence> s = sentences(r.out);
    QCOMPARE(s.size(), 4);
    QCOMPARE(s.at(0).keyword, QStringLiteral("extcap"));
    QCOMPARE(s.at(0).fields.value(QStringLiteral("version")), QStringLiteral("0.1.0"));
    QStringList names;
    for (const Sentence& i : s.mid(1)) {
        QCOMPARE(i.keyword, QStringLiteral("interface"));
        QVERIFY(i.fields.value(QStringLiteral("display")).contains(QLatin1String("QRV16")));
        names << i.fields.value(QStringLiteral("value"));
        const QList<Sentence> dlts =
            sentences(runKorv({"--extcap-dlts", "--extcap-interface", names.last()}).out);
        QCOMPARE(dlts.size(), 1);
        QCOMPARE(dlts.at(0).keyword, QStringLiteral("dlt"));
        QCOMPARE(dlts.at(0).fields.value(QStringLiteral("number")).toInt(),
                 int(QRV16::PcapngWriter::LinkType));
        QCOMPARE(dlts.at(0).fields.value(QStringLiteral("name")), QStringLiteral("USER0"));
    }
    QCOMPARE(names, QStringList({"korv-serial", "korv-tcp", "korv-listen"}));
}

void TestExtcap::configHoldsLinkOptions_data()
{
    QTest::addColumn<QString>("iface");
    QTest::addColumn<QString>("required");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("calls");
    QTest::newRow("serial: port, speed, handshake, framing, BiS")
        << "korv-serial" << "--serial" << "ttyUSB0" << int(ConnectionSettings::SerialMode)
        << QStringList{"--serial", "--baud", "--handshake", "--data-bits", "--parity", "--stop-bits", "--bis",
                       "--src", "--dst", "--tries", "--bis-timeout", "--channel"};
    QTest::newRow("tcp client: server and TLS")
        << "korv-tcp" << "--tcp" << "localhost:7000" << int(ConnectionSettings::ClientMode)
        << QStringList{"--tcp", "--tls", "--key", "--cert", "--ca", "--verify", "--channel"};
    QTest::newRow("tcp server: port and TLS")
        << "korv-listen" << "--listen" << "7000" << int(ConnectionSettings::ServerMode)
        << QStringList{"--listen", "--tls", "--key", "--cert", "--ca", "--verify", "--channel"};
}

void TestExtcap::configHoldsLinkOptions()
{
    QFETCH(QString, iface);
    QFETCH(QString, required);
    QFETCH(QString, value);
    QFETCH(int, mode);
    QFETCH(QStringList, calls);
    const KorvRun r = runKorv({"--extcap-config", "--extcap-interface", iface});
    QCOMPARE(r.status, 0);
    QStringList seen;
    QStringList defaults{QStringLiteral("korv")};
    int number = 0;
    for (const Sentence& s : sentences(r.out)) {
        if (s.keyword == QLatin1String("arg")) {
            QCOMPARE(s.fields.value(QStringLiteral("number")).toInt(), number++);
            seen << s.fields.value(QStringLiteral("call"));
            const QString type = s.fields.value(QStringLiteral("type"));
            // The types Wireshark 4.0 knows.
            QVERIFY2(QStringList({"string", "unsigned", "selector", "boolflag", "fileselect"}).contains(type),
                     qPrintable(type));
            if (s.fields.contains(QStringLiteral("default")) && s.fields.value(QStringLiteral("call")) != required)
                defaults << s.fields.value(QStringLiteral("call")) << s.fields.value(QStringLiteral("default"));
        } else {
            QCOMPARE(s.keyword, QStringLiteral("value"));
            QVERIFY(s.fields.value(QStringLiteral("arg")).toInt() < number);
            if (s.fields.value(QStringLiteral("default")) == QLatin1String("true") &&
                !s.fields.value(QStringLiteral("value")).isEmpty())
                defaults << seen.at(s.fields.value(QStringLiteral("arg")).toInt())
                         << s.fields.value(QStringLiteral("value"));
        }
    }
    QCOMPARE(seen, calls);
    // What Wireshark passes when the user fills in only the required field
    // is a link korv's own option reader takes, of this interface's kind.
    QCommandLineParser p;
    const LinkOptions link;
    link.addTo(p);
    p.addOption(QCommandLineOption(QStringLiteral("channel"), QString(), QStringLiteral("N")));
    QVERIFY2(p.parse(defaults + QStringList{required, value}), qPrintable(p.errorText()));
    ConnectionSettings settings;
    QString error;
    QVERIFY2(link.read(p, &settings, &error), qPrintable(error));
    QCOMPARE(int(settings.mode()), mode);
}

void TestExtcap::everyLinkOptionIsOffered()
{
    // What korv's link options are, as their help lists them: each one is
    // in some interface's dialog, but --settings (the window's store) and
    // --framing (short for --data-bits, --parity and --stop-bits).
    static const QRegularExpression option(QStringLiteral("(--[a-z][a-z0-9-]*)"));
    QStringList wanted;
    for (auto it = option.globalMatch(LinkOptions::help()); it.hasNext();) {
        const QString name = it.next().captured(1);
        if (name != QLatin1String("--settings") && name != QLatin1String("--framing") && !wanted.contains(name))
            wanted << name;
    }
    QVERIFY(wanted.contains(QStringLiteral("--bis-timeout")));
    QStringList offered;
    for (const char* iface : {"korv-serial", "korv-tcp", "korv-listen"}) {
        const KorvRun r =
            runKorv({"--extcap-config", "--extcap-interface", QString::fromLatin1(iface)});
        for (const Sentence& s : sentences(r.out))
            offered << s.fields.value(QStringLiteral("call"));
    }
    for (const QString& name : std::as_const(wanted))
        QVERIFY2(offered.contains(name), qPrintable(name + QStringLiteral(" is in no interface's dialog")));
}

void TestExtcap::badCalls_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* name, const char* line, const char* error) {
        QTest::newRow(name) << QString::fromLatin1(line).split(QLatin1Char(' '))
                            << QString::fromLatin1(error);
    };
    row("unknown interface", "--extcap-dlts --extcap-interface eth0",
        "no interface \"eth0\": korv offers korv-serial, korv-tcp and korv-listen");
    row("no interface", "--extcap-config", "--extcap-interface is missing");
    row("capture without fifo", "--capture --extcap-interface korv-tcp --tcp h:1",
        "--capture needs --fifo");
    row("link of another interface",
        "--capture --extcap-interface korv-tcp --fifo /nonexistent/f --listen 1",
        "korv-tcp captures from --tcp");
    row("bad link option",
        "--capture --extcap-interface korv-serial --fifo /nonexistent/f --serial x --bis boss",
        "--bis wants master, slave or trace, not \"boss\"");
    row("unknown option", "--extcap-config --extcap-interface korv-tcp --frob",
        "Unknown option 'frob'");
    // Refused before the link opens.
    row("capture with a filter",
        "--capture --extcap-interface korv-tcp --extcap-capture-filter tcp --fifo /nonexistent/f "
        "--tcp 127.0.0.1:1",
        "capture filters are not supported");
}

void TestExtcap::badCalls()
{
    QFETCH(QStringList, args);
    QFETCH(QString, error);
    const KorvRun r = runKorv(args);
    QCOMPARE(r.status, 2);
    QVERIFY2(r.err.contains(error.toUtf8()), r.err.constData());
    QVERIFY(r.out.isEmpty());
}

void TestExtcap::captureFilters()
{
    // Wireshark checks a filter: no output is valid, a text says why not.
    KorvRun r =
        runKorv({"--extcap-interface", "korv-tcp", "--extcap-capture-filter", "tcp port 80"});
    QCOMPARE(r.status, 0);
    QVERIFY(r.out.startsWith("korv captures every message: capture filters are not supported."));
    r = runKorv({"--extcap-interface", "korv-tcp", "--extcap-capture-filter", QString()});
    QCOMPARE(r.status, 0);
    QVERIFY(r.out.isEmpty());
}

void TestExtcap::captureFromTcpServer_data()
{
    QTest::addColumn<bool>("bySignal");
    QTest::newRow("stopped by SIGTERM") << true;
    QTest::newRow("stopped by closing the FIFO") << false;
}

void TestExtcap::captureFromTcpServer()
{
    QFETCH(bool, bySignal);
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    Fifo fifo(m_dir.filePath(QStringLiteral("tcp%1").arg(bySignal)));
    QVERIFY(fifo.isValid());
    QProcess capture;
    capture.start(QStringLiteral(KORV_BINARY),
                  {"--capture", "--extcap-interface", "korv-tcp", "--fifo", fifo.path(), "--tcp",
                   QStringLiteral("127.0.0.1:%1").arg(server.serverPort()), "--channel", "2"});
    QVERIFY(server.waitForNewConnection(30000));
    QTcpSocket* peer = server.nextPendingConnection();
    // Two messages in one write, the third cut across two.
    const QList<QByteArray> messages{message(0x1001, 7), message(0x2001, 1), message(0x1002, 3)};
    peer->write(messages.at(0) + messages.at(1) + messages.at(2).left(2));
    QVERIFY(peer->waitForBytesWritten(30000));
    peer->write(messages.at(2).mid(2));
    QVERIFY(peer->waitForBytesWritten(30000));

    QString error;
    QList<PcapngReader::Packet> packets;
    QTRY_VERIFY_WITH_TIMEOUT((packets = fifo.packets(&error)).size() == 3, 30000);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QString readError;
    const QList<PcapngReader::Block> blocks = PcapngReader::readBlocks(fifo.bytes(), &readError);
    QCOMPARE(blocks.at(1).type, 1u); // interface description
    QCOMPARE(qFromLittleEndian<quint16>(blocks.at(1).body.constData()), QRV16::PcapngWriter::LinkType);
    for (int i = 0; i < 3; ++i) {
        // The packet korv listen --pcapng writes for a message received on channel 2.
        QRV16::PcapngWriter::Packet expected;
        expected.channel = 2;
        expected.data = messages.at(i);
        QCOMPARE(packets.at(i).data, QRV16::PcapngWriter::header(expected) + messages.at(i));
        QCOMPARE(packets.at(i).comment, QStringLiteral("channel 2, received, message"));
    }

    QSignalSpy closed(peer, &QTcpSocket::disconnected);
    if (!bySignal) {
        // The reader goes; the next message finds no one to take it.
        fifo.close();
        peer->write(messages.at(0));
        QVERIFY(peer->waitForBytesWritten(30000));
    }
    stop(capture, bySignal);
    QVERIFY(closed.count() > 0 || closed.wait(30000));
}

void TestExtcap::captureAsTcpServer()
{
    const quint16 port = korvtest::freePort();
    QVERIFY(port != 0);
    Fifo fifo(m_dir.filePath(QStringLiteral("listen")));
    QVERIFY(fifo.isValid());
    QProcess capture;
    capture.start(QStringLiteral(KORV_BINARY),
                  {"--capture", "--extcap-interface=korv-listen", "--fifo=" + fifo.path(),
                   "--listen", QStringLiteral("127.0.0.1:%1").arg(port)});
    QTcpSocket client;
    // Tried again until korv listens.
    const auto connected = [&] {
        client.abort();
        client.connectToHost(QHostAddress::LocalHost, port);
        return client.waitForConnected(1000);
    };
    QTRY_VERIFY_WITH_TIMEOUT(connected(), 30000);
    client.write(message(0x1001, 9));
    QVERIFY(client.waitForBytesWritten(30000));
    QString error;
    QList<PcapngReader::Packet> packets;
    QTRY_VERIFY_WITH_TIMEOUT((packets = fifo.packets(&error)).size() == 1, 30000);
    QCOMPARE(packets.at(0).data.mid(QRV16::PcapngWriter::HeaderSize), message(0x1001, 9));
    QCOMPARE(packets.at(0).comment, QStringLiteral("channel 1, received, message"));
    stop(capture);
}

void TestExtcap::captureFromBisSerial()
{
    // korv is slave 5 on a BiS bus; the test plays the master at 0.
    korvtest::Pty pty;
    QVERIFY(pty.isValid());
    Fifo fifo(m_dir.filePath(QStringLiteral("serial")));
    QVERIFY(fifo.isValid());
    QProcess capture;
    capture.start(QStringLiteral(KORV_BINARY),
                  {"--capture", "--extcap-interface", "korv-serial", "--fifo", fifo.path(),
                   "--serial", pty.name(), "--baud", "115200", "--bis", "slave", "--src", "5"});
    BiSFrame query;
    query.destination = 5;
    query.sequence = 1;
    query.payload = message(0x1001, 4);
    QString error;
    QList<PcapngReader::Packet> packets;
    // Sent again until the port is open and the slave takes it.
    QTRY_VERIFY_WITH_TIMEOUT((pty.write(query.encode()), (packets = fifo.packets(&error)).size() >= 1), 30000);
    QRV16::PcapngWriter::Packet expected;
    expected.source = 0;
    expected.destination = 5;
    expected.data = query.payload;
    QCOMPARE(packets.at(0).data, QRV16::PcapngWriter::header(expected) + query.payload);
    QCOMPARE(packets.at(0).comment, QStringLiteral("channel 1, received, message, src 0, dst 5"));
    stop(capture);
}

void TestExtcap::refusedLink()
{
    const quint16 port = korvtest::freePort();
    QVERIFY(port != 0);
    Fifo fifo(m_dir.filePath(QStringLiteral("refused")));
    QVERIFY(fifo.isValid());
    const KorvRun r = runKorv({"--capture", "--extcap-interface", "korv-tcp", "--fifo", fifo.path(),
                               "--tcp", QStringLiteral("127.0.0.1:%1").arg(port)});
    QCOMPARE(r.status, 3);
    QVERIFY2(r.err.contains("cannot open the link"), r.err.constData());
}

QTEST_GUILESS_MAIN(TestExtcap)
#include "tst_extcap.moc"
