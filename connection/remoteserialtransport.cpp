// SPDX-License-Identifier: MIT
#include "connection/remoteserialtransport.h"

#include "connection/sockettransport.h"
#include "libserial/serserialport.h"

#include <QMetaObject>
#include <QPointer>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <utility>

namespace {

unsigned char comPortParity(int parity)
{
    switch (parity) {
    case SerFraming::EvenParity:
        return TelnetCodec::ParityEven;
    case SerFraming::OddParity:
        return TelnetCodec::ParityOdd;
    case SerFraming::MarkParity:
        return TelnetCodec::ParityMark;
    case SerFraming::SpaceParity:
        return TelnetCodec::ParitySpace;
    default:
        return TelnetCodec::ParityNone;
    }
}

QString comPortParityName(quint32 value)
{
    switch (value) {
    case TelnetCodec::ParityNone:
        return SerFraming::parityName(SerFraming::NoParity);
    case TelnetCodec::ParityOdd:
        return SerFraming::parityName(SerFraming::OddParity);
    case TelnetCodec::ParityEven:
        return SerFraming::parityName(SerFraming::EvenParity);
    case TelnetCodec::ParityMark:
        return SerFraming::parityName(SerFraming::MarkParity);
    case TelnetCodec::ParitySpace:
        return SerFraming::parityName(SerFraming::SpaceParity);
    default:
        return QString::number(value);
    }
}

} // namespace

RemoteSerialTransport::RemoteSerialTransport(const ConnectionSettings& settings, QObject* parent)
    : Transport(parent)
    , m_settings(settings)
    , m_address(RemotePort::fromName(settings.serialPort()))
    , m_socket(new QTcpSocket(this))
    , m_negotiationTimer(new QTimer(this))
    , m_confirmTimer(new QTimer(this))
    , m_lineTimer(new QTimer(this))
{
    m_unconfirmed.fill(0);
    m_negotiationTimer->setSingleShot(true);
    m_negotiationTimer->setInterval(NegotiationTimeout);
    m_confirmTimer->setSingleShot(true);
    m_confirmTimer->setInterval(ConfirmTimeout);
    m_lineTimer->setSingleShot(true);
    m_lineTimer->setInterval(LineReportInterval);
    m_socket->setReadBufferSize(ReadLimit);
    connect(m_socket, &QAbstractSocket::connected, this, &RemoteSerialTransport::onConnected);
    connect(m_socket, &QIODevice::readyRead, this, &RemoteSerialTransport::onReadyRead);
    connect(m_socket, &QAbstractSocket::disconnected, this, &RemoteSerialTransport::onDisconnected);
    connect(m_socket, &QAbstractSocket::errorOccurred, this, &RemoteSerialTransport::onError);
    connect(m_negotiationTimer, &QTimer::timeout, this, [this] {
        if (m_negotiating)
            finishOpening();
    });
    connect(m_confirmTimer, &QTimer::timeout, this, &RemoteSerialTransport::onConfirmTimeout);
    connect(m_lineTimer, &QTimer::timeout, this, &RemoteSerialTransport::reportLines);
}

QObject* RemoteSerialTransport::endpoint() const
{
    return m_socket;
}

QString RemoteSerialTransport::portName() const
{
    return m_address.isValid() ? m_address.name() : m_settings.serialPort();
}

bool RemoteSerialTransport::isAttempting() const
{
    return m_active && !m_up;
}

int RemoteSerialTransport::retryDelay(int previous) const
{
    return previous == 0 ? 1000 : qMin(2 * previous, RetryLimit);
}

qsizetype RemoteSerialTransport::bytesToWrite() const
{
    // What the system holds unacknowledged counts too: a far end that
    // closes on a socket with unread answers in it loses what follows.
    int queued = 0;
    const int fd = int(m_socket->socketDescriptor());
    if (fd < 0 || ::ioctl(fd, SIOCOUTQ, &queued) != 0)
        queued = 0;
    return m_socket->bytesToWrite() + m_held.size() + queued;
}

