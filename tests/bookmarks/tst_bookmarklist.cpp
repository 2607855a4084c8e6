// SPDX-License-Identifier: MIT
// The bookmark list: order, ownership, the dirty state, activation and the
// menu and toolbar that show the bookmarks.

#include "bookmarks/bookmarklist.h"
#include "tests/bookmarks/letters.h"

#include <QAction>
#include <QMenu>
#include <QPointer>
#include <QSignalSpy>
#include <QToolBar>
#include <QtTest>

#include <functional>

namespace {

// The actions a menu or toolbar shows, '|' for separators.
QString shown(const QWidget& widget)
{
    QStringList s;
    for (const QAction* action : widget.actions())
        s << (action->isSeparator() ? QStringLiteral("|") : action->text());
    return s.join(QLatin1Char(' '));
}

using Operation = std::function<void(BookmarkList&)>;
using Edit = std::function<void(QAction*)>;

} // namespace

Q_DECLARE_METATYPE(Operation)
Q_DECLARE_METATYPE(Edit)

class TestBookmarkList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void operations_data();
    void operations();
    void dirtyFlipsOnlyOnChangesOfState();
    void actionEdits_data();
    void actionEdits();
    void activation();
    void ownership();
    void showInMenuAndToolBar_data();
    void showInMenuAndToolBar();
    void menuAndToolBarReplaced();
    void replacingListLeavesNoStraySeparator();
    void explicitToolTip_data();
    void explicitToolTip();
};

void TestBookmarkList::operations_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("order");
    QTest::addColumn<bool>("changed");

    const auto row = [](const char* name, const char* start, const char* order, bool changed,
                        Operation operation) {
        QTest::newRow(name) << QString::fromLatin1(start) << operation << QString::fromLatin1(order)
                            << changed;
    };
    row("add appends", "ab", "abx", true, [](BookmarkList& l) { l.addAction(bookmark("x")); });
    row("add at 0 prepends", "ab", "xab", true,
        [](BookmarkList& l) { l.addAction(bookmark("x"), 0); });
    row("add in the middle", "ab", "axb", true,
        [](BookmarkList& l) { l.addAction(bookmark("x"), 1); });
    row("add past the end appends", "ab", "abx", true,
        [](BookmarkList& l) { l.addAction(bookmark("x"), 7); });
    row("add null is nothing", "ab", "ab", false, [](BookmarkList& l) { l.addAction(nullptr); });
    row("add twice keeps the place", "abc", "abc", false,
        [](BookmarkList& l) { l.addAction(l.action(0), 2); });
    row("take the middle", "abc", "ac", true, [](BookmarkList& l) { delete l.takeAction(1); });
    row("take out of range", "abc", "abc", false, [](BookmarkList& l) {
        QVERIFY(!l.takeAction(3));
        QVERIFY(!l.takeAction(-1));
    });
    row("remove the first", "abc", "bc", true, [](BookmarkList& l) { l.removeAction(0); });
    row("remove out of range", "abc", "abc", false, [](BookmarkList& l) { l.removeAction(5); });
    row("move down", "abcd", "bcad", true, [](BookmarkList& l) { l.moveAction(0, 2); });
    row("move up", "abcd", "adbc", true, [](BookmarkList& l) { l.moveAction(3, 1); });
    row("move onto itself", "abcd", "abcd", false, [](BookmarkList& l) { l.moveAction(2, 2); });
    row("move past the end", "abcd", "abcd", false, [](BookmarkList& l) {
        l.moveAction(1, 4);
        l.moveAction(-1, 0);
    });
    row("clear", "a|b", "", true, [](BookmarkList& l) { l.clear(); });
    row("clear an empty list", "", "", false, [](BookmarkList& l) { l.clear(); });
    row("an action deleted elsewhere leaves", "abc", "ac", true,
        [](BookmarkList& l) { delete l.action(1); });
    row("several in turn", "abcdef", "fxacde", true, [](BookmarkList& l) {
        l.moveAction(5, 0);
        l.removeAction(2);
        l.addAction(bookmark("x"), 1);
    });
}

void TestBookmarkList::operations()
{
    QFETCH(QString, start);
    QFETCH(Operation, operation);
    QFETCH(QString, order);
    QFETCH(bool, changed);

    BookmarkList list;
    fill(list, start);
    list.setClean();
    QSignalSpy changes(&list, &BookmarkList::changed);
    operation(list);
    QCOMPARE(::order(list), order);
    QCOMPARE(list.count(), int(order.size()));
    for (int i = 0; i < list.count(); ++i)
        QCOMPARE(list.indexOf(list.action(i)), i);
    QAction stranger;
    QCOMPARE(list.indexOf(&stranger), -1);
    QCOMPARE(list.indexOf(nullptr), -1);
    QVERIFY(!list.action(list.count()));
    QCOMPARE(list.isDirty(), changed);
    QCOMPARE(changes.count() > 0, changed);
}

