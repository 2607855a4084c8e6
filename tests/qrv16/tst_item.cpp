// SPDX-License-Identifier: MIT
#include "qrv16/item.h"

#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

Item* make(ItemType type, const QString& name = QString(), qint64 id = -1,
           DisplayMode display = DisplayMode())
{
    ItemData d;
    d.type = type;
    d.name = name;
    d.display = display;
    if (id >= 0) {
        d.id = quint64(id);
        d.hasId = true;
    }
    return new Item(d);
}

// A container whose numbered children are given by `ids` (-1: no id).
std::unique_ptr<Item> container(const QList<int>& ids)
{
    auto c = std::make_unique<Item>();
    c->data().type = ItemType::Enums;
    int n = 0;
    for (int id : ids)
        c->appendChild(make(ItemType::Enum, QStringLiteral("e%1").arg(n++), id));
    return c;
}

} // namespace

class TestItem : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void treeBuilding();
    void rowsFollowInsertAndRemove();
    void takeChildren_data();
    void takeChildren();
    void enumCount_data();
    void enumCount();
    void collisions_data();
    void collisions();
    void findBut();
    void validity_data();
    void validity();
    void layoutItems_data();
    void layoutItems();
    void displayInheritance();
};

void TestItem::treeBuilding()
{
    Item root;
    root.data().type = ItemType::Root;
    Item* tag = make(ItemType::Tag, "A", 0x1001);
    root.appendChild(tag);
    QCOMPARE(tag->parent(), &root);
    QCOMPARE(root.childCount(), 1);
    QCOMPARE(root.child(0), tag);
    QCOMPARE(root.row(), 0);

    std::unique_ptr<Item> taken(root.takeChild(0));
    QCOMPARE(taken.get(), tag);
    QCOMPARE(taken->parent(), nullptr);
    QCOMPARE(root.childCount(), 0);

    std::unique_ptr<Item> copy(taken->clone());
    QVERIFY(*copy == *taken);
    copy->data().name = "B";
    QVERIFY(*copy != *taken);

    // Enums and bits are looked up on tags only.
    Item* bits = make(ItemType::Bits);
    taken->appendChild(bits);
    QCOMPARE(taken->findInTagByItemType(ItemType::Bits), bits);
    QCOMPARE(taken->findInTagByItemType(ItemType::Enums), nullptr);
    QCOMPARE(bits->findInTagByItemType(ItemType::Bits), nullptr);
    taken->clear();
    QCOMPARE(taken->childCount(), 0);
    QVERIFY(taken->data() == ItemData());
}

void TestItem::rowsFollowInsertAndRemove()
{
    Item root;
    for (int i = 0; i < 5; ++i)
        root.appendChild(make(ItemType::Tag, QStringLiteral("t%1").arg(i), 0x1000 + i));
    Item* inserted = make(ItemType::Tag, "x", 0x1FFF);
    root.insertChildBefore(2, inserted);
    QCOMPARE(inserted->row(), 2);
    root.insertChildBefore(root.childCount(), make(ItemType::Tag, "last", 0x1EEE));
    QCOMPARE(root.child(root.childCount() - 1)->data().name, QString("last"));
    root.removeChild(0);
    for (int i = 0; i < root.childCount(); ++i)
        QCOMPARE(root.child(i)->row(), i);
    QCOMPARE(inserted->row(), 1);
    // Rows out of range are no child and change nothing.
    const int count = root.childCount();
    QCOMPARE(root.child(count), nullptr);
    QCOMPARE(root.child(-1), nullptr);
    QCOMPARE(root.takeChild(count), nullptr);
    root.removeChild(count + 5);
    QCOMPARE(root.childCount(), count);
}

void TestItem::takeChildren_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<QStringList>("taken");
    QTest::addColumn<QStringList>("kept");
    QTest::newRow("all") << 0 << QStringList{"a", "b", "c"} << QStringList{};
    QTest::newRow("the tail") << 1 << QStringList{"b", "c"} << QStringList{"a"};
    QTest::newRow("from before the first is all") << -3 << QStringList{"a", "b", "c"} << QStringList{};
    QTest::newRow("from the end is none") << 3 << QStringList{} << QStringList{"a", "b", "c"};
}

