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
#include "tests/support/tracelines.h"

#include <QAbstractItemModelTester>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

namespace {

QString text(const TraceModel& model, int row)
{
    return model.index(row, TraceModel::TextColumn).data().toString();
}

QString source(const TraceModel& model, int row)
{
    return model.index(row, TraceModel::SourceColumn).data().toString();
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

    void whatCannotBeSentGivesErrLineAndSendsNothing_data();
    void whatCannotBeSentGivesErrLineAndSendsNothing();
    void sentMessageIsTracedAndSent_data();
    void sentMessageIsTracedAndSent();
    void trafficIsTraced_data();
    void trafficIsTraced();
    void hexDumps_data();
    void hexDumps();
    void connectionTextsAndConversation();
    void settingsAreKeptInTheChannelsGroup();
    void rawPrinterFromTheSettings_data();
    void rawPrinterFromTheSettings();
    void onlyLiveBytesAreRelayedAndHeard_data();
    void onlyLiveBytesAreRelayedAndHeard();
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
    m_tags = tagsOf(pumpDefinitions);
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

void TestChannel::whatCannotBeSentGivesErrLineAndSendsNothing_data()
{
    QTest::addColumn<QString>("link"); // "open", "disconnect" or "hang up"
    QTest::addColumn<QString>("what"); // typed "text", a "message" or "bytes"
    QTest::addColumn<QString>("notation");
    QTest::addColumn<QString>("error");
    // The place comes first, then the parser's own words.
    const QString open = QStringLiteral("open");
    const QString typed = QStringLiteral("text");
    QTest::newRow("three digits are a name, not a code")
        << open << typed << QStringLiteral("101=5") << QStringLiteral("1:1: Tag 101 not defined");
    QTest::newRow("unknown name") << open << typed << QStringLiteral("NoSuchTag=1")
                                  << QStringLiteral("1:1: Tag NoSuchTag not defined");
    QTest::newRow("second element bad") << open << typed << QStringLiteral("1001=1 1001=x")
                                        << QStringLiteral("1:13: Failed to decode value");
    QTest::newRow("number beyond 32 bits") << open << typed << QStringLiteral("PumpId=4294967297")
                                           << QStringLiteral("1:8: Value out of range");
    const QString status = QStringLiteral("GetStatus=(PumpId=2)");
    const QString notConnected = QStringLiteral("Not connected: nothing sent");
    const QString disconnect = QStringLiteral("disconnect");
    QTest::newRow("typed text after a disconnect") << disconnect << typed << status << notConnected;
    QTest::newRow("a message after a disconnect")
        << disconnect << QStringLiteral("message") << status << notConnected;
    QTest::newRow("bytes after a disconnect")
        << disconnect << QStringLiteral("bytes") << status << notConnected;
    QTest::newRow("typed text after the device went")
        << QStringLiteral("hang up") << typed << status << notConnected;
}

void TestChannel::whatCannotBeSentGivesErrLineAndSendsNothing()
{
    QFETCH(QString, link);
    QFETCH(QString, what);
    QFETCH(QString, notation);
    QFETCH(QString, error);
    if (link == QLatin1String("disconnect"))
        m_channel->disconnect();
    else if (link == QLatin1String("hang up"))
        m_line->hangUp();
    QTRY_COMPARE(m_channel->connection()->isConnected(), link == QLatin1String("open"));
    const int before = m_model->lineCount();
    QSignalSpy appended(m_channel.get(), &Channel::appended);

    if (what == QLatin1String("text"))
        QVERIFY(!m_channel->sendMessage(notation));
    else if (what == QLatin1String("message"))
        m_channel->sendMessage(QRV16::MessageParser(m_tags.get()).parse(notation));
    else
        m_channel->send(bytesOf(notation, m_tags.get()));

    QCOMPARE(lines(*m_model).mid(before), QStringList{QStringLiteral("1 Err|") + error});
    QCOMPARE(m_model->index2item(m_model->index(before, 0))->color(), ColorError);
    QCOMPARE(appended.count(), 1);
    QVERIFY(m_sent.isEmpty());
    if (link == QLatin1String("disconnect"))
        QVERIFY(m_line->read(50).isEmpty());
}

void TestChannel::sentMessageIsTracedAndSent_data()
{
    QTest::addColumn<bool>("bis");
    QTest::addColumn<int>("src");
    QTest::addColumn<int>("dst");
    QTest::newRow("plain serial link shows no addresses") << false << -1 << -1;
    QTest::newRow("BiS master shows its addresses") << true << 0 << 9;
}

void TestChannel::sentMessageIsTracedAndSent()
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
    QVERIFY(m_channel->sendMessage(QStringLiteral("GetStatus=(PumpId=2) 1001=7")));
    QCOMPARE(lines(*m_model).mid(before),
             (QStringList{QStringLiteral("1|GetStatus=(PumpId=2)"), QStringLiteral("1|PumpId=7")}));
    // On a bus the bytes go out framed.
    if (bis)
        QVERIFY(!m_sent.isEmpty());
    else
        QCOMPARE(m_sent, bytesOf(QStringLiteral("D001=(1001=2)"), nullptr) +
                             bytesOf(QStringLiteral("1001=7"), nullptr));
    const TraceItem* line = m_model->index2item(m_model->index(before, 0));
    QCOMPARE(line->color(), ColorMessageTx1);
    QCOMPARE(line->src(), src);
    QCOMPARE(line->dst(), dst);
    // The decoded children are there too.
    QCOMPARE(m_model->rowCount(m_model->index(before, 0)), 1);
}

// Steps: "tx N" sends the notation N; "rx N" receives it whole, "rx 5>0 N"
// from bus address 5 to 0, "bytewise N" a byte at a time, "half N" and
// "rest N" in two parts; "pause", "resume", "duplicates" (hidden) and
// "bytes" (traced) set options; "block" starts a replayed block; "trace T"
// and "next" are the tracer's; "lines N" and "announced N" count the lines
// and the lines announced so far.
void TestChannel::trafficIsTraced_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("expected"); // "source|text", and "|src -> dst" if any

