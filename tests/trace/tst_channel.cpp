// SPDX-License-Identifier: MIT
#include "trace/channel.h"
#include "trace/tracemodel.h"

#include "connection/ansitext.h"
#include "connection/connection.h"
#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/connection/testsupport.h"
#include "tests/support/definitions.h"
#include "tests/support/loopback.h"
#include "tests/support/pty.h"

#include <QAbstractItemModelTester>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

namespace {

const char definitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="GetStatus" id="0xD001"/>
  <tag name="GetStatusReply" id="0xE001"/>
  <tag name="PumpId" id="0x1001"/>
  <tag name="StationName" id="0x3001"/>
</qrv16>
)";

QString text(const TraceModel& model, int row)
{
    return model.index(row, TraceModel::TextColumn).data().toString();
}

QString source(const TraceModel& model, int row)
{
    return model.index(row, TraceModel::SourceColumn).data().toString();
}

// Every top-level line as "source|text".
QStringList lines(const TraceModel& model)
{
    QStringList out;
    for (int row = 0; row < model.lineCount(); ++row)
        out << source(model, row) + QLatin1Char('|') + text(model, row);
    return out;
}

QStringList rawLinesOf(const TraceModel& model)
{
    return lines(model).filter(QRegularExpression(QStringLiteral("^1 Raw\\|")));
}

QByteArray bytesOf(const QString& notation, const QRV16::TagDataLut* tags)
{
    QRV16::MessageParser parser(tags);
    return parser.parse(notation).bytes();
}

// Settings for a serial link to a pseudo-terminal whose far end nobody
// reads: it opens at once, and small sends go through rawSent.
ConnectionSettings openLine(const QString& port)
{
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::SerialMode);
    settings.setSerialPort(port);
    return settings;
}

// Channel 2 as a client of a plain server that stands for its far peer,
// tracing into `model`. Check QTest::currentTestFailed() after it.
struct LinkedPeer
{
    explicit LinkedPeer(TraceModel* model)
    {
        other.setModel(model);
        connectToPeer(&other, &peer, &far);
    }
    ~LinkedPeer() { other.setModel(nullptr); }

    QTcpServer peer;
    Channel other{2};
    std::unique_ptr<QTcpSocket> far;
};

} // namespace

class TestChannel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void unparsableTextGivesErrLineAndSendsNothing_data();
    void unparsableTextGivesErrLineAndSendsNothing();
    void sentMessageIsTracedAndSent();
    void hideDuplicatesOnSend_data();
    void hideDuplicatesOnSend();
    void hideDuplicatesOnReceiveNeedsSameAddresses_data();
    void hideDuplicatesOnReceiveNeedsSameAddresses();
    void receivedBytesAreCollectedIntoMessages();
    void pauseLosesBytesAndHalfMessages();
    void hexDumps_data();
    void hexDumps();
    void hexDumpOnBusTraceShowsOnlySentBytes();
    void rawLines_data();
    void rawLines();
    void tracerLineIsReplacedUntilNext();
    void tracerLineWaitsForTheFlags();
    void replayStampsTheRecordedTime();
    void blockStartDropsAHalfMessage();
    void connectionTextsAndDisturbance();
    void loopbackConversation();
    void settingsAreKeptInTheChannelsGroup();
    void linkRelaysToTheOtherChannel_data();
    void linkRelaysToTheOtherChannel();
    void notConnectedGivesErrLineAndSendsNothing_data();
    void notConnectedGivesErrLineAndSendsNothing();
    void sentAddressesOnlyOnBis_data();
    void sentAddressesOnlyOnBis();
    void storedValuesOutOfRangeAreReported();
    void rawPrinterFromTheSettings_data();
    void rawPrinterFromTheSettings();
    void replayReachesOnlyTheTrace_data();
    void replayReachesOnlyTheTrace();
    void replayNeverTransmits_data();
    void replayNeverTransmits();

private:
    void setOption(TraceOptions::Flag flag, bool on)
    {
        m_channel->setOptions(m_channel->options().with(flag, on));
    }

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<TraceModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    std::unique_ptr<Channel> m_channel;
    QByteArray m_sent;
    std::unique_ptr<korvtest::Pty> m_line;
};

void TestChannel::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = tagsOf(definitions);
}

