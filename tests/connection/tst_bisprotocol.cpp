// SPDX-License-Identifier: MIT
#include "bis/crc.h"
#include "tests/support/bisbus.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace korvtest;

class TestBiSProtocol : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void queryBytes_data();
    void queryBytes();
    void sequenceCountsQueries();
    void answerBytes_data();
    void answerBytes();
    void transmitBufferLimit_data();
    void transmitBufferLimit();
    void transmitResultIsPassedOn();
    void receiveLimit_data();
    void receiveLimit();
    void slaveFilters_data();
    void slaveFilters();
    void masterFilters_data();
    void masterFilters();
    void masterWithNothingPendingIgnoresBytes();
    void dropPending();
    void retransmitOnlyInMaster();
    void reentrantReceiveIsDiscarded();
    void chanceZeroCrcWithoutCheckBytesIsDropped();
    void memdump_data();
    void memdump();
    void traceLastData();
    void randomBytesStayInBounds_data();
    void randomBytesStayInBounds();
};

void TestBiSProtocol::queryBytes_data()
{
    QTest::addColumn<unsigned>("own");
    QTest::addColumn<unsigned>("destination");
    QTest::addColumn<unsigned>("type");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QByteArray>("frame");

    QTest::newRow("both addresses 0: no address bytes, control 88")
        << 0u << 0u << 34u << hex("0102") << hex("91 88 01 01 02 72 A8 93");
    QTest::newRow("addresses below 256: one byte each, control 89")
        << 0u << 5u << 34u << hex("0102") << hex("91 89 01 05 00 01 02 A8 9B 93");
    QTest::newRow("300: two bytes each, control 8A")
        << 0u << 300u << 34u << hex("0102") << hex("91 8A 01 2C 01 00 00 01 02 B2 6C 93");
    QTest::newRow("70000: four bytes each, control 8B")
        << 0u << 70000u << 34u << hex("0102")
        << hex("91 8B 01 70 11 01 00 00 00 00 00 01 02 F6 49 93");
    QTest::newRow("own address alone sets the width")
        << 300u << 0u << 34u << hex("0102") << hex("91 8A 01 00 00 2C 01 01 02 69 9A 93");
    QTest::newRow("empty payload") << 0u << 5u << 34u << QByteArray()
                                   << hex("91 89 01 05 00 E8 9A 93");
    QTest::newRow("only six type bits reach the wire")
        << 0u << 5u << 34u + 64u << QByteArray() << hex("91 89 01 05 00 E8 9A 93");
    QTest::newRow("payload 93 is stuffed, CRC over 93")
        << 0u << 5u << 34u << hex("93") << hex("91 89 01 05 00 94 D3 55 FC 93");
    QTest::newRow("all four marker values are stuffed")
        << 0u << 5u << 34u << hex("91929394")
        << hex("91 89 01 05 00 94 D1 94 D2 94 D3 94 D4 96 26 93");
    QTest::newRow("address byte is stuffed")
        << 0u << 0x92u << 34u << hex("AA") << hex("91 89 01 94 D2 00 AA 0F 2F 93");
    QTest::newRow("CRC byte is stuffed")
        << 0u << 5u << 34u << hex("14") << hex("91 89 01 05 00 14 B4 94 D3 93");
}

void TestBiSProtocol::queryBytes()
{
    QFETCH(unsigned, own);
    QFETCH(unsigned, destination);
    QFETCH(unsigned, type);
    QFETCH(QByteArray, payload);
    QFETCH(QByteArray, frame);
    BusNode master(BiSProtocol::Master, own);
    QVERIFY(master.sendBytes(payload, destination, type));
    QCOMPARE(master.sent.size(), 1);
    QCOMPARE(spaced(master.sent.at(0)), spaced(frame));
    QVERIFY(master.responsePending());
}

void TestBiSProtocol::sequenceCountsQueries()
{
    BusNode master(BiSProtocol::Master);
    for (int i = 0; i < 300; ++i) {
        master.sendBytes(QByteArray());
        master.dropPending();
    }
    QCOMPARE(master.sent.size(), 300);
    QCOMPARE(quint8(master.sent.at(0).at(2)), quint8(1));
    QCOMPARE(quint8(master.sent.at(254).at(2)), quint8(255));
    QCOMPARE(quint8(master.sent.at(255).at(2)), quint8(0));
    // 0x91..0x94 are stuffed like every body byte.
    QCOMPARE(spaced(master.sent.at(0x91 - 1).mid(2, 2)), QStringLiteral("94 D1"));
}

