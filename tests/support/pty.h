// SPDX-License-Identifier: MIT
#pragma once

// A pseudo-terminal for the serial tests: a port opens its slave side by
// name ("pts/3"), the test plays the far end on the master side.

#include <QByteArray>
#include <QString>

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace korvtest {

class Pty
{
public:
    Pty()
    {
        char path[128] = {};
        if (openpty(&m_master, &m_slave, path, nullptr, nullptr) != 0)
            return;
        fcntl(m_master, F_SETFL, fcntl(m_master, F_GETFL) | O_NONBLOCK);
        m_name = QString::fromLocal8Bit(path).mid(int(std::strlen("/dev/")));
    }
    ~Pty()
    {
        if (m_master >= 0)
            ::close(m_master);
        if (m_slave >= 0)
            ::close(m_slave);
    }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    bool isValid() const { return m_master >= 0 && m_name.startsWith(QLatin1String("pts/")); }
    QString name() const { return m_name; }
    QString path() const { return QStringLiteral("/dev/") + m_name; }
    int masterFd() const { return m_master; }

    // The far end goes away, as an unplugged adapter does.
    void hangUp()
    {
        if (m_master >= 0)
            ::close(m_master);
        m_master = -1;
    }

    // The output rate in bits per second, free rates included; glibc's
    // termios does not carry them, the kernel's does.
    int outputSpeed() const
    {
        struct
        {
            tcflag_t flags[4];
            cc_t line;
            cc_t cc[19];
            speed_t ispeed;
            speed_t ospeed;
        } kernel{};
        static_assert(sizeof kernel == 44, "the kernel's termios2");
        if (ioctl(m_master, _IOR('T', 0x2A, decltype(kernel)), &kernel) != 0)
            return -1;
        return int(kernel.ospeed);
    }

    // The line settings as the far end sees them.
    termios settings() const
    {
        termios t{};
        tcgetattr(m_master, &t);
        return t;
    }

    bool write(const QByteArray& bytes) const
    {
        return ::write(m_master, bytes.constData(), size_t(bytes.size())) == ssize_t(bytes.size());
    }

    // Everything that arrives within msecs, then within 50 ms of the last byte.
    QByteArray read(int msecs = 500) const
    {
        QByteArray got;
        pollfd p{m_master, POLLIN, 0};
        while (::poll(&p, 1, msecs) > 0) {
            char buffer[4096];
            const ssize_t n = ::read(m_master, buffer, sizeof buffer);
            if (n <= 0)
                break;
            got.append(buffer, int(n));
            msecs = 50;
        }
        return got;
    }

private:
    int m_master = -1;
    int m_slave = -1;
    QString m_name;
};

} // namespace korvtest
