// SPDX-License-Identifier: MIT
#include "bis/bisframe.h"
#include "bis/bisframereader.h"
#include "tests/support/bisbus.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace korvtest;

namespace {

BiSFrame frame(const QByteArray& payload, quint32 dst = 0, quint32 src = 0, int seq = 1)
{
    BiSFrame f;
    f.payload = payload;
    f.destination = dst;
    f.source = src;
    f.sequence = seq;
    return f;
}

QList<BiSFrameReader::Result> readAll(BiSFrameReader& reader, const QByteArray& bytes, int chunk)
{
    QList<BiSFrameReader::Result> results;
    for (qsizetype at = 0; at < bytes.size(); at += chunk) {
        reader.append(QByteArrayView(bytes).sliced(at, qMin<qsizetype>(chunk, bytes.size() - at)));
        while (reader.hasResult())
            results.append(reader.takeResult());
    }
    return results;
}

} // namespace

class TestBiSFrame : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void encodesAsAMaster_data();
    void encodesAsAMaster();
    void slaveAcceptsAnswerOfItsOwn();
    void addressModes_data();
    void addressModes();
    void refusesWhatCannotTravel_data();
    void refusesWhatCannotTravel();
    void readsBackWhatItWrote_data();
    void readsBackWhatItWrote();
    void reportsProblems_data();
    void reportsProblems();
    void readOne_data();
    void readOne();
    void randomBytesTileTheStream();
};

void TestBiSFrame::encodesAsAMaster_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<quint32>("destination");
    QTest::addColumn<quint32>("own");
    QTest::addColumn<int>("type");
    QTest::newRow("no addresses") << hex("05 00 01 10 2A") << 0u << 0u << 34;
    QTest::newRow("one-byte addresses") << hex("01 02 03") << 5u << 0u << 34;
    QTest::newRow("two-byte addresses") << hex("AA") << 300u << 0u << 34;
    QTest::newRow("four-byte addresses") << hex("AA") << 70000u << 0u << 34;
    QTest::newRow("every marker in the payload is stuffed") << hex("91 92 93 94 00 D1") << 0x93u << 0u << 34;
    QTest::newRow("empty payload") << QByteArray() << 7u << 0u << 34;
    QTest::newRow("another type") << hex("10") << 7u << 0u << 5;
    // The master's buffer holds the frame stuffed: unstuffed bytes only.
    QTest::newRow("a long payload") << QByteArray(1290, 'x') << 1u << 0u << 34;
}

// The connection layer's framing, whose bytes are pinned in its own tests,
// as a second opinion.
void TestBiSFrame::encodesAsAMaster()
{
    QFETCH(QByteArray, payload);
    QFETCH(quint32, destination);
    QFETCH(quint32, own);
    QFETCH(int, type);
    BusNode master(BiSProtocol::Master, own);
    QVERIFY(master.sendBytes(payload, destination, unsigned(type)));
    BiSFrame f = frame(payload, destination, own, 1);
    f.type = type;
    QCOMPARE(spaced(f.encode()), spaced(master.sent.constLast()));
}

void TestBiSFrame::slaveAcceptsAnswerOfItsOwn()
{
    // A query built here reaches a slave of the connection layer, from a
    // master at 3 to the slave at 9.
    BusNode slave(BiSProtocol::Slave, 9);
    slave.feed(frame(hex("07 00 01 F0 03 00 01 20 01"), 9, 3, 4).encode());
    QCOMPARE(slave.payloads(), QStringList{"07 00 01 F0 03 00 01 20 01"});
    QCOMPARE(slave.received.constFirst().src, 3u);
}

void TestBiSFrame::addressModes_data()
{
    QTest::addColumn<quint32>("destination");
    QTest::addColumn<quint32>("source");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("effective");
    QTest::addColumn<int>("size");
    // start, control, sequence, addresses, payload of 1, CRC 2, end
    QTest::newRow("both 0: none") << 0u << 0u << -1 << 0 << 7;
    QTest::newRow("below 256: one byte each") << 255u << 1u << -1 << 1 << 9;
    QTest::newRow("source decides too") << 0u << 256u << -1 << 2 << 11;
    QTest::newRow("70000: four bytes each") << 70000u << 0u << -1 << 3 << 15;
    QTest::newRow("zeros may be sent wide") << 0u << 0u << 2 << 2 << 11;
}

