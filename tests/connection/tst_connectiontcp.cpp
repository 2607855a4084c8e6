// TCP client and server links, with and without TLS, through real loopback
// sockets; and the robustness of both against floods, cut messages and
// connection storms.

#include "tests/connection/testsupport.h"

#include <QCryptographicHash>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTcpSocket>
#include <QtTest>

using namespace korvtest;

namespace {

constexpr int Timeout = 20000;

QByteArray pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 7 + i / 251) & 0xFF);
    return bytes;
}

// Up and listening on a free loopback port.
bool startServer(Connection& server, const ConnectionSettings& settings)
{
    server.setSettings(settings);
    server.connect();
    return server.isListening();
}

} // namespace

class TestConnectionTcp : public QObject
{
    Q_OBJECT
private Q_SLOTS:
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
    void tlsBothSidesEncrypt();
    void tlsVerifyingClientRejectsSelfSignedServer();
};

void TestConnectionTcp::clientAndServerExchangeBytes()
{
    Connection server;
    Connection client;
    Recorder serverLog(&server);
    Recorder clientLog(&client);
    QSignalSpy serverBlocks(&server, &Connection::blockStarted);

    QVERIFY(startServer(server, serverSettings()));
    const quint16 port = listeningPort(server);
    QVERIFY(port != 0);
    QCOMPARE(serverLog.events, QStringList({QStringLiteral("SSL mode disabled"),
                                            QStringLiteral("Listening to 127.0.0.1:%1").arg(port),
                                            QStringLiteral("state")}));

    client.setSettings(clientSettings(port));
    client.connect();
    QTRY_VERIFY_WITH_TIMEOUT(client.isConnected() && server.isConnected(), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(serverLog.events.size() >= 5, Timeout);
    const QString peer = QStringLiteral("127.0.0.1:%1").arg(client.socket()->localPort());
    QCOMPARE(serverLog.events.mid(3), QStringList({QStringLiteral("Incoming connection from ") + peer,
                                                   QStringLiteral("state")}));
    QCOMPARE(serverBlocks.count(), 1);
    QCOMPARE(clientLog.events, QStringList({QStringLiteral("SSL mode disabled"),
                                            QStringLiteral("Connection established"), QStringLiteral("state")}));

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
    Connection server;
    Recorder serverLog(&server);
    QVERIFY(startServer(server, serverSettings()));
    const quint16 port = listeningPort(server);

    Connection first;
    Recorder firstLog(&first);
    first.setSettings(clientSettings(port));
    first.connect();
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected() && first.isConnected(), Timeout);
    first.send("from the first");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("from the first"), Timeout);

    Connection second;
    second.setSettings(clientSettings(port));
    second.connect();
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
    Connection server;
    Recorder log(&server);
    server.setSettings(serverSettings(occupant.serverPort()));
    server.connect();
    QVERIFY(!server.isListening());
    QCOMPARE(log.events, QStringList({QStringLiteral("SSL mode disabled"),
                                      QStringLiteral("failed to listen to 127.0.0.1:%1").arg(occupant.serverPort())}));
}

void TestConnectionTcp::refusedConnectionIsReported()
{
    quint16 port = 0;
    {
        QTcpServer gone;
        QVERIFY(gone.listen(QHostAddress::LocalHost, 0));
        port = gone.serverPort();
    }
    Connection client;
    Recorder log(&client);
    client.setSettings(clientSettings(port));
    client.connect();
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
    QTcpServer peerServer;
    QTcpSocket peerClient;
    QTcpSocket* peer = nullptr;
    if (connectionIsServer) {
        QVERIFY(startServer(connection, serverSettings()));
        peerClient.connectToHost(QHostAddress::LocalHost, listeningPort(connection));
        QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
        peer = &peerClient;
    } else {
        QVERIFY(peerServer.listen(QHostAddress::LocalHost, 0));
        connection.setSettings(clientSettings(peerServer.serverPort()));
        connection.connect();
        QTRY_VERIFY_WITH_TIMEOUT(peerServer.hasPendingConnections(), Timeout);
        peer = peerServer.nextPendingConnection();
        QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    }

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
    Connection server;
    Recorder log(&server);
    QVERIFY(startServer(server, serverSettings()));
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
    Connection connection;
    Recorder log(&connection);
    QVERIFY(startServer(connection, serverSettings()));

    connection.setSettings(serverSettings());
    QVERIFY(connection.isListening());
    QCOMPARE(log.count(QStringLiteral("Stopped listening")), 1);

    ConnectionSettings client = clientSettings(listeningPort(connection));
    connection.setSettings(client);
    QVERIFY(!connection.isListening());
    QVERIFY(!connection.isConnected());
    QCOMPARE(connection.socket()->state(), QAbstractSocket::UnconnectedState);
}

