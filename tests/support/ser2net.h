// SPDX-License-Identifier: MIT
#pragma once

// ser2net as the device server of the remote port tests: it serves one
// connector (a pseudo-terminal, or another Telnet port) over Telnet with
// RFC 2217 on a free loopback port, and can go away and come back on the
// same port.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>

namespace korvtest {

class Ser2Net
{
public:
    // Empty when the package is not installed.
    static QString program()
    {
        return QStandardPaths::findExecutable(QStringLiteral("ser2net"),
                                              {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin"),
                                               QStringLiteral("/usr/local/sbin"), QStringLiteral("/usr/bin")});
    }

    // connector as ser2net writes it: "serialdev,/dev/pts/3,9600n81,local".
    explicit Ser2Net(const QString& connector)
        : m_connector(connector)
    {
        QTcpServer probe;
        if (probe.listen(QHostAddress::LocalHost, 0))
            m_port = probe.serverPort();
    }
    ~Ser2Net() { stop(); }
    Ser2Net(const Ser2Net&) = delete;
    Ser2Net& operator=(const Ser2Net&) = delete;

    quint16 port() const { return m_port; }
    QString url() const { return QStringLiteral("rfc2217://127.0.0.1:%1").arg(m_port); }
    QString output() const { return m_output; }

    // Starts it and waits until it listens, without connecting to it.
    bool start()
    {
        if (program().isEmpty() || !m_dir.isValid() || m_port == 0)
            return false;
        const QString config = m_dir.filePath(QStringLiteral("ser2net.yaml"));
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        file.write(QStringLiteral("%YAML 1.1\n---\n"
                                  "connection: &korv\n"
                                  "    accepter: telnet(rfc2217),tcp,127.0.0.1,%1\n"
                                  "    connector: %2\n")
                       .arg(m_port)
                       .arg(m_connector)
                       .toUtf8());
        file.close();
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        // -n: in the foreground; -u: no lock files in /var/lock.
        m_process.start(program(), {QStringLiteral("-n"), QStringLiteral("-u"), QStringLiteral("-c"), config});
        if (!m_process.waitForStarted(10000))
            return false;
        const QDeadlineTimer deadline(20000);
        while (!listening()) {
            if (deadline.hasExpired() || m_process.state() != QProcess::Running) {
                m_output += QString::fromLocal8Bit(m_process.readAll());
                return false;
            }
            QCoreApplication::processEvents();
            QThread::msleep(10);
        }
        return true;
    }

    // The device server goes away; its clients see the connection close.
    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(10000)) {
            m_process.kill();
            m_process.waitForFinished(10000);
        }
        m_output += QString::fromLocal8Bit(m_process.readAll());
    }

private:
    // From the kernel's table of TCP sockets: a probe connection would
    // take the server's one client slot and open its device.
    bool listening() const
    {
        const QString port = QStringLiteral(":%1").arg(m_port, 4, 16, QLatin1Char('0')).toUpper();
        for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
            QFile file(QString::fromLatin1(table));
            if (!file.open(QIODevice::ReadOnly))
                continue;
            const QStringList lines = QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'));
            for (const QString& line : lines) {
                const QStringList fields = line.simplified().split(QLatin1Char(' '));
                // local address, remote address, state 0A = listening
                if (fields.size() > 3 && fields.at(1).endsWith(port)
                    && fields.at(3) == QLatin1String("0A"))
                    return true;
            }
        }
        return false;
    }

    QString m_connector;
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
    QString m_output;
};

} // namespace korvtest
