// SPDX-License-Identifier: MIT
#include "connection/connection.h"

#include "connection/bistrace.h"
#include "libserial/serportdeviceinfo.h"
#include "libserial/serserialport.h"

#include <QHostAddress>
#include <QMetaObject>
#include <QPointer>
#include <QSslSocket>
#include <QThread>
#include <QTimer>

#include <cmath>
#include <cstdarg>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

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

// A peer that vanishes without closing (cable pulled, host off) is noticed
// after about 10 + 3 x 5 seconds instead of never.
void setKeepAlive(QAbstractSocket* socket)
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

} // namespace

ServerWrapper::ServerWrapper(QObject* parent)
    : QTcpServer(parent)
{
}

void ServerWrapper::incomingConnection(qintptr descriptor)
{
    auto* socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(descriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite)) {
        delete socket;
        return;
    }
    addPendingConnection(socket);
}

Connection::Connection(QObject* parent)
    : QObject(parent)
    , m_reconnecttimer(new QTimer(this))
{
    m_reconnecttimer->setSingleShot(true);
    QObject::connect(m_reconnecttimer, &QTimer::timeout, this, &Connection::onReconnect);
}

Connection::~Connection()
{
    // Children would otherwise signal into a half-destroyed object while
    // QObject deletes them.
    const QList<QObject*> transports = {m_serialport, m_socket, m_server, m_retransmittimer, m_reconnecttimer,
                                        m_bistrace, m_replaytrace};
    for (QObject* object : transports) {
        if (object) {
            QObject::disconnect(object, nullptr, this, nullptr);
            delete object;
        }
    }
}

void Connection::setSettings(const ConnectionSettings& settings)
{
    const bool wasActive = isListening() || isConnected();
    const int oldMode = m_mode;
    close();
    m_settings = settings;
    m_mode = settings.mode();
    m_bismode = settings.bisMode();
    m_bisenabled = settings.bisEnabled();
    m_sourceaddress = settings.sourceAddress();
    m_destinationaddress = settings.destinationAddress();
    m_tries = settings.tries();
    m_timeout = settings.timeout();
    prepareConnection();
    if (m_mode == oldMode && wasActive)
        connect();
}

bool Connection::isConnected() const
{
    if (m_serialport)
        return m_serialport->isOpen();
    if (m_socket)
        return m_socket->state() == QAbstractSocket::ConnectedState;
    return false;
}

bool Connection::isListening() const
{
    return m_server && m_server->isListening();
}

qsizetype Connection::pendingOutput() const
{
    qsizetype n = m_pendingoutput.size() + (m_serialout.size() - m_serialoutpos);
    if (m_socket)
        n += m_socket->bytesToWrite() + m_socket->encryptedBytesToWrite();
    for (const QByteArray& frame : m_queue)
        n += frame.size();
    if (bisActive() && responsePending())
        ++n;
    return n;
}

QObject* Connection::connection() const
{
    if (m_serialport)
        return m_serialport;
    if (m_socket)
        return m_socket;
    return m_server;
}

QString Connection::serialPortDeviceName() const
{
    return m_serialport ? m_serialport->device() : QString();
}

bool Connection::bisActive() const
{
    return m_mode == ConnectionSettings::SerialMode && m_bisenabled;
}

QString Connection::bisModeText() const
{
    if (!bisActive())
        return QString();
    QString role;
    int address = -1;
    switch (m_bismode) {
    case ConnectionSettings::BiSMasterMode:
        role = tr("Master");
        address = m_destinationaddress;
        break;
    case ConnectionSettings::BiSSlaveMode:
        role = tr("Slave");
        address = m_sourceaddress;
        break;
    case ConnectionSettings::BiSTraceMode:
        role = tr("Trace");
        break;
    default:
        break;
    }
    QString text = QLatin1String(" (BiS ") + role;
    if (address >= 0)
        text += QLatin1String(" @") + QString::number(address);
    return text + QLatin1Char(')');
}

void Connection::prepareConnection()
{
    switch (m_mode) {
    case ConnectionSettings::SerialMode:
        prepareSerialConnection();
        break;
    case ConnectionSettings::ClientMode:
        prepareClientConnection();
        break;
    case ConnectionSettings::ServerMode:
        prepareServerConnection();
        break;
    default:
        break;
    }
    if (!bisActive())
        return;
    if (m_bismode == ConnectionSettings::BiSMasterMode) {
        setMode(BiSProtocol::Master);
        setOwnAddress(0);
        m_retransmittimer = new QTimer(this);
        m_retransmittimer->setInterval(m_timeout);
        QObject::connect(m_retransmittimer, &QTimer::timeout, this, &Connection::onRetransmit);
    } else if (m_bismode == ConnectionSettings::BiSSlaveMode) {
        setMode(BiSProtocol::Slave);
        setOwnAddress(unsigned(m_sourceaddress));
    }
}

