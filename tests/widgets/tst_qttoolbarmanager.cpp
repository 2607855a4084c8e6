// SPDX-License-Identifier: MIT
// The toolbar manager over a real main window: categories, toolbar
// content, user toolbars, and saved states good and bad.

#include "tests/widgets/toolbarwindow.h"
#include "widgets/qttoolbarmanager.h"

#include <QAction>
#include <QMainWindow>
#include <QPointer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QToolBar>
#include <QtTest>

#include <memory>

namespace {

using Window = ToolBarWindow;

QStringList names(const QList<QAction*>& actions)
{
    QStringList result;
    for (QAction* action : actions)
        result << (action ? action->objectName() : QStringLiteral("-"));
    return result;
}

} // namespace

class TestQtToolBarManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void categoriesKeepTheirFirstOrder_data();
    void categoriesKeepTheirFirstOrder();
    void defaultToolBarsBringTheirActions();
    void setToolBarActionsChangesTheToolBar_data();
    void setToolBarActionsChangesTheToolBar();
    void userToolBars_data();
    void userToolBars();
    void noUserToolBarsWithoutAWindow();
    void resetToolBar();
    void removedActionsLeaveEveryToolBar_data();
    void removedActionsLeaveEveryToolBar();
    void stateRoundTrip_data();
    void stateRoundTrip();
    void stateKeepsTheToolBarArea();
    void unknownNamesAreSkipped_data();
    void unknownNamesAreSkipped();
    void badStatesAreRefused_data();
    void badStatesAreRefused();
    void randomStates_data();
    void randomStates();
};

void TestQtToolBarManager::categoriesKeepTheirFirstOrder_data()
{
    QTest::addColumn<QStringList>("registrations"); // "action:category"
    QTest::addColumn<QStringList>("categories");
    QTest::addColumn<QStringList>("firstCategoryActions");

    QTest::newRow("in the order they first appear") << QStringList{"a:File", "b:View", "c:File", "d:Trace"}
                                                    << QStringList{"File", "View", "Trace"} << QStringList{"a", "c"};
    QTest::newRow("a second registration keeps the first category")
        << QStringList{"a:File", "a:View", "b:File"} << QStringList{"File"} << QStringList{"a", "b"};
    QTest::newRow("a null action is refused")
        << QStringList{"-:File", "a:View"} << QStringList{"View"} << QStringList{"a"};
}

void TestQtToolBarManager::categoriesKeepTheirFirstOrder()
{
    QFETCH(QStringList, registrations);
    QFETCH(QStringList, categories);
    QFETCH(QStringList, firstCategoryActions);

    QObject owner;
    QHash<QString, QAction*> actions;
    QtToolBarManager manager;
    for (const QString& registration : registrations) {
        const QString name = registration.section(QLatin1Char(':'), 0, 0);
        QAction* action = nullptr;
        if (name != QLatin1String("-")) {
            action = actions.value(name);
            if (!action) {
                action = new QAction(name, &owner);
                action->setObjectName(name);
                actions.insert(name, action);
            }
        }
        manager.addAction(action, registration.section(QLatin1Char(':'), 1));
    }
    QCOMPARE(manager.categories(), categories);
    QCOMPARE(names(manager.categoryActions(categories.first())), firstCategoryActions);
    QVERIFY(manager.categoryActions(QStringLiteral("Nowhere")).isEmpty());
}

