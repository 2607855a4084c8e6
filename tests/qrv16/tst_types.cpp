// SPDX-License-Identifier: MIT
#include "qrv16/types.h"

#include <QtTest>

using namespace QRV16;

class TestTypes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void tagFacts_data();
    void tagFacts();
    void setDataType_data();
    void setDataType();
    void formatNumber_data();
    void formatNumber();
    void identifiers_data();
    void identifiers();
    void days_data();
    void days();
};

void TestTypes::tagFacts_data()
{
    // What a tag code says of itself: its data type, whether elements nest
    // under it, the answer to it, and its type's name.
    QTest::addColumn<uint>("tag");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("nested");
    QTest::addColumn<uint>("answer");
    QTest::addColumn<QString>("name");
    const uint none = 0xFFFFFFFFu;
    QTest::newRow("binary") << 0x0FFFu << 0 << false << none << "Binary";
    QTest::newRow("integer") << 0x1234u << 1 << false << none << "Integer";
    QTest::newRow("bool") << 0x2123u << 2 << false << none << "Bool";
    QTest::newRow("string") << 0x3123u << 3 << false << none << "String";
    QTest::newRow("date") << 0x4123u << 4 << false << none << "Date";
    QTest::newRow("time") << 0x5123u << 5 << false << none << "Time";
    QTest::newRow("datetime") << 0x6123u << 6 << false << none << "DateTime";
    QTest::newRow("bitarray") << 0x7001u << 7 << false << none << "BitArray";
    QTest::newRow("ext point is the high byte") << 0x8012u << 0x80 << false << none << "Int64";
    QTest::newRow("unused extended nibble") << 0x8F00u << 0x8F << false << none << "Int64";
    QTest::newRow("extended high") << 0x8FFFu << 0x8F << false << none << "Int64";
    QTest::newRow("network address") << 0x9123u << 9 << false << none << "IPAddress";
    QTest::newRow("nibble 10 has no name") << 0xA123u << 10 << false << none << QString();
    QTest::newRow("list") << 0xC000u << 12 << true << none << "List";
    QTest::newRow("request 0xD001") << 0xD001u << 13 << true << 0xE001u << "Request";
    QTest::newRow("request 0xDFFF") << 0xDFFFu << 13 << true << 0xEFFFu << "Request";
    QTest::newRow("answer has none") << 0xE001u << 14 << true << none << "Answer";
    QTest::newRow("message") << 0xF001u << 15 << true << none << "Message";
    QTest::newRow("message top") << 0xFFFFu << 15 << true << none << "Message";
}

void TestTypes::tagFacts()
{
    QFETCH(uint, tag);
    QFETCH(int, type);
    QFETCH(bool, nested);
    QFETCH(uint, answer);
    QFETCH(QString, name);
    QCOMPARE(int(dataType(tag)), type);
    QCOMPARE(isNestedTag(int(tag)), nested);
    QCOMPARE(answerCode(int(tag)), answer);
    const QString got = typeName(tag);
    QCOMPARE(got, name);
    QCOMPARE(got.isNull(), name.isNull());
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
    // The errors the definitions reader reports are checked through it.
    QTest::newRow("plain") << "pumpSpeed" << QString();
    QTest::newRow("underscores and digits") << "_pump_2" << QString();
    QTest::newRow("digit checked before characters") << "2-x"
                                                     << "Name must not start with a digit.";
    QTest::newRow("reserved is case sensitive") << "tag" << QString();
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

void TestTypes::days_data()
{
    // Days since 1990-01-01 on the wire; day 0 and below are no date.
    QTest::addColumn<QDate>("date");
    QTest::addColumn<int>("days");
    QTest::addColumn<bool>("toDays");
    QTest::addColumn<bool>("toDate");
    QTest::newRow("epoch") << QDate(1990, 1, 1) << 0 << true << false;
    QTest::newRow("day after") << QDate(1990, 1, 2) << 1 << true << true;
    QTest::newRow("before epoch clamps") << QDate(1989, 12, 31) << 0 << true << false;
    QTest::newRow("leap year") << QDate(1992, 3, 1) << 365 + 365 + 31 + 29 << true << true;
    QTest::newRow("invalid is zero") << QDate() << 0 << true << true;
    QTest::newRow("negative is null") << QDate() << -5 << false << true;
    QTest::newRow("largest int") << QDate(5881600, 7, 11) << 2147483647 << false << true;
}

void TestTypes::days()
{
    QFETCH(QDate, date);
    QFETCH(int, days);
    QFETCH(bool, toDays);
    QFETCH(bool, toDate);
    if (toDays)
        QCOMPARE(dateToDaysSince1990(date), days);
    if (toDate)
        QCOMPARE(daysSince1990ToDate(days), date);
}

QTEST_APPLESS_MAIN(TestTypes)
#include "tst_types.moc"
