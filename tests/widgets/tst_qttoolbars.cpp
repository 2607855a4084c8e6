// SPDX-License-Identifier: MIT
// Toolbars as the user customizes them. The manager over a real main
// window: categories, toolbar content, user toolbars, and saved states good
// and bad. The dialog under the offscreen platform, driven through its
// widgets: edits stay in the dialog until Apply or OK, Cancel drops them.

#include "widgets/qttoolbardialog.h"
#include "widgets/qttoolbarmanager.h"

#include <QAction>
#include <QApplication>
#include <QHash>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QToolBar>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

namespace {

// A main window as a program sets it up, with named actions whose text is
// the name in capitals. "General" holds open, save, quit, zoomIn and
// zoomOut, "Edit" holds find; the default toolbars are "file" (open, save,
// separator, quit) and "view" (zoomIn, zoomOut). `extra` adds an action and
// a toolbar "tools" that another version of the program would not have.
struct Window
{
    explicit Window(bool extra = false)
    {
        manager.setMainWindow(&window);
        for (const char* name : {"open", "save", "quit", "zoomIn", "zoomOut", "find"})
            add(name, QString::fromLatin1(name) == QLatin1String("find") ? "Edit" : "General");
        addToolBar("file", "File", {"open", "save", "-", "quit"});
        addToolBar("view", "View", {"zoomIn", "zoomOut"});
        if (extra) {
            add("extra", "Edit");
            addToolBar("tools", "Tools", {"extra"});
        }
    }

    void add(const char* name, const char* category)
    {
        auto* action = new QAction(QString::fromLatin1(name).toUpper(), &window);
        action->setObjectName(QString::fromLatin1(name));
        actions.insert(action->objectName(), action);
        manager.addAction(action, QString::fromLatin1(category));
    }

    void addToolBar(const char* name, const char* title, std::initializer_list<const char*> content)
    {
        QToolBar* toolBar = window.addToolBar(QString::fromLatin1(title));
        toolBar->setObjectName(QString::fromLatin1(name));
        for (const char* action : content) {
            if (QLatin1String(action) == QLatin1String("-"))
                toolBar->addSeparator();
            else
                toolBar->addAction(actions.value(QString::fromLatin1(action)));
        }
        manager.addToolBar(toolBar, QString::fromLatin1(title));
    }

    QToolBar* toolBar(const QString& name) const
    {
        for (QToolBar* candidate : manager.toolBars()) {
            if (candidate->objectName() == name || candidate->windowTitle() == name)
                return candidate;
        }
        return nullptr;
    }

    // "open,save,-,quit" -> actions, "-" a separator, unknown names dropped.
    QList<QAction*> parse(const QString& list) const
    {
        QList<QAction*> result;
        for (const QString& name : list.split(QLatin1Char(','), Qt::SkipEmptyParts))
            result.append(name == QLatin1String("-") ? nullptr : actions.value(name));
        return result;
    }

    // Sets up the toolbars from lines "name=a,b,-,c"; a leading '+' makes a
    // user toolbar of that title.
    void apply(const QStringList& layout)
    {
        for (const QString& line : layout) {
            const QString name = line.section(QLatin1Char('='), 0, 0);
            const QString content = line.section(QLatin1Char('='), 1);
            QToolBar* target = name.startsWith(QLatin1Char('+')) ? manager.createToolBar(name.mid(1)) : toolBar(name);
            QVERIFY2(target, qPrintable(name));
            manager.setToolBarActions(target, parse(content));
        }
    }

    // What the toolbars hold, read from the widgets, in the format of
    // apply(): those the manager lists, or all the window has.
    QStringList describe(bool wholeWindow = false) const
    {
        QStringList lines;
        const QList<QToolBar*> toolBars = wholeWindow ? window.findChildren<QToolBar*>() : manager.toolBars();
        for (QToolBar* toolBar : toolBars) {
            QStringList names;
            for (QAction* action : toolBar->actions())
                names << (action->isSeparator() ? QStringLiteral("-") : action->objectName());
            const QString name =
                manager.isDefaultToolBar(toolBar) ? toolBar->objectName() : QLatin1Char('+') + toolBar->windowTitle();
            lines << name + QLatin1Char('=') + names.join(QLatin1Char(','));
        }
        return lines;
    }

