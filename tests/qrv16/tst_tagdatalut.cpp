// SPDX-License-Identifier: MIT
#include "tests/support/definitions.h"
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
    void invalidItemsLeftOut();
    void valuesOfEverySize_data();
    void valuesOfEverySize();
    void laterDuplicatesReplace();

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
    QTest::newRow("past 16 bits is not its low half") << 0x11001u << "0x11001";
    QTest::newRow("page of a defined tag, code undefined") << 0x10FFu << "0x10FF";
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

// Tables from tagsOf() outlive the tree they were made from, as the window's do.
void TestTagDataLut::invalidItemsLeftOut()
{
    const auto lut = tagsOf(QByteArray(R"(<?xml version="1.0"?>
<qrv16>
  <tag name="NoId"/>
  <tag id="0x1009"/>
  <tag name="Kept" id="0x1008">
    <enums><enum name="NoValue"/><enum name="Two" id="2"/></enums>
    <bits><bit name="NoBit"/></bits>
  </tag>
</qrv16>)"));
    QCOMPARE(lut->count(), 1);
    QCOMPARE(lut->tagNumber("NoId"), -1);
    QCOMPARE(lut->tagName(0x1009), QString("0x1009"));
    QCOMPARE(lut->enumNumber(0x1008, "NoValue"), -1);
    QCOMPARE(lut->enumNumber(0x1008, "Two"), 2);
    QCOMPARE(lut->bitNumber(0x1008, "NoBit"), -1);
}

// Small numbers and large ones are kept apart; each must be found, and
// not found, the same way.
const char* everySizeDefinitions()
{
    return R"(<?xml version="1.0"?>
<qrv16>
  <tag name="Wide" id="0x1010">
    <enums>
      <enum name="Zero" id="0"/>
      <enum name="LastSmall" id="63"/>
      <enum name="FirstLarge" id="64"/>
      <enum name="Huge" id="0x10000"/>
    </enums>
    <bits><bit name="Low" id="0"/><bit name="High" id="62"/></bits>
  </tag>
  <tag name="Last" id="0xFFFF"/>
  <tag name="First" id="0x0000"/>
</qrv16>)";
}

void TestTagDataLut::valuesOfEverySize_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<uint>("value");
    QTest::addColumn<QString>("enumName");
    QTest::addColumn<QString>("bitName");
    QTest::newRow("zero") << 0x1010u << 0u << "Zero" << "Low";
    QTest::newRow("gap below the last small one") << 0x1010u << 62u << "62" << "High";
    QTest::newRow("last small") << 0x1010u << 63u << "LastSmall" << "63";
    QTest::newRow("first large") << 0x1010u << 64u << "FirstLarge" << "64";
    QTest::newRow("huge") << 0x1010u << 0x10000u << "Huge" << "65536";
    QTest::newRow("code 0xFFFF") << 0xFFFFu << 1u << "1" << "1";
    QTest::newRow("code 0") << 0u << 1u << "1" << "1";
}

void TestTagDataLut::valuesOfEverySize()
{
    QFETCH(uint, tag);
    QFETCH(uint, value);
    QFETCH(QString, enumName);
    QFETCH(QString, bitName);
    const auto lut = tagsOf(QByteArray(everySizeDefinitions()));
    QVERIFY(lut->tagData(tag));
    QCOMPARE(lut->tagData(lut->tagName(tag)), lut->tagData(tag));
    QCOMPARE(lut->enumName(tag, value), enumName);
    QCOMPARE(lut->bitName(tag, value), bitName);
    if (enumName.at(0).isLetter())
        QCOMPARE(lut->enumNumber(tag, enumName), int(value));
    if (bitName.at(0).isLetter())
        QCOMPARE(lut->bitNumber(tag, bitName), int(value));
}

void TestTagDataLut::laterDuplicatesReplace()
{
    QRV16::Parser parser;
    QVERIFY(parser.parse(QByteArray(R"(<?xml version="1.0"?>
<qrv16>
  <tag name="Old" id="0x1001">
    <enums><enum name="A" id="1"/><enum name="B" id="1"/><enum name="B" id="70"/></enums>
  </tag>
  <tag name="New" id="0x1001"/>
  <tag name="Old" id="0x1002"/>
</qrv16>)")));
    std::unique_ptr<Item> root(parser.takeRoot());
    TagDataLut lut(root.get());
    QCOMPARE(lut.tagName(0x1001), QString("New"));
    QCOMPARE(lut.tagNumber("New"), 0x1001);
    QCOMPARE(lut.tagNumber("Old"), 0x1002);
    QCOMPARE(lut.tagName(0x1002), QString("Old"));

    // The replaced tag's enumeration outlives its code's entry.
    const TagData* old = nullptr;
    for (int i = 0; i < root->childCount(); ++i) {
        if (root->child(i)->data().name == "Old" && root->child(i)->data().id == 0x1001)
            old = new TagData(root->child(i));
    }
    QVERIFY(old);
    std::unique_ptr<const TagData> guard(old);
    QCOMPARE(old->enums.byNumber(1)->name, QString("B"));
    QCOMPARE(old->enums.byName(u"A")->id, quint64(1));
    QCOMPARE(old->enums.byName(u"B")->id, quint64(70));
    QCOMPARE(old->enums.byNumber(70)->name, QString("B"));
    QCOMPARE(old->enums.count(), 2);
}

QTEST_APPLESS_MAIN(TestTagDataLut)
#include "tst_tagdatalut.moc"