void TestChannel::init()
{
    QSettings().clear();
    m_model = std::make_unique<TraceModel>();
    m_model->setTags(m_tags.get());
    m_tester = std::make_unique<QAbstractItemModelTester>(m_model.get(),
                                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_channel = std::make_unique<Channel>(1);
    m_line = std::make_unique<korvtest::Pty>();
    m_channel->setSettings(openLine(m_line->name()));
    m_channel->connect();
    // After the link's own lines: the tests see only what they cause.
    m_channel->setModel(m_model.get());
    m_sent.clear();
    connect(m_channel->connection(), &Connection::rawSent, this, [this](const QByteArray& b) { m_sent += b; });
}

void TestChannel::cleanup()
{
    m_channel.reset();
    m_line.reset();
    m_tester.reset();
    m_model.reset();
}

void TestChannel::unparsableTextGivesErrLineAndSendsNothing_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    // The place comes first, then the parser's own words.
    QTest::newRow("three digits are a name, not a code") << QStringLiteral("101=5") << QStringLiteral("1:1: Tag 101 not defined");
    QTest::newRow("unknown name") << QStringLiteral("NoSuchTag=1") << QStringLiteral("1:1: Tag NoSuchTag not defined");
    QTest::newRow("second element bad") << QStringLiteral("1001=1 1001=x") << QStringLiteral("1:13: Failed to decode value");
    QTest::newRow("number beyond 32 bits") << QStringLiteral("PumpId=4294967297") << QStringLiteral("1:8: Value out of range");
}

void TestChannel::unparsableTextGivesErrLineAndSendsNothing()
{
    QFETCH(QString, text);
    QFETCH(QString, error);
    QSignalSpy appended(m_channel.get(), &Channel::appended);
    QVERIFY(!m_channel->sendMessage(text));
    QCOMPARE(m_model->lineCount(), 1);
    QCOMPARE(source(*m_model, 0), QStringLiteral("1 Err"));
    QCOMPARE(::text(*m_model, 0), error);
    QCOMPARE(m_model->index2item(m_model->index(0, 0))->color(), ColorError);
    QCOMPARE(appended.count(), 1);
    QVERIFY(m_sent.isEmpty());
}

void TestChannel::sentMessageIsTracedAndSent()
{
    QVERIFY(m_channel->sendMessage(QStringLiteral("GetStatus=(PumpId=2) 1001=7")));
    QCOMPARE(lines(*m_model), (QStringList{QStringLiteral("1|GetStatus=(PumpId=2)"), QStringLiteral("1|PumpId=7")}));
    QCOMPARE(m_sent, bytesOf(QStringLiteral("D001=(1001=2)"), nullptr) + bytesOf(QStringLiteral("1001=7"), nullptr));
    const TraceItem* line = m_model->index2item(m_model->index(0, 0));
    QCOMPARE(line->color(), ColorMessageTx1);
    QCOMPARE(line->src(), -1);
    QCOMPARE(line->dst(), -1);
    // The decoded children are there too.
    QCOMPARE(m_model->rowCount(m_model->index(0, 0)), 1);
}

void TestChannel::hideDuplicatesOnSend_data()
{
    QTest::addColumn<QStringList>("steps"); // "tx TEXT" sends, "rx TEXT" receives
    QTest::addColumn<QStringList>("expected");
    const QString ping = QStringLiteral("GetStatus=()");
    const QString answer = QStringLiteral("GetStatusReply=(PumpId=1)");
    QTest::newRow("three times the same gives one line with (3)")
        << QStringList{QStringLiteral("tx ") + ping, QStringLiteral("tx ") + ping, QStringLiteral("tx ") + ping}
        << QStringList{QStringLiteral("1|GetStatus=() (3)")};
    QTest::newRow("one line between still merges")
        << QStringList{QStringLiteral("tx ") + ping, QStringLiteral("rx ") + answer, QStringLiteral("tx ") + ping}
        << QStringList{QStringLiteral("1|GetStatus=() (2)"), QStringLiteral("1|GetStatusReply=(PumpId=1)")};
    QTest::newRow("two lines between gives a line of its own")
        << QStringList{QStringLiteral("tx ") + ping, QStringLiteral("rx ") + answer,
                       QStringLiteral("rx GetStatusReply=(PumpId=2)"), QStringLiteral("tx ") + ping}
        << QStringList{QStringLiteral("1|GetStatus=()"), QStringLiteral("1|GetStatusReply=(PumpId=1)"),
                       QStringLiteral("1|GetStatusReply=(PumpId=2)"), QStringLiteral("1|GetStatus=()")};
    QTest::newRow("different messages are not merged")
        << QStringList{QStringLiteral("tx 1001=1"), QStringLiteral("tx 1001=2")}
        << QStringList{QStringLiteral("1|PumpId=1"), QStringLiteral("1|PumpId=2")};
}

