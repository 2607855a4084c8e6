// SPDX-License-Identifier: MIT
// The bookmark panel under the offscreen platform: activating a row sends
// its bookmark, the keys move and delete, and it copes with no bookmarks and
// with many.

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkwidget.h"
#include "tests/bookmarks/letters.h"

#include <QAction>
#include <QLabel>
#include <QListView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QtTest>

namespace {

QListView* view(const BookmarkWidget& widget)
{
    return widget.findChild<QListView*>();
}

// The widget in a shown, active window, so that its keys reach it.
void showActive(QWidget& widget)
{
    widget.resize(240, 320);
    widget.show();
    widget.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&widget));
}

} // namespace

class TestBookmarkWidget : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void activation_data();
    void activation();
    void keysMoveAndDelete_data();
    void keysMoveAndDelete();
    void anotherList();
    void noBookmarks();
    void manyBookmarks();
};

void TestBookmarkWidget::activation_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("doubleClick");
    QTest::addColumn<QString>("sent");

    QTest::newRow("Enter on the first") << 0 << false << "a";
    QTest::newRow("Enter on the last") << 3 << false << "c";
    QTest::newRow("double click") << 1 << true << "b";
    QTest::newRow("a separator sends nothing") << 2 << false << "";
    QTest::newRow("nor when double clicked") << 2 << true << "";
}

void TestBookmarkWidget::activation()
{
    QFETCH(int, row);
    QFETCH(bool, doubleClick);
    QFETCH(QString, sent);

    BookmarkList list;
    fill(list, "ab|c");
    BookmarkWidget widget;
    widget.setBookmarks(&list);
    showActive(widget);
    QSignalSpy activated(&list, &BookmarkList::activated);
    QSignalSpy triggered(list.action(row), &QAction::triggered);

    QListView* lv = view(widget);
    const QModelIndex index = lv->model()->index(row, 0);
    lv->setCurrentIndex(index);
    if (doubleClick) {
        const QPoint centre = lv->visualRect(index).center();
        // A double click is a click followed by a double-click event.
        QTest::mouseClick(lv->viewport(), Qt::LeftButton, {}, centre);
        QTest::mouseDClick(lv->viewport(), Qt::LeftButton, {}, centre);
    } else {
        QTest::keyClick(lv, Qt::Key_Return);
    }
    QCOMPARE(activated.count(), sent.isEmpty() ? 0 : 1);
    QCOMPARE(triggered.count(), sent.isEmpty() ? 0 : 1);
    if (!sent.isEmpty())
        QCOMPARE(activated.at(0).at(0).value<QAction*>()->text(), sent);
}

void TestBookmarkWidget::keysMoveAndDelete_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("order");
    QTest::addColumn<int>("current");

    QTest::newRow("up") << 2 << int(Qt::Key_Up) << "acbd" << 1;
    QTest::newRow("down") << 1 << int(Qt::Key_Down) << "acbd" << 2;
    QTest::newRow("up at the top") << 0 << int(Qt::Key_Up) << "abcd" << 0;
    QTest::newRow("down at the bottom") << 3 << int(Qt::Key_Down) << "abcd" << 3;
    QTest::newRow("delete") << 1 << int(Qt::Key_Delete) << "acd" << 1;
    QTest::newRow("delete the last") << 3 << int(Qt::Key_Delete) << "abc" << 2;
}

void TestBookmarkWidget::keysMoveAndDelete()
{
    QFETCH(int, row);
    QFETCH(int, key);
    QFETCH(QString, order);
    QFETCH(int, current);

    BookmarkList list;
    fill(list, "abcd");
    list.setClean();
    BookmarkWidget widget;
    widget.setBookmarks(&list);
    showActive(widget);
    QListView* lv = view(widget);
    lv->setFocus();
    lv->setCurrentIndex(lv->model()->index(row, 0));
    const Qt::KeyboardModifiers modifiers =
        key == Qt::Key_Delete ? Qt::NoModifier : Qt::ControlModifier;
    QTest::keyClick(lv, Qt::Key(key), modifiers);
    QCOMPARE(::order(list), order);
    QCOMPARE(lv->currentIndex().row(), current);
    QCOMPARE(list.isDirty(), ::order(list) != QStringLiteral("abcd"));
}

void TestBookmarkWidget::anotherList()
{
    BookmarkList first;
    fill(first, "ab");
    BookmarkList second;
    fill(second, "xyz");
    BookmarkWidget widget;
    widget.setBookmarks(&first);
    widget.setBookmarks(&second);
    QCOMPARE(widget.bookmarks(), &second);
    QListView* lv = view(widget);
    QCOMPARE(lv->model()->rowCount(), 3);

    QSignalSpy fromFirst(&first, &BookmarkList::activated);
    QSignalSpy fromSecond(&second, &BookmarkList::activated);
    widget.onActivated(lv->model()->index(2, 0));
    QCOMPARE(fromFirst.count(), 0);
    QCOMPARE(fromSecond.count(), 1);
    QCOMPARE(fromSecond.at(0).at(0).value<QAction*>(), second.action(2));

    widget.setBookmarks(nullptr);
    QCOMPARE(lv->model()->rowCount(), 0);
    widget.onActivated(QModelIndex());
    widget.onMoveUp();
    widget.onDelete();
}

void TestBookmarkWidget::noBookmarks()
{
    BookmarkList list;
    BookmarkWidget widget;
    widget.setBookmarks(&list);
    showActive(widget);
    QListView* lv = view(widget);
    // A hint instead of an empty white box.
    QVERIFY(!lv->isVisible());
    const auto labels = widget.findChildren<QLabel*>();
    QVERIFY(std::any_of(labels.begin(), labels.end(),
                        [](const QLabel* l) { return l->isVisible() && !l->text().isEmpty(); }));
    QTest::keyClick(&widget, Qt::Key_Delete);

    fill(list, "a");
    QVERIFY(lv->isVisible());
    list.clear();
    QVERIFY(!lv->isVisible());
}

void TestBookmarkWidget::manyBookmarks()
{
    BookmarkList list;
    for (int i = 0; i < 500; ++i) {
        auto* action = new QAction(QStringLiteral("Bookmark %1").arg(i));
        action->setData(QStringLiteral("1001=%1").arg(i));
        list.addAction(action);
    }
    BookmarkWidget widget;
    widget.setBookmarks(&list);
    showActive(widget);
    QListView* lv = view(widget);
    QVERIFY(lv->isVisible());
    // The list scrolls; the panel does not grow with it.
    QVERIFY(widget.minimumSizeHint().height() < 300);
    QVERIFY(lv->verticalScrollBar()->isVisible());

    const QModelIndex last = lv->model()->index(499, 0);
    lv->setCurrentIndex(last);
    lv->scrollTo(last);
    QVERIFY(lv->viewport()->rect().intersects(lv->visualRect(last)));
    QSignalSpy activated(&list, &BookmarkList::activated);
    QTest::keyClick(lv, Qt::Key_Return);
    QCOMPARE(activated.count(), 1);
    QCOMPARE(activated.at(0).at(0).value<QAction*>(), list.action(499));
}

QTEST_MAIN(TestBookmarkWidget)
#include "tst_bookmarkwidget.moc"
