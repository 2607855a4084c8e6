// SPDX-License-Identifier: MIT
#include "trace/widgets/traceview.h"

#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/plotdefinitions.h"
#include "tests/support/stallmeter.h"
#include "tests/support/statusreply.h"
#include "tests/support/tracelines.h"
#include "tests/support/tracewindow.h"
#include "trace/tracefilter.h"
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/widgets/tracesearch.h"
#include "trace/widgets/traceundo.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

namespace {

// "1.0.2": rows from the top-level line down.
QString pathOf(QModelIndex index)
{
    QStringList rows;
    for (; index.isValid(); index = index.parent())
        rows.prepend(QString::number(index.row()));
    return rows.join(QLatin1Char('.'));
}

// Two replies among status lines, read with the demo definitions.
struct FindTrace : TraceWindow
{
    FindTrace() : TraceWindow(readFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")))
    {
        const QDateTime t(QDate(2024, 3, 1), QTime(12, 0));
        model->append(QStringLiteral("1"), QStringLiteral("connected to pump"), ColorText, t);
        model->append(QStringLiteral("1"), statusReply(QStringLiteral("north")), ColorMessageRx1,
                      t);
        model->append(QStringLiteral("1"), QStringLiteral("error: timeout"), ColorError, t);
        model->append(QStringLiteral("1"), statusReply(QStringLiteral("south")), ColorMessageRx1,
                      t);
        model->append(QStringLiteral("1"), QStringLiteral("Pump restarted"), ColorText, t);
        model->flush();
    }
};

constexpr int Lines = 200000;
constexpr int Pumps = 100;
// A slice is 20 ms; the bound leaves room for a slow, shared machine.
constexpr qint64 MaxStallMs = 150;

// A long trace: pumps 0..99 in turn, one line in a hundred per pump.
struct LongTrace : TraceWindow
{
    LongTrace() : TraceWindow(pumpDefinitions, Lines)
    {
        QRV16::MessageParser parser(tags.get());
        for (int pump = 0; pump < Pumps; ++pump)
            messages.push_back(parser.parse(
                QStringLiteral("GetStatus=(PumpId=%1 StationName=\"s%1\")").arg(pump)));
    }

    bool fill()
    {
        for (int i = 0; i < Lines; ++i)
            sendPump(i % Pumps);
        model->flush();
        return show();
    }

    void sendPump(int pump)
    {
        model->append(QStringLiteral("1"), messages[size_t(pump)], ColorMessageRx1, QDateTime());
    }

    FindBar* findBar() const { return search->findBar(); }
    FilterBar* filterBar() const { return search->filterBar(); }

    std::vector<QRV16::Message> messages;
};

} // namespace

class TestTraceView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void copyTellsSentFromReceived_data();
    void copyTellsSentFromReceived();
    void autoScrollFollowsLikeATerminal();
    void filterKeepsWhatTheUserLooksAt();
    void clearingTheFilterKeepsTheView();
    void removalsComeBack_data();
    void removalsComeBack();
    void undoBringsBackWhatWasRemoved_data();
    void undoBringsBackWhatWasRemoved();
    void doubleClickedMessageGoesToTheEntryLine_data();
    void doubleClickedMessageGoesToTheEntryLine();
    void contextMenuPlotsNumericElementsOnly_data();
    void contextMenuPlotsNumericElementsOnly();
    void findStepsThroughTheMatches_data();
    void findStepsThroughTheMatches();
    void findBadPatternShowsItsPosition();
    void findEscapeCloses();
    void filterBarShowsTheExpressionError();
    // Over a long trace: the event loop keeps running while every line is
    // read, Stop and Escape leave the trace as it was.
    void findShowsTheNextMatchWithoutStalling();
    void filterAppliesWithoutStalling();
    void stopLeavesTheTraceAsItWas_data();
    void stopLeavesTheTraceAsItWas();
};

void TestTraceView::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestTraceView::init()
{
    QSettings().clear();
}

void TestTraceView::copyTellsSentFromReceived_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<int>("color");
    QTest::addColumn<QString>("shown");      // the "#" column as copied
    QTest::addColumn<QString>("accessible"); // and as a screen reader says it
    QTest::newRow("message sent") << "1" << int(ColorMessageTx1) << QStringLiteral("1 \u2192") << "1 sent";
    QTest::newRow("message received") << "2" << int(ColorMessageRx2) << QStringLiteral("2 \u2190") << "2 received";
    QTest::newRow("raw bytes received") << "1 Raw" << int(ColorRawRx1) << QStringLiteral("1 Raw \u2190")
                                        << "1 Raw received";
    QTest::newRow("hex bytes sent") << "2 Hex" << int(ColorHexTx2) << QStringLiteral("2 Hex \u2192") << "2 Hex sent";
    QTest::newRow("status line") << "1 Con" << int(ColorText) << "1 Con" << "";
    QTest::newRow("error line") << "1 Err" << int(ColorError) << "1 Err" << "";
}