    // Everything a refused state must leave alone, down to the widgets.
    QString snapshot() const
    {
        QStringList parts = describe();
        for (QToolBar* toolBar : window.findChildren<QToolBar*>()) {
            parts << QStringLiteral("%1@%2:%3")
                         .arg(toolBar->objectName())
                         .arg(quintptr(toolBar))
                         .arg(int(window.toolBarArea(toolBar)));
        }
        return parts.join(QLatin1Char('\n'));
    }

    QMainWindow window;
    QtToolBarManager manager;
    QHash<QString, QAction*> actions;
};

QStringList names(const QList<QAction*>& actions)
{
    QStringList result;
    for (QAction* action : actions)
        result << (action ? action->objectName() : QStringLiteral("-"));
    return result;
}

QString plain(QString text)
{
    return text.remove(QLatin1Char('&'));
}

QPushButton* button(const QWidget& dialog, const QString& label)
{
    for (QPushButton* candidate : dialog.findChildren<QPushButton*>()) {
        if (candidate->isVisibleTo(&dialog) && (plain(candidate->text()) == label || candidate->toolTip() == label))
            return candidate;
    }
    return nullptr;
}

void click(const QWidget& dialog, const QString& label)
{
    QPushButton* target = button(dialog, label);
    QVERIFY2(target, qPrintable(label));
    QVERIFY2(target->isEnabled(), qPrintable(label + QLatin1String(" is disabled")));
    QTest::mouseClick(target, Qt::LeftButton);
}

void typeIntoEditor(QListWidget* list, const QString& text)
{
    auto* editor = list->findChild<QLineEdit*>();
    QVERIFY(editor);
    QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, Qt::Key_Return);
    // The view commits the edit from the event loop.
    QTRY_COMPARE(list->currentItem()->text(), text);
}

const QHash<QString, QString>& buttonLabels()
{
    static const QHash<QString, QString> labels = {
        {"add", "Add to the toolbar"},  {"remove", "Remove from the toolbar"}, {"up", "Move up"},
        {"down", "Move down"},          {"separator", "Add a separator"},      {"delete", "Remove"},
        {"restore", "Restore default"}, {"restoreAll", "Restore All"},
    };
    return labels;
}

// One user step: "toolbar:TITLE" and "row:N" choose in the lists on the
// right, "choose:TEXT" in the tree, "new:TITLE" and "rename:TITLE" use the
// buttons and the editor, "off:BUTTON" checks that a button that would do
// nothing is disabled, any other verb clicks its button.
void run(QtToolBarDialog& dialog, const QString& step)
{
    auto* tree = dialog.findChild<QTreeWidget*>(QStringLiteral("actions"));
    auto* toolBars = dialog.findChild<QListWidget*>(QStringLiteral("toolBars"));
    auto* content = dialog.findChild<QListWidget*>(QStringLiteral("toolBarActions"));
    QVERIFY(tree && toolBars && content);
    const QString verb = step.section(QLatin1Char(':'), 0, 0);
    const QString argument = step.section(QLatin1Char(':'), 1);
    if (verb == QLatin1String("toolbar")) {
        const QList<QListWidgetItem*> items = toolBars->findItems(argument, Qt::MatchExactly);
        QCOMPARE(items.size(), 1);
        toolBars->setCurrentItem(items.first());
    } else if (verb == QLatin1String("row")) {
        QVERIFY(argument.toInt() < content->count());
        content->setCurrentRow(argument.toInt());
    } else if (verb == QLatin1String("choose")) {
        const QList<QTreeWidgetItem*> items = tree->findItems(argument, Qt::MatchExactly | Qt::MatchRecursive);
        QCOMPARE(items.size(), 1);
        tree->setCurrentItem(items.first());
    } else if (verb == QLatin1String("new")) {
        click(dialog, QStringLiteral("New"));
        typeIntoEditor(toolBars, argument);
    } else if (verb == QLatin1String("rename")) {
        click(dialog, QStringLiteral("Rename"));
        typeIntoEditor(toolBars, argument);
    } else if (verb == QLatin1String("off")) {
        QPushButton* target = button(dialog, buttonLabels().value(argument, argument));
        QVERIFY2(target && !target->isEnabled(), qPrintable(argument));
    } else {
        QVERIFY2(buttonLabels().contains(verb), qPrintable(verb));
        click(dialog, buttonLabels().value(verb));
    }
}

