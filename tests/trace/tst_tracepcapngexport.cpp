// SPDX-License-Identifier: MIT
#include "qrv16/message.h"
#include "qrv16/pcapngwriter.h"
#include "trace/tracemodel.h"
#include "trace/tracepcapngexport.h"
#include "tests/support/pcapngreader.h"
#include "tests/support/timezone.h"

#include <QBuffer>
#include <QtTest>

#include <optional>

using QRV16::PcapngWriter;

class TestTracePcapngExport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data() { addZoneRows(); }
    void init()
    {
        QFETCH_GLOBAL(QByteArray, zone);
        m_zone.emplace(zone);
    }
    void cleanup() { m_zone.reset(); }
    void traffic_data();
    void traffic();
    void unwritable();

private:
    std::optional<LocalZone> m_zone;
};

void TestTracePcapngExport::traffic_data()
{
    QTest::addColumn<int>("color");
    QTest::addColumn<bool>("message"); // a message line, else a text line
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("src");
    QTest::addColumn<int>("dst");
    QTest::addColumn<QByteArray>("header"); // empty: no packet
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("comment");

    const QByteArray msg = QByteArray::fromHex("0700 01f0 0300 0120 01");
    QTest::newRow("message received on 1 with addresses")
        << int(ColorMessageRx1) << true << QString() << 5 << 0
        << QByteArray::fromHex("01 00 00 01 00000005 00000000") << msg
        << "channel 1, received, message, src 5, dst 0";
    QTest::newRow("message sent on 2")
        << int(ColorMessageTx2) << true << QString() << -1 << -1
        << QByteArray::fromHex("01 00 01 02 ffffffff ffffffff") << msg << "channel 2, sent, message";
    QTest::newRow("raw bytes received on 2")
        << int(ColorRawRx2) << false << "7E 01 02 FF" << -1 << -1
        << QByteArray::fromHex("01 01 00 02 ffffffff ffffffff") << QByteArray::fromHex("7e0102ff")
        << "channel 2, received, raw bytes";
    QTest::newRow("raw bytes sent on 1")
        << int(ColorRawTx1) << false << "00" << -1 << -1
        << QByteArray::fromHex("01 01 01 01 ffffffff ffffffff") << QByteArray(1, '\0')
        << "channel 1, sent, raw bytes";
    QTest::newRow("hex dump is left out") << int(ColorHexRx1) << false << "0000: 07 00 01 F0" << -1
                                          << -1 << QByteArray() << QByteArray() << QString();
    QTest::newRow("text is left out") << int(ColorText) << false << "Connected" << -1 << -1
                                      << QByteArray() << QByteArray() << QString();
    QTest::newRow("error is left out") << int(ColorError) << false << "Bad CRC" << -1 << -1
                                       << QByteArray() << QByteArray() << QString();
}

void TestTracePcapngExport::traffic()
{
    QFETCH(int, color);
    QFETCH(bool, message);
    QFETCH(QString, text);
    QFETCH(int, src);
    QFETCH(int, dst);
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, data);
    QFETCH(QString, comment);

    TraceModel model;
    // Local, as the channels stamp their lines.
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(1700000000250);
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    model.appendSeparator();
    if (message)
        model.append(QStringLiteral("1"), QRV16::Message(data), StyleColor(color), time, src, dst);
    else
        model.append(QStringLiteral("1"), text, StyleColor(color));
    model.appendSeparator();

    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QString error;
    const int count = TracePcapngExport::write(&model, &buffer, &error);
    QCOMPARE(count, header.isEmpty() ? 0 : 1);
    const QList<PcapngReader::Packet> packets = PcapngReader::readPackets(buffer.data(), &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(packets.size(), count);
    if (!count)
        return;
    QCOMPARE(packets[0].data.left(PcapngWriter::HeaderSize), header);
    QCOMPARE(packets[0].data.mid(PcapngWriter::HeaderSize), data);
    QCOMPARE(packets[0].comment, comment);
    if (message)
        QCOMPARE(packets[0].usecs, 1700000000250000ull);
    else
        // Text lines get the time they were added.
        QVERIFY(packets[0].usecs >= quint64(before) * 1000 &&
                packets[0].usecs <= quint64(QDateTime::currentMSecsSinceEpoch()) * 1000);
}

void TestTracePcapngExport::unwritable()
{
    TraceModel model;
    QBuffer buffer;
    QString error;
    QCOMPARE(TracePcapngExport::write(&model, &buffer, &error), -1);
    QVERIFY(!error.isEmpty());
}

QTEST_MAIN(TestTracePcapngExport)
#include "tst_tracepcapngexport.moc"
