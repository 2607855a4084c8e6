// SPDX-License-Identifier: MIT
// Serial links when the real world intervenes: the device goes away and
// comes back, the far end reads slowly or not at all, rates outside the
// table. The far end is a pseudo-terminal.

#include "libserial/serportdeviceinfo.h"
#include "tests/connection/testsupport.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <sys/resource.h>

using namespace korvtest;

namespace {

qint64 cpuMicroseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000000 + usage.ru_utime.tv_usec
           + usage.ru_stime.tv_usec;
}

ConnectionSettings reconnecting(const QString& port)
{
    ConnectionSettings settings = serialSettings(port, 0);
    settings.setReconnect(true);
    return settings;
}

// A device node reached through a link, as /dev/serial/by-id is: it goes
// away with the device and comes back for the next one.
class Adapter
{
public:
    Adapter() { plugIn(); }

    QString path() const { return m_dir.filePath(QStringLiteral("adapter")); }
    Pty& line() { return *m_line; }
    void unplug()
    {
        m_line->hangUp();
        QFile::remove(path());
    }
    void plugIn()
    {
        m_line = std::make_unique<Pty>();
        QFile::remove(path());
        QVERIFY(m_line->isValid() && QFile::link(m_line->path(), path()));
    }

private:
    QTemporaryDir m_dir;
    std::unique_ptr<Pty> m_line;
};

} // namespace

class TestConnectionSerial : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void hangUpClosesAndReportsOnce();
    void withoutReconnectAHungUpPortStaysClosed();
    void reconnectsWhenTheDeviceComesBack();
    void toggleStopsReconnecting();
    void reconnectFindsTheAdapterUnderAnotherName();
    void fullOutputBufferRefusesWithAMessage();
    void closedPortSendsAndTracesNothing();
    void lineSettingsReachTheDevice_data();
    void lineSettingsReachTheDevice();
};

void TestConnectionSerial::hangUpClosesAndReportsOnce()
{
    Pty line;
    QVERIFY(line.isValid());
    RecordedConnection connection(serialSettings(line.name(), 0));
    Recorder& log = connection.log;
    QVERIFY(connection.isConnected());
    QVERIFY(line.write("before"));
    QTRY_COMPARE_WITH_TIMEOUT(log.bytes, QByteArray("before"), Timeout);

    log.events.clear();
    line.hangUp();
    QTRY_VERIFY_WITH_TIMEOUT(!connection.isConnected(), Timeout);
    QCOMPARE(log.events, QStringList({QStringLiteral("Device disconnected"), QStringLiteral("state")}));

    const qint64 cpuBefore = cpuMicroseconds();
    QTest::qWait(300);
    const qint64 cpuUsed = cpuMicroseconds() - cpuBefore;
    QVERIFY2(cpuUsed < 100000, qPrintable(QStringLiteral("%1 us of CPU while idle").arg(cpuUsed)));
    QCOMPARE(log.events.size(), 2);
    // Sending now finds no link; nothing is claimed as sent.
    connection.send("into the void");
    QVERIFY(log.sent.isEmpty());
}

void TestConnectionSerial::withoutReconnectAHungUpPortStaysClosed()
{
    Adapter adapter;
    RecordedConnection connection(serialSettings(adapter.path(), 0));
    QVERIFY(connection.isConnected());
    // One that reconnects, beside it, says when it would have.
    RecordedConnection witness(reconnecting(adapter.path()));
    QVERIFY(witness.isConnected());
    adapter.unplug();
    QTRY_VERIFY_WITH_TIMEOUT(connection.log.hasMessage(QStringLiteral("Device disconnected")),
                             Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(!witness.isConnected(), Timeout);
    adapter.plugIn();
    QTRY_VERIFY_WITH_TIMEOUT(witness.isConnected(), Timeout);
    QVERIFY(!connection.isConnected());
    QCOMPARE(connection.log.messages.constLast(), QStringLiteral("Device disconnected"));
}

void TestConnectionSerial::reconnectsWhenTheDeviceComesBack()
{
    Adapter adapter;
    RecordedConnection connection(reconnecting(adapter.path()));
    Recorder& log = connection.log;
    QVERIFY(connection.isConnected());

    adapter.unplug();
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Device disconnected")), Timeout);
    // Retried every second; the failure is the same each time and said once.
    QTest::qWait(2600);
    QCOMPARE(log.count(QStringLiteral("Open: No such file or directory")), 1);
    QVERIFY(!connection.isConnected());

    adapter.plugIn();
    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), 3000);
    QCOMPARE(log.count(QStringLiteral("Port %1 opened").arg(adapter.path())), 2);
    QVERIFY(adapter.line().write("back again"));
    QTRY_COMPARE_WITH_TIMEOUT(log.bytes, QByteArray("back again"), Timeout);
    connection.send("hello");
    QCOMPARE(adapter.line().read(), QByteArray("hello"));

    // A second loss is reported again, not swallowed as a repeat.
    adapter.unplug();
    QTRY_COMPARE_WITH_TIMEOUT(log.count(QStringLiteral("Device disconnected")), 2, Timeout);
}