void TestQtToolBarManager::defaultToolBarsBringTheirActions()
{
    QMainWindow window;
    QtToolBarManager manager;
    auto* known = new QAction(QStringLiteral("Known"), &window);
    known->setObjectName(QStringLiteral("known"));
    manager.addAction(known, QStringLiteral("File"));
    QToolBar* toolBar = window.addToolBar(QStringLiteral("Main"));
    toolBar->addAction(known);
    toolBar->addSeparator();
    QAction* fresh = toolBar->addAction(QStringLiteral("Fresh"));
    fresh->setObjectName(QStringLiteral("fresh"));

    QSignalSpy spy(&manager, &QtToolBarManager::toolBarsChanged);
    manager.addToolBar(toolBar, QStringLiteral("Main"));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(manager.toolBars(), QList<QToolBar*>{toolBar});
    QVERIFY(manager.isDefaultToolBar(toolBar));
    QCOMPARE(manager.categories(), (QStringList{"File", "Main"}));
    QCOMPARE(names(manager.categoryActions(QStringLiteral("File"))), QStringList{"known"});
    QCOMPARE(names(manager.categoryActions(QStringLiteral("Main"))), QStringList{"fresh"});
    QCOMPARE(names(manager.toolBarActions(toolBar)), (QStringList{"known", "-", "fresh"}));
    QCOMPARE(names(manager.defaultToolBarActions(toolBar)), (QStringList{"known", "-", "fresh"}));

    manager.addToolBar(toolBar, QStringLiteral("Again"));
    QCOMPARE(manager.toolBars().size(), 1);
    QCOMPARE(spy.count(), 1);
}

void TestQtToolBarManager::setToolBarActionsChangesTheToolBar_data()
{
    QTest::addColumn<QString>("toolBar");
    QTest::addColumn<int>("signals");
    QTest::addColumn<QString>("actions");
    QTest::addColumn<QString>("expected"); // null: the actions as given

    QTest::newRow("reordered") << "file" << 1 << "quit,-,save,open" << QString();
    QTest::newRow("separators anywhere") << "view" << 1 << "-,zoomIn,-,-,zoomOut,-" << QString();
    QTest::newRow("emptied") << "file" << 1 << "" << QString();
    QTest::newRow("an action of another category") << "view" << 1 << "zoomIn,find" << QString();
    QTest::newRow("an action twice is kept once") << "view" << 1 << "zoomOut,zoomIn,zoomOut"
                                                  << "zoomOut,zoomIn";
    QTest::newRow("the same content changes nothing") << "file" << 0 << "open,save,-,quit" << QString();
}

void TestQtToolBarManager::setToolBarActionsChangesTheToolBar()
{
    QFETCH(QString, toolBar);
    QFETCH(int, signals);
    QFETCH(QString, actions);
    QFETCH(QString, expected);
    if (expected.isNull())
        expected = actions;
    Window w;
    QToolBar* target = w.toolBar(toolBar);
    QVERIFY(target);
    const QStringList before = w.describe();
    QSignalSpy spy(&w.manager, &QtToolBarManager::toolBarsChanged);
    w.manager.setToolBarActions(target, w.parse(actions));
    QCOMPARE(spy.count(), signals);

    const int index = toolBar == QLatin1String("file") ? 0 : 1;
    QCOMPARE(w.describe().at(index), toolBar + QLatin1Char('=') + expected);
    QCOMPARE(names(w.manager.toolBarActions(target)).join(QLatin1Char(',')), expected);
    // The other toolbar is left alone.
    QCOMPARE(w.describe().at(1 - index), before.at(1 - index));
}

void TestQtToolBarManager::userToolBars_data()
{
    QTest::addColumn<QString>("victim");
    QTest::addColumn<bool>("deleted");
    QTest::newRow("a user toolbar is deleted") << "user" << true;
    QTest::newRow("a default toolbar is refused") << "file" << false;
    QTest::newRow("a toolbar the manager does not know is refused") << "stranger" << false;
}

