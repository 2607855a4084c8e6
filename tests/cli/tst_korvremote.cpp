// SPDX-License-Identifier: MIT
// korv on a remote serial port: ser2net serves a pseudo-terminal over RFC
// 2217, korv sends and listens through it as through a local port.

#include "tests/cli/korvrun.h"
#include "tests/support/pty.h"
#include "tests/support/ser2net.h"

#include <QtTest>

using korvtest::Pty;
using korvtest::Ser2Net;

namespace {

QByteArray readAtLeast(const Pty& line, qsizetype want)
{
    QByteArray got;
    QTest::qWaitFor(
        [&] {
            got += line.read(0);
            return got.size() >= want;
        },
        20000);
    return got;
}

// The bytes of messages as korv encodes them.
QByteArray encoded(const QString& text)
{
    const KorvRun run = runKorv({"encode", text});
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
    const KorvRun run = runKorv({"send", "--serial", server.url(), text});
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
    Background listen({"listen", "--serial", server.url(), "--count", "1", "--hex", "--baud",
                       "57600", "--framing", "8N2"});
    QVERIFY2(!listen.waitFor(QStringLiteral("(Port .* opened)")).isEmpty(),
             listen.err().constData());
    // The device runs as asked while the link is up.
    QTRY_COMPARE_WITH_TIMEOUT(line.outputSpeed(), 57600, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(line.settings().c_cflag & CSTOPB, 20000);
    const QByteArray bytes = encoded(QStringLiteral("1103=-1"));
    QVERIFY(line.write(bytes));
    QCOMPARE(listen.stop(), 0);
    const QString printed = QString::fromLatin1(listen.out()).trimmed();
    QCOMPARE(printed, QString::fromLatin1(bytes.toHex(' ').toUpper()));
}

QTEST_GUILESS_MAIN(TestKorvRemote)
#include "tst_korvremote.moc"
