// SPDX-License-Identifier: MIT
#include "qrv16/ipv4.h"
#include "qrv16/numbers.h"

#include <QtTest>

class TestValues : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ipv4FromString_data();
    void ipv4FromString();
    void netmask_data();
    void netmask();
    void decodeString_data();
    void decodeString();
    void cton_data();
    void cton();
    void atoi_data();
    void atoi();
    void toNumber_data();
    void toNumber();
};

void TestValues::ipv4FromString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("dotted");
    QTest::newRow("dotted quad") << "192.168.0.1" << true << "192.168.0.1";
    QTest::newRow("two parts") << "10.1" << true << "10.0.0.1";
    QTest::newRow("three parts") << "172.16.258" << true << "172.16.1.2";
    QTest::newRow("one number") << "3232235521" << true << "192.168.0.1";
    QTest::newRow("hex part") << "0x7f.1" << true << "127.0.0.1";
    QTest::newRow("octal part") << "010.0.0.1" << true << "8.0.0.1";
    QTest::newRow("zero") << "0.0.0.0" << true << "0.0.0.0";
    QTest::newRow("octet too big") << "256.1.1.1" << false << "";
    QTest::newRow("letters") << "host" << false << "";
    QTest::newRow("empty") << "" << false << "";
    QTest::newRow("five parts") << "1.2.3.4.5" << false << "";
}

void TestValues::ipv4FromString()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(QString, dotted);
    // On failure the QString form keeps the address, the C string form clears it.
    IPv4 a(0x01020304);
    QCOMPARE(a.fromString(text), ok);
    IPv4 b(0x01020304);
    QCOMPARE(b.fromString(text.toLatin1().constData()), ok);
    if (!ok) {
        QCOMPARE(a.toString(), QStringLiteral("1.2.3.4"));
        QCOMPARE(b.toInt(), 0u);
    } else {
        QCOMPARE(a.toString(), dotted);
        QCOMPARE(b.toString(), dotted);
        IPv4 back;
        QVERIFY(back.fromString(a.toString()));
        QCOMPARE(back, a);
        // Four bytes in network order, and back.
        unsigned char bytes[4] = {};
        a.toBinary(bytes);
        QCOMPARE(bytes[0], a.toInt() >> 24);
        QCOMPARE(bytes[3], a.toInt() & 0xFF);
        QVERIFY(back.fromBinary(bytes));
        QCOMPARE(back, a);
        QVERIFY(!back.fromBinary(nullptr));
        QCOMPARE(back, a);
    }
}

void TestValues::netmask_data()
{
    QTest::addColumn<int>("bits"); // -1: a mask not made from a count
    QTest::addColumn<QString>("mask");
    QTest::addColumn<int>("counted"); // what the mask counts, -1 for no netmask
    QTest::newRow("none") << 0 << "0.0.0.0" << -1;
    QTest::newRow("too short to count") << 7 << "254.0.0.0" << -1;
    QTest::newRow("shortest counted") << 8 << "255.0.0.0" << 8;
    QTest::newRow("class c") << 24 << "255.255.255.0" << 24;
    QTest::newRow("odd") << 27 << "255.255.255.224" << 27;
    QTest::newRow("all") << 32 << "255.255.255.255" << 32;
    QTest::newRow("too many clears") << 33 << "0.0.0.0" << -1;
    QTest::newRow("hole") << -1 << "255.0.255.0" << -1;
    QTest::newRow("not left aligned") << -1 << "0.0.0.255" << -1;
}

void TestValues::netmask()
{
    QFETCH(int, bits);
    QFETCH(QString, mask);
    QFETCH(int, counted);
    IPv4 m(0x12345678);
    if (bits >= 0) {
        QCOMPARE(m.fromNetmaskBits(uint(bits)), bits <= 32);
        QCOMPARE(m.toString(), mask);
    } else {
        QVERIFY(m.fromString(mask));
    }
    QCOMPARE(m.netmaskBits(), counted);
}

void TestValues::decodeString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("netmask");
    QTest::newRow("class a") << "10.0.0.1" << true << "10.0.0.1" << "255.0.0.0";
    QTest::newRow("class b") << "172.16.1.1" << true << "172.16.1.1" << "255.255.0.0";
    QTest::newRow("class c") << "192.168.1.1" << true << "192.168.1.1" << "255.255.255.0";
    QTest::newRow("class d fails") << "224.0.0.1" << false << "" << "";
    QTest::newRow("prefix") << "192.168.1.1/20" << true << "192.168.1.1" << "255.255.240.0";
    QTest::newRow("prefix 8") << "10.1.2.3/8" << true << "10.1.2.3" << "255.0.0.0";
    QTest::newRow("prefix 32") << "10.1.2.3/32" << true << "10.1.2.3" << "255.255.255.255";
    QTest::newRow("prefix 7 fails") << "192.168.1.1/7" << false << "" << "";
    QTest::newRow("dotted mask") << "192.168.1.1/255.255.255.0" << true << "192.168.1.1"
                                 << "255.255.255.0";
    QTest::newRow("holey mask fails") << "192.168.1.1/255.0.255.0" << false << "" << "";
    QTest::newRow("bad address") << "x/24" << false << "" << "";
    QTest::newRow("bad mask") << "10.0.0.1/x" << false << "" << "";
    QTest::newRow("empty") << "" << false << "" << "";
}