// Selected lines are copied in the order shown. A sent and a received line
// differ in what is copied and read out, not only in colour; the model's
// own text stays the channel.
void TestTraceView::copyTellsSentFromReceived()
{
    QFETCH(QString, source);
    QFETCH(int, color);
    QFETCH(QString, shown);
    QFETCH(QString, accessible);
    TraceWindow trace;
    trace.status(QStringLiteral("first"));
    QRV16::MessageParser parser(trace.tags.get());
    trace.model->append(source, parser.parse(QStringLiteral("GetStatus=(PumpId=4)")), StyleColor(color),
                        QDateTime());
    trace.status(QStringLiteral("last"));
    trace.model->flush();
    const QAbstractItemModel* model = trace.view->model();
    const QModelIndex line = model->index(1, 0);
    const QModelIndex pump = model->index(0, 0, model->index(0, 0, line));
    // Selected out of order: copied in the order shown.
    trace.view->selectionModel()->clearSelection();
    for (const QModelIndex& index : {model->index(2, 0), pump, line, model->index(0, 0)})
        trace.view->selectionModel()->select(index, QItemSelectionModel::Select |
                                                        QItemSelectionModel::Rows);
    trace.view->copyAction()->trigger();
    const QStringList copied = QApplication::clipboard()->text().split(QLatin1Char('\n'));
    QCOMPARE(copied.size(), 5);
    QVERIFY(copied.at(0).endsWith(QStringLiteral("\t\tMain\tfirst")));
    const QStringList cells = copied.at(1).split(QLatin1Char('\t'));
    QCOMPARE(cells.size(), 4);
    QCOMPARE(cells.at(2), shown);
    QCOMPARE(cells.at(3), QStringLiteral("GetStatus=(PumpId=4)"));
    QCOMPARE(copied.at(2), QStringLiteral("    PumpId = 4"));
    QVERIFY(copied.at(3).endsWith(QStringLiteral("\t\tMain\tlast")));
    QVERIFY(copied.at(4).isEmpty());
    const QModelIndex sourceCell = line.siblingAtColumn(TraceModel::SourceColumn);
    QCOMPARE(sourceCell.data().toString(), source);
    QCOMPARE(sourceCell.data(Qt::AccessibleTextRole).toString(), accessible);
    // The lines inside a message have no direction of their own.
    const QModelIndex element = trace.view->model()->index(0, TraceModel::SourceColumn, line);
    QVERIFY(element.isValid());
    QCOMPARE(element.data(TraceModel::DirectionRole).toInt(), int(NoDirection));
}

void TestTraceView::autoScrollFollowsLikeATerminal()
{
    TraceWindow trace;
    QVERIFY(trace.show());
    TraceView* view = trace.view;
    QScrollBar* bar = view->verticalScrollBar();

    QVERIFY(trace.addLines(200));
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());
    QVERIFY(view->isFollowing());

    // Scrolled up, the view keeps showing the same lines.
    bar->setValue(bar->maximum() - 20);
    const QString top = trace.topText();
    QVERIFY(trace.addLines(50));
    QCOMPARE(trace.topText(), top);
    QVERIFY(bar->value() < bar->maximum());

    // Back at the bottom it follows again.
    bar->setValue(bar->maximum());
    QVERIFY(trace.addLines(50));
    QCOMPARE(bar->value(), bar->maximum());

    // A click stops it and keeps that line current while lines arrive; End
    // resumes it.
    const QModelIndex clicked = view->indexAt(QPoint(5, view->viewport()->height() / 2));
    const QString text = clicked.siblingAtColumn(TraceModel::TextColumn).data().toString();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(clicked).center());
    QVERIFY(!view->isFollowing());
    QVERIFY(trace.addLines(50));
    QVERIFY(bar->value() < bar->maximum());
    QCOMPARE(view->currentIndex().siblingAtColumn(TraceModel::TextColumn).data().toString(), text);
    const QModelIndexList selected = view->selectionModel()->selectedRows(TraceModel::TextColumn);
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.constFirst().data().toString(), text);
    // Delete acts on that line, not on the newest.
    const QString newest = lines(*trace.model).constLast();
    view->deleteAction()->trigger();
    QVERIFY(!lines(*trace.model).contains(QStringLiteral("Main|") + text));
    QCOMPARE(lines(*trace.model).constLast(), newest);
    view->setFocus();
    QTest::keyClick(view, Qt::Key_End);
    QVERIFY(trace.addLines(50));
    QCOMPARE(bar->value(), bar->maximum());

    // Auto scroll off: no following at all.
    view->setOptions(TraceOptions().with(TraceOptions::AutoScroll, false));
    QVERIFY(trace.addLines(50));
    QVERIFY(bar->value() < bar->maximum());
}

