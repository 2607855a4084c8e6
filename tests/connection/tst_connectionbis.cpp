// SPDX-License-Identifier: MIT
// Serial links through pseudo-terminals: BiS master and slave through two
// Connections, retransmission and the send queue, the passive trace role,
// and the bits of a serial link that need no far end.

#include "connection/ansitext.h"
#include "tests/connection/testsupport.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

using namespace korvtest;

class TestConnectionBis : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void masterQueriesAreAnsweredBySlave();
    void masterRetransmitsThenTimesOut_data();
    void masterRetransmitsThenTimesOut();
    void queueOverflowDisconnects();
    void masterWithoutDestinationSendsNothing();
    void slaveAnswersDuplicateQueryWithoutSecondDelivery();
    void traceModeFiltersAndSendsNothing_data();
    void traceModeFiltersAndSendsNothing();
    void fakeReceiveFollowsTheMode_data();
    void fakeReceiveFollowsTheMode();
    void unsetAddressIsNotNamed();
    void openFailureIsReported();
    void notConfigured();
    void disturbPulsesForTwoCharacterTimes_data();
    void disturbPulsesForTwoCharacterTimes();
};

void TestConnectionBis::masterQueriesAreAnsweredBySlave()
{
    Pty masterLine;
    Pty slaveLine;
    QVERIFY(masterLine.isValid() && slaveLine.isValid());
    PtyLink link(masterLine, slaveLine);

    Connection master;
    Connection slave;
    Recorder masterLog(&master);
    Recorder slaveLog(&slave);
    ConnectionSettings masterSettings = serialSettings(masterLine.name(), ConnectionSettings::BiSMasterMode, -1, 7);
    masterSettings.setTimeout(5000);
    master.setSettings(masterSettings);
    slave.setSettings(serialSettings(slaveLine.name(), ConnectionSettings::BiSSlaveMode, 7));
    master.connect();
    slave.connect();
    QCOMPARE(masterLog.events, QStringList({QStringLiteral("Port %1 opened (BiS Master @7)").arg(masterLine.name()),
                                            QStringLiteral("state")}));
    QCOMPARE(slaveLog.events, QStringList({QStringLiteral("Port %1 opened (BiS Slave @7)").arg(slaveLine.name()),
                                           QStringLiteral("state")}));

    // The slave answers every query with its payload reversed.
    QObject::connect(&slave, &Connection::received, &slave, [&slave](int, int, const QByteArray& query) {
        QByteArray answer = query;
        std::reverse(answer.begin(), answer.end());
        slave.send(answer);
    });
    // The second and third wait in the queue for the answers before them.
    master.send("abc");
    master.send("hello");
    master.send(QByteArray("\x91\x92\x93\x94", 4));
    QCOMPARE(masterLog.sent.size(), 1);

    QTRY_COMPARE_WITH_TIMEOUT(masterLog.blocks.size(), 3, Timeout);
    QCOMPARE(masterLog.blocks, QList<QByteArray>({"cba", "olleh", QByteArray("\x94\x93\x92\x91", 4)}));
    QCOMPARE(masterLog.sources, QList<int>({7, 7, 7}));
    QCOMPARE(masterLog.destinations, QList<int>({0, 0, 0}));
    QCOMPARE(slaveLog.blocks, QList<QByteArray>({"abc", "hello", QByteArray("\x91\x92\x93\x94", 4)}));
    QCOMPARE(slaveLog.sources, QList<int>({0, 0, 0}));
    QCOMPARE(slaveLog.destinations, QList<int>({7, 7, 7}));
    // One transmission per query: the answers came in time.
    QCOMPARE(splitFrames(link.aToB).size(), 3);
    QVERIFY(!masterLog.hasMessage(QStringLiteral("Response timeout")));

    master.disconnect();
    QCOMPARE(masterLog.events.mid(masterLog.events.size() - 2),
             QStringList({QStringLiteral("Serial port closed"), QStringLiteral("state")}));
}

void TestConnectionBis::masterRetransmitsThenTimesOut_data()
{
    QTest::addColumn<int>("tries");
    QTest::addColumn<int>("transmissions");
    QTest::addColumn<int>("toggles");
    QTest::addColumn<bool>("overflow");
    QTest::newRow("tries 0 sends once") << 0 << 1 << 0 << false;
    QTest::newRow("tries 1 sends once") << 1 << 1 << 0 << false;
    QTest::newRow("tries 5 sends five times") << 5 << 5 << 0 << false;
    QTest::newRow("tries 30 stops at 25") << 30 << 25 << 0 << false;
    QTest::newRow("after two disconnect cycles") << 3 << 3 << 2 << false;
    QTest::newRow("after a queue overflow") << 3 << 3 << 0 << true;
    QTest::newRow("after an overflow and a cycle") << 3 << 3 << 1 << true;
}