void TestBiSProtocol::answerBytes_data()
{
    QTest::addColumn<unsigned>("own");
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("answer echoes type and sequence, goes to the query's source")
        << 5u << referenceFrame(0x91, hex("89 07 05 00 01")) << referenceFrame(0x92, hex("89 07 00 05 0A"));
    QTest::newRow("query without addresses: answer without addresses")
        << 5u << referenceFrame(0x91, hex("88 07 01")) << referenceFrame(0x92, hex("88 07 0A"));
    QTest::newRow("width fits the addresses, not the query")
        << 5u << referenceFrame(0x91, hex("8A 07 05 00 00 00 01"))
        << referenceFrame(0x92, hex("89 07 00 05 0A"));
    QTest::newRow("slave takes any frame type")
        << 5u << referenceFrame(0x91, hex("15 09 05 00 01")) << referenceFrame(0x92, hex("15 09 00 05 0A"));
    QTest::newRow("source of 70000 widens the answer")
        << 5u << referenceFrame(0x91, hex("8B 07 05 00 00 00 70 11 01 00 01"))
        << referenceFrame(0x92, hex("8B 07 70 11 01 00 05 00 00 00 0A"));
}

void TestBiSProtocol::answerBytes()
{
    QFETCH(unsigned, own);
    QFETCH(QByteArray, query);
    QFETCH(QByteArray, answer);
    BusNode slave(BiSProtocol::Slave, own);
    slave.feed(query);
    QCOMPARE(slave.received.size(), 1);
    QVERIFY(slave.sendBytes(hex("0A"), 1234, 1)); // a slave ignores destination and type
    QCOMPARE(slave.sent.size(), 1);
    QCOMPARE(spaced(slave.sent.at(0)), spaced(answer));
    QVERIFY(!slave.responsePending());
}

void TestBiSProtocol::transmitBufferLimit_data()
{
    // Without addresses a frame is its payload plus 6 bytes (start, control,
    // sequence, two CRC bytes, end), and the buffer holds 1312.
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<bool>("sent");
    QTest::addColumn<int>("frameSize");
    QTest::newRow("1306 plain bytes fill the buffer") << QByteArray(1306, 0) << true << 1312;
    QTest::newRow("1307 plain bytes are refused") << QByteArray(1307, 0) << false << 0;
    QTest::newRow("653 stuffed bytes fill the buffer") << QByteArray(653, char(0x91)) << true << 1312;
    QTest::newRow("654 stuffed bytes are refused") << QByteArray(654, char(0x91)) << false << 0;
    QTest::newRow("a stuffed pair that does not fit") << QByteArray(1305, 0) + char(0x92) << false << 0;
}

void TestBiSProtocol::transmitBufferLimit()
{
    QFETCH(QByteArray, payload);
    QFETCH(bool, sent);
    QFETCH(int, frameSize);
    BusNode master(BiSProtocol::Master);
    QCOMPARE(master.sendBytes(payload), sent);
    QCOMPARE(master.sent.size(), sent ? 1 : 0);
    if (sent) {
        QCOMPARE(master.sent.at(0).size(), frameSize);
        QCOMPARE(master.sent.at(0), referenceFrame(0x91, hex("88 01") + payload));
    }
    // Nothing half-built is kept for retransmission.
    QCOMPARE(master.retransmit(), sent);
}

void TestBiSProtocol::transmitResultIsPassedOn()
{
    BusNode master(BiSProtocol::Master);
    master.transmitResult = false;
    QVERIFY(!master.sendBytes(hex("01")));
    QVERIFY(!master.retransmit());
    master.transmitResult = true;
    QVERIFY(master.retransmit());
    QCOMPARE(master.sent.size(), 3);
}

void TestBiSProtocol::receiveLimit_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("delivered");
    QTest::newRow("1310 payload bytes are accepted") << 1310 << true;
    QTest::newRow("1311 payload bytes are refused") << 1311 << false;
    QTest::newRow("2000 payload bytes are refused") << 2000 << false;
}