// Without a filter the view shows the trace itself; setting and clearing one
// keeps the current line, the selection and the expanded messages.
void TestTraceView::filterKeepsWhatTheUserLooksAt()
{
    TraceWindow trace;
    QVERIFY(trace.show());
    TraceView* view = trace.view;
    TraceModel* model = trace.model;
    QVERIFY(trace.addLines(3));
    for (int i = 0; i < 3; ++i)
        trace.send(QStringLiteral("GetStatus=(PumpId=%1)").arg(i));
    QVERIFY(trace.addLines(3));
    QCOMPARE(view->model(), model);
    const QStringList all = lines(*model);
    const int message = all.indexOf(QStringLiteral("1|GetStatus=(PumpId=1)"));
    QVERIFY2(message > 0, qPrintable(all.join(QLatin1Char('\n'))));
    view->setExpanded(model->index(message, 0), true);
    view->setCurrentIndex(model->index(message, 0));
    view->selectionModel()->select(model->index(message + 1, 0),
                                   QItemSelectionModel::Select | QItemSelectionModel::Rows);
    view->setColumnWidth(TraceModel::TimeColumn, 123);

    FilterBar* bar = trace.search->filterBar();
    trace.search->filterAction()->setChecked(true);
    bar->findChild<QComboBox*>(QStringLiteral("m_cb_kind"))->setCurrentIndex(TraceFilter::MessageKind);
    QVERIFY(view->model() != model);
    QCOMPARE(view->model()->rowCount(), 3);
    QCOMPARE(view->currentIndex().siblingAtColumn(TraceModel::TextColumn).data().toString(),
             QStringLiteral("GetStatus=(PumpId=1)"));
    QVERIFY(view->isExpanded(view->currentIndex()));
    QCOMPARE(view->selectionModel()->selectedRows().size(), 2);
    QCOMPARE(view->columnWidth(TraceModel::TimeColumn), 123);

    // Lines still arrive through the filter.
    trace.send(QStringLiteral("GetStatus=(PumpId=9)"));
    QTRY_COMPARE(view->model()->rowCount(), 4);

    bar->clear();
    QCOMPARE(view->model(), model);
    QCOMPARE(view->currentIndex(), model->index(message, 0));
    QVERIFY(view->isExpanded(view->currentIndex()));
    QCOMPARE(view->selectionModel()->selectedRows().size(), 2);
    QCOMPARE(view->columnWidth(TraceModel::TimeColumn), 123);
    // Delete still acts on the current line.
    view->deleteLine();
    QVERIFY(!lines(*model).contains(QStringLiteral("1|GetStatus=(PumpId=1)")));
}

// With no current line, the lines in sight stay in sight when the filter
// is cleared, and when it is set.
void TestTraceView::clearingTheFilterKeepsTheView()
{
    TraceWindow trace;
    QVERIFY(trace.show());
    TraceView* view = trace.view;
    for (int i = 0; i < 150; ++i) {
        trace.model->append(QStringLiteral("Main"), QStringLiteral("status %1").arg(i), ColorText);
        trace.model->append(QStringLiteral("Main"), QStringLiteral("trouble %1").arg(i), ColorError);
    }
    QVERIFY(trace.addLines(1));
    view->verticalScrollBar()->setValue(150);
    QVERIFY(!view->currentIndex().isValid());

    trace.search->filterAction()->setChecked(true);
    FilterBar* bar = trace.search->filterBar();
    bar->findChild<QComboBox*>(QStringLiteral("m_cb_kind"))->setCurrentIndex(TraceFilter::ErrorKind);
    QVERIFY(view->model() != trace.model);
    QCOMPARE(view->model()->rowCount(), 150);
    view->verticalScrollBar()->setValue(100);
    const QString top = trace.topText();
    QVERIFY2(top.startsWith(QLatin1String("trouble 1")), qPrintable(top));
    bar->clear();
    QCOMPARE(view->model(), trace.model);
    QCOMPARE(trace.topText(), top);
}

