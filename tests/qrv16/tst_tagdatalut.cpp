#include "textfixture.h"

using namespace QRV16;

class TestTagDataLut : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void tags_data();
    void tags();
    void enumNames_data();
    void enumNames();
    void enumNumbers_data();
    void enumNumbers();
    void bits_data();
    void bits();
    void snapshotOutlivesTree();
    void invalidItemsLeftOut();

private:
    Fixture f;
};

void TestTagDataLut::tags_data()
{
    QTest::addColumn<uint>("code");
    QTest::addColumn<QString>("name");
    QTest::newRow("defined") << 0x1001u << "Count";
    QTest::newRow("nested") << 0xF001u << "Status";
    QTest::newRow("undefined prints hex") << 0x1A05u << "0x1A05";
    QTest::newRow("undefined small") << 0x0005u << "0x0005";
}

void TestTagDataLut::tags()
{
    QFETCH(uint, code);
    QFETCH(QString, name);
    QCOMPARE(f.lut->tagName(code), name);
    QCOMPARE(f.lut->tagNumber(name), name.startsWith("0x") ? -1 : int(code));
}

void TestTagDataLut::enumNames_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<uint>("value");
    QTest::addColumn<QString>("name");
    QTest::newRow("named") << 0x1002u << 1u << "On";
    QTest::newRow("unnamed in tag's hex mode") << 0x1002u << 10u << "0x000A";
    QTest::newRow("nameless value has empty name") << 0x1002u << 2u << "";
    QTest::newRow("all ones named") << 0x1002u << 0xFFFFFFFFu << "Big";
    QTest::newRow("default mode is zero-extended") << 0x1001u << 0xFFFFFFFFu << "4294967295";
    QTest::newRow("unsigned padded") << 0x1005u << 7u << "0007";
    QTest::newRow("unknown tag is plain decimal") << 0x1777u << 255u << "255";
    QTest::newRow("unknown tag never signed") << 0x1777u << 0xFFFFFFFFu << "4294967295";
}

void TestTagDataLut::enumNames()
{
    QFETCH(uint, tag);
    QFETCH(uint, value);
    QFETCH(QString, name);
    QCOMPARE(f.lut->enumName(tag, value), name);
}

void TestTagDataLut::enumNumbers_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("value");
    QTest::newRow("named") << 0x1002u << "Off" << 0;
    QTest::newRow("case matters") << 0x1002u << "off" << -1;
    QTest::newRow("nameless value cannot be typed") << 0x1002u << "" << -1;
    QTest::newRow("tag without enums") << 0x1001u << "Off" << -1;
    QTest::newRow("unknown tag") << 0x1777u << "Off" << -1;
}

void TestTagDataLut::enumNumbers()
{
    QFETCH(uint, tag);
    QFETCH(QString, name);
    QFETCH(int, value);
    QCOMPARE(f.lut->enumNumber(tag, name), value);
}

void TestTagDataLut::bits_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<uint>("bit");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");
    QTest::newRow("named bit") << 0x7001u << 3u << "Fault" << 3;
    QTest::newRow("high bit") << 0x7001u << 63u << "Top" << 63;
    QTest::newRow("unnamed bit prints number") << 0x7001u << 5u << "5" << -1;
    QTest::newRow("unknown tag") << 0x7777u << 1u << "1" << -1;
}

void TestTagDataLut::bits()
{
    QFETCH(uint, tag);
    QFETCH(uint, bit);
    QFETCH(QString, name);
    QFETCH(int, number);
    QCOMPARE(f.lut->bitName(tag, bit), name);
    QCOMPARE(f.lut->bitNumber(tag, name), number);
}

void TestTagDataLut::snapshotOutlivesTree()
{
    Fixture local;
    TagDataLut lut(local.root.get());
    local.root.reset();
    QCOMPARE(lut.tagName(0x1002), QString("Mode"));
    QCOMPARE(lut.enumName(0x1002, 1), QString("On"));
    QCOMPARE(lut.bitNumber(0x7001, "Ready"), 0);
    QCOMPARE(lut.tagData(0x3002)->secure, true);
}

void TestTagDataLut::invalidItemsLeftOut()
{
    QRV16::Parser parser;
    QVERIFY(parser.parse(QByteArray(R"(<?xml version="1.0"?>
<qrv16>
  <tag name="NoId"/>
  <tag id="0x1009"/>
  <tag name="Kept" id="0x1008">
    <enums><enum name="NoValue"/><enum name="Two" id="2"/></enums>
    <bits><bit name="NoBit"/></bits>
  </tag>
</qrv16>)")));
    std::unique_ptr<Item> root(parser.takeRoot());
    TagDataLut lut(root.get());
    QCOMPARE(lut.count(), 1);
    QCOMPARE(lut.tagNumber("NoId"), -1);
    QCOMPARE(lut.tagName(0x1009), QString("0x1009"));
    QCOMPARE(lut.enumNumber(0x1008, "NoValue"), -1);
    QCOMPARE(lut.enumNumber(0x1008, "Two"), 2);
    QCOMPARE(lut.bitNumber(0x1008, "NoBit"), -1);
}

QTEST_APPLESS_MAIN(TestTagDataLut)
#include "tst_tagdatalut.moc"
