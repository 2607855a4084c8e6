// SPDX-License-Identifier: MIT
#include "textfixture.h"

#include "qrv16/namecompletion.h"

using namespace QRV16;

class TestNameCompletion : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void namesAtTheCursor_data();
    void namesAtTheCursor();
    void everyTagWhereAnElementBegins();

private:
    Fixture f;
};

void TestNameCompletion::namesAtTheCursor_data()
{
    // '^' marks the cursor.
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    const int tags = NameCompletion::TagNames;
    const int values = NameCompletion::ValueNames;
    const int nothing = NameCompletion::Nothing;

    QTest::newRow("tag names by their beginning, case ignored")
        << "co^" << tags << QStringList{"Count", "Count2"} << 0 << 2;
    QTest::newRow("tag name with its type prefix") << "iCo^" << tags << QStringList{"iCount"} << 0 << 3;
    QTest::newRow("a new element after a value") << "Count=1 Mo^" << tags << QStringList{"Mode"} << 8 << 10;
    QTest::newRow("an element inside parentheses")
        << "Status=(Count=1 Gr^" << tags << QStringList{"Group"} << 16 << 18;
    QTest::newRow("an element after a quoted value")
        << "Name=\"a b\" Co^" << tags << QStringList{"Count", "Count2"} << 11 << 13;
    QTest::newRow("the rest of the word is replaced too")
        << "Co^unt=1" << tags << QStringList{"Count", "Count2"} << 0 << 5;
    QTest::newRow("enum names in the order of the definitions")
        << "Mode=^" << values << QStringList{"Off", "On", "Big", "Minus"} << 5 << 5;
    QTest::newRow("enum names by their beginning") << "Mode=o^" << values << QStringList{"Off", "On"} << 5 << 6;
    QTest::newRow("blanks around the equals sign")
        << "Mode = M^" << values << QStringList{"Minus"} << 7 << 8;
    QTest::newRow("tag given by its code") << "1002=B^" << values << QStringList{"Big"} << 5 << 6;
    QTest::newRow("tag given with its type prefix") << "iMode=Mi^" << values << QStringList{"Minus"} << 6 << 8;
    QTest::newRow("value in a nested element")
        << "Status=(Mode=O^ Count=1)" << values << QStringList{"Off", "On"} << 13 << 14;
    QTest::newRow("bit names after a bar") << "Flags=Ready|^" << values
                                           << QStringList{"Ready", "Fault", "Top"} << 12 << 12;
    QTest::newRow("bit name by its beginning") << "Flags=Ready|t^" << values << QStringList{"Top"} << 12 << 13;
    QTest::newRow("a number has no names") << "Count=12^" << values << QStringList() << 6 << 8;
    QTest::newRow("an undefined tag has no values") << "Nope=^" << values << QStringList() << 5 << 5;
    QTest::newRow("nothing inside quotes") << "Name=\"Co^" << nothing << QStringList() << 0 << 0;
    QTest::newRow("an escaped quote does not end them")
        << "Name=\"a\\\" Co^" << nothing << QStringList() << 0 << 0;
    QTest::newRow("nothing in base64") << "Payload=@AP^" << nothing << QStringList() << 0 << 0;
    QTest::newRow("nothing in a negative number") << "Count=-^" << nothing << QStringList() << 6 << 7;
}

void TestNameCompletion::namesAtTheCursor()
{
    QFETCH(QString, text);
    QFETCH(int, kind);
    QFETCH(QStringList, names);
    QFETCH(int, start);
    QFETCH(int, end);
    const int cursor = int(text.indexOf(QLatin1Char('^')));
    text.remove(cursor, 1);
    const NameCompletion c = NameCompletion::at(text, cursor, f.lut.get());
    QCOMPARE(int(c.kind()), kind);
    QCOMPARE(c.names(), names);
    if (kind != NameCompletion::Nothing) {
        QCOMPARE(c.start(), start);
        QCOMPARE(c.end(), end);
    }
    // Without definitions there is nothing to offer.
    QVERIFY(NameCompletion::at(text, cursor, nullptr).names().isEmpty());
}

void TestNameCompletion::everyTagWhereAnElementBegins()
{
    for (const QString& text : {QString(), QStringLiteral("Count=1 "), QStringLiteral("Status=(")}) {
        const NameCompletion c = NameCompletion::at(text, int(text.size()), f.lut.get());
        QCOMPARE(c.kind(), NameCompletion::TagNames);
        QCOMPARE(c.names().size(), f.lut->count());
        QVERIFY(std::is_sorted(c.names().begin(), c.names().end(),
                               [](const QString& a, const QString& b) {
                                   return a.compare(b, Qt::CaseInsensitive) < 0;
                               }));
        QCOMPARE(c.start(), int(text.size()));
    }
}

QTEST_APPLESS_MAIN(TestNameCompletion)
#include "tst_namecompletion.moc"