void TestChannel::hideDuplicatesOnSend()
{
    QFETCH(QStringList, steps);
    QFETCH(QStringList, expected);
    setOption(TraceOptions::HideDuplicates, true);
    QByteArray wanted;
    for (const QString& step : steps) {
        const QString notation = step.mid(3);
        if (step.startsWith(QLatin1String("tx "))) {
            QVERIFY(m_channel->sendMessage(notation));
            wanted += bytesOf(notation, m_tags.get());
        } else {
            m_channel->receive(-1, -1, bytesOf(notation, m_tags.get()));
        }
    }
    QCOMPARE(lines(*m_model), expected);
    // Hidden duplicates are still sent.
    QCOMPARE(m_sent, wanted);
}

void TestChannel::hideDuplicatesOnReceiveNeedsSameAddresses_data()
{
    QTest::addColumn<int>("secondSrc");
    QTest::addColumn<int>("secondDst");
    QTest::addColumn<int>("lineCount");
    QTest::newRow("same addresses merge") << 5 << 0 << 1;
    QTest::newRow("other source does not") << 6 << 0 << 2;
    QTest::newRow("other destination does not") << 5 << 1 << 2;
}

void TestChannel::hideDuplicatesOnReceiveNeedsSameAddresses()
{
    QFETCH(int, secondSrc);
    QFETCH(int, secondDst);
    QFETCH(int, lineCount);
    setOption(TraceOptions::HideDuplicates, true);
    const QByteArray bytes = bytesOf(QStringLiteral("1001=3"), nullptr);
    m_channel->receive(5, 0, bytes);
    m_channel->receive(secondSrc, secondDst, bytes);
    QCOMPARE(m_model->lineCount(), lineCount);
    if (lineCount == 1)
        QCOMPARE(text(*m_model, 0), QStringLiteral("PumpId=3 (2)"));
    QCOMPARE(m_model->index(0, TraceModel::AddrColumn).data().toString(), QStringLiteral("5 -> 0"));
}

void TestChannel::receivedBytesAreCollectedIntoMessages()
{
    const QByteArray stream = bytesOf(QStringLiteral("1001=1"), nullptr) + bytesOf(QStringLiteral("3001=\"abc\""), nullptr);
    // One byte at a time, as a slow line delivers them.
    for (const char c : stream)
        m_channel->receive(-1, -1, QByteArray(1, c));
    QCOMPARE(lines(*m_model), (QStringList{QStringLiteral("1|PumpId=1"), QStringLiteral("1|StationName=\"abc\"")}));
    QCOMPARE(m_model->index2item(m_model->index(1, 0))->color(), ColorMessageRx1);
}

void TestChannel::pauseLosesBytesAndHalfMessages()
{
    const QByteArray first = bytesOf(QStringLiteral("3001=\"first message\""), nullptr);
    const QByteArray second = bytesOf(QStringLiteral("1001=2"), nullptr);
    m_channel->receive(-1, -1, first.left(5));
    setOption(TraceOptions::Pause, true);
    m_channel->receive(-1, -1, first.mid(5));
    m_channel->receive(-1, -1, second);
    QCOMPARE(m_model->lineCount(), 0);
    setOption(TraceOptions::Pause, false);
    m_channel->receive(-1, -1, second);
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1|PumpId=2")});
}

void TestChannel::hexDumps_data()
{
    QTest::addColumn<bool>("sending");
    QTest::addColumn<QStringList>("expected");
    // 3001="ABCDEFGHIJKLMNOPQRS": 4 header bytes and 19 characters.
    const QStringList dump{
        QStringLiteral("0000: 15 00 01 30 41 42 43 44  45 46 47 48 49 4A 4B 4C  ...0ABCDEFGHIJKL"),
        QStringLiteral("0010: 4D 4E 4F 50 51 52 53                              MNOPQRS"),
    };
    QTest::newRow("sent") << true << dump;
    QTest::newRow("received") << false << dump;
}

