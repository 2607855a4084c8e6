// SPDX-License-Identifier: MIT
#include "editor/editoritemeditdialog.h"
#include "editor/editormodel.h"
#include "editor/editorwindow.h"
#include "editor/filechangedwidget.h"
#include "editor/rowtreeview.h"
#include "treetext.h"
#include "tests/support/files.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QDockWidget>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QSyntaxHighlighter>
#include <QTemporaryDir>
#include <QTimer>
#include <QUndoStack>
#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

// Answers the next modal message box with `button` once it is up.
void answerMessageBox(QMessageBox::StandardButton button, QString* text = nullptr)
{
    auto* poll = new QTimer;
    poll->setInterval(20);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, button, text] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        if (text)
            *text = box->text();
        if (QAbstractButton* b = box->button(button))
            b->click();
        poll->deleteLater();
    });
    poll->start();
}

QAction* action(QWidget* window, const char* name)
{
    return window->findChild<QAction*>(QLatin1String(name));
}

QModelIndex find(const EditorModel* model, const QString& name, const QModelIndex& parent = {})
{
    for (int r = 0; r < model->rowCount(parent); ++r) {
        const QModelIndex i = model->index(r, 0, parent);
        if (i.data(Qt::EditRole).toString() == name)
            return i;
        const QModelIndex below = find(model, name, i);
        if (below.isValid())
            return below;
    }
    return {};
}

// The code viewer of that title, if one is open.
QPlainTextEdit* viewer(const QString& title)
{
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (auto* edit = qobject_cast<QPlainTextEdit*>(top); edit && edit->windowTitle() == title)
            return edit;
    }
    return nullptr;
}

QString viewerText(const QString& title)
{
    const QPlainTextEdit* edit = viewer(title);
    return edit ? edit->toPlainText() : QString();
}

} // namespace

class TestEditorWindow : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void undoHistoryToggles();
    void openDemoAndEdit();
    void initializeFallsBack();
    void brokenFileIsReported();
    void savesAreNoOutsideChange();
    void closeWithUnsavedChanges_data();
    void closeWithUnsavedChanges();
    void undoSelectsTheChangedRow();
    void clearAllThenUndo();
    void commentsSpanTheRow();
    void insertIntoEmptyFile();
    void itemDialogMakesOneChange();
    void reloadAfterOutsideChange();
    void viewers_data();
    void viewers();
    void codeNamesFromSettings();
    void clashIsAWarning();

private:
    // The window with the copy of the sample definitions open.
    EditorWindow& opened()
    {
        m_window->initialize(m_path);
        return *m_window;
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
    std::unique_ptr<EditorWindow> m_window;
};

void TestEditorWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName("Norvane");
    QCoreApplication::setApplicationName("korvgui-test-editor");
}

void TestEditorWindow::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_dir->filePath("settings"));
    QSettings().clear();
    m_path = m_dir->filePath("demo.qrvdef");
    QVERIFY(QFile::copy(KORV_SOURCE_DIR "/examples/demo.qrvdef", m_path));
    QFile::setPermissions(m_path, QFile::ReadOwner | QFile::WriteOwner);
    m_window = std::make_unique<EditorWindow>();
}

void TestEditorWindow::cleanup()
{
    if (m_window)
        m_window->undoStack()->setClean();
    m_window.reset();
    for (QWidget* w : QApplication::topLevelWidgets())
        if (qobject_cast<QPlainTextEdit*>(w))
            delete w;
}

void TestEditorWindow::undoHistoryToggles()
{
    EditorWindow& w = *m_window;
    auto* undoDock = w.findChild<QDockWidget*>("UndoDock");
    QVERIFY(undoDock);
    w.show();
    action(&w, "m_act_undo_history")->trigger();
    QVERIFY(undoDock->isVisible());
    action(&w, "m_act_undo_history")->trigger();
    QVERIFY(!undoDock->isVisible());
}

void TestEditorWindow::openDemoAndEdit()
{
    EditorWindow& w = opened();
    QCOMPARE(w.currentFile(), m_path);
    QCOMPARE(w.windowTitle(), QDir::toNativeSeparators(m_path) + " [QRV16 tag editor]");
    QVERIFY(w.undoStack()->isClean());
    QCOMPARE(w.undoStack()->count(), 0);
    const QModelIndex pump = find(w.model(), "PumpMode");
    QVERIFY(pump.isValid());
    QCOMPARE(w.model()->rowCount(pump), 1);

    QVERIFY(w.model()->setData(pump, "PumpState"));
    QVERIFY(w.windowTitle().startsWith("* "));
    QVERIFY(w.windowTitle().endsWith("[QRV16 tag editor]"));
    QCOMPARE(action(&w, "m_act_undo")->text(), QString("Undo Change name"));
    w.undoStack()->undo();
    QVERIFY(!w.windowTitle().startsWith("* "));
}