void Connection::prepareSerialConnection()
{
    m_serialport = SerSerialPort::newPort(m_settings.serialPort(), this);
    if (!m_serialport) {
        Q_EMIT message(tr("No port device at %1").arg(m_settings.serialPort()));
        return;
    }
    QObject::connect(m_serialport, &QIODevice::readyRead, this, &Connection::onReadyRead);
    QObject::connect(m_serialport, &SerSerialPort::readyWrite, this, &Connection::writeSerial);
    QObject::connect(m_serialport, &SerSerialPort::hungUp, this, &Connection::onSerialHangUp);
    m_serialport->setSpeed(m_settings.serialSpeed());
    m_serialport->setHandshake(m_settings.serialHandshake());
    m_serialport->setRTS(false);
    m_serialport->setDTR(false);
}

void Connection::prepareClientConnection()
{
    m_peeraddress = m_settings.clientAddress();
    m_peerport = m_settings.clientPort();
    setSocket(new QSslSocket(this));
}

void Connection::prepareServerConnection()
{
    m_server = new ServerWrapper(this);
    QObject::connect(m_server, &QTcpServer::newConnection, this, &Connection::newNetworkConnection);
}

void Connection::setSocket(QSslSocket* socket)
{
    m_socket = socket;
    socket->setParent(this);
    QObject::connect(socket, &QIODevice::readyRead, this, &Connection::onReadyRead);
    QObject::connect(socket, &QAbstractSocket::connected, this, &Connection::networkConnected);
    QObject::connect(socket, &QAbstractSocket::disconnected, this, &Connection::networkDisconnected);
    QObject::connect(socket, &QAbstractSocket::errorOccurred, this, &Connection::networkError);
    QObject::connect(socket, &QSslSocket::encrypted, this, &Connection::onEncrypted);
    QObject::connect(socket, &QSslSocket::sslErrors, this, &Connection::onSslErrors);
}

void Connection::setConnected(bool on)
{
    if (m_connected == on)
        return;
    m_connected = on;
    Q_EMIT stateChanged();
}

void Connection::connect()
{
    m_wantup = true;
    if (m_serialport) {
        if (m_serialport->isOpen())
            return;
        if (!m_serialport->open(QIODevice::ReadWrite) && !(m_reconnecting && openSameAdapter())) {
            reportFailure(tr("Open: %1").arg(m_serialport->errorString()));
            scheduleReconnect();
            return;
        }
        stopReconnect();
        m_serialnumber = SerPortDeviceInfo::find(m_serialport->device()).serialNumber();
        Q_EMIT message(tr("Port %1 opened").arg(m_serialport->device()) + bisModeText());
        if (bisActive() && m_bismode == ConnectionSettings::BiSSlaveMode && m_sourceaddress < 0)
            Q_EMIT message(tr("Set the BiS address of this slave: no query will be answered"));
        // Wakes up devices that watch the control lines.
        m_serialport->setDTR(true);
        m_serialport->setRTS(true);
        m_serialport->setRTS(false);
        m_serialport->setDTR(false);
        setConnected(true);
    } else if (m_server) {
        loadSslConfig();
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
            Q_EMIT message(tr("Listening to %1:%2").arg(addressText).arg(m_server->serverPort()) + bisModeText());
            Q_EMIT stateChanged();
        } else {
            Q_EMIT message(tr("failed to listen to %1:%2").arg(addressText).arg(port));
        }
    } else if (m_socket) {
        loadSslConfig();
        if (m_socket->state() != QAbstractSocket::UnconnectedState)
            return;
        const QString host = m_settings.clientAddress();
        m_socket->connectToHost(host.isEmpty() ? QStringLiteral("localhost") : host,
                                quint16(m_settings.clientPort()), QIODevice::ReadWrite);
    } else {
        Q_EMIT message(tr("Not configured"));
    }
}