void TestItem::takeChildren()
{
    QFETCH(int, from);
    QFETCH(QStringList, taken);
    QFETCH(QStringList, kept);
    Item root;
    for (const char* name : {"a", "b", "c"})
        root.appendChild(make(ItemType::Tag, name));
    QStringList names;
    for (const std::unique_ptr<Item>& item : root.takeChildren(from)) {
        QCOMPARE(item->parent(), nullptr);
        names << item->data().name;
    }
    QCOMPARE(names, taken);
    names.clear();
    for (int i = 0; i < root.childCount(); ++i) {
        QCOMPARE(root.child(i)->row(), i);
        names << root.child(i)->data().name;
    }
    QCOMPARE(names, kept);
}

void TestItem::enumCount_data()
{
    QTest::addColumn<QList<int>>("ids");
    QTest::addColumn<int>("count");
    QTest::newRow("from one") << QList<int>{1, 2, 3} << 3;
    QTest::newRow("from zero") << QList<int>{0, 1, 2} << 3;
    QTest::newRow("from two") << QList<int>{2, 3} << 0;
    QTest::newRow("gap") << QList<int>{0, 2} << 0;
    QTest::newRow("unnumbered between") << QList<int>{0, -1, 1, -1, 2} << 3;
    QTest::newRow("descending") << QList<int>{1, 0} << 0;
    QTest::newRow("repeat") << QList<int>{0, 0} << 0;
    QTest::newRow("none numbered") << QList<int>{-1, -1} << 0;
    QTest::newRow("empty") << QList<int>{} << 0;
}

void TestItem::enumCount()
{
    QFETCH(QList<int>, ids);
    QFETCH(int, count);
    QCOMPARE(container(ids)->enumCount(), count);
}

void TestItem::collisions_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("otherName");
    QTest::addColumn<int>("otherId");
    QTest::addColumn<int>("flags");
    QTest::newRow("none") << "a" << 1 << "b" << 2 << 0;
    QTest::newRow("name") << "a" << 1 << "a" << 2 << int(NameCollision);
    QTest::newRow("id") << "a" << 1 << "b" << 1 << int(IdCollision);
    QTest::newRow("both") << "a" << 1 << "a" << 1 << int(NameCollision | IdCollision);
    QTest::newRow("empty names never collide") << "" << 1 << "" << 2 << 0;
    QTest::newRow("missing ids never collide") << "a" << -1 << "b" << -1 << 0;
    QTest::newRow("one missing id") << "a" << 1 << "b" << -1 << 0;
}

void TestItem::collisions()
{
    QFETCH(QString, name);
    QFETCH(int, id);
    QFETCH(QString, otherName);
    QFETCH(int, otherId);
    QFETCH(int, flags);
    auto c = container({});
    Item* item = make(ItemType::Enum, name, id);
    c->appendChild(item);
    c->appendChild(make(ItemType::Enum, otherName, otherId));
    QCOMPARE(item->findCollision(), flags);
    std::unique_ptr<Item> orphan(c->takeChild(0));
    QCOMPARE(orphan->findCollision(), 0);
}

void TestItem::findBut()
{
    auto c = container({5, -1, 7});
    const Item* first = c->child(0);
    QCOMPARE(c->findBut(5u, nullptr), 0);
    QCOMPARE(c->findBut(5u, first), -1);
    QCOMPARE(c->findBut(6u, nullptr), -1);
    QCOMPARE(c->findBut(QString("e2"), nullptr), 2);
    QCOMPARE(c->findBut(QString("e0"), first), -1);
    c->child(1)->data().name.clear();
    QCOMPARE(c->findBut(QString(), nullptr), 1); // empty matches empty here
}

