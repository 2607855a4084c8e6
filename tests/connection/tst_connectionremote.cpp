// SPDX-License-Identifier: MIT
// Serial links to a remote port ("rfc2217://HOST:PORT"). The device server
// is the real ser2net on a pseudo-terminal, started by the tests; what it
// cannot be made to do wrong, a scripted far end on a loopback socket does.

#include "libserial/serserialport.h"
#include "tests/connection/testsupport.h"
#include "tests/support/ser2net.h"
#include "tests/support/freeport.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

using namespace korvtest;

namespace {

QByteArray everyByte()
{
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all.append(char(i));
    return all;
}

// The values of every SET-CONTROL in a Telnet stream, in order, found by
// their bytes as RFC 2217 writes them.
QList<int> controls(const QByteArray& stream)
{
    QList<int> values;
    const QByteArray head = QByteArray::fromHex("fffa2c05");
    for (qsizetype at = stream.indexOf(head); at >= 0 && at + 6 < stream.size(); at = stream.indexOf(head, at + 1)) {
        if (stream.mid(at + 5, 2) == QByteArray::fromHex("fff0"))
            values << static_cast<unsigned char>(stream.at(at + 4));
    }
    return values;
}

// A device server that plays a script: what it sends on a new connection,
// and what it has received.
class ScriptedFarEnd : public QObject
{
public:
    explicit ScriptedFarEnd(const QByteArray& greeting)
        : m_greeting(greeting)
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, this, [this] {
            socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QIODevice::readyRead, this, [this] { received += socket->readAll(); });
            socket->write(m_greeting);
        });
    }

    QString url() const { return QStringLiteral("rfc2217://127.0.0.1:%1").arg(m_server.serverPort()); }
    void send(const QByteArray& bytes) { socket->write(bytes); }

    QTcpSocket* socket = nullptr;
    QByteArray received;

private:
    QTcpServer m_server;
    QByteArray m_greeting;
};

// What ser2net sends on a new connection, and its answer to our offers.
const QByteArray agreeing = QByteArray::fromHex("fffb03fffd03fffb01fffe01fffd00fffb00fffd2c");

ConnectionSettings remoteSettings(const QString& url, int bisMode = 0)
{
    ConnectionSettings settings = serialSettings(url, bisMode, -1, bisMode == ConnectionSettings::BiSMasterMode ? 7 : -1);
    settings.setTimeout(5000);
    return settings;
}

} // namespace

class TestConnectionRemote : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void everyByteValueBothWays();
    void speedAndStopBitsReachTheDevice_data();
    void speedAndStopBitsReachTheDevice();
    void unconfirmedLinesCostOneNotice();
    void linesAndDisturbReachTheFarEnd();
    void farEndGoingAwayAndComingBack();
    void bisMasterOverARemotePort();
    void badTelnetIsSaidOnceAndDataStaysIntact();
    void refusedSettingsAreNamed();
    void farEndLinesAreShown();
    void farEndWithoutComPortOption_data();
    void farEndWithoutComPortOption();
    void refusedConnectionIsAnOpenFailure();

private:
    bool m_haveSer2Net = false;
};

void TestConnectionRemote::init()
{
    m_haveSer2Net = !Ser2Net::program().isEmpty();
}

#define NEED_SER2NET()                                                                                             \
    do {                                                                                                           \
        if (!m_haveSer2Net)                                                                                        \
            QSKIP("ser2net is not installed (make test installs it): no device server to test against");          \
    } while (false)