// Steps: "+a b" adds lines, "-a" deletes one, "clear" clears all, "outside"
// clears the trace behind the view's back, "limit N", "undo"; "=a b" is the
// trace then, "undo on" or "undo off" whether undo is offered.
void TestTraceView::removalsComeBack_data()
{
    QTest::addColumn<QStringList>("steps");

    QTest::newRow("deletes come back newest first") << QStringList{
        "+a b c d", "-b", "-c", "=a d", "undo", "=a c d", "undo", "=a b c d", "undo off"};
    // The line that a deleted one followed is gone: the deleted one comes
    // back at the top, where the limit has the last word.
    QTest::newRow("the line before left by the limit")
        << QStringList{"limit 4", "+a b c d", "-c",         "-a",   "+e f g",      "=d e f g",
                       "limit 6", "undo",     "=a d e f g", "undo", "=c a d e f g"};
    QTest::newRow("clearing from outside forgets the history")
        << QStringList{"+a b", "clear", "undo on", "+c", "outside", "undo off", "undo", "="};

    QStringList all;
    QStringList steps;
    for (int i = 0; i < TraceUndo::Depth + 5; ++i) {
        all << QString::number(i);
        steps << QStringLiteral("-%1").arg(i);
    }
    steps.prepend(QLatin1Char('+') + all.join(QLatin1Char(' ')));
    steps << QStringLiteral("=");
    for (int i = 0; i < TraceUndo::Depth; ++i)
        steps << QStringLiteral("undo");
    steps << QStringLiteral("undo off") << QLatin1Char('=') + all.mid(5).join(QLatin1Char(' '));
    QTest::newRow("only the last removals are kept") << steps;
}

void TestTraceView::removalsComeBack()
{
    QFETCH(QStringList, steps);
    TraceWindow trace;
    TraceView* view = trace.view;
    const QDateTime base(QDate(2011, 3, 4), QTime(10, 20, 30));
    int seconds = 0;
    for (const QString& step : std::as_const(steps)) {
        const QString rest = step.mid(1);
        if (step.startsWith(QLatin1Char('+'))) {
            // Ten seconds apart: never sorted in before one another.
            for (const QString& text : rest.split(QLatin1Char(' ')))
                trace.model->append(QStringLiteral("Main"), text, ColorText,
                                    base.addSecs(seconds += 10));
            trace.model->flush();
        } else if (step.startsWith(QLatin1Char('-'))) {
            QVERIFY2(trace.line(rest).isValid(), qPrintable(step));
            view->setCurrentIndex(trace.line(rest));
            view->deleteAction()->trigger();
        } else if (step.startsWith(QLatin1Char('='))) {
            QCOMPARE(
                lines(*trace.model).replaceInStrings(QStringLiteral("Main|"), QString()).join(' '),
                rest);
        } else if (step.startsWith(QLatin1String("limit "))) {
            trace.model->setLimit(step.mid(6).toInt());
        } else if (step == QLatin1String("clear")) {
            view->clearAction()->trigger();
        } else if (step == QLatin1String("outside")) {
            trace.model->clear();
        } else if (step == QLatin1String("undo")) {
            view->undoAction()->trigger();
        } else {
            QCOMPARE(view->undoAction()->isEnabled(), step == QLatin1String("undo on"));
        }
    }
}

void TestTraceView::undoBringsBackWhatWasRemoved_data()
{
    QTest::addColumn<QString>("removal");
    QTest::newRow("clear all") << "clear";
    QTest::newRow("delete the line above an open message") << "above";
    QTest::newRow("delete an open message from its element") << "element";
}

