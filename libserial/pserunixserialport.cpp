// SPDX-License-Identifier: MIT
#include "libserial/pserunixserialport.h"

#include "libserial/pserserialportdata.h"
#include "libserial/serportdeviceinfo.h"

#include <QFile>
#include <QMetaObject>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

struct pSerUnixSerialPortData : pSerSerialPortData
{
    int fd = -1;
    // As found at open; kept for reference, never written back.
    termios original{};
    // What every setter edits and applies.
    termios current{};
    QSocketNotifier* notifier = nullptr; // owned through the port (QObject parent)
    QSocketNotifier* writeNotifier = nullptr; // same; made on first use
    // The device went away; nothing is watched until the next open.
    bool hungUp = false;
};

namespace {

// Rate bits only; the rest of the control flags stay.
void setRate(termios& settings, int code)
{
    settings.c_cflag = (settings.c_cflag & ~tcflag_t(CBAUD)) | tcflag_t(code);
}

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Errors after which the device is gone rather than busy.
bool isHangUp(int error)
{
    return error == EIO || error == ENXIO || error == ENODEV;
}

// Rates outside the table go to the driver as a number. glibc's termios has
// another layout than the kernel's, hence this copy of the kernel's.
struct KernelTermios
{
    tcflag_t c_iflag;
    tcflag_t c_oflag;
    tcflag_t c_cflag;
    tcflag_t c_lflag;
    cc_t c_line;
    cc_t c_cc[19];
    speed_t c_ispeed;
    speed_t c_ospeed;
};
constexpr tcflag_t FreeRate = 0010000;
constexpr int SpeedRefused = -1;

// The framing bits of the control flags; a parity out of range is none.
tcflag_t framingFlags(const SerFraming& framing)
{
    static constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    tcflag_t flags = framing.dataBits() >= 5 && framing.dataBits() <= 8 ? sizes[framing.dataBits() - 5] : CS8;
    switch (framing.parity()) {
    case SerFraming::EvenParity:
        flags |= PARENB;
        break;
    case SerFraming::OddParity:
        flags |= PARENB | PARODD;
        break;
    case SerFraming::MarkParity:
        flags |= PARENB | CMSPAR | PARODD;
        break;
    case SerFraming::SpaceParity:
        flags |= PARENB | CMSPAR;
        break;
    default:
        break;
    }
    if (framing.stopBits() == 2)
        flags |= CSTOPB;
    return flags;
}

constexpr tcflag_t FramingMask = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB;

// What a device holds, read from its control flags.
SerFraming framingOf(tcflag_t flags)
{
    SerFraming framing;
    switch (flags & CSIZE) {
    case CS5:
        framing.setDataBits(5);
        break;
    case CS6:
        framing.setDataBits(6);
        break;
    case CS7:
        framing.setDataBits(7);
        break;
    default:
        framing.setDataBits(8);
        break;
    }
    if (flags & PARENB) {
        if (flags & CMSPAR)
            framing.setParity(flags & PARODD ? SerFraming::MarkParity : SerFraming::SpaceParity);
        else
            framing.setParity(flags & PARODD ? SerFraming::OddParity : SerFraming::EvenParity);
    }
    framing.setStopBits(flags & CSTOPB ? 2 : 1);
    return framing;
}

QString devicePath(const QString& name)
{
    const QString listed = SerPortDeviceInfo::deviceName(name);
    if (!listed.isEmpty())
        return listed;
    // A full path such as /dev/serial/by-id/... is taken as it is.
    return name.startsWith(QLatin1Char('/')) ? name : QStringLiteral("/dev/") + name;
}

int freeSpeed(int speed)
{
    return speed > 0 && pSerBPS::int2bps(speed) < 0 ? speed : 0;
}

// 0, errno, or SpeedRefused when the driver took another rate than asked.
int writeLine(int fd, const termios& settings, int speed)
{
    if (speed <= 0)
        return tcsetattr(fd, TCSANOW, &settings) == 0 ? 0 : errno;
#if defined(__linux__)
    KernelTermios line{};
    line.c_iflag = settings.c_iflag;
    line.c_oflag = settings.c_oflag;
    line.c_cflag = (settings.c_cflag & ~tcflag_t(CBAUD | (CBAUD << 16))) | FreeRate | (FreeRate << 16);
    line.c_lflag = settings.c_lflag;
    line.c_line = settings.c_line;
    std::memcpy(line.c_cc, settings.c_cc, sizeof line.c_cc);
    line.c_ispeed = speed_t(speed);
    line.c_ospeed = speed_t(speed);
    if (ioctl(fd, _IOW('T', 0x2B, KernelTermios), &line) != 0)
        return errno == EINVAL ? SpeedRefused : errno;
    KernelTermios taken{};
    if (ioctl(fd, _IOR('T', 0x2A, KernelTermios), &taken) != 0)
        return errno;
    // Drivers round to what their divider can make; 2% is what a UART
    // still understands.
    const double ratio = double(taken.c_ospeed) / speed;
    return ratio > 0.98 && ratio < 1.02 ? 0 : SpeedRefused;
#else
    return SpeedRefused;
#endif
}

} // namespace

