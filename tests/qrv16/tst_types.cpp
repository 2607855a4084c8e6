// SPDX-License-Identifier: MIT
#include "qrv16/types.h"

#include <QtTest>

using namespace QRV16;

class TestTypes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void dataTypeOfTag_data();
    void dataTypeOfTag();
    void setDataType_data();
    void setDataType();
    void nestedTags_data();
    void nestedTags();
    void answerCodes_data();
    void answerCodes();
    void typeNames_data();
    void typeNames();
    void tagHex_data();
    void tagHex();
    void formatNumber_data();
    void formatNumber();
    void identifiers_data();
    void identifiers();
    void daysSince1990_data();
    void daysSince1990();
    void daysToDate_data();
    void daysToDate();
};

void TestTypes::dataTypeOfTag_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<int>("type");
    QTest::newRow("integer tag") << 0x1234u << 1;
    QTest::newRow("binary tag") << 0x0FFFu << 0;
    QTest::newRow("network address") << 0x9123u << 9;
    QTest::newRow("message") << 0xF001u << 15;
    QTest::newRow("ext point is the high byte") << 0x8012u << 0x80;
    QTest::newRow("ext rect is the high byte") << 0x8123u << 0x81;
    QTest::newRow("ext size") << 0x82FFu << 0x82;
    QTest::newRow("unused extended nibble") << 0x8F00u << 0x8F;
}

void TestTypes::dataTypeOfTag()
{
    QFETCH(uint, tag);
    QFETCH(int, type);
    QCOMPARE(int(dataType(tag)), type);
}

void TestTypes::setDataType_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<int>("type");
    QTest::addColumn<uint>("result");
    QTest::newRow("ordinary to extended keeps eight bits") << 0x1234u << 0x80 << 0x8034u;
    QTest::newRow("extended to ordinary keeps twelve bits") << 0x8034u << 3 << 0x3034u;
    QTest::newRow("ordinary to ordinary") << 0x1ABCu << 15 << 0xFABCu;
    QTest::newRow("extended to extended") << 0x8177u << 0x82 << 0x8277u;
    QTest::newRow("type bits of input are dropped") << 0xF123u << 0 << 0x0123u;
}

void TestTypes::setDataType()
{
    QFETCH(uint, tag);
    QFETCH(int, type);
    QFETCH(uint, result);
    QCOMPARE(QRV16::setDataType(tag, DataType(type)), result);
    QCOMPARE(int(dataType(result)), type);
}

void TestTypes::nestedTags_data()
{
    QTest::addColumn<int>("tag");
    QTest::addColumn<bool>("nested");
    QTest::newRow("list") << 0xC000 << true;
    QTest::newRow("request") << 0xD123 << true;
    QTest::newRow("answer") << 0xE001 << true;
    QTest::newRow("message top") << 0xFFFF << true;
    QTest::newRow("bitarray") << 0x7001 << false;
    QTest::newRow("extended point") << 0x8001 << false;
    QTest::newRow("extended high") << 0x8FFF << false;
    QTest::newRow("binary") << 0x0000 << false;
}

void TestTypes::nestedTags()
{
    QFETCH(int, tag);
    QFETCH(bool, nested);
    QCOMPARE(isNestedTag(tag), nested);
}

void TestTypes::answerCodes_data()
{
    QTest::addColumn<int>("tag");
    QTest::addColumn<uint>("answer");
    QTest::newRow("request 0xD123") << 0xD123 << 0xE123u;
    QTest::newRow("request 0xD001") << 0xD001 << 0xE001u;
    QTest::newRow("request 0xDFFF") << 0xDFFF << 0xEFFFu;
    QTest::newRow("answer has none") << 0xE001 << 0xFFFFFFFFu;
    QTest::newRow("integer has none") << 0x1001 << 0xFFFFFFFFu;
    QTest::newRow("extended has none") << 0x8101 << 0xFFFFFFFFu;
}

void TestTypes::answerCodes()
{
    QFETCH(int, tag);
    QFETCH(uint, answer);
    QCOMPARE(answerCode(tag), answer);
}

void TestTypes::typeNames_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<QString>("name");
    const char* names[16] = {"Binary", "Integer", "Bool", "String", "Date", "Time",
                             "DateTime", "BitArray", "Int64", "IPAddress", nullptr, nullptr,
                             "List", "Request", "Answer", "Message"};
    for (uint nibble = 0; nibble < 16; ++nibble) {
        QTest::addRow("nibble %u", nibble)
            << (nibble << 12 | 0x123) << (names[nibble] ? QString(names[nibble]) : QString());
    }
    QTest::newRow("every extended tag reads Int64") << 0x8212u << QString("Int64");
}

void TestTypes::typeNames()
{
    QFETCH(uint, tag);
    QFETCH(QString, name);
    const QString got = typeName(tag);
    QCOMPARE(got, name);
    QCOMPARE(got.isNull(), name.isNull());
}

void TestTypes::tagHex_data()
{
    QTest::addColumn<uint>("tag");
    QTest::addColumn<QString>("text");
    QTest::newRow("padded to four") << 0xd05u << "0x0D05";
    QTest::newRow("zero") << 0u << "0x0000";
    QTest::newRow("upper case") << 0xabcdu << "0xABCD";
    QTest::newRow("longer is not cut") << 0x12345u << "0x12345";
}