void TestChannel::hexDumps()
{
    QFETCH(bool, sending);
    QFETCH(QStringList, expected);
    setOption(TraceOptions::TraceMessageBytes, true);
    const QString notation = QStringLiteral("3001=\"ABCDEFGHIJKLMNOPQRS\"");
    if (sending)
        QVERIFY(m_channel->sendMessage(notation));
    else
        m_channel->receive(-1, -1, bytesOf(notation, nullptr));
    QCOMPARE(m_model->lineCount(), 3);
    QStringList dump;
    for (int row = 0; row < 3; ++row) {
        if (source(*m_model, row) == QLatin1String("1 Hex")) {
            dump << text(*m_model, row);
            QCOMPARE(m_model->index2item(m_model->index(row, 0))->color(), sending ? ColorHexTx1 : ColorHexRx1);
        }
    }
    QCOMPARE(dump, expected);
}

void TestChannel::hexDumpOnBusTraceShowsOnlySentBytes()
{
    ConnectionSettings bus;
    bus.setMode(ConnectionSettings::SerialMode);
    bus.setSerialPort(QStringLiteral("/dev/null-no-such-port"));
    bus.setBisEnabled(true);
    bus.setBisMode(ConnectionSettings::BiSTraceMode);
    m_channel->setSettings(bus);
    m_model->clear();
    setOption(TraceOptions::TraceMessageBytes, true);
    m_channel->receive(3, 4, bytesOf(QStringLiteral("1001=1"), nullptr));
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1|PumpId=1")});
}

void TestChannel::rawLines_data()
{
    QTest::addColumn<bool>("traceRaw");
    QTest::addColumn<bool>("paused");
    QTest::addColumn<int>("rawLines");
    QTest::newRow("flag on") << true << false << 2;
    QTest::newRow("flag off") << false << false << 0;
    QTest::newRow("paused") << true << true << 0;
}

void TestChannel::rawLines()
{
    QFETCH(bool, traceRaw);
    QFETCH(bool, paused);
    QFETCH(int, rawLines);
    setOption(TraceOptions::TraceRaw, traceRaw);
    setOption(TraceOptions::Pause, paused);
    m_channel->connection()->fakeReceive(QByteArray::fromHex("0400011001"));
    m_channel->send(QByteArray::fromHex("ab00ff"));
    const QStringList raw = rawLinesOf(*m_model);
    QCOMPARE(raw.size(), rawLines);
    if (rawLines) {
        QCOMPARE(raw, (QStringList{QStringLiteral("1 Raw|04 00 01 10 01"), QStringLiteral("1 Raw|AB 00 FF")}));
        QCOMPARE(m_model->index2item(m_model->index(0, 0))->color(), ColorRawRx1);
    }
}

void TestChannel::tracerLineIsReplacedUntilNext()
{
    setOption(TraceOptions::TraceMessageBytes, true);
    QSignalSpy channelAppended(m_channel.get(), &Channel::appended);
    QSignalSpy modelAppended(m_model.get(), &TraceModel::appended);
    m_channel->onTrace(QStringLiteral("query"));
    m_channel->onTrace(QStringLiteral("query ctl 89"));
    m_channel->onTrace(QStringLiteral("query ctl 89 | CRC ok | end"));
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1 Trace|query ctl 89 | CRC ok | end")});
    QCOMPARE(channelAppended.count(), 0);
    QCOMPARE(modelAppended.count(), 0);
    m_channel->onTraceNext();
    QCOMPARE(channelAppended.count(), 1);
    QCOMPARE(modelAppended.count(), 1);
    QCOMPARE(modelAppended.at(0).at(0).value<QModelIndex>().row(), 0);

    m_channel->onTrace(QStringLiteral("answer"));
    m_channel->onTraceNext();
    m_channel->onTraceNext();
    QCOMPARE(lines(*m_model), (QStringList{QStringLiteral("1 Trace|query ctl 89 | CRC ok | end"),
                                           QStringLiteral("1 Trace|answer")}));
    QCOMPARE(modelAppended.count(), 2);
}

