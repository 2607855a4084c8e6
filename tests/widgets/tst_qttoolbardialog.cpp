// SPDX-License-Identifier: MIT
// The toolbar dialog under the offscreen platform, driven through its
// widgets: edits stay in the dialog until Apply or OK, Cancel drops them.

#include "widgets/qttoolbardialog.h"
#include "widgets/qttoolbarmanager.h"
#include "tests/widgets/toolbarwindow.h"

#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeWidget>
#include <QtTest>

namespace {

using Window = ToolBarWindow;

QString plain(QString text)
{
    return text.remove(QLatin1Char('&'));
}

QPushButton* button(const QWidget& dialog, const QString& label)
{
    for (QPushButton* candidate : dialog.findChildren<QPushButton*>()) {
        if (candidate->isVisibleTo(&dialog) &&
            (plain(candidate->text()) == label || candidate->toolTip() == label))
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
        const QList<QTreeWidgetItem*> items =
            tree->findItems(argument, Qt::MatchExactly | Qt::MatchRecursive);
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

class TestQtToolBarDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsCategoriesAndToolBars();
    void editsWaitForApply_data();
    void editsWaitForApply();
    void actionDeletedWhileOpen();
    void deletedWithAnOpenTitleEditor();
};

void TestQtToolBarDialog::showsCategoriesAndToolBars()
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

void TestQtToolBarDialog::editsWaitForApply_data()
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
        << QStringList{}
        << QStringList{"row:3", "choose:Separator", "add", "choose:Separator", "add"} << "Apply"
        << QStringList{"file=open,save,-,quit,-,-", view};
    QTest::newRow("a new toolbar") << QStringList{}
                                   << QStringList{"off:delete", "off:Rename", "new:Mine", "choose:FIND", "add"} << "OK"
                                   << QStringList{"file=open,save,-,quit", view, "+Mine=find"};
    QTest::newRow("a new toolbar removed again")
        << QStringList{} << QStringList{"new:Mine", "delete"} << "OK" << QStringList{};
    QTest::newRow("a user toolbar deleted")
        << QStringList{"+Old=open"} << QStringList{"toolbar:Old", "delete"} << "Apply"
        << QStringList{"file=open,save,-,quit", view};
    QTest::newRow("a user toolbar renamed")
        << QStringList{"+Old=open"} << QStringList{"toolbar:Old", "rename:New"} << "Apply"
        << QStringList{"file=open,save,-,quit", view, "+New=open"};
    QTest::newRow("a default toolbar restored")
        << QStringList{"file=quit"} << QStringList{"restore"} << "OK"
        << QStringList{"file=open,save,-,quit", view};
    QTest::newRow("an edit undone by restoring changes nothing")
        << QStringList{} << QStringList{"off:restore", "row:0", "remove", "restore"} << "OK" << QStringList{};
    QTest::newRow("restore all") << QStringList{"file=quit", "view=", "+Old=open"}
                                 << QStringList{"restoreAll"} << "Apply"
                                 << QStringList{"file=open,save,-,quit", view};
    QTest::newRow("cancel drops an added action")
        << QStringList{} << QStringList{"choose:FIND", "add"} << "Cancel" << QStringList{};
    QTest::newRow("cancel drops a new toolbar")
        << QStringList{} << QStringList{"new:Mine", "choose:FIND", "add"} << "Cancel"
        << QStringList{};
    QTest::newRow("cancel keeps a deleted toolbar")
        << QStringList{"+Old=open"} << QStringList{"toolbar:Old", "delete"} << "Cancel"
        << QStringList{};
    QTest::newRow("cancel drops restore all")
        << QStringList{"file=quit", "+Old=open"} << QStringList{"restoreAll"} << "Cancel"
        << QStringList{};
}

void TestQtToolBarDialog::editsWaitForApply()
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
        QCOMPARE(dialog.result(),
                 finish == QLatin1String("OK") ? QDialog::Accepted : QDialog::Rejected);
    }
}

void TestQtToolBarDialog::actionDeletedWhileOpen()
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
    QVERIFY(
        tree->findItems(QStringLiteral("FIND"), Qt::MatchExactly | Qt::MatchRecursive).isEmpty());
    QCOMPARE(contentTexts(dialog), (QStringList{"OPEN", "Separator", "QUIT"}));
    click(dialog, QStringLiteral("OK"));
    QCOMPARE(w.describe(true), (QStringList{"file=open,-,quit", "view=zoomIn,zoomOut"}));
}

void TestQtToolBarDialog::deletedWithAnOpenTitleEditor()
{
    Window w;
    auto* dialog = new QtToolBarDialog(&w.window);
    dialog->setToolBarManager(&w.manager);
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    click(*dialog, QStringLiteral("New"));
    auto* editor =
        dialog->findChild<QListWidget*>(QStringLiteral("toolBars"))->findChild<QLineEdit*>();
    QVERIFY(editor);
    QTest::keyClicks(editor, QStringLiteral("Half typed"));
    delete dialog;
    QCOMPARE(w.describe(true), (QStringList{"file=open,save,-,quit", "view=zoomIn,zoomOut"}));
}

QTEST_MAIN(TestQtToolBarDialog)
#include "tst_qttoolbardialog.moc"
