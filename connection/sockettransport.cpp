// SPDX-License-Identifier: MIT
#include "connection/sockettransport.h"

#include <QMetaObject>
#include <QPointer>
#include <QSignalBlocker>
#include <QSslSocket>
#include <QTimer>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

void SocketTransport::setKeepAlive(QAbstractSocket* socket)
{
    const int fd = int(socket->socketDescriptor());
    if (fd < 0)
        return;
    const int on = 1;
    const int idle = 10;
    const int interval = 5;
    const int probes = 3;
    ::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

SocketTransport::SocketTransport(const ConnectionSettings& settings, QObject* parent)
    : Transport(parent)
    , m_settings(settings)
    , m_handshaketimer(new QTimer(this))
{
    m_handshaketimer->setSingleShot(true);
    m_handshaketimer->setInterval(HandshakeTimeout);
    connect(m_handshaketimer, &QTimer::timeout, this, &SocketTransport::onHandshakeTimeout);
}

bool SocketTransport::isConnected() const
{
    return m_socket && m_socket->state() == QAbstractSocket::ConnectedState;
}

bool SocketTransport::isAttempting() const
{
    return m_socket && m_socket->state() != QAbstractSocket::UnconnectedState
           && m_socket->state() != QAbstractSocket::ConnectedState;
}

qsizetype SocketTransport::bytesToWrite() const
{
    qsizetype n = m_pending.size();
    if (m_socket)
        n += m_socket->bytesToWrite() + m_socket->encryptedBytesToWrite();
    return n;
}

void SocketTransport::setSocket(QSslSocket* socket)
{
    m_socket = socket;
    socket->setParent(this);
    // Without a limit the socket takes all the system holds at each
    // notification, however far its reader lags behind.
    socket->setReadBufferSize(ReadLimit);
    connect(socket, &QIODevice::readyRead, this, &SocketTransport::onReadyRead);
    connect(socket, &QAbstractSocket::connected, this, [this] {
        if (sender() == m_socket)
            onSocketConnected();
    });
    connect(socket, &QAbstractSocket::disconnected, this, &SocketTransport::onDisconnected);
    connect(socket, &QAbstractSocket::errorOccurred, this, &SocketTransport::onError);
    connect(socket, &QSslSocket::encrypted, this, &SocketTransport::onEncrypted);
    connect(socket, &QSslSocket::sslErrors, this, &SocketTransport::onSslErrors);
}

void SocketTransport::write(const QByteArray& data)
{
    // A server without a peer sends nothing and shows nothing sent.
    if (!m_socket || !admit(data.size(), tr("the peer")))
        return;
    reportWritten(data);
    if (!m_socket || !m_socket->isOpen())
        return;
    m_pending += data;
    if (!m_flushposted) {
        m_flushposted = true;
        QMetaObject::invokeMethod(this, &SocketTransport::flushOutput, Qt::QueuedConnection);
    }
}

void SocketTransport::flushOutput()
{
    m_flushposted = false;
    if (m_socket && m_socket->isOpen() && !m_pending.isEmpty())
        m_socket->write(m_pending.constData(), m_pending.size());
    // Keeps the capacity for the next turn.
    m_pending.resize(0);
}

void SocketTransport::closeSocket()
{
    if (!m_socket)
        return;
    switch (m_socket->state()) {
    case QAbstractSocket::UnconnectedState:
        break;
    case QAbstractSocket::HostLookupState:
    case QAbstractSocket::ConnectingState:
        // The system would go on trying for minutes.
        m_socket->abort();
        Q_EMIT message(tr("Connection attempt cancelled"));
        break;
    default:
        flushOutput();
        m_socket->disconnectFromHost();
        break;
    }
}

void SocketTransport::onReadyRead()
{
    m_readposted = false;
    QPointer<QSslSocket> socket = m_socket;
    if (!socket)
        return;
    // A socket knows how much it holds; sizing the read to it saves a 64 KiB
    // allocation per small block.
    const qint64 available = socket->bytesAvailable();
    const QByteArray data = socket->read(available > 0 ? qMin(available, ReadChunk) : ReadChunk);
    if (!data.isEmpty())
        deliver(data);
    // The socket signals only new arrivals: what is left of a large burst
    // is read in a later turn of the event loop.
    if (socket && socket == m_socket && socket->bytesAvailable() > 0 && !m_readposted) {
        m_readposted = true;
        QMetaObject::invokeMethod(this, &SocketTransport::onReadyRead, Qt::QueuedConnection);
    }
}

void SocketTransport::drainSocket()
{
    // Bytes that arrived before the peer went away are still delivered.
    QPointer<QSslSocket> socket = m_socket;
    while (socket && socket == m_socket && socket->bytesAvailable() > 0) {
        const QByteArray data = socket->read(ReadChunk);
        if (data.isEmpty())
            break;
        deliver(data);
    }
}

void SocketTransport::dropSocket()
{
    if (!m_socket)
        return;
    drainSocket();
    if (!m_socket)
        return;
    QSslSocket* socket = m_socket;
    m_socket = nullptr;
    m_handshaketimer->stop();
    // Output still waiting was meant for this peer, not for the next.
    m_pending.resize(0);
    QObject::disconnect(socket, nullptr, nullptr, nullptr);
    if (socket->state() != QAbstractSocket::UnconnectedState)
        socket->abort();
    socket->deleteLater();
}

void SocketTransport::endLink()
{
    m_handshaketimer->stop();
    linkEnded();
    m_up = false;
    Q_EMIT down();
}

void SocketTransport::onDisconnected()
{
    if (sender() != m_socket)
        return;
    Q_EMIT message(tr("Connection closed"));
    endLink();
}

void SocketTransport::onError(QAbstractSocket::SocketError error)
{
    if (sender() != m_socket)
        return;
    // The disconnected signal follows and reports it.
    if (error == QAbstractSocket::RemoteHostClosedError)
        return;
    // A link that was up and failed (keepalive probes unanswered, reset)
    // is lost; one that never came up is an error of the attempt.
    const bool handshake = error == QAbstractSocket::SslHandshakeFailedError
                           || error == QAbstractSocket::SslInternalError
                           || error == QAbstractSocket::SslInvalidUserDataError;
    if (m_up && !handshake)
        Q_EMIT message(tr("Connection lost: %1").arg(m_socket->errorString()));
    else
        Q_EMIT failed(tr("Connection error: %1").arg(m_socket->errorString()));
    endLink();
}

void SocketTransport::startEncryption(bool asServer)
{
    m_socket->setSslConfiguration(m_sslconfig);
    m_handshaketimer->start();
    if (asServer)
        m_socket->startServerEncryption();
    else
        m_socket->startClientEncryption();
}

void SocketTransport::onEncrypted()
{
    if (sender() != m_socket)
        return;
    m_handshaketimer->stop();
    Q_EMIT message(tr("Encryption activated"));
    Q_EMIT stateChanged();
}

void SocketTransport::onHandshakeTimeout()
{
    if (!m_socket || m_socket->isEncrypted())
        return;
    // A peer that opens a link and never finishes the handshake would
    // otherwise hold it for ever.
    Q_EMIT failed(tr("Connection error: TLS handshake not finished within %1 s").arg(HandshakeTimeout / 1000));
    {
        // Said above; the socket's own farewell would only repeat it.
        const QSignalBlocker quiet(m_socket);
        m_socket->abort();
    }
    endLink();
}

void SocketTransport::onSslErrors(const QList<QSslError>& errors)
{
    if (sender() != m_socket)
        return;
    // Without verification the errors are ignored and the link goes on.
    const QSslSocket::PeerVerifyMode verify = m_socket->peerVerifyMode();
    if (verify == QSslSocket::VerifyNone || verify == QSslSocket::QueryPeer)
        return;
    // The handshake then fails with one generic line; these say why.
    for (const QSslError& error : errors) {
        QString text = error.errorString();
        const QSslCertificate certificate = error.certificate();
        if (!certificate.isNull())
            text += QLatin1String(" (") + certificate.subjectDisplayName() + QLatin1Char(')');
        Q_EMIT message(tr("TLS error: %1").arg(text));
    }
}

void SocketTransport::loadSslConfig(bool quiet)
{
    m_sslconfig = QSslConfiguration::defaultConfiguration();
    // Said at the first attempt; a reconnect every few seconds would
    // repeat it for ever.
    const auto say = [this, quiet](const QString& text) {
        if (!quiet)
            Q_EMIT message(text);
    };
    if (!m_settings.sslEnabled()) {
        say(tr("SSL mode disabled"));
        return;
    }
    const QSslKey key = m_settings.loadPrivateKey();
    say(tr("Load private key: %1").arg(key.isNull() ? tr("FAIL") : tr("ok")));
    const QSslCertificate certificate = m_settings.loadLocalCertificate();
    say(tr("Load local certificate: %1").arg(certificate.isNull() ? tr("FAIL") : tr("ok")));
    // Without a directory of its own the system's CA store verifies.
    QList<QSslCertificate> authorities;
    if (!m_settings.caCertificateDirectory().isEmpty()) {
        authorities = m_settings.loadCACertificates();
        say(tr("Load CA certificates: %1 loaded").arg(authorities.size()));
    } else {
        authorities = QSslConfiguration::systemCaCertificates();
    }
    m_sslconfig.setCaCertificates(authorities);
    m_sslconfig.setPrivateKey(key);
    m_sslconfig.setLocalCertificate(certificate);
    m_sslconfig.setPeerVerifyMode(QSslSocket::PeerVerifyMode(m_settings.peerVerifyMode()));
    m_sslconfig.setProtocol(QSsl::SecureProtocols);
    say(tr("SSL mode enabled"));
}