void TestChannel::tracerLineWaitsForTheFlags()
{
    m_channel->onTrace(QStringLiteral("hidden"));
    QCOMPARE(m_model->lineCount(), 0);
    setOption(TraceOptions::TraceMessageBytes, true);
    setOption(TraceOptions::Pause, true);
    m_channel->onTrace(QStringLiteral("paused"));
    QCOMPARE(m_model->lineCount(), 0);
    setOption(TraceOptions::Pause, false);
    m_channel->onTrace(QStringLiteral("shown"));
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1 Trace|shown")});
}

void TestChannel::replayStampsTheRecordedTime()
{
    const QDateTime recorded(QDate(2011, 3, 4), QTime(10, 20, 30, 45));
    m_channel->replay(recorded, bytesOf(QStringLiteral("1001=9"), nullptr));
    QCOMPARE(m_model->lineCount(), 1);
    QCOMPARE(m_model->index2item(m_model->index(0, 0))->time(), recorded);
    QVERIFY(!m_model->replayTime().isValid());
    m_channel->receive(-1, -1, bytesOf(QStringLiteral("1001=8"), nullptr));
    QVERIFY(m_model->index2item(m_model->index(1, 0))->time() > recorded);
}

void TestChannel::blockStartDropsAHalfMessage()
{
    const QByteArray whole = bytesOf(QStringLiteral("1001=4"), nullptr);
    m_channel->receive(-1, -1, whole.left(3));
    m_channel->blockStarted();
    m_channel->receive(-1, -1, whole);
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1|PumpId=4")});
}

void TestChannel::connectionTextsAndDisturbance()
{
    Channel second(2);
    second.setModel(m_model.get());
    QSignalSpy appended(&second, &Channel::appended);
    second.connectionMessage(QStringLiteral("Connection established"));
    // Only a serial port has modem lines to pulse.
    second.disturb();
    m_channel->disturb();
    QCOMPARE(lines(*m_model), (QStringList{QStringLiteral("2 Con|Connection established"),
                                           QStringLiteral("2 Err|No modem lines on this link: nothing disturbed"),
                                           QStringLiteral("1 Con|DISTURBANCE GENERATED")}));
    QCOMPARE(appended.count(), 2);
    second.setModel(nullptr);
}

void TestChannel::loopbackConversation()
{
    // Channel 1 listens, channel 2 connects to it; both trace into one model.
    QSignalSpy serverState(m_channel.get(), &Channel::stateChanged);
    Channel client(2);
    client.setModel(m_model.get());
    connectLoopback(m_channel.get(), &client);
    if (QTest::currentTestFailed())
        return;

    QVERIFY(client.sendMessage(QStringLiteral("GetStatus=(PumpId=3)")));
    QTRY_VERIFY(lines(*m_model).contains(QStringLiteral("1|GetStatus=(PumpId=3)")));
    QVERIFY(m_channel->sendMessage(QStringLiteral("GetStatusReply=(StationName=north)")));
    QTRY_VERIFY(lines(*m_model).contains(QStringLiteral("2|GetStatusReply=(StationName=\"north\")")));
    const QStringList all = lines(*m_model);
    QVERIFY(all.contains(QStringLiteral("2|GetStatus=(PumpId=3)")));
    QVERIFY(all.contains(QStringLiteral("1 Con|Incoming connection from 127.0.0.1:%1")
                             .arg(client.connection()->socket()->localPort())));
    QVERIFY(serverState.count() >= 2);
    client.setModel(nullptr);
}

void TestChannel::settingsAreKeptInTheChannelsGroup()
{
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ServerMode);
    settings.setServerPort(4711);
    Channel two(2);
    two.setSettings(settings);
    QCOMPARE(QSettings().value(QStringLiteral("Connection2/Mode")).toString(), QStringLiteral("Server"));
    QCOMPARE(QSettings().value(QStringLiteral("Connection2/ServerPort")).toInt(), 4711);
    // A new channel 2 starts from what was stored; channel 1 does not.
    Channel again(2);
    QCOMPARE(again.settings().mode(), int(ConnectionSettings::ServerMode));
    QCOMPARE(again.settings().serverPort(), 4711);
    Channel one(1);
    QCOMPARE(one.settings().serverPort(), ConnectionSettings().serverPort());
}