void Connection::stopTraffic()
{
    m_queue.clear();
    dropPending();
    // Stopped, not deleted: the next connect needs it again.
    if (m_retransmittimer)
        m_retransmittimer->stop();
    m_serialout.clear();
    m_serialoutpos = 0;
    if (m_serialport)
        m_serialport->setWriteNotification(false);
}

void Connection::disconnect()
{
    m_wantup = false;
    const bool wasReconnecting = m_reconnecting;
    stopReconnect();
    if (wasReconnecting)
        Q_EMIT message(tr("Reconnecting stopped"));
    stopTraffic();
    if (m_serialport && m_serialport->isOpen()) {
        m_serialport->close();
        Q_EMIT message(tr("Serial port closed"));
        setConnected(false);
    }
    if (m_socket) {
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
    if (m_server) {
        m_server->close();
        QObject::disconnect(m_server, nullptr, this, nullptr);
        m_server->deleteLater();
        m_server = nullptr;
        Q_EMIT message(tr("Stopped listening"));
        Q_EMIT stateChanged();
        prepareServerConnection();
    }
}

void Connection::toggleConnected()
{
    const bool attempting = m_reconnecting || (m_socket && m_socket->state() != QAbstractSocket::UnconnectedState);
    if (isListening() || isConnected() || attempting)
        disconnect();
    else
        connect();
}

void Connection::close()
{
    disconnect();
    // Deferred deletion: close() may be called from a slot that one of
    // these objects is signalling.
    const QList<QObject*> transports = {m_serialport, m_socket, m_server, m_retransmittimer, m_bistrace,
                                        m_replaytrace};
    for (QObject* object : transports) {
        if (object) {
            QObject::disconnect(object, nullptr, this, nullptr);
            object->deleteLater();
        }
    }
    m_serialport = nullptr;
    m_socket = nullptr;
    m_server = nullptr;
    m_retransmittimer = nullptr;
    m_bistrace = nullptr;
    m_replaytrace = nullptr;
    m_peeraddress.clear();
    m_peerport = 0;
    setConnected(false);
}

void Connection::networkConnected()
{
    if (sender() != m_socket)
        return;
    stopReconnect();
    setKeepAlive(m_socket);
    Q_EMIT message(tr("Connection established") + bisModeText());
    if (m_settings.sslEnabled())
        startEncryption(m_mode == ConnectionSettings::ServerMode);
    setConnected(true);
}

void Connection::networkDisconnected()
{
    if (sender() != m_socket)
        return;
    Q_EMIT message(tr("Connection closed"));
    handleDisconnect();
    if (m_wantup)
        scheduleReconnect();
}

void Connection::networkError(QAbstractSocket::SocketError serr)
{
    if (sender() != m_socket)
        return;
    // The disconnected signal follows and reports it.
    if (serr == QAbstractSocket::RemoteHostClosedError)
        return;
    // A link that was up and failed (keepalive probes unanswered, reset)
    // is lost; one that never came up is an error of the attempt.
    const bool handshake = serr == QAbstractSocket::SslHandshakeFailedError || serr == QAbstractSocket::SslInternalError
                           || serr == QAbstractSocket::SslInvalidUserDataError;
    if (m_connected && !handshake)
        Q_EMIT message(tr("Connection lost: %1").arg(m_socket->errorString()));
    else
        reportFailure(tr("Connection error: %1").arg(m_socket->errorString()));
    handleDisconnect();
    if (m_wantup)
        scheduleReconnect();
}

void Connection::handleDisconnect()
{
    if (m_mode == ConnectionSettings::ServerMode)
        dropSocket();
    else
        drainSocket();
    setConnected(false);
}

void Connection::drainSocket()
{
    // Bytes that arrived before the peer went away are still delivered.
    QPointer<QSslSocket> socket = m_socket;
    while (socket && socket == m_socket && socket->bytesAvailable() > 0) {
        const QByteArray data = socket->read(ReadChunk);
        if (data.isEmpty())
            break;
        fakeReceive(data);
    }
}

void Connection::dropSocket()
{
    if (!m_socket)
        return;
    drainSocket();
    if (!m_socket)
        return;
    QSslSocket* socket = m_socket;
    m_socket = nullptr;
    // Output still waiting was meant for this peer, not for the next.
    m_pendingoutput.resize(0);
    QObject::disconnect(socket, nullptr, nullptr, nullptr);
    if (socket->state() != QAbstractSocket::UnconnectedState)
        socket->abort();
    socket->deleteLater();
}

void Connection::newNetworkConnection()
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
    setConnected(false);
    m_peeraddress = socket->peerAddress().toString();
    m_peerport = socket->peerPort();
    const QString peer = peerText(socket->peerAddress(), socket->peerPort());
    Q_EMIT message(replaced ? tr("Connection replaced by incoming connection from %1").arg(peer)
                            : tr("Incoming connection from %1").arg(peer));
    setSocket(socket);
    setKeepAlive(socket);
    if (m_settings.sslEnabled())
        startEncryption(true);
    setConnected(true);
    Q_EMIT blockStarted();
    // Bytes may have come with the connection itself.
    if (socket->bytesAvailable() > 0)
        onReadyRead();
}