QStringList contentTexts(const QtToolBarDialog& dialog)
{
    QStringList texts;
    auto* content = dialog.findChild<QListWidget*>(QStringLiteral("toolBarActions"));
    for (int row = 0; content && row < content->count(); ++row)
        texts << content->item(row)->text();
    return texts;
}

} // namespace

class TestQtToolBars : public QObject
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
    void removedActionsLeaveEveryToolBar_data();
    void removedActionsLeaveEveryToolBar();
    void stateRoundTrip_data();
    void stateRoundTrip();
    void unknownNamesAreSkipped_data();
    void unknownNamesAreSkipped();
    void badStatesAreRefused_data();
    void badStatesAreRefused();
    void randomStates_data();
    void randomStates();
    void showsCategoriesAndToolBars();
    void editsWaitForApply_data();
    void editsWaitForApply();
    void actionDeletedWhileOpen();
    void deletedWithAnOpenTitleEditor();
};

void TestQtToolBars::categoriesKeepTheirFirstOrder_data()
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

void TestQtToolBars::categoriesKeepTheirFirstOrder()
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
    // Without a window there is nowhere to put a toolbar of the user's.
    QVERIFY(!manager.createToolBar(QStringLiteral("Lost")));
    QVERIFY(manager.toolBars().isEmpty());
}

void TestQtToolBars::defaultToolBarsBringTheirActions()
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

void TestQtToolBars::setToolBarActionsChangesTheToolBar_data()
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

void TestQtToolBars::setToolBarActionsChangesTheToolBar()
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
    // A reset brings back what the program made.
    w.manager.resetToolBar(target);
    QCOMPARE(w.describe(), Window().describe());
}

void TestQtToolBars::userToolBars_data()
{
    QTest::addColumn<QString>("victim");
    QTest::addColumn<bool>("deleted");
    QTest::newRow("a user toolbar is deleted") << "user" << true;
    QTest::newRow("a default toolbar is refused") << "file" << false;
    QTest::newRow("a toolbar the manager does not know is refused") << "stranger" << false;
}

void TestQtToolBars::userToolBars()
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
    // A user toolbar has nothing to go back to.
    w.manager.setToolBarActions(first, w.parse(QStringLiteral("find")));
    w.manager.resetToolBar(first);
    QCOMPARE(names(w.manager.toolBarActions(first)), QStringList{"find"});

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

void TestQtToolBars::removedActionsLeaveEveryToolBar_data()
{
    QTest::addColumn<bool>("destroy");
    QTest::newRow("removed from the manager") << false;
    QTest::newRow("destroyed") << true;
}

void TestQtToolBars::removedActionsLeaveEveryToolBar()
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

void TestQtToolBars::stateRoundTrip_data()
{
    QTest::addColumn<QStringList>("layout");

    QTest::newRow("as the program made them") << QStringList{};
    QTest::newRow("default toolbars rearranged") << QStringList{"file=quit,-,open", "view=zoomOut,find,zoomIn"};
    QTest::newRow("a default toolbar emptied") << QStringList{"file="};
    QTest::newRow("a user toolbar with separators") << QStringList{"view=zoomIn", "+Mine=-,save,-,zoomOut,-"};
    QTest::newRow("two user toolbars, one empty") << QStringList{"+Search=find,open", "+Nothing yet=", "file=open"};
    QTest::newRow("two user toolbars of one title") << QStringList{"+Twin=open", "+Twin=quit"};
}

void TestQtToolBars::stateRoundTrip()
{
    QFETCH(QStringList, layout);

    Window source;
    source.apply(layout);
    // The last user toolbar on the left, where it comes back.
    if (source.manager.toolBars().size() > 2)
        source.window.addToolBar(Qt::LeftToolBarArea, source.manager.toolBars().constLast());
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
        QCOMPARE(target.window.toolBarArea(restored), source.window.toolBarArea(source.manager.toolBars().at(i)));
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

void TestQtToolBars::unknownNamesAreSkipped_data()
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

void TestQtToolBars::unknownNamesAreSkipped()
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

void TestQtToolBars::badStatesAreRefused_data()
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

void TestQtToolBars::badStatesAreRefused()
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

void TestQtToolBars::randomStates_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("alwaysRefused");

    QTest::newRow("every cut of a good state") << "cut" << true;
    QTest::newRow("random bytes") << "random" << true;
    QTest::newRow("a good header before random bytes") << "header" << true;
    QTest::newRow("a good state with damaged bytes") << "damaged" << false;
}