void TestConnectionTcp::networkLinkIgnoresBiS()
{
    Connection server;
    Connection client;
    Recorder serverLog(&server);
    ConnectionSettings settings = serverSettings();
    settings.setBisEnabled(true);
    settings.setBisMode(ConnectionSettings::BiSMasterMode);
    settings.setDestinationAddress(5);
    QVERIFY(startServer(server, settings));
    QVERIFY(!serverLog.messages.last().contains(QLatin1String("BiS")));
    QCOMPARE(server.bisModeText(), QString());

    ConnectionSettings clientSide = clientSettings(listeningPort(server));
    clientSide.setBisEnabled(true);
    clientSide.setBisMode(ConnectionSettings::BiSSlaveMode);
    client.setSettings(clientSide);
    client.connect();
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected() && client.isConnected(), Timeout);
    client.send("unframed");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("unframed"), Timeout);
}

void TestConnectionTcp::tlsBothSidesEncrypt()
{
    Connection server;
    Connection client;
    Recorder serverLog(&server);
    Recorder clientLog(&client);
    ConnectionSettings settings = serverSettings();
    settings.setSslEnabled(true);
    QVERIFY(startServer(server, settings));
    QCOMPARE(serverLog.messages.mid(0, 4), QStringList({QStringLiteral("Load private key: ok"),
                                                        QStringLiteral("Load local certificate: ok"),
                                                        QStringLiteral("SSL mode enabled"),
                                                        QStringLiteral("Listening to 127.0.0.1:%1").arg(listeningPort(server))}));

    ConnectionSettings clientSide = clientSettings(listeningPort(server));
    clientSide.setSslEnabled(true);
    clientSide.setPeerVerifyMode(QSslSocket::VerifyNone);
    client.setSettings(clientSide);
    client.connect();
    QTRY_VERIFY_WITH_TIMEOUT(serverLog.hasMessage(QStringLiteral("Encryption activated")), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(clientLog.hasMessage(QStringLiteral("Encryption activated")), Timeout);
    QVERIFY(client.socket()->isEncrypted());
    QVERIFY(server.socket()->isEncrypted());
    // The state change of the encryption comes after the one of the link.
    QCOMPARE(clientLog.events.mid(clientLog.indexOf(QStringLiteral("Connection established"))),
             QStringList({QStringLiteral("Connection established"), QStringLiteral("state"),
                          QStringLiteral("Encryption activated"), QStringLiteral("state")}));

    client.send("secret question");
    server.send("secret answer");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("secret question"), Timeout);
    QTRY_COMPARE_WITH_TIMEOUT(clientLog.bytes, QByteArray("secret answer"), Timeout);
    QCOMPARE(client.socket()->peerCertificate().subjectInfo(QSslCertificate::CommonName),
             QStringList({QStringLiteral("korvgui-test")}));
}

void TestConnectionTcp::tlsVerifyingClientRejectsSelfSignedServer()
{
    Connection server;
    Connection client;
    Recorder serverLog(&server);
    Recorder clientLog(&client);
    ConnectionSettings settings = serverSettings();
    settings.setSslEnabled(true);
    QVERIFY(startServer(server, settings));
    QObject::connect(&server, &Connection::blockStarted, &server, [&server] { server.send("must not arrive"); });

    ConnectionSettings clientSide = clientSettings(listeningPort(server));
    clientSide.setSslEnabled(true);
    clientSide.setPeerVerifyMode(QSslSocket::VerifyPeer);
    client.setSettings(clientSide);
    client.connect();
    QTRY_VERIFY_WITH_TIMEOUT(!clientLog.messagesStartingWith(QStringLiteral("Connection error: ")).isEmpty(), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(!client.isConnected() && !server.isConnected(), Timeout);
    QVERIFY(!clientLog.hasMessage(QStringLiteral("Encryption activated")));
    QVERIFY(!serverLog.hasMessage(QStringLiteral("Encryption activated")));
    QTest::qWait(100);
    QVERIFY(clientLog.blocks.isEmpty());
    QVERIFY(serverLog.blocks.isEmpty());
}

QTEST_GUILESS_MAIN(TestConnectionTcp)
#include "tst_connectiontcp.moc"
