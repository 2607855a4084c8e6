// SPDX-License-Identifier: MIT
#pragma once

// Helpers shared by the connection tests: settings for loopback links, a
// recorder of everything a Connection reports, an event-loop stall meter,
// pseudo-terminals and a BiS frame builder.

#include "connection/bisprotocol.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "tests/support/bisbus.h"
#include "tests/support/pty.h"
#include "tests/support/serversettings.h"
#include "tests/support/stallmeter.h"

#include <QSignalSpy>
#include <QSocketNotifier>
#include <QSslSocket>
#include <QTcpServer>
#include <QtTest>

#include <unistd.h>

namespace korvtest {

// Generous: a loaded machine may take long, a working link never does.
constexpr int Timeout = 20000;

inline ConnectionSettings clientSettings(quint16 port)
{
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ClientMode);
    settings.setClientAddress(QStringLiteral("127.0.0.1"));
    settings.setClientPort(port);
    return settings;
}

// `settings` with TLS on; a client checks the server's certificate as
// `verify` says.
inline ConnectionSettings withTls(ConnectionSettings settings,
                                  QSslSocket::PeerVerifyMode verify = QSslSocket::VerifyNone)
{
    settings.setSslEnabled(true);
    settings.setPeerVerifyMode(verify);
    return settings;
}

// Bytes whose order shows: a counter with a slower one mixed in.
inline QByteArray pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 7 + i / 251) & 0xFF);
    return bytes;
}

// A serial link at 115200 bps; bisMode 0 leaves BiS off.
inline ConnectionSettings serialSettings(const QString& port, int bisMode, int source = -1, int destination = -1)
{
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::SerialMode);
    settings.setSerialPort(port);
    settings.setSerialSpeed(115200);
    settings.setBisEnabled(bisMode != 0);
    if (bisMode != 0)
        settings.setBisMode(bisMode);
    settings.setSourceAddress(source);
    settings.setDestinationAddress(destination);
    return settings;
}

// Settings with every field away from its default.
inline ConnectionSettings everythingChanged()
{
    ConnectionSettings s;
    s.setMode(ConnectionSettings::ServerMode);
    s.setBisMode(ConnectionSettings::BiSSlaveMode);
    s.setBisEnabled(true);
    s.setSourceAddress(12);
    s.setDestinationAddress(70000);
    s.setTries(9);
    s.setTimeout(250);
    s.setSerialPort(QStringLiteral("ttyUSB3"));
    s.setSerialSpeed(57600);
    s.setSerialHandshake(ConnectionSettings::RtsCtsHandshake);
    s.setSerialFraming(SerFraming(7, SerFraming::EvenParity, 2));
    s.setClientAddress(QStringLiteral("controller.local"));
    s.setClientPort(4711);
    s.setServerAddress(QStringLiteral("127.0.0.1"));
    s.setServerPort(4712);
    s.setSslEnabled(true);
    s.setPrivateKeyFile(QStringLiteral("/etc/korv/key.pem"));
    s.setLocalCertificateFile(QStringLiteral("/etc/korv/cert.pem"));
    s.setCaCertificateDirectory(QStringLiteral("/etc/korv/ca/"));
    s.setPeerVerifyMode(QSslSocket::VerifyPeer);
    s.setReconnect(true);
    s.setRawPrinter(ConnectionSettings::LTD16Printer);
    return s;
}

// Every field of a and b the same; fails the calling test where not.
inline void compareSettings(const ConnectionSettings& a, const ConnectionSettings& b)
{
    QCOMPARE(a.mode(), b.mode());
    QCOMPARE(a.bisMode(), b.bisMode());
    QCOMPARE(a.bisEnabled(), b.bisEnabled());
    QCOMPARE(a.sourceAddress(), b.sourceAddress());
    QCOMPARE(a.destinationAddress(), b.destinationAddress());
    QCOMPARE(a.tries(), b.tries());
    QCOMPARE(a.timeout(), b.timeout());
    QCOMPARE(a.serialPort(), b.serialPort());
    QCOMPARE(a.serialSpeed(), b.serialSpeed());
    QCOMPARE(a.serialHandshake(), b.serialHandshake());
    QCOMPARE(a.serialFraming().text(), b.serialFraming().text());
    QCOMPARE(a.clientAddress(), b.clientAddress());
    QCOMPARE(a.clientPort(), b.clientPort());
    QCOMPARE(a.serverAddress(), b.serverAddress());
    QCOMPARE(a.serverPort(), b.serverPort());
    QCOMPARE(a.sslEnabled(), b.sslEnabled());
    QCOMPARE(a.privateKeyFile(), b.privateKeyFile());
    QCOMPARE(a.localCertificateFile(), b.localCertificateFile());
    QCOMPARE(a.caCertificateDirectory(), b.caCertificateDirectory());
    QCOMPARE(a.peerVerifyMode(), b.peerVerifyMode());
    QCOMPARE(a.reconnect(), b.reconnect());
    QCOMPARE(a.rawPrinter(), b.rawPrinter());
}

inline quint16 listeningPort(const Connection& connection)
{
    const auto* server = qobject_cast<const QTcpServer*>(connection.connection());
    return server ? server->serverPort() : 0;
}