pSerUnixSerialPort::pSerUnixSerialPort(QObject* parent)
    : SerSerialPort(std::make_unique<pSerUnixSerialPortData>(), parent)
{
}

pSerUnixSerialPort::~pSerUnixSerialPort()
{
    close();
}

pSerUnixSerialPortData* pSerUnixSerialPort::d() const
{
    return static_cast<pSerUnixSerialPortData*>(m_data.get());
}

bool pSerUnixSerialPort::open(OpenMode mode)
{
    close();
    if (!(mode & ReadWrite))
        return true;

    const QString name = device();
    const QString path = devicePath(name);

    pSerUnixSerialPortData* data = d();
    // O_NOCTTY: a port must never become the program's controlling terminal.
    data->fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NONBLOCK | O_NOCTTY);
    int error = 0;
    if (data->fd < 0) {
        error = errno;
    } else if (tcgetattr(data->fd, &data->original) != 0) {
        error = errno;
    } else {
        data->current = data->original;
        data->current.c_iflag = 0;
        data->current.c_oflag = 0;
        data->current.c_lflag = 0;
        data->current.c_cflag = CS8 | CREAD | HUPCL | CLOCAL;
        // A read that returns 0 then means the device hung up, never that
        // it merely has nothing yet.
        data->current.c_cc[VMIN] = 1;
        data->current.c_cc[VTIME] = 0;
        const int code = pSerBPS::int2bps(speed());
        if (code >= 0)
            setRate(data->current, code);
        error = writeLine(data->fd, data->current, freeSpeed(speed()));
    }
    if (error != 0) {
        setErrorString(error == SpeedRefused ? tr("Speed %1 not supported by %2").arg(speed()).arg(path)
                                             : systemError(error));
        shutdown();
        return false;
    }
    data->hungUp = false;

    setHandshake(handshake());
    // A driver that cannot make the framing keeps its own: garbage on the
    // line, so the open fails instead.
    if (!applyFraming()) {
        shutdown();
        return false;
    }
    // Lines that the device lacks (a pseudo-terminal has none) are no reason
    // to refuse the port.
    setDTR(m_data->dtr);
    setRTS(m_data->rts);
    setBRK(false);

    data->notifier = new QSocketNotifier(data->fd, QSocketNotifier::Read, this);
    connect(data->notifier, &QSocketNotifier::activated, this, &pSerUnixSerialPort::onRxReady);
    m_data->readyReadSignalled = false;

    SerPortDeviceInfo entry = SerPortDeviceInfo::find(name);
    if (entry.isValid()) {
        entry.setFlags(entry.flags() | SerPortDeviceInfo::InUse);
    } else if (name.startsWith(QLatin1String("ttyn")) || name.startsWith(QLatin1String("ttyr"))) {
        entry = SerPortDeviceInfo(name, QStringLiteral("/dev/") + name, tr("Network port"),
                                  QString(), 0xA011);
    } else if (name.startsWith(QLatin1String("ttyUSB")) || name.startsWith(QLatin1String("usbserial"))
               || name.startsWith(QLatin1String("usb/tts"))) {
        entry = SerPortDeviceInfo(name, QStringLiteral("/dev/") + name, tr("USB Serial port"),
                                  QString(), 0xA003);
    } else {
        entry = SerPortDeviceInfo(name, path, tr("Serial port"), QString(), 0xA001);
    }
    SerPortDeviceInfo::replaceItem(entry);

    return QIODevice::open(mode);
}

void pSerUnixSerialPort::close()
{
    if (d()->fd < 0)
        return;
    Q_EMIT aboutToClose();
    shutdown();
    SerPortDeviceInfo entry = SerPortDeviceInfo::find(device());
    if (entry.isValid()) {
        entry.setFlags(entry.flags() & ~SerPortDeviceInfo::InUse);
        SerPortDeviceInfo::replaceItem(entry);
    }
    setOpenMode(NotOpen);
}

