// SPDX-License-Identifier: MIT
// The window with a peer that floods random bytes into a TCP channel as
// fast as loopback takes them: the trace keeps no more than its byte limit
// besides its line limit, and the event loop stays live while it shows
// messages hundreds of thousands of characters long.

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
#include <QtTest>

using korvtest::actionNamed;
using korvtest::Flood;
using korvtest::StallMeter;

class TestHostilePeer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void floodedWindowStaysBoundedAndLive_data();
    void floodedWindowStaysBoundedAndLive();
};

void TestHostilePeer::initTestCase()
{
    QRV16::pinTimeZone(); // as main() does
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
}

void TestHostilePeer::floodedWindowStaysBoundedAndLive_data()
{
    QTest::addColumn<qint64>("byteLimit");
    QTest::newRow("all the trace keeps") << TraceModel::DefaultByteLimit;
    QTest::newRow("more than the trace keeps") << (qint64(2) << 20);
}

void TestHostilePeer::floodedWindowStaysBoundedAndLive()
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
        {"Raw data bytes", false}, {"Message bytes", false}, {"Decoded message", true}, {"Auto scroll", true},
        {"Pause", false},          {"Link", false},
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

QTEST_MAIN(TestHostilePeer)
#include "tst_hostilepeer.moc"