void TestTypes::tagHex()
{
    QFETCH(uint, tag);
    QFETCH(QString, text);
    QCOMPARE(tag2hex(tag), text);
}

void TestTypes::formatNumber_data()
{
    QTest::addColumn<qulonglong>("value");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("digits");
    QTest::addColumn<QString>("text");
    const qulonglong minus1 = ~0ull;
    const qulonglong minus5 = qulonglong(-5ll);
    QTest::newRow("default is signed") << minus1 << 0 << 0 << "-1";
    QTest::newRow("unsigned all ones") << minus1 << 2 << 0 << "18446744073709551615";
    QTest::newRow("signed decimal") << minus5 << 1 << 0 << "-5";
    QTest::newRow("sign is padded too") << minus5 << 1 << 4 << "00-5";
    QTest::newRow("default padded sign") << minus5 << 0 << 3 << "0-5";
    QTest::newRow("hex padded") << 255ull << 3 << 4 << "0x00FF";
    QTest::newRow("hex of negative") << minus1 << 3 << 0 << "0xFFFFFFFFFFFFFFFF";
    QTest::newRow("octal") << 8ull << 4 << 0 << "0o10";
    QTest::newRow("binary padded") << 5ull << 5 << 8 << "0y00000101";
    QTest::newRow("padding never cuts") << 0x12345ull << 3 << 2 << "0x12345";
    QTest::newRow("unknown mode is signed decimal") << minus1 << 9 << 0 << "-1";
    QTest::newRow("negative mode is signed decimal") << 42ull << -1 << 0 << "42";
    QTest::newRow("zero binary") << 0ull << 5 << 0 << "0y0";
    QTest::newRow("unsigned padded") << 7ull << 2 << 3 << "007";
}

void TestTypes::formatNumber()
{
    QFETCH(qulonglong, value);
    QFETCH(int, mode);
    QFETCH(int, digits);
    QFETCH(QString, text);
    QCOMPARE(QRV16::formatNumber(value, DisplayMode(mode, digits)), text);
}

void TestTypes::identifiers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("error");
    QTest::newRow("plain") << "pumpSpeed" << QString();
    QTest::newRow("underscores and digits") << "_pump_2" << QString();
    QTest::newRow("empty") << "" << "Empty name not allowed.";
    QTest::newRow("leading digit") << "2pump" << "Name must not start with a digit.";
    QTest::newRow("digit checked before characters") << "2-x" << "Name must not start with a digit.";
    QTest::newRow("reserved") << "Tag" << "The name \"Tag\" is reserved.";
    QTest::newRow("reserved is case sensitive") << "tag" << QString();
    QTest::newRow("dash") << "pump-1" << "Invalid characters in name.";
    QTest::newRow("blank") << "a b" << "Invalid characters in name.";
    QTest::newRow("non-ASCII letter") << QString::fromUtf8("pümp") << "Invalid characters in name.";
}

void TestTypes::identifiers()
{
    QFETCH(QString, name);
    QFETCH(QString, error);
    QString got = "stale";
    QCOMPARE(isValidIdentifier(name, &got), error.isNull());
    QCOMPARE(got, error);
    QCOMPARE(got.isNull(), error.isNull());
    QCOMPARE(isValidIdentifier(name), error.isNull());
}

void TestTypes::daysSince1990_data()
{
    QTest::addColumn<QDate>("date");
    QTest::addColumn<int>("days");
    QTest::newRow("epoch") << QDate(1990, 1, 1) << 0;
    QTest::newRow("day after") << QDate(1990, 1, 2) << 1;
    QTest::newRow("before epoch clamps") << QDate(1989, 12, 31) << 0;
    QTest::newRow("far before") << QDate(1066, 10, 14) << 0;
    QTest::newRow("leap year") << QDate(1992, 3, 1) << 365 + 365 + 31 + 29;
    QTest::newRow("y2k") << QDate(2000, 1, 1) << 3652;
    QTest::newRow("invalid") << QDate() << 0;
}

void TestTypes::daysSince1990()
{
    QFETCH(QDate, date);
    QFETCH(int, days);
    QCOMPARE(dateToDaysSince1990(date), days);
}

void TestTypes::daysToDate_data()
{
    QTest::addColumn<int>("days");
    QTest::addColumn<QDate>("date");
    QTest::newRow("zero is null") << 0 << QDate();
    QTest::newRow("negative is null") << -5 << QDate();
    QTest::newRow("one") << 1 << QDate(1990, 1, 2);
    QTest::newRow("y2k") << 3652 << QDate(2000, 1, 1);
    QTest::newRow("largest int") << 2147483647 << QDate(5881600, 7, 11);
}

void TestTypes::daysToDate()
{
    QFETCH(int, days);
    QFETCH(QDate, date);
    QCOMPARE(daysSince1990ToDate(days), date);
    if (date.isValid() && days < 1000000)
        QCOMPARE(dateToDaysSince1990(date), days);
}

QTEST_APPLESS_MAIN(TestTypes)
#include "tst_types.moc"