void TestBiSProtocol::receiveLimit()
{
    QFETCH(int, size);
    QFETCH(bool, delivered);
    QByteArray payload(size, 0);
    for (int i = 0; i < size; ++i)
        payload[i] = char(i);
    BusNode slave(BiSProtocol::Slave);
    slave.feed(referenceFrame(0x91, hex("88 01") + payload));
    QCOMPARE(slave.received.size(), delivered ? 1 : 0);
    if (delivered)
        QCOMPARE(slave.received.at(0).data, payload);
    // The receiver is ready for the next frame either way.
    slave.feed(referenceFrame(0x91, hex("88 02 AB")));
    QCOMPARE(slave.payloads().last(), QStringLiteral("AB"));
}

void TestBiSProtocol::slaveFilters_data()
{
    // A slave with own address 5 receives these bytes.
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("delivered");
    QTest::addColumn<unsigned>("src");

    QTest::newRow("good query")
        << referenceFrame(0x91, hex("89 01 05 09 0102")) << QStringList{"01 02"} << 9u;
    QTest::newRow("wrong destination")
        << referenceFrame(0x91, hex("89 01 06 09 0102")) << QStringList{} << 0u;
    QTest::newRow("bad CRC") << referenceFrame(0x91, hex("89 01 05 09 0102"), true) << QStringList{} << 0u;
    QTest::newRow("an answer is no query for a slave")
        << referenceFrame(0x92, hex("89 01 05 09 0102")) << QStringList{} << 0u;
    QTest::newRow("no addresses: any slave takes it")
        << referenceFrame(0x91, hex("88 01 0102")) << QStringList{"01 02"} << 0u;
    QTest::newRow("bytes before the start are ignored")
        << hex("00 41 93 94") + referenceFrame(0x91, hex("89 01 05 09 0102")) << QStringList{"01 02"} << 9u;
    QTest::newRow("two escapes swallow the next byte")
        << hex("91 89 01 05 09 94 94 41") + referenceFrame(0x91, hex("89 01 05 09 0102")).mid(5)
        << QStringList{"01 02"} << 9u;
    QTest::newRow("end before the addresses")
        << hex("91 89 01 05 93") << QStringList{} << 0u;
    QTest::newRow("frame cut by a new start marker")
        << hex("91 89 01 05 09 77 66") + referenceFrame(0x91, hex("89 02 05 09 0102"))
        << QStringList{"01 02"} << 9u;
    QTest::newRow("same query twice is delivered once")
        << referenceFrame(0x91, hex("89 01 05 09 0102")) + referenceFrame(0x91, hex("89 01 05 09 0102"))
        << QStringList{"01 02"} << 9u;
    QTest::newRow("same query from another source is new")
        << referenceFrame(0x91, hex("89 01 05 09 0102")) + referenceFrame(0x91, hex("89 01 05 0A 0102"))
        << QStringList{"01 02", "01 02"} << 10u;
    QTest::newRow("another sequence number is new")
        << referenceFrame(0x91, hex("89 01 05 09 0102")) + referenceFrame(0x91, hex("89 02 05 09 0102"))
        << QStringList{"01 02", "01 02"} << 9u;
    QTest::newRow("another frame type is new through its CRC")
        << referenceFrame(0x91, hex("89 01 05 09 0102")) + referenceFrame(0x91, hex("8D 01 05 09 0102"))
        << QStringList{"01 02", "01 02"} << 9u;
    QTest::newRow("shorter payload with the same start is new")
        << referenceFrame(0x91, hex("89 01 05 09 0102")) + referenceFrame(0x91, hex("89 01 05 09 01"))
        << QStringList{"01 02", "01"} << 9u;
}

void TestBiSProtocol::slaveFilters()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, delivered);
    QFETCH(unsigned, src);
    BusNode slave(BiSProtocol::Slave, 5);
    slave.feed(bytes);
    QCOMPARE(slave.payloads(), delivered);
    if (!delivered.isEmpty())
        QCOMPARE(slave.received.last().src, src);
    QVERIFY(slave.sent.isEmpty());
}