void TestChannel::linkRelaysToTheOtherChannel_data()
{
    QTest::addColumn<bool>("linked");
    QTest::addColumn<bool>("paused");
    QTest::newRow("linked") << true << false;
    QTest::newRow("linked while paused") << true << true;
    QTest::newRow("not linked") << false << false;
}

void TestChannel::linkRelaysToTheOtherChannel()
{
    QFETCH(bool, linked);
    QFETCH(bool, paused);
    LinkedPeer link(m_model.get());
    if (QTest::currentTestFailed())
        return;
    Channel& other = link.other;
    QTcpSocket* far = link.far.get();
    m_channel->setLinkedChannel(&other);
    setOption(TraceOptions::LinkChannels, linked);
    setOption(TraceOptions::Pause, paused);
    const QByteArray bytes = bytesOf(QStringLiteral("1001=6"), nullptr);
    m_channel->receive(-1, -1, bytes.left(2));
    m_channel->receive(-1, -1, bytes.mid(2));
    QByteArray arrived;
    if (linked) {
        QTRY_COMPARE(arrived += far->readAll(), bytes);
    } else {
        // Anything relayed would arrive before what the channel sends next.
        QVERIFY(other.sendMessage(QStringLiteral("1001=7")));
        const QByteArray own = bytesOf(QStringLiteral("1001=7"), nullptr);
        QTRY_VERIFY((arrived += far->readAll()).size() >= own.size());
        QCOMPARE(arrived, own);
    }
    // Relayed bytes are not traced as sent on the other channel.
    QCOMPARE(lines(*m_model).filter(QStringLiteral("2|")),
             linked ? QStringList() : QStringList{QStringLiteral("2|PumpId=7")});
}

void TestChannel::notConnectedGivesErrLineAndSendsNothing_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("what");
    QTest::newRow("typed text after a disconnect") << "disconnect" << "text";
    QTest::newRow("a message after a disconnect") << "disconnect" << "message";
    QTest::newRow("bytes after a disconnect") << "disconnect" << "bytes";
    QTest::newRow("typed text after the device went") << "hang up" << "text";
}

void TestChannel::notConnectedGivesErrLineAndSendsNothing()
{
    QFETCH(QString, how);
    QFETCH(QString, what);
    if (how == QLatin1String("disconnect"))
        m_channel->disconnect();
    else
        m_line->hangUp();
    QTRY_VERIFY(!m_channel->connection()->isConnected());
    const int before = m_model->lineCount();

    const QString notation = QStringLiteral("GetStatus=(PumpId=2)");
    if (what == QLatin1String("text"))
        QVERIFY(!m_channel->sendMessage(notation));
    else if (what == QLatin1String("message"))
        m_channel->sendMessage(QRV16::MessageParser(m_tags.get()).parse(notation));
    else
        m_channel->send(bytesOf(notation, m_tags.get()));

    QCOMPARE(lines(*m_model).mid(before), QStringList({QStringLiteral("1 Err|Not connected: nothing sent")}));
    QCOMPARE(m_model->index2item(m_model->index(before, 0))->color(), ColorError);
    QVERIFY(m_sent.isEmpty());
    if (how == QLatin1String("disconnect"))
        QVERIFY(m_line->read(50).isEmpty());
}

void TestChannel::sentAddressesOnlyOnBis_data()
{
    QTest::addColumn<bool>("bis");
    QTest::addColumn<int>("src");
    QTest::addColumn<int>("dst");
    QTest::newRow("plain serial link shows none") << false << -1 << -1;
    QTest::newRow("BiS master shows its addresses") << true << 0 << 9;
}

void TestChannel::sentAddressesOnlyOnBis()
{
    QFETCH(bool, bis);
    QFETCH(int, src);
    QFETCH(int, dst);
    ConnectionSettings settings = openLine(m_line->name());
    settings.setBisEnabled(bis);
    settings.setBisMode(ConnectionSettings::BiSMasterMode);
    settings.setSourceAddress(0);
    settings.setDestinationAddress(9);
    m_channel->setSettings(settings);
    QVERIFY(m_channel->connection()->isConnected());
    const int before = m_model->lineCount();
    QVERIFY(m_channel->sendMessage(QStringLiteral("GetStatus=()")));
    QCOMPARE(lines(*m_model).mid(before), QStringList({QStringLiteral("1|GetStatus=()")}));
    const TraceItem* line = m_model->index2item(m_model->index(before, 0));
    QCOMPARE(line->src(), src);
    QCOMPARE(line->dst(), dst);
    QVERIFY(!m_sent.isEmpty());
}