void TestEditorWindow::initializeFallsBack()
{
    m_window->initialize(QString(), m_path);
    QCOMPARE(m_window->currentFile(), m_path);
    QVERIFY(m_window->model()->rowCount() > 10);

    // A path opened through the dialog is remembered and wins over the fallback.
    const QString other = m_dir->filePath("other.qrvdef");
    QVERIFY(QFile::copy(m_path, other));
    QSettings().setValue("QRV16Editor/LastOpenPath", other);
    EditorWindow second;
    second.initialize(QString(), m_path);
    QCOMPARE(second.currentFile(), other);
}

void TestEditorWindow::brokenFileIsReported()
{
    const QString broken = m_dir->filePath("broken.qrvdef");
    QVERIFY(writeFile(broken, "<qrv16><tag name=\"A\" id=\"0x10000\"/></qrv16>"));
    QString shown;
    answerMessageBox(QMessageBox::Close, &shown);
    m_window->initialize(broken);
    QVERIFY2(shown.contains("Tag out of range"), qPrintable(shown));
    QCOMPARE(m_window->model()->rowCount(), 0);
    QCOMPARE(m_window->currentFile(), QString());
}

// The backups a save rotates are the save file's test.
void TestEditorWindow::savesAreNoOutsideChange()
{
    EditorWindow& w = opened();
    QSignalSpy saved(&w, &EditorWindow::saved);

    QVERIFY(w.model()->setData(find(w.model(), "PumpMode"), "PumpState"));
    QVERIFY(w.save(m_path));
    QVERIFY(w.undoStack()->isClean());
    QVERIFY(!w.windowTitle().startsWith("* "));
    const QByteArray first = readFile(m_path);
    QVERIFY(first.contains("PumpState"));
    QCOMPARE(saved.size(), 1);
    std::unique_ptr<Item> handed(saved.at(0).at(0).value<Item*>());
    QCOMPARE(saved.at(0).at(1).toString(), m_path);
    std::unique_ptr<Item> onDisk(TreeText::read(first));
    QVERIFY(onDisk);
    QCOMPARE(*handed, *onDisk);
    QVERIFY(handed.get() != w.model()->root());

    QVERIFY(w.model()->setData(find(w.model(), "FlowRate"), "Flow"));
    // A bar of its own on the file says when the window's would have spoken.
    QWidget other;
    FileChangedWidget witness(&other);
    QSignalSpy witnessed(&witness, &FileChangedWidget::messageShown);
    witness.watchFile(m_path);
    QVERIFY(w.save(m_path));
    QVERIFY(readFile(m_path).contains("\"Flow\""));
    std::unique_ptr<Item> second(saved.at(1).at(0).value<Item*>());
    QCOMPARE(saved.size(), 2);
    // Our own save is no change from outside.
    QTRY_VERIFY_WITH_TIMEOUT(!witnessed.isEmpty(), 10000);
    QCoreApplication::processEvents(); // both watchers heard of it at once
    QVERIFY(w.findChild<FileChangedWidget*>("m_wdg_file_changed")->isHidden());
}

void TestEditorWindow::closeWithUnsavedChanges_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("closed");
    QTest::newRow("Cancel keeps the window and the change") << int(QMessageBox::Cancel) << false;
    QTest::newRow("Discard closes") << int(QMessageBox::Discard) << true;
    QTest::newRow("Save saves and closes") << int(QMessageBox::Save) << true;
}

void TestEditorWindow::closeWithUnsavedChanges()
{
    QFETCH(int, answer);
    QFETCH(bool, closed);
    EditorWindow& w = opened();
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QVERIFY(w.model()->setData(find(w.model(), "PumpMode"), "PumpState"));
    QString question;
    answerMessageBox(QMessageBox::StandardButton(answer), &question);
    QCOMPARE(w.close(), closed);
    QCOMPARE(question, QString("There are unsaved changes. What do you want to do?"));
    QCOMPARE(w.isVisible(), !closed);
    // Closing never rewrites the tree; only Save writes the file, and only
    // Save makes the edit count as saved, so Discard leaves it unsaved.
    QVERIFY(find(w.model(), "PumpState").isValid());
    const bool saved = answer == int(QMessageBox::Save);
    QCOMPARE(readFile(m_path).contains("PumpState"), saved);
    QCOMPARE(w.undoStack()->isClean(), saved);
    QCOMPARE(w.windowTitle().startsWith("* "), !saved);
}