void RemoteSerialTransport::discardOutput()
{
    m_held.clear();
}

int RemoteSerialTransport::modemStatus() const
{
    int status = 0;
    if (m_rts)
        status |= SerSerialPort::ModemRts;
    if (m_dtr)
        status |= SerSerialPort::ModemDtr;
    if (m_brk)
        status |= SerSerialPort::ModemBreak;
    const int far = qMax(m_farLines, 0);
    if (far & TelnetCodec::ModemCts)
        status |= SerSerialPort::ModemCts;
    if (far & TelnetCodec::ModemDsr)
        status |= SerSerialPort::ModemDsr;
    if (far & TelnetCodec::ModemRi)
        status |= SerSerialPort::ModemRi;
    if (far & TelnetCodec::ModemCd)
        status |= SerSerialPort::ModemCd;
    return status;
}

void RemoteSerialTransport::open(bool /*retrying*/)
{
    if (m_active)
        return;
    if (!m_address.isValid()) {
        Q_EMIT failed(tr("Open: %1 is no remote port (rfc2217://HOST:PORT)").arg(m_settings.serialPort()));
        Q_EMIT down();
        return;
    }
    m_codec.reset();
    m_early.clear();
    m_held.clear();
    m_suspended = false;
    m_unconfirmed.fill(0);
    m_confirmNoticeGiven = false;
    m_reported.reset();
    m_farLines = -1;
    m_saidLines = -1;
    m_active = true;
    m_socket->connectToHost(m_address.host(), quint16(m_address.port()));
}

void RemoteSerialTransport::onConnected()
{
    if (!m_active)
        return;
    SocketTransport::setKeepAlive(m_socket);
    m_negotiating = true;
    sendRaw(m_codec.start());
    m_negotiationTimer->start();
}

void RemoteSerialTransport::close()
{
    if (!m_active)
        return;
    m_active = false;
    m_negotiationTimer->stop();
    m_confirmTimer->stop();
    m_lineTimer->stop();
    const bool wasUp = m_up;
    m_up = false;
    m_negotiating = false;
    // What the system has taken still leaves; the rest was not sent yet.
    m_socket->flush();
    m_socket->abort();
    if (!wasUp) {
        Q_EMIT message(tr("Connection attempt cancelled"));
        return;
    }
    Q_EMIT message(tr("Serial port closed"));
    Q_EMIT down();
}

void RemoteSerialTransport::sendRaw(const QByteArray& bytes)
{
    if (m_socket->state() == QAbstractSocket::ConnectedState)
        m_socket->write(bytes);
}

void RemoteSerialTransport::write(const QByteArray& data)
{
    if (!m_up || data.isEmpty())
        return;
    if (!admit(data.size(), tr("the device")))
        return;
    if (m_suspended) {
        m_held += data;
        return;
    }
    m_socket->write(m_codec.encode(data));
    reportWritten(data);
}

void RemoteSerialTransport::flushHeld()
{
    if (!m_up || m_held.isEmpty())
        return;
    const QByteArray held = std::exchange(m_held, QByteArray());
    m_socket->write(m_codec.encode(held));
    reportWritten(held);
}

void RemoteSerialTransport::onReadyRead()
{
    m_readposted = false;
    if (!m_active)
        return;
    QPointer<RemoteSerialTransport> self = this;
    const qint64 available = m_socket->bytesAvailable();
    const QByteArray bytes = m_socket->read(available > 0 ? qMin(available, ReadChunk) : ReadChunk);
    TelnetCodec::Output out;
    m_codec.decode(bytes, &out);
    process(out);
    // What is left of a large burst is read in a later turn of the loop.
    if (self && m_active && m_socket->bytesAvailable() > 0 && !m_readposted) {
        m_readposted = true;
        QMetaObject::invokeMethod(this, &RemoteSerialTransport::onReadyRead, Qt::QueuedConnection);
    }
}

