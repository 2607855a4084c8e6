// SPDX-License-Identifier: MIT
#pragma once

// The transport of one channel: a serial port, a TCP client socket or a TCP
// server, each optionally with TLS, plus the BiS framing on serial links with
// its send queue and retransmission. Everything that happens is reported
// through signals: raw bytes both ways, received blocks with their bus
// addresses, state changes, user messages and trace text. Reads take at most
// 64 KiB at a time so that a flood of input never stalls the event loop.

#include "connection/bisprotocol.h"
#include "connection/connectionsettings.h"

#include <QAbstractSocket>
#include <QSslError>
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QTcpServer>

class BiSTrace;
class QSslSocket;
class QTimer;
class SerSerialPort;

// A TCP server that hands out TLS-capable sockets.
class ServerWrapper : public QTcpServer
{
    Q_OBJECT
public:
    explicit ServerWrapper(QObject* parent = nullptr);

protected:
    void incomingConnection(qintptr descriptor) override;
};

class Connection : public QObject, private BiSProtocol
{
    Q_OBJECT
public:
    static constexpr int QueueLimit = 100;
    static constexpr qint64 ReadChunk = 65536;
    // The type of every frame this side sends.
    static constexpr unsigned FrameType = 34;
    // Serial output waiting for a slow device; more is refused.
    static constexpr qsizetype OutputLimit = 1 << 20;
    // Retry interval for a serial device that went away, and the longest
    // wait between attempts of a TCP client.
    static constexpr int SerialRetryInterval = 1000;
    static constexpr int ClientRetryLimit = 30000;

    explicit Connection(QObject* parent = nullptr);
    ~Connection() override;

    // Replaces the transport; a connection that was active comes back up if
    // the mode stays the same.
    void setSettings(const ConnectionSettings& settings);

    bool isConnected() const;
    bool isListening() const;
    SerSerialPort* serialPort() const { return m_serialport; }
    QSslSocket* socket() const { return m_socket; }
    // The serial port, else the socket, else the server; null without one.
    QObject* connection() const;
    QString serialPortDeviceName() const;
    // " (BiS Master @5)" on a serial link with BiS, else empty.
    QString bisModeText() const;
    int sourceAddress() const { return m_sourceaddress; }
    int destinationAddress() const { return m_destinationaddress; }
    // Bytes taken by send() and not yet handed to the system, plus one for
    // a BiS frame still waiting for its answer: 0 once all is out.
    qsizetype pendingOutput() const;

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

Q_SIGNALS:
    void rawReceived(const QByteArray& ba);
    void rawSent(const QByteArray& ba);
    void blockStarted();
    void received(int src, int dst, const QByteArray& ba);
    void stateChanged();
    void message(const QString& str);
    void trace(const QString& str);
    void traceNext();

private Q_SLOTS:
    void onEncrypted();
    void onReadyRead();
    void networkConnected();
    void networkDisconnected();
    void networkError(QAbstractSocket::SocketError serr);
    void newNetworkConnection();
    void onRetransmit();
    void onQrv16(int src, int dst, const QByteArray& data);
    void onReplayFrame(int src, int dst, const QByteArray& data);
    void flushOutput();
    void writeSerial();
    void onSerialHangUp(const QString& reason);
    void onSslErrors(const QList<QSslError>& errors);
    void onReconnect();

private:
    void dataReceived(unsigned src, unsigned type, const void* data, unsigned len) override;
    bool transmitFrame(const void* data, unsigned len) override;
    void trace(const char* format, ...) const override
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    void prepareConnection();
    void prepareSerialConnection();
    void prepareClientConnection();
    void prepareServerConnection();
    void setSocket(QSslSocket* socket);
    void handleDisconnect();
    void dropSocket();
    void drainSocket();
    void startEncryption(bool asServer);
    void loadSslConfig();
    void setConnected(bool on);
    bool bisActive() const;
    void stopTraffic();
    void scheduleReconnect();
    bool openSameAdapter();
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

    SerSerialPort* m_serialport = nullptr; // Owned.
    QSslSocket* m_socket = nullptr;        // Owned.
    ServerWrapper* m_server = nullptr;     // Owned.
    QTimer* m_retransmittimer = nullptr;   // Owned; BiS master only.
    QTimer* m_reconnecttimer = nullptr;    // Owned.
    BiSTrace* m_bistrace = nullptr;        // Owned; made on first use.
    BiSTrace* m_replaytrace = nullptr;     // Owned; made on first replay.

    bool m_connected = false;
    QString m_peeraddress;
    int m_peerport = 0;
    QList<QByteArray> m_queue;
    int m_triesleft = 0;
    // A read left bytes behind and another read is already posted.
    bool m_readposted = false;
    // Socket output is gathered and written once per turn of the event
    // loop: many small blocks then cost one pass through the TLS socket.
    QByteArray m_pendingoutput;
    bool m_flushposted = false;
    QSslConfiguration m_sslconfig;
    // Serial output not yet taken by the device, from m_serialoutpos on.
    QByteArray m_serialout;
    qsizetype m_serialoutpos = 0;
    // Reconnecting after a fault; the last failure it reported.
    bool m_reconnecting = false;
    // The user wants the link up: faults then lead to reconnecting.
    bool m_wantup = false;
    int m_retrydelay = 0;
    QString m_lastfailure;
    // Of the USB adapter last opened, to find it under another name.
    QString m_serialnumber;
};
