// SPDX-License-Identifier: MIT
// Identifiers of generated code: valid, clear of keywords, independent of
// the other names, and a clash reported rather than renamed away.

#include "qrv16/item.h"
#include "writers/identifierset.h"

#include <QtTest>

#include <vector>

using QRV16::IdentifierSet;

class TestIdentifierSet : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sanitized_data();
    void sanitized();
    void sequence_data();
    void sequence();
};

void TestIdentifierSet::sanitized_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("identifier");
    // The odd names of the sample and hostile definitions are checked compiled.
    QTest::newRow("a valid name stays") << "PumpMode_2" << "PumpMode_2";
    QTest::newRow("leading underscore stays") << "_reserved" << "_reserved";
    QTest::newRow("a run of odd characters is one underscore") << "a - / b" << "a_b";
    QTest::newRow("underscores of the name are kept") << "a__b" << "a__b";
    QTest::newRow("accents are dropped") << "Température" << "Temperature";
    QTest::newRow("empty") << "" << "_";
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
    QTest::addColumn<QStringList>("blocked"); // names of the generated code itself
    QTest::addColumn<QStringList>("wanted");
    QTest::addColumn<QStringList>("given");
    QTest::addColumn<QStringList>("clashes");
    // Names one after sanitising and keywords are checked through the generators.
    QTest::newRow("distinct names unchanged")
        << QStringList{} << QStringList{} << QStringList{"A", "B"} << QStringList{"A", "B"}
        << QStringList{};
    QTest::newRow("a name twice is a clash, not a rename")
        << QStringList{} << QStringList{} << QStringList{"A", "A", "A"}
        << QStringList{"A", "A", "A"} << QStringList{"A 0 1", "A 0 2"};
    QTest::newRow("a keyword spelled with its underscore already")
        << QStringList{"class"} << QStringList{} << QStringList{"class_", "class"}
        << QStringList{"class_", "class_"} << QStringList{"class_ 0 1"};
    // A name the generated code uses itself is not renamed either: the
    // clash has no entry on its first side.
    QTest::newRow("a blocked name is a clash")
        << QStringList{} << QStringList{"PUMPS_H"} << QStringList{"PUMPS-H"}
        << QStringList{"PUMPS_H"} << QStringList{"PUMPS_H none 0"};
    QTest::newRow("case matters") << QStringList{} << QStringList{} << QStringList{"a", "A"}
                                  << QStringList{"a", "A"} << QStringList{};
}

void TestIdentifierSet::sequence()
{
    QFETCH(QStringList, reserved);
    QFETCH(QStringList, blocked);
    QFETCH(QStringList, wanted);
    QFETCH(QStringList, given);
    QFETCH(QStringList, clashes);
    // Stand-ins for the entries that ask; only their addresses count.
    std::vector<QRV16::Item> owners(size_t(wanted.size()));
    const auto number = [&owners](const QRV16::Item* item) {
        return item ? QString::number(item - owners.data()) : QString("none");
    };
    IdentifierSet set(reserved);
    for (const QString& name : blocked)
        set.block(name);
    QStringList out;
    for (int i = 0; i < wanted.size(); ++i)
        out += set.add(wanted.at(i), &owners[size_t(i)]);
    QCOMPARE(out, given);
    for (const QString& name : given)
        QVERIFY(set.contains(name));
    QStringList found;
    for (const IdentifierSet::Clash& c : set.clashes())
        found += c.name + ' ' + number(c.first) + ' ' + number(c.second);
    QCOMPARE(found, clashes);
}

QTEST_APPLESS_MAIN(TestIdentifierSet)
#include "tst_identifierset.moc"