void TestValues::decodeString()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(QString, address);
    QFETCH(QString, netmask);
    IPv4 a, m;
    QCOMPARE(IPv4::decodeString(text, &a, &m), ok);
    if (ok) {
        QCOMPARE(a.toString(), address);
        QCOMPARE(m.toString(), netmask);
    }
}

void TestValues::cton_data()
{
    QTest::addColumn<int>("c");
    QTest::addColumn<int>("value");
    QTest::newRow("0") << int('0') << 0;
    QTest::newRow("9") << int('9') << 9;
    QTest::newRow("A") << int('A') << 10;
    QTest::newRow("z") << int('z') << 35;
    QTest::newRow("Z") << int('Z') << 35;
    QTest::newRow("space") << int(' ') << -1;
    QTest::newRow("slash before 0") << int('/') << -1;
    QTest::newRow("at before A") << int('@') << -1;
    QTest::newRow("high byte") << 0xE4 << -1;
}

void TestValues::cton()
{
    QFETCH(int, c);
    QFETCH(int, value);
    QCOMPARE(Numbers::cton(c), value);
}

void TestValues::atoi_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<uint>("length");
    QTest::addColumn<uint>("base");
    QTest::addColumn<uint>("value");
    QTest::newRow("hex") << QByteArray("7F") << 2u << 16u << 127u;
    QTest::newRow("length limits") << QByteArray("7FFF") << 2u << 16u << 127u;
    QTest::newRow("octal digit too big") << QByteArray("8") << 1u << 8u << 0xFFFFFFFFu;
    QTest::newRow("empty is zero") << QByteArray("9") << 0u << 10u << 0u;
    QTest::newRow("sign refused") << QByteArray("-1") << 2u << 10u << 0xFFFFFFFFu;
    QTest::newRow("base 36") << QByteArray("zz") << 2u << 36u << 1295u;
    QTest::newRow("wraps") << QByteArray("100000000") << 9u << 16u << 0u;
}

void TestValues::atoi()
{
    QFETCH(QByteArray, text);
    QFETCH(uint, length);
    QFETCH(uint, base);
    QFETCH(uint, value);
    QCOMPARE(Numbers::atoi(text.constData(), length, base), value);
    QCOMPARE(Numbers::atoi(nullptr, length, base), 0xFFFFFFFFu);
}

void TestValues::toNumber_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<qlonglong>("value");
    QTest::newRow("empty") << 32 << "" << true << 0ll;
    QTest::newRow("decimal") << 32 << "1234" << true << 1234ll;
    QTest::newRow("leading zero is decimal") << 32 << "010" << true << 10ll;
    QTest::newRow("plus") << 32 << "+7" << true << 7ll;
    QTest::newRow("minus hex") << 32 << "-0x10" << true << -16ll;
    QTest::newRow("upper X") << 32 << "0XfF" << true << 255ll;
    QTest::newRow("binary") << 32 << "0b101" << true << 5ll;
    QTest::newRow("upper B refused") << 32 << "0B1" << false << 0ll;
    QTest::newRow("binary digit 2") << 32 << "0b12" << false << 0ll;
    QTest::newRow("bare prefix") << 32 << "0x" << true << 0ll;
    QTest::newRow("bare minus binary") << 32 << "-0b" << true << 0ll;
    QTest::newRow("bare sign") << 32 << "-" << true << 0ll;
    QTest::newRow("trailing letter") << 32 << "12a" << false << 0ll;
    QTest::newRow("inner blank") << 32 << "1 2" << false << 0ll;
    QTest::newRow("wraps at 32 bits") << 32 << "0x100000001" << true << 1ll;
    QTest::newRow("all ones") << 32 << "0xFFFFFFFF" << true << -1ll;
    QTest::newRow("lone zero") << 32 << "0" << true << 0ll;
    QTest::newRow("64: beyond 32 bits") << 64 << "0x100000001" << true << 0x100000001ll;
    QTest::newRow("64: negative big") << 64 << "-4294967296" << true << -4294967296ll;
    QTest::newRow("64: all ones") << 64 << "0xFFFFFFFFFFFFFFFF" << true << -1ll;
    QTest::newRow("64: binary") << 64 << "0b11111111111111111111111111111111111" << true
                                << 0x7FFFFFFFFll;
    QTest::newRow("64: bad") << 64 << "0xG" << false << 0ll;
}

void TestValues::toNumber()
{
    // Each width from a QString and from bytes.
    QFETCH(int, bits);
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(qlonglong, value);
    const QByteArray bytes = text.toUtf8();
    for (int form = 0; form < 2; ++form) {
        bool got = !ok;
        qlonglong v = 0;
        if (bits == 32)
            v = form ? Numbers::to32(bytes.constData(), uint(bytes.size()), &got)
                     : Numbers::to32(text, &got);
        else
            v = form ? Numbers::to64(bytes, &got) : Numbers::to64(text, &got);
        QCOMPARE(v, value);
        QCOMPARE(got, ok);
    }
}

QTEST_APPLESS_MAIN(TestValues)
#include "tst_values.moc"
