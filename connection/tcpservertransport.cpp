// SPDX-License-Identifier: MIT
#include "connection/tcpservertransport.h"

#include "connection/serverwrapper.h"

#include <QHostAddress>
#include <QSslSocket>

namespace {

// "127.0.0.1:4711", "[::1]:4711"; a v4 peer of a dual-stack server is shown
// as plain v4.
QString peerText(const QHostAddress& address, quint16 port)
{
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    if (isV4)
        return QHostAddress(v4).toString() + QLatin1Char(':') + QString::number(port);
    return QLatin1Char('[') + address.toString() + QLatin1String("]:") + QString::number(port);
}

bool isAnyAddress(const QString& text)
{
    return text.isEmpty() || text.compare(QLatin1String("any"), Qt::CaseInsensitive) == 0;
}

} // namespace

TcpServerTransport::TcpServerTransport(const ConnectionSettings& settings, QObject* parent)
    : SocketTransport(settings, parent)
{
    makeServer();
}

void TcpServerTransport::makeServer()
{
    m_server = new ServerWrapper(this);
    connect(m_server, &QTcpServer::newConnection, this, &TcpServerTransport::onNewConnection);
}

QObject* TcpServerTransport::endpoint() const
{
    return m_server;
}

bool TcpServerTransport::isListening() const
{
    return m_server && m_server->isListening();
}

void TcpServerTransport::open(bool retrying)
{
    loadSslConfig(retrying);
    const QString configured = m_settings.serverAddress();
    const QString addressText = isAnyAddress(configured) ? tr("Any") : configured;
    QHostAddress address(QHostAddress::Any);
    bool valid = true;
    if (!isAnyAddress(configured)) {
        if (configured.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
            address = QHostAddress(QHostAddress::LocalHost);
        else
            valid = address.setAddress(configured);
    }
    const auto port = quint16(m_settings.serverPort());
    if (valid && m_server->listen(address, port)) {
        // The real port, which differs from the setting only for port 0.
        Q_EMIT message(tr("Listening to %1:%2").arg(addressText).arg(m_server->serverPort()));
        Q_EMIT stateChanged();
    } else {
        Q_EMIT message(tr("failed to listen to %1:%2").arg(addressText).arg(port));
    }
}

void TcpServerTransport::close()
{
    closeSocket();
    // A fresh server, listening again at the next open.
    m_server->close();
    QObject::disconnect(m_server, nullptr, this, nullptr);
    m_server->deleteLater();
    m_server = nullptr;
    Q_EMIT message(tr("Stopped listening"));
    Q_EMIT stateChanged();
    makeServer();
}

void TcpServerTransport::linkEnded()
{
    dropSocket();
}

void TcpServerTransport::onNewConnection()
{
    if (!m_server)
        return;
    QTcpSocket* incoming = m_server->nextPendingConnection();
    auto* socket = qobject_cast<QSslSocket*>(incoming);
    if (!socket) {
        delete incoming;
        return;
    }
    const bool replaced = m_socket != nullptr;
    dropSocket();
    m_up = false;
    Q_EMIT down();
    const QString peer = peerText(socket->peerAddress(), socket->peerPort());
    setSocket(socket);
    setKeepAlive(socket);
    m_up = true;
    Q_EMIT opened(replaced ? tr("Connection replaced by incoming connection from %1").arg(peer)
                           : tr("Incoming connection from %1").arg(peer));
    if (m_settings.sslEnabled() && m_socket == socket)
        startEncryption(true);
    Q_EMIT newPeer();
    // Bytes may have come with the connection itself.
    if (m_socket == socket && socket->bytesAvailable() > 0)
        onReadyRead();
}