void TestBookmarkList::dirtyFlipsOnlyOnChangesOfState()
{
    BookmarkList list;
    QSignalSpy spy(&list, &BookmarkList::dirtyChanged);
    QVERIFY(!list.isDirty());
    list.setClean();
    QCOMPARE(spy.count(), 0);

    fill(list, "ab");
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toBool(), true);
    list.setDirty();
    list.moveAction(0, 1);
    QCOMPARE(spy.count(), 1);

    list.setClean();
    list.setClean();
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(0).toBool(), false);

    list.action(0)->setText(QStringLiteral("renamed"));
    QCOMPARE(spy.count(), 3);
    QCOMPARE(spy.at(2).at(0).toBool(), true);
}

void TestBookmarkList::actionEdits_data()
{
    QTest::addColumn<Edit>("edit");
    QTest::addColumn<bool>("dirty");

    QTest::newRow("text") << Edit([](QAction* a) { a->setText("new"); }) << true;
    QTest::newRow("tool tip") << Edit([](QAction* a) { a->setToolTip("tip"); }) << true;
    QTest::newRow("message") << Edit([](QAction* a) { a->setData("GetStatus"); }) << true;
    QTest::newRow("shortcut") << Edit([](QAction* a) { a->setShortcut(QKeySequence("Ctrl+5")); })
                              << true;
    QTest::newRow("icon") << Edit([](QAction* a) {
        QPixmap pixmap(8, 8);
        pixmap.fill(Qt::red);
        a->setIcon(QIcon(pixmap));
    }) << true;
    QTest::newRow("made a separator") << Edit([](QAction* a) { a->setSeparator(true); }) << true;
    QTest::newRow("disabled is not saved")
        << Edit([](QAction* a) { a->setEnabled(false); }) << false;
    QTest::newRow("checked is not saved") << Edit([](QAction* a) {
        a->setCheckable(true);
        a->setChecked(true);
    }) << false;
    QTest::newRow("same text again") << Edit([](QAction* a) { a->setText(a->text()); }) << false;
}

void TestBookmarkList::actionEdits()
{
    QFETCH(Edit, edit);
    QFETCH(bool, dirty);

    BookmarkList list;
    fill(list, "abc");
    list.setClean();
    QSignalSpy changes(&list, &BookmarkList::changed);
    edit(list.action(1));
    QCOMPARE(list.isDirty(), dirty);
    QCOMPARE(changes.count(), dirty ? 1 : 0);
}

void TestBookmarkList::activation()
{
    BookmarkList list;
    fill(list, "abc");
    QSignalSpy spy(&list, &BookmarkList::activated);
    list.action(1)->trigger();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QAction*>(), list.action(1));

    std::unique_ptr<QAction> taken(list.takeAction(1));
    taken->trigger();
    QCOMPARE(spy.count(), 1);

    // After a move the action still reports itself.
    list.moveAction(0, 1);
    list.action(1)->trigger();
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(0).value<QAction*>()->text(), QStringLiteral("a"));
}

void TestBookmarkList::ownership()
{
    QPointer<QAction> removed;
    QPointer<QAction> kept;
    std::unique_ptr<QAction> taken;
    {
        BookmarkList list;
        fill(list, "abc");
        for (const QAction* action : list.actions())
            QCOMPARE(action->parent(), &list);
        removed = list.action(0);
        list.removeAction(0);
        QVERIFY(!removed);
        taken.reset(list.takeAction(0));
        QVERIFY(!taken->parent());
        kept = list.action(0);
        QVERIFY(kept);
    }
    QVERIFY(!kept);
    QCOMPARE(taken->text(), QStringLiteral("b"));

    // Another list takes an action over; the first one forgets it.
    BookmarkList first;
    BookmarkList second;
    fill(first, "ab");
    second.addAction(first.action(0));
    QCOMPARE(order(first), QStringLiteral("b"));
    QCOMPARE(order(second), QStringLiteral("a"));
}