void Connection::startEncryption(bool asServer)
{
    m_socket->setSslConfiguration(m_sslconfig);
    if (asServer)
        m_socket->startServerEncryption();
    else
        m_socket->startClientEncryption();
}

void Connection::onEncrypted()
{
    if (sender() != m_socket)
        return;
    Q_EMIT message(tr("Encryption activated"));
    Q_EMIT stateChanged();
}

void Connection::onSslErrors(const QList<QSslError>& errors)
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

void Connection::loadSslConfig()
{
    m_sslconfig = QSslConfiguration::defaultConfiguration();
    // Said at the first attempt; a reconnect every few seconds would
    // repeat it for ever.
    const auto say = [this](const QString& text) {
        if (!m_reconnecting)
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

void Connection::onReadyRead()
{
    m_readposted = false;
    QPointer<QIODevice> device = m_serialport ? static_cast<QIODevice*>(m_serialport)
                                              : static_cast<QIODevice*>(m_socket);
    if (!device)
        return;
    // A socket knows how much it holds; sizing the read to it saves a 64 KiB
    // allocation per small block.
    const qint64 available = device->bytesAvailable();
    const QByteArray data = device->read(available > 0 ? qMin(available, ReadChunk) : ReadChunk);
    if (!data.isEmpty())
        fakeReceive(data);
    // The socket signals only new arrivals: what is left of a large burst
    // is read in a later turn of the event loop.
    if (device && device == static_cast<QIODevice*>(m_socket) && device->bytesAvailable() > 0 && !m_readposted) {
        m_readposted = true;
        QMetaObject::invokeMethod(this, &Connection::onReadyRead, Qt::QueuedConnection);
    }
}

void Connection::fakeReceive(const QByteArray& data)
{
    Q_EMIT rawReceived(data);
    if (!bisActive()) {
        Q_EMIT received(-1, -1, data);
        return;
    }
    switch (m_bismode) {
    case ConnectionSettings::BiSMasterMode:
    case ConnectionSettings::BiSSlaveMode:
        BiSProtocol::receive(data.constData(), unsigned(data.size()));
        break;
    case ConnectionSettings::BiSTraceMode:
        if (!m_bistrace) {
            m_bistrace = new BiSTrace(this);
            QObject::connect(m_bistrace, &BiSTrace::trace, this, qOverload<const QString&>(&Connection::trace));
            QObject::connect(m_bistrace, &BiSTrace::next, this, &Connection::traceNext);
            QObject::connect(m_bistrace, &BiSTrace::qrv16, this, &Connection::onQrv16);
        }
        m_bistrace->receive(data);
        break;
    default:
        break;
    }
}

void Connection::replayReceive(const QByteArray& data)
{
    Q_EMIT rawReceived(data);
    if (!bisActive()) {
        Q_EMIT received(-1, -1, data);
        return;
    }
    // A passive reader for every role: a master's live framing would take
    // only the answer it waits for and then send the next query, a slave's
    // would repeat its last answer to a repeated query.
    if (!m_replaytrace) {
        m_replaytrace = new BiSTrace(this);
        QObject::connect(m_replaytrace, &BiSTrace::trace, this, [this](const QString& line) {
            if (m_bismode == ConnectionSettings::BiSTraceMode)
                Q_EMIT trace(line);
        });
        QObject::connect(m_replaytrace, &BiSTrace::next, this, [this] {
            if (m_bismode == ConnectionSettings::BiSTraceMode)
                Q_EMIT traceNext();
        });
        QObject::connect(m_replaytrace, &BiSTrace::qrv16, this, &Connection::onReplayFrame);
    }
    m_replaytrace->receive(data);
}

void Connection::onReplayFrame(int src, int dst, const QByteArray& data)
{
    if (m_bismode == ConnectionSettings::BiSTraceMode) {
        onQrv16(src, dst, data);
        return;
    }
    // What the live framing would have taken: frames to this side, the
    // master being 0; not the echo of its own queries.
    const int own = m_bismode == ConnectionSettings::BiSMasterMode ? 0 : m_sourceaddress;
    if (dst != own)
        return;
    Q_EMIT blockStarted();
    Q_EMIT received(src, dst, data);
}

void Connection::dataReceived(unsigned src, unsigned /*type*/, const void* data, unsigned len)
{
    if (m_retransmittimer)
        m_retransmittimer->stop();
    if (m_bismode == ConnectionSettings::BiSMasterMode && !m_queue.isEmpty())
        send(m_queue.takeFirst());
    Q_EMIT blockStarted();
    Q_EMIT received(int(src), int(ownAddress()), QByteArray(static_cast<const char*>(data), int(len)));
}

bool Connection::transmitFrame(const void* data, unsigned len)
{
    rawSend(QByteArray(static_cast<const char*>(data), int(len)));
    return true;
}

void Connection::trace(const char* format, ...) const
{
    va_list args;
    va_start(args, format);
    const QString text = QString::vasprintf(format, args);
    va_end(args);
    Q_EMIT const_cast<Connection*>(this)->trace(text);
}

void Connection::onQrv16(int src, int dst, const QByteArray& data)
{
    if (m_sourceaddress >= 0 && m_sourceaddress != src)
        return;
    if (m_destinationaddress >= 0 && m_destinationaddress != dst)
        return;
    Q_EMIT blockStarted();
    Q_EMIT received(src, dst, data);
}

void Connection::send(const QByteArray& data)
{
    if (!bisActive()) {
        rawSend(data);
        return;
    }
    const bool master = m_bismode == ConnectionSettings::BiSMasterMode;
    if (!master && m_bismode != ConnectionSettings::BiSSlaveMode)
        return;
    // Unset is -1, which would go out as FF FF FF FF.
    if (master && m_destinationaddress < 0) {
        Q_EMIT message(tr("Set the BiS address of the destination: nothing sent"));
        return;
    }
    if (responsePending()) {
        if (m_queue.size() >= QueueLimit) {
            Q_EMIT message(tr("Queue overflow"));
            disconnect();
        } else {
            m_queue.append(data);
        }
        return;
    }
    if (m_retransmittimer)
        m_retransmittimer->start();
    // At most 25 transmissions in all.
    m_triesleft = m_tries <= 0 ? 0 : (m_tries < 26 ? m_tries - 1 : 24);
    Packet packet;
    packet.destination = unsigned(master ? m_destinationaddress : m_sourceaddress);
    packet.type = FrameType;
    packet.data = data.constData();
    packet.len = unsigned(data.size());
    if (!BiSProtocol::send(packet)) {
        // Only a block too long for one frame fails; waiting for an answer
        // to a query that never went out would only delay the queue.
        Q_EMIT message(tr("Block of %1 bytes too long for a BiS frame, not sent").arg(data.size()));
        if (m_retransmittimer)
            m_retransmittimer->stop();
        dropPending();
        if (!m_queue.isEmpty())
            send(m_queue.takeFirst());
    }
}

void Connection::rawSend(const QByteArray& data)
{
    if (m_serialport) {
        if (!m_serialport->isOpen() || data.isEmpty())
            return;
        if (m_serialout.size() - m_serialoutpos + data.size() > OutputLimit) {
            Q_EMIT message(tr("Output buffer full (%1 KiB waiting for the device): %2 bytes not sent")
                               .arg((m_serialout.size() - m_serialoutpos) / 1024)
                               .arg(data.size()));
            return;
        }
        m_serialout += data;
        writeSerial();
        return;
    }
    if (!m_socket)
        return;
    Q_EMIT rawSent(data);
    if (!m_socket || !m_socket->isOpen())
        return;
    m_pendingoutput += data;
    if (!m_flushposted) {
        m_flushposted = true;
        QMetaObject::invokeMethod(this, &Connection::flushOutput, Qt::QueuedConnection);
    }
}

void Connection::flushOutput()
{
    m_flushposted = false;
    if (m_socket && m_socket->isOpen() && !m_pendingoutput.isEmpty())
        m_socket->write(m_pendingoutput.constData(), m_pendingoutput.size());
    // Keeps the capacity for the next turn.
    m_pendingoutput.resize(0);
}

void Connection::writeSerial()
{
    while (m_serialport && m_serialport->isOpen() && m_serialoutpos < m_serialout.size()) {
        const qint64 written =
            m_serialport->write(m_serialout.constData() + m_serialoutpos, m_serialout.size() - m_serialoutpos);
        if (written <= 0)
            break;
        // Advanced before the signal: a receiver may send more right away.
        const QByteArray chunk = m_serialout.mid(m_serialoutpos, written);
        m_serialoutpos += written;
        Q_EMIT rawSent(chunk);
    }
    if (!m_serialport || !m_serialport->isOpen())
        return;
    if (m_serialoutpos >= m_serialout.size()) {
        m_serialout.resize(0);
        m_serialoutpos = 0;
        m_serialport->setWriteNotification(false);
        return;
    }
    // Compacted rarely: only once the written part outweighs the rest.
    if (m_serialoutpos > m_serialout.size() / 2) {
        m_serialout.remove(0, m_serialoutpos);
        m_serialoutpos = 0;
    }
    m_serialport->setWriteNotification(true);
}

void Connection::onSerialHangUp(const QString& reason)
{
    if (!m_serialport || !m_serialport->isOpen())
        return;
    stopTraffic();
    m_serialport->close();
    Q_EMIT message(reason);
    setConnected(false);
    if (m_wantup)
        scheduleReconnect();
}

bool Connection::openSameAdapter()
{
    // A USB adapter plugged back into another socket may get another name;
    // its serial number stays.
    if (m_serialnumber.isEmpty())
        return false;
    SerPortDeviceInfo::rescan();
    const QList<SerPortDeviceInfo> devices = SerPortDeviceInfo::devices();
    for (const SerPortDeviceInfo& device : devices) {
        if (device.serialNumber() != m_serialnumber || device.name() == m_serialport->device())
            continue;
        const QString oldName = m_serialport->device();
        m_serialport->setDevice(device.name());
        if (m_serialport->open(QIODevice::ReadWrite)) {
            Q_EMIT message(tr("Adapter %1 found again as %2").arg(m_serialnumber, device.name()));
            return true;
        }
        m_serialport->setDevice(oldName);
    }
    return false;
}

void Connection::scheduleReconnect()
{
    if (!m_settings.reconnect())
        return;
    if (m_mode == ConnectionSettings::SerialMode && m_serialport) {
        m_retrydelay = SerialRetryInterval;
    } else if (m_mode == ConnectionSettings::ClientMode && m_socket) {
        m_retrydelay = m_retrydelay == 0 ? 1000 : qMin(2 * m_retrydelay, ClientRetryLimit);
    } else {
        return;
    }
    m_reconnecting = true;
    m_reconnecttimer->start(m_retrydelay);
}

void Connection::stopReconnect()
{
    m_reconnecttimer->stop();
    m_reconnecting = false;
    m_retrydelay = 0;
    m_lastfailure.clear();
}

void Connection::reportFailure(const QString& text)
{
    if (m_reconnecting && text == m_lastfailure)
        return;
    m_lastfailure = text;
    Q_EMIT message(text);
}

void Connection::onReconnect()
{
    if (m_serialport && m_serialport->isOpen())
        return;
    if (m_socket && m_socket->state() != QAbstractSocket::UnconnectedState)
        return;
    connect();
}

void Connection::onRetransmit()
{
    if (m_triesleft < 1) {
        if (m_retransmittimer)
            m_retransmittimer->stop();
        Q_EMIT message(tr("Response timeout"));
        dropPending();
        if (!m_queue.isEmpty())
            send(m_queue.takeFirst());
        return;
    }
    --m_triesleft;
    retransmit();
}

void Connection::disturb()
{
    if (!m_serialport)
        return;
    // Two character times of ten bits each.
    const int speed = m_serialport->speed();
    unsigned long pulse = 1;
    if (speed != 0) {
        const double n = std::floor(2.0 * (1000.0 / speed * 10.0) + 0.5);
        if (n >= 1)
            pulse = static_cast<unsigned long>(n);
    }
    const bool rts = m_serialport->getRTS() != 0;
    const bool cts = m_serialport->getCTS() != 0;
    m_serialport->setRTS(true);
    m_serialport->setDTR(false);
    QThread::msleep(pulse);
    m_serialport->setRTS(false);
    m_serialport->setDTR(true);
    QThread::msleep(pulse);
    m_serialport->setRTS(rts);
    // DTR follows the CTS reading, not its own: devices in the field rely
    // on this.
    m_serialport->setDTR(cts);
}