void TestQtToolBarManager::userToolBars()
{
    QFETCH(QString, victim);
    QFETCH(bool, deleted);

    Window w;
    QToolBar* first = w.manager.createToolBar(QStringLiteral("Mine"));
    QToolBar* second = w.manager.createToolBar(QStringLiteral("Mine"));
    QVERIFY(first && second);
    QVERIFY(!w.manager.isDefaultToolBar(first));
    QCOMPARE(first->windowTitle(), QStringLiteral("Mine"));
    QCOMPARE(first->parent(), &w.window);
    QVERIFY(w.window.toolBarArea(first) != Qt::NoToolBarArea);
    QVERIFY(!first->objectName().isEmpty());
    QVERIFY(first->objectName() != second->objectName());
    QVERIFY(first->objectName() != QLatin1String("file") && first->objectName() != QLatin1String("view"));
    QCOMPARE(w.manager.toolBars().size(), 4);
    QVERIFY(w.manager.toolBarActions(first).isEmpty());

    QToolBar* stranger = w.window.addToolBar(QStringLiteral("Stranger"));
    QPointer<QToolBar> target = victim == QLatin1String("user")   ? first
                                : victim == QLatin1String("file") ? w.toolBar(QStringLiteral("file"))
                                                                  : stranger;
    const QList<QToolBar*> before = w.manager.toolBars();
    QSignalSpy spy(&w.manager, &QtToolBarManager::toolBarsChanged);
    w.manager.deleteToolBar(target);
    QCOMPARE(target.isNull(), deleted);
    QCOMPARE(spy.count(), deleted ? 1 : 0);
    if (deleted) {
        QCOMPARE(w.manager.toolBars(), (QList<QToolBar*>{before.at(0), before.at(1), second}));
    } else {
        QCOMPARE(w.manager.toolBars(), before);
        QVERIFY(w.window.toolBarArea(target) != Qt::NoToolBarArea);
    }
}

void TestQtToolBarManager::noUserToolBarsWithoutAWindow()
{
    QtToolBarManager manager;
    QVERIFY(!manager.mainWindow());
    QVERIFY(!manager.createToolBar(QStringLiteral("Lost")));
    QVERIFY(manager.toolBars().isEmpty());
}

void TestQtToolBarManager::resetToolBar()
{
    Window w;
    QToolBar* file = w.toolBar(QStringLiteral("file"));
    const QString defaults = w.describe().at(0);
    w.manager.setToolBarActions(file, w.parse(QStringLiteral("find,-,quit")));
    QVERIFY(w.describe().at(0) != defaults);
    w.manager.resetToolBar(file);
    QCOMPARE(w.describe().at(0), defaults);

    QToolBar* user = w.manager.createToolBar(QStringLiteral("Mine"));
    w.manager.setToolBarActions(user, w.parse(QStringLiteral("find")));
    w.manager.resetToolBar(user);
    QCOMPARE(names(w.manager.toolBarActions(user)), QStringList{"find"});
}

void TestQtToolBarManager::removedActionsLeaveEveryToolBar_data()
{
    QTest::addColumn<bool>("destroy");
    QTest::newRow("removed from the manager") << false;
    QTest::newRow("destroyed") << true;
}

void TestQtToolBarManager::removedActionsLeaveEveryToolBar()
{
    QFETCH(bool, destroy);
    Window w;
    w.apply({QStringLiteral("+Mine=find,save")});
    QAction* save = w.actions.value(QStringLiteral("save"));
    QAction* find = w.actions.value(QStringLiteral("find"));
    QSignalSpy actionsSpy(&w.manager, &QtToolBarManager::actionsChanged);
    if (destroy) {
        delete save;
        delete find;
    } else {
        w.manager.removeAction(save);
        w.manager.removeAction(find);
        QCOMPARE(save->parent(), &w.window);
    }
    QCOMPARE(actionsSpy.count(), 2);
    QCOMPARE(w.describe(), (QStringList{"file=open,-,quit", "view=zoomIn,zoomOut", "+Mine="}));
    QCOMPARE(names(w.manager.defaultToolBarActions(w.toolBar(QStringLiteral("file")))),
             (QStringList{"open", "-", "quit"}));
    QCOMPARE(names(w.manager.categoryActions(QStringLiteral("General"))),
             (QStringList{"open", "quit", "zoomIn", "zoomOut"}));
    // The last action of a category takes the category with it.
    QCOMPARE(w.manager.categories(), (QStringList{"General"}));
    Window fresh;
    QVERIFY(fresh.manager.restoreState(w.manager.saveState()));
}