// The far end of `connection` as a bare socket: a client of it when it
// listens, with its handshake when `tls`, else the listener it connects to.
// Check QTest::currentTestFailed() after meet().
struct RawPeer
{
    void meet(Connection& connection, ConnectionSettings settings, bool tls = false)
    {
        const bool listening = settings.mode() == ConnectionSettings::ServerMode;
        if (!listening) {
            QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
            settings.setClientPort(listener.serverPort());
        }
        connection.setSettings(settings);
        connection.connect();
        if (listening) {
            QVERIFY(connection.isListening());
            client.setPeerVerifyMode(QSslSocket::VerifyNone);
            if (tls)
                client.connectToHostEncrypted(QStringLiteral("127.0.0.1"),
                                              listeningPort(connection));
            else
                client.connectToHost(QHostAddress::LocalHost, listeningPort(connection));
            socket = &client;
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(listener.hasPendingConnections(), Timeout);
            socket = listener.nextPendingConnection();
        }
        QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), Timeout);
    }

    QTcpServer listener;
    QSslSocket client;
    QTcpSocket* socket = nullptr;
};

// Everything a Connection reports, in order: message texts as they are,
// state changes as "state", received blocks as "rx <size>".
class Recorder : public QObject
{
public:
    explicit Recorder(Connection* connection)
    {
        QObject::connect(connection, &Connection::message, this, [this](const QString& text) {
            events << text;
            messages << text;
        });
        QObject::connect(connection, &Connection::stateChanged, this, [this] { events << QStringLiteral("state"); });
        QObject::connect(connection, &Connection::received, this, [this](int src, int dst, const QByteArray& data) {
            events << QStringLiteral("rx %1").arg(data.size());
            blocks << data;
            sources << src;
            destinations << dst;
            bytes += data;
            largestBlock = qMax(largestBlock, data.size());
        });
        QObject::connect(connection, &Connection::rawSent, this, [this](const QByteArray& data) { sent << data; });
    }

    QByteArray sentBytes() const
    {
        QByteArray all;
        for (const QByteArray& block : sent)
            all += block;
        return all;
    }

    bool hasMessage(const QString& text) const { return messages.contains(text); }
    int count(const QString& text) const { return int(messages.count(text)); }
    // Index of the first event equal to text, -1 if none.
    int indexOf(const QString& text) const { return int(events.indexOf(text)); }
    QStringList messagesStartingWith(const QString& prefix) const
    {
        QStringList found;
        for (const QString& text : messages) {
            if (text.startsWith(prefix))
                found << text;
        }
        return found;
    }

    QStringList events;
    QStringList messages;
    QList<QByteArray> blocks;
    QList<int> sources;
    QList<int> destinations;
    QList<QByteArray> sent;
    QByteArray bytes;
    qsizetype largestBlock = 0;
};

// A connection that records what it reports from the start, opened with
// `settings`.
class RecordedConnection : public Connection
{
public:
    explicit RecordedConnection(const ConnectionSettings& settings)
    {
        setSettings(settings);
        connect();
    }

    Recorder log{this};
};

// Reads the far end of a line as it comes until want bytes came, or until
// nothing has come for Timeout: a busy machine may run the writer seldom,
// but it runs it.
inline QByteArray readSlowly(const Pty& line, qsizetype want)
{
    QSocketNotifier readable(line.masterFd(), QSocketNotifier::Read);
    QSignalSpy arrived(&readable, &QSocketNotifier::activated);
    QByteArray got;
    for (;;) {
        char buffer[64 * 1024];
        ssize_t n;
        while ((n = ::read(line.masterFd(), buffer, sizeof buffer)) > 0)
            got.append(buffer, int(n));
        if (got.size() >= want || !arrived.wait(Timeout))
            return got;
    }
}

// Copies whatever one port writes to the other: two ptys become one line.
class PtyLink : public QObject
{
public:
    PtyLink(const Pty& a, const Pty& b)
        : m_fromA(a.masterFd(), QSocketNotifier::Read)
        , m_fromB(b.masterFd(), QSocketNotifier::Read)
    {
        QObject::connect(&m_fromA, &QSocketNotifier::activated, this, [this, &a, &b] { copy(a, b, aToB); });
        QObject::connect(&m_fromB, &QSocketNotifier::activated, this, [this, &a, &b] { copy(b, a, bToA); });
    }

    QByteArray aToB;
    QByteArray bToA;

private:
    static void copy(const Pty& from, const Pty& to, QByteArray& log)
    {
        char buffer[4096];
        const ssize_t n = ::read(from.masterFd(), buffer, sizeof buffer);
        if (n <= 0)
            return;
        const QByteArray bytes(buffer, int(n));
        log += bytes;
        to.write(bytes);
    }

    QSocketNotifier m_fromA;
    QSocketNotifier m_fromB;
};

// Builds BiS frames as a bus master with a given own address would send
// them, and reads answers to them.
class FrameBuilder : public BusNode
{
public:
    explicit FrameBuilder(unsigned ownAddress = 0) : BusNode(Master, ownAddress) {}

    QByteArray query(unsigned destination, const QByteArray& payload, unsigned type = Connection::FrameType)
    {
        sendBytes(payload, destination, type);
        return sent.takeLast();
    }
};

// The frames in a byte stream, cut at the start markers (never stuffed).
inline QList<QByteArray> splitFrames(const QByteArray& stream)
{
    QList<QByteArray> frames;
    for (char byte : stream) {
        const auto c = static_cast<unsigned char>(byte);
        if (c == BiSProtocol::QueryStart || c == BiSProtocol::AnswerStart || frames.isEmpty())
            frames << QByteArray();
        frames.last() += byte;
    }
    return frames;
}

} // namespace korvtest
