// SPDX-License-Identifier: MIT
#pragma once

// The link of one channel over a Transport (a local or remote serial port,
// a TCP client or a TCP server, these optionally with TLS), plus the BiS
// framing on serial links with its send queue and retransmission, and
// reconnecting after faults. Everything that happens is reported through
// signals: raw bytes both ways, received blocks with their bus addresses,
// state changes, user messages and trace text.

#include "connection/bisprotocol.h"
#include "connection/connectionsettings.h"
#include "connection/transport.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class BiSTrace;
class QSslSocket;
class QTimer;
class SerSerialPort;

class Connection : public QObject, private BiSProtocol, private TransportSink
{
    Q_OBJECT
public:
    static constexpr int QueueLimit = 100;
    static constexpr qint64 ReadChunk = Transport::ReadChunk;
    // The type of every frame this side sends.
    static constexpr unsigned FrameType = 34;
    static constexpr qsizetype OutputLimit = Transport::OutputLimit;
    static constexpr qint64 ReadLimit = Transport::ReadLimit;
    static constexpr int HandshakeTimeout = Transport::HandshakeTimeout;

    explicit Connection(QObject* parent = nullptr);
    ~Connection() override;

    // Replaces the transport; a connection that was active comes back up if
    // the mode stays the same.
    void setSettings(const ConnectionSettings& settings);

    bool isConnected() const;
    bool isListening() const;
    // The local serial port, or null.
    SerSerialPort* serialPort() const;
    // DTR and RTS can be pulsed: an open local or remote serial port.
    bool hasControlLines() const;
    // The TCP client's or server's socket, or null.
    QSslSocket* socket() const;
    // The serial port, socket or server; null without one.
    QObject* connection() const;
    // The local device or the remote port of a serial link.
    QString serialPortDeviceName() const;
    // " (BiS Master @5)" on a serial link with BiS, else empty.
    QString bisModeText() const;
    int sourceAddress() const { return m_sourceaddress; }
    int destinationAddress() const { return m_destinationaddress; }
    // Bytes taken by send() and not yet handed to the system, plus one for
    // a BiS frame still waiting for its answer: 0 once all is out.
    qsizetype pendingOutput() const;
    // SerSerialPort's line bits of a serial link (the far end's CTS, DSR,
    // RI and CD on a remote one); 0 on other links.
    int modemStatus() const;
    // Connecting, negotiating or waiting to reconnect.
    bool isAttempting() const;
    // What went over the link since the connection was made; replayed
    // bytes do not count.
    qint64 bytesReceived() const { return m_bytesin; }
    qint64 bytesSent() const { return m_bytesout; }

public Q_SLOTS:
    void toggleConnected();
    void connect();
    void disconnect();
    // Takes bytes as if they had been received.
    void fakeReceive(const QByteArray& data);
    // Bytes received some other time (a hex-dump replay): framed and
    // reported like received ones, but through framing of their own, so
    // they neither disturb a frame being read nor move the send queue, and
    // nothing is ever transmitted because of them.
    void replayReceive(const QByteArray& data);
    void send(const QByteArray& data);
    void rawSend(const QByteArray& data);
    void close();
    // Pulses the control lines of a serial port; blocks for two pulse times.
    void disturb();
    // One pulse: two character times of ten bits at this speed, at least 1 ms.
    static unsigned long disturbPulseMs(int speed);

Q_SIGNALS:
    void rawReceived(const QByteArray& ba);
    void rawSent(const QByteArray& ba);
    void blockStarted();
    void received(int src, int dst, const QByteArray& ba);
    void stateChanged();
    void message(const QString& str);
    void trace(const QString& str);
    void traceNext();
    // An attempt to open, connect or listen failed; the reason is also a
    // message.
    void attemptFailed(const QString& reason);

private Q_SLOTS:
    void onRetransmit();
    void onQrv16(int src, int dst, const QByteArray& data);
    void onReplayFrame(int src, int dst, const QByteArray& data);
    void onReconnect();

private:
    void dataReceived(unsigned src, unsigned type, const void* data, unsigned len) override;
    bool transmitFrame(const void* data, unsigned len) override;
    void trace(const char* format, ...) const override
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    void transportReceived(const QByteArray& data) override;
    void transportWritten(const QByteArray& data) override;

    void prepareConnection();
    void onOpened(const QString& text);
    void onFailed(const QString& text);
    void onDown();
    void setConnected(bool on);
    bool bisActive() const;
    void stopTraffic();
    void scheduleReconnect();
    void stopReconnect();
    // Reports text unless it repeats the last failure of a reconnect.
    void reportFailure(const QString& text);

    int m_mode = -1;
    int m_bismode = ConnectionSettings::BiSTraceMode;
    bool m_bisenabled = false;
    int m_sourceaddress = -1;
    int m_destinationaddress = -1;
    int m_tries = ConnectionSettings::DefaultTries;
    int m_timeout = ConnectionSettings::DefaultTimeout;
    ConnectionSettings m_settings;

    Transport* m_transport = nullptr;    // Owned.
    QTimer* m_retransmittimer = nullptr; // Owned; BiS master only.
    QTimer* m_reconnecttimer = nullptr;  // Owned.
    BiSTrace* m_bistrace = nullptr;      // Owned; made on first use.
    BiSTrace* m_replaytrace = nullptr;   // Owned; made on first replay.

    bool m_connected = false;
    QList<QByteArray> m_queue;
    int m_triesleft = 0;
    // Reconnecting after a fault; the last failure it reported.
    bool m_reconnecting = false;
    // The user wants the link up: faults then lead to reconnecting.
    bool m_wantup = false;
    int m_retrydelay = 0;
    QString m_lastfailure;
    qint64 m_bytesin = 0;
    qint64 m_bytesout = 0;
};
