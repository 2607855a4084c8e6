// Identifiers of generated code: valid, clear of keywords, unique, and the
// same every time.

#include "writers/identifierset.h"

#include <QtTest>

using QRV16::IdentifierSet;

class TestIdentifierSet : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sanitized_data();
    void sanitized();
    void sequence_data();
    void sequence();
    void blockedNamesAreNotHandedOut();
};

void TestIdentifierSet::sanitized_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("identifier");
    QTest::newRow("a valid name stays") << "PumpMode_2" << "PumpMode_2";
    QTest::newRow("leading underscore stays") << "_reserved" << "_reserved";
    QTest::newRow("blank becomes underscore") << "Pump Speed" << "Pump_Speed";
    QTest::newRow("a run of odd characters is one underscore") << "a - / b" << "a_b";
    QTest::newRow("underscores of the name are kept") << "a__b" << "a__b";
    QTest::newRow("leading digit gets an underscore") << "2nd pump" << "_2nd_pump";
    QTest::newRow("accents are dropped") << "Température" << "Temperature";
    QTest::newRow("ligature is spelled out") << "ﬁle" << "file";
    QTest::newRow("letter without ASCII form") << "Größe" << "Gro_e";
    QTest::newRow("nothing usable") << "日本" << "_";
    QTest::newRow("empty") << "" << "_";
    QTest::newRow("quotes and backslashes") << "\"a\\b\"" << "_a_b_";
}

void TestIdentifierSet::sanitized()
{
    QFETCH(QString, name);
    QFETCH(QString, identifier);
    QCOMPARE(IdentifierSet::sanitized(name), identifier);
}

void TestIdentifierSet::sequence_data()
{
    QTest::addColumn<QStringList>("reserved");
    QTest::addColumn<QStringList>("wanted");
    QTest::addColumn<QStringList>("given");
    QTest::newRow("distinct names unchanged")
        << QStringList{} << QStringList{"A", "B"} << QStringList{"A", "B"};
    QTest::newRow("a second name gets _2, a third _3")
        << QStringList{} << QStringList{"A", "A", "A"} << QStringList{"A", "A_2", "A_3"};
    QTest::newRow("names equal after sanitising")
        << QStringList{} << QStringList{"Pump-Speed", "Pump Speed", "Pump_Speed"}
        << QStringList{"Pump_Speed", "Pump_Speed_2", "Pump_Speed_3"};
    QTest::newRow("a name already given as a suffix moves on")
        << QStringList{} << QStringList{"A", "A", "A_2"} << QStringList{"A", "A_2", "A_2_2"};
    QTest::newRow("keyword gets an underscore")
        << QStringList{"class", "end"} << QStringList{"class", "end", "End"}
        << QStringList{"class_", "end_", "End"};
    QTest::newRow("keyword twice")
        << QStringList{"class"} << QStringList{"class", "class"} << QStringList{"class_", "class_2"};
    QTest::newRow("a keyword spelled with its underscore already")
        << QStringList{"class"} << QStringList{"class_", "class"} << QStringList{"class_", "class_2"};
    QTest::newRow("a name ending in an underscore")
        << QStringList{} << QStringList{"A_", "A_"} << QStringList{"A_", "A_2"};
    QTest::newRow("case matters") << QStringList{} << QStringList{"a", "A"} << QStringList{"a", "A"};
}

void TestIdentifierSet::sequence()
{
    QFETCH(QStringList, reserved);
    QFETCH(QStringList, wanted);
    QFETCH(QStringList, given);
    for (int round = 0; round < 2; ++round) {
        // A fresh set with the same requests gives the same names.
        IdentifierSet set(reserved);
        QStringList out;
        for (const QString& name : wanted)
            out += set.add(name);
        QCOMPARE(out, given);
        for (const QString& name : given)
            QVERIFY(set.contains(name));
    }
}

void TestIdentifierSet::blockedNamesAreNotHandedOut()
{
    IdentifierSet set;
    set.block("PUMPS_H");
    QCOMPARE(set.add("PUMPS_H"), QString("PUMPS_H_2"));
    QCOMPARE(set.add("PUMPS-H"), QString("PUMPS_H_3"));
}

QTEST_APPLESS_MAIN(TestIdentifierSet)
#include "tst_identifierset.moc"
