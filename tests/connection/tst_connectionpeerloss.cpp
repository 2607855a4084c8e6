// SPDX-License-Identifier: MIT
// A TCP peer that vanishes without closing, as a pulled cable or a host
// switched off does. The test runs in a network namespace of its own, whose
// loopback it takes down: packets then go nowhere and only the keepalive
// probes can notice. A user without root makes it inside a user namespace
// of its own; where the system allows neither, it skips.

#include "tests/connection/testsupport.h"

#include <QtTest>

#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

using namespace korvtest;

namespace {

bool setLoopbackUp(bool up)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0)
        return false;
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    bool ok = ::ioctl(fd, SIOCGIFFLAGS, &request) == 0;
    if (ok) {
        if (up)
            request.ifr_flags |= IFF_UP;
        else
            request.ifr_flags &= ~IFF_UP;
        ok = ::ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    }
    ::close(fd);
    return ok;
}

} // namespace

class TestConnectionPeerLoss : public QObject
{
    Q_OBJECT
public:
    explicit TestConnectionPeerLoss(bool isolated) : m_isolated(isolated) {}

private Q_SLOTS:
    void vanishedPeerIsLostWithinHalfAMinute();

private:
    bool m_isolated;
};

void TestConnectionPeerLoss::vanishedPeerIsLostWithinHalfAMinute()
{
    if (!m_isolated)
        QSKIP("no network namespace of our own: the loopback cannot be cut");
    RecordedConnection server(loopbackServer());
    QVERIFY(server.isListening());
    RecordedConnection client(clientSettings(listeningPort(server)));
    Recorder& serverLog = server.log;
    Recorder& clientLog = client.log;
    QTRY_VERIFY_WITH_TIMEOUT(client.isConnected() && server.isConnected(), 10000);
    client.send("ping");
    QTRY_COMPARE_WITH_TIMEOUT(serverLog.bytes, QByteArray("ping"), 10000);

    QElapsedTimer clock;
    clock.start();
    QVERIFY(setLoopbackUp(false));
    // 10 s idle, then 3 probes 5 s apart: about 25 s by the kernel's
    // clock, which a busy processor does not slow down.
    QTRY_VERIFY_WITH_TIMEOUT(!clientLog.messagesStartingWith(QStringLiteral("Connection lost: ")).isEmpty(), 60000);
    const qint64 clientLost = clock.elapsed();
    QTRY_VERIFY_WITH_TIMEOUT(!serverLog.messagesStartingWith(QStringLiteral("Connection lost: ")).isEmpty(), 60000);
    const qint64 serverLost = clock.elapsed();
    QVERIFY2(clientLost > 20000 && serverLost > 20000, qPrintable(QStringLiteral("%1 %2").arg(clientLost).arg(serverLost)));
    QVERIFY2(clientLost < 35000 && serverLost < 35000, qPrintable(QStringLiteral("%1 %2").arg(clientLost).arg(serverLost)));
    QVERIFY(!client.isConnected());
    QVERIFY(!server.isConnected());
    QVERIFY(server.isListening());
    setLoopbackUp(true);
}

int main(int argc, char** argv)
{
    // The whole process moves, before any thread starts: a user namespace
    // takes a process of one thread.
    const bool isolated = (::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) &&
                          setLoopbackUp(true);
    QCoreApplication app(argc, argv);
    TestConnectionPeerLoss test(isolated);
    return QTest::qExec(&test, argc, argv);
}
#include "tst_connectionpeerloss.moc"