void TestBiSProtocol::masterFilters_data()
{
    // A master (own address 0) has sent one query to 5 with type 34 and
    // sequence 1 when these bytes arrive.
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("delivered");

    QTest::newRow("good answer") << referenceFrame(0x92, hex("89 01 00 05 0A")) << QStringList{"0A"};
    QTest::newRow("foreign source") << referenceFrame(0x92, hex("89 01 00 06 0A")) << QStringList{};
    QTest::newRow("wrong destination") << referenceFrame(0x92, hex("89 01 01 05 0A")) << QStringList{};
    QTest::newRow("foreign frame type") << referenceFrame(0x92, hex("8D 01 00 05 0A")) << QStringList{};
    QTest::newRow("another master's query") << referenceFrame(0x91, hex("89 01 00 05 0A")) << QStringList{};
    QTest::newRow("bad CRC") << referenceFrame(0x92, hex("89 01 00 05 0A"), true) << QStringList{};
    QTest::newRow("other sequence number is taken over")
        << referenceFrame(0x92, hex("89 07 00 05 0A")) << QStringList{"0A"};
    QTest::newRow("frame cut by a new start marker")
        << hex("92 89 01 00 05 0B") + referenceFrame(0x92, hex("89 01 00 05 0A")) << QStringList{"0A"};
    QTest::newRow("94 94 41: the 41 is discarded")
        << hex("92 89 01 00 05 94 94 41 0A") + referenceFrame(0x92, hex("89 01 00 05 0A")).mid(6)
        << QStringList{"0A"};
    // In one read or in two, an answer with no query pending is dropped.
    QTest::newRow("a second answer right behind the first")
        << referenceFrame(0x92, hex("89 01 00 05 0A")) + referenceFrame(0x92, hex("89 02 00 05 0B"))
        << QStringList{"0A"};
}

void TestBiSProtocol::masterFilters()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, delivered);
    BusNode master(BiSProtocol::Master);
    master.sendBytes(hex("01"), 5);
    master.feed(bytes);
    QCOMPARE(master.payloads(), delivered);
    QCOMPARE(master.responsePending(), delivered.isEmpty());
    if (!delivered.isEmpty()) {
        QCOMPARE(master.received.at(0).src, 5u);
        QCOMPARE(master.received.at(0).type, 34u);
        QVERIFY(!master.retransmit()); // the answered query is forgotten
    }
}

void TestBiSProtocol::masterWithNothingPendingIgnoresBytes()
{
    BusNode master(BiSProtocol::Master);
    master.feed(referenceFrame(0x92, hex("88 00 0A")));
    QVERIFY(master.received.isEmpty());

    // Not even the start of a frame is remembered for later.
    BusNode other(BiSProtocol::Master);
    const QByteArray answer = referenceFrame(0x92, hex("88 01 0A"));
    other.feed(answer.left(3));
    other.sendBytes(hex("01"));
    other.feed(answer.mid(3));
    QVERIFY(other.received.isEmpty());
}

void TestBiSProtocol::dropPending()
{
    BusNode master(BiSProtocol::Master);
    master.sendBytes(hex("01"), 5);
    const QByteArray answer = referenceFrame(0x92, hex("89 01 00 05 0A"));
    master.feed(answer.left(4));
    master.dropPending();
    QVERIFY(!master.responsePending());
    master.feed(answer.mid(4));
    master.feed(answer);
    QVERIFY(master.received.isEmpty());
    QVERIFY(master.retransmit()); // the query is still kept

    // The half-read answer was forgotten: after the next query only a whole
    // answer counts.
    master.sendBytes(hex("01"), 5);
    master.feed(answer.mid(4));
    QVERIFY(master.received.isEmpty());
    master.feed(referenceFrame(0x92, hex("89 02 00 05 0B")));
    QCOMPARE(master.payloads(), QStringList{"0B"});

    BusNode slave(BiSProtocol::Slave, 5);
    slave.feed(referenceFrame(0x91, hex("89 01 05 00")).left(4));
    slave.dropPending(); // no effect on a slave
    slave.feed(referenceFrame(0x91, hex("89 01 05 00")).mid(4));
    QCOMPARE(slave.received.size(), 1);
}