void TestConnectionSerial::toggleStopsReconnecting()
{
    Pty line;
    QVERIFY(line.isValid());
    RecordedConnection connection(reconnecting(line.name()));
    Recorder& log = connection.log;
    // One left reconnecting to a device that comes back says when the
    // next attempt was due.
    Adapter adapter;
    RecordedConnection witness(reconnecting(adapter.path()));
    QVERIFY(witness.isConnected());
    line.hangUp();
    adapter.unplug();
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Device disconnected")), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(witness.log.hasMessage(QStringLiteral("Device disconnected")),
                             Timeout);
    // The user gives up: the toggle stops the attempts instead of starting
    // one more.
    connection.toggleConnected();
    QCOMPARE(log.messages.constLast(), QStringLiteral("Reconnecting stopped"));
    const int seen = int(log.messages.size());
    adapter.plugIn();
    QTRY_VERIFY_WITH_TIMEOUT(witness.isConnected(), Timeout);
    QCOMPARE(log.messages.size(), seen);
}

void TestConnectionSerial::reconnectFindsTheAdapterUnderAnotherName()
{
    // Two names for the device list, as the kernel would give an adapter
    // in one USB socket and then in another.
    Pty first;
    Pty second;
    QVERIFY(first.isValid() && second.isValid());
    const int flags = SerPortDeviceInfo::Serial | SerPortDeviceInfo::Usb | SerPortDeviceInfo::AddedByName;
    SerPortDeviceInfo before(QStringLiteral("ttyKORVUSB0"), first.path(), QStringLiteral("USB Serial port"),
                             QString(), flags);
    before.setUsbIdentity(QStringLiteral("0403:6001"), QStringLiteral("A50285BI"));
    SerPortDeviceInfo::replaceItem(before);

    RecordedConnection connection(reconnecting(QStringLiteral("ttyKORVUSB0")));
    Recorder& log = connection.log;
    QVERIFY(connection.isConnected());

    first.hangUp();
    QTRY_VERIFY_WITH_TIMEOUT(log.hasMessage(QStringLiteral("Device disconnected")), Timeout);
    // Gone from its old place, back in a new one.
    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo(before.name(), QStringLiteral("/dev/null/gone"),
                                                     before.description(), QString(), flags));
    SerPortDeviceInfo after(QStringLiteral("ttyKORVUSB1"), second.path(), QStringLiteral("USB Serial port"),
                            QString(), flags);
    after.setUsbIdentity(QStringLiteral("0403:6001"), QStringLiteral("A50285BI"));
    SerPortDeviceInfo::replaceItem(after);

    QTRY_VERIFY_WITH_TIMEOUT(connection.isConnected(), 3000);
    QVERIFY(log.hasMessage(QStringLiteral("Adapter A50285BI found again as ttyKORVUSB1")));
    QCOMPARE(connection.serialPortDeviceName(), QStringLiteral("ttyKORVUSB1"));
    connection.send("same adapter");
    QCOMPARE(second.read(), QByteArray("same adapter"));
}