void TestQtToolBars::randomStates()
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

void TestQtToolBars::showsCategoriesAndToolBars()
{
    Window w;
    QtToolBarDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Customize Toolbars"));
    dialog.setToolBarManager(&w.manager);
    auto* tree = dialog.findChild<QTreeWidget*>(QStringLiteral("actions"));
    QVERIFY(tree);
    QStringList top;
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        top << tree->topLevelItem(i)->text(0);
    QCOMPARE(top, (QStringList{"Separator", "General", "Edit"}));
    QCOMPARE(tree->topLevelItem(1)->childCount(), 5);
    QCOMPARE(tree->topLevelItem(1)->child(3)->text(0), QStringLiteral("ZOOMIN"));
    QCOMPARE(tree->topLevelItem(2)->child(0)->text(0), QStringLiteral("FIND"));

    auto* toolBars = dialog.findChild<QListWidget*>(QStringLiteral("toolBars"));
    QVERIFY(toolBars);
    QCOMPARE(toolBars->count(), 2);
    QCOMPARE(toolBars->item(0)->text(), QStringLiteral("File"));
    QCOMPARE(toolBars->currentRow(), 0);
    QCOMPARE(contentTexts(dialog), (QStringList{"OPEN", "SAVE", "Separator", "QUIT"}));
    run(dialog, QStringLiteral("toolbar:View"));
    QCOMPARE(contentTexts(dialog), (QStringList{"ZOOMIN", "ZOOMOUT"}));
}

void TestQtToolBars::editsWaitForApply_data()
{
    QTest::addColumn<QStringList>("initial");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("finish");
    QTest::addColumn<QStringList>("expected"); // empty: as before

    const QString view = QStringLiteral("view=zoomIn,zoomOut");
    // Buttons that the edits click are enabled where they are clicked
    // (click() checks); "off" checks those that must not be.
    QTest::newRow("add after the chosen row")
        << QStringList{} << QStringList{"off:Apply", "choose:OPEN", "off:add", "row:0", "choose:FIND", "add"} << "Apply"
        << QStringList{"file=open,find,save,-,quit", view};
    QTest::newRow("add with no row chosen appends")
        << QStringList{} << QStringList{"toolbar:View", "choose:QUIT", "add"} << "Apply"
        << QStringList{"file=open,save,-,quit", "view=zoomIn,zoomOut,quit"};
    QTest::newRow("remove") << QStringList{} << QStringList{"off:remove", "row:1", "remove"} << "OK"
                            << QStringList{"file=open,-,quit", view};
    QTest::newRow("move up twice") << QStringList{} << QStringList{"row:3", "off:down", "up", "up"} << "Apply"
                                   << QStringList{"file=open,quit,save,-", view};
    QTest::newRow("move down") << QStringList{} << QStringList{"row:0", "off:up", "down"} << "OK"
                               << QStringList{"file=save,open,-,quit", view};
    QTest::newRow("a separator by its button")
        << QStringList{} << QStringList{"toolbar:View", "row:0", "separator"} << "Apply"
        << QStringList{"file=open,save,-,quit", "view=zoomIn,-,zoomOut"};
    QTest::newRow("a separator from the tree")
        << QStringList{} << QStringList{"row:3", "choose:Separator", "add", "choose:Separator", "add"} << "Apply"
        << QStringList{"file=open,save,-,quit,-,-", view};
    QTest::newRow("a new toolbar") << QStringList{}
                                   << QStringList{"off:delete", "off:Rename", "new:Mine", "choose:FIND", "add"} << "OK"
                                   << QStringList{"file=open,save,-,quit", view, "+Mine=find"};
    QTest::newRow("a new toolbar removed again")
        << QStringList{} << QStringList{"new:Mine", "delete"} << "OK" << QStringList{};
    QTest::newRow("a user toolbar deleted") << QStringList{"+Old=open"} << QStringList{"toolbar:Old", "delete"}
                                            << "Apply" << QStringList{"file=open,save,-,quit", view};
    QTest::newRow("a user toolbar renamed") << QStringList{"+Old=open"} << QStringList{"toolbar:Old", "rename:New"}
                                            << "Apply" << QStringList{"file=open,save,-,quit", view, "+New=open"};
    QTest::newRow("a default toolbar restored")
        << QStringList{"file=quit"} << QStringList{"restore"} << "OK" << QStringList{"file=open,save,-,quit", view};
    QTest::newRow("an edit undone by restoring changes nothing")
        << QStringList{} << QStringList{"off:restore", "row:0", "remove", "restore"} << "OK" << QStringList{};
    QTest::newRow("restore all") << QStringList{"file=quit", "view=", "+Old=open"} << QStringList{"restoreAll"}
                                 << "Apply" << QStringList{"file=open,save,-,quit", view};
    QTest::newRow("cancel drops an added action")
        << QStringList{} << QStringList{"choose:FIND", "add"} << "Cancel" << QStringList{};
    QTest::newRow("cancel drops a new toolbar")
        << QStringList{} << QStringList{"new:Mine", "choose:FIND", "add"} << "Cancel" << QStringList{};
    QTest::newRow("cancel keeps a deleted toolbar")
        << QStringList{"+Old=open"} << QStringList{"toolbar:Old", "delete"} << "Cancel" << QStringList{};
    QTest::newRow("cancel drops restore all")
        << QStringList{"file=quit", "+Old=open"} << QStringList{"restoreAll"} << "Cancel" << QStringList{};
}