void TestBiSProtocol::retransmitOnlyInMaster()
{
    BusNode slave(BiSProtocol::Slave);
    slave.feed(referenceFrame(0x91, hex("88 01 01")));
    slave.sendBytes(hex("02"));
    QVERIFY(!slave.retransmit());
    QCOMPARE(slave.sent.size(), 1);

    BusNode master(BiSProtocol::Master);
    QVERIFY(!master.retransmit());
    master.sendBytes(hex("01"));
    QVERIFY(master.retransmit());
    QCOMPARE(master.sent.at(1), master.sent.at(0));
    master.setMode(BiSProtocol::Master);
    QVERIFY(!master.retransmit());
}

void TestBiSProtocol::reentrantReceiveIsDiscarded()
{
    BusNode slave(BiSProtocol::Slave);
    const QByteArray query = referenceFrame(0x91, hex("88 01 01"));
    slave.onData = [&](BusNode& node) {
        node.feed(referenceFrame(0x91, hex("88 02 02")));
        node.sendBytes(hex("AA"));
    };
    slave.feed(query);
    QCOMPARE(slave.payloads(), QStringList{"01"});
    QCOMPARE(slave.sent.size(), 1);
}

void TestBiSProtocol::chanceZeroCrcWithoutCheckBytesIsDropped()
{
    // Bodies without addresses that are too short to hold the two CRC bytes
    // but after which the register happens to be 0 all the same.
    QList<QByteArray> bodies;
    for (unsigned control = 0; control < 256; control += 4) {
        for (unsigned seq = 0; seq < 256; ++seq) {
            const unsigned reg = CRC::crc16(seq, CRC::crc16(control, 0xFFFF));
            const QByteArray two = QByteArray(1, char(control)) + char(seq);
            if (reg == 0)
                bodies << two;
            // A third byte c brings the register to 0 when the low byte of
            // reg equals the high byte of the table entry it selects.
            const quint16 entry = CRC::tableEntry(reg >> 8);
            if ((reg & 0xFF) == unsigned(entry >> 8))
                bodies << two + char(entry & 0xFF);
        }
    }
    QVERIFY(!bodies.isEmpty());
    for (const QByteArray& body : std::as_const(bodies)) {
        QCOMPARE(CRC::crc16(body.constData(), unsigned(body.size()), 0xFFFF), 0u);
        const QByteArray raw = stuffedFrame(0x91, body);
        BusNode slave(BiSProtocol::Slave);
        slave.feed(raw);
        QVERIFY2(slave.received.isEmpty(), qPrintable(spaced(raw)));
        slave.feed(referenceFrame(0x91, hex("88 01 0A")));
        QCOMPARE(slave.payloads(), QStringList{"0A"});
    }
}

void TestBiSProtocol::memdump_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("one full line")
        << QByteArray("0123456789ABCDEF")
        << QStringLiteral("0000: 30 31 32 33 34 35 36 37  38 39 41 42 43 44 45 46  0123456789ABCDEF\n");
    QTest::newRow("three bytes")
        << hex("41 00 7E")
        << QStringLiteral("0000: 41 00 7E") + QString(13 * 3 + 1, ' ') + QStringLiteral("  A.~\n");
    QTest::newRow("eight bytes")
        << hex("0102030405060708")
        << QStringLiteral("0000: 01 02 03 04 05 06 07 08") + QString(8 * 3 + 1, ' ')
               + QStringLiteral("  ........\n");
    QTest::newRow("nine bytes")
        << hex("202122232425262728")
        << QStringLiteral("0000: 20 21 22 23 24 25 26 27  28") + QString(7 * 3, ' ')
               + QStringLiteral("   !\"#$%&'(\n");
    QTest::newRow("full line and a short one, offsets from 0")
        << hex("7F80FF1F 20212223 24252627 28292A2B 2C")
        << QStringLiteral("0000: 7F 80 FF 1F 20 21 22 23  24 25 26 27 28 29 2A 2B  .... !\"#$%&'()*+\n"
                          "0010: 2C                                                ,\n");
    QTest::newRow("nothing") << QByteArray() << QString();
}

void TestBiSProtocol::memdump()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, text);
    BusNode node(BiSProtocol::Master);
    node.memdump(data.constData(), unsigned(data.size()));
    QCOMPARE(node.traced, text);
    // Every line has the text column at the same place.
    for (const QString& line : node.traced.split('\n', Qt::SkipEmptyParts))
        QCOMPARE(line.indexOf(QLatin1String("  "), 54), 54);
}

