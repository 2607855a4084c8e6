// SPDX-License-Identifier: MIT
// TCP client and server links, with and without TLS, through real loopback
// sockets; and the robustness of both against floods, cut messages and
// connection storms.

#include "tests/connection/testsupport.h"
#include "tests/support/freeport.h"

#include <QCryptographicHash>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTcpSocket>
#include <QtTest>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <vector>

using namespace korvtest;

namespace {

// A loopback port that takes no more connections and drops further
// attempts unanswered: its listen queue is full. Attempts to it stay in
// the connecting state for minutes.
class FullBacklog
{
public:
    FullBacklog()
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(m_listener, 0) != 0
            || ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return;
        m_port = ntohs(address.sin_port);
        // Fill the queue until an attempt hangs.
        for (int i = 0; i < 16; ++i) {
            const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            m_fillers.push_back(fd);
            ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
            pollfd p{fd, POLLOUT, 0};
            if (::poll(&p, 1, 300) == 0) {
                m_full = true;
                return;
            }
        }
    }
    ~FullBacklog()
    {
        for (int fd : m_fillers)
            ::close(fd);
        if (m_listener >= 0)
            ::close(m_listener);
    }
    FullBacklog(const FullBacklog&) = delete;
    FullBacklog& operator=(const FullBacklog&) = delete;

    bool isFull() const { return m_full; }
    quint16 port() const { return m_port; }

private:
    int m_listener = -1;
    quint16 m_port = 0;
    bool m_full = false;
    std::vector<int> m_fillers;
};

int socketOption(const QAbstractSocket* socket, int level, int option)
{
    int value = -1;
    socklen_t length = sizeof value;
    if (::getsockopt(int(socket->socketDescriptor()), level, option, &value, &length) != 0)
        return -1;
    return value;
}

} // namespace

class TestConnectionTcp : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void clientAndServerExchangeBytes_data();
    void clientAndServerExchangeBytes();
    void secondIncomingConnectionReplacesFirst();
    void listeningOnPortInUseFails();
    void refusedConnectionIsReported();
    void peerBurstArrivesWhole_data();
    void peerBurstArrivesWhole();
    void connectionStormNeverStalls_data();
    void connectionStormNeverStalls();
    void settingsWhileListeningReconnectOnlyInSameMode();
    void networkLinkIgnoresBiS();
    void tlsVerifyingClientRejectsSelfSignedServer();
    void cancelWhileConnecting_data();
    void cancelWhileConnecting();
    void keepAliveOnBothSides();
    void tlsExpiredCertificateIsNamed();
    void verifyWithoutCaDirectoryUsesSystemStore();
    void clientReconnectsWithBackoff();
};

void TestConnectionTcp::clientAndServerExchangeBytes_data()
{
    // What each end says before its link, and as the link comes up.
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QStringList>("opening");
    QTest::addColumn<QStringList>("linked");
    QTest::newRow("plain") << false << QStringList{"SSL mode disabled"} << QStringList{"state"};
    QTest::newRow("TLS, encrypted after the link is up")
        << true
        << QStringList{"Load private key: ok", "Load local certificate: ok", "SSL mode enabled"}
        << QStringList{"state", "Encryption activated", "state"};
}