void TestQtToolBarManager::stateRoundTrip_data()
{
    QTest::addColumn<QStringList>("layout");

    QTest::newRow("as the program made them") << QStringList{};
    QTest::newRow("default toolbars rearranged") << QStringList{"file=quit,-,open", "view=zoomOut,find,zoomIn"};
    QTest::newRow("a default toolbar emptied") << QStringList{"file="};
    QTest::newRow("a user toolbar with separators") << QStringList{"view=zoomIn", "+Mine=-,save,-,zoomOut,-"};
    QTest::newRow("two user toolbars, one empty") << QStringList{"+Search=find,open", "+Nothing yet=", "file=open"};
    QTest::newRow("two user toolbars of one title") << QStringList{"+Twin=open", "+Twin=quit"};
}

void TestQtToolBarManager::stateRoundTrip()
{
    QFETCH(QStringList, layout);

    Window source;
    source.apply(layout);
    const QStringList expected = source.describe();
    const QByteArray state = source.manager.saveState();

    Window target;
    QSignalSpy spy(&target.manager, &QtToolBarManager::toolBarsChanged);
    QVERIFY(target.manager.restoreState(state));
    QCOMPARE(target.describe(), expected);
    QCOMPARE(spy.count(), expected == Window().describe() ? 0 : 1);
    // User toolbars come back under the names the window state knows them by.
    for (int i = 2; i < source.manager.toolBars().size(); ++i) {
        QToolBar* restored = target.manager.toolBars().at(i);
        QCOMPARE(restored->objectName(), source.manager.toolBars().at(i)->objectName());
        QCOMPARE(restored->parent(), &target.window);
        QVERIFY(target.window.toolBarArea(restored) != Qt::NoToolBarArea);
    }

    // Restoring again changes nothing, and the state reads the same.
    const QString before = target.snapshot();
    QVERIFY(target.manager.restoreState(state));
    QCOMPARE(target.snapshot(), before);
    QCOMPARE(target.manager.saveState(), state);

    // Back onto a window that has moved on since: user toolbars created
    // later go, the saved ones come back.
    source.apply({QStringLiteral("file=find"), QStringLiteral("+Later=open")});
    QVERIFY(source.manager.restoreState(state));
    QCOMPARE(source.describe(), expected);
}

void TestQtToolBarManager::stateKeepsTheToolBarArea()
{
    Window source;
    QToolBar* side = source.manager.createToolBar(QStringLiteral("Side"));
    source.window.addToolBar(Qt::LeftToolBarArea, side);
    source.manager.setToolBarActions(side, source.parse(QStringLiteral("open")));
    Window target;
    QVERIFY(target.manager.restoreState(source.manager.saveState()));
    QToolBar* restored = target.toolBar(QStringLiteral("Side"));
    QVERIFY(restored);
    QCOMPARE(target.window.toolBarArea(restored), Qt::LeftToolBarArea);
}

void TestQtToolBarManager::unknownNamesAreSkipped_data()
{
    QTest::addColumn<QStringList>("layout");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("an unknown action on a default toolbar")
        << QStringList{"file=open,extra,-,quit"} << QStringList{"file=open,-,quit", "view=zoomIn,zoomOut"};
    QTest::newRow("an unknown action on a user toolbar")
        << QStringList{"+Mine=extra,find,extra2"}
        << QStringList{"file=open,save,-,quit", "view=zoomIn,zoomOut", "+Mine=find"};
    QTest::newRow("an unknown default toolbar")
        << QStringList{"tools=extra,open", "view=zoomOut"} << QStringList{"file=open,save,-,quit", "view=zoomOut"};
}

void TestQtToolBarManager::unknownNamesAreSkipped()
{
    QFETCH(QStringList, layout);
    QFETCH(QStringList, expected);

    Window source(true);
    source.add("extra2", "Edit");
    source.apply(layout);
    Window target;
    QVERIFY(target.manager.restoreState(source.manager.saveState()));
    QCOMPARE(target.describe(), expected);
}

