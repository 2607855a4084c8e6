// SPDX-License-Identifier: MIT
// Peers that are broken or hostile, on real loopback sockets: one that
// floods random bytes as fast as the system carries them, one that opens a
// TLS link and never finishes the handshake, one that stops reading while
// we send.

#include "qrv16/messagecollector.h"
#include "tests/connection/testsupport.h"
#include "tests/support/flood.h"

#include <QRegularExpression>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

using namespace korvtest;

namespace {

// The socket of whatever link the connection has.
QAbstractSocket* linkSocket(const Connection& connection)
{
    if (connection.socket())
        return connection.socket();
    return qobject_cast<QAbstractSocket*>(connection.connection());
}

} // namespace

class TestConnectionHostile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void floodKeepsBuffersBoundedAndTheLoopLive_data();
    void floodKeepsBuffersBoundedAndTheLoopLive();
    void tlsBurstArrivesWholeUnderTheReadLimit();
    void stalledHandshakeIsDroppedAfterTheTimeout_data();
    void stalledHandshakeIsDroppedAfterTheTimeout();
    void nextClientIsServedWhileAHandshakeStalls();
    void stalledReaderFillsAtMostTheOutputLimit_data();
    void stalledReaderFillsAtMostTheOutputLimit();
};

void TestConnectionHostile::floodKeepsBuffersBoundedAndTheLoopLive_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("remote");
    QTest::newRow("a server flooded by its client") << int(ConnectionSettings::ServerMode) << false;
    QTest::newRow("a client flooded by its server") << int(ConnectionSettings::ClientMode) << false;
    QTest::newRow("a remote serial port flooded by its device server") << int(ConnectionSettings::SerialMode) << true;
}

void TestConnectionHostile::floodKeepsBuffersBoundedAndTheLoopLive()
{
    QFETCH(int, mode);
    QFETCH(bool, remote);
    // Enough to fill every buffer on the way many times over; the full
    // gigabyte is the benchmark's.
    constexpr qint64 Volume = qint64(96) << 20;

    Connection connection;
    QStringList messages;
    QObject::connect(&connection, &Connection::message, &connection, [&](const QString& text) { messages << text; });
    Flood flood;
    qint64 received = 0;
    qint64 mostHeld = 0;
    qsizetype mostCollected = 0;
    QRV16::MessageCollector collector;
    // What the channel does with the bytes: cut them into messages.
    QObject::connect(&connection, &Connection::rawReceived, &connection, [&](const QByteArray& data) {
        received += data.size();
        if (QAbstractSocket* socket = linkSocket(connection))
            mostHeld = qMax(mostHeld, socket->bytesAvailable());
    });
    QObject::connect(&connection, &Connection::received, &connection, [&](int, int, const QByteArray& data) {
        collector.append(data);
        while (collector.hasMessage())
            collector.nextMessage();
        mostCollected = qMax<qsizetype>(mostCollected, collector.pending());
    });

    if (mode == ConnectionSettings::ServerMode) {
        connection.setSettings(loopbackServer());
        connection.connect();
        QVERIFY(connection.isListening());
        const int fd = Flood::connectTo(listeningPort(connection));
        QVERIFY(fd >= 0);
        QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
        flood.start(fd, Volume);
    } else {
        quint16 port = 0;
        const int listener = Flood::listenOnLoopback(&port);
        QVERIFY(listener >= 0);
        ConnectionSettings settings = clientSettings(port);
        if (remote) {
            settings = ConnectionSettings();
            settings.setMode(ConnectionSettings::SerialMode);
            settings.setSerialPort(QStringLiteral("rfc2217://127.0.0.1:%1").arg(port));
        }
        connection.setSettings(settings);
        connection.connect();
        QTRY_VERIFY_WITH_TIMEOUT(linkSocket(connection)->state() == QAbstractSocket::ConnectedState, Timeout);
        const int fd = ::accept(listener, nullptr, nullptr);
        ::close(listener);
        QVERIFY(fd >= 0);
        flood.start(fd, Volume);
    }

    StallMeter meter;
    if (remote) {
        // Telnet commands in the noise take some of the bytes: the end is
        // the far end's close.
        QTRY_VERIFY_WITH_TIMEOUT(flood.done && !connection.isConnected() && linkSocket(connection)->bytesAvailable() == 0,
                                 120000);
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(received, Volume, 120000);
    }
    meter.stop();
    QCOMPARE(flood.sent.load(), Volume);
    QVERIFY2(mostHeld <= Connection::ReadLimit, qPrintable(QStringLiteral("%1 bytes held").arg(mostHeld)));
    // A message is at most 64 KiB; the rest of a read waits for the next.
    QVERIFY2(mostCollected <= 65537 + Connection::ReadChunk, qPrintable(QString::number(mostCollected)));
    QVERIFY2(meter.longest < 100, qPrintable(QStringLiteral("event loop stalled for %1 ms").arg(meter.longest)));
    QVERIFY2(messages.filter(QStringLiteral("error")).isEmpty(), qPrintable(messages.join(QLatin1Char('\n'))));
}

