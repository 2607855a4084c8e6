// SPDX-License-Identifier: MIT
// The item model over a bookmark list: rows follow every change of the
// list, the roles show the actions, and drag and drop moves rows.

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkmodel.h"
#include "tests/bookmarks/letters.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QMimeData>
#include <QSignalSpy>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

// The rows as the model shows them, '|' for a separator.
QString rows(const BookmarkModel& model)
{
    QString s;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        s += index.data(BookmarkModel::SeparatorRole).toBool() ? QStringLiteral("|")
                                                               : index.data().toString();
    }
    return s;
}

using Operation = std::function<void(BookmarkList&, BookmarkModel&)>;

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestBookmarkModel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void followsTheList_data();
    void followsTheList();
    void roles();
    void actionEditsRepaintTheirRow();
    void indexAndAction();
    void dragAndDrop_data();
    void dragAndDrop();
    void foreignDropsRefused();
    void listReplacedOrDestroyed();
};

void TestBookmarkModel::followsTheList_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("rows");

    const auto row = [](const char* name, const char* rows, Operation operation) {
        QTest::newRow(name) << operation << QString::fromLatin1(rows);
    };
    row("model inserts", "ax|bc",
        [](BookmarkList&, BookmarkModel& m) { QVERIFY(m.insertRow(1, bookmark("x"))); });
    row("model inserts past the end", "a|bcx",
        [](BookmarkList&, BookmarkModel& m) { QVERIFY(m.insertRow(-1, bookmark("x"))); });
    row("model removes", "abc", [](BookmarkList&, BookmarkModel& m) {
        QVERIFY(m.removeRow(1));
        QVERIFY(!m.removeRow(3));
    });
    row("model moves down", "|bca",
        [](BookmarkList&, BookmarkModel& m) { QVERIFY(m.moveRow(0, 3)); });
    row("model moves up", "ca|b",
        [](BookmarkList&, BookmarkModel& m) { QVERIFY(m.moveRow(3, 0)); });
    row("model move onto itself fails", "a|bc", [](BookmarkList&, BookmarkModel& m) {
        QVERIFY(!m.moveRow(2, 2));
        QVERIFY(!m.moveRow(0, 4));
    });
    row("list adds", "xa|bc",
        [](BookmarkList& l, BookmarkModel&) { l.addAction(bookmark("x"), 0); });
    row("list takes", "a|b", [](BookmarkList& l, BookmarkModel&) { delete l.takeAction(3); });
    row("list moves", "ab|c", [](BookmarkList& l, BookmarkModel&) { l.moveAction(1, 2); });
    row("list clears", "", [](BookmarkList& l, BookmarkModel&) { l.clear(); });
    row("action deleted", "|bc", [](BookmarkList& l, BookmarkModel&) { delete l.action(0); });
    row("many at both ends", "a|bc", [](BookmarkList& l, BookmarkModel& m) {
        for (int i = 0; i < 20; ++i) {
            m.insertRow(0, bookmark("y"));
            l.addAction(bookmark("z"));
        }
        for (int i = 0; i < 20; ++i) {
            m.removeRow(0);
            l.removeAction(l.count() - 1);
        }
    });
    // A list view moves rows inside itself with moveRows(); removeRows()
    // must never delete a bookmark after a drag.
    row("view moves down", "|bac", [](BookmarkList&, QAbstractItemModel& m) {
        QVERIFY(m.moveRows(QModelIndex(), 0, 1, QModelIndex(), 3));
    });
    row("view moves up", "ca|b", [](BookmarkList&, QAbstractItemModel& m) {
        QVERIFY(m.moveRows(QModelIndex(), 3, 1, QModelIndex(), 0));
    });
    row("view moves past the end, removes", "a|bc", [](BookmarkList&, QAbstractItemModel& m) {
        QVERIFY(!m.moveRows(QModelIndex(), 0, 2, QModelIndex(), 4));
        QVERIFY(!m.removeRows(0, 1));
    });
}

void TestBookmarkModel::followsTheList()
{
    QFETCH(Operation, operation);
    QFETCH(QString, rows);

    BookmarkList list;
    fill(list, "a|bc");
    BookmarkModel model(&list);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    operation(list, model);
    QCOMPARE(::rows(model), rows);
    QCOMPARE(model.rowCount(), list.count());
}

