// SPDX-License-Identifier: MIT
#include "qrv16/nameindex.h"

#include <QtTest>

using namespace QRV16;

class TestNameIndex : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lookups_data();
    void lookups();
    void laterEqualNameReplaces();
    void manyNamesAllFound();
};

namespace {

// Names that differ only a little: in case, length, one character or the
// position of the four-character chunk the hash reads.
const QStringList& stored()
{
    static const QStringList names = {
        "Count", "count", "Coun", "Counter", "PumpId", "PumpIdx", "ABCDEFGH", "ABCDEFGI",
        "BCDEFGHA", "x", "\u00e9t\u00e9", "Name_With_Underscores_And_More_Than_Thirty_Chars"};
    return names;
}

} // namespace

void TestNameIndex::lookups_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("found"); // index into stored(), -1 for none
    for (int i = 0; i < stored().size(); ++i)
        QTest::newRow(qPrintable("stored " + stored().at(i))) << stored().at(i) << i;
    QTest::newRow("empty") << "" << -1;
    QTest::newRow("case differs") << "COUNT" << -1;
    QTest::newRow("one more character") << "Countx" << -1;
    QTest::newRow("last chunk differs") << "ABCDEFGJ" << -1;
    QTest::newRow("accent missing") << "ete" << -1;
    QTest::newRow("long name cut") << "Name_With_Underscores_And_More_Than_Thirty_Char" << -1;
}

void TestNameIndex::lookups()
{
    QFETCH(QString, name);
    QFETCH(int, found);
    const QStringList& names = stored();
    NameIndex<QString> index;
    QCOMPARE(index.find(name), nullptr);
    for (const QString& n : names)
        index.insert(n, &n);
    // A slice of a longer text finds the same entry as the whole name.
    const QString text = "  " + name + "=";
    const QString* hit = index.find(QStringView(text).mid(2, name.size()));
    if (found < 0)
        QCOMPARE(hit, nullptr);
    else
        QCOMPARE(hit, &names.at(found));
}

void TestNameIndex::laterEqualNameReplaces()
{
    const QString first = "Mode";
    const QString second = "Mode";
    NameIndex<QString> index;
    index.insert(first, &first);
    index.insert(second, &second);
    QCOMPARE(index.find(u"Mode"), &second);
    QCOMPARE(index.find(u"Mod"), nullptr);
}

void TestNameIndex::manyNamesAllFound()
{
    // Enough to grow the table several times, and to make probes collide.
    QStringList names;
    for (int i = 0; i < 5000; ++i)
        names << QStringLiteral("Tag%1").arg(i * 7919);
    NameIndex<QString> index;
    for (const QString& n : std::as_const(names))
        index.insert(n, &n);
    for (const QString& n : std::as_const(names))
        QCOMPARE(index.find(n), &n);
    QCOMPARE(index.find(u"Tag1"), nullptr);
    QCOMPARE(index.find(u"Tag7919x"), nullptr);
}

QTEST_APPLESS_MAIN(TestNameIndex)
#include "tst_nameindex.moc"
