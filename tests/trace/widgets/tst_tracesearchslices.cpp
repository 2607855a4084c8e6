// SPDX-License-Identifier: MIT
// Find and filter over a long trace, through their bars: the event loop
// keeps running while every line is read, Stop and Escape leave the trace
// as it was, and what is found is shown.
#include "trace/widgets/traceview.h"

#include "qrv16/messageparser.h"
#include "tests/support/stallmeter.h"
#include "tests/support/tracewindow.h"
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

namespace {

constexpr int Lines = 200000;
// Pumps 0..99 in turn: one line in a hundred per pump.
constexpr int Pumps = 100;
// A slice is 20 ms; the bound leaves room for a slow, shared machine.
constexpr qint64 MaxStallMs = 150;

struct Trace : TraceWindow
{
    Trace() : TraceWindow(pumpDefinitions, Lines)
    {
        QRV16::MessageParser parser(tags.get());
        for (int pump = 0; pump < Pumps; ++pump)
            messages.push_back(parser.parse(QStringLiteral("GetStatus=(PumpId=%1 StationName=\"s%1\")").arg(pump)));
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

class TestTraceSearchSlices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void findShowsTheNextMatchWithoutStalling();
    void filterAppliesWithoutStalling();
    void stopLeavesTheTraceAsItWas_data();
    void stopLeavesTheTraceAsItWas();
};

void TestTraceSearchSlices::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
}

// From the current line on, the first match after it is shown and
// selected; the matches are counted after.
void TestTraceSearchSlices::findShowsTheNextMatchWithoutStalling()
{
    Trace trace;
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
void TestTraceSearchSlices::filterAppliesWithoutStalling()
{
    Trace trace;
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

void TestTraceSearchSlices::stopLeavesTheTraceAsItWas_data()
{
    QTest::addColumn<bool>("filter"); // else find
    QTest::addColumn<bool>("escape"); // else the Stop button
    QTest::newRow("find, escape") << false << true;
    QTest::newRow("find, stop") << false << false;
    QTest::newRow("filter, escape") << true << true;
    QTest::newRow("filter, stop") << true << false;
}

void TestTraceSearchSlices::stopLeavesTheTraceAsItWas()
{
    QFETCH(bool, filter);
    QFETCH(bool, escape);
    Trace trace;
    QVERIFY(trace.fill());
    trace.view->setCurrentIndex(trace.model->index(1000, 0));
    QWidget* bar = filter ? static_cast<QWidget*>(trace.filterBar()) : static_cast<QWidget*>(trace.findBar());
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

QTEST_MAIN(TestTraceSearchSlices)
#include "tst_tracesearchslices.moc"
