// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "trace/widgets/plotdock.h"

#include "qrv16/messageparser.h"
#include "tests/support/plotdefinitions.h"

#include <QFile>
#include <QMenu>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

#include <memory>

// The trace's context menu offers a plot for what can be plotted and opens
// the plot dock with it.
class TestMainWindowPlot : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void contextMenuOnNumericElementsOnly_data();
    void contextMenuOnNumericElementsOnly();

private:
    QTemporaryDir m_dir;
};

void TestMainWindowPlot::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestMainWindowPlot::init()
{
    QSettings().clear();
}

void TestMainWindowPlot::contextMenuOnNumericElementsOnly_data()
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

void TestMainWindowPlot::contextMenuOnNumericElementsOnly()
{
    QFETCH(int, element);
    QFETCH(QString, entry);

    const QString defs = m_dir.filePath(QStringLiteral("defs.qrvdef"));
    {
        QFile file(defs);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(plotDefinitions);
    }
    MainWindow window;
    QVERIFY(window.loadDefinitionFile(defs));
    TraceModel* model = window.traceModel();
    model->clear();
    QRV16::MessageParser parser(window.tags());
    const QRV16::Message message = parser.parse(QStringLiteral(
        "Reply=(Temperature=1 PumpMode=Auto Running=true Name=x Key=3 Day=2024-03-01 Clock=06:00:00 "
        "Stamp=2024-03-01T06:00:00 Flags=Ready Where=[1, 2] Inner=(Temperature=2))"));
    QVERIFY2(!parser.hasError(), qPrintable(parser.errorMessage()));
    model->append(QStringLiteral("1"), QStringLiteral("connected"), ColorText);
    model->append(QStringLiteral("1"), message, ColorMessageRx1, QDateTime());
    model->flush();
    auto* view = window.findChild<QTreeView*>(QStringLiteral("m_tv_trace"));
    QVERIFY(view);
    const QModelIndex line = view->model()->index(view->model()->rowCount() - 1, 0);
    // The line's one element is the Reply, which holds the rest.
    const QModelIndex reply = view->model()->index(0, 0, line);
    const QModelIndex index = element == -1 ? line : element == -2 ? reply : view->model()->index(element, 0, reply);
    QVERIFY(index.isValid());

    std::unique_ptr<QMenu> menu(window.createTraceMenu(index));
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
    QVERIFY(menu->actions().size() > 3);
    // The status line has no entry either.
    std::unique_ptr<QMenu> status(window.createTraceMenu(view->model()->index(0, 0)));
    for (QAction* action : status->actions())
        QVERIFY(!action->text().startsWith(QLatin1String("Plot ")));

    if (!plot)
        return;
    QVERIFY(!window.plotDock());
    plot->trigger();
    QVERIFY(window.plotDock());
    QCOMPARE(window.plotDock()->plotter()->name(0), entry.mid(5));
    QCOMPARE(window.plotDock()->plotter()->pointCount(0), 1);
}

QTEST_MAIN(TestMainWindowPlot)
#include "tst_mainwindowplot.moc"