void RemoteSerialTransport::process(TelnetCodec::Output& out)
{
    QPointer<RemoteSerialTransport> self = this;
    if (!out.reply.isEmpty())
        sendRaw(out.reply);
    for (const TelnetCodec::Report& report : std::as_const(out.reports)) {
        if (m_reported.test(report.problem))
            continue;
        m_reported.set(report.problem);
        switch (report.problem) {
        case TelnetCodec::MalformedSequence:
            Q_EMIT message(tr("Remote port %1 sent a malformed Telnet sequence (IAC %2); the data goes on, "
                              "further ones are not said")
                               .arg(portName())
                               .arg(report.detail));
            break;
        case TelnetCodec::UnknownOption:
            Q_EMIT message(tr("Remote port %1 offered Telnet option %2, which is not known here; refused")
                               .arg(portName())
                               .arg(report.detail));
            break;
        default:
            Q_EMIT message(tr("Remote port %1 sent a COM-PORT-OPTION answer that makes no sense (%2); ignored")
                               .arg(portName())
                               .arg(report.detail));
            break;
        }
        if (!self)
            return;
    }
    for (const TelnetCodec::Answer& answer : std::as_const(out.answers)) {
        handle(answer);
        if (!self)
            return;
    }
    if (m_negotiating && m_codec.comPortAnswered()) {
        finishOpening();
        if (!self)
            return;
    }
    if (out.data.isEmpty())
        return;
    if (m_up)
        deliver(out.data);
    else
        m_early += out.data;
}

void RemoteSerialTransport::finishOpening()
{
    m_negotiating = false;
    m_negotiationTimer->stop();
    QPointer<RemoteSerialTransport> self = this;
    if (m_codec.comPortAccepted()) {
        sendSettings();
        // Wakes up devices that watch the control lines, as on a local port.
        setDtr(true);
        setRts(true);
        setRts(false);
        setDtr(false);
    } else {
        Q_EMIT message(tr("Remote port %1 does not take COM-PORT-OPTION: speed, framing and control lines "
                          "stay as the far end has them")
                           .arg(portName()));
        if (!self)
            return;
    }
    m_up = true;
    Q_EMIT opened(tr("Port %1 opened").arg(portName()));
    if (!self || !m_up)
        return;
    reportLines();
    if (!self || !m_up || m_early.isEmpty())
        return;
    deliver(std::exchange(m_early, QByteArray()));
}

void RemoteSerialTransport::ask(Setting setting, const QByteArray& command, quint32 value)
{
    sendRaw(command);
    // The last value asked is the one the last answer is judged by.
    m_asked[setting] = value;
    ++m_unconfirmed[setting];
    if (!m_confirmNoticeGiven && !m_confirmTimer->isActive())
        m_confirmTimer->start();
}

void RemoteSerialTransport::sendSettings()
{
    const quint32 speed = quint32(qMax(m_settings.serialSpeed(), 0));
    ask(Speed, TelnetCodec::baudRate(speed), speed);
    const SerFraming framing = m_settings.serialFraming();
    ask(DataBits, TelnetCodec::comPort(TelnetCodec::SetDataSize, quint8(framing.dataBits())), quint32(framing.dataBits()));
    const unsigned char parity = comPortParity(framing.parity());
    ask(Parity, TelnetCodec::comPort(TelnetCodec::SetParity, parity), parity);
    ask(StopBits, TelnetCodec::comPort(TelnetCodec::SetStopSize, quint8(framing.stopBits())), quint32(framing.stopBits()));
    // Hardware flow control wins where both are asked: the protocol has
    // one setting for the direction to the device.
    const int handshake = m_settings.serialHandshake();
    const unsigned char flow = handshake & ConnectionSettings::RtsCtsHandshake     ? TelnetCodec::FlowHardware
                               : handshake & ConnectionSettings::XonXoffHandshake ? TelnetCodec::FlowXonXoff
                                                                                   : TelnetCodec::FlowNone;
    ask(FlowControl, TelnetCodec::comPort(TelnetCodec::SetControl, flow), flow);
    const unsigned char dtr = m_dtr ? TelnetCodec::DtrOn : TelnetCodec::DtrOff;
    ask(Dtr, TelnetCodec::comPort(TelnetCodec::SetControl, dtr), dtr);
    const unsigned char rts = m_rts ? TelnetCodec::RtsOn : TelnetCodec::RtsOff;
    ask(Rts, TelnetCodec::comPort(TelnetCodec::SetControl, rts), rts);
    // Told of every change of the far end's lines.
    sendRaw(TelnetCodec::comPort(TelnetCodec::SetModemStateMask, 0xFF));
}