    const QString ping = QStringLiteral("tx GetStatus=()");
    const QString answer = QStringLiteral("rx GetStatus=(PumpId=1)");
    QTest::newRow("three times the same gives one line with (3)")
        << QStringList{"duplicates", ping, ping, ping} << QStringList{"1|GetStatus=() (3)"};
    QTest::newRow("one line between still merges")
        << QStringList{"duplicates", ping, answer, ping}
        << QStringList{"1|GetStatus=() (2)", "1|GetStatus=(PumpId=1)"};
    QTest::newRow("two lines between gives a line of its own")
        << QStringList{"duplicates", ping, answer, "rx GetStatus=(PumpId=2)", ping}
        << QStringList{"1|GetStatus=()", "1|GetStatus=(PumpId=1)", "1|GetStatus=(PumpId=2)",
                       "1|GetStatus=()"};
    QTest::newRow("different messages are not merged")
        << QStringList{"duplicates", "tx 1001=1", "tx 1001=2"}
        << QStringList{"1|PumpId=1", "1|PumpId=2"};
    QTest::newRow("received duplicates with the same addresses merge")
        << QStringList{"duplicates", "rx 5>0 1001=3", "rx 5>0 1001=3"}
        << QStringList{"1|PumpId=3 (2)|5 -> 0"};
    QTest::newRow("received duplicates from another source do not")
        << QStringList{"duplicates", "rx 5>0 1001=3", "rx 6>0 1001=3"}
        << QStringList{"1|PumpId=3|5 -> 0", "1|PumpId=3|6 -> 0"};
    QTest::newRow("received duplicates to another destination do not")
        << QStringList{"duplicates", "rx 5>0 1001=3", "rx 5>1 1001=3"}
        << QStringList{"1|PumpId=3|5 -> 0", "1|PumpId=3|5 -> 1"};
    QTest::newRow("received bytes are collected into messages")
        << QStringList{"bytewise 1001=1", "bytewise 3001=\"abc\""}
        << QStringList{"1|PumpId=1", "1|StationName=\"abc\""};
    QTest::newRow("a pause loses bytes and half messages")
        << QStringList{"half 3001=\"first message\"",
                       "pause",
                       "rest 3001=\"first message\"",
                       "rx 1001=2",
                       "lines 0",
                       "resume",
                       "rx 1001=2"}
        << QStringList{"1|PumpId=2"};
    QTest::newRow("a block start drops a half message")
        << QStringList{"half 1001=4", "block", "rx 1001=4"} << QStringList{"1|PumpId=4"};
    QTest::newRow("the tracer's line is replaced until the next")
        << QStringList{"bytes",
                       "trace query",
                       "trace query ctl 89",
                       "trace query ctl 89 | CRC ok | end",
                       "announced 0",
                       "next",
                       "announced 1",
                       "trace answer",
                       "next",
                       "next",
                       "announced 2"}
        << QStringList{"1 Trace|query ctl 89 | CRC ok | end", "1 Trace|answer"};
    QTest::newRow("the tracer waits for its flag and the end of a pause")
        << QStringList{"trace hidden", "lines 0", "bytes",  "pause",
                       "trace paused", "lines 0", "resume", "trace shown"}
        << QStringList{"1 Trace|shown"};
}