void TestItem::validity_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("hasId");
    QTest::addColumn<int>("asked");
    QTest::addColumn<bool>("valid");
    QTest::newRow("tag") << 1 << "A" << true << 1 << true;
    QTest::newRow("tag asked as enum") << 1 << "A" << true << 3 << false;
    QTest::newRow("no id") << 1 << "A" << false << 1 << false;
    QTest::newRow("nameless enum as enum") << 3 << "" << true << 3 << true;
    QTest::newRow("nameless enum as any") << 3 << "" << true << -1 << false;
    QTest::newRow("nameless tag") << 1 << "" << true << 1 << false;
    QTest::newRow("nameless bit") << 5 << "" << true << 5 << false;
    QTest::newRow("any: bit") << 5 << "B" << true << -1 << true;
    QTest::newRow("any: enums container") << 2 << "E" << true << -1 << false;
}

void TestItem::validity()
{
    QFETCH(int, type);
    QFETCH(QString, name);
    QFETCH(bool, hasId);
    QFETCH(int, asked);
    QFETCH(bool, valid);
    std::unique_ptr<Item> item(make(ItemType(type), name, hasId ? 3 : -1));
    QCOMPARE(item->isValid(ItemType(asked)), valid);
}

void TestItem::layoutItems_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("hasId");
    QTest::addColumn<QString>("comment");
    QTest::addColumn<bool>("newline");
    QTest::addColumn<bool>("isComment");
    QTest::newRow("blank tag") << 1 << "" << false << "" << true << false;
    QTest::newRow("blank bit") << 5 << "" << false << "" << true << false;
    QTest::newRow("empty container is no blank") << 2 << "" << false << "" << false << false;
    QTest::newRow("comment") << 1 << "" << false << "note" << false << true;
    QTest::newRow("root comment is no comment item") << 0 << "" << false << "x" << false << false;
    QTest::newRow("named is a definition") << 1 << "A" << false << "" << false << false;
    QTest::newRow("numbered is a definition") << 3 << "" << true << "x" << false << false;
}

void TestItem::layoutItems()
{
    QFETCH(int, type);
    QFETCH(QString, name);
    QFETCH(bool, hasId);
    QFETCH(QString, comment);
    QFETCH(bool, newline);
    QFETCH(bool, isComment);
    std::unique_ptr<Item> item(make(ItemType(type), name, hasId ? 1 : -1));
    item->data().comment = comment;
    QCOMPARE(item->isNewline(), newline);
    QCOMPARE(item->isComment(), isComment);
}

void TestItem::displayInheritance()
{
    Item* tag = make(ItemType::Tag, "T", 0x1001, DisplayMode(DisplayMode::Hex, 4));
    Item root;
    root.appendChild(tag);
    Item* enums = make(ItemType::Enums);
    tag->appendChild(enums);
    Item* value = make(ItemType::Enum, "V", 10);
    enums->appendChild(value);
    QCOMPARE(value->displayMode(), DisplayMode(DisplayMode::Hex, 4));
    QCOMPARE(value->formatId(), QString("0x000A"));
    enums->data().display = DisplayMode(DisplayMode::Octal, 0);
    QCOMPARE(value->formatId(), QString("0o12"));
    value->data().display = DisplayMode(DisplayMode::Binary, 8);
    QCOMPARE(value->formatId(), QString("0y00001010"));
    // A tag's code is hex whatever its values show.
    tag->data().display = DisplayMode(DisplayMode::Octal, 0);
    QCOMPARE(tag->formatId(), QString("0x1001"));
    std::unique_ptr<Item> lone(make(ItemType::Enum, "x", 42, DisplayMode(0, 3)));
    QCOMPARE(lone->displayMode(), DisplayMode(0, 3));
    QCOMPARE(lone->formatId(), QString("042"));
    lone->data().display = DisplayMode();
    lone->data().id = quint64(-5);
    QCOMPARE(lone->formatId(), QString("-5"));
}

QTEST_APPLESS_MAIN(TestItem)
#include "tst_item.moc"
