// SPDX-License-Identifier: MIT
// The window under load. Thirty seconds of the soak run (bench/soak runs
// it for hours): both channels busy on loopback, the sequence over and
// over, everything logged, and then every message in the log, in order.
// And a peer that floods random bytes into a TCP channel as fast as
// loopback takes them: the trace keeps no more than its byte limit besides
// its line limit, and the event loop stays live while it shows messages
// hundreds of thousands of characters long.

#include "tests/app/soak.h"
#include "tests/app/windowdriver.h"

#include "app/mainwindow.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "qrv16/types.h"
#include "tests/support/flood.h"
#include "tests/support/freeport.h"
#include "tests/support/serversettings.h"
#include "tests/support/stallmeter.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using korvtest::actionNamed;
using korvtest::Flood;
using korvtest::StallMeter;

class TestWindowLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void thirtySecondsLoseNothing();
    void floodedWindowStaysBoundedAndLive_data();
    void floodedWindowStaysBoundedAndLive();
};

void TestWindowLoad::initTestCase()
{
    QRV16::pinTimeZone(); // as main() does
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
}

void TestWindowLoad::thirtySecondsLoseNothing()
{
    QTemporaryDir dir;
    korvtest::Soak soak(dir.path(), 2000);
    const QString error = soak.start();
    QVERIFY2(error.isEmpty(), qPrintable(error));
    const korvtest::Soak::Result result = soak.run(30, 10);
    QVERIFY2(result.error.isEmpty(), qPrintable(result.error));
    QCOMPARE(result.loggedSent, result.sent);
    QCOMPARE(result.loggedReceived, result.sent);
    QVERIFY2(result.sequenceRuns >= 2, qPrintable(QString::number(result.sequenceRuns)));
    for (const auto& period : result.periods) {
        qInfo("%.1f MiB resident, p99 lateness %.0f ms, loop CPU stall %lld ms, %lld sent", period.residentKiB / 1024.0,
              period.p99Ms, static_cast<long long>(period.cpuStallMs), static_cast<long long>(period.sent));
        // The loop's own CPU between two ticks: a busy machine does not count.
        QVERIFY2(period.cpuStallMs < 500, qPrintable(QString::number(period.cpuStallMs)));
    }
}

void TestWindowLoad::floodedWindowStaysBoundedAndLive_data()
{
    QTest::addColumn<qint64>("byteLimit");
    QTest::newRow("all the trace keeps") << TraceModel::DefaultByteLimit;
    QTest::newRow("more than the trace keeps") << (qint64(2) << 20);
}

void TestWindowLoad::floodedWindowStaysBoundedAndLive()
{
    QFETCH(qint64, byteLimit);
    // Some 250 messages of random length; the gigabyte is the benchmark's
    // (bench/soak/hostilepeer).
    constexpr qint64 volume = qint64(8) << 20;
    MainWindow window;
    window.traceModel()->setByteLimit(byteLimit);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    // The toggles are kept in the settings: each set as this case wants it.
    const std::pair<const char*, bool> toggles[] = {
        {"Raw data bytes", false}, {"Message bytes", false}, {"Decoded message", true},
        {"Auto scroll", true},     {"Pause", false},         {"Link", false},
    };
    for (const auto& [text, on] : toggles) {
        QAction* toggle = actionNamed(&window, QLatin1String(text));
        QVERIFY2(toggle, text);
        if (toggle->isChecked() != on)
            toggle->trigger();
    }

    const quint16 port = korvtest::freePort();
    QVERIFY(port);
    Connection* link = window.channel(1)->connection();
    link->setSettings(korvtest::loopbackServer(port));
    link->connect();
    QTRY_VERIFY(link->isListening());
    qint64 received = 0;
    connect(link, &Connection::rawReceived, this, [&](const QByteArray& bytes) { received += bytes.size(); });

    const qint64 before = korvtest::residentKiB();
    Flood flood;
    const int fd = Flood::connectTo(port);
    QVERIFY(fd >= 0);
    QTRY_VERIFY(link->isConnected());
    StallMeter meter;
    flood.start(fd, volume);
    qint64 most = before;
    TraceModel* trace = window.traceModel();
    QTRY_VERIFY_WITH_TIMEOUT((most = qMax(most, korvtest::residentKiB()), received == volume), 600000);
    meter.stop();
    QCOMPARE(flood.sent.load(), volume);
    QVERIFY(trace->lineCount() <= trace->limit());
    // The next batch drops what is over the limit.
    QTRY_VERIFY2_WITH_TIMEOUT(trace->lineBytes() <= byteLimit,
                              qPrintable(QStringLiteral("%1 bytes kept").arg(trace->lineBytes())), 30000);
    QVERIFY2(meter.longest < 100, qPrintable(QStringLiteral("event loop stalled for %1 ms").arg(meter.longest)));
    qInfo("%lld MiB: %d lines (%lld KiB), resident %lld -> %lld KiB (most %lld), loop stall %lld ms", volume >> 20,
          trace->lineCount(), trace->lineBytes() >> 10, before, korvtest::residentKiB(), most, meter.longest);
}

QTEST_MAIN(TestWindowLoad)
#include "tst_windowload.moc"