void pSerUnixSerialPort::shutdown()
{
    pSerUnixSerialPortData* data = d();
    // Deferred: a port may be closed from a slot that one of its notifiers
    // is still signalling.
    for (QSocketNotifier* notifier : {data->notifier, data->writeNotifier}) {
        if (notifier) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
    }
    data->notifier = nullptr;
    data->writeNotifier = nullptr;
    if (data->fd >= 0)
        ::close(data->fd);
    data->fd = -1;
}

void pSerUnixSerialPort::startWaitForEvent()
{
    if (d()->notifier && !d()->hungUp)
        d()->notifier->setEnabled(true);
    m_data->readyReadSignalled = false;
}

void pSerUnixSerialPort::hangUp(int error)
{
    pSerUnixSerialPortData* data = d();
    if (data->hungUp)
        return;
    data->hungUp = true;
    // A hung-up descriptor stays readable for ever: watching it would spin.
    if (data->notifier)
        data->notifier->setEnabled(false);
    if (data->writeNotifier)
        data->writeNotifier->setEnabled(false);
    const QString reason = error == 0 || isHangUp(error) ? tr("Device disconnected") : systemError(error);
    setErrorString(reason);
    // Queued: the owner closes the port in answer, which it must not do
    // inside a read or write.
    QMetaObject::invokeMethod(
        this,
        [this, reason] {
            if (isOpen())
                Q_EMIT hungUp(reason);
        },
        Qt::QueuedConnection);
}

void pSerUnixSerialPort::setWriteNotification(bool on)
{
    pSerUnixSerialPortData* data = d();
    if (data->fd < 0 || data->hungUp)
        return;
    if (!data->writeNotifier) {
        if (!on)
            return;
        data->writeNotifier = new QSocketNotifier(data->fd, QSocketNotifier::Write, this);
        connect(data->writeNotifier, &QSocketNotifier::activated, this, &pSerUnixSerialPort::onTxReady);
    }
    data->writeNotifier->setEnabled(on);
}

void pSerUnixSerialPort::onTxReady()
{
    if (d()->writeNotifier)
        d()->writeNotifier->setEnabled(false);
    Q_EMIT readyWrite();
}

void pSerUnixSerialPort::onRxReady()
{
    if (d()->notifier)
        d()->notifier->setEnabled(false);
    causeReadyRead();
}

qint64 pSerUnixSerialPort::readData(char* data, qint64 maxSize)
{
    if (d()->fd < 0 || maxSize <= 0)
        return 0;
    const ssize_t count = ::read(d()->fd, data, size_t(maxSize));
    const int error = errno;
    if (count == 0 || (count < 0 && error != EAGAIN && error != EINTR)) {
        hangUp(count == 0 ? 0 : error);
        m_data->readyReadSignalled = false;
        return count;
    }
    startWaitForEvent();
    if (count < 0) {
        setErrorString(systemError(error));
        return -1;
    }
    return count;
}

qint64 pSerUnixSerialPort::writeData(const char* data, qint64 maxSize)
{
    if (d()->fd < 0)
        return -1;
    const ssize_t count = ::write(d()->fd, data, size_t(maxSize));
    if (count >= 0)
        return count;
    const int error = errno;
    // A full output queue is no error: the writer waits for readyWrite().
    if (error == EAGAIN || error == EINTR)
        return 0;
    if (isHangUp(error))
        hangUp(error);
    setErrorString(systemError(error));
    return -1;
}

bool pSerUnixSerialPort::waitForReadyRead(int msecs)
{
    if (!waitFor(false, msecs))
        return false;
    causeReadyRead();
    return true;
}

bool pSerUnixSerialPort::waitForBytesWritten(int msecs)
{
    return waitFor(true, msecs);
}