void TestConnectionTcp::clientAndServerExchangeBytes()
{
    QFETCH(bool, tls);
    QFETCH(QStringList, opening);
    QFETCH(QStringList, linked);
    const auto secured = [tls](const ConnectionSettings& settings) {
        return tls ? withTls(settings) : settings;
    };
    RecordedConnection server(secured(loopbackServer()));
    Recorder& serverLog = server.log;
    QSignalSpy serverBlocks(&server, &Connection::blockStarted);
    QVERIFY(server.isListening());
    const quint16 port = listeningPort(server);
    QVERIFY(port != 0);
    const QStringList listening =
        opening + QStringList{QStringLiteral("Listening to 127.0.0.1:%1").arg(port), "state"};
    QCOMPARE(serverLog.events, listening);

    RecordedConnection client(secured(clientSettings(port)));
    Recorder& clientLog = client.log;
    QTRY_COMPARE_WITH_TIMEOUT(clientLog.events,
                              opening + QStringList{"Connection established"} + linked, Timeout);
    const QString peer =
        QStringLiteral("Incoming connection from 127.0.0.1:%1").arg(client.socket()->localPort());
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.events, listening + QStringList{peer} + linked, Timeout);
    QCOMPARE(serverBlocks.count(), 1);
    QCOMPARE(client.socket()->isEncrypted(), tls);
    QCOMPARE(server.socket()->isEncrypted(), tls);
    if (tls) {
        QCOMPARE(client.socket()->peerCertificate().subjectInfo(QSslCertificate::CommonName),
                 QStringList({QStringLiteral("korvgui-test")}));
    }

    client.send("ping from client");
    server.send("pong from server");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("ping from client"), Timeout);
    QTRY_COMPARE_WITH_TIMEOUT(clientLog.bytes, QByteArray("pong from server"), Timeout);
    QCOMPARE(clientLog.sources.constFirst(), -1);
    QCOMPARE(clientLog.destinations.constFirst(), -1);
    QCOMPARE(clientLog.sent, QList<QByteArray>({"ping from client"}));

    clientLog.events.clear();
    serverLog.events.clear();
    client.toggleConnected();
    QTRY_VERIFY_WITH_TIMEOUT(!server.isConnected(), Timeout);
    QCOMPARE(clientLog.events, QStringList({QStringLiteral("Connection closed"), QStringLiteral("state")}));
    QCOMPARE(serverLog.events, QStringList({QStringLiteral("Connection closed"), QStringLiteral("state")}));
    QVERIFY(server.isListening());

    serverLog.events.clear();
    server.toggleConnected();
    QVERIFY(!server.isListening());
    QCOMPARE(serverLog.events, QStringList({QStringLiteral("Stopped listening"), QStringLiteral("state")}));
}

void TestConnectionTcp::secondIncomingConnectionReplacesFirst()
{
    RecordedConnection server(loopbackServer());
    Recorder& serverLog = server.log;
    QVERIFY(server.isListening());
    const quint16 port = listeningPort(server);

    RecordedConnection first(clientSettings(port));
    Recorder& firstLog = first.log;
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected() && first.isConnected(), Timeout);
    first.send("from the first");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("from the first"), Timeout);

    RecordedConnection second(clientSettings(port));
    QTRY_VERIFY_WITH_TIMEOUT(second.isConnected(), Timeout);
    const QString replaced = QStringLiteral("Connection replaced by incoming connection from 127.0.0.1:%1")
                                 .arg(second.socket()->localPort());
    QTRY_VERIFY_WITH_TIMEOUT(serverLog.hasMessage(replaced), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(firstLog.hasMessage(QStringLiteral("Connection closed")), Timeout);
    QVERIFY(!first.isConnected());
    QVERIFY(server.isConnected());

    second.send(" and the second");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("from the first and the second"), Timeout);
    // The replaced socket says nothing more about its own end.
    QCOMPARE(serverLog.count(QStringLiteral("Connection closed")), 0);
}

void TestConnectionTcp::listeningOnPortInUseFails()
{
    QTcpServer occupant;
    QVERIFY(occupant.listen(QHostAddress::LocalHost, 0));
    RecordedConnection server(loopbackServer(occupant.serverPort()));
    QVERIFY(!server.isListening());
    QCOMPARE(server.log.events,
             QStringList(
                 {QStringLiteral("SSL mode disabled"),
                  QStringLiteral("failed to listen to 127.0.0.1:%1").arg(occupant.serverPort())}));
}

void TestConnectionTcp::refusedConnectionIsReported()
{
    const quint16 port = korvtest::freePort();
    QVERIFY(port != 0);
    RecordedConnection client(clientSettings(port));
    Recorder& log = client.log;
    QTRY_VERIFY_WITH_TIMEOUT(!log.messagesStartingWith(QStringLiteral("Connection error: ")).isEmpty(), Timeout);
    QCOMPARE(log.messagesStartingWith(QStringLiteral("Connection error: ")),
             QStringList({QStringLiteral("Connection error: Connection refused")}));
    QVERIFY(!client.isConnected());
    QVERIFY(!log.hasMessage(QStringLiteral("Connection established")));
}

void TestConnectionTcp::peerBurstArrivesWhole_data()
{
    QTest::addColumn<bool>("connectionIsServer");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("peerCloses");
    const int tenMegabytes = 10 * 1024 * 1024;
    QTest::newRow("server: half a message, then the peer closes") << true << 7 << true;
    QTest::newRow("client: half a message, then the peer closes") << false << 7 << true;
    QTest::newRow("server: 10 MB at once, then the peer closes") << true << tenMegabytes << true;
    QTest::newRow("client: 10 MB at once, then the peer closes") << false << tenMegabytes << true;
    QTest::newRow("server: 10 MB at once, the peer stays") << true << tenMegabytes << false;
    QTest::newRow("client: 10 MB at once, the peer stays") << false << tenMegabytes << false;
}

