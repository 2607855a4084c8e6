// SPDX-License-Identifier: MIT
#include "qrv16/pcapngwriter.h"
#include "tests/support/pcapngreader.h"

#include <QBuffer>
#include <QtEndian>
#include <QtTest>

using QRV16::PcapngWriter;
using namespace PcapngReader;

class TestPcapngWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packet_data();
    void packet();
    void notWritable();
};

void TestPcapngWriter::packet_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("kind");
    QTest::addColumn<quint32>("source");
    QTest::addColumn<quint32>("destination");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<quint64>("usecs");
    QTest::addColumn<QString>("comment");

    const QDateTime t = QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC);
    const quint64 us = 1700000000123000ull;
    const quint32 none = PcapngWriter::NoAddress;
    // Lengths 0 to 4 cover every padding of the packet data.
    QTest::newRow("message sent, no addresses")
        << 1 << 1 << 0 << none << none << QByteArray::fromHex("0700 01f0 0300 0120 01") << t << us
        << "channel 1, sent, message";
    QTest::newRow("message received with addresses")
        << 2 << 0 << 0 << 5u << 0u << QByteArray::fromHex("0400 0110 05") << t << us
        << "channel 2, received, message, src 5, dst 0";
    QTest::newRow("large addresses big-endian")
        << 1 << 0 << 0 << 0x01020304u << 0xFFFFFFFEu << QByteArray("ab") << t << us
        << "channel 1, received, message, src 16909060, dst 4294967294";
    QTest::newRow("raw bytes, empty") << 2 << 1 << 1 << none << none << QByteArray() << t << us
                                      << "channel 2, sent, raw bytes";
    QTest::newRow("raw bytes, one") << 1 << 0 << 1 << none << none << QByteArray("\x7e", 1) << t
                                    << us << "channel 1, received, raw bytes";
    QTest::newRow("raw bytes, three") << 1 << 0 << 1 << none << none << QByteArray("xyz") << t << us
                                      << "channel 1, received, raw bytes";
    QTest::newRow("raw bytes, four") << 1 << 0 << 1 << none << none << QByteArray("wxyz") << t << us
                                     << "channel 1, received, raw bytes";
    QTest::newRow("no time is the epoch") << 1 << 0 << 0 << none << none << QByteArray("m")
                                          << QDateTime() << quint64(0) << "channel 1, received, message";
    QTest::newRow("before 1970 is the epoch")
        << 1 << 0 << 0 << none << none << QByteArray("m")
        << QDateTime(QDate(1969, 12, 31), QTime(12, 0), Qt::UTC) << quint64(0)
        << "channel 1, received, message";
}

void TestPcapngWriter::packet()
{
    QFETCH(int, channel);
    QFETCH(int, direction);
    QFETCH(int, kind);
    QFETCH(quint32, source);
    QFETCH(quint32, destination);
    QFETCH(QByteArray, data);
    QFETCH(QDateTime, time);
    QFETCH(quint64, usecs);
    QFETCH(QString, comment);

    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    PcapngWriter writer;
    QVERIFY(writer.begin(&buffer, QStringLiteral("korvgui 1.2.3")));
    PcapngWriter::Packet p;
    p.time = time;
    p.channel = channel;
    p.direction = PcapngWriter::Direction(direction);
    p.kind = PcapngWriter::Kind(kind);
    p.source = source;
    p.destination = destination;
    p.data = data;
    QVERIFY(writer.write(p));
    QVERIFY(writer.write(p)); // a second packet follows the first cleanly

    QString error;
    const QList<Block> blocks = readBlocks(buffer.data(), &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(blocks.size(), 4);
    // The section header names the program; one interface of its own link type.
    QCOMPARE(blocks[0].type, 0x0A0D0D0Au);
    const QByteArray& shb = blocks[0].body;
    QCOMPARE(qFromLittleEndian<quint32>(shb.constData()), 0x1A2B3C4Du);
    QCOMPARE(qFromLittleEndian<quint16>(shb.constData() + 4), quint16(1));
    QCOMPARE(qFromLittleEndian<qint64>(shb.constData() + 8), qint64(-1));
    QCOMPARE(readOptions(shb, 16).value(4), QByteArray("korvgui 1.2.3"));
    QCOMPARE(blocks[1].type, 1u);
    QCOMPARE(qFromLittleEndian<quint16>(blocks[1].body.constData()), quint16(147));
    QCOMPARE(readOptions(blocks[1].body, 8).value(9), QByteArray(1, 6));
    QCOMPARE(blocks[2].type, 6u);
    QCOMPARE(blocks[3].body, blocks[2].body);

    const QByteArray& epb = blocks[2].body;
    QCOMPARE(qFromLittleEndian<quint32>(epb.constData()), 0u);
    const quint64 stamp = quint64(qFromLittleEndian<quint32>(epb.constData() + 4)) << 32 |
                          qFromLittleEndian<quint32>(epb.constData() + 8);
    QCOMPARE(stamp, usecs);
    const quint32 captured = qFromLittleEndian<quint32>(epb.constData() + 12);
    QCOMPARE(captured, quint32(PcapngWriter::HeaderSize + data.size()));
    QCOMPARE(qFromLittleEndian<quint32>(epb.constData() + 16), captured);

    const QByteArray packetData = epb.mid(20, captured);
    QCOMPARE(packetData.at(0), char(1));
    QCOMPARE(packetData.at(1), char(kind));
    QCOMPARE(packetData.at(2), char(direction));
    QCOMPARE(packetData.at(3), char(channel));
    QCOMPARE(qFromBigEndian<quint32>(packetData.constData() + 4), source);
    QCOMPARE(qFromBigEndian<quint32>(packetData.constData() + 8), destination);
    QCOMPARE(packetData.mid(PcapngWriter::HeaderSize), data);

    const auto options = readOptions(epb, 20 + ((captured + 3) & ~3u));
    QCOMPARE(QString::fromUtf8(options.value(1)), comment);
}

void TestPcapngWriter::notWritable()
{
    PcapngWriter unstarted;
    QVERIFY(!unstarted.write(PcapngWriter::Packet()));
    QVERIFY(!unstarted.errorString().isEmpty());

    QBuffer buffer;
    buffer.open(QIODevice::ReadOnly);
    PcapngWriter writer;
    QVERIFY(!writer.begin(&buffer, QStringLiteral("test")));
    QVERIFY(!writer.errorString().isEmpty());
    QVERIFY(!writer.begin(nullptr, QStringLiteral("test")));
    QVERIFY(!writer.write(PcapngWriter::Packet()));
}

QTEST_GUILESS_MAIN(TestPcapngWriter)
#include "tst_pcapngwriter.moc"
