// SPDX-License-Identifier: MIT
#include "textfixture.h"

#include "qrv16/messageexpression.h"

using namespace QRV16;

class TestMessageExpression : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void matches_data();
    void matches();
    void errors_data();
    void errors();
    void codesWithoutTables();
    void rangeOfElements();

private:
    Fixture f;
    Message m_status; // the message every row of matches() is tested on
};

void TestMessageExpression::initTestCase()
{
    QBitArray flags(8);
    flags.setBit(0);
    flags.setBit(3);
    m_status.beginMessage(0xF001);
    m_status.appendInt(0x1001, -5);
    m_status.appendInt(0x1002, 1);
    m_status.appendBool(0x2001, true);
    m_status.appendString(0x3001, QStringLiteral("pump one"));
    m_status.appendString(0x3002, QStringLiteral("hunter2"));
    m_status.appendDate(0x4001, QDate(2024, 3, 1));
    m_status.appendTime(0x5001, QTime(12, 30, 0));
    m_status.appendDateTime(0x6001, QDateTime(QDate(2024, 3, 1), QTime(12, 30, 0)));
    m_status.appendBitArray(0x7001, flags);
    m_status.appendInt64(0x1005, 5000000000ll);
    m_status.beginMessage(0xC001);
    m_status.appendInt(0x1003, 700);
    m_status.endMessage();
    m_status.endMessage();
    QVERIFY(m_status.isValid());
}

void TestMessageExpression::matches_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<bool>("expected");

    QTest::newRow("blank matches everything") << "  " << true;
    QTest::newRow("tag name present") << "Count" << true;
    QTest::newRow("tag name absent") << "Mask" << false;
    QTest::newRow("message tag itself") << "Status" << true;
    QTest::newRow("tag code hex") << "0x1001" << true;
    QTest::newRow("tag code decimal") << "4097" << true;
    QTest::newRow("nested element found") << "depth=700" << true;
    QTest::newRow("negative integer") << "Count=-5" << true;
    QTest::newRow("integer not equal") << "Count!=-5" << false;
    QTest::newRow("integer less") << "Count<0" << true;
    QTest::newRow("integer greater") << "Count>-5" << false;
    QTest::newRow("integer greater or equal") << "Count>=-5" << true;
    QTest::newRow("integer less or equal") << "Count<=-6" << false;
    QTest::newRow("integer in hex") << "depth=0x2BC" << true;
    QTest::newRow("eight-byte integer") << "Level>4294967296" << true;
    QTest::newRow("enum name") << "Mode=On" << true;
    QTest::newRow("other enum name") << "Mode=Off" << false;
    QTest::newRow("enum name ordered") << "Mode>Off" << true;
    QTest::newRow("enum by number") << "Mode=1" << true;
    QTest::newRow("bool true") << "Enabled=true" << true;
    QTest::newRow("bool false") << "Enabled=false" << false;
    QTest::newRow("bool as number") << "Enabled!=0" << true;
    QTest::newRow("quoted string") << "Name=\"pump one\"" << true;
    QTest::newRow("string not equal") << "Name!=pump" << true;
    QTest::newRow("string ordered") << "Name<pumq" << true;
    QTest::newRow("date equal") << "Day=2024-03-01" << true;
    QTest::newRow("date later") << "Day>2024-02-29" << true;
    QTest::newRow("date earlier") << "Day<2024-03-01" << false;
    QTest::newRow("time") << "Clock>=12:30:00" << true;
    QTest::newRow("time later") << "Clock>12:30:01" << false;
    QTest::newRow("date and time") << "Stamp=2024-03-01T12:30:00" << true;
    QTest::newRow("date and time before") << "Stamp<2024-03-01T12:30:01" << true;
    QTest::newRow("date alone is midnight") << "Stamp>2024-03-01" << true;
    QTest::newRow("bit by name set") << "Flags=Fault" << true;
    QTest::newRow("bit by name clear") << "Flags=Top" << false;
    QTest::newRow("bit not set") << "Flags!=Top" << true;
    QTest::newRow("bit by number") << "Flags=3" << true;
    QTest::newRow("secure tag by presence") << "Secret" << true;
    QTest::newRow("and both") << "Count and Mode=On" << true;
    QTest::newRow("and one false") << "Count and Mode=Off" << false;
    QTest::newRow("or one true") << "Mode=Off or Enabled" << true;
    QTest::newRow("not") << "not Mask" << true;
    QTest::newRow("not not") << "not not Mask" << false;
    QTest::newRow("and binds tighter than or") << "Count or Mask and Mask" << true;
    QTest::newRow("parentheses regroup") << "(Count or Mask) and Mask" << false;
    QTest::newRow("not binds tighter than and") << "not Mask and Count" << true;
    QTest::newRow("not over parentheses") << "not (Mask or Count)" << false;
    QTest::newRow("keywords any case") << "Count AND NOT Mask" << true;
    QTest::newRow("spaces around operators") << "Count  >=  -5" << true;
    QTest::newRow("double equals") << "Mode==On" << true;
}