void TestConnectionBis::masterRetransmitsThenTimesOut()
{
    QFETCH(int, tries);
    QFETCH(int, transmissions);
    QFETCH(int, toggles);
    QFETCH(bool, overflow);
    Pty line;
    QVERIFY(line.isValid());
    ConnectionSettings settings = serialSettings(line.name(), ConnectionSettings::BiSMasterMode, -1, 5);
    settings.setTries(tries);
    settings.setTimeout(20);
    RecordedConnection master(settings);
    QVERIFY(master.isConnected());
    if (overflow) {
        for (int i = 0; i <= Connection::QueueLimit + 1; ++i)
            master.send(QByteArray::number(i));
        QVERIFY(master.log.hasMessage(QStringLiteral("Queue overflow")));
        QVERIFY(!master.isConnected());
        master.connect();
    }
    for (int i = 0; i < toggles; ++i) {
        master.toggleConnected();
        QVERIFY(!master.isConnected());
        master.toggleConnected();
        QVERIFY(master.isConnected());
    }
    line.read(50);
    master.log.sent.clear();

    // The second waits in the queue until the first has timed out; a queue
    // from before an overflow went with the link.
    master.send("one");
    master.send("two");
    QTRY_COMPARE_WITH_TIMEOUT(master.log.count(QStringLiteral("Response timeout")), 2, Timeout);
    const QList<QByteArray> frames = splitFrames(line.read());
    QCOMPARE(frames.size(), 2 * transmissions);
    QCOMPARE(master.log.sent, frames);
    QCOMPARE(frames.mid(0, transmissions), QList<QByteArray>(transmissions, frames.constFirst()));
    QCOMPARE(frames.mid(transmissions), QList<QByteArray>(transmissions, frames.constLast()));
    if (toggles == 0 && !overflow) {
        FrameBuilder expected;
        QCOMPARE(frames.constFirst(), expected.query(5, "one"));
        QCOMPARE(frames.constLast(), expected.query(5, "two"));
    }

    // Nothing is pending any more: the next block goes out at once.
    master.send("again");
    QCOMPARE(master.log.sent.size(), 2 * transmissions + 1);
}

void TestConnectionBis::queueOverflowDisconnects()
{
    Pty line;
    QVERIFY(line.isValid());
    ConnectionSettings settings = serialSettings(line.name(), ConnectionSettings::BiSMasterMode, -1, 5);
    settings.setTimeout(60000);
    RecordedConnection master(settings);
    Recorder& log = master.log;

    master.send("pending");
    for (int i = 0; i < Connection::QueueLimit; ++i)
        master.send(QByteArray::number(i));
    QVERIFY(!log.hasMessage(QStringLiteral("Queue overflow")));
    QVERIFY(master.isConnected());

    master.send("one too many");
    QCOMPARE(log.events.mid(log.events.size() - 3), QStringList({QStringLiteral("Queue overflow"),
                                                                 QStringLiteral("Serial port closed"),
                                                                 QStringLiteral("state")}));
    QVERIFY(!master.isConnected());
    QCOMPARE(log.sent.size(), 1);
}

void TestConnectionBis::masterWithoutDestinationSendsNothing()
{
    Pty line;
    QVERIFY(line.isValid());
    RecordedConnection master(serialSettings(line.name(), ConnectionSettings::BiSMasterMode));
    Recorder& log = master.log;
    master.send("to nobody");
    QVERIFY(log.sent.isEmpty());
    QVERIFY(line.read(100).isEmpty());
    QCOMPARE(log.messages.constLast(), QStringLiteral("Set the BiS address of the destination: nothing sent"));
}