void TestChannel::trafficIsTraced()
{
    QFETCH(QStringList, steps);
    QFETCH(QStringList, expected);
    QSignalSpy channelAppended(m_channel.get(), &Channel::appended);
    QSignalSpy modelAppended(m_model.get(), &TraceModel::appended);
    const QRegularExpression addresses(QStringLiteral("^(\\d+)>(\\d+) "));
    QByteArray wanted;
    for (const QString& step : std::as_const(steps)) {
        const QString verb = step.section(QLatin1Char(' '), 0, 0);
        QString notation = step.section(QLatin1Char(' '), 1);
        const QRegularExpressionMatch bus = addresses.match(notation);
        notation.remove(addresses);
        const QByteArray bytes = bytesOf(notation, m_tags.get());
        const int before = m_model->lineCount();
        if (verb == QLatin1String("tx")) {
            QVERIFY(m_channel->sendMessage(notation));
            wanted += bytes;
        } else if (verb == QLatin1String("rx")) {
            m_channel->receive(bus.hasMatch() ? bus.captured(1).toInt() : -1,
                               bus.hasMatch() ? bus.captured(2).toInt() : -1, bytes);
        } else if (verb == QLatin1String("bytewise")) {
            for (const char c : bytes)
                m_channel->receive(-1, -1, QByteArray(1, c));
        } else if (verb == QLatin1String("half") || verb == QLatin1String("rest")) {
            m_channel->receive(-1, -1,
                               verb == QLatin1String("half") ? bytes.left(3) : bytes.mid(3));
        } else if (verb == QLatin1String("pause") || verb == QLatin1String("resume")) {
            setOption(TraceOptions::Pause, verb == QLatin1String("pause"));
        } else if (verb == QLatin1String("duplicates")) {
            setOption(TraceOptions::HideDuplicates, true);
        } else if (verb == QLatin1String("bytes")) {
            setOption(TraceOptions::TraceMessageBytes, true);
        } else if (verb == QLatin1String("block")) {
            m_channel->blockStarted();
        } else if (verb == QLatin1String("trace")) {
            m_channel->onTrace(notation);
        } else if (verb == QLatin1String("next")) {
            m_channel->onTraceNext();
        } else if (verb == QLatin1String("lines")) {
            QCOMPARE(m_model->lineCount(), notation.toInt());
        } else {
            QCOMPARE(channelAppended.count(), notation.toInt());
            QCOMPARE(modelAppended.count(), notation.toInt());
        }
        // A new message line has the colour of its direction.
        const bool sent = verb == QLatin1String("tx");
        if (m_model->lineCount() > before && (sent || verb == QLatin1String("rx")))
            QCOMPARE(m_model->index2item(m_model->index(before, 0))->color(),
                     sent ? ColorMessageTx1 : ColorMessageRx1);
    }
    QStringList shown = lines(*m_model);
    for (int row = 0; row < shown.size(); ++row) {
        const QString addr = m_model->index(row, TraceModel::AddrColumn).data().toString();
        if (!addr.isEmpty())
            shown[row] += QLatin1Char('|') + addr;
    }
    QCOMPARE(shown, expected);
    // Hidden duplicates are still sent.
    QCOMPARE(m_sent, wanted);
}