void TestEditorWindow::undoSelectsTheChangedRow()
{
    EditorWindow& w = opened();
    w.show();
    auto* view = w.findChild<RowTreeView*>("m_view");
    const QModelIndex busy = find(w.model(), "Busy");
    QVERIFY(w.model()->setData(busy, "Occupied"));
    view->setCurrentIndex(find(w.model(), "StatusReport"));
    w.undoStack()->undo();
    QCOMPARE(view->currentIndex().siblingAtColumn(0), busy);
    QCOMPARE(view->selectedItem(), busy);
    QVERIFY(view->isExpanded(busy.parent()));

    // Undoing a removal selects the row that came back.
    const QModelIndex flow = find(w.model(), "FlowRate");
    view->setCurrentIndex(flow);
    action(&w, "m_act_delete")->trigger();
    QVERIFY(!find(w.model(), "FlowRate").isValid());
    view->setCurrentIndex(find(w.model(), "StatusReport"));
    action(&w, "m_act_undo")->trigger();
    QCOMPARE(view->currentIndex().siblingAtColumn(0), find(w.model(), "FlowRate"));
}

void TestEditorWindow::clearAllThenUndo()
{
    EditorWindow& w = opened();
    std::unique_ptr<Item> before(w.model()->root()->clone());
    action(&w, "m_act_new")->trigger();
    QCOMPARE(w.model()->rowCount(), 0);
    QCOMPARE(w.undoStack()->text(0), QString("New"));
    QVERIFY(w.windowTitle().startsWith("* "));
    action(&w, "m_act_undo")->trigger();
    QCOMPARE(*w.model()->root(), *before);
    QVERIFY(w.undoStack()->isClean());
}

void TestEditorWindow::commentsSpanTheRow()
{
    QVERIFY(writeFile(m_path, R"(<qrv16>
  <!-- top -->
  <tag name="Mode" id="0x1001">
    <enums>
      <!-- among values -->
      <enum name="Off" id="0"/>
    </enums>
  </tag>
</qrv16>
)"));
    EditorWindow& w = opened();
    auto* view = w.findChild<RowTreeView*>("m_view");
    const QModelIndex tag = w.model()->index(1, 0);
    const QModelIndex enums = w.model()->index(0, 0, tag);
    QVERIFY(view->isFirstColumnSpanned(0, QModelIndex()));
    QVERIFY(!view->isFirstColumnSpanned(1, QModelIndex()));
    // Spanned once shown, the value beside it not.
    view->expand(tag);
    view->expand(enums);
    QVERIFY(view->isFirstColumnSpanned(0, enums));
    QVERIFY(!view->isFirstColumnSpanned(1, enums));
    // Cleared and brought back: spanned again.
    action(&w, "m_act_new")->trigger();
    action(&w, "m_act_undo")->trigger();
    QVERIFY(view->isFirstColumnSpanned(0, QModelIndex()));
    QVERIFY(!view->isFirstColumnSpanned(1, QModelIndex()));
    const QModelIndex back = w.model()->index(0, 0, w.model()->index(1, 0));
    view->expand(w.model()->index(1, 0));
    view->expand(back);
    QVERIFY(view->isFirstColumnSpanned(0, back));
}

void TestEditorWindow::insertIntoEmptyFile()
{
    EditorWindow& w = *m_window;
    w.show();
    QVERIFY(action(&w, "m_act_insert_before")->isEnabled());
    QVERIFY(!action(&w, "m_act_delete")->isEnabled());
    action(&w, "m_act_insert_before")->trigger();
    QCOMPARE(w.model()->rowCount(), 1);
    QCOMPARE(w.undoStack()->text(0), QString("Insert tag"));
    QVERIFY(action(&w, "m_act_delete")->isEnabled());
    QVERIFY(action(&w, "m_act_add_enums")->isEnabled());
    action(&w, "m_act_add_enums")->trigger();
    QCOMPARE(w.model()->rowCount(w.model()->index(0, 0)), 1);
    QVERIFY(!action(&w, "m_act_add_enums")->isEnabled()); // on the container now
    action(&w, "m_act_insert_after")->trigger();          // into the container
    QCOMPARE(TreeText::shape(w.model()->root()), QString("R(T(E(_)))"));
}

void TestEditorWindow::itemDialogMakesOneChange()
{
    EditorWindow& w = opened();
    w.show();
    const QModelIndex pump = find(w.model(), "PumpMode");
    w.onDoubleClicked(pump);
    auto* dialog = w.findChild<EditorItemEditDialog*>();
    QVERIFY(dialog);
    QTRY_VERIFY(dialog->isVisible());
    dialog->findChild<QLineEdit*>("m_le_name")->setText("PumpState");
    dialog->findChild<QDialogButtonBox*>("m_buttunz")->button(QDialogButtonBox::Ok)->click();
    QCOMPARE(w.undoStack()->count(), 1);
    QCOMPARE(w.undoStack()->text(0), QString("Change item"));
    QCOMPARE(pump.data().toString(), QString("PumpState"));
}

void TestEditorWindow::reloadAfterOutsideChange()
{
    EditorWindow& w = opened();
    w.show();
    QSignalSpy opened(&w, &EditorWindow::opened);
    auto* bar = w.findChild<FileChangedWidget*>("m_wdg_file_changed");
    QByteArray text = readFile(m_path);
    text.replace("\"PumpMode\"", "\"PumpSetting\"");
    QVERIFY(writeFile(m_path, text));
    QTRY_VERIFY_WITH_TIMEOUT(bar->isVisible(), 5000);
    bar->findChild<QPushButton*>("m_pb_reload")->click();
    QVERIFY(find(w.model(), "PumpSetting").isValid());
    QVERIFY(w.undoStack()->isClean());
    QCOMPARE(w.undoStack()->text(0), QString("Replace data"));
    QCOMPARE(opened.size(), 1);
    std::unique_ptr<Item> handed(opened.at(0).at(0).value<Item*>());
    QCOMPARE(*handed, *w.model()->root());
    QCOMPARE(opened.at(0).at(1).toString(), m_path);
}

void TestEditorWindow::viewers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("highlighter");
    QTest::newRow("header") << "m_act_view_header" << "QRV16 generated header" << "HighlighterC";
    QTest::newRow("lua") << "m_act_view_lua" << "QRV16 generated Lua" << "HighlighterLua";
    QTest::newRow("c#") << "m_act_view_cs" << "QRV16 generated C#" << "";
    QTest::newRow("c++") << "m_act_view_cpp" << "QRV16 generated C++" << "";
    QTest::newRow("c++ lookup") << "m_act_view_cpp_lut" << "QRV16 generated C++ Lookup Tables" << "";
}