// F8 and Del take lines away; Undo (Ctrl+Z) puts them back as they were,
// with the lines that came since below them.
void TestTraceView::undoBringsBackWhatWasRemoved()
{
    QFETCH(QString, removal);
    const bool clearAll = removal == QLatin1String("clear");
    TraceWindow trace;
    QVERIFY(trace.show());
    TraceView* view = trace.view;
    TraceModel* model = trace.model;
    QSignalSpy cleared(view, &TraceView::cleared);
    QVERIFY(trace.addLines(60));
    trace.send(QStringLiteral("GetStatus=(PumpId=1 StationName=\"x\")"));
    QVERIFY(trace.addLines(60));
    const QStringList before = lines(*model);
    const int message = before.indexOf(QStringLiteral("1|GetStatus=(PumpId=1 StationName=\"x\")"));
    QVERIFY(message > 0);
    view->setExpanded(model->index(message, 0), true);
    view->verticalScrollBar()->setValue(40);
    const QString top = trace.topText();
    QVERIFY(!top.isEmpty());

    QAction* undo = view->undoAction();
    QCOMPARE(undo->shortcut(), QKeySequence(QStringLiteral("Ctrl+Z")));
    // With no current line, Del takes nothing.
    view->setCurrentIndex(QModelIndex());
    view->deleteAction()->trigger();
    QCOMPARE(lines(*model), before);
    QVERIFY(!undo->isEnabled());

    QStringList expected = before;
    if (clearAll) {
        view->clearAction()->trigger();
        QCOMPARE(model->lineCount(), 0);
        QCOMPARE(cleared.count(), 1);
    } else {
        // From an element's element, Del takes the whole message.
        const int row = removal == QLatin1String("above") ? message - 1 : message;
        const QModelIndex line = model->index(row, 0);
        view->setCurrentIndex(row < message ? line : model->index(1, 0, model->index(0, 0, line)));
        view->deleteAction()->trigger();
        QStringList rest = before;
        rest.removeAt(row);
        QCOMPARE(lines(*model), rest);
        QCOMPARE(cleared.count(), 0);
    }
    QVERIFY(undo->isEnabled());
    QVERIFY(trace.addLines(1));
    expected << lines(*model).constLast();

    undo->trigger();
    model->flush();
    QCOMPARE(lines(*model), expected);
    QCOMPARE(model->rowCount(), expected.size());
    QVERIFY(view->isExpanded(model->index(message, 0)));
    QVERIFY(!undo->isEnabled());
    if (clearAll)
        QCOMPARE(trace.topText(), top);
}

void TestTraceView::doubleClickedMessageGoesToTheEntryLine_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("element");
    QTest::addColumn<QString>("expected"); // empty: nothing goes
    QTest::newRow("a message line") << 1 << false << "GetStatus=(PumpId=4)";
    QTest::newRow("an element of it") << 1 << true << "";
    QTest::newRow("a status line") << 0 << false << "";
}

void TestTraceView::doubleClickedMessageGoesToTheEntryLine()
{
    QFETCH(int, row);
    QFETCH(bool, element);
    QFETCH(QString, expected);
    TraceWindow trace;
    QVERIFY(trace.show());
    trace.model->append(QStringLiteral("Main"), QStringLiteral("status"), ColorText);
    trace.send(QStringLiteral("GetStatus=(PumpId=4)"));
    trace.model->flush();
    TraceView* view = trace.view;
    QModelIndex index = view->model()->index(row, TraceModel::TextColumn);
    if (element) {
        view->setExpanded(index.siblingAtColumn(0), true);
        index = view->model()->index(0, TraceModel::TextColumn, index.siblingAtColumn(0));
    }
    QVERIFY(index.isValid());
    QSignalSpy activated(view, &TraceView::messageActivated);
    const QPoint at = view->visualRect(index).center();
    // A double click is a click followed by a double-click event.
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, at);
    QCOMPARE(activated.count(), expected.isEmpty() ? 0 : 1);
    if (!expected.isEmpty())
        QCOMPARE(activated.at(0).at(0).toString(), expected);
}

void TestTraceView::contextMenuPlotsNumericElementsOnly_data()
{
    QTest::addColumn<int>("element"); // -1: the message line itself
    QTest::addColumn<QString>("entry");

    // Reply=(Temperature PumpMode Running Name Key Day Clock Stamp Flags Where Inner)
    QTest::newRow("the message line") << -1 << "";
    QTest::newRow("the message element") << -2 << "";
    QTest::newRow("integer") << 0 << "Plot Temperature";
    QTest::newRow("enum") << 1 << "Plot PumpMode";
    QTest::newRow("bool") << 2 << "Plot Running";
    QTest::newRow("string") << 3 << "";
    QTest::newRow("secure integer") << 4 << "";
    QTest::newRow("date") << 5 << "Plot Day";
    QTest::newRow("time") << 6 << "Plot Clock";
    QTest::newRow("date-time") << 7 << "Plot Stamp";
    QTest::newRow("bits") << 8 << "Plot Flags";
    QTest::newRow("point") << 9 << "Plot Where";
    QTest::newRow("nested list") << 10 << "";
}