void TestChannel::hexDumps_data()
{
    QTest::addColumn<bool>("sending");
    QTest::addColumn<bool>("bus"); // a BiS trace, which dumps only what it sends
    QTest::addColumn<QStringList>("expected");
    // 3001="ABCDEFGHIJKLMNOPQRS": 4 header bytes and 19 characters.
    const QStringList dump{
        QStringLiteral("0000: 15 00 01 30 41 42 43 44  45 46 47 48 49 4A 4B 4C  ...0ABCDEFGHIJKL"),
        QStringLiteral("0010: 4D 4E 4F 50 51 52 53                              MNOPQRS"),
    };
    QTest::newRow("sent") << true << false << dump;
    QTest::newRow("received") << false << false << dump;
    QTest::newRow("received on a bus trace") << false << true << QStringList();
}

void TestChannel::hexDumps()
{
    QFETCH(bool, sending);
    QFETCH(bool, bus);
    QFETCH(QStringList, expected);
    if (bus) {
        ConnectionSettings settings;
        settings.setMode(ConnectionSettings::SerialMode);
        settings.setSerialPort(QStringLiteral("/dev/null-no-such-port"));
        settings.setBisEnabled(true);
        settings.setBisMode(ConnectionSettings::BiSTraceMode);
        m_channel->setSettings(settings);
        m_model->clear();
    }
    setOption(TraceOptions::TraceMessageBytes, true);
    const QString notation = QStringLiteral("3001=\"ABCDEFGHIJKLMNOPQRS\"");
    if (sending)
        QVERIFY(m_channel->sendMessage(notation));
    else
        m_channel->receive(bus ? 3 : -1, bus ? 4 : -1, bytesOf(notation, nullptr));
    QCOMPARE(m_model->lineCount(), 1 + expected.size());
    QStringList dump;
    for (int row = 0; row < m_model->lineCount(); ++row) {
        if (source(*m_model, row) == QLatin1String("1 Hex")) {
            dump << text(*m_model, row);
            QCOMPARE(m_model->index2item(m_model->index(row, 0))->color(),
                     sending ? ColorHexTx1 : ColorHexRx1);
        }
    }
    QCOMPARE(dump, expected);
}

