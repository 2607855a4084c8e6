// SPDX-License-Identifier: MIT
#include "bis/crc.h"
#include "tests/support/bisbus.h"

#include <QtTest>

namespace {

// The check value as a sender computes it: two zero bytes shifted in last.
unsigned augmented(const QByteArray& data)
{
    const unsigned reg = CRC::crc16(data.constData(), unsigned(data.size()), 0xFFFF);
    return CRC::crc16(0, CRC::crc16(0, reg));
}

} // namespace

class TestCrc : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void checkValues_data();
    void checkValues();
    void tableEntries();
    void rangeEqualsBytes();
    void goodFrameLeavesZero_data();
    void goodFrameLeavesZero();
};

void TestCrc::checkValues_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<unsigned>("crc");
    QTest::newRow("nine digits give the published check value") << QByteArray("123456789") << 0xE5CCu;
    QTest::newRow("nothing gives the start value") << QByteArray() << 0x1D0Fu;
    QTest::newRow("one letter") << QByteArray("A") << 0x9479u;
    QTest::newRow("256 letters") << QByteArray(256, 'A') << 0xE938u;
}

void TestCrc::checkValues()
{
    QFETCH(QByteArray, data);
    QFETCH(unsigned, crc);
    QCOMPARE(augmented(data), crc);
}

void TestCrc::tableEntries()
{
    // Each entry is its index shifted through the polynomial bit by bit.
    for (unsigned index = 0; index < 256; ++index) {
        unsigned entry = index << 8;
        for (int bit = 0; bit < 8; ++bit)
            entry = ((entry & 0x8000) ? ((entry << 1) ^ 0x1021) : (entry << 1)) & 0xFFFF;
        QCOMPARE(unsigned(CRC::tableEntry(index)), entry);
    }
    QCOMPARE(unsigned(CRC::tableEntry(256)), 0u);
}

void TestCrc::rangeEqualsBytes()
{
    QByteArray data;
    for (int i = 0; i < 300; ++i)
        data.append(char(i * 37 + 11));
    unsigned reg = 0xFFFF;
    for (char c : std::as_const(data))
        reg = CRC::crc16(quint8(c), reg);
    QCOMPARE(CRC::crc16(data.constData(), unsigned(data.size()), 0xFFFF), reg);
    QCOMPARE(augmented(data), unsigned(korvtest::referenceCrc(data)));
    QCOMPARE(CRC::crc16(nullptr, 0, 0x1234), 0x1234u);
}

void TestCrc::goodFrameLeavesZero_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("control and sequence only") << QByteArray::fromHex("8801");
    QTest::newRow("addressed query") << QByteArray::fromHex("89010500 0102");
    QTest::newRow("bytes that are stuffed on the wire") << QByteArray::fromHex("89010500 91929394");
    QTest::newRow("long payload") << QByteArray(1310, char(0x5A));
}

void TestCrc::goodFrameLeavesZero()
{
    QFETCH(QByteArray, body);
    const unsigned crc = augmented(body);
    QCOMPARE(crc, unsigned(korvtest::referenceCrc(body)));
    QByteArray frame = body;
    frame.append(char(crc >> 8));
    frame.append(char(crc & 0xFF));
    QCOMPARE(CRC::crc16(frame.constData(), unsigned(frame.size()), 0xFFFF), 0u);
}

QTEST_APPLESS_MAIN(TestCrc)
#include "tst_crc.moc"