void TestChannel::storedValuesOutOfRangeAreReported()
{
    QSettings().setValue(QStringLiteral("Connection2/BiSTimeout"), 0);
    QSettings().setValue(QStringLiteral("Connection2/SerialSpeed"), QStringLiteral("fast"));
    Channel channel(2);
    QCOMPARE(channel.settings().timeout(), 1000);
    QCOMPARE(channel.settings().serialSpeed(), 9600);
    const int before = m_model->lineCount();
    channel.setModel(m_model.get());
    QCOMPARE(lines(*m_model).mid(before),
             QStringList({QStringLiteral("2 Con|Settings Connection2/BiSTimeout: \"0\" is out of range, using 1000"),
                          QStringLiteral("2 Con|Settings Connection2/SerialSpeed: \"fast\" is out of range, using 9600")}));
    QCOMPARE(m_model->index2item(m_model->index(before, 0))->color(), ColorError);
    // Said once, not again with the next trace.
    channel.setModel(m_model.get());
    QCOMPARE(m_model->lineCount(), before + 2);
}

void TestChannel::rawPrinterFromTheSettings_data()
{
    QTest::addColumn<int>("printer");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("raw");
    const QByteArray getStatus = QByteArray::fromHex("0700 01D0 0300 0110 02");
    QTest::newRow("hex, as before") << int(ConnectionSettings::HexPrinter) << getStatus
                                    << QStringList{"1 Raw|07 00 01 D0", "1 Raw|03 00 01 10 02"};
    QTest::newRow("16-bit elements, named")
        << int(ConnectionSettings::LTD16Printer) << getStatus
        << QStringList{"1 Raw|len 0007 tag D001 GetStatus Request", "1 Raw|  len 0003 tag 1001 PumpId Integer | 02 = 2"};
    QTest::newRow("8-bit elements") << int(ConnectionSettings::LTDPrinter) << QByteArray::fromHex("04D1 0211 02")
                                    << QStringList{"1 Raw|len 04 tag D1 GetStatus Request",
                                                   "1 Raw|  len 02 tag 11 PumpId Integer | 02 = 2"};
    QTest::newRow("BiS frames") << int(ConnectionSettings::BiSPrinter)
                                << QByteArray::fromHex("91 89 01 05 00 01 02 A8 9B 93")
                                << QStringList{"1 Raw|query ctl 89 type 34 seq 01 dst 5 src 0 | 01 02 | CRC ok | end"};
}

// Received bytes in two chunks; the printer's line grows in place and ends
// as one trace line per element, in the raw colour, with no escape bytes in
// its text or its log record.
void TestChannel::rawPrinterFromTheSettings()
{
    QFETCH(int, printer);
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, raw);
    setOption(TraceOptions::TraceRaw, true);
    ConnectionSettings settings = openLine(m_line->name());
    settings.setRawPrinter(printer);
    m_channel->setSettings(settings);
    m_channel->connect();
    m_model->clear();

    m_channel->connection()->fakeReceive(bytes.left(4));
    m_channel->connection()->fakeReceive(bytes.mid(4));
    QCOMPARE(rawLinesOf(*m_model), raw);
    for (int row = 0; row < m_model->lineCount(); ++row) {
        const QModelIndex line = m_model->index(row, TraceModel::TextColumn);
        QVERIFY(!line.data(TraceModel::LogRole).toString().contains(QChar(0x1B)));
        if (printer != ConnectionSettings::HexPrinter && source(*m_model, row) == QLatin1String("1 Raw"))
            QVERIFY(AnsiText::hasEscapes(line.data(TraceModel::AnsiTextRole).toString()));
    }
    QCOMPARE(m_model->index2item(m_model->index(0, 0))->color(), ColorRawRx1);

    // Stored with the channel's settings.
    ConnectionSettings restored;
    restored.restoreFromSettings(Channel::settingsGroup(1));
    QCOMPARE(restored.rawPrinter(), printer);
}

void TestChannel::replayReachesOnlyTheTrace_data()
{
    QTest::addColumn<bool>("paused");
    QTest::newRow("live display") << false;
    QTest::newRow("paused display") << true;
}

