// SPDX-License-Identifier: MIT
// The trace view's rows: where open message lines put their element lines
// while lines come and go, the keys that move through them, following at
// the line limit, and the cost of a batch at any size of the trace.
#include "trace/widgets/traceview.h"

#include "tests/support/tracewindow.h"

#include <QAccessible>
#include <QScrollBar>
#include <QtTest>

#include <ctime>

namespace {

// What the view must show: each line, then the lines under it while it is open.
void flatten(const TraceView& view, const QModelIndex& parent, QModelIndexList* out)
{
    const QAbstractItemModel* model = view.model();
    for (int row = 0; row < model->rowCount(parent); ++row) {
        const QModelIndex index = model->index(row, 0, parent);
        out->append(index);
        if (view.isExpanded(index))
            flatten(view, index, out);
    }
}

// Every row of the view against the tree walked by hand; the element lines
// of closed lines have no row.
bool rowsMatchTheTree(const TraceView& view)
{
    QModelIndexList shown;
    flatten(view, QModelIndex(), &shown);
    if (view.visualRowCount() != shown.size()) {
        qWarning("%d rows, %lld expected", view.visualRowCount(), qlonglong(shown.size()));
        return false;
    }
    for (int row = 0; row < shown.size(); ++row) {
        if (view.indexAtRow(row) != shown.at(row) || view.rowOf(shown.at(row)) != row) {
            qWarning("row %d: %s", row, qPrintable(TraceWindow::textOf(view.indexAtRow(row))));
            return false;
        }
        const QModelIndex index = shown.at(row);
        const QAbstractItemModel* model = view.model();
        if (!view.isExpanded(index) && model->rowCount(index) > 0 && view.rowOf(model->index(0, 0, index)) != -1)
            return false;
    }
    return !view.indexAtRow(shown.size()).isValid();
}

qint64 threadCpuNs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// The event loop's CPU for batches of new lines on a full trace: the model
// drops as many at the top as arrive, the view follows and repaints.
qint64 batchCpuNs(int lines)
{
    constexpr int Batches = 12;
    constexpr int BatchLines = 200;
    TraceWindow trace(pumpDefinitions, lines);
    if (!trace.show())
        return -1;
    for (int i = 0; i < lines; ++i)
        trace.status(QStringLiteral("line %1").arg(i));
    trace.model->flush();
    QCoreApplication::processEvents();
    qint64 spent = 0;
    for (int batch = 0; batch <= Batches; ++batch) {
        for (int i = 0; i < BatchLines; ++i)
            trace.status(QStringLiteral("new %1").arg(i));
        const qint64 before = threadCpuNs();
        trace.model->flush();
        trace.view->viewport()->repaint();
        QCoreApplication::processEvents();
        // The first batch pays for what a first batch pays for at any size.
        if (batch > 0)
            spent += threadCpuNs() - before;
    }
    return trace.view->isFollowing() ? spent / Batches : -1;
}

} // namespace

class TestTraceViewRows : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void openLinesKeepTheirRowsWhileLinesGo_data();
    void openLinesKeepTheirRowsWhileLinesGo();
    void keysMoveThroughTheRows_data();
    void keysMoveThroughTheRows();
    void followsAtTheLimit_data();
    void followsAtTheLimit();
    void batchCostsTheSameAtAnySize();
    void screenReaderReadsTheRows();
};

void TestTraceViewRows::openLinesKeepTheirRowsWhileLinesGo_data()
{
    QTest::addColumn<int>("dropped"); // lines dropped at the top by the limit
    QTest::addColumn<QString>("taken"); // a line deleted besides, or none
    QTest::addColumn<QStringList>("open"); // the open lines that stay
    QTest::newRow("nothing dropped") << 0 << QString() << QStringList{"A", "B"};
    QTest::newRow("lines above every open one") << 5 << QString() << QStringList{"A", "B"};
    QTest::newRow("the first open line") << 11 << QString() << QStringList{"B"};
    QTest::newRow("every open line") << 24 << QString() << QStringList();
    QTest::newRow("every line") << 40 << QString() << QStringList();
    QTest::newRow("an open line deleted") << 0 << "A" << QStringList{"B"};
    QTest::newRow("a line between open ones deleted") << 3 << "between" << QStringList{"A", "B"};
}

