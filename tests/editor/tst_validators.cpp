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

} // namespace

Q_DECLARE_METATYPE(QValidator::State)

class TestValidators : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void tag_data();
    void tag();
    void identifier_data();
    void identifier();
    void number_data();
    void number();
    void numberBounds_data();
    void numberBounds();
    void messageOnlyWhenItChanges();

private:
    std::unique_ptr<Item> m_root;
};

void TestValidators::initTestCase()
{
    m_root.reset(TreeText::read(tree));
    QVERIFY(m_root);
}

void TestValidators::tag_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QValidator::State>("state");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty is acceptable") << "" << QValidator::Acceptable << "";
    QTest::newRow("plain hex") << "2001" << QValidator::Acceptable << "";
    QTest::newRow("prefixed lower case") << "0x2abc" << QValidator::Acceptable << "";
    QTest::newRow("upper-case prefix") << "0X2ABC" << QValidator::Acceptable << "";
    QTest::newRow("0x1a is the other tag's code") << "0x1a" << QValidator::Acceptable << "Tag code already exists";
    QTest::newRow("1A is the same code") << "1A" << QValidator::Acceptable << "Tag code already exists";
    QTest::newRow("own code is no duplicate") << "0x1001" << QValidator::Acceptable << "";
    QTest::newRow("g1 is refused at once") << "g1" << QValidator::Invalid << "Non numeric input";
    QTest::newRow("a sign is refused") << "-1" << QValidator::Invalid << "Non numeric input";
    QTest::newRow("10000 is out of range") << "10000" << QValidator::Intermediate << "Tag code out of range";
    QTest::newRow("only the prefix") << "0x" << QValidator::Intermediate << "Not a hexadecimal number";
    QTest::newRow("x inside") << "1x2" << QValidator::Intermediate << "Not a hexadecimal number";
    QTest::newRow("eleven characters") << "00000000001" << QValidator::Intermediate << "Input too long";
    QTest::newRow("sixty-five characters") << QString(65, '0') << QValidator::Invalid << "Input too long";
}

void TestValidators::tag()
{
    QFETCH(QString, input);
    QFETCH(QValidator::State, state);
    QFETCH(QString, message);
    TagValidator v(m_root->child(0));
    QSignalSpy spy(&v, &TagValidator::message);
    int pos = 0;
    QCOMPARE(v.validate(input, pos), state);
    QCOMPARE(v.messageText(), message);
    QCOMPARE(spy.size(), message.isEmpty() ? 0 : 1);
    if (!message.isEmpty())
        QCOMPARE(spy.at(0).at(0).toString(), message);
}

void TestValidators::identifier_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QValidator::State>("state");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty is acceptable") << "" << QValidator::Acceptable << "";
    QTest::newRow("letters digits underscore") << "pump_2B" << QValidator::Acceptable << "";
    QTest::newRow("own name is no duplicate") << "Off" << QValidator::Acceptable << "";
    QTest::newRow("a sibling's name") << "On" << QValidator::Acceptable << "Identifier already exists";
    QTest::newRow("1abc can be typed, not applied")
        << "1abc" << QValidator::Intermediate << "Identifier must not start with a digit";
    QTest::newRow("a-b can be typed, not applied")
        << "a-b" << QValidator::Intermediate << "Only a-z, A-Z, 0-9 and _ allowed in identifier";
    QTest::newRow("no letters beyond ASCII")
        << QString::fromUtf8("m\xC3\xBCller") << QValidator::Intermediate
        << "Only a-z, A-Z, 0-9 and _ allowed in identifier";
    QTest::newRow("the reader's reserved name") << "Tag" << QValidator::Intermediate
                                                << "The name \"Tag\" is reserved.";
    QTest::newRow("1025 characters") << QString(1025, 'a') << QValidator::Invalid << "Input too long";
}