void TestConnectionBis::slaveAnswersDuplicateQueryWithoutSecondDelivery()
{
    Pty line;
    QVERIFY(line.isValid());
    RecordedConnection slave(serialSettings(line.name(), ConnectionSettings::BiSSlaveMode, 7));
    QObject::connect(&slave, &Connection::received, &slave, [&slave](int, int, const QByteArray&) {
        slave.send("answer");
    });

    FrameBuilder bus(3);
    const QByteArray query = bus.query(7, "status?");
    QVERIFY(line.write(query));
    QTRY_COMPARE_WITH_TIMEOUT(slave.log.blocks.size(), 1, Timeout);
    QCOMPARE(slave.log.sources.constFirst(), 3);
    QCOMPARE(slave.log.destinations.constFirst(), 7);
    QTRY_COMPARE_WITH_TIMEOUT(slave.log.sent.size(), 1, Timeout);

    // The answer to the repeated query got lost on the bus: the master asks again.
    QVERIFY(line.write(query));
    QTRY_COMPARE_WITH_TIMEOUT(slave.log.sent.size(), 2, Timeout);
    QCOMPARE(slave.log.sent.at(1), slave.log.sent.at(0));

    const QList<QByteArray> answers = splitFrames(line.read());
    QCOMPARE(answers.size(), 2);
    bus.feed(answers.at(0));
    QCOMPARE(bus.received.size(), 1);
    QCOMPARE(bus.received.constFirst().data, QByteArray("answer"));

    // A new query is delivered again, and answered: by then the repeated
    // one would have been delivered too.
    QVERIFY(line.write(bus.query(7, "status?")));
    QTRY_COMPARE_WITH_TIMEOUT(slave.log.sent.size(), 3, Timeout);
    QCOMPARE(slave.log.blocks.size(), 2);
}

void TestConnectionBis::traceModeFiltersAndSendsNothing_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("destination");
    QTest::addColumn<QList<QByteArray>>("passed");
    // The bus carries: 3 -> 5 "a", 4 -> 5 "b", 3 -> 6 "c".
    QTest::newRow("no filter passes everything") << -1 << -1 << QList<QByteArray>({"a", "b", "c"});
    QTest::newRow("source filter") << 3 << -1 << QList<QByteArray>({"a", "c"});
    QTest::newRow("destination filter") << -1 << 5 << QList<QByteArray>({"a", "b"});
    QTest::newRow("both filters") << 3 << 6 << QList<QByteArray>({"c"});
    QTest::newRow("filters that match nothing") << 9 << -1 << QList<QByteArray>();
}

void TestConnectionBis::traceModeFiltersAndSendsNothing()
{
    QFETCH(int, source);
    QFETCH(int, destination);
    QFETCH(QList<QByteArray>, passed);
    Pty line;
    QVERIFY(line.isValid());
    Connection tracer;
    Recorder log(&tracer);
    // Each line as it stood when it was complete.
    QStringList lines;
    QString current;
    QObject::connect(&tracer, qOverload<const QString&>(&Connection::trace), &tracer,
                     [&current](const QString& text) { current = AnsiText::strip(text); });
    QObject::connect(&tracer, &Connection::traceNext, &tracer, [&] { lines << current; });
    tracer.setSettings(serialSettings(line.name(), ConnectionSettings::BiSTraceMode, source, destination));
    tracer.connect();
    QCOMPARE(log.messages.constFirst(), QStringLiteral("Port %1 opened (BiS Trace)").arg(line.name()));

    FrameBuilder three(3);
    FrameBuilder four(4);
    // One statement each: the sequence numbers follow the order of building.
    const QByteArray a = three.query(5, "a");
    const QByteArray b = four.query(5, "b");
    const QByteArray c = three.query(6, "c");
    QVERIFY(line.write(a + b + c + "noise"));
    // Every frame ends a trace line, whether it passes the filters or not.
    // The trace shows the whole bus; the filters only choose the blocks.
    QTRY_COMPARE_WITH_TIMEOUT(current, QStringLiteral("noise 6E 6F 69 73 65"), Timeout);
    QCOMPARE(lines, QStringList({QStringLiteral("query ctl 89 type 34 seq 01 dst 5 src 3 | 61 | CRC ok | end"),
                                 QStringLiteral("query ctl 89 type 34 seq 01 dst 5 src 4 | 62 | CRC ok | end"),
                                 QStringLiteral("query ctl 89 type 34 seq 02 dst 6 src 3 | 63 | CRC ok | end")}));
    QCOMPARE(log.blocks, passed);

    tracer.send("must stay quiet");
    QVERIFY(log.sent.isEmpty());
    QVERIFY(line.read(100).isEmpty());
}

