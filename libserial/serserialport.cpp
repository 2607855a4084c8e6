// SPDX-License-Identifier: MIT
#include "libserial/serserialport.h"

#include "libserial/pserserialportdata.h"
#ifdef Q_OS_UNIX
#include "libserial/pserunixserialport.h"
#endif

SerSerialPort* SerSerialPort::newPort(const QString& name, QObject* parent)
{
    SerSerialPort* port = nullptr;
#ifdef Q_OS_UNIX
    port = new pSerUnixSerialPort(parent);
#endif
    if (!port)
        qFatal("No suitable serial port for %s", name.toLocal8Bit().constData());
    port->setDevice(name);
    return port;
}

SerSerialPort::SerSerialPort(std::unique_ptr<pSerSerialPortData> data, QObject* parent)
    : QIODevice(parent)
    , m_data(std::move(data))
{
}

SerSerialPort::~SerSerialPort() = default;

void SerSerialPort::setDevice(const QString& name)
{
    if (isOpen())
        return;
    m_data->device = name;
}

void SerSerialPort::setSpeed(int speed)
{
    m_data->speed = speed;
}

void SerSerialPort::setHandshake(int handshake)
{
    m_data->handshake = handshake;
}

void SerSerialPort::setParity(int parity)
{
    m_data->framing.setParity(parity);
}

bool SerSerialPort::setFraming(const SerFraming& framing)
{
    m_data->framing = framing;
    return true;
}

int SerSerialPort::modemStatus() const
{
    int status = 0;
    if (m_data->dtr)
        status |= ModemDtr;
    if (m_data->rts)
        status |= ModemRts;
    if (m_data->brk)
        status |= ModemBreak;
    return status;
}

int SerSerialPort::setRTS(bool on)
{
    m_data->rts = on;
    return 0;
}

int SerSerialPort::setDTR(bool on)
{
    m_data->dtr = on;
    return 0;
}

int SerSerialPort::setBRK(bool on)
{
    m_data->brk = on;
    return 0;
}

void SerSerialPort::causeReadyRead()
{
    if (m_data->readyReadSignalled)
        return;
    m_data->readyReadSignalled = true;
    Q_EMIT readyRead();
}

void SerSerialPort::setWriteNotification(bool /*on*/)
{
}

QString SerSerialPort::device() const
{
    return m_data->device;
}

int SerSerialPort::speed() const
{
    return m_data->speed;
}

int SerSerialPort::handshake() const
{
    return m_data->handshake;
}

int SerSerialPort::parity() const
{
    return m_data->framing.parity();
}

SerFraming SerSerialPort::framing() const
{
    return m_data->framing;
}