void TestBookmarkModel::roles()
{
    BookmarkList list;
    auto* full = new QAction(QStringLiteral("Get &status"));
    full->setToolTip(QStringLiteral("Asks <politely>"));
    full->setData(QStringLiteral("GetStatus"));
    full->setShortcut(QKeySequence(QStringLiteral("Ctrl+1")));
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::blue);
    full->setIcon(QIcon(pixmap));
    list.addAction(full);
    auto* onlyMessage = new QAction;
    onlyMessage->setData(QStringLiteral("SetPumpMode=(PumpId=2\n  PumpMode=Auto)"));
    list.addAction(onlyMessage);
    fill(list, "|");

    BookmarkModel model(&list);
    const QModelIndex first = model.index(0, 0);
    QCOMPARE(first.data().toString(), QStringLiteral("Get status"));
    QCOMPARE(first.data(Qt::EditRole).toString(), QStringLiteral("Get &status"));
    QCOMPARE(first.data(BookmarkModel::MessageRole).toString(), QStringLiteral("GetStatus"));
    QVERIFY(!first.data(Qt::DecorationRole).value<QIcon>().isNull());
    const QString tip = first.data(Qt::ToolTipRole).toString();
    QVERIFY2(tip.contains(QStringLiteral("Asks &lt;politely&gt;")), qPrintable(tip));
    QVERIFY2(tip.contains(QStringLiteral("<tt>GetStatus</tt>")), qPrintable(tip));
    QVERIFY2(
        tip.contains(QKeySequence(QStringLiteral("Ctrl+1")).toString(QKeySequence::NativeText)),
        qPrintable(tip));

    // A bookmark without text shows its message on one line.
    QCOMPARE(model.index(1, 0).data().toString(),
             QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Auto)"));
    QVERIFY(model.index(1, 0).data(Qt::DecorationRole).isNull());

    const QModelIndex rule = model.index(2, 0);
    QVERIFY(rule.data(BookmarkModel::SeparatorRole).toBool());
    QVERIFY(rule.data().toString().startsWith(QChar(0x2014)));
    QVERIFY(rule.data(Qt::ToolTipRole).isNull());

    QVERIFY(model.flags(first) & Qt::ItemIsDragEnabled);
    QVERIFY(!(model.flags(first) & Qt::ItemIsDropEnabled));
    QVERIFY(model.flags(QModelIndex()) & Qt::ItemIsDropEnabled);
}

void TestBookmarkModel::actionEditsRepaintTheirRow()
{
    BookmarkList list;
    fill(list, "abc");
    BookmarkModel model(&list);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy spy(&model, &QAbstractItemModel::dataChanged);

    list.action(1)->setText(QStringLiteral("renamed"));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toModelIndex().row(), 1);
    QCOMPARE(model.index(1, 0).data().toString(), QStringLiteral("renamed"));

    // Not saved, but shown.
    list.action(2)->setEnabled(false);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(0).toModelIndex().row(), 2);

    model.itemChanged(0);
    QCOMPARE(spy.count(), 3);
    QCOMPARE(spy.at(2).at(0).toModelIndex().row(), 0);
    model.itemChanged(9);
    QCOMPARE(spy.count(), 3);
}

void TestBookmarkModel::indexAndAction()
{
    BookmarkList list;
    fill(list, "abc");
    BookmarkModel model(&list);
    list.moveAction(0, 2);
    for (int row = 0; row < list.count(); ++row) {
        QCOMPARE(model.index2action(model.index(row, 0)), list.action(row));
        QCOMPARE(model.action2index(list.action(row)).row(), row);
    }
    QVERIFY(!model.index2action(QModelIndex()));
    QAction stranger;
    QVERIFY(!model.action2index(&stranger).isValid());
    BookmarkModel other(&list);
    QVERIFY(!model.index2action(other.index(0, 0)));
}