bool pSerUnixSerialPort::waitFor(bool forWrite, int msecs)
{
    const int fd = d()->fd;
    if (fd < 0) {
        setErrorString(tr("Not open"));
        return false;
    }
    if (fd >= FD_SETSIZE) {
        setErrorString(systemError(EBADF));
        return false;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    timeval timeout{};
    timeout.tv_sec = msecs / 1000;
    timeout.tv_usec = msecs % 1000;
    const int ready = forWrite ? ::select(fd + 1, nullptr, &set, nullptr, &timeout)
                               : ::select(fd + 1, &set, nullptr, nullptr, &timeout);
    if (ready < 0) {
        setErrorString(systemError(errno));
        return false;
    }
    if (ready == 0) {
        setErrorString(QString());
        return false;
    }
    return true;
}

bool pSerUnixSerialPort::applySettings(const void* settings)
{
    const auto* wanted = static_cast<const termios*>(settings);
    // Every write carries the free rate along, or it would fall back to
    // the table rate left in the flags.
    if (writeLine(d()->fd, *wanted, freeSpeed(speed())) != 0)
        return false;
    d()->current = *wanted;
    return true;
}

void pSerUnixSerialPort::setSpeed(int speed)
{
    SerSerialPort::setSpeed(speed);
    if (d()->fd < 0)
        return;
    termios settings = d()->current;
    const int code = pSerBPS::int2bps(speed);
    if (speed > 0 && code >= 0)
        setRate(settings, code);
    applySettings(&settings);
}

void pSerUnixSerialPort::setHandshake(int handshake)
{
    SerSerialPort::setHandshake(handshake);
    if (d()->fd < 0)
        return;
    termios settings = d()->current;
    if (handshake & XonXoff)
        settings.c_iflag |= IXON | IXOFF;
    else
        settings.c_iflag &= ~(IXON | IXOFF);
    if (handshake & RtsCts)
        settings.c_cflag |= CRTSCTS;
    else
        settings.c_cflag &= ~CRTSCTS;
    applySettings(&settings);
}

void pSerUnixSerialPort::setParity(int parity)
{
    SerSerialPort::setParity(parity);
    if (d()->fd >= 0)
        applyFraming();
}

bool pSerUnixSerialPort::setFraming(const SerFraming& framing)
{
    SerSerialPort::setFraming(framing);
    return d()->fd < 0 || applyFraming();
}

bool pSerUnixSerialPort::applyFraming()
{
    termios settings = d()->current;
    const tcflag_t wanted = framingFlags(framing());
    settings.c_cflag = (settings.c_cflag & ~FramingMask) | wanted;
    // glibc answers EINVAL when the driver took none of the change: the
    // read-back below says what it kept.
    const int error = writeLine(d()->fd, settings, freeSpeed(speed()));
    if (error > 0 && error != EINVAL) {
        setErrorString(systemError(error));
        return false;
    }
    if (error == 0)
        d()->current = settings;
    // Drivers drop what their hardware cannot do without a word: only
    // reading back tells.
    termios taken{};
    if (tcgetattr(d()->fd, &taken) != 0) {
        setErrorString(systemError(errno));
        return false;
    }
    const SerFraming kept = framingOf(taken.c_cflag);
    if (kept != framingOf(wanted)) {
        setErrorString(tr("Framing %1 not supported by %2 (it keeps %3)")
                           .arg(framingOf(wanted).text(), devicePath(device()), kept.text()));
        return false;
    }
    return true;
}

int pSerUnixSerialPort::modemStatus() const
{
    const int base = SerSerialPort::modemStatus();
    int lines = 0;
    if (d()->fd < 0 || ioctl(d()->fd, TIOCMGET, &lines) != 0)
        return base;
    int status = base & ~(ModemRts | ModemDtr);
    if (lines & TIOCM_RTS)
        status |= ModemRts;
    if (lines & TIOCM_CTS)
        status |= ModemCts;
    if (lines & TIOCM_DTR)
        status |= ModemDtr;
    if (lines & TIOCM_DSR)
        status |= ModemDsr;
    if (lines & TIOCM_RNG)
        status |= ModemRi;
    if (lines & TIOCM_CAR)
        status |= ModemCd;
    return status;
}

int pSerUnixSerialPort::setModemLine(int line, bool on)
{
    if (d()->fd < 0)
        return -1;
    int lines = 0;
    int result = ioctl(d()->fd, TIOCMGET, &lines);
    if (result != 0)
        return result;
    if (on)
        lines |= line;
    else
        lines &= ~line;
    return ioctl(d()->fd, TIOCMSET, &lines);
}

int pSerUnixSerialPort::setRTS(bool on)
{
    SerSerialPort::setRTS(on);
    return setModemLine(TIOCM_RTS, on);
}

int pSerUnixSerialPort::setDTR(bool on)
{
    SerSerialPort::setDTR(on);
    return setModemLine(TIOCM_DTR, on);
}

int pSerUnixSerialPort::setBRK(bool on)
{
    SerSerialPort::setBRK(on);
    if (d()->fd < 0)
        return -1;
    return ioctl(d()->fd, on ? TIOCSBRK : TIOCCBRK);
}
