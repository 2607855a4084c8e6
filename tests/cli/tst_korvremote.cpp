// SPDX-License-Identifier: MIT
// korv on a remote serial port: ser2net serves a pseudo-terminal over RFC
// 2217, korv sends and listens through it as through a local port.

#include "tests/cli/korvrun.h"
#include "tests/support/pty.h"
#include "tests/support/ser2net.h"
#include "tests/support/freeport.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QtTest>

using korvtest::Pty;
using korvtest::Ser2Net;

namespace {

QByteArray readAtLeast(const Pty& line, qsizetype want, int msecs = 20000)
{
    QByteArray got;
    QElapsedTimer clock;
    clock.start();
    while (got.size() < want && clock.elapsed() < msecs)
        got += line.read(50);
    return got;
}

// The bytes of messages as korv encodes them.
QByteArray encoded(const QString& text)
{
    const KorvRun run = runKorv({QStringLiteral("encode"), text});
    QByteArray bytes;
    for (const QByteArray& line : run.out.split('\n'))
        bytes += QByteArray::fromHex(line);
    return bytes;
}

} // namespace

class TestKorvRemote : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sendReachesTheDevice();
    void listenHearsTheDeviceAtItsSpeedAndFraming();
    void refusedRemotePortEndsTheCommand();
};

void TestKorvRemote::sendReachesTheDevice()
{
    if (Ser2Net::program().isEmpty())
        QSKIP("ser2net is not installed (make test installs it): no device server to test against");
    Pty line;
    QVERIFY(line.isValid());
    Ser2Net server(QStringLiteral("serialdev,%1,9600n81,local").arg(line.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    // 0xFF in the message: the Telnet layer doubles it on the way.
    const QString text = QStringLiteral("0101=5 1103=-1 0103=-1");
    const QByteArray bytes = encoded(text);
    QVERIFY(bytes.contains('\xff'));
    const KorvRun run = runKorv({QStringLiteral("send"), QStringLiteral("--serial"), server.url(), text});
    QVERIFY2(run.status == 0, run.err.constData());
    QVERIFY2(run.err.contains(QStringLiteral("Port %1 opened").arg(server.url()).toUtf8()), run.err.constData());
    QCOMPARE(readAtLeast(line, bytes.size()).toHex(' '), bytes.toHex(' '));
}

void TestKorvRemote::listenHearsTheDeviceAtItsSpeedAndFraming()
{
    if (Ser2Net::program().isEmpty())
        QSKIP("ser2net is not installed (make test installs it): no device server to test against");
    Pty line;
    QVERIFY(line.isValid());
    Ser2Net server(QStringLiteral("serialdev,%1,9600n81,local").arg(line.path()));
    QVERIFY2(server.start(), qPrintable(server.output()));
    QProcess listen;
    listen.start(QStringLiteral(KORV_BINARY), {QStringLiteral("listen"), QStringLiteral("--serial"), server.url(),
                                               QStringLiteral("--count"), QStringLiteral("1"), QStringLiteral("--hex"),
                                               QStringLiteral("--baud"), QStringLiteral("57600"),
                                               QStringLiteral("--framing"), QStringLiteral("8N2")});
    QVERIFY(listen.waitForStarted());
    QByteArray err;
    QElapsedTimer clock;
    clock.start();
    while (!err.contains("opened") && clock.elapsed() < 20000 && listen.state() == QProcess::Running) {
        listen.waitForReadyRead(100);
        err += listen.readAllStandardError();
    }
    QVERIFY2(err.contains("opened"), err.constData());
    // The device runs as asked while the link is up.
    QTRY_COMPARE_WITH_TIMEOUT(line.outputSpeed(), 57600, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(line.settings().c_cflag & CSTOPB, 20000);
    const QByteArray bytes = encoded(QStringLiteral("1103=-1"));
    QVERIFY(line.write(bytes));
    QVERIFY(listen.waitForFinished(20000));
    QCOMPARE(listen.exitCode(), 0);
    const QString printed = QString::fromLatin1(listen.readAllStandardOutput()).trimmed();
    QCOMPARE(printed, QString::fromLatin1(bytes.toHex(' ').toUpper()));
}

void TestKorvRemote::refusedRemotePortEndsTheCommand()
{
    const quint16 port = korvtest::freePort();
    QVERIFY(port != 0);
    const KorvRun run = runKorv({QStringLiteral("send"), QStringLiteral("--serial"),
                                 QStringLiteral("rfc2217://127.0.0.1:%1").arg(port), QStringLiteral("0101=1")});
    QCOMPARE(run.status, 3);
    QVERIFY2(run.err.contains("Open: Connection refused"), run.err.constData());
}

QTEST_GUILESS_MAIN(TestKorvRemote)
#include "tst_korvremote.moc"
