// SPDX-License-Identifier: MIT
#include "editor/collisiontable.h"
#include "qrv16/item.h"

#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

// A list of tags "name=code" ("name=" without a code, "=code" without a name).
std::unique_ptr<Item> tags(const QStringList& rows)
{
    auto root = std::make_unique<Item>();
    root->data().type = ItemType::Root;
    for (const QString& row : rows) {
        ItemData d;
        d.type = ItemType::Tag;
        d.name = row.section(u'=', 0, 0);
        const QString code = row.section(u'=', 1);
        d.hasId = !code.isEmpty();
        d.id = code.toULongLong();
        root->appendChild(new Item(d));
    }
    return root;
}

QList<int> flagsOf(CollisionTable& table, const Item* parent)
{
    QList<int> flags;
    for (int i = 0; i < parent->childCount(); ++i)
        flags << table.flags(parent->child(i));
    return flags;
}

} // namespace

class TestCollisionTable : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void flags_data();
    void flags();
    void refreshNamesTheChangedRows();
    void unseenListsWaitUntilAsked();
    void forgottenRowsAreWorkedOutAgain();
};

void TestCollisionTable::flags_data()
{
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QList<int>>("flags");
    const int name = NameCollision;
    const int id = IdCollision;
    QTest::newRow("all different") << QStringList{"A=1", "B=2"} << QList<int>{0, 0};
    QTest::newRow("same name") << QStringList{"A=1", "A=2", "B=3"} << QList<int>{name, name, 0};
    QTest::newRow("same code") << QStringList{"A=1", "B=1"} << QList<int>{id, id};
    QTest::newRow("both") << QStringList{"A=1", "A=1"} << QList<int>{name | id, name | id};
    QTest::newRow("empty names never clash") << QStringList{"=1", "=2"} << QList<int>{0, 0};
    QTest::newRow("rows without a code never clash") << QStringList{"A=", "B="} << QList<int>{0, 0};
    QTest::newRow("code 0 is a code") << QStringList{"A=0", "B=0"} << QList<int>{id, id};
}

void TestCollisionTable::flags()
{
    QFETCH(QStringList, rows);
    QFETCH(QList<int>, flags);
    const std::unique_ptr<Item> root = tags(rows);
    CollisionTable table;
    QCOMPARE(flagsOf(table, root.get()), flags);
    QCOMPARE(table.flags(root.get()), int(NoCollision));
    QCOMPARE(table.flags(nullptr), int(NoCollision));
}

void TestCollisionTable::refreshNamesTheChangedRows()
{
    const std::unique_ptr<Item> root = tags({"A=1", "B=2", "C=3"});
    CollisionTable table;
    QCOMPARE(flagsOf(table, root.get()), (QList<int>{0, 0, 0}));
    root->child(2)->data().name = "A";
    QCOMPARE(table.refresh(root.get(), true), (QList<int>{0, 2}));
    QCOMPARE(flagsOf(table, root.get()), (QList<int>{NameCollision, 0, NameCollision}));
    QCOMPARE(table.refresh(root.get(), true), QList<int>());
    root->child(2)->data().name = "C";
    QCOMPARE(table.refresh(root.get(), true), (QList<int>{0, 2}));
}

void TestCollisionTable::unseenListsWaitUntilAsked()
{
    const std::unique_ptr<Item> root = tags({"A=1", "A=2"});
    CollisionTable table;
    QCOMPARE(table.refresh(root.get(), true), QList<int>());
    // Worked out on the first question, with the state of that moment.
    root->child(1)->data().id = 1;
    QCOMPARE(table.flags(root->child(1)), int(NameCollision | IdCollision));
}

void TestCollisionTable::forgottenRowsAreWorkedOutAgain()
{
    const std::unique_ptr<Item> root = tags({"A=1", "A=2"});
    CollisionTable table;
    QCOMPARE(table.flags(root->child(0)), int(NameCollision));
    std::unique_ptr<Item> taken(root->takeChild(1));
    table.forget(taken.get());
    // A row that comes back clashing is reported as a change.
    root->appendChild(taken.release());
    QCOMPARE(table.refresh(root.get(), true), QList<int>{1});
    table.clear();
    root->child(1)->data().name = "B";
    QCOMPARE(table.flags(root->child(0)), int(NoCollision));
}

QTEST_APPLESS_MAIN(TestCollisionTable)
#include "tst_collisiontable.moc"
