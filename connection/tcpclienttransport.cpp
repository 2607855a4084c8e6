// SPDX-License-Identifier: MIT
#include "connection/tcpclienttransport.h"

#include <QSslSocket>

TcpClientTransport::TcpClientTransport(const ConnectionSettings& settings, QObject* parent)
    : SocketTransport(settings, parent)
{
    setSocket(new QSslSocket(this));
}

QObject* TcpClientTransport::endpoint() const
{
    return m_socket;
}

int TcpClientTransport::retryDelay(int previous) const
{
    return previous == 0 ? 1000 : qMin(2 * previous, RetryLimit);
}

void TcpClientTransport::open(bool retrying)
{
    loadSslConfig(retrying);
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        return;
    const QString host = m_settings.clientAddress();
    m_socket->connectToHost(host.isEmpty() ? QStringLiteral("localhost") : host, quint16(m_settings.clientPort()),
                            QIODevice::ReadWrite);
}

void TcpClientTransport::close()
{
    closeSocket();
}

void TcpClientTransport::onSocketConnected()
{
    setKeepAlive(m_socket);
    m_up = true;
    Q_EMIT opened(tr("Connection established"));
    if (m_settings.sslEnabled() && m_socket)
        startEncryption(false);
}

void TcpClientTransport::linkEnded()
{
    drainSocket();
}