void TestConnectionBis::fakeReceiveFollowsTheMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("bisMode");
    QTest::addColumn<int>("address");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QList<QByteArray>>("blocks");
    FrameBuilder bus(2);
    const QByteArray query = bus.query(7, "payload");
    QTest::newRow("network link passes bytes as they are") << int(ConnectionSettings::ClientMode) << 0 << -1
                                                           << query << QList<QByteArray>({query});
    QTest::newRow("serial without BiS passes bytes as they are") << int(ConnectionSettings::SerialMode) << 0 << -1
                                                                 << query << QList<QByteArray>({query});
    QTest::newRow("BiS slave unwraps a query to it") << int(ConnectionSettings::SerialMode)
                                                     << int(ConnectionSettings::BiSSlaveMode) << 7 << query
                                                     << QList<QByteArray>({"payload"});
    QTest::newRow("BiS trace unwraps a frame that passes its filters") << int(ConnectionSettings::SerialMode)
                                                 << int(ConnectionSettings::BiSTraceMode) << -1 << query
                                                 << QList<QByteArray>({"payload"});
    QTest::newRow("BiS master takes no unasked answer") << int(ConnectionSettings::SerialMode)
                                                        << int(ConnectionSettings::BiSMasterMode) << -1 << query
                                                        << QList<QByteArray>();
    QTest::newRow("BiS slave drops garbage") << int(ConnectionSettings::SerialMode)
                                             << int(ConnectionSettings::BiSSlaveMode) << 7
                                             << QByteArray("\x91\x88garbage\x93") << QList<QByteArray>();
}

void TestConnectionBis::fakeReceiveFollowsTheMode()
{
    QFETCH(int, mode);
    QFETCH(int, bisMode);
    QFETCH(int, address);
    QFETCH(QByteArray, input);
    QFETCH(QList<QByteArray>, blocks);
    ConnectionSettings settings = serialSettings(QStringLiteral("ttyNOSUCHPORT"), bisMode, address);
    settings.setMode(mode);
    Connection connection;
    Recorder log(&connection);
    QSignalSpy raw(&connection, &Connection::rawReceived);
    connection.setSettings(settings);
    connection.fakeReceive(input);
    QCOMPARE(raw.size(), 1);
    QCOMPARE(raw.at(0).at(0).toByteArray(), input);
    QCOMPARE(log.blocks, blocks);
}

// The texts with addresses show in the messages of an opened port; an
// address not set is not named.
void TestConnectionBis::unsetAddressIsNotNamed()
{
    for (const int role : {ConnectionSettings::BiSMasterMode, ConnectionSettings::BiSSlaveMode}) {
        Connection connection;
        connection.setSettings(serialSettings(QStringLiteral("ttyNOSUCHPORT"), role));
        QVERIFY2(connection.bisModeText().startsWith(QLatin1String(" (BiS ")),
                 qPrintable(connection.bisModeText()));
        QVERIFY(!connection.bisModeText().contains(QLatin1Char('@')));
    }
}

void TestConnectionBis::openFailureIsReported()
{
    Connection connection;
    Recorder log(&connection);
    connection.setSettings(serialSettings(QStringLiteral("ttyNOSUCHPORT"), 0));
    QCOMPARE(connection.serialPortDeviceName(), QStringLiteral("ttyNOSUCHPORT"));
    connection.connect();
    QCOMPARE(log.events, QStringList({QStringLiteral("Open: No such file or directory")}));
    QVERIFY(!connection.isConnected());
}

void TestConnectionBis::notConfigured()
{
    Connection connection;
    Recorder log(&connection);
    connection.connect();
    ConnectionSettings disabled;
    disabled.setMode(ConnectionSettings::DisabledMode);
    connection.setSettings(disabled);
    connection.toggleConnected();
    QCOMPARE(log.events, QStringList({QStringLiteral("Not configured"), QStringLiteral("Not configured")}));
}

void TestConnectionBis::disturbPulsesForTwoCharacterTimes_data()
{
    QTest::addColumn<int>("speed");
    QTest::addColumn<int>("pulse");
    QTest::newRow("300 bps: 67 ms") << 300 << 67;
    QTest::newRow("1200 bps: 17 ms") << 1200 << 17;
    QTest::newRow("9600 bps: 2 ms") << 9600 << 2;
    QTest::newRow("115200 bps: at least 1 ms") << 115200 << 1;
}

void TestConnectionBis::disturbPulsesForTwoCharacterTimes()
{
    QFETCH(int, speed);
    QFETCH(int, pulse);
    Pty line;
    QVERIFY(line.isValid());
    ConnectionSettings settings = serialSettings(line.name(), 0);
    settings.setSerialSpeed(speed);
    Connection connection;
    connection.setSettings(settings);
    connection.connect();
    QCOMPARE(Connection::disturbPulseMs(speed), static_cast<unsigned long>(pulse));
    QElapsedTimer clock;
    clock.start();
    connection.disturb();
    // Its length is checked above; how late a busy machine wakes the
    // sleeper is no measure of it.
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed >= 2 * pulse, qPrintable(QString::number(elapsed)));
}

QTEST_GUILESS_MAIN(TestConnectionBis)
#include "tst_connectionbis.moc"