// The trace's context menu offers a plot for what can be plotted, and asks
// for it by tag.
void TestTraceView::contextMenuPlotsNumericElementsOnly()
{
    QFETCH(int, element);
    QFETCH(QString, entry);

    TraceWindow trace{QByteArray(plotDefinitions)};
    trace.model->append(QStringLiteral("1"), QStringLiteral("connected"), ColorText);
    trace.send(QStringLiteral("Reply=(Temperature=1 PumpMode=Auto Running=true Name=x Key=3 Day=2024-03-01 "
                              "Clock=06:00:00 Stamp=2024-03-01T06:00:00 Flags=Ready Where=[1, 2] "
                              "Inner=(Temperature=2))"));
    trace.model->flush();
    TraceView* view = trace.view;
    const QModelIndex line = view->model()->index(view->model()->rowCount() - 1, 0);
    // The line's one element is the Reply, which holds the rest.
    const QModelIndex reply = view->model()->index(0, 0, line);
    const QModelIndex index = element == -1 ? line : element == -2 ? reply : view->model()->index(element, 0, reply);
    QVERIFY(index.isValid());

    std::unique_ptr<QMenu> menu(view->createContextMenu(index));
    QStringList plots;
    QAction* plot = nullptr;
    for (QAction* action : menu->actions()) {
        if (action->text().startsWith(QLatin1String("Plot "))) {
            plots << action->text();
            plot = action;
        }
    }
    QCOMPARE(plots, entry.isEmpty() ? QStringList() : QStringList{entry});
    // The trace's own entries stay.
    QVERIFY(menu->actions().contains(view->copyAction()));
    QVERIFY(menu->actions().contains(view->deleteAction()));
    // The status line has no entry either.
    std::unique_ptr<QMenu> status(view->createContextMenu(view->model()->index(0, 0)));
    for (QAction* action : status->actions())
        QVERIFY(!action->text().startsWith(QLatin1String("Plot ")));

    if (!plot)
        return;
    QSignalSpy requested(view, &TraceView::plotRequested);
    plot->trigger();
    QCOMPARE(requested.count(), 1);
    QCOMPARE(trace.tags->tagName(unsigned(requested.at(0).at(0).toInt())), entry.mid(5));
}

void TestTraceView::findStepsThroughTheMatches_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("matchCase");
    QTest::addColumn<bool>("regexp");
    QTest::addColumn<bool>("backward"); // the steps go back
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("hits"); // where typing lands, then one per step; "^": it wrapped

    QTest::newRow("text in lines and elements, any case")
        << "pump" << false << false << false << 4
        << QStringList{"0", "1.0.1", "1.0.1.0", "3.0.1", "3.0.1.0", "4", "0^", "1.0.1"};
    QTest::newRow("case kept") << "Pump" << true << false << false << 3
                               << QStringList{"1.0.1", "1.0.1.0", "3.0.1",  "3.0.1.0",
                                              "4",     "1.0.1^",  "1.0.1.0"};
    QTest::newRow("regular expression")
        << "nor.h|time" << false << true << false << 2 << QStringList{"1.0.2", "2", "1.0.2^", "2"};
    QTest::newRow("regular expression with case")
        << "^Error" << true << true << false << 0 << QStringList{""};
    QTest::newRow("a match in an element only")
        << "south" << false << false << false << 1 << QStringList{"3.0.2", "3.0.2^", "3.0.2^"};
    QTest::newRow("backward, wrapping to the end")
        << "pump" << false << false << true << 4
        << QStringList{"0", "4^", "3.0.1.0", "3.0.1", "1.0.1.0"};
}