void TestChannel::connectionTextsAndConversation()
{
    Channel client(2);
    client.setModel(m_model.get());
    QSignalSpy appended(&client, &Channel::appended);
    client.connectionMessage(QStringLiteral("Connection established"));
    // Only a serial port has modem lines to pulse.
    client.disturb();
    m_channel->disturb();
    QCOMPARE(lines(*m_model), (QStringList{QStringLiteral("2 Con|Connection established"),
                                           QStringLiteral("2 Err|No modem lines on this link: nothing disturbed"),
                                           QStringLiteral("1 Con|DISTURBANCE GENERATED")}));
    QCOMPARE(appended.count(), 2);

    // Channel 1 listens, channel 2 connects to it; both trace into one model.
    QSignalSpy serverState(m_channel.get(), &Channel::stateChanged);
    connectLoopback(m_channel.get(), &client);
    if (QTest::currentTestFailed())
        return;

    QVERIFY(client.sendMessage(QStringLiteral("GetStatus=(PumpId=3)")));
    QTRY_VERIFY(lines(*m_model).contains(QStringLiteral("1|GetStatus=(PumpId=3)")));
    QVERIFY(m_channel->sendMessage(QStringLiteral("GetStatus=(StationName=north)")));
    QTRY_VERIFY(lines(*m_model).contains(QStringLiteral("2|GetStatus=(StationName=\"north\")")));
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

    // Stored values out of range are said once, in the trace, and not used.
    QSettings().setValue(QStringLiteral("Connection2/BiSTimeout"), 0);
    QSettings().setValue(QStringLiteral("Connection2/SerialSpeed"), QStringLiteral("fast"));
    Channel odd(2);
    QCOMPARE(odd.settings().timeout(), 1000);
    QCOMPARE(odd.settings().serialSpeed(), 9600);
    const int before = m_model->lineCount();
    odd.setModel(m_model.get());
    odd.setModel(m_model.get());
    QCOMPARE(lines(*m_model).mid(before),
             QStringList({QStringLiteral("2 Con|Settings Connection2/BiSTimeout: \"0\" is out of range, using 1000"),
                          QStringLiteral("2 Con|Settings Connection2/SerialSpeed: \"fast\" is out of range, using 9600")}));
    QCOMPARE(m_model->index2item(m_model->index(before, 0))->color(), ColorError);
}

void TestChannel::rawPrinterFromTheSettings_data()
{
    QTest::addColumn<int>("printer");
    QTest::addColumn<QString>("display"); // raw lines "on", "off", or on but "paused"
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("raw");
    const int hex = ConnectionSettings::HexPrinter;
    const QString on = QStringLiteral("on");
    const QByteArray getStatus = QByteArray::fromHex("0700 01D0 0300 0110 02");
    // The hex printer's rows send AB 00 FF after what they receive.
    QTest::newRow("hex, as before")
        << hex << on << getStatus
        << QStringList{"1 Raw|07 00 01 D0", "1 Raw|03 00 01 10 02", "1 Raw|AB 00 FF"};
    QTest::newRow("no raw lines when off")
        << hex << QStringLiteral("off") << getStatus << QStringList();
    QTest::newRow("no raw lines while paused")
        << hex << QStringLiteral("paused") << getStatus << QStringList();
    QTest::newRow("16-bit elements, named")
        << int(ConnectionSettings::LTD16Printer) << on << getStatus
        << QStringList{"1 Raw|len 0007 tag D001 GetStatus Request",
                       "1 Raw|  len 0003 tag 1001 PumpId Integer | 02 = 2"};
    QTest::newRow("8-bit elements")
        << int(ConnectionSettings::LTDPrinter) << on << QByteArray::fromHex("04D1 0211 02")
        << QStringList{"1 Raw|len 04 tag D1 GetStatus Request",
                       "1 Raw|  len 02 tag 11 PumpId Integer | 02 = 2"};
    QTest::newRow("BiS frames")
        << int(ConnectionSettings::BiSPrinter) << on
        << QByteArray::fromHex("91 89 01 05 00 01 02 A8 9B 93")
        << QStringList{"1 Raw|query ctl 89 type 34 seq 01 dst 5 src 0 | 01 02 | CRC ok | end"};
}