void RemoteSerialTransport::setDtr(bool on)
{
    m_dtr = on;
    if (!m_codec.comPortAccepted() || m_socket->state() != QAbstractSocket::ConnectedState)
        return;
    const unsigned char value = on ? TelnetCodec::DtrOn : TelnetCodec::DtrOff;
    ask(Dtr, TelnetCodec::comPort(TelnetCodec::SetControl, value), value);
    // Now, not at the next turn of the loop: a pulse is timed by its caller.
    m_socket->flush();
}

void RemoteSerialTransport::setRts(bool on)
{
    m_rts = on;
    if (!m_codec.comPortAccepted() || m_socket->state() != QAbstractSocket::ConnectedState)
        return;
    const unsigned char value = on ? TelnetCodec::RtsOn : TelnetCodec::RtsOff;
    ask(Rts, TelnetCodec::comPort(TelnetCodec::SetControl, value), value);
    m_socket->flush();
}

void RemoteSerialTransport::setBreak(bool on)
{
    m_brk = on;
    if (!m_codec.comPortAccepted() || m_socket->state() != QAbstractSocket::ConnectedState)
        return;
    sendRaw(TelnetCodec::comPort(TelnetCodec::SetControl, on ? TelnetCodec::BreakOn : TelnetCodec::BreakOff));
    m_socket->flush();
}

void RemoteSerialTransport::handle(const TelnetCodec::Answer& answer)
{
    switch (answer.command) {
    case TelnetCodec::SetBaudRate:
        confirm(Speed, answer.value);
        break;
    case TelnetCodec::SetDataSize:
        confirm(DataBits, answer.value);
        break;
    case TelnetCodec::SetParity:
        confirm(Parity, answer.value);
        break;
    case TelnetCodec::SetStopSize:
        confirm(StopBits, answer.value);
        break;
    case TelnetCodec::SetControl:
        // One command sets several things; the value tells which.
        if (answer.value <= TelnetCodec::FlowHardware)
            confirm(FlowControl, answer.value);
        else if (answer.value >= TelnetCodec::DtrRequest && answer.value <= TelnetCodec::DtrOff)
            confirm(Dtr, answer.value);
        else if (answer.value >= TelnetCodec::RtsRequest && answer.value <= TelnetCodec::RtsOff)
            confirm(Rts, answer.value);
        break;
    case TelnetCodec::NotifyModemState:
        m_farLines = int(answer.value);
        reportLines();
        break;
    case TelnetCodec::FlowControlSuspend:
        m_suspended = true;
        break;
    case TelnetCodec::FlowControlResume:
        m_suspended = false;
        flushHeld();
        break;
    default:
        break;
    }
}

void RemoteSerialTransport::confirm(Setting setting, quint32 value)
{
    if (m_unconfirmed[setting] <= 0)
        return; // not asked, or already given up on
    // Answers come in the order asked: only the last one tells what stays.
    if (--m_unconfirmed[setting] > 0)
        return;
    if (std::all_of(m_unconfirmed.begin(), m_unconfirmed.end(), [](int n) { return n == 0; }))
        m_confirmTimer->stop();
    if (value == m_asked[setting])
        return;
    Q_EMIT message(tr("Remote port %1 refused %2 (it keeps %3)")
                       .arg(portName(), settingText(setting, m_asked[setting]), settingText(setting, value)));
}