void TestBiSFrame::addressModes()
{
    QFETCH(quint32, destination);
    QFETCH(quint32, source);
    QFETCH(int, mode);
    QFETCH(int, effective);
    QFETCH(int, size);
    BiSFrame f = frame(hex("01"), destination, source, 2);
    f.addressMode = mode;
    QCOMPARE(f.effectiveAddressMode(), effective);
    const QByteArray bytes = f.encode();
    QCOMPARE(int(bytes.size()), size);
    QCOMPARE(quint8(bytes.at(1)) & 3, effective);
}

void TestBiSFrame::refusesWhatCannotTravel_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("sequence");
    QTest::addColumn<int>("mode");
    QTest::addColumn<quint32>("destination");
    QTest::addColumn<int>("payload");
    QTest::addColumn<QString>("error");
    QTest::newRow("type past 63") << 64 << 0 << -1 << 0u << 1 << "frame type 64 is not within 0..63";
    QTest::newRow("negative type") << -1 << 0 << -1 << 0u << 1 << "frame type -1 is not within 0..63";
    QTest::newRow("sequence past 255") << 34 << 256 << -1 << 0u << 1 << "sequence number 256 is not within 0..255";
    QTest::newRow("address wider than the mode") << 34 << 0 << 1 << 256u << 1 << "addresses 256 and 0 do not fit in 1 byte(s)";
    QTest::newRow("no such mode") << 34 << 0 << 4 << 0u << 1 << "address mode 4 is not 0, 1, 2 or 3";
    QTest::newRow("payload too long") << 34 << 0 << -1 << 0u << BiSFrame::MaxPayload + 1
                                      << "a payload of 1311 bytes is longer than the 1310 a frame holds";
}

void TestBiSFrame::refusesWhatCannotTravel()
{
    QFETCH(int, type);
    QFETCH(int, sequence);
    QFETCH(int, mode);
    QFETCH(quint32, destination);
    QFETCH(int, payload);
    QFETCH(QString, error);
    BiSFrame f = frame(QByteArray(payload, 'x'), destination, 0, sequence);
    f.type = type;
    f.addressMode = mode;
    QString text;
    QVERIFY(f.encode(&text).isEmpty());
    QCOMPARE(text, error);
}

void TestBiSFrame::readsBackWhatItWrote_data()
{
    QTest::addColumn<int>("chunk");
    QTest::newRow("byte by byte") << 1;
    QTest::newRow("in threes") << 3;
    QTest::newRow("all at once") << 100000;
}

void TestBiSFrame::readsBackWhatItWrote()
{
    QFETCH(int, chunk);
    QList<BiSFrame> frames;
    frames << frame(hex("01 02"), 5, 0, 1);
    BiSFrame answer = frame(hex("93 94"), 0, 5, 1);
    answer.kind = BiSFrame::Answer;
    frames << answer;
    frames << frame(QByteArray(BiSFrame::MaxPayload, '\x92'), 70000, 3, 255);
    frames << frame(QByteArray(), 0, 0, 0);
    QByteArray stream;
    for (const BiSFrame& f : frames)
        stream += f.encode();
    BiSFrameReader reader;
    const QList<BiSFrameReader::Result> results = readAll(reader, stream, chunk);
    QCOMPARE(results.size(), frames.size());
    qint64 offset = 0;
    for (int i = 0; i < frames.size(); ++i) {
        QVERIFY2(results.at(i).ok, qPrintable(results.at(i).error));
        QVERIFY(results.at(i).frame == frames.at(i));
        QCOMPARE(results.at(i).offset, offset);
        offset += frames.at(i).encode().size();
    }
    QCOMPARE(reader.position(), stream.size());
}