void TestTraceView::findStepsThroughTheMatches()
{
    QFETCH(QString, text);
    QFETCH(bool, matchCase);
    QFETCH(bool, regexp);
    QFETCH(bool, backward);
    QFETCH(int, count);
    QFETCH(QStringList, hits);
    FindTrace trace;
    QVERIFY(trace.show());
    // Showing gave the view a current line; these searches start from none.
    trace.view->setCurrentIndex(QModelIndex());
    FindBar* bar = trace.search->findBar();

    bar->setCaseSensitive(matchCase);
    bar->setRegularExpression(regexp);
    bar->activate();
    bar->setText(text);
    QCOMPARE(bar->matchCount(), count);
    bool lineOneOpened = false;
    for (int i = 0; i < hits.size(); ++i) {
        if (i > 0 && backward)
            bar->findPrevious();
        else if (i > 0)
            bar->findNext();
        const bool wrapped = hits.at(i).endsWith(QLatin1Char('^'));
        QCOMPARE(pathOf(trace.view->currentIndex()), hits.at(i).chopped(wrapped ? 1 : 0));
        const QString wrap = backward ? QStringLiteral("continued from the bottom")
                                      : QStringLiteral("continued from the top");
        if (i > 0)
            QVERIFY2(bar->status().contains(wrap) == wrapped, qPrintable(bar->status()));
        // Lines open down to each hit, and no others.
        for (QModelIndex line = trace.view->currentIndex().parent(); line.isValid();
             line = line.parent())
            QVERIFY(trace.view->isExpanded(line));
        lineOneOpened = lineOneOpened || hits.at(i).startsWith(QLatin1String("1."));
        QCOMPARE(trace.view->isExpanded(trace.model->index(1, 0)), lineOneOpened);
    }
    if (count == 0)
        QCOMPARE(bar->status(), QStringLiteral("No match"));
    else if (count > 1)
        QCOMPARE(bar->status(), QStringLiteral("%1 matching lines").arg(count));
}

void TestTraceView::findBadPatternShowsItsPosition()
{
    FindTrace trace;
    QVERIFY(trace.show());
    trace.view->setCurrentIndex(QModelIndex());
    FindBar* bar = trace.search->findBar();
    bar->setRegularExpression(true);
    bar->setText(QStringLiteral("pump(s"));
    QCOMPARE(bar->matchCount(), 0);
    QVERIFY2(bar->status().startsWith(QStringLiteral("Error at 7:")), qPrintable(bar->status()));
    QVERIFY(!trace.view->currentIndex().isValid());
    // Fixed, it finds again.
    bar->setText(QStringLiteral("pump(s)?"));
    QCOMPARE(bar->matchCount(), 4);
}

void TestTraceView::findEscapeCloses()
{
    FindTrace trace;
    QVERIFY(trace.show());
    trace.view->setCurrentIndex(QModelIndex());
    FindBar* bar = trace.search->findBar();
    bar->activate();
    QVERIFY(bar->isVisible());
    QLineEdit* edit = bar->findChild<QLineEdit*>(QStringLiteral("m_le_find"));
    QVERIFY(edit);
    QTest::keyClicks(edit, QStringLiteral("time"));
    QCOMPARE(pathOf(trace.view->currentIndex()), QStringLiteral("2"));
    QTest::keyClick(edit, Qt::Key_Escape);
    QVERIFY(!bar->isVisible());
}

void TestTraceView::filterBarShowsTheExpressionError()
{
    FindTrace trace;
    TraceFilter filter(trace.model);
    FilterBar filterBar(&filter);
    filterBar.setTags(trace.tags.get());
    filterBar.setExpression(QStringLiteral("StationName=\"south\" or"));
    QCOMPARE(filterBar.error(), QStringLiteral("Column 23: expected a tag"));
    QCOMPARE(filter.rowCount(), 5);
    filterBar.setExpression(QStringLiteral("StationName=\"south\""));
    QVERIFY(filterBar.error().isEmpty());
    QCOMPARE(filter.rowCount(), 1);
    QCOMPARE(filter.mapToSource(filter.index(0, 0)).row(), 3);
    filterBar.clear();
    QVERIFY(filterBar.expression().isEmpty());
    QCOMPARE(filter.rowCount(), 5);
}

// From the current line on, the first match after it is shown and
// selected; the matches are counted after.
void TestTraceView::findShowsTheNextMatchWithoutStalling()
{
    LongTrace trace;
    QVERIFY(trace.fill());
    // Pump 0's lines are every hundredth: the next after 150,001 is 150,100.
    trace.view->setCurrentIndex(trace.model->index(150001, 0));
    trace.view->setFocus();
    korvtest::StallMeter meter;
    trace.findBar()->activate();
    trace.findBar()->setText(QStringLiteral("\"s0\""));
    QTRY_VERIFY_WITH_TIMEOUT(!trace.findBar()->isBusy(), 120000);
    meter.stop();
    // The element line that matches, in its message opened for it.
    QModelIndex line = trace.view->currentIndex();
    QCOMPARE(TraceWindow::textOf(trace.view->currentIndex()),
             QStringLiteral("StationName = \"s0\""));
    while (line.parent().isValid())
        line = line.parent();
    QCOMPARE(line.row(), 150100);
    QVERIFY(trace.view->isExpanded(line));
    QCOMPARE(trace.view->selectionModel()->selectedRows().size(), 1);
    QCOMPARE(trace.findBar()->matchCount(), Lines / Pumps);
    QCOMPARE(trace.findBar()->status(), QStringLiteral("2000 matching lines"));
    QVERIFY2(meter.longest < MaxStallMs, qPrintable(QString::number(meter.longest)));
    QVERIFY(meter.ticks > 2);
}