void TestTraceViewRows::openLinesKeepTheirRowsWhileLinesGo()
{
    QFETCH(int, dropped);
    QFETCH(QString, taken);
    QFETCH(QStringList, open);
    constexpr int Limit = 40;
    TraceWindow trace(pumpDefinitions, Limit);
    QVERIFY(trace.show());
    const auto message = [](const QString& name) {
        return QStringLiteral("GetStatus=(PumpId=1 StationName=\"%1\")").arg(name);
    };
    for (int i = 0; i < 10; ++i)
        trace.status(QStringLiteral("before %1").arg(i));
    trace.send(message(QStringLiteral("A")));
    trace.status(QStringLiteral("between"));
    for (int i = 0; i < 4; ++i)
        trace.status(QStringLiteral("after A %1").arg(i));
    trace.send(message(QStringLiteral("B")));
    trace.send(message(QStringLiteral("C")));
    for (int i = 0; i < 5; ++i)
        trace.status(QStringLiteral("after C %1").arg(i));
    trace.model->flush();
    TraceView* view = trace.view;
    const QPersistentModelIndex a = trace.line(message(QStringLiteral("A")));
    const QPersistentModelIndex b = trace.line(message(QStringLiteral("B")));
    const QPersistentModelIndex c = trace.line(message(QStringLiteral("C")));
    // A open; B open with its request open; only C's request open, which
    // shows nothing while C is closed.
    view->setExpanded(a, true);
    view->setExpanded(b, true);
    view->setExpanded(trace.model->index(0, 0, b), true);
    view->setExpanded(trace.model->index(0, 0, c), true);
    QVERIFY(rowsMatchTheTree(*view));
    QCOMPARE(view->visualRowCount(), trace.model->rowCount() + 1 + 1 + 2);

    const int lines = trace.model->rowCount();
    for (int i = 0; i < Limit - lines + dropped; ++i)
        trace.status(QStringLiteral("late %1").arg(i));
    trace.model->flush();
    if (!taken.isEmpty()) {
        const QModelIndex line = taken == QLatin1String("A") ? QModelIndex(a) : trace.line(taken);
        QVERIFY(line.isValid());
        trace.model->remove(line);
    }
    QCOMPARE(trace.model->rowCount(), Limit - (taken.isEmpty() ? 0 : 1));
    QVERIFY(rowsMatchTheTree(*view));
    QStringList stillOpen;
    for (int row = 0; row < trace.model->rowCount(); ++row) {
        if (view->isExpanded(trace.model->index(row, 0)))
            stillOpen
                << TraceWindow::textOf(trace.model->index(row, 0)).section(QLatin1Char('"'), 1, 1);
    }
    QCOMPARE(stillOpen, open);
    // C kept its open request: opening C shows it open.
    if (c.isValid()) {
        view->setExpanded(c, true);
        QVERIFY(view->isExpanded(trace.model->index(0, 0, c)));
        QVERIFY(rowsMatchTheTree(*view));
    }
    // Every row is painted where indexAt finds it.
    for (int row = view->verticalScrollBar()->value(); row < view->visualRowCount(); ++row) {
        const QModelIndex index = view->indexAtRow(row).siblingAtColumn(TraceModel::TextColumn);
        const QRect rect = view->visualRect(index);
        if (rect.top() > view->viewport()->height())
            break;
        QCOMPARE(view->indexAt(rect.center()), index);
    }
}

