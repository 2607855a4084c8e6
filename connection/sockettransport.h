// SPDX-License-Identifier: MIT
#pragma once

// What the TCP client and the TCP server share: one TLS-capable socket at a
// time, its TLS configuration and handshake, keepalive, output gathered
// and written once per turn of the event loop, and reads of at most
// ReadChunk that leave the rest for a later turn. A handshake that does not
// finish within HandshakeTimeout drops the link.

#include "connection/connectionsettings.h"
#include "connection/transport.h"

#include <QAbstractSocket>
#include <QSslConfiguration>
#include <QSslError>

class QSslSocket;
class QTimer;

class SocketTransport : public Transport
{
    Q_OBJECT
public:
    // A peer that vanishes without closing (cable pulled, host off) is
    // noticed after about 10 + 3 x 5 seconds instead of never.
    static void setKeepAlive(QAbstractSocket* socket);

    QSslSocket* socket() const { return m_socket; }

    bool isConnected() const override;
    bool isAttempting() const override;
    void write(const QByteArray& data) override;
    qsizetype bytesToWrite() const override;
    // Output still waiting goes out before a close; a dropped peer drops it.
    void discardOutput() override {}

protected:
    SocketTransport(const ConnectionSettings& settings, QObject* parent);

    void setSocket(QSslSocket* socket);
    // Delivers what the socket still holds, then forgets the socket.
    void dropSocket();
    void drainSocket();
    // The user's close of the socket: a pending attempt ends at once, a
    // link closes after its output.
    void closeSocket();
    void loadSslConfig(bool quiet);
    void startEncryption(bool asServer);
    // The socket's link ended; the server forgets it, the client keeps it.
    virtual void linkEnded() = 0;
    virtual void onSocketConnected() {}
    void onReadyRead();

    ConnectionSettings m_settings;
    QSslSocket* m_socket = nullptr; // Owned.
    // The link was up: a failure now loses it rather than failing to make it.
    bool m_up = false;

private:
    void onDisconnected();
    void onError(QAbstractSocket::SocketError error);
    void onEncrypted();
    void onSslErrors(const QList<QSslError>& errors);
    void onHandshakeTimeout();
    void flushOutput();
    void endLink();

    QSslConfiguration m_sslconfig;
    QTimer* m_handshaketimer; // Owned.
    // Gathered in one turn of the event loop: many small blocks then cost
    // one pass through the TLS socket.
    QByteArray m_pending;
    bool m_flushposted = false;
    // A read left bytes behind and another read is already posted.
    bool m_readposted = false;
};