void TestQtToolBarManager::badStatesAreRefused_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<int>("version");

    Window source;
    source.apply({QStringLiteral("file=find,-,open"), QStringLiteral("+Mine=save")});
    const QByteArray good = source.manager.saveState(3);

    // Every cut of a good state is tried below.
    QTest::newRow("empty") << QByteArray() << 3;
    QTest::newRow("another version") << good << 4;
    QTest::newRow("version 0 asked of version 3") << good << 0;
    QTest::newRow("a byte too many") << good + QByteArray(1, '\0') << 3;
    QTest::newRow("another state appended") << good + good << 3;
    QTest::newRow("not a toolbar state") << QByteArray("[MainWindow]\nState=@ByteArray(...)\n") << 3;
    QTest::newRow("a window state") << QMainWindow().saveState(3) << 3;

    // Two user toolbars of one object name cannot both be found again.
    Window twins;
    twins.apply({QStringLiteral("+A=open"), QStringLiteral("+B=quit")});
    twins.manager.toolBars().at(3)->setObjectName(twins.manager.toolBars().at(2)->objectName());
    QTest::newRow("two user toolbars of one name") << twins.manager.saveState(3) << 3;
    Window nameless;
    nameless.apply({QStringLiteral("+A=open")});
    nameless.manager.toolBars().at(2)->setObjectName(QString());
    QTest::newRow("a user toolbar without a name") << nameless.manager.saveState(3) << 3;
}

void TestQtToolBarManager::badStatesAreRefused()
{
    QFETCH(QByteArray, state);
    QFETCH(int, version);

    Window w;
    w.apply({QStringLiteral("view=zoomOut"), QStringLiteral("+Kept=quit,-")});
    const QString before = w.snapshot();
    QSignalSpy spy(&w.manager, &QtToolBarManager::toolBarsChanged);
    QVERIFY(!w.manager.restoreState(state, version));
    QCOMPARE(w.snapshot(), before);
    QCOMPARE(spy.count(), 0);
}

void TestQtToolBarManager::randomStates_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("alwaysRefused");

    QTest::newRow("every cut of a good state") << "cut" << true;
    QTest::newRow("random bytes") << "random" << true;
    QTest::newRow("a good header before random bytes") << "header" << true;
    QTest::newRow("a good state with damaged bytes") << "damaged" << false;
}

void TestQtToolBarManager::randomStates()
{
    QFETCH(QString, kind);
    QFETCH(bool, alwaysRefused);

    Window source;
    source.apply(
        {QStringLiteral("file=find,-,open"), QStringLiteral("+Mine=save,-,zoomIn"), QStringLiteral("+Other=")});
    const QByteArray good = source.manager.saveState();

    Window w;
    const QByteArray home = w.manager.saveState();
    const QString before = w.snapshot();
    QRandomGenerator random(20240611);
    int taken = 0;
    const int count = kind == QLatin1String("cut") ? int(good.size()) : 2000;
    for (int i = 0; i < count; ++i) {
        QByteArray state = kind == QLatin1String("random") ? QByteArray() : good;
        if (kind == QLatin1String("cut")) {
            state.truncate(i);
        } else if (kind == QLatin1String("damaged")) {
            for (int flips = 1 + random.bounded(4); flips > 0; --flips)
                state[random.bounded(int(state.size()))] = char(random.bounded(256));
        } else {
            // Random bytes, behind a good header or from the start.
            const int from = kind == QLatin1String("header") ? 8 : 0;
            state.resize(from + random.bounded(200));
            for (qsizetype at = from; at < state.size(); ++at)
                state[at] = char(random.bounded(256));
        }

        if (w.manager.restoreState(state)) {
            QVERIFY2(!alwaysRefused, state.toHex().constData());
            ++taken;
            QVERIFY(w.manager.restoreState(home));
        }
        QCOMPARE(w.snapshot(), before);
    }
    if (!alwaysRefused)
        qInfo("%d of %d damaged states were still readable", taken, count);
}

QTEST_MAIN(TestQtToolBarManager)
#include "tst_qttoolbarmanager.moc"