void TestTraceViewRows::keysMoveThroughTheRows_data()
{
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<QString>("current"); // the text of the current line after them
    QTest::addColumn<bool>("open");       // the message line is open
    const QString message = QStringLiteral("GetStatus=(PumpId=4 StationName=\"x\")");
    QTest::newRow("down") << QList<int>{Qt::Key_Down} << message << false;
    QTest::newRow("down past a closed line") << QList<int>{Qt::Key_Down, Qt::Key_Down} << "status 2" << false;
    QTest::newRow("right opens") << QList<int>{Qt::Key_Down, Qt::Key_Right} << message << true;
    QTest::newRow("right again enters") << QList<int>{Qt::Key_Down, Qt::Key_Right, Qt::Key_Right}
                                        << "GetStatus" << true;
    QTest::newRow("down through element lines")
        << QList<int>{Qt::Key_Down, Qt::Key_Right, Qt::Key_Right, Qt::Key_Right, Qt::Key_Down} << "PumpId = 4"
        << true;
    QTest::newRow("down past a closed element line")
        << QList<int>{Qt::Key_Down, Qt::Key_Right, Qt::Key_Down, Qt::Key_Down} << "status 2" << true;
    QTest::newRow("left goes to the parent")
        << QList<int>{Qt::Key_Down, Qt::Key_Right, Qt::Key_Right, Qt::Key_Left} << message << true;
    QTest::newRow("left closes") << QList<int>{Qt::Key_Down, Qt::Key_Right, Qt::Key_Left} << message << false;
    QTest::newRow("plus opens") << QList<int>{Qt::Key_Down, Qt::Key_Plus} << message << true;
    QTest::newRow("minus closes") << QList<int>{Qt::Key_Down, Qt::Key_Plus, Qt::Key_Minus} << message << false;
    QTest::newRow("up from the element lines")
        << QList<int>{Qt::Key_Down, Qt::Key_Plus, Qt::Key_Down, Qt::Key_Down, Qt::Key_Up, Qt::Key_Up} << message
        << true;
    QTest::newRow("end") << QList<int>{Qt::Key_End} << "status 59" << false;
    QTest::newRow("end, home") << QList<int>{Qt::Key_End, Qt::Key_Home} << "status 0" << false;
    QTest::newRow("page down, page up") << QList<int>{Qt::Key_PageDown, Qt::Key_PageUp} << "status 0" << false;
    QTest::newRow("up at the top") << QList<int>{Qt::Key_Up} << "status 0" << false;
}

void TestTraceViewRows::keysMoveThroughTheRows()
{
    QFETCH(QList<int>, keys);
    QFETCH(QString, current);
    QFETCH(bool, open);
    TraceWindow trace;
    QVERIFY(trace.show());
    trace.status(QStringLiteral("status 0"));
    trace.send(QStringLiteral("GetStatus=(PumpId=4 StationName=\"x\")"));
    for (int i = 2; i < 60; ++i)
        trace.status(QStringLiteral("status %1").arg(i));
    trace.model->flush();
    TraceView* view = trace.view;
    view->setFocus();
    view->setCurrentIndex(trace.model->index(0, 0));
    for (int key : std::as_const(keys))
        QTest::keyClick(view, Qt::Key(key));
    QCOMPARE(TraceWindow::textOf(view->currentIndex()).trimmed(), current);
    QCOMPARE(view->isExpanded(trace.model->index(1, 0)), open);
    // The current line is in sight, and only it is selected.
    QVERIFY(view->viewport()->rect().contains(view->visualRect(view->currentIndex()).center()));
    const QModelIndexList selected = view->selectionModel()->selectedRows();
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.constFirst(), view->currentIndex().siblingAtColumn(0));
}

void TestTraceViewRows::followsAtTheLimit_data()
{
    QTest::addColumn<bool>("following");
    QTest::newRow("at the bottom") << true;
    QTest::newRow("scrolled up") << false;
}

