// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "trace/widgets/plotdock.h"
#include "trace/widgets/traceview.h"

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

// A plot asked for in the trace's context menu opens the plot dock with it.
class TestMainWindowPlot : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void plotFromTheTraceOpensTheDock();

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

void TestMainWindowPlot::plotFromTheTraceOpensTheDock()
{
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
    const QRV16::Message message = parser.parse(QStringLiteral("Reply=(Temperature=1 Name=x)"));
    QVERIFY2(!parser.hasError(), qPrintable(parser.errorMessage()));
    model->append(QStringLiteral("1"), message, ColorMessageRx1, QDateTime());
    model->flush();
    TraceView* view = window.traceView();
    const QModelIndex reply = view->model()->index(0, 0, view->model()->index(0, 0));
    const QModelIndex temperature = view->model()->index(0, 0, reply);
    std::unique_ptr<QMenu> menu(view->createContextMenu(temperature));
    QAction* plot = nullptr;
    for (QAction* action : menu->actions()) {
        if (action->text() == QLatin1String("Plot Temperature"))
            plot = action;
    }
    QVERIFY(plot);
    QVERIFY(!window.plotDock());
    plot->trigger();
    QVERIFY(window.plotDock());
    QCOMPARE(window.plotDock()->plotter()->name(0), QStringLiteral("Temperature"));
    QCOMPARE(window.plotDock()->plotter()->pointCount(0), 1);
    // A second plot goes to the same dock.
    plot->trigger();
    QCOMPARE(window.findChildren<PlotDock*>().size(), 1);
}

QTEST_MAIN(TestMainWindowPlot)
#include "tst_mainwindowplot.moc"