void TestBookmarkList::showInMenuAndToolBar_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("toolbar"); // the menu shows the same behind its own actions

    const auto row = [](const char* name, const char* toolbar, Operation operation) {
        QTest::newRow(name) << operation << QString::fromLatin1(toolbar);
    };
    row("as set", "a b | c", [](BookmarkList&) {});
    row("appended", "a b | c x", [](BookmarkList& l) { l.addAction(bookmark("x")); });
    row("inserted first", "x a b | c", [](BookmarkList& l) { l.addAction(bookmark("x"), 0); });
    row("moved to the end", "b | c a", [](BookmarkList& l) { l.moveAction(0, 3); });
    row("moved to the front", "c a b |", [](BookmarkList& l) { l.moveAction(3, 0); });
    row("removed", "a b c", [](BookmarkList& l) { l.removeAction(2); });
    row("taken", "b | c", [](BookmarkList& l) { delete l.takeAction(0); });
    row("cleared", "", [](BookmarkList& l) { l.clear(); });
    row("renamed", "a y | c", [](BookmarkList& l) { l.action(1)->setText("y"); });
}

void TestBookmarkList::showInMenuAndToolBar()
{
    QFETCH(Operation, operation);
    QFETCH(QString, toolbar);

    QMenu m;
    m.addAction(QStringLiteral("Open"));
    m.addAction(QStringLiteral("Save"));
    QToolBar t;
    BookmarkList list;
    fill(list, "ab|");
    list.setMenu(&m);
    list.setToolBar(&t);
    list.addAction(bookmark("c"));
    operation(list);
    QCOMPARE(shown(m),
             QStringLiteral("Open Save |") + (toolbar.isEmpty() ? QString() : " " + toolbar));
    QCOMPARE(shown(t), toolbar);
}

void TestBookmarkList::menuAndToolBarReplaced()
{
    BookmarkList list;
    fill(list, "ab");
    QMenu first;
    QMenu second;
    second.addAction(QStringLiteral("Edit"));
    QToolBar bar;
    bar.addAction(QStringLiteral("Send"));
    list.setMenu(&first);
    list.setMenu(&second);
    list.setToolBar(&bar);
    QCOMPARE(shown(first), QString());
    QCOMPARE(shown(second), QStringLiteral("Edit | a b"));
    // A toolbar holding actions of its own gets a separator before the bookmarks.
    QCOMPARE(shown(bar), QStringLiteral("Send | a b"));

    // The owner's later actions stay behind the bookmarks.
    second.addAction(QStringLiteral("Later"));
    list.addAction(bookmark("c"));
    QCOMPARE(shown(second), QStringLiteral("Edit | a b c Later"));

    list.setMenu(nullptr);
    list.setToolBar(nullptr);
    QCOMPARE(shown(second), QStringLiteral("Edit Later"));
    QCOMPARE(shown(bar), QStringLiteral("Send"));

    // A menu that goes away first leaves the list working.
    {
        QMenu gone;
        list.setMenu(&gone);
    }
    list.addAction(bookmark("d"));
    QCOMPARE(order(list), QStringLiteral("abcd"));
}

void TestBookmarkList::replacingListLeavesNoStraySeparator()
{
    QMenu menu;
    menu.addAction(QStringLiteral("Open"));
    QToolBar bar;
    auto old = std::make_unique<BookmarkList>();
    fill(*old, "ab");
    old->setMenu(&menu);
    old->setToolBar(&bar);

    // The new list is shown before the old one is taken away.
    BookmarkList fresh;
    fill(fresh, "xy");
    fresh.setMenu(&menu);
    fresh.setToolBar(&bar);
    old->setMenu(nullptr);
    old->setToolBar(nullptr);
    old.reset();
    QCOMPARE(shown(menu), QStringLiteral("Open | x y"));
    QCOMPARE(shown(bar), QStringLiteral("x y"));
}

// Qt makes a tool tip from the text; only one set by hand is kept.
void TestBookmarkList::explicitToolTip_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("toolTip");

    QTest::newRow("none set") << "Get status" << QString();
    QTest::newRow("set") << "Get status" << "Asks for the status";
    QTest::newRow("mnemonic in the text") << "Get &status..." << QString();
    QTest::newRow("no text") << QString() << "Only a tip";
    QTest::newRow("nothing") << QString() << QString();
}

void TestBookmarkList::explicitToolTip()
{
    QFETCH(QString, text);
    QFETCH(QString, toolTip);

    QAction action(text);
    if (!toolTip.isNull())
        action.setToolTip(toolTip);
    QCOMPARE(BookmarkList::toolTip(&action), toolTip);
}

QTEST_MAIN(TestBookmarkList)
#include "tst_bookmarklist.moc"