void TestConnectionRemote::everyByteValueBothWays()
{
    NEED_SER2NET();
    Pty line;
    QVERIFY(line.isValid());
    Ser2Net server(QStringLiteral("serialdev,%1,9600n81,local").arg(line.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    RecordedConnection connection(remoteSettings(server.url()));
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    QVERIFY(connection.log.hasMessage(QStringLiteral("Port %1 opened").arg(server.url())));
    QCOMPARE(connection.serialPortDeviceName(), server.url());

    // Runs of 0xFF as well as single ones, and every other value.
    const QByteArray all = everyByte() + QByteArray(5, '\xff') + everyByte();
    connection.send(all);
    QCOMPARE(readSlowly(line, all.size()).toHex(), all.toHex());
    QCOMPARE(connection.log.sent, QList<QByteArray>({all}));

    QVERIFY(line.write(all));
    QTRY_COMPARE_WITH_TIMEOUT(connection.log.bytes.size(), all.size(), Timeout);
    QCOMPARE(connection.log.bytes.toHex(), all.toHex());
}

void TestConnectionRemote::speedAndStopBitsReachTheDevice_data()
{
    // A pseudo-terminal keeps the rate and the stop bits, not the data
    // bits or the parity: those are left to the other tests.
    QTest::addColumn<int>("speed");
    QTest::addColumn<int>("stopBits");
    QTest::newRow("9600 8N1") << 9600 << 1;
    QTest::newRow("115200 8N2") << 115200 << 2;
    QTest::newRow("921600 8N1") << 921600 << 1;
    QTest::newRow("250000 8N2, a rate off the table") << 250000 << 2;
}

void TestConnectionRemote::speedAndStopBitsReachTheDevice()
{
    NEED_SER2NET();
    QFETCH(int, speed);
    QFETCH(int, stopBits);
    Pty line;
    QVERIFY(line.isValid());
    Ser2Net server(QStringLiteral("serialdev,%1,1200n81,local").arg(line.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    ConnectionSettings settings = remoteSettings(server.url());
    settings.setSerialSpeed(speed);
    settings.setSerialFraming(SerFraming(8, SerFraming::NoParity, stopBits));
    RecordedConnection connection(settings);
    Recorder& log = connection.log;
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    QTRY_COMPARE_WITH_TIMEOUT(line.outputSpeed(), speed, Timeout);
    QTRY_COMPARE_WITH_TIMEOUT(bool(line.settings().c_cflag & CSTOPB), stopBits == 2, Timeout);
    QVERIFY2(log.messagesStartingWith(QStringLiteral("Remote port")).filter(QStringLiteral("refused")).isEmpty(),
             qPrintable(log.messages.join(QLatin1Char('\n'))));
}

void TestConnectionRemote::unconfirmedLinesCostOneNotice()
{
    NEED_SER2NET();
    // ser2net cannot set the lines of a pseudo-terminal and never answers
    // for them.
    Pty line;
    QVERIFY(line.isValid());
    Ser2Net server(QStringLiteral("serialdev,%1,9600n81,local").arg(line.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    RecordedConnection connection(remoteSettings(server.url()));
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    // The link does not wait for the answers.
    connection.send("at once");
    QCOMPARE(readSlowly(line, 7), QByteArray("at once"));

    // On a machine too busy for ser2net to answer in time the notice may
    // name more; DTR and RTS it always names.
    const QString notice = QStringLiteral("Remote port %1 did not confirm ").arg(server.url());
    QTRY_COMPARE_WITH_TIMEOUT(connection.log.messagesStartingWith(notice).size(), 1, Timeout);
    const QString said = connection.log.messagesStartingWith(notice).constFirst();
    QVERIFY2(said.endsWith(QLatin1String("DTR, RTS; going on without")), qPrintable(said));
    connection.disturb();
    connection.disturb();
    // A link to a far end as silent, opened after the disturbances: once it
    // has given up waiting, ours has given up on what they asked.
    ScriptedFarEnd silent(agreeing);
    RecordedConnection witness(remoteSettings(silent.url()));
    Recorder& witnessLog = witness.log;
    const QString given = QStringLiteral("Remote port %1 did not confirm ").arg(silent.url());
    QTRY_COMPARE_WITH_TIMEOUT(witnessLog.messagesStartingWith(given).size(), 1, Timeout);
    QCOMPARE(connection.log.messagesStartingWith(notice).size(), 1);
    QVERIFY(connection.isConnected());
    QVERIFY(line.write("still up"));
    QTRY_COMPARE_WITH_TIMEOUT(connection.log.bytes, QByteArray("still up"), Timeout);
}

void TestConnectionRemote::linesAndDisturbReachTheFarEnd()
{
    NEED_SER2NET();
    // ser2net as a gateway to another device server, played here: what the
    // lines do arrives there as RFC 2217 writes it.
    QTcpServer farServer;
    QVERIFY(farServer.listen(QHostAddress::LocalHost, 0));
    Ser2Net server(QStringLiteral("telnet(rfc2217),tcp,127.0.0.1,%1").arg(farServer.serverPort()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    QByteArray farSide;
    QTcpSocket* far = nullptr;
    QObject::connect(&farServer, &QTcpServer::newConnection, &farServer, [&] {
        far = farServer.nextPendingConnection();
        QObject::connect(far, &QIODevice::readyRead, far, [&] { farSide += far->readAll(); });
        far->write(QByteArray::fromHex("fffd2c"));
    });

    RecordedConnection connection(remoteSettings(server.url()));
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    // Opening: no flow control, DTR and RTS off, then the wake-up pulse.
    const QList<int> opening = {1, 9, 12, 8, 11, 12, 9};
    QTRY_COMPARE_WITH_TIMEOUT(controls(farSide), opening, Timeout);
    QVERIFY(far);

    // The disturbance: RTS on and DTR off, then the other way round, then
    // RTS back as it was and DTR from the CTS reading (off: no CTS here).
    connection.disturb();
    QTRY_COMPARE_WITH_TIMEOUT(controls(farSide), opening + QList<int>({11, 9, 12, 8, 12, 9}), Timeout);
    // The serial settings went the same way: speed 115200, 8N1.
    for (const char* asked :
         {"fffa2c010001c200fff0", "fffa2c0208fff0", "fffa2c0301fff0", "fffa2c0401fff0"})
        QVERIFY2(farSide.contains(QByteArray::fromHex(asked)), asked);
}

void TestConnectionRemote::farEndGoingAwayAndComingBack()
{
    NEED_SER2NET();
    Pty line;
    QVERIFY(line.isValid());
    Ser2Net server(QStringLiteral("serialdev,%1,9600n81,local").arg(line.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    ConnectionSettings settings = remoteSettings(server.url());
    settings.setReconnect(true);
    RecordedConnection connection(settings);
    Recorder& log = connection.log;
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    // ser2net answers the request for line changes with the lines as they are.
    const QString lines = QStringLiteral("Remote port %1 lines: CTS off, DSR off, RI off, CD off").arg(server.url());
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(lines), Timeout);

    log.events.clear();
    QSignalSpy failures(&connection, &Connection::attemptFailed);
    server.stop();
    QTRY_VERIFY_WITH_TIMEOUT(!connection.isConnected(), Timeout);
    QCOMPARE(log.events.mid(0, 2), QStringList({QStringLiteral("Remote port %1 closed the connection").arg(server.url()),
                                                QStringLiteral("state")}));
    // Retried; the same refusal is said once.
    QTRY_VERIFY_WITH_TIMEOUT(failures.count() >= 3, Timeout);
    QCOMPARE(log.count(QStringLiteral("Open: Connection refused")), 1);

    QVERIFY2(server.start(), qPrintable(server.output()));
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), 40000);
    QCOMPARE(log.count(QStringLiteral("Port %1 opened").arg(server.url())), 2);
    connection.send("back again");
    QCOMPARE(readSlowly(line, 10), QByteArray("back again"));

    // The user ends it: no more attempts.
    connection.toggleConnected();
    QVERIFY(!connection.isConnected());
    QCOMPARE(log.messages.constLast(), QStringLiteral("Serial port closed"));
}

void TestConnectionRemote::bisMasterOverARemotePort()
{
    NEED_SER2NET();
    // The master on the remote port, the slave on a local one, the two
    // device ends joined as a cable would.
    Pty remoteLine;
    Pty slaveLine;
    QVERIFY(remoteLine.isValid() && slaveLine.isValid());
    PtyLink cable(remoteLine, slaveLine);
    Ser2Net server(QStringLiteral("serialdev,%1,115200n81,local").arg(remoteLine.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));

    Connection master;
    Connection slave;
    Recorder masterLog(&master);
    master.setSettings(remoteSettings(server.url(), ConnectionSettings::BiSMasterMode));
    slave.setSettings(serialSettings(slaveLine.name(), ConnectionSettings::BiSSlaveMode, 7));
    slave.connect();
    master.connect();
    QTRY_VERIFY_WITH_TIMEOUT(master.isConnected(), Timeout);
    QVERIFY(masterLog.hasMessage(QStringLiteral("Port %1 opened (BiS Master @7)").arg(server.url())));
    QObject::connect(&slave, &Connection::received, &slave, [&slave](int, int, const QByteArray& query) {
        QByteArray answer = query;
        std::reverse(answer.begin(), answer.end());
        slave.send(answer);
    });
    // Payloads with 0xFF in them, which the Telnet layer doubles.
    master.send("abc");
    master.send(QByteArray("\xff\x01\xff", 3));
    master.send(QByteArray(300, '\xff'));
    QTRY_COMPARE_WITH_TIMEOUT(masterLog.blocks.size(), 3, Timeout);
    QCOMPARE(masterLog.blocks, QList<QByteArray>({"cba", QByteArray("\xff\x01\xff", 3), QByteArray(300, '\xff')}));
    QCOMPARE(masterLog.sources, QList<int>({7, 7, 7}));
    QVERIFY(!masterLog.hasMessage(QStringLiteral("Response timeout")));
}

void TestConnectionRemote::badTelnetIsSaidOnceAndDataStaysIntact()
{
    ScriptedFarEnd far(agreeing);
    RecordedConnection connection(remoteSettings(far.url()));
    Recorder& log = connection.log;
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    const QString port = far.url();

    // Each kind of trouble twice, between data bytes.
    far.send(QByteArray::fromHex("41" "ff42" "43" "fffb18" "44" "fffa2c650001fff0" "45"
                                 "ff46" "fffb27" "fffa2c6b0101fff0" "47" "fff0" "48"));
    QTRY_COMPARE_WITH_TIMEOUT(log.bytes.toHex(), QByteArray::fromHex("41ff424344 45ff464748").toHex(), Timeout);
    QCOMPARE(log.messagesStartingWith(QStringLiteral("Remote port %1 sent a malformed").arg(port)).size(), 1);
    QCOMPARE(log.messagesStartingWith(QStringLiteral("Remote port %1 offered Telnet option").arg(port)).size(), 1);
    QCOMPARE(log.messagesStartingWith(QStringLiteral("Remote port %1 sent a COM-PORT-OPTION answer").arg(port)).size(),
             1);
    // The unknown options were refused.
    QTRY_VERIFY_WITH_TIMEOUT(far.received.contains(QByteArray::fromHex("fffe18")), Timeout);
    QVERIFY(far.received.contains(QByteArray::fromHex("fffe27")));
    QVERIFY(connection.isConnected());
    connection.send(QByteArray("\xff", 1));
    QTRY_VERIFY_WITH_TIMEOUT(far.received.endsWith(QByteArray::fromHex("ffff")), Timeout);
}

void TestConnectionRemote::refusedSettingsAreNamed()
{
    ScriptedFarEnd far(agreeing);
    ConnectionSettings settings = remoteSettings(far.url());
    settings.setSerialSpeed(250000);
    settings.setSerialFraming(SerFraming(7, SerFraming::MarkParity, 2));
    settings.setSerialHandshake(ConnectionSettings::RtsCtsHandshake);
    RecordedConnection connection(settings);
    Recorder& log = connection.log;
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    // Asked: 250000, 7 data bits, mark, 2 stop bits, RTS/CTS.
    QTRY_VERIFY_WITH_TIMEOUT(far.received.contains(QByteArray::fromHex("fffa2c0503fff0")), Timeout);
    for (const char* asked :
         {"fffa2c010003d090fff0", "fffa2c0207fff0", "fffa2c0304fff0", "fffa2c0402fff0"})
        QVERIFY2(far.received.contains(QByteArray::fromHex(asked)), asked);
    // The far end keeps 9600, 7 bits, no parity, 2 stop bits, no flow control.
    far.send(QByteArray::fromHex("fffa2c6500002580fff0" "fffa2c6607fff0" "fffa2c6701fff0" "fffa2c6802fff0"
                                 "fffa2c6901fff0"));
    const QString refused = QStringLiteral("Remote port %1 refused ").arg(far.url());
    QTRY_COMPARE_WITH_TIMEOUT(log.messagesStartingWith(refused).size(), 3, Timeout);
    QCOMPARE(log.messagesStartingWith(refused),
             QStringList({refused + "speed 250000 (it keeps speed 9600)",
                          refused + "parity mark (it keeps parity none)",
                          refused + "flow control RTS/CTS (it keeps no flow control)"}));
}

void TestConnectionRemote::farEndLinesAreShown()
{
    ScriptedFarEnd far(agreeing);
    RecordedConnection connection(remoteSettings(far.url()));
    Recorder& log = connection.log;
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    const QString port = far.url();
    // CTS, DSR and CD on, with their delta bits.
    far.send(QByteArray::fromHex("fffa2c6bbbfff0"));
    const QString on = QStringLiteral("Remote port %1 lines: CTS on, DSR on, RI off, CD on").arg(port);
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(on), Timeout);
    const int lines = connection.modemStatus();
    QVERIFY(lines & SerSerialPort::ModemCts);
    QVERIFY(lines & SerSerialPort::ModemDsr);
    QVERIFY(lines & SerSerialPort::ModemCd);
    QVERIFY(!(lines & SerSerialPort::ModemRi));
    // A flurry of changes is said in few lines, ending with the last state.
    for (int i = 0; i < 50; ++i)
        far.send(QByteArray::fromHex(i % 2 ? "fffa2c6b10fff0" : "fffa2c6b00fff0"));
    far.send(QByteArray::fromHex("fffa2c6b40fff0"));
    const QString last = QStringLiteral("Remote port %1 lines: CTS off, DSR off, RI on, CD off").arg(port);
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(last), Timeout);
    QVERIFY2(log.messagesStartingWith(QStringLiteral("Remote port %1 lines").arg(port)).size() < 10,
             qPrintable(log.messages.join(QLatin1Char('\n'))));
    QCOMPARE(connection.modemStatus() & SerSerialPort::ModemRi, int(SerSerialPort::ModemRi));
}

void TestConnectionRemote::farEndWithoutComPortOption_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::newRow("refuses it") << QByteArray::fromHex("fffe2c");
    QTest::newRow("says nothing at all") << QByteArray();
}

void TestConnectionRemote::farEndWithoutComPortOption()
{
    QFETCH(QByteArray, greeting);
    ScriptedFarEnd far(greeting);
    RecordedConnection connection(remoteSettings(far.url()));
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    QCOMPARE(
        connection.log.messagesStartingWith(QStringLiteral("Remote port")),
        QStringList({QStringLiteral(
                         "Remote port %1 does not take COM-PORT-OPTION: speed, framing and control "
                         "lines stay as the far end has them")
                         .arg(far.url())}));
    // No settings were sent, and data still goes both ways.
    QVERIFY(!far.received.contains(QByteArray::fromHex("fffa2c")));
    connection.send("data");
    far.send("back");
    QTRY_COMPARE_WITH_TIMEOUT(connection.log.bytes, QByteArray("back"), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(far.received.endsWith("data"), Timeout);
}

void TestConnectionRemote::refusedConnectionIsAnOpenFailure()
{
    const quint16 port = korvtest::freePort();
    QVERIFY(port != 0);
    Connection connection;
    Recorder log(&connection);
    QSignalSpy failures(&connection, &Connection::attemptFailed);
    connection.setSettings(remoteSettings(QStringLiteral("rfc2217://127.0.0.1:%1").arg(port)));
    connection.connect();
    QVERIFY(failures.wait(Timeout));
    QCOMPARE(failures.constFirst().constFirst().toString(), QStringLiteral("Open: Connection refused"));
    QCOMPARE(log.messages, QStringList({QStringLiteral("Open: Connection refused")}));
    QVERIFY(!connection.isConnected());

    // A name that is no remote port is refused the same way.
    connection.setSettings(remoteSettings(QStringLiteral("rfc2217://no-port-here")));
    connection.connect();
    QCOMPARE(log.messages.constLast(), QStringLiteral("Open: rfc2217://no-port-here is no remote port (rfc2217://HOST:PORT)"));
}

QTEST_GUILESS_MAIN(TestConnectionRemote)
#include "tst_connectionremote.moc"