void TestConnectionTcp::peerBurstArrivesWhole()
{
    QFETCH(bool, connectionIsServer);
    QFETCH(int, size);
    QFETCH(bool, peerCloses);
    const QByteArray payload = pattern(size);

    Connection connection;
    Recorder log(&connection);
    RawPeer far;
    far.meet(connection, connectionIsServer ? loopbackServer() : clientSettings(0));
    if (QTest::currentTestFailed())
        return;
    QTcpSocket* peer = far.socket;

    StallMeter meter;
    peer->write(payload);
    if (peerCloses) {
        peer->disconnectFromHost();
        QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Connection closed")), 60000);
        // Every byte came before the close was reported.
        QVERIFY(log.indexOf(QStringLiteral("Connection closed")) > log.events.lastIndexOf(QRegularExpression("^rx ")));
        QVERIFY(!connection.isConnected());
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(log.bytes.size(), payload.size(), 60000);
        QVERIFY(connection.isConnected());
    }
    QCOMPARE(log.bytes.size(), payload.size());
    QVERIFY(log.bytes == payload);
    QVERIFY2(log.largestBlock <= Connection::ReadChunk, qPrintable(QString::number(log.largestBlock)));
    QVERIFY2(meter.longest < 100, qPrintable(QStringLiteral("event loop stalled for %1 ms").arg(meter.longest)));
}

void TestConnectionTcp::connectionStormNeverStalls_data()
{
    QTest::addColumn<bool>("waitForEachClose");
    QTest::newRow("a thousand connections, one after the other") << true;
    QTest::newRow("a thousand connections, each replacing the last") << false;
}

void TestConnectionTcp::connectionStormNeverStalls()
{
    QFETCH(bool, waitForEachClose);
    constexpr int Rounds = 1000;
    RecordedConnection server(loopbackServer());
    Recorder& log = server.log;
    QVERIFY(server.isListening());
    const quint16 port = listeningPort(server);

    StallMeter meter;
    QByteArray expected;
    for (int i = 0; i < Rounds; ++i) {
        QTcpSocket peer;
        QSignalSpy connected(&peer, &QTcpSocket::connected);
        QSignalSpy disconnected(&peer, &QTcpSocket::disconnected);
        peer.connectToHost(QHostAddress::LocalHost, port);
        QVERIFY(connected.count() == 1 || connected.wait(Timeout));
        const QByteArray note = QByteArray::number(i).rightJustified(6, '0') + ';';
        peer.write(note);
        peer.disconnectFromHost();
        QVERIFY(disconnected.count() == 1 || disconnected.wait(Timeout));
        expected += note;
        if (waitForEachClose)
            QTRY_COMPARE_WITH_TIMEOUT(log.count(QStringLiteral("Connection closed")), i + 1, Timeout);
    }
    if (waitForEachClose) {
        QCOMPARE(log.bytes, expected);
    } else {
        // Wait for the last peer's bytes; earlier ones may be cut off by
        // the peer that replaced them.
        QTRY_VERIFY_WITH_TIMEOUT(log.bytes.endsWith(expected.right(7)), Timeout);
    }
    QVERIFY2(meter.longest < 100, qPrintable(QStringLiteral("event loop stalled for %1 ms").arg(meter.longest)));
    QVERIFY(server.isListening());
    // Replaced and closed sockets do not pile up.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(server.findChildren<QSslSocket*>().size() <= 1);
}

void TestConnectionTcp::settingsWhileListeningReconnectOnlyInSameMode()
{
    RecordedConnection connection(loopbackServer());
    QVERIFY(connection.isListening());

    connection.setSettings(loopbackServer());
    QVERIFY(connection.isListening());
    QCOMPARE(connection.log.count(QStringLiteral("Stopped listening")), 1);

    ConnectionSettings client = clientSettings(listeningPort(connection));
    connection.setSettings(client);
    QVERIFY(!connection.isListening());
    QVERIFY(!connection.isConnected());
    QCOMPARE(connection.socket()->state(), QAbstractSocket::UnconnectedState);
}