// Replayed bytes are traced, and neither relayed to the linked channel's
// peer nor offered to whoever listens for received messages (automatic
// answers, a sequence's expects).
void TestChannel::replayReachesOnlyTheTrace()
{
    QFETCH(bool, paused);
    LinkedPeer link(m_model.get());
    if (QTest::currentTestFailed())
        return;
    QTcpSocket* far = link.far.get();
    m_channel->setLinkedChannel(&link.other);
    setOption(TraceOptions::LinkChannels, true);
    setOption(TraceOptions::Pause, paused);
    QSignalSpy received(m_channel.get(), &MessagePort::received);
    m_model->clear();

    const QByteArray replayed = bytesOf(QStringLiteral("1001=6"), nullptr);
    // Half a live message is waiting when the replay comes.
    const QByteArray live = bytesOf(QStringLiteral("1001=7"), nullptr);
    setOption(TraceOptions::Pause, false);
    m_channel->receive(-1, -1, live.left(2));
    setOption(TraceOptions::Pause, paused);
    m_channel->replay(QDateTime(QDate(2011, 3, 4), QTime(10, 20, 30)), replayed);
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1|PumpId=6")});
    QCOMPARE(received.count(), 0);

    setOption(TraceOptions::Pause, false);
    m_channel->receive(-1, -1, live.mid(2));
    QCOMPARE(lines(*m_model), (QStringList{QStringLiteral("1|PumpId=6"), QStringLiteral("1|PumpId=7")}));
    QCOMPARE(received.count(), 1);
    QByteArray arrived;
    QTRY_VERIFY((arrived += far->readAll()).size() >= live.size());
    QCOMPARE(arrived.toHex(' '), live.toHex(' '));
}

void TestChannel::replayNeverTransmits_data()
{
    QTest::addColumn<int>("role");
    QTest::newRow("slave: a replayed repeat of the last query") << int(ConnectionSettings::BiSSlaveMode);
    QTest::newRow("master: a replayed answer while a query waits") << int(ConnectionSettings::BiSMasterMode);
}

// Live BiS framing answers a repeated query again and sends the next query
// when an answer comes: a replay must do neither.
void TestChannel::replayNeverTransmits()
{
    QFETCH(int, role);
    const bool slave = role == ConnectionSettings::BiSSlaveMode;
    m_channel->setSettings(korvtest::serialSettings(m_line->name(), role, slave ? 7 : -1, slave ? -1 : 7));
    m_channel->connect();
    QTRY_VERIFY(m_channel->isConnected());
    const QByteArray request = bytesOf(QStringLiteral("1001=6"), nullptr);
    QByteArray replayed;
    if (slave) {
        korvtest::FrameBuilder master;
        replayed = master.query(7, request);
        QVERIFY(m_line->write(replayed));
        QTRY_VERIFY(lines(*m_model).contains(QStringLiteral("1|PumpId=6")));
        QVERIFY(m_channel->sendMessage(QStringLiteral("1001=8")));
    } else {
        QVERIFY(m_channel->sendMessage(QStringLiteral("1001=8")));
        QVERIFY(m_channel->sendMessage(QStringLiteral("1001=9")));
        // An answer from 7 to the query that went out.
        struct Slave : BiSProtocol
        {
            QByteArray frame;
            bool transmitFrame(const void* data, unsigned len) override
            {
                frame = QByteArray(static_cast<const char*>(data), int(len));
                return true;
            }
        } bus;
        bus.setMode(BiSProtocol::Slave);
        bus.setOwnAddress(7);
        bus.receive(m_sent.constData(), unsigned(m_sent.size()));
        BiSProtocol::Packet packet;
        packet.type = Connection::FrameType;
        packet.data = request.constData();
        packet.len = unsigned(request.size());
        bus.send(packet);
        replayed = bus.frame;
        QVERIFY(!replayed.isEmpty());
    }
    const QByteArray sent = m_sent;
    m_model->clear();
    m_channel->replay(QDateTime(QDate(2011, 3, 4), QTime(10, 20, 30)), replayed);
    QCOMPARE(m_sent.toHex(' '), sent.toHex(' '));
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1|PumpId=6")});
}

QTEST_MAIN(TestChannel)
#include "tst_channel.moc"
