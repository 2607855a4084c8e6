// SPDX-License-Identifier: MIT
#include "connection/connection.h"

#include "connection/bistrace.h"
#include "connection/remoteserialtransport.h"
#include "connection/serialtransport.h"
#include "connection/tcpclienttransport.h"
#include "connection/tcpservertransport.h"
#include "libserial/serserialport.h"

#include <QThread>
#include <QTimer>

#include <cmath>
#include <cstdarg>

Connection::Connection(QObject* parent)
    : QObject(parent)
    , m_reconnecttimer(new QTimer(this))
{
    m_reconnecttimer->setSingleShot(true);
    // A coarse timer may fire 5 % early; a back-off is promised as "never sooner".
    m_reconnecttimer->setTimerType(Qt::PreciseTimer);
    QObject::connect(m_reconnecttimer, &QTimer::timeout, this, &Connection::onReconnect);
}

Connection::~Connection()
{
    if (m_transport)
        m_transport->setSink(nullptr);
    // Children would otherwise signal into a half-destroyed object while
    // QObject deletes them.
    const QList<QObject*> owned = {m_transport, m_retransmittimer, m_reconnecttimer, m_bistrace, m_replaytrace};
    for (QObject* object : owned) {
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
    return m_transport && m_transport->isConnected();
}

bool Connection::isListening() const
{
    return m_transport && m_transport->isListening();
}

qsizetype Connection::pendingOutput() const
{
    qsizetype n = m_transport ? m_transport->bytesToWrite() : 0;
    for (const QByteArray& frame : m_queue)
        n += frame.size();
    if (bisActive() && responsePending())
        ++n;
    return n;
}

SerSerialPort* Connection::serialPort() const
{
    const auto* serial = qobject_cast<const SerialTransport*>(m_transport);
    return serial ? serial->port() : nullptr;
}

QSslSocket* Connection::socket() const
{
    const auto* network = qobject_cast<const SocketTransport*>(m_transport);
    return network ? network->socket() : nullptr;
}

QObject* Connection::connection() const
{
    return m_transport ? m_transport->endpoint() : nullptr;
}

QString Connection::serialPortDeviceName() const
{
    return m_transport ? m_transport->portName() : QString();
}

int Connection::modemStatus() const
{
    return m_transport ? m_transport->modemStatus() : 0;
}

bool Connection::isAttempting() const
{
    return m_reconnecting || (m_transport && m_transport->isAttempting());
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
        if (m_settings.isRemoteSerialPort())
            m_transport = new RemoteSerialTransport(m_settings, this);
        else
            m_transport = new SerialTransport(m_settings, this);
        break;
    case ConnectionSettings::ClientMode:
        m_transport = new TcpClientTransport(m_settings, this);
        break;
    case ConnectionSettings::ServerMode:
        m_transport = new TcpServerTransport(m_settings, this);
        break;
    default:
        break;
    }
    if (m_transport) {
        m_transport->setSink(this);
        QObject::connect(m_transport, &Transport::opened, this, &Connection::onOpened);
        QObject::connect(m_transport, &Transport::newPeer, this, &Connection::blockStarted);
        QObject::connect(m_transport, &Transport::failed, this, &Connection::onFailed);
        QObject::connect(m_transport, &Transport::down, this, &Connection::onDown);
        QObject::connect(m_transport, &Transport::message, this, &Connection::message);
        QObject::connect(m_transport, &Transport::stateChanged, this, &Connection::stateChanged);
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
    if (!m_transport) {
        Q_EMIT message(tr("Not configured"));
        return;
    }
    m_transport->open(m_reconnecting);
}

void Connection::transportReceived(const QByteArray& data)
{
    m_bytesin += data.size();
    fakeReceive(data);
}

void Connection::transportWritten(const QByteArray& data)
{
    m_bytesout += data.size();
    Q_EMIT rawSent(data);
}

void Connection::onOpened(const QString& text)
{
    stopReconnect();
    Q_EMIT message(text + bisModeText());
    if (bisActive() && m_bismode == ConnectionSettings::BiSSlaveMode && m_sourceaddress < 0)
        Q_EMIT message(tr("Set the BiS address of this slave: no query will be answered"));
    setConnected(true);
}

void Connection::onFailed(const QString& text)
{
    reportFailure(text);
    Q_EMIT attemptFailed(text);
}

void Connection::onDown()
{
    if (m_connected)
        stopTraffic();
    setConnected(false);
    if (m_wantup)
        scheduleReconnect();
}

void Connection::stopTraffic()
{
    m_queue.clear();
    dropPending();
    // Stopped, not deleted: the next connect needs it again.
    if (m_retransmittimer)
        m_retransmittimer->stop();
    if (m_transport)
        m_transport->discardOutput();
}

void Connection::disconnect()
{
    m_wantup = false;
    const bool wasReconnecting = m_reconnecting;
    stopReconnect();
    if (wasReconnecting)
        Q_EMIT message(tr("Reconnecting stopped"));
    stopTraffic();
    if (m_transport)
        m_transport->close();
}

void Connection::toggleConnected()
{
    if (isListening() || isConnected() || isAttempting())
        disconnect();
    else
        connect();
}

void Connection::close()
{
    disconnect();
    if (m_transport)
        m_transport->setSink(nullptr);
    // Deferred deletion: close() may be called from a slot that one of
    // these objects is signalling.
    const QList<QObject*> owned = {m_transport, m_retransmittimer, m_bistrace, m_replaytrace};
    for (QObject* object : owned) {
        if (object) {
            QObject::disconnect(object, nullptr, this, nullptr);
            object->deleteLater();
        }
    }
    m_transport = nullptr;
    m_retransmittimer = nullptr;
    m_bistrace = nullptr;
    m_replaytrace = nullptr;
    setConnected(false);
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
    if (m_transport)
        m_transport->write(data);
}

void Connection::scheduleReconnect()
{
    if (!m_settings.reconnect() || !m_transport)
        return;
    const int delay = m_transport->retryDelay(m_retrydelay);
    if (delay <= 0)
        return;
    m_retrydelay = delay;
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
    if (!m_transport || m_transport->isConnected() || m_transport->isAttempting())
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

bool Connection::hasControlLines() const
{
    return m_transport && m_transport->hasControlLines() && m_transport->isConnected();
}

unsigned long Connection::disturbPulseMs(int speed)
{
    if (speed <= 0)
        return 1;
    const double n = std::floor(2.0 * (1000.0 / speed * 10.0) + 0.5);
    return n >= 1 ? static_cast<unsigned long>(n) : 1;
}

void Connection::disturb()
{
    if (!m_transport || !m_transport->hasControlLines())
        return;
    const unsigned long pulse = disturbPulseMs(m_transport->speed());
    const int lines = m_transport->modemStatus();
    const bool rts = lines & SerSerialPort::ModemRts;
    const bool cts = lines & SerSerialPort::ModemCts;
    m_transport->setRts(true);
    m_transport->setDtr(false);
    QThread::msleep(pulse);
    m_transport->setRts(false);
    m_transport->setDtr(true);
    QThread::msleep(pulse);
    m_transport->setRts(rts);
    // DTR follows the CTS reading, not its own: devices in the field rely
    // on this.
    m_transport->setDtr(cts);
}