void TestBiSProtocol::traceLastData()
{
    BusNode master(BiSProtocol::Master);
    master.traceLastData();
    QCOMPARE(master.traced, QString());
    master.sendBytes(hex("0102"), 5);
    master.traceLastData();
    QCOMPARE(master.traced,
             QStringLiteral("LAST TRANSMITTED RAW FRAME:\n"
                            "0000: 91 89 01 05 00 01 02 A8  9B 93                    ..........\n"));
    // Once answered, there is nothing left to show.
    master.traced.clear();
    master.feed(referenceFrame(0x92, hex("89 01 00 05")));
    master.traceLastData();
    QCOMPARE(master.traced, QString());
}

void TestBiSProtocol::randomBytesStayInBounds_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("master") << int(BiSProtocol::Master);
    QTest::newRow("slave") << int(BiSProtocol::Slave);
}

// Four million bytes of line noise, marker storms, overlong runs and good
// frames mixed: the sanitizer build proves nothing is written past the
// buffers, and the good frames prove the receiver keeps finding its way.
void TestBiSProtocol::randomBytesStayInBounds()
{
    QFETCH(int, mode);
    const bool master = mode == BiSProtocol::Master;
    BusNode node(BiSProtocol::Mode(mode), master ? 0 : 5);
    QRandomGenerator rng(20261123u + unsigned(mode));
    // A master listens only while a query is pending.
    int delivered = 0;
    if (master)
        node.sendBytes(hex("01"), 5);
    node.onData = [&delivered, master](BusNode& n) {
        ++delivered;
        if (master)
            n.sendBytes(hex("01"), 5);
    };
    auto lastSequence = [&node]() -> char {
        const QByteArray& frame = node.sent.constLast();
        return quint8(frame.at(2)) == BiSProtocol::Escape ? char(frame.at(3) ^ 0x40) : frame.at(2);
    };
    auto randomByte = [&rng] { return char(rng.bounded(256)); };

    qint64 fed = 0;
    int goodFrames = 0;
    while (fed < 4000000) {
        QByteArray chunk;
        switch (rng.bounded(4)) {
        case 0: // a storm of markers and escapes
            for (int i = 0; i < 64; ++i)
                chunk.append(rng.bounded(2) ? char(0x91 + rng.bounded(4)) : randomByte());
            break;
        case 1: // a run longer than any frame, no marker to end it
            chunk.append(char(master ? BiSProtocol::AnswerStart : BiSProtocol::QueryStart));
            while (chunk.size() < 1500) {
                const char c = randomByte();
                if (quint8(c) < 0x91 || quint8(c) > 0x94)
                    chunk.append(c);
            }
            break;
        case 2: { // a good frame with a random payload
            QByteArray body;
            body.append(char(0x89));
            body.append(master ? lastSequence() : randomByte());
            body.append(char(master ? 0 : 5));
            body.append(char(master ? 5 : 0));
            const int size = int(rng.bounded(BiSProtocol::MaxPayload + 1));
            for (int i = 0; i < size; ++i)
                body.append(randomByte());
            chunk = referenceFrame(master ? BiSProtocol::AnswerStart : BiSProtocol::QueryStart, body);
            ++goodFrames;
            break;
        }
        default:
            for (int i = 0; i < 256; ++i)
                chunk.append(randomByte());
        }
        // Split at a random point: frames do not arrive whole.
        const int cut = int(rng.bounded(chunk.size() + 1));
        node.feed(chunk.left(cut));
        node.feed(chunk.mid(cut));
        fed += chunk.size();
        if (node.received.size() > 64)
            node.received.remove(0, 32);
        if (node.sent.size() > 64)
            node.sent.remove(0, 32);
    }
    QVERIFY(goodFrames > 1000);
    for (const BusNode::Block& block : std::as_const(node.received))
        QVERIFY(block.data.size() <= int(BiSProtocol::MaxPayload));
    // A good frame is lost only when the noise before it ends in an escape
    // pair, which swallows its start marker.
    QVERIFY2(delivered > goodFrames * 9 / 10, qPrintable(QStringLiteral("%1 of %2").arg(delivered).arg(goodFrames)));
}

QTEST_APPLESS_MAIN(TestBiSProtocol)
#include "tst_bisprotocol.moc"
