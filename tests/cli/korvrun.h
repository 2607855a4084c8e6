// SPDX-License-Identifier: MIT
#pragma once

// Runs the korv binary as a user's script would, and keeps what it printed.

#include <QProcess>
#include <QRegularExpression>
#include <QStringList>
#include <QtTest>

#include <csignal>

struct KorvRun
{
    int status = -1;
    QByteArray out;
    QByteArray err;
};

inline KorvRun runKorv(const QStringList& args, const QByteArray& input = QByteArray(),
                       const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(KORV_BINARY), args);
    if (!p.waitForStarted())
        qFatal("cannot start korv");
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(60000))
        qFatal("korv did not finish");
    KorvRun r;
    r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

// A korv that runs beside the test: started, waited for until its link is
// up, then stopped by a signal.
class Background
{
public:
    explicit Background(const QStringList& args, bool readerGone = false)
    {
        m_process.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
        if (readerGone) {
            // `korv ... | true`: the pipe's reader ends at once.
            m_process.start(QStringLiteral("bash"),
                            QStringList{QStringLiteral("-c"),
                                        QStringLiteral("\"$@\" | true; exit ${PIPESTATUS[0]}"),
                                        QStringLiteral("bash"), QStringLiteral(KORV_BINARY)} +
                                args);
        } else {
            m_process.start(QStringLiteral(KORV_BINARY), args);
        }
    }
    ~Background()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    // Waits for stderr (or stdout) to show `pattern`; its first capture,
    // "" without one, null when the process ended or stayed msecs without
    // showing it.
    QString waitFor(const QString& pattern, bool onStdout = false, int msecs = 20000)
    {
        const QRegularExpression re(pattern);
        QRegularExpressionMatch m;
        QTest::qWaitFor(
            [&] {
                m_err += m_process.readAllStandardError();
                m_out += m_process.readAllStandardOutput();
                m = re.match(QString::fromLocal8Bit(onStdout ? m_out : m_err));
                return m.hasMatch() || m_process.state() == QProcess::NotRunning;
            },
            msecs);
        if (!m.hasMatch())
            return QString();
        return m.captured(1).isNull() ? QStringLiteral("") : m.captured(1);
    }
    // The port of a --listen link.
    int port() { return waitFor(QStringLiteral("Listening to [^:]*:(\\d+)")).toInt(); }

    // Exit status after `signal`, or without one once it ends by itself.
    int stop(int signal = 0)
    {
        if (signal && m_process.state() != QProcess::NotRunning)
            ::kill(pid_t(m_process.processId()), signal);
        if (!m_process.waitForFinished(20000))
            return -2;
        m_err += m_process.readAllStandardError();
        m_out += m_process.readAllStandardOutput();
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    QByteArray out() const { return m_out; }
    QByteArray err() const { return m_err; }

private:
    QProcess m_process;
    QByteArray m_out;
    QByteArray m_err;
};
