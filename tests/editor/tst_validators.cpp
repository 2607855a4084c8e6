// SPDX-License-Identifier: MIT
#include "editor/identifiervalidator.h"
#include "editor/numbervalidator.h"
#include "editor/tagvalidator.h"
#include "treetext.h"

#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

// Siblings for the duplicate checks: tags 0x1001 and 0x1A, enums 0..2 and -1.
const QByteArray tree = R"(<qrv16>
  <tag name="Mode" id="0x1001">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="On" id="1"/>
      <enum name="Auto" id="2"/>
      <enum name="All" id="-1"/>
    </enums>
  </tag>
  <tag name="Small" id="0x1A"/>
</qrv16>)";

// Tag codes against tag 0x1001, names against enum Off, values against
// Off and its siblings, ranges with no siblings.
enum Check { Tag, Name, Value, EnumRange, BitRange };

} // namespace

Q_DECLARE_METATYPE(QValidator::State)
Q_DECLARE_METATYPE(Check)

class TestValidators : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void validate_data();
    void validate();
    void messageOnlyWhenItChanges();

private:
    std::unique_ptr<Item> m_root;
};

void TestValidators::initTestCase()
{
    m_root.reset(TreeText::read(tree));
    QVERIFY(m_root);
}

void TestValidators::validate_data()
{
    QTest::addColumn<Check>("check");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QValidator::State>("state");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty is acceptable") << Tag << "" << QValidator::Acceptable << "";
    QTest::newRow("plain hex") << Tag << "2001" << QValidator::Acceptable << "";
    QTest::newRow("prefixed lower case") << Tag << "0x2abc" << QValidator::Acceptable << "";
    QTest::newRow("upper-case prefix") << Tag << "0X2ABC" << QValidator::Acceptable << "";
    QTest::newRow("0x1a is the other tag's code") << Tag << "0x1a" << QValidator::Acceptable
        << "Tag code already exists";
    QTest::newRow("1A is the same code") << Tag << "1A" << QValidator::Acceptable << "Tag code already exists";
    QTest::newRow("own code is no duplicate") << Tag << "0x1001" << QValidator::Acceptable << "";
    QTest::newRow("g1 is refused at once") << Tag << "g1" << QValidator::Invalid << "Non numeric input";
    QTest::newRow("a sign is refused") << Tag << "-1" << QValidator::Invalid << "Non numeric input";
    QTest::newRow("10000 is out of range") << Tag << "10000" << QValidator::Intermediate << "Tag code out of range";
    QTest::newRow("only the prefix") << Tag << "0x" << QValidator::Intermediate << "Not a hexadecimal number";
    QTest::newRow("x inside") << Tag << "1x2" << QValidator::Intermediate << "Not a hexadecimal number";
    QTest::newRow("eleven characters") << Tag << "00000000001" << QValidator::Intermediate << "Input too long";
    QTest::newRow("sixty-five characters") << Tag << QString(65, '0') << QValidator::Invalid << "Input too long";
    QTest::newRow("empty is acceptable") << Name << "" << QValidator::Acceptable << "";
    QTest::newRow("letters digits underscore") << Name << "pump_2B" << QValidator::Acceptable << "";
    QTest::newRow("own name is no duplicate") << Name << "Off" << QValidator::Acceptable << "";
    QTest::newRow("a sibling's name") << Name << "On" << QValidator::Acceptable << "Identifier already exists";
    QTest::newRow("1abc can be typed, not applied") << Name << "1abc" << QValidator::Intermediate
        << "Identifier must not start with a digit";
    QTest::newRow("a-b can be typed, not applied") << Name << "a-b" << QValidator::Intermediate
        << "Only a-z, A-Z, 0-9 and _ allowed in identifier";
    QTest::newRow("no letters beyond ASCII") << Name << QString::fromUtf8("m\xC3\xBCller") << QValidator::Intermediate
        << "Only a-z, A-Z, 0-9 and _ allowed in identifier";
    QTest::newRow("the reader's reserved name") << Name << "Tag" << QValidator::Intermediate
        << "The name \"Tag\" is reserved.";
    QTest::newRow("1025 characters") << Name << QString(1025, 'a') << QValidator::Invalid << "Input too long";
    QTest::newRow("empty is acceptable") << Value << "" << QValidator::Acceptable << "";
    QTest::newRow("decimal") << Value << "7" << QValidator::Acceptable << "";
    QTest::newRow("hexadecimal") << Value << "0x10" << QValidator::Acceptable << "";
    QTest::newRow("leading zero is octal, 010 is 8") << Value << "010" << QValidator::Acceptable << "";
    QTest::newRow("octal 01 is a sibling's value") << Value << "01" << QValidator::Acceptable
        << "This number already exists";
    QTest::newRow("a second enum with the same value") << Value << "2" << QValidator::Acceptable
        << "This number already exists";
    QTest::newRow("own value is no duplicate") << Value << "0" << QValidator::Acceptable << "";
    QTest::newRow("negative") << Value << "-5" << QValidator::Acceptable << "";
    QTest::newRow("-1 is the sibling's -1") << Value << "-1" << QValidator::Acceptable
        << "This number already exists";
    QTest::newRow("0xFFFFFFFF is not -1") << Value << "0xFFFFFFFF" << QValidator::Acceptable << "";
    QTest::newRow("8 is no octal digit") << Value << "08" << QValidator::Intermediate << "Non numeric input";
    QTest::newRow("letters") << Value << "abc" << QValidator::Intermediate << "Non numeric input";
    QTest::newRow("only a sign") << Value << "-" << QValidator::Intermediate << "Non numeric input";
    QTest::newRow("above 32 bits") << Value << "0x100000000" << QValidator::Intermediate << "Number out of range";
    QTest::newRow("beyond 64 bits") << Value << "99999999999999999999999" << QValidator::Intermediate
        << "Number out of range";
    QTest::newRow("octal display form") << Value << "0o17" << QValidator::Acceptable << "";
    QTest::newRow("binary display form") << Value << "0y101" << QValidator::Acceptable << "";
    QTest::newRow("enum at the signed 32-bit floor") << EnumRange << "-2147483648" << QValidator::Acceptable << "";
    QTest::newRow("enum below it") << EnumRange << "-2147483649" << QValidator::Intermediate << "Number out of range";
    QTest::newRow("enum at the unsigned 32-bit top") << EnumRange << "0xFFFFFFFF" << QValidator::Acceptable << "";
    QTest::newRow("bit 63") << BitRange << "63" << QValidator::Acceptable << "";
    QTest::newRow("bit 64") << BitRange << "64" << QValidator::Intermediate << "Number out of range";
    QTest::newRow("negative bit") << BitRange << "-1" << QValidator::Intermediate << "Number out of range";
}