void TestMessageExpression::matches()
{
    QFETCH(QString, expression);
    QFETCH(bool, expected);
    MessageExpression e;
    QVERIFY2(e.parse(expression, f.lut.get()), qPrintable(e.errorString()));
    QVERIFY(e.isValid());
    QCOMPARE(e.matches(m_status), expected);
}

void TestMessageExpression::errors_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("error");

    QTest::newRow("unknown tag") << "Count and Nope" << 10 << "unknown tag 'Nope'";
    QTest::newRow("code out of range") << "0x10000" << 0 << "'0x10000' is not a tag code";
    QTest::newRow("missing operand") << "Count and" << 9 << "expected a tag";
    QTest::newRow("two terms without joiner") << "Count Mode" << 6 << "expected 'and' or 'or' before 'Mode'";
    QTest::newRow("missing value") << "Count=" << 6 << "expected a value after '='";
    QTest::newRow("value not a number") << "Count=abc" << 6 << "'abc' is not a number or a value name of this tag";
    QTest::newRow("unknown enum name") << "Mode=Maybe" << 5 << "'Maybe' is not a number or a value name of this tag";
    QTest::newRow("bad bool") << "Enabled=yes" << 8 << "'yes' is not true or false";
    QTest::newRow("bad date") << "Day=2024-13-01" << 4 << "'2024-13-01' is not a date (yyyy-mm-dd)";
    QTest::newRow("bad time") << "Clock<25:00" << 6 << "'25:00' is not a time (hh:mm:ss)";
    QTest::newRow("bad date and time") << "Stamp>noon" << 6
                                       << "'noon' is not a date and time (yyyy-mm-ddThh:mm:ss)";
    QTest::newRow("unknown bit") << "Flags=Smoke" << 6 << "'Smoke' is not a bit name or number of this tag";
    QTest::newRow("bits ordered") << "Flags>Ready" << 6 << "bits are tested with '=' or '!='";
    QTest::newRow("secure value") << "Secret=x" << 7 << "the values of this tag are hidden";
    QTest::newRow("message compared") << "Status=1" << 7 << "Message values cannot be compared";
    QTest::newRow("unclosed parenthesis") << "(Count or Mode" << 14 << "expected ')'";
    QTest::newRow("unmatched parenthesis") << "Count)" << 5 << "unmatched ')'";
    QTest::newRow("empty parentheses") << "()" << 1 << "unexpected ')'";
    QTest::newRow("lone bang") << "Count ! Mode" << 6 << "expected '!='";
    QTest::newRow("unterminated string") << "Name=\"abc" << 5 << "unterminated string";
    QTest::newRow("operator first") << "=5" << 0 << "expected a tag before '='";
    QTest::newRow("keyword as tag") << "Count and or" << 10 << "expected a tag before 'or'";
    QTest::newRow("not at end") << "not" << 3 << "expected a tag";
}

void TestMessageExpression::errors()
{
    QFETCH(QString, expression);
    QFETCH(int, position);
    QFETCH(QString, error);
    MessageExpression e;
    QVERIFY(!e.parse(expression, f.lut.get()));
    QVERIFY(!e.isValid());
    QCOMPARE(e.errorString(), error);
    QCOMPARE(e.errorPosition(), position);
    // A broken expression filters nothing.
    QVERIFY(!e.matches(m_status));
}

void TestMessageExpression::codesWithoutTables()
{
    MessageExpression e;
    QVERIFY(e.parse(QStringLiteral("0x1001=-5 and not 0x1004"), nullptr));
    QVERIFY(e.matches(m_status));
    QVERIFY(!e.parse(QStringLiteral("Count"), nullptr));
    QCOMPARE(e.errorString(), QStringLiteral("unknown tag 'Count'"));
}

void TestMessageExpression::rangeOfElements()
{
    MessageExpression e;
    QVERIFY(e.parse(QStringLiteral("depth"), f.lut.get()));
    Message::Iterator it = m_status.iterator();
    while (!it.atEnd() && it.tag() != 0xC001)
        ++it;
    QVERIFY(!it.atEnd());
    QVERIFY(e.matches(m_status, it.position(), it.position() + it.size() + 4));
    // The elements before the group do not hold it.
    QVERIFY(!e.matches(m_status, 4, it.position()));
}

QTEST_GUILESS_MAIN(TestMessageExpression)
#include "tst_messageexpression.moc"