void TestConnectionHostile::tlsBurstArrivesWholeUnderTheReadLimit()
{
    // A TLS socket reads under the same limit: reading must go on each
    // time the connection has taken what was decrypted, or the link stalls.
    RecordedConnection connection(withTls(loopbackServer()));
    Recorder& log = connection.log;
    qint64 mostHeld = 0;
    QObject::connect(&connection, &Connection::rawReceived, &connection, [&] {
        QSslSocket* socket = connection.socket();
        mostHeld = qMax(mostHeld, socket->bytesAvailable() + socket->encryptedBytesAvailable());
    });
    QVERIFY(connection.isListening());

    // The peer writes from a thread of its own, at its own pace.
    const QByteArray payload = pattern(32 << 20);
    QThread thread;
    thread.start();
    auto* peer = new QSslSocket;
    peer->moveToThread(&thread);
    const quint16 port = listeningPort(connection);
    QMetaObject::invokeMethod(peer, [peer, port, payload] {
        QObject::connect(peer, &QSslSocket::encrypted, peer, [peer, payload] { peer->write(payload); });
        peer->setPeerVerifyMode(QSslSocket::VerifyNone);
        peer->connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
    });
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Encryption activated")), Timeout);
    StallMeter meter;
    QTRY_COMPARE_WITH_TIMEOUT(log.bytes.size(), payload.size(), 120000);
    meter.stop();
    QMetaObject::invokeMethod(peer, [peer] { delete peer; }, Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();

    QVERIFY(log.bytes == payload);
    // A TLS record of up to 16 KiB more may be half read.
    QVERIFY2(mostHeld <= Connection::ReadLimit + 17 * 1024, qPrintable(QStringLiteral("%1 bytes held").arg(mostHeld)));
    QVERIFY2(meter.longest < 100, qPrintable(QStringLiteral("event loop stalled for %1 ms").arg(meter.longest)));
}

void TestConnectionHostile::stalledHandshakeIsDroppedAfterTheTimeout_data()
{
    QTest::addColumn<bool>("weAreServer");
    QTest::addColumn<QByteArray>("peerSays");
    QTest::newRow("a client that says nothing") << true << QByteArray();
    // A record header announcing 512 bytes of a hello, and the first few.
    QTest::newRow("a client that stops in the middle of its hello")
        << true << QByteArray::fromHex("160301020001000200fc0303");
    QTest::newRow("a server that accepts and says nothing") << false << QByteArray();
}

void TestConnectionHostile::stalledHandshakeIsDroppedAfterTheTimeout()
{
    QFETCH(bool, weAreServer);
    QFETCH(QByteArray, peerSays);

    Connection connection;
    Recorder log(&connection);
    RawPeer far;
    far.meet(connection, withTls(weAreServer ? loopbackServer() : clientSettings(0)));
    if (QTest::currentTestFailed())
        return;
    QTcpSocket* peer = far.socket;
    QElapsedTimer clock;
    clock.start();
    peer->write(peerSays);
    QSignalSpy peerGone(peer, &QAbstractSocket::disconnected);

    const QString dropped = QStringLiteral("Connection error: TLS handshake not finished within %1 s")
                                .arg(Connection::HandshakeTimeout / 1000);
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(dropped), Connection::HandshakeTimeout + Timeout);
    // Coarse timers may fire a little early, never much.
    QVERIFY2(clock.elapsed() >= Connection::HandshakeTimeout * 9 / 10, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(peerGone.count() == 1 || peerGone.wait(Timeout));
    QTRY_VERIFY_WITH_TIMEOUT(!connection.isConnected(), Timeout);
    QCOMPARE(log.count(dropped), 1);
    QVERIFY(!log.hasMessage(QStringLiteral("Encryption activated")));
    if (!weAreServer)
        return;

    // The server listens on and serves the next client.
    QVERIFY(connection.isListening());
    RecordedConnection next(withTls(clientSettings(listeningPort(connection))));
    QTRY_VERIFY_WITH_TIMEOUT(next.log.hasMessage(QStringLiteral("Encryption activated")), Timeout);
    next.send("after the stall");
    QTRY_COMPARE_WITH_TIMEOUT(log.bytes, QByteArray("after the stall"), Timeout);
}

void TestConnectionHostile::nextClientIsServedWhileAHandshakeStalls()
{
    RecordedConnection server(withTls(loopbackServer()));
    Recorder& log = server.log;
    QVERIFY(server.isListening());
    QTcpSocket stalled;
    stalled.connectToHost(QHostAddress::LocalHost, listeningPort(server));
    QTRY_VERIFY_WITH_TIMEOUT(server.isConnected(), Timeout);
    QElapsedTimer clock;
    clock.start();

    RecordedConnection next(withTls(clientSettings(listeningPort(server))));
    QTRY_VERIFY_WITH_TIMEOUT(next.log.hasMessage(QStringLiteral("Encryption activated")), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Encryption activated")), Timeout);

    // The stalled client's time-out passes and leaves the new link alone.
    QTest::qWait(int(qMax<qint64>(0, Connection::HandshakeTimeout - clock.elapsed())) + 1000);
    QVERIFY(next.isConnected());
    QVERIFY(server.isConnected());
    QVERIFY(log.messagesStartingWith(QStringLiteral("Connection error: ")).isEmpty());
    next.send("still here");
    QTRY_COMPARE_WITH_TIMEOUT(log.bytes, QByteArray("still here"), Timeout);
}

void TestConnectionHostile::stalledReaderFillsAtMostTheOutputLimit_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("tls");
    QTest::newRow("a server whose client stops reading") << int(ConnectionSettings::ServerMode) << false;
    QTest::newRow("a client whose server stops reading") << int(ConnectionSettings::ClientMode) << false;
    QTest::newRow("a TLS server whose client stops reading") << int(ConnectionSettings::ServerMode) << true;
}

void TestConnectionHostile::stalledReaderFillsAtMostTheOutputLimit()
{
    QFETCH(int, mode);
    QFETCH(bool, tls);

    Connection connection;
    Recorder log(&connection);
    RawPeer far;
    ConnectionSettings settings =
        mode == ConnectionSettings::ServerMode ? loopbackServer() : clientSettings(0);
    settings.setSslEnabled(tls);
    far.meet(connection, settings, tls);
    if (QTest::currentTestFailed())
        return;
    QTcpSocket* peer = far.socket;
    // The peer takes a few KiB and then nothing: the rest waits in the
    // system's buffers and then in ours.
    peer->setReadBufferSize(4096);
    if (tls)
        QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Encryption activated")), Timeout);

    // One block per turn of the event loop, as a busy channel sends.
    const QString full = QStringLiteral("Output buffer full");
    const qsizetype block = 64 * 1024;
    const QByteArray source = pattern(2 * block);
    int refused = 0;
    qsizetype mostPending = 0;
    for (int i = 0; i < 4096 && refused < 50; ++i) {
        const QByteArray data = source.mid(i % block, block);
        const qsizetype before = log.sent.size();
        connection.send(data);
        if (log.sent.size() == before)
            ++refused;
        QCoreApplication::processEvents();
        mostPending = qMax(mostPending, connection.pendingOutput());
        QVERIFY2(mostPending <= Connection::OutputLimit, qPrintable(QString::number(mostPending)));
    }
    QCOMPARE(refused, 50);
    // Each jam is said once. The system's buffers can grow while the loop
    // runs and take a block between two refusals: that ends one jam, and
    // its end is said.
    const QString room = QStringLiteral("Output buffer has room again");
    const qsizetype jams = log.messagesStartingWith(full).size();
    QVERIFY(jams >= 1);
    QCOMPARE(log.messagesStartingWith(room).size(), jams - 1);
    QVERIFY2(log.messagesStartingWith(full).constFirst().endsWith(QStringLiteral(": %1 bytes not sent").arg(block)),
             qPrintable(log.messagesStartingWith(full).constFirst()));
    QVERIFY(connection.isConnected());

    // The peer reads again: what was taken arrives whole and in order, and
    // the first block taken after the jam says what was refused.
    QByteArray got;
    QObject::connect(peer, &QIODevice::readyRead, peer, [&] { got += peer->readAll(); });
    peer->setReadBufferSize(0);
    got += peer->readAll();
    const QByteArray taken = log.sentBytes();
    QTRY_COMPARE_WITH_TIMEOUT(got.size(), taken.size(), 60000);
    QVERIFY(got == taken);
    QTRY_COMPARE_WITH_TIMEOUT(connection.pendingOutput(), qsizetype(0), Timeout);
    connection.send("after the jam");
    QTRY_VERIFY_WITH_TIMEOUT(got.endsWith("after the jam"), Timeout);
    // Every refused block is counted once, by the end of its jam.
    QVERIFY(log.messages.last().startsWith(room));
    QCOMPARE(log.messagesStartingWith(room).size(), jams);
    QCOMPARE(log.messagesStartingWith(full).size(), jams);
    int counted = 0;
    const QRegularExpression blocks(QStringLiteral("^Output buffer has room again: (\\d+) blocks \\((\\d+) bytes\\) were not sent$"));
    for (const QString& said : log.messagesStartingWith(room)) {
        const QRegularExpressionMatch match = blocks.match(said);
        QVERIFY2(match.hasMatch(), qPrintable(said));
        QCOMPARE(match.captured(2).toLongLong(), match.captured(1).toLongLong() * block);
        counted += match.captured(1).toInt();
    }
    QCOMPARE(counted, refused);
}

QTEST_GUILESS_MAIN(TestConnectionHostile)
#include "tst_connectionhostile.moc"