void TestEditorWindow::viewers()
{
    QFETCH(QString, name);
    QFETCH(QString, title);
    QFETCH(QString, highlighter);
    EditorWindow& w = opened();
    QVERIFY(w.model()->setData(find(w.model(), "PumpMode"), "PumpChoice"));
    action(&w, qPrintable(name))->trigger();
    QPlainTextEdit* shown = viewer(title);
    QVERIFY(shown);
    QVERIFY(shown->isReadOnly());
    auto* colours = shown->findChild<QSyntaxHighlighter*>();
    QCOMPARE(colours ? QString(colours->metaObject()->className()) : QString(), highlighter);
    if (colours)
        QCOMPARE(colours->document(), shown->document());
    QVERIFY(shown->isVisible());
    // Generated from the tree as edited, not as saved.
    QVERIFY2(shown->toPlainText().contains("PumpChoice"), qPrintable(shown->toPlainText().left(400)));
    QVERIFY(!shown->toPlainText().contains(QRegularExpression("(?<![A-Za-z])PumpMode(?![A-Za-z])")));
}

void TestEditorWindow::codeNamesFromSettings()
{
    EditorWindow& w = opened();
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QTimer::singleShot(0, &w, [] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        QCOMPARE(dialog->objectName(), QString("m_dlg_code_names"));
        dialog->findChild<QLineEdit*>("m_le_prefix")->setText("PS4");
        dialog->findChild<QLineEdit*>("m_le_namespace")->setText("norvane::ps4");
        dialog->accept();
    });
    action(&w, "m_act_code_names")->trigger();
    QCOMPARE(QSettings().value("QRV16Editor/CodePrefix").toString(), QString("PS4"));
    QCOMPARE(QSettings().value("QRV16Editor/CodeNamespace").toString(), QString("norvane::ps4"));

    action(&w, "m_act_view_header")->trigger();
    QVERIFY(viewerText("QRV16 generated header").contains("#define PS4_TAG_PumpMode 0x1002u"));
    action(&w, "m_act_view_cpp")->trigger();
    QVERIFY(viewerText("QRV16 generated C++").contains("namespace norvane::ps4 {"));
}

void TestEditorWindow::clashIsAWarning()
{
    EditorWindow& w = opened();
    // A double name is allowed while editing; the code shown warns of it.
    QVERIFY(w.model()->setData(find(w.model(), "PumpMode"), "PumpId"));
    action(&w, "m_act_view_header")->trigger();
    QVERIFY(viewerText("QRV16 generated header").contains("#define TAG_PumpId 0x1002u"));
    const QString messages = w.findChild<QPlainTextEdit*>("m_te_messages")->toPlainText();
    QVERIFY2(messages.contains("Warning: The name TAG_PumpId is made for both tag PumpId and tag PumpId."),
             qPrintable(messages));
}

QTEST_MAIN(TestEditorWindow)
#include "tst_editorwindow.moc"
