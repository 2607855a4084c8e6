// SPDX-License-Identifier: MIT
#pragma once

// Runs the korv binary as a user's script would, and keeps what it printed.

#include <QProcess>
#include <QStringList>
#include <QtTest>

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