void TestQtToolBars::editsWaitForApply()
{
    QFETCH(QStringList, initial);
    QFETCH(QStringList, steps);
    QFETCH(QString, finish);
    QFETCH(QStringList, expected);

    Window w;
    w.apply(initial);
    const QStringList before = w.describe(true);
    if (expected.isEmpty())
        expected = before;

    QtToolBarDialog dialog(&w.window);
    dialog.setToolBarManager(&w.manager);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QSignalSpy changed(&dialog, &QtToolBarDialog::changed);
    QSignalSpy finished(&dialog, &QDialog::finished);
    for (const QString& step : steps) {
        run(dialog, step);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QLatin1String("at step ") + step));
    }
    QCOMPARE(w.describe(true), before);
    QCOMPARE(changed.count(), 0);

    click(dialog, finish);
    QCOMPARE(w.describe(true), expected);
    QCOMPARE(changed.count(), expected == before ? 0 : 1);
    if (finish == QLatin1String("Apply")) {
        QVERIFY(dialog.isVisible());
        QCOMPARE(finished.count(), 0);
        // What was applied is what the dialog now starts from.
        QVERIFY(!button(dialog, QStringLiteral("Apply"))->isEnabled());
    } else {
        QVERIFY(!dialog.isVisible());
        QCOMPARE(finished.count(), 1);
        QCOMPARE(dialog.result(), finish == QLatin1String("OK") ? QDialog::Accepted : QDialog::Rejected);
    }
}

void TestQtToolBars::actionDeletedWhileOpen()
{
    Window w;
    QtToolBarDialog dialog(&w.window);
    dialog.setToolBarManager(&w.manager);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    run(dialog, QStringLiteral("choose:FIND"));
    run(dialog, QStringLiteral("add"));
    run(dialog, QStringLiteral("row:0"));
    run(dialog, QStringLiteral("down"));

    delete w.actions.take(QStringLiteral("save"));
    delete w.actions.take(QStringLiteral("find"));
    auto* tree = dialog.findChild<QTreeWidget*>(QStringLiteral("actions"));
    QVERIFY(tree->findItems(QStringLiteral("FIND"), Qt::MatchExactly | Qt::MatchRecursive).isEmpty());
    QCOMPARE(contentTexts(dialog), (QStringList{"OPEN", "Separator", "QUIT"}));
    click(dialog, QStringLiteral("OK"));
    QCOMPARE(w.describe(true), (QStringList{"file=open,-,quit", "view=zoomIn,zoomOut"}));
}

void TestQtToolBars::deletedWithAnOpenTitleEditor()
{
    Window w;
    auto* dialog = new QtToolBarDialog(&w.window);
    dialog->setToolBarManager(&w.manager);
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    click(*dialog, QStringLiteral("New"));
    auto* editor = dialog->findChild<QListWidget*>(QStringLiteral("toolBars"))->findChild<QLineEdit*>();
    QVERIFY(editor);
    QTest::keyClicks(editor, QStringLiteral("Half typed"));
    delete dialog;
    QCOMPARE(w.describe(true), (QStringList{"file=open,save,-,quit", "view=zoomIn,zoomOut"}));
}

QTEST_MAIN(TestQtToolBars)
#include "tst_qttoolbars.moc"