void TestConnectionTcp::networkLinkIgnoresBiS()
{
    ConnectionSettings settings = loopbackServer();
    settings.setBisEnabled(true);
    settings.setBisMode(ConnectionSettings::BiSMasterMode);
    settings.setDestinationAddress(5);
    RecordedConnection server(settings);
    QVERIFY(server.isListening());
    QVERIFY(!server.log.messages.last().contains(QLatin1String("BiS")));
    QCOMPARE(server.bisModeText(), QString());

    ConnectionSettings clientSide = clientSettings(listeningPort(server));
    clientSide.setBisEnabled(true);
    clientSide.setBisMode(ConnectionSettings::BiSSlaveMode);
    RecordedConnection client(clientSide);
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected() && client.isConnected(), Timeout);
    client.send("unframed");
    QTRY_COMPARE_WITH_TIMEOUT(server.log.bytes, QByteArray("unframed"), Timeout);
}

void TestConnectionTcp::tlsVerifyingClientRejectsSelfSignedServer()
{
    RecordedConnection server(withTls(loopbackServer()));
    QVERIFY(server.isListening());
    QObject::connect(&server, &Connection::blockStarted, &server, [&server] { server.send("must not arrive"); });

    RecordedConnection client(withTls(clientSettings(listeningPort(server)), QSslSocket::VerifyPeer));
    Recorder& clientLog = client.log;
    QTRY_VERIFY_WITH_TIMEOUT(!clientLog.messagesStartingWith(QStringLiteral("Connection error: ")).isEmpty(), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(!client.isConnected() && !server.isConnected(), Timeout);
    QVERIFY(!clientLog.hasMessage(QStringLiteral("Encryption activated")));
    QVERIFY(!server.log.hasMessage(QStringLiteral("Encryption activated")));
    // Both ends are closed: nothing can come later.
    QVERIFY(clientLog.blocks.isEmpty());
    QVERIFY(server.log.blocks.isEmpty());
}

void TestConnectionTcp::cancelWhileConnecting_data()
{
    QTest::addColumn<bool>("byToggle");
    QTest::newRow("toggle") << true;
    QTest::newRow("disconnect") << false;
}

void TestConnectionTcp::cancelWhileConnecting()
{
    QFETCH(bool, byToggle);
    FullBacklog silent;
    if (!silent.isFull())
        QSKIP("the system answers every attempt; no silent address to try");
    RecordedConnection client(clientSettings(silent.port()));
    QTRY_COMPARE(client.socket()->state(), QAbstractSocket::ConnectingState);

    if (byToggle)
        client.toggleConnected();
    else
        client.disconnect();
    QCOMPARE(client.socket()->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(client.log.messages.constLast(), QStringLiteral("Connection attempt cancelled"));
    // An attempt begun after the cancel comes through: what the cancelled
    // one still had to say would have been said by then.
    QTcpServer open;
    QVERIFY(open.listen(QHostAddress::LocalHost));
    QTcpSocket probe;
    probe.connectToHost(QHostAddress::LocalHost, open.serverPort());
    QTRY_VERIFY_WITH_TIMEOUT(probe.state() == QAbstractSocket::ConnectedState && open.hasPendingConnections(), Timeout);
    QVERIFY(!client.isConnected());
    QVERIFY(client.log.messagesStartingWith(QStringLiteral("Connection error")).isEmpty());

    // A new attempt can start at once.
    client.toggleConnected();
    QCOMPARE(client.socket()->state(), QAbstractSocket::ConnectingState);
    client.toggleConnected();
    QCOMPARE(client.log.count(QStringLiteral("Connection attempt cancelled")), 2);
}

void TestConnectionTcp::keepAliveOnBothSides()
{
    RecordedConnection server(loopbackServer());
    QVERIFY(server.isListening());
    RecordedConnection client(clientSettings(listeningPort(server)));
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected() && client.isConnected(), Timeout);
    for (const QAbstractSocket* socket : {static_cast<QAbstractSocket*>(client.socket()),
                                          static_cast<QAbstractSocket*>(server.socket())}) {
        QCOMPARE(socketOption(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
        QCOMPARE(socketOption(socket, IPPROTO_TCP, TCP_KEEPIDLE), 10);
        QCOMPARE(socketOption(socket, IPPROTO_TCP, TCP_KEEPINTVL), 5);
        QCOMPARE(socketOption(socket, IPPROTO_TCP, TCP_KEEPCNT), 3);
    }
}

void TestConnectionTcp::tlsExpiredCertificateIsNamed()
{
#ifndef KORV_EXPIRED_CERT_DIR
    QSKIP("built without openssl: no expired certificate");
#else
    const QString dir = QStringLiteral(KORV_EXPIRED_CERT_DIR);
    ConnectionSettings settings = withTls(loopbackServer());
    settings.setPrivateKeyFile(dir + QStringLiteral("/key.pem"));
    settings.setLocalCertificateFile(dir + QStringLiteral("/cert.pem"));
    RecordedConnection server(settings);
    QVERIFY(server.isListening());
    QVERIFY(server.log.hasMessage(QStringLiteral("Load private key: ok")));
    QVERIFY(server.log.hasMessage(QStringLiteral("Load local certificate: ok")));

    // The client trusts the certificate itself: what is left is its age.
    ConnectionSettings clientSide = withTls(clientSettings(listeningPort(server)), QSslSocket::VerifyPeer);
    clientSide.setCaCertificateDirectory(dir + QStringLiteral("/ca"));
    RecordedConnection client(clientSide);
    Recorder& clientLog = client.log;
    QTRY_VERIFY_WITH_TIMEOUT(!clientLog.messagesStartingWith(QStringLiteral("Connection error: ")).isEmpty(), Timeout);
    const QString expired = QSslError(QSslError::CertificateExpired).errorString();
    QVERIFY2(clientLog.hasMessage(QStringLiteral("TLS error: %1 (korvgui-expired)").arg(expired)),
             qPrintable(clientLog.messages.join(QLatin1Char('\n'))));
    // Each error comes before the line that ends the attempt.
    const int errorLine = clientLog.indexOf(QStringLiteral("TLS error: %1 (korvgui-expired)").arg(expired));
    const int endLine = clientLog.indexOf(clientLog.messagesStartingWith(QStringLiteral("Connection error: ")).constFirst());
    QVERIFY(errorLine < endLine);
    QVERIFY(!clientLog.hasMessage(QStringLiteral("Encryption activated")));
    QTRY_VERIFY_WITH_TIMEOUT(!client.isConnected(), Timeout);
#endif
}

void TestConnectionTcp::verifyWithoutCaDirectoryUsesSystemStore()
{
    const QList<QSslCertificate> system = QSslConfiguration::systemCaCertificates();
    if (system.isEmpty())
        QSKIP("no system CA store on this machine");
    RecordedConnection server(withTls(loopbackServer()));
    QVERIFY(server.isListening());
    RecordedConnection client(withTls(clientSettings(listeningPort(server)), QSslSocket::VerifyPeer));
    QTRY_VERIFY_WITH_TIMEOUT(client.isConnected(), Timeout);
    QCOMPARE(client.socket()->sslConfiguration().caCertificates().size(), system.size());
}

void TestConnectionTcp::clientReconnectsWithBackoff()
{
    const quint16 port = korvtest::freePort();
    QVERIFY(port != 0);
    Connection client;
    Recorder log(&client);
    ConnectionSettings settings = clientSettings(port);
    settings.setReconnect(true);
    client.setSettings(settings);
    QElapsedTimer clock;
    clock.start();
    QList<qint64> attempts;
    QObject::connect(client.socket(), &QAbstractSocket::stateChanged, &client,
                     [&](QAbstractSocket::SocketState state) {
                         if (state == QAbstractSocket::ConnectingState)
                             attempts << clock.elapsed();
                     });
    client.connect();
    // Attempts at 0, 1 and 3 seconds, never sooner; the same refusal is
    // said once.
    QTRY_VERIFY_WITH_TIMEOUT(attempts.size() >= 3, 20000);
    const QString times = QStringLiteral("%1 %2 %3").arg(attempts.at(0)).arg(attempts.at(1)).arg(attempts.at(2));
    QVERIFY2(attempts.at(1) - attempts.at(0) >= 1000, qPrintable(times));
    QVERIFY2(attempts.at(2) - attempts.at(1) >= 2000, qPrintable(times));
    QCOMPARE(log.count(QStringLiteral("Connection error: Connection refused")), 1);
    QCOMPARE(log.count(QStringLiteral("SSL mode disabled")), 1);

    RecordedConnection server(loopbackServer(port));
    QVERIFY(server.isListening());
    QTRY_VERIFY_WITH_TIMEOUT(client.isConnected(), 6000);
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected(), Timeout);

    // The peer goes: the client comes back by itself.
    server.disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Connection closed")), Timeout);
    server.connect();
    QTRY_VERIFY_WITH_TIMEOUT(client.isConnected() && server.isConnected(), 5000);
    QCOMPARE(log.count(QStringLiteral("Connection established")), 2);
}

QTEST_GUILESS_MAIN(TestConnectionTcp)
#include "tst_connectiontcp.moc"
