// SPDX-License-Identifier: MIT
#include "connection/serialtransport.h"

#include "libserial/serportdeviceinfo.h"
#include "libserial/serserialport.h"

#include <QPointer>

SerialTransport::SerialTransport(const ConnectionSettings& settings, QObject* parent)
    : Transport(parent)
    , m_port(SerSerialPort::newPort(settings.serialPort(), this))
{
    connect(m_port, &QIODevice::readyRead, this, &SerialTransport::onReadyRead);
    connect(m_port, &SerSerialPort::readyWrite, this, &SerialTransport::writeOut);
    connect(m_port, &SerSerialPort::hungUp, this, &SerialTransport::onHangUp);
    m_port->setSpeed(settings.serialSpeed());
    m_port->setHandshake(settings.serialHandshake());
    m_port->setFraming(settings.serialFraming());
    m_port->setRTS(false);
    m_port->setDTR(false);
}

bool SerialTransport::isConnected() const
{
    return m_port->isOpen();
}

QObject* SerialTransport::endpoint() const
{
    return m_port;
}

QString SerialTransport::portName() const
{
    return m_port->device();
}

int SerialTransport::speed() const
{
    return m_port->speed();
}

int SerialTransport::modemStatus() const
{
    return m_port->modemStatus();
}

void SerialTransport::setRts(bool on)
{
    m_port->setRTS(on);
}

void SerialTransport::setDtr(bool on)
{
    m_port->setDTR(on);
}

void SerialTransport::setBreak(bool on)
{
    m_port->setBRK(on);
}

void SerialTransport::open(bool retrying)
{
    if (m_port->isOpen())
        return;
    if (!m_port->open(QIODevice::ReadWrite) && !(retrying && openSameAdapter())) {
        Q_EMIT failed(tr("Open: %1").arg(m_port->errorString()));
        Q_EMIT down();
        return;
    }
    m_serialnumber = SerPortDeviceInfo::find(m_port->device()).serialNumber();
    // Wakes up devices that watch the control lines.
    m_port->setDTR(true);
    m_port->setRTS(true);
    m_port->setRTS(false);
    m_port->setDTR(false);
    Q_EMIT opened(tr("Port %1 opened").arg(m_port->device()));
}

void SerialTransport::close()
{
    if (!m_port->isOpen())
        return;
    discardOutput();
    m_port->close();
    Q_EMIT message(tr("Serial port closed"));
    Q_EMIT down();
}

void SerialTransport::discardOutput()
{
    m_out.clear();
    m_outpos = 0;
    m_port->setWriteNotification(false);
}

void SerialTransport::write(const QByteArray& data)
{
    if (!m_port->isOpen() || data.isEmpty())
        return;
    if (!admit(data.size(), tr("the device")))
        return;
    m_out += data;
    writeOut();
}

void SerialTransport::writeOut()
{
    QPointer<SerialTransport> self = this;
    while (self && m_port->isOpen() && m_outpos < m_out.size()) {
        const qint64 written = m_port->write(m_out.constData() + m_outpos, m_out.size() - m_outpos);
        if (written <= 0)
            break;
        // Advanced before the signal: a receiver may send more right away.
        const QByteArray chunk = m_out.mid(m_outpos, written);
        m_outpos += written;
        reportWritten(chunk);
    }
    if (!self || !m_port->isOpen())
        return;
    if (m_outpos >= m_out.size()) {
        m_out.resize(0);
        m_outpos = 0;
        m_port->setWriteNotification(false);
        return;
    }
    // Compacted rarely: only once the written part outweighs the rest.
    if (m_outpos > m_out.size() / 2) {
        m_out.remove(0, m_outpos);
        m_outpos = 0;
    }
    m_port->setWriteNotification(true);
}

void SerialTransport::onReadyRead()
{
    // A buffered device knows how much it holds; sizing the read to it
    // saves a large allocation per small block.
    const qint64 available = m_port->bytesAvailable();
    const QByteArray data = m_port->read(available > 0 ? qMin(available, ReadChunk) : ReadChunk);
    if (!data.isEmpty())
        deliver(data);
}

void SerialTransport::onHangUp(const QString& reason)
{
    if (!m_port->isOpen())
        return;
    discardOutput();
    m_port->close();
    Q_EMIT message(reason);
    Q_EMIT down();
}

bool SerialTransport::openSameAdapter()
{
    // A USB adapter plugged back into another socket may get another name;
    // its serial number stays.
    if (m_serialnumber.isEmpty())
        return false;
    SerPortDeviceInfo::rescan();
    const QList<SerPortDeviceInfo> devices = SerPortDeviceInfo::devices();
    for (const SerPortDeviceInfo& device : devices) {
        if (device.serialNumber() != m_serialnumber || device.name() == m_port->device())
            continue;
        const QString oldName = m_port->device();
        m_port->setDevice(device.name());
        if (m_port->open(QIODevice::ReadWrite)) {
            Q_EMIT message(tr("Adapter %1 found again as %2").arg(m_serialnumber, device.name()));
            return true;
        }
        m_port->setDevice(oldName);
    }
    return false;
}