// Received bytes in two chunks; the printer's line grows in place and ends
// as one trace line per element, in the raw colour, with no escape bytes in
// its text or its log record.
void TestChannel::rawPrinterFromTheSettings()
{
    QFETCH(int, printer);
    QFETCH(QString, display);
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, raw);
    setOption(TraceOptions::TraceRaw, display != QLatin1String("off"));
    setOption(TraceOptions::Pause, display == QLatin1String("paused"));
    ConnectionSettings settings = openLine(m_line->name());
    settings.setRawPrinter(printer);
    m_channel->setSettings(settings);
    m_channel->connect();
    m_model->clear();

    m_channel->connection()->fakeReceive(bytes.left(4));
    m_channel->connection()->fakeReceive(bytes.mid(4));
    if (printer == ConnectionSettings::HexPrinter)
        m_channel->send(QByteArray::fromHex("ab00ff"));
    QCOMPARE(rawLinesOf(*m_model), raw);
    for (int row = 0; row < m_model->lineCount(); ++row) {
        const QModelIndex line = m_model->index(row, TraceModel::TextColumn);
        QVERIFY(!line.data(TraceModel::LogRole).toString().contains(QChar(0x1B)));
        // The colours are kept apart from the text, for the painter only.
        if (source(*m_model, row) != QLatin1String("1 Raw"))
            continue;
        QCOMPARE(line.data(TraceModel::AnsiTextRole).isValid(),
                 printer != ConnectionSettings::HexPrinter);
        if (printer != ConnectionSettings::HexPrinter)
            QVERIFY(AnsiText::hasEscapes(line.data(TraceModel::AnsiTextRole).toString()));
    }
    if (!raw.isEmpty())
        QCOMPARE(m_model->index2item(m_model->index(0, 0))->color(), ColorRawRx1);

    // Stored with the channel's settings.
    ConnectionSettings restored;
    restored.restoreFromSettings(Channel::settingsGroup(1));
    QCOMPARE(restored.rawPrinter(), printer);
}

void TestChannel::onlyLiveBytesAreRelayedAndHeard_data()
{
    QTest::addColumn<bool>("linked");
    QTest::addColumn<bool>("paused");
    QTest::newRow("linked") << true << false;
    QTest::newRow("linked while paused") << true << true;
    QTest::newRow("not linked") << false << false;
}

// Live bytes go on to the linked channel's peer, paused display or not.
// Replayed bytes are traced, at the time recorded, and neither relayed nor
// offered to whoever listens for received messages (automatic answers, a
// sequence's expects).
void TestChannel::onlyLiveBytesAreRelayedAndHeard()
{
    QFETCH(bool, linked);
    QFETCH(bool, paused);
    LinkedPeer link(m_model.get());
    if (QTest::currentTestFailed())
        return;
    m_channel->setLinkedChannel(&link.other);
    setOption(TraceOptions::LinkChannels, linked);
    QSignalSpy received(m_channel.get(), &MessagePort::received);
    m_model->clear();

    // Half a live message is waiting when the replay comes.
    const QByteArray live = bytesOf(QStringLiteral("1001=7"), nullptr);
    m_channel->receive(-1, -1, live.left(2));
    setOption(TraceOptions::Pause, paused);
    const QDateTime recorded(QDate(2011, 3, 4), QTime(10, 20, 30, 45));
    m_channel->replay(recorded, bytesOf(QStringLiteral("1001=6"), nullptr));
    QCOMPARE(lines(*m_model), QStringList{QStringLiteral("1|PumpId=6")});
    QCOMPARE(received.count(), 0);
    QCOMPARE(m_model->index2item(m_model->index(0, 0))->time(), recorded);
    QVERIFY(!m_model->replayTime().isValid());

    m_channel->receive(-1, -1, live.mid(2));
    const QStringList shown{QStringLiteral("1|PumpId=6"), QStringLiteral("1|PumpId=7")};
    QCOMPARE(lines(*m_model), shown.mid(0, paused ? 1 : 2));
    QCOMPARE(received.count(), paused ? 0 : 1);
    if (!paused)
        QVERIFY(m_model->index2item(m_model->index(1, 0))->time() > recorded);

    // Anything relayed arrives before what the other channel sends next, and
    // is not traced as sent there.
    QVERIFY(link.other.sendMessage(QStringLiteral("1001=8")));
    const QByteArray expected =
        (linked ? live : QByteArray()) + bytesOf(QStringLiteral("1001=8"), nullptr);
    QByteArray arrived;
    QTRY_VERIFY((arrived += link.far->readAll()).size() >= expected.size());
    QCOMPARE(arrived.toHex(' '), expected.toHex(' '));
    QCOMPARE(lines(*m_model).filter(QStringLiteral("2|")),
             QStringList{QStringLiteral("2|PumpId=8")});
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