void RemoteSerialTransport::onConfirmTimeout()
{
    static const char* const names[SettingCount] = {
        QT_TR_NOOP("speed"),        QT_TR_NOOP("data bits"), QT_TR_NOOP("parity"), QT_TR_NOOP("stop bits"),
        QT_TR_NOOP("flow control"), QT_TR_NOOP("DTR"),       QT_TR_NOOP("RTS")};
    QStringList missing;
    for (int setting = 0; setting < SettingCount; ++setting) {
        if (m_unconfirmed[setting] > 0)
            missing << tr(names[setting]);
        m_unconfirmed[setting] = 0;
    }
    if (missing.isEmpty() || m_confirmNoticeGiven)
        return;
    m_confirmNoticeGiven = true;
    Q_EMIT message(tr("Remote port %1 did not confirm %2; going on without")
                       .arg(portName(), missing.join(QLatin1String(", "))));
}

QString RemoteSerialTransport::settingText(Setting setting, quint32 value) const
{
    switch (setting) {
    case Speed:
        return tr("speed %1").arg(value);
    case DataBits:
        return tr("%1 data bits").arg(value);
    case Parity:
        return tr("parity %1").arg(comPortParityName(value));
    case StopBits:
        return value == 3 ? tr("1.5 stop bits") : tr("%1 stop bits").arg(value);
    case FlowControl:
        switch (value) {
        case TelnetCodec::FlowNone:
            return tr("no flow control");
        case TelnetCodec::FlowXonXoff:
            return tr("flow control Xon/Xoff");
        case TelnetCodec::FlowHardware:
            return tr("flow control RTS/CTS");
        default:
            return tr("flow control %1").arg(value);
        }
    case Dtr:
        return value == TelnetCodec::DtrOn ? tr("DTR on") : value == TelnetCodec::DtrOff ? tr("DTR off") : tr("DTR %1").arg(value);
    case Rts:
        return value == TelnetCodec::RtsOn ? tr("RTS on") : value == TelnetCodec::RtsOff ? tr("RTS off") : tr("RTS %1").arg(value);
    default:
        return QString::number(value);
    }
}

void RemoteSerialTransport::reportLines()
{
    if (!m_up || m_farLines < 0 || m_lineTimer->isActive())
        return;
    // The deltas in the low bits are no news once the states are said.
    const int lines = m_farLines & 0xF0;
    if (lines == m_saidLines)
        return;
    m_saidLines = lines;
    const auto state = [lines](int bit) { return (lines & bit) ? tr("on") : tr("off"); };
    m_lineTimer->start();
    Q_EMIT message(tr("Remote port %1 lines: CTS %2, DSR %3, RI %4, CD %5")
                       .arg(portName(), state(TelnetCodec::ModemCts), state(TelnetCodec::ModemDsr),
                            state(TelnetCodec::ModemRi), state(TelnetCodec::ModemCd)));
}

void RemoteSerialTransport::onDisconnected()
{
    if (!m_active)
        return;
    end(m_up ? tr("Remote port %1 closed the connection").arg(portName()) : tr("the far end closed the connection"),
        !m_up);
}

void RemoteSerialTransport::onError(QAbstractSocket::SocketError error)
{
    if (!m_active || error == QAbstractSocket::RemoteHostClosedError)
        return; // the disconnected signal follows and says it
    end(m_up ? tr("Remote port %1 lost: %2").arg(portName(), m_socket->errorString()) : m_socket->errorString(), !m_up);
}

void RemoteSerialTransport::end(const QString& why, bool attempt)
{
    if (!m_active)
        return;
    QPointer<RemoteSerialTransport> self = this;
    // Bytes that arrived before the far end went are still delivered.
    while (m_up && m_socket->bytesAvailable() > 0) {
        TelnetCodec::Output out;
        m_codec.decode(m_socket->read(ReadChunk), &out);
        process(out);
        if (!self || !m_active)
            return;
    }
    m_active = false;
    m_up = false;
    m_negotiating = false;
    m_negotiationTimer->stop();
    m_confirmTimer->stop();
    m_lineTimer->stop();
    m_socket->abort();
    if (attempt)
        Q_EMIT failed(tr("Open: %1").arg(why));
    else
        Q_EMIT message(why);
    if (!self)
        return;
    Q_EMIT down();
}
