#include "libserial/pserunixserialport.h"

#include "libserial/pserserialportdata.h"
#include "libserial/serportdeviceinfo.h"

#include <QFile>
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
    QString path = SerPortDeviceInfo::deviceName(name);
    if (path.isEmpty())
        path = QStringLiteral("/dev/") + name;

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
        if (speed() > 0) {
            const int code = pSerBPS::int2bps(speed());
            if (code < 0) {
                error = EINVAL;
            } else {
                setRate(data->current, code);
            }
        }
        if (error == 0 && tcsetattr(data->fd, TCSANOW, &data->current) != 0)
            error = errno;
    }
    if (error != 0) {
        setErrorString(systemError(error));
        shutdown();
        return false;
    }

    setHandshake(handshake());
    setParity(parity());
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
        entry = SerPortDeviceInfo(name, QStringLiteral("/dev/") + name, tr("Serial port"),
                                  QString(), 0xA001);
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
    delete data->notifier;
    data->notifier = nullptr;
    if (data->fd >= 0)
        ::close(data->fd);
    data->fd = -1;
}

void pSerUnixSerialPort::startWaitForEvent()
{
    if (d()->notifier)
        d()->notifier->setEnabled(true);
    m_data->readyReadSignalled = false;
}

void pSerUnixSerialPort::onRxReady()
{
    if (d()->notifier)
        d()->notifier->setEnabled(false);
    causeReadyRead();
}

qint64 pSerUnixSerialPort::readData(char* data, qint64 maxSize)
{
    const ssize_t count = ::read(d()->fd, data, size_t(maxSize));
    const int error = errno;
    startWaitForEvent();
    if (count < 0) {
        setErrorString(systemError(error));
        return -1;
    }
    return count;
}

qint64 pSerUnixSerialPort::writeData(const char* data, qint64 maxSize)
{
    const ssize_t count = ::write(d()->fd, data, size_t(maxSize));
    if (count < 0) {
        setErrorString(systemError(errno));
        return -1;
    }
    return count;
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

void pSerUnixSerialPort::applySettings(const void* settings)
{
    const auto* wanted = static_cast<const termios*>(settings);
    if (tcsetattr(d()->fd, TCSANOW, wanted) == 0)
        d()->current = *wanted;
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
    if (d()->fd < 0)
        return;
    termios settings = d()->current;
    settings.c_cflag &= ~(PARENB | PARODD);
    if (parity == EvenParity)
        settings.c_cflag |= PARENB;
    else if (parity == OddParity)
        settings.c_cflag |= PARENB | PARODD;
    settings.c_cflag = (settings.c_cflag & ~CSIZE) | CS8;
    applySettings(&settings);
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