void TestConnectionSerial::fullOutputBufferRefusesWithAMessage()
{
    Pty line;
    QVERIFY(line.isValid());
    RecordedConnection connection(serialSettings(line.name(), 0));
    Recorder& log = connection.log;
    // Nobody reads: the buffer fills to its limit, then blocks are refused
    // whole, said once for the whole jam.
    const QByteArray data = pattern(int(Connection::OutputLimit) + 256 * 1024);
    const int block = 64 * 1024;
    // Taken: written to the line or waiting.
    const auto taken = [&] { return log.sentBytes().size() + connection.pendingOutput(); };
    int accepted = 0;
    int refusedBlocks = 0;
    for (int at = 0; at < data.size(); at += block) {
        const qsizetype before = taken();
        connection.send(data.mid(at, block));
        if (taken() > before)
            accepted = at + block;
        else
            ++refusedBlocks;
        QVERIFY(connection.pendingOutput() <= Connection::OutputLimit);
    }
    QCOMPARE(taken(), qsizetype(accepted));
    const QStringList refused = log.messagesStartingWith(QStringLiteral("Output buffer full"));
    QCOMPARE(refused.size(), 1);
    QVERIFY2(refused.constFirst().endsWith(QStringLiteral(" waiting for the device): 65536 bytes not sent")),
             qPrintable(refused.constFirst()));
    QVERIFY(accepted >= Connection::OutputLimit - block);
    QVERIFY(refusedBlocks >= 4);
    // A pseudo-terminal holds a few KiB: the rest waits in the connection
    // and is not yet reported as sent.
    QVERIFY(log.sentBytes().size() < accepted);
    QVERIFY(data.startsWith(log.sentBytes()));

    // A slow reader gets everything taken, in order.
    const QByteArray got = readSlowly(line, accepted);
    QCOMPARE(got.size(), accepted);
    QVERIFY(got == data.left(accepted));
    QTRY_COMPARE_WITH_TIMEOUT(log.sentBytes().size(), accepted, Timeout);
    QVERIFY(log.sentBytes() == got);
    // Room again: a new block goes out, and what was refused is said.
    connection.send("after the jam");
    QCOMPARE(line.read(), QByteArray("after the jam"));
    QCOMPARE(log.messages.last(), QStringLiteral("Output buffer has room again: %1 blocks (%2 bytes) were not sent")
                                      .arg(refusedBlocks)
                                      .arg(qint64(refusedBlocks) * block));
}

void TestConnectionSerial::closedPortSendsAndTracesNothing()
{
    Pty line;
    QVERIFY(line.isValid());
    Connection connection;
    Recorder log(&connection);
    connection.setSettings(serialSettings(line.name(), 0));
    connection.send("not open yet");
    QVERIFY(log.sent.isEmpty());
    connection.connect();
    connection.send("open");
    QCOMPARE(log.sent, QList<QByteArray>({"open"}));
    QCOMPARE(line.read(), QByteArray("open"));
}

void TestConnectionSerial::lineSettingsReachTheDevice_data()
{
    // A pseudo-terminal keeps the rate and the stop bits, not the rest: as
    // a UART without parity would.
    QTest::addColumn<int>("speed");
    QTest::addColumn<QString>("framing");
    QTest::addColumn<QString>("said");
    const QString opened = QStringLiteral("Port %1 opened");
    QTest::newRow("a free rate") << 921600 << "8N1" << opened;
    QTest::newRow("8N2 runs") << 115200 << "8N2" << opened;
    QTest::newRow("7E1 is refused") << 115200 << "7E1"
                                    << "Open: Framing 7E1 not supported by %1 (it keeps 8N1)";
    QTest::newRow("8M1 is refused") << 115200 << "8M1"
                                    << "Open: Framing 8M1 not supported by %1 (it keeps 8N1)";
}

void TestConnectionSerial::lineSettingsReachTheDevice()
{
    QFETCH(int, speed);
    QFETCH(QString, framing);
    QFETCH(QString, said);
    Pty line;
    QVERIFY(line.isValid());
    ConnectionSettings settings = serialSettings(line.name(), 0);
    settings.setSerialSpeed(speed);
    settings.setSerialFraming(SerFraming::fromText(framing));
    RecordedConnection connection(settings);
    const bool runs = said.startsWith(QLatin1String("Port"));
    QCOMPARE(connection.log.messages, QStringList({said.arg(runs ? line.name() : line.path())}));
    QCOMPARE(connection.isConnected(), runs);
    if (runs) {
        QCOMPARE(line.outputSpeed(), speed);
        QCOMPARE(bool(line.settings().c_cflag & CSTOPB), framing.endsWith(QLatin1Char('2')));
    }
}

QTEST_GUILESS_MAIN(TestConnectionSerial)
#include "tst_connectionserial.moc"