void TestBiSFrame::reportsProblems_data()
{
    const QByteArray good = frame(hex("01 02"), 5, 0, 1).encode();
    QByteArray badCrc = good;
    badCrc[7] = char(badCrc[7] ^ 0x01);
    const QByteArray overlong = frame(QByteArray(BiSFrame::MaxPayload, 'a')).encode().insert(5, "bb");

    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("noise before a frame")
        << hex("41 42 43") + good << QStringList{"0: 3 bytes outside a frame", "3: ok"};
    QTest::newRow("a lone end marker is noise") << hex("93") + good << QStringList{"0: 1 byte outside a frame", "1: ok"};
    QTest::newRow("bad CRC, then the next frame")
        << badCrc + good
        << QStringList{QStringLiteral("0: bad CRC %1, expected %2")
                           .arg(QString::fromLatin1(badCrc.mid(7, 2).toHex().toUpper()),
                                QString::fromLatin1(good.mid(7, 2).toHex().toUpper())),
                       QStringLiteral("%1: ok").arg(badCrc.size())};
    QTest::newRow("cut short by the next start marker")
        << good.left(5) + good << QStringList{"0: frame cut short by the next start marker", "5: ok"};
    QTest::newRow("too short for its CRC") << hex("91 88 01 05 93") + good
                                           << QStringList{"0: frame too short for its header and CRC", "5: ok"};
    QTest::newRow("overlong, the rest is noise")
        << overlong + good
        << QStringList{"0: frame longer than 1310 bytes of payload",
                       QStringLiteral("1315: %1 bytes outside a frame").arg(overlong.size() - 1315), QStringLiteral("%1: ok").arg(overlong.size())};
    QTest::newRow("two escapes swallow the next byte")
        << hex("91 88 01 94 94 41") + frame(QByteArray(), 0, 0, 1).encode().mid(3)
        << QStringList{"0: ok"};
}

void TestBiSFrame::reportsProblems()
{
    QFETCH(QByteArray, stream);
    QFETCH(QStringList, expected);
    BiSFrameReader reader;
    QStringList seen;
    for (const BiSFrameReader::Result& r : readAll(reader, stream, int(stream.size())))
        seen << QStringLiteral("%1: %2").arg(r.offset).arg(r.ok ? QStringLiteral("ok") : r.error);
    QCOMPARE(seen, expected);
}

void TestBiSFrame::readOne_data()
{
    const QByteArray good = frame(hex("01 02"), 5, 0, 1).encode();
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("error");
    QTest::newRow("one frame") << good << QString();
    QTest::newRow("nothing") << QByteArray() << "no bytes";
    QTest::newRow("no end marker") << good.chopped(1) << "the frame has no end marker";
    QTest::newRow("something after it") << good + "xy" << "2 bytes after the frame";
    QTest::newRow("noise first") << "x" + good << "byte 0: 1 byte outside a frame";
}

void TestBiSFrame::readOne()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, error);
    BiSFrame f;
    QString text;
    QCOMPARE(BiSFrameReader::readOne(bytes, &f, &text), error.isEmpty());
    QCOMPARE(text, error);
    if (error.isEmpty())
        QVERIFY(f == frame(hex("01 02"), 5, 0, 1));
}

void TestBiSFrame::randomBytesTileTheStream()
{
    // Garbage with markers made likely, and frames in it: every result lies
    // after the one before it and inside what was read, and a good frame
    // found in it encodes to bytes that read back as the same frame.
    QRandomGenerator random(29);
    BiSFrameReader reader;
    qint64 end = 0;
    int good = 0;
    for (int round = 0; round < 2000; ++round) {
        QByteArray chunk(int(random.bounded(1, 200)), Qt::Uninitialized);
        for (char& c : chunk)
            c = char(random.bounded(8) == 0 ? 0x91 + random.bounded(4) : random.bounded(256));
        // Now and then a real frame, which the garbage before it may spoil.
        if (round % 5 == 0)
            chunk += frame(chunk.left(int(random.bounded(40))), random.bounded(300u), 0, round % 256).encode();
        reader.append(chunk);
        while (reader.hasResult()) {
            const BiSFrameReader::Result r = reader.takeResult();
            QVERIFY(r.offset >= end);
            QVERIFY(r.size > 0);
            end = r.offset + r.size;
            QVERIFY(end <= reader.position());
            if (r.ok) {
                ++good;
                BiSFrame again;
                QString error;
                QVERIFY2(BiSFrameReader::readOne(r.frame.encode(), &again, &error), qPrintable(error));
                QVERIFY(again == r.frame);
            }
        }
    }
    QVERIFY(good > 0);
}

QTEST_APPLESS_MAIN(TestBiSFrame)
#include "tst_bisframe.moc"