// The message is said once, as it appears.
void TestValidators::validate()
{
    QFETCH(Check, check);
    QFETCH(QString, input);
    QFETCH(QValidator::State, state);
    QFETCH(QString, message);
    const Item* off = m_root->child(0)->child(0)->child(0);
    const int type = int(check == BitRange ? ItemType::Bit : ItemType::Enum);
    std::unique_ptr<ItemValidator> v;
    if (check == Tag)
        v = std::make_unique<TagValidator>(m_root->child(0));
    else if (check == Name)
        v = std::make_unique<IdentifierValidator>(off);
    else
        v = std::make_unique<NumberValidator>(NumberValidator::lowerBound(type), NumberValidator::upperBound(type),
                                              check == Value ? off : nullptr);
    QSignalSpy spy(v.get(), &ItemValidator::message);
    int pos = 0;
    QCOMPARE(v->validate(input, pos), state);
    QCOMPARE(v->messageText(), message);
    QCOMPARE(spy.size(), message.isEmpty() ? 0 : 1);
    if (!message.isEmpty())
        QCOMPARE(spy.at(0).at(0).toString(), message);
}

void TestValidators::messageOnlyWhenItChanges()
{
    TagValidator v;
    QSignalSpy spy(&v, &TagValidator::message);
    int pos = 0;
    QString text = "10000";
    v.validate(text, pos);
    v.validate(text, pos);
    QCOMPARE(spy.size(), 1);
    text = "1000";
    v.validate(text, pos);
    QCOMPARE(spy.size(), 2);
    QCOMPARE(spy.at(1).at(0).toString(), QString());
}

QTEST_MAIN(TestValidators)
#include "tst_validators.moc"