void TestValidators::identifier()
{
    QFETCH(QString, input);
    QFETCH(QValidator::State, state);
    QFETCH(QString, message);
    IdentifierValidator v(m_root->child(0)->child(0)->child(0)); // enum Off
    int pos = 0;
    QCOMPARE(v.validate(input, pos), state);
    QCOMPARE(v.messageText(), message);
}

void TestValidators::number_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QValidator::State>("state");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty is acceptable") << "" << QValidator::Acceptable << "";
    QTest::newRow("decimal") << "7" << QValidator::Acceptable << "";
    QTest::newRow("hexadecimal") << "0x10" << QValidator::Acceptable << "";
    QTest::newRow("leading zero is octal, 010 is 8") << "010" << QValidator::Acceptable << "";
    QTest::newRow("octal 01 is a sibling's value") << "01" << QValidator::Acceptable << "This number already exists";
    QTest::newRow("a second enum with the same value")
        << "2" << QValidator::Acceptable << "This number already exists";
    QTest::newRow("own value is no duplicate") << "0" << QValidator::Acceptable << "";
    QTest::newRow("negative") << "-5" << QValidator::Acceptable << "";
    // One signed 64-bit quantity, as the file reader keeps it.
    QTest::newRow("-1 is the sibling's -1") << "-1" << QValidator::Acceptable << "This number already exists";
    QTest::newRow("0xFFFFFFFF is not -1") << "0xFFFFFFFF" << QValidator::Acceptable << "";
    QTest::newRow("8 is no octal digit") << "08" << QValidator::Intermediate << "Non numeric input";
    QTest::newRow("letters") << "abc" << QValidator::Intermediate << "Non numeric input";
    QTest::newRow("only a sign") << "-" << QValidator::Intermediate << "Non numeric input";
    QTest::newRow("above 32 bits") << "0x100000000" << QValidator::Intermediate << "Number out of range";
    QTest::newRow("beyond 64 bits") << "99999999999999999999999" << QValidator::Intermediate
                                    << "Number out of range";
    QTest::newRow("octal display form") << "0o17" << QValidator::Acceptable << "";
    QTest::newRow("binary display form") << "0y101" << QValidator::Acceptable << "";
}

void TestValidators::number()
{
    QFETCH(QString, input);
    QFETCH(QValidator::State, state);
    QFETCH(QString, message);
    const Item* off = m_root->child(0)->child(0)->child(0);
    NumberValidator v(NumberValidator::lowerBound(int(ItemType::Enum)),
                      NumberValidator::upperBound(int(ItemType::Enum)), off);
    int pos = 0;
    QCOMPARE(v.validate(input, pos), state);
    QCOMPARE(v.messageText(), message);
}

void TestValidators::numberBounds_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QValidator::State>("state");
    QTest::newRow("enum at the signed 32-bit floor") << int(ItemType::Enum) << "-2147483648" << QValidator::Acceptable;
    QTest::newRow("enum below it") << int(ItemType::Enum) << "-2147483649" << QValidator::Intermediate;
    QTest::newRow("enum at the unsigned 32-bit top") << int(ItemType::Enum) << "0xFFFFFFFF" << QValidator::Acceptable;
    QTest::newRow("bit 63") << int(ItemType::Bit) << "63" << QValidator::Acceptable;
    QTest::newRow("bit 64") << int(ItemType::Bit) << "64" << QValidator::Intermediate;
    QTest::newRow("negative bit") << int(ItemType::Bit) << "-1" << QValidator::Intermediate;
}

void TestValidators::numberBounds()
{
    QFETCH(int, type);
    QFETCH(QString, input);
    QFETCH(QValidator::State, state);
    NumberValidator v(NumberValidator::lowerBound(type), NumberValidator::upperBound(type));
    int pos = 0;
    QCOMPARE(v.validate(input, pos), state);
    if (state == QValidator::Intermediate)
        QCOMPARE(v.messageText(), QString("Number out of range"));
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