// Lines that arrive and lines the limit drops while the filter reads the
// trace are judged all the same.
void TestTraceView::filterAppliesWithoutStalling()
{
    LongTrace trace;
    QVERIFY(trace.fill());
    korvtest::StallMeter meter;
    trace.search->filterAction()->setChecked(true);
    trace.filterBar()->setExpression(QStringLiteral("PumpId=7"));
    QVERIFY(trace.filterBar()->isBusy());
    QVERIFY(trace.filterBar()->findChild<QPushButton*>(QStringLiteral("m_pb_stop"))->isVisible());
    // Pump 7 twice more, at the end, while the oldest three lines go.
    trace.sendPump(7);
    trace.sendPump(1);
    trace.sendPump(7);
    trace.model->flush();
    QTRY_VERIFY_WITH_TIMEOUT(!trace.filterBar()->isBusy(), 120000);
    meter.stop();
    QCOMPARE(trace.view->model(), trace.view->filter());
    // Two came at the end.
    QCOMPARE(trace.view->model()->rowCount(), Lines / Pumps + 2);
    for (int row : {0, trace.view->model()->rowCount() - 1}) {
        QCOMPARE(trace.view->model()->index(row, TraceModel::TextColumn).data().toString(),
                 QStringLiteral("GetStatus=(PumpId=7 StationName=\"s7\")"));
    }
    QVERIFY(!trace.filterBar()->findChild<QPushButton*>(QStringLiteral("m_pb_stop"))->isVisible());
    QVERIFY2(meter.longest < MaxStallMs, qPrintable(QString::number(meter.longest)));
}

void TestTraceView::stopLeavesTheTraceAsItWas_data()
{
    QTest::addColumn<bool>("filter"); // else find
    QTest::addColumn<bool>("escape"); // else the Stop button
    QTest::newRow("find, escape") << false << true;
    QTest::newRow("find, stop") << false << false;
    QTest::newRow("filter, escape") << true << true;
    QTest::newRow("filter, stop") << true << false;
}

void TestTraceView::stopLeavesTheTraceAsItWas()
{
    QFETCH(bool, filter);
    QFETCH(bool, escape);
    LongTrace trace;
    QVERIFY(trace.fill());
    trace.view->setCurrentIndex(trace.model->index(1000, 0));
    QWidget* bar =
        filter ? static_cast<QWidget*>(trace.filterBar()) : static_cast<QWidget*>(trace.findBar());
    if (filter) {
        trace.search->filterAction()->setChecked(true);
        trace.filterBar()->setExpression(QStringLiteral("PumpId=100"));
        QVERIFY(trace.filterBar()->isBusy());
    } else {
        trace.findBar()->activate();
        trace.findBar()->setText(QStringLiteral("no such text"));
        QVERIFY(trace.findBar()->isBusy());
    }
    // Some slices on.
    QTest::qWait(50);
    auto* stop = bar->findChild<QPushButton*>(QStringLiteral("m_pb_stop"));
    QVERIFY(stop->isVisible());
    if (escape)
        QTest::keyClick(bar->findChild<QLineEdit*>(filter ? QStringLiteral("m_le_expression")
                                                          : QStringLiteral("m_le_find")),
                        Qt::Key_Escape);
    else
        QTest::mouseClick(stop, Qt::LeftButton);
    QVERIFY(!(filter ? trace.filterBar()->isBusy() : trace.findBar()->isBusy()));
    QVERIFY(!stop->isVisible());
    // The bar stays for the next try.
    QVERIFY(bar->isVisible());
    QTest::qWait(100);
    QCOMPARE(trace.view->model(), trace.model);
    QCOMPARE(trace.model->rowCount(), Lines);
    QCOMPARE(trace.view->currentIndex(), trace.model->index(1000, 0));
    QVERIFY(!trace.view->filter()->isActive());
}

QTEST_MAIN(TestTraceView)
#include "tst_traceview.moc"
