// SPDX-License-Identifier: MIT
// Framing as engineers write it on labels, read and written back.

#include "libserial/serframing.h"

#include <QtTest>

class TestSerFraming : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fromText_data();
    void fromText();
    void parityNames_data();
    void parityNames();
};

void TestSerFraming::fromText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("normal");
    QTest::newRow("8N1") << "8N1" << true << "8N1";
    QTest::newRow("lower case") << "7e1" << true << "7E1";
    QTest::newRow("odd, two stop bits") << "8O2" << true << "8O2";
    QTest::newRow("mark") << "8M1" << true << "8M1";
    QTest::newRow("space, five bits") << "5s2" << true << "5S2";
    QTest::newRow("dashes") << "8-E-1" << true << "8E1";
    QTest::newRow("slashes and blanks") << " 7 / O / 2 " << true << "7O2";
    QTest::newRow("four data bits") << "4N1" << false << "8N1";
    QTest::newRow("nine data bits") << "9N1" << false << "8N1";
    QTest::newRow("three stop bits") << "8N3" << false << "8N1";
    QTest::newRow("one and a half stop bits") << "8N1.5" << false << "8N1";
    QTest::newRow("unknown parity") << "8X1" << false << "8N1";
    QTest::newRow("empty") << "" << false << "8N1";
    QTest::newRow("too long") << "8N1N" << false << "8N1";
}

void TestSerFraming::fromText()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(QString, normal);
    bool ok = !valid;
    const SerFraming framing = SerFraming::fromText(text, &ok);
    QCOMPARE(ok, valid);
    QCOMPARE(framing.text(), normal);
    QCOMPARE(framing.isValid(), true);
}

void TestSerFraming::parityNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("parity");
    QTest::newRow("none") << "none" << int(SerFraming::NoParity);
    QTest::newRow("Even, any case") << "Even" << int(SerFraming::EvenParity);
    QTest::newRow("odd") << "odd" << int(SerFraming::OddParity);
    QTest::newRow("mark") << "mark" << int(SerFraming::MarkParity);
    QTest::newRow("space by letter") << "s" << int(SerFraming::SpaceParity);
    QTest::newRow("not a parity") << "parity" << -1;
}

void TestSerFraming::parityNames()
{
    QFETCH(QString, name);
    QFETCH(int, parity);
    QCOMPARE(SerFraming::parityFromName(name), parity);
    if (parity >= 0 && name.size() > 1)
        QCOMPARE(SerFraming::parityName(parity), name.toLower());
}

QTEST_GUILESS_MAIN(TestSerFraming)
#include "tst_serframing.moc"