// At the limit every new line pushes one out at the top: a following view
// shows the newest line, one scrolled up keeps showing what it showed.
void TestTraceViewRows::followsAtTheLimit()
{
    QFETCH(bool, following);
    constexpr int Limit = 200;
    TraceWindow trace(pumpDefinitions, Limit);
    QVERIFY(trace.show());
    TraceView* view = trace.view;
    QScrollBar* bar = view->verticalScrollBar();
    for (int i = 0; i < Limit; ++i)
        trace.status(QStringLiteral("line %1").arg(i));
    trace.model->flush();
    QCOMPARE(bar->value(), bar->maximum());
    if (!following)
        bar->setValue(bar->maximum() - 100);
    const QString top = trace.topText();
    int next = Limit;
    for (int batch = 0; batch < 5; ++batch) {
        for (int i = 0; i < 10; ++i)
            trace.status(QStringLiteral("line %1").arg(next++));
        trace.model->flush();
        QCOMPARE(trace.model->rowCount(), Limit);
        QCOMPARE(view->isFollowing(), following);
        if (following) {
            QCOMPARE(bar->value(), bar->maximum());
            const QModelIndex last = trace.model->index(Limit - 1, 0);
            QVERIFY(view->viewport()->rect().contains(view->visualRect(last).center()));
        } else {
            QCOMPARE(trace.topText(), top);
        }
    }
    // Lines in sight pushed out: the view stays at the top, still not following.
    for (int i = 0; i < Limit; ++i)
        trace.status(QStringLiteral("line %1").arg(next++));
    trace.model->flush();
    QCOMPARE(view->isFollowing(), following);
    if (following)
        QCOMPARE(bar->value(), bar->maximum());
    else
        QCOMPARE(trace.topText(), QStringLiteral("line 250"));
}

// A batch at 200,000 lines costs the event loop about what it costs at
// 1,000; a view that lays out every line again per batch costs many times
// more.
void TestTraceViewRows::batchCostsTheSameAtAnySize()
{
    const qint64 small = batchCpuNs(1000);
    const qint64 large = batchCpuNs(200000);
    QVERIFY(small > 0);
    QVERIFY(large > 0);
    qInfo("CPU per batch: %.2f ms at 1,000 lines, %.2f ms at 200,000", double(small) / 1e6, double(large) / 1e6);
    QVERIFY2(large < 4 * small + 2000000, qPrintable(QStringLiteral("%1 ns against %2 ns").arg(large).arg(small)));
}

// Each row's cells as the model's accessible text, in the order the view
// shows them, while lines open and go.
void TestTraceViewRows::screenReaderReadsTheRows()
{
    TraceWindow trace;
    QVERIFY(trace.show());
    trace.status(QStringLiteral("connected"));
    trace.send(QStringLiteral("GetStatus=(PumpId=4)"));
    trace.status(QStringLiteral("last"));
    trace.model->flush();
    const QPersistentModelIndex message = trace.model->index(1, 0);
    trace.view->setExpanded(message, true);
    QAccessibleInterface* tree = QAccessible::queryAccessibleInterface(trace.view);
    QVERIFY(tree);
    QCOMPARE(tree->role(), QAccessible::Tree);
    constexpr int Columns = TraceModel::ColumnCount;
    QCOMPARE(tree->childCount(), 4 * Columns);
    const auto read = [tree](int row, int column) {
        QAccessibleInterface* cell = tree->child(row * Columns + column);
        return cell ? cell->text(QAccessible::Name) : QStringLiteral("(none)");
    };
    QCOMPARE(read(0, TraceModel::TextColumn), QStringLiteral("connected"));
    QCOMPARE(read(1, TraceModel::SourceColumn), QStringLiteral("1 sent"));
    QCOMPARE(read(1, TraceModel::TextColumn), QStringLiteral("GetStatus=(PumpId=4)"));
    QCOMPARE(read(2, TraceModel::TextColumn),
             trace.model->index(0, TraceModel::TextColumn, message).data().toString());
    QCOMPARE(read(3, TraceModel::TextColumn), QStringLiteral("last"));
    QAccessibleInterface* line = tree->child(Columns);
    QVERIFY(line->state().expandable);
    QVERIFY(line->state().expanded);
    QCOMPARE(tree->indexOfChild(line), Columns);
    QCOMPARE(tree->childAt(line->rect().center().x(), line->rect().center().y()), line);

    // The first line goes: every row reads one up.
    trace.model->remove(trace.model->index(0, 0));
    QCOMPARE(tree->childCount(), 3 * Columns);
    QCOMPARE(read(0, TraceModel::TextColumn), QStringLiteral("GetStatus=(PumpId=4)"));
    QCOMPARE(read(2, TraceModel::TextColumn), QStringLiteral("last"));
    trace.view->setExpanded(message, false);
    QCOMPARE(read(1, TraceModel::TextColumn), QStringLiteral("last"));
}

QTEST_MAIN(TestTraceViewRows)
#include "tst_traceviewrows.moc"