void TestBookmarkModel::dragAndDrop_data()
{
    QTest::addColumn<int>("dragged");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("onto");
    QTest::addColumn<bool>("dropped");
    QTest::addColumn<QString>("rows");

    QTest::newRow("down between rows") << 0 << 3 << -1 << true << "bcade";
    QTest::newRow("up between rows") << 4 << 1 << -1 << true << "aebcd";
    QTest::newRow("to the end") << 1 << -1 << -1 << true << "acdeb";
    QTest::newRow("onto a row goes before it") << 3 << -1 << 0 << true << "dabce";
    QTest::newRow("before itself") << 2 << 2 << -1 << false << "abcde";
    QTest::newRow("behind itself") << 2 << 3 << -1 << false << "abcde";
}

void TestBookmarkModel::dragAndDrop()
{
    QFETCH(int, dragged);
    QFETCH(int, row);
    QFETCH(int, onto);
    QFETCH(bool, dropped);
    QFETCH(QString, rows);

    BookmarkList list;
    fill(list, "abcde");
    BookmarkModel model(&list);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);

    QCOMPARE(model.mimeTypes(), QStringList{QStringLiteral("x-bookmark-move")});
    QCOMPARE(model.supportedDropActions(), Qt::MoveAction);
    QCOMPARE(model.supportedDragActions(), Qt::MoveAction);
    std::unique_ptr<QMimeData> data(model.mimeData({model.index(dragged, 0)}));
    QVERIFY(data);
    QCOMPARE(data->formats(), QStringList{QStringLiteral("x-bookmark-move")});
    const QModelIndex parent = onto >= 0 ? model.index(onto, 0) : QModelIndex();
    QVERIFY(model.canDropMimeData(data.get(), Qt::MoveAction, row, 0, parent));
    QVERIFY(!model.canDropMimeData(data.get(), Qt::CopyAction, row, 0, parent));
    QCOMPARE(model.dropMimeData(data.get(), Qt::MoveAction, row, 0, parent), dropped);
    QCOMPARE(::rows(model), rows);
}

void TestBookmarkModel::foreignDropsRefused()
{
    BookmarkList list;
    fill(list, "abc");
    BookmarkList otherList;
    fill(otherList, "xyz");
    BookmarkModel model(&list);
    BookmarkModel other(&otherList);

    std::unique_ptr<QMimeData> fromOther(other.mimeData({other.index(0, 0)}));
    QVERIFY(!model.canDropMimeData(fromOther.get(), Qt::MoveAction, 2, 0, QModelIndex()));
    QVERIFY(!model.dropMimeData(fromOther.get(), Qt::MoveAction, 2, 0, QModelIndex()));

    QMimeData text;
    text.setText(QStringLiteral("GetStatus"));
    QVERIFY(!model.dropMimeData(&text, Qt::MoveAction, 2, 0, QModelIndex()));

    QMimeData forged;
    forged.setData(QStringLiteral("x-bookmark-move"), "1 2 3");
    QVERIFY(!model.dropMimeData(&forged, Qt::MoveAction, 2, 0, QModelIndex()));

    // A row that has gone since the drag started.
    std::unique_ptr<QMimeData> stale(model.mimeData({model.index(2, 0)}));
    list.removeAction(2);
    QVERIFY(!model.dropMimeData(stale.get(), Qt::MoveAction, 0, 0, QModelIndex()));

    QVERIFY(!model.mimeData({}));
    QCOMPARE(rows(model), QStringLiteral("ab"));
    QCOMPARE(rows(other), QStringLiteral("xyz"));
}

void TestBookmarkModel::listReplacedOrDestroyed()
{
    auto first = std::make_unique<BookmarkList>();
    fill(*first, "abc");
    BookmarkList second;
    fill(second, "xy");
    BookmarkModel model(first.get());
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    model.setBookmarks(&second);
    QCOMPARE(resets.count(), 1);
    QCOMPARE(rows(model), QStringLiteral("xy"));
    // The old list no longer reaches the model.
    first->addAction(bookmark("d"));
    QCOMPARE(rows(model), QStringLiteral("xy"));

    model.setBookmarks(first.get());
    first.reset();
    QCOMPARE(model.rowCount(), 0);
    QVERIFY(!model.bookmarks());
    // Without a list nothing is taken over.
    std::unique_ptr<QAction> orphan(bookmark("z"));
    QVERIFY(!model.insertRow(0, orphan.get()));
    QVERIFY(!orphan->parent());
}

QTEST_MAIN(TestBookmarkModel)
#include "tst_bookmarkmodel.moc"
