// SPDX-License-Identifier: MIT
#include "app/definitionsactions.h"
#include "app/displayoptions.h"
#include "app/mainwindow.h"
#include "automation/autoanswer.h"
#include "automation/definitions.h"
#include "automation/widgets/answerdialog.h"
#include "automation/widgets/sequencedock.h"
#include "files/logrecord.h"
#include "trace/channel.h"
#include "trace/replayer.h"
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/logwriter.h"
#include "trace/widgets/tracelogging.h"
#include "trace/widgets/traceview.h"
#include "bookmarks/bookmarkactions.h"
#include "widgets/documentactions.h"

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkwidget.h"
#include "connection/connection.h"
#include "editor/editormodel.h"
#include "editor/editorwindow.h"
#include "qrv16/item.h"
#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/app/windowlinks.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/modalcloser.h"
#include "tests/support/pty.h"
#include "tests/support/tracelines.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDockWidget>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QListView>
#include <QProgressDialog>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTcpServer>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

const char bookmarkFile[] = R"(<?xml version="1.0"?>
<qrvbm>
  <bookmark>
    <text>Status</text>
    <message>GetStatus=(PumpId=1)</message>
  </bookmark>
</qrvbm>
)";

// Answers the next message box with `button` once it is up.
void answerMessageBox(QMessageBox::StandardButton button, bool* asked)
{
    QTimer::singleShot(0, [button, asked] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        *asked = true;
        box->button(button)->click();
    });
}

QByteArray encoded(const QString& notation, const QRV16::TagDataLut* tags)
{
    QRV16::MessageParser parser(tags);
    return parser.parse(notation).bytes();
}

// Adds `count` status lines and waits until the view has them.
bool addLines(MainWindow* window, int count)
{
    TraceModel* model = window->traceModel();
    for (int i = 0; i < count; ++i)
        window->message(QStringLiteral("line %1").arg(model->lineCount()));
    // Lines reach the view in batches; a busy machine may take a while.
    if (!QTest::qWaitFor([model] { return model->rowCount() == model->lineCount(); }, 30000))
        return false;
    QCoreApplication::processEvents();
    return true;
}

// Whether `action`'s shortcut fires while `focus` has the keyboard focus.
bool shortcutActive(const QAction* action, const QWidget* focus)
{
    const Qt::ShortcutContext context = action->shortcutContext();
    if (context == Qt::WindowShortcut || context == Qt::ApplicationShortcut)
        return true;
    for (const QObject* object : action->associatedObjects()) {
        const auto* widget = qobject_cast<const QWidget*>(object);
        // A menu's entries are keys only while the menu is open.
        if (!widget || qobject_cast<const QMenu*>(widget))
            continue;
        if (widget == focus || (context == Qt::WidgetWithChildrenShortcut && widget->isAncestorOf(focus)))
            return true;
    }
    return false;
}

QStringList warnings;

void collectWarnings(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtWarningMsg)
        warnings << text;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void arguments_data();
    void arguments();
    void firstStartDefaults();
    void togglesAreSavedAndRestored();
    void hideDuplicatesBanner();
    void messageSplitsLines_data();
    void messageSplitsLines();
    void entryLineSendsAndKeepsHistory();
    void goButtonsSelectTheTarget();
    void definitionsLoadAndFailKeepsOldTree();
    void definitionsFromSettingsAtStart();
    void bookmarksLoadActivateAndFail();
    void closeWithUnsavedBookmarks_data();
    void closeWithUnsavedBookmarks();
    void everyCommandCanBeReached();
    void editorSavesIntoTheTrace();
    void everyShortcutHasOneOwner();
    void deleteKeyGoesToTheFocusedPanel_data();
    void deleteKeyGoesToTheFocusedPanel();
    void hexReplayNeverTransmits();
    void barErrorsNeverWidenTheWindow_data();
    void barErrorsNeverWidenTheWindow();
    void editedAnswersAreAskedAboutOnClose();
    void openAndSaveDialogsStartInTheLastFolder_data();
    void openAndSaveDialogsStartInTheLastFolder();
    void definitionsChangeChecksRulesAndStepsOnce();
    void disturbOnlyWhereThereAreModemLines();

private:
    std::unique_ptr<MainWindow> makeWindow();
    QTemporaryDir m_dir;
    QString m_defs;
    // The far ends of the channels' links, kept until the test ends.
    std::vector<std::unique_ptr<korvtest::Pty>> m_lines;
};

void TestMainWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
    QVERIFY(m_dir.isValid());
    m_defs = m_dir.filePath(QStringLiteral("defs.qrvdef"));
    QVERIFY(writeFile(m_defs, pumpDefinitions));
}

void TestMainWindow::init()
{
    QSettings().clear();
}

void TestMainWindow::cleanup()
{
    QSettings().clear();
    m_lines.clear();
}

std::unique_ptr<MainWindow> TestMainWindow::makeWindow()
{
    return windowWithLinks(&m_lines);
}

void TestMainWindow::arguments_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("bookmarks");
    QTest::addColumn<QString>("answers");
    QTest::addColumn<QString>("sequences");
    const QString none;
    QTest::newRow("nothing") << QStringList() << none << none << none << none;
    QTest::newRow("short forms") << QStringList{"-d", "a.qrvdef", "-b", "b.qrvbm", "-a", "p.qrvans", "-s", "x.qrvseq"}
                                 << "a.qrvdef" << "b.qrvbm" << "p.qrvans" << "x.qrvseq";
    QTest::newRow("long forms") << QStringList{"--bookmarks", "b.qrvbm", "--definitions", "a.qrvdef", "--answers",
                                               "p.qrvans", "--sequences", "z.qrvseq"}
                                << "a.qrvdef" << "b.qrvbm" << "p.qrvans" << "z.qrvseq";
    QTest::newRow("the last occurrence wins")
        << QStringList{"-d", "first.qrvdef", "--definitions", "second.qrvdef"} << "second.qrvdef" << none << none
        << none;
    QTest::newRow("the last answers win over other options between")
        << QStringList{"--answers", "a", "-b", "b", "--answers", "c"} << none << "b" << "c" << none;
    QTest::newRow("an option standing last is ignored") << QStringList{"-b", "b.qrvbm", "-d"} << none << "b.qrvbm"
                                                        << none << none;
    QTest::newRow("answers standing last are ignored") << QStringList{"-a"} << none << none << none << none;
    QTest::newRow("other arguments are skipped")
        << QStringList{"-style", "fusion", "-d", "a.qrvdef", "extra"} << "a.qrvdef" << none << none << none;
    QTest::newRow("a value that looks like an option is still a value")
        << QStringList{"-d", "-b", "x"} << "-b" << none << none << none;
}

void TestMainWindow::arguments()
{
    QFETCH(QStringList, args);
    QFETCH(QString, definitions);
    QFETCH(QString, bookmarks);
    QFETCH(QString, answers);
    QFETCH(QString, sequences);
    QString d;
    QString b;
    QString a;
    QString s;
    MainWindow::parseArguments(args, &d, &b, &a, &s);
    QCOMPARE(d, definitions);
    QCOMPARE(b, bookmarks);
    QCOMPARE(a, answers);
    QCOMPARE(s, sequences);
    // The files of the automation are optional to the caller.
    QString d2;
    QString b2;
    MainWindow::parseArguments(args, &d2, &b2);
    QCOMPARE(d2, definitions);
    QCOMPARE(b2, bookmarks);
}

void TestMainWindow::firstStartDefaults()
{
    auto window = makeWindow();
    const auto checked = [&](const char* name) { return window->findChild<QAction*>(QLatin1String(name))->isChecked(); };
    QVERIFY(!checked("m_act_trace_raw"));
    QVERIFY(!checked("m_act_trace_msg"));
    QVERIFY(checked("m_act_trace_lut"));
    QVERIFY(checked("m_act_autoscroll"));
    QVERIFY(checked("m_act_link"));
    QVERIFY(!checked("m_act_hide_dup"));
    QVERIFY(!checked("m_act_pause"));
    QCOMPARE(window->targetChannel(), window->channel(1));
    const TraceOptions options = window->displayOptions()->options();
    QVERIFY(options.test(TraceOptions::Decode));
    QVERIFY(options.test(TraceOptions::LinkChannels));
    QVERIFY(!options.test(TraceOptions::TraceRaw));
    // What the toggles say reaches whatever shows the trace.
    QVERIFY(window->traceModel()->options() == options);
    QVERIFY(window->channel(1)->options() == options);
    QVERIFY(window->channel(2)->options() == options);
    QVERIFY(window->bookmarks());
    QCOMPARE(window->bookmarks()->count(), 0);
    QVERIFY(!window->findChild<QAction*>(QStringLiteral("m_act_save_bookmarks"))->isEnabled());
    QVERIFY(!window->findChild<QAction*>(QStringLiteral("m_act_log_stop"))->isEnabled());
}

void TestMainWindow::togglesAreSavedAndRestored()
{
    {
        auto window = makeWindow();
        window->findChild<QAction*>(QStringLiteral("m_act_trace_raw"))->setChecked(true);
        window->findChild<QAction*>(QStringLiteral("m_act_trace_lut"))->setChecked(false);
        window->findChild<QAction*>(QStringLiteral("m_act_pause"))->setChecked(true);
        for (const Channel* channel : {window->channel(1), window->channel(2)}) {
            QVERIFY(channel->options().test(TraceOptions::TraceRaw));
            QVERIFY(channel->options().test(TraceOptions::Pause));
        }
        QVERIFY(!window->traceModel()->options().test(TraceOptions::Decode));
    }
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/TraceRaw")).toBool(), true);
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/TraceLut")).toBool(), false);
    auto window = makeWindow();
    QVERIFY(window->findChild<QAction*>(QStringLiteral("m_act_trace_raw"))->isChecked());
    QVERIFY(!window->findChild<QAction*>(QStringLiteral("m_act_trace_lut"))->isChecked());
    // Pause is never kept.
    QVERIFY(!window->findChild<QAction*>(QStringLiteral("m_act_pause"))->isChecked());
    QVERIFY(!window->channel(1)->options().test(TraceOptions::Pause));
}

void TestMainWindow::hideDuplicatesBanner()
{
    auto window = makeWindow();
    QSignalSpy changed(window->displayOptions(), &DisplayOptions::optionsChanged);
    auto* banner = qobject_cast<QLabel*>(window->menuBar()->cornerWidget(Qt::TopRightCorner));
    QVERIFY(banner);
    QVERIFY(banner->text().isEmpty());
    window->findChild<QAction*>(QStringLiteral("m_act_hide_dup"))->setChecked(true);
    banner = qobject_cast<QLabel*>(window->menuBar()->cornerWidget(Qt::TopRightCorner));
    QVERIFY2(banner->text().contains(QLatin1String("HIDE DUPLICATES")), qPrintable(banner->text()));
    QCOMPARE(changed.count(), 1);
    QVERIFY(changed.at(0).at(0).value<TraceOptions>().test(TraceOptions::HideDuplicates));
    window->findChild<QAction*>(QStringLiteral("m_act_hide_dup"))->setChecked(false);
    QVERIFY(qobject_cast<QLabel*>(window->menuBar()->cornerWidget(Qt::TopRightCorner))->text().isEmpty());
}

void TestMainWindow::messageSplitsLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("one line") << "hello" << QStringList{"Main|hello"};
    QTest::newRow("two lines") << "a\nb" << QStringList{"Main|a", "Main|b"};
    QTest::newRow("empty lines at both ends dropped") << "\n\na\n\nb\n\n" << QStringList{"Main|a", "Main|", "Main|b"};
    QTest::newRow("nothing but line feeds") << "\n\n" << QStringList();
}

void TestMainWindow::messageSplitsLines()
{
    QFETCH(QString, text);
    QFETCH(QStringList, expected);
    auto window = makeWindow();
    window->traceModel()->clear();
    window->message(text);
    QCOMPARE(lines(*window->traceModel()), expected);
    if (!expected.isEmpty())
        QCOMPARE(window->traceModel()->index2item(window->traceModel()->index(0, 0))->color(), ColorText);
    window->message(QStringLiteral("bad"), ColorError, QStringLiteral("Log"));
    const int last = window->traceModel()->lineCount() - 1;
    QCOMPARE(window->traceModel()->index2item(window->traceModel()->index(last, 0))->color(), ColorError);
    QCOMPARE(lines(*window->traceModel()).constLast(), QStringLiteral("Log|bad"));
}

void TestMainWindow::entryLineSendsAndKeepsHistory()
{
    {
        auto window = makeWindow();
        QVERIFY(window->loadDefinitionFile(m_defs));
        window->traceModel()->clear();
        auto* entry = window->findChild<QComboBox*>(QStringLiteral("m_cb_message"));
        entry->setEditText(QStringLiteral("GetStatus=(PumpId=7)"));
        // Keys go to the combo box, the line edit's focus proxy, as typing does.
        QTest::keyClick(entry, Qt::Key_Return);
        entry->setEditText(QStringLiteral("PumpId=1"));
        QTest::keyClick(entry, Qt::Key_Return);
        // Sending the first again does not add it twice.
        entry->setEditText(QStringLiteral("GetStatus=(PumpId=7)"));
        QTest::keyClick(entry, Qt::Key_Return);
        QCOMPARE(lines(*window->traceModel()),
                 (QStringList{"1|GetStatus=(PumpId=7)", "1|PumpId=1", "1|GetStatus=(PumpId=7)"}));
        QCOMPARE(entry->count(), 2);
    }
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/History")).toStringList(),
             (QStringList{"GetStatus=(PumpId=7)", "PumpId=1"}));
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/HistoryIndex")).toInt(), 0);
    auto window = makeWindow();
    auto* entry = window->findChild<QComboBox*>(QStringLiteral("m_cb_message"));
    QCOMPARE(entry->count(), 2);
    QCOMPARE(entry->currentText(), QStringLiteral("GetStatus=(PumpId=7)"));
}

void TestMainWindow::goButtonsSelectTheTarget()
{
    {
        auto window = makeWindow();
        window->traceModel()->clear();
        auto* entry = window->findChild<QComboBox*>(QStringLiteral("m_cb_message"));
        entry->setEditText(QStringLiteral("1001=5"));
        window->findChild<QPushButton*>(QStringLiteral("m_pb_go2"))->click();
        QCOMPARE(window->targetChannel(), window->channel(2));
        QCOMPARE(lines(*window->traceModel()), QStringList{"2|1001=5"});
        // Unparsable text: an error line on the target, nothing else.
        entry->setEditText(QStringLiteral("1001=(("));
        QTest::keyClick(entry, Qt::Key_Return);
        QCOMPARE(lines(*window->traceModel()).size(), 2);
        QVERIFY(lines(*window->traceModel()).constLast().startsWith(QLatin1String("2 Err|")));
    }
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/TargetChannel")).toInt(), 2);
    auto window = makeWindow();
    QCOMPARE(window->targetChannel(), window->channel(2));
    window->findChild<QPushButton*>(QStringLiteral("m_pb_go1"))->click();
    QCOMPARE(window->targetChannel(), window->channel(1));
}

void TestMainWindow::definitionsLoadAndFailKeepsOldTree()
{
    auto window = makeWindow();
    window->traceModel()->clear();
    QVERIFY(window->loadDefinitionFile(m_defs));
    QVERIFY(window->tags());
    QCOMPARE(window->tags()->tagNumber(QStringLiteral("PumpId")), 0x1001);
    QVERIFY(lines(*window->traceModel())
                .constLast()
                .startsWith(QStringLiteral("Definitions|Loaded definitions from ")));
    const QRV16::Item* loaded = window->definitions()->root();

    const QString broken = m_dir.filePath(QStringLiteral("broken.qrvdef"));
    QVERIFY(writeFile(broken, "<qrv16><tag name=\"X\" id=\"zz\"/></qrv16>"));
    QVERIFY(!window->loadDefinitionFile(broken));
    QCOMPARE(window->definitions()->root(), loaded);
    const int last = window->traceModel()->lineCount() - 1;
    const TraceItem* line = window->traceModel()->index2item(window->traceModel()->index(last, 0));
    QCOMPARE(line->source(), QStringLiteral("Definitions"));
    QCOMPARE(line->color(), ColorError);
    QVERIFY(!window->loadDefinitionFile(m_dir.filePath(QStringLiteral("missing.qrvdef"))));
    QCOMPARE(window->definitions()->root(), loaded);
}

void TestMainWindow::definitionsFromSettingsAtStart()
{
    QSettings().setValue(QStringLiteral("MainWindow/LastDefinitionsPath"), m_defs);
    // Channels as configured (not at all): the start-up tries to connect them.
    auto window = std::make_unique<MainWindow>();
    QCOMPARE(window->definitionsActions()->path(), m_defs);
    QVERIFY(!window->tags());
    // Loaded a moment after the window is up.
    QTRY_VERIFY(window->tags());
    const QStringList shown = lines(*window->traceModel());
    QVERIFY(shown.contains(QStringLiteral("1 Con|Not configured")));
    QVERIFY(shown.contains(QStringLiteral("2 Con|Not configured")));
}

void TestMainWindow::bookmarksLoadActivateAndFail()
{
    const QString path = m_dir.filePath(QStringLiteral("marks.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    auto window = makeWindow();
    QVERIFY(window->loadDefinitionFile(m_defs));
    QVERIFY(window->loadBookmarks(path));
    QCOMPARE(window->bookmarks()->count(), 1);
    window->traceModel()->clear();
    window->bookmarks()->action(0)->trigger();
    QCOMPARE(lines(*window->traceModel()), QStringList{"1|GetStatus=(PumpId=1)"});
    // The entry line is left alone.
    QVERIFY(window->findChild<QComboBox*>(QStringLiteral("m_cb_message"))->currentText().isEmpty());

    BookmarkList* before = window->bookmarks();
    const QString wrong = m_dir.filePath(QStringLiteral("wrong.qrvbm"));
    QVERIFY(writeFile(wrong, "<?xml version=\"1.0\"?><other/>"));
    QVERIFY(!window->loadBookmarks(wrong));
    QCOMPARE(window->bookmarks(), before);
    QVERIFY(lines(*window->traceModel()).constLast().startsWith(QLatin1String("Bookmarks|")));
}

void TestMainWindow::closeWithUnsavedBookmarks_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("closes");
    QTest::newRow("cancel keeps the window") << int(QMessageBox::Cancel) << false;
    QTest::newRow("discard closes") << int(QMessageBox::Discard) << true;
}

void TestMainWindow::closeWithUnsavedBookmarks()
{
    QFETCH(int, answer);
    QFETCH(bool, closes);
    auto window = makeWindow();
    window->show();
    window->bookmarks()->addAction(new QAction(QStringLiteral("Unsaved")));
    bool asked = false;
    answerMessageBox(QMessageBox::StandardButton(answer), &asked);
    const bool closed = window->close();
    QVERIFY(asked);
    QCOMPARE(closed, closes);
    QCOMPARE(QSettings().contains(QStringLiteral("MainWindow/Geometry")), closes);
}

// Every command has a place to click: a menu, a toolbar or a panel; every
// toolbar and panel closed can be brought back from a menu.
void TestMainWindow::everyCommandCanBeReached()
{
    auto window = makeWindow();
    QSet<const QAction*> inMenus;
    std::unique_ptr<QMenu> popup(window->createPopupMenu());
    QList<QMenu*> menus{popup.get()};
    for (QAction* top : window->menuBar()->actions())
        menus << top->menu();
    while (!menus.isEmpty()) {
        QMenu* menu = menus.takeFirst();
        if (!menu)
            continue;
        // Some menus are filled as they open.
        Q_EMIT menu->aboutToShow();
        for (QAction* entry : menu->actions()) {
            inMenus.insert(entry);
            menus << entry->menu();
        }
    }
    QStringList missing;
    for (const QAction* command : window->findChildren<QAction*>()) {
        if (command->isSeparator() || command->text().isEmpty() || command->menu())
            continue;
        const QList<QObject*> places = command->associatedObjects();
        if (std::none_of(places.begin(), places.end(), [](QObject* place) { return place->isWidgetType(); }))
            missing << command->text();
    }
    for (const QToolBar* bar : window->findChildren<QToolBar*>(Qt::FindDirectChildrenOnly)) {
        if (!inMenus.contains(bar->toggleViewAction()))
            missing << bar->windowTitle();
    }
    for (const QDockWidget* dock : window->findChildren<QDockWidget*>(Qt::FindDirectChildrenOnly)) {
        if (!inMenus.contains(dock->toggleViewAction()))
            missing << dock->windowTitle();
    }
    QVERIFY(inMenus.size() > 30);
    QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char('\n'))));
}

void TestMainWindow::editorSavesIntoTheTrace()
{
    const QString path = m_dir.filePath(QStringLiteral("edited.qrvdef"));
    QVERIFY(writeFile(path, pumpDefinitions));
    auto window = makeWindow();
    QVERIFY(window->loadDefinitionFile(path));
    window->definitionsActions()->edit();
    QPointer<QRV16::EditorWindow> editor;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* e = qobject_cast<QRV16::EditorWindow*>(w))
            editor = e;
    }
    QVERIFY(editor);
    QCOMPARE(editor->currentFile(), path);
    // A second request brings up the same window.
    window->definitionsActions()->edit();
    int editors = 0;
    for (QWidget* w : QApplication::topLevelWidgets())
        editors += qobject_cast<QRV16::EditorWindow*>(w) && w->isVisible() ? 1 : 0;
    QCOMPARE(editors, 1);

    // Rename PumpId to Pump and save: the trace decodes with the new name.
    QRV16::EditorModel* model = editor->model();
    QModelIndex pump;
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->index(row, 0).data().toString() == QLatin1String("PumpId"))
            pump = model->index(row, 0);
    }
    QVERIFY(pump.isValid());
    QVERIFY(model->setData(pump, QStringLiteral("Pump"), Qt::EditRole));
    QVERIFY(editor->save(path));
    QCOMPARE(window->tags()->tagNumber(QStringLiteral("Pump")), 0x1001);
    QVERIFY(lines(*window->traceModel()).constLast().startsWith(QLatin1String("Definitions|Updated from ")));
    window->traceModel()->clear();
    window->channel(1)->sendMessage(QStringLiteral("1001=3"));
    QCOMPARE(lines(*window->traceModel()), QStringList{"1|Pump=3"});
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/LastDefinitionsPath")).toString(), path);
    editor->close();
    QTRY_VERIFY(!editor);
}

void TestMainWindow::everyShortcutHasOneOwner()
{
    auto window = makeWindow();
    QList<QWidget*> places{window.get()};
    for (QWidget* widget : window->findChildren<QWidget*>()) {
        if (widget->focusPolicy() != Qt::NoFocus && !qobject_cast<QMenu*>(widget))
            places << widget;
    }
    const QList<QAction*> actions = window->findChildren<QAction*>();
    QVERIFY(actions.size() > 30);
    for (const QWidget* focus : std::as_const(places)) {
        QMap<QString, QString> owners; // key sequence -> action
        for (const QAction* action : actions) {
            for (const QKeySequence& key : action->shortcuts()) {
                if (key.isEmpty() || !shortcutActive(action, focus))
                    continue;
                const QString name = key.toString();
                const QString owner = action->objectName().isEmpty() ? action->text() : action->objectName();
                QVERIFY2(!owners.contains(name), qPrintable(QStringLiteral("%1 belongs to %2 and %3 in %4")
                                                                .arg(name, owners.value(name), owner,
                                                                     focus->objectName().isEmpty()
                                                                         ? QString::fromLatin1(focus->metaObject()->className())
                                                                         : focus->objectName())));
                owners.insert(name, owner);
            }
        }
    }
}

void TestMainWindow::deleteKeyGoesToTheFocusedPanel_data()
{
    QTest::addColumn<bool>("inPanel");
    QTest::newRow("bookmark panel: the bookmark goes") << true;
    QTest::newRow("trace: the line goes") << false;
}

void TestMainWindow::deleteKeyGoesToTheFocusedPanel()
{
    QFETCH(bool, inPanel);
    const QString path = m_dir.filePath(QStringLiteral("marks.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    auto window = makeWindow();
    QVERIFY(window->loadBookmarks(path));
    window->show();
    QApplication::setActiveWindow(window.get());
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    QVERIFY(addLines(window.get(), 3));
    const int trace = window->traceModel()->lineCount();

    auto* view = window->findChild<QAbstractItemView*>(QStringLiteral("m_tv_trace"));
    auto* panel = window->findChild<BookmarkWidget*>()->findChild<QListView*>();
    QVERIFY(panel);
    QWidget* focus = inPanel ? static_cast<QWidget*>(panel) : view;
    QAbstractItemView* list = inPanel ? static_cast<QAbstractItemView*>(panel) : view;
    list->setCurrentIndex(list->model()->index(0, 0));
    focus->setFocus();
    QTRY_VERIFY(focus->hasFocus());

    warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectWarnings);
    QTest::keyClick(focus, Qt::Key_Delete);
    qInstallMessageHandler(previous);
    QVERIFY2(warnings.filter(QStringLiteral("Ambiguous")).isEmpty(), qPrintable(warnings.join(QLatin1Char('\n'))));
    QCOMPARE(window->bookmarks()->count(), inPanel ? 0 : 1);
    QCOMPARE(window->traceModel()->lineCount(), inPanel ? trace : trace - 1);
}

// A replayed received byte line reaches the trace and nothing else: not the
// peer of the linked channel, not the automatic answers.
void TestMainWindow::hexReplayNeverTransmits()
{
    const QString rules = m_dir.filePath(QStringLiteral("echo.qrvans"));
    QVERIFY(writeFile(rules, R"(<?xml version="1.0"?>
<qrvanswers>
  <rule channel="1"><name>Seen</name><when>PumpId</when><answer>StationName="seen"</answer></rule>
</qrvanswers>
)"));
    const QString dump = m_dir.filePath(QStringLiteral("transmit.csv"));
    QVERIFY(writeFile(dump, "2011-03-04T10:20:30.045,\"1 Raw\",\"03 00 01 10 03\",3,,\n"));
    auto window = makeWindow();
    QVERIFY(window->loadDefinitionFile(m_defs));
    QVERIFY(window->loadAnswers(rules));
    QVERIFY(window->findChild<QAction*>(QStringLiteral("m_act_link"))->isChecked());
    window->traceModel()->clear();
    QSignalSpy finished(window->replayer(), &Replayer::finished);
    QVERIFY(window->logging()->replayHexDump(dump));
    QVERIFY(finished.wait(5000));
    TraceModel* model = window->traceModel();
    const QStringList shown = lines(*model);
    const int replayed = int(shown.indexOf(QStringLiteral("1|PumpId=3")));
    QVERIFY2(replayed >= 0, qPrintable(shown.join(QLatin1Char('\n'))));

    // A live message behind it: whatever the replay caused would be on the
    // lines before what the live one causes.
    const QByteArray live = QByteArray::fromHex("0300011004");
    QVERIFY(m_lines.at(0)->write(live));
    const QByteArray answer = encoded(QStringLiteral("StationName=\"seen\""), window->tags());
    QByteArray relayed;
    QByteArray answered;
    QTRY_VERIFY_WITH_TIMEOUT((relayed += m_lines.at(1)->read(0), answered += m_lines.at(0)->read(0),
                              relayed.endsWith(live) && answered.endsWith(answer)),
                             20000);
    QCOMPARE(relayed.toHex(' '), live.toHex(' '));
    QCOMPARE(answered.toHex(' '), answer.toHex(' '));
    // Marked as what it is.
    const QString tip = model->index(replayed, TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
    QVERIFY2(tip.contains(QDir::toNativeSeparators(dump)) && tip.contains(QLatin1String("line 1")), qPrintable(tip));
}

void TestMainWindow::barErrorsNeverWidenTheWindow_data()
{
    QTest::addColumn<QString>("bar");
    QTest::newRow("filter expression") << QStringLiteral("filter");
    QTest::newRow("find pattern") << QStringLiteral("find");
}

// A long bad text is shown elided, whole in the tool tip; the window keeps
// its width while the bar shows it and after it closes.
void TestMainWindow::barErrorsNeverWidenTheWindow()
{
    QFETCH(QString, bar);
    QSettings().setValue(QStringLiteral("MainWindow/FindRegExp"), true);
    auto window = makeWindow();
    window->resize(1100, 500);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QVERIFY(window->loadDefinitionFile(m_defs));
    QVERIFY(addLines(window.get(), 3));
    const int width = window->width();
    const QString token = QString(300, QLatin1Char('Q'));
    QLabel* label = nullptr;
    QWidget* barWidget = nullptr;
    QString shown;
    if (bar == QLatin1String("filter")) {
        window->findChild<QAction*>(QStringLiteral("m_act_filter"))->setChecked(true);
        auto* filter = window->findChild<FilterBar*>();
        filter->setExpression(QStringLiteral("GetStatus and ") + token + QStringLiteral("=1"));
        shown = filter->error();
        QVERIFY2(shown.contains(token), qPrintable(shown));
        label = filter->findChild<QLabel*>(QStringLiteral("m_lbl_error"));
        barWidget = filter;
    } else {
        window->findChild<QAction*>(QStringLiteral("m_act_find"))->trigger();
        auto* find = window->findChild<FindBar*>();
        auto* edit = find->findChild<QLineEdit*>(QStringLiteral("m_le_find"));
        edit->setText(QStringLiteral("(") + token);
        QTest::keyClick(edit, Qt::Key_Return);
        shown = find->status();
        QVERIFY(!shown.isEmpty());
        label = find->findChild<QLabel*>(QStringLiteral("m_lbl_status"));
        barWidget = find;
    }
    QVERIFY(label);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QCOMPARE(window->width(), width);
    QVERIFY2(window->minimumSizeHint().width() <= width,
             qPrintable(QString::number(window->minimumSizeHint().width())));
    QCOMPARE(label->toolTip(), shown);
    QTest::keyClick(barWidget, Qt::Key_Escape);
    QCoreApplication::processEvents();
    QVERIFY(!barWidget->isVisible());
    QCOMPARE(window->width(), width);
}

// Rules changed in the dialog are a document with unsaved changes: closing
// asks, saving says where to.
void TestMainWindow::editedAnswersAreAskedAboutOnClose()
{
    const QString path = m_dir.filePath(QStringLiteral("edited.qrvans"));
    QVERIFY(writeFile(path, R"(<?xml version="1.0"?>
<qrvanswers><rule><name>One</name><when>GetStatus</when><answer>PumpId=1</answer></rule></qrvanswers>
)"));
    auto window = makeWindow();
    window->show();
    QVERIFY(window->loadAnswers(path));
    QTimer::singleShot(0, window.get(), [] {
        if (auto* dialog = qobject_cast<AnswerDialog*>(QApplication::activeModalWidget())) {
            dialog->onAdd();
            dialog->accept();
        }
    });
    window->findChild<QAction*>(QStringLiteral("m_act_edit_answers"))->trigger();
    QCOMPARE(window->autoAnswer()->rules().size(), 2);

    // Opening another file asks first, and Cancel keeps the rules.
    ModalCloser closer(QMessageBox::Cancel);
    window->findChild<QAction*>(QStringLiteral("m_act_open_answers"))->trigger();
    QCOMPARE(closer.seen, QStringList{"box"});
    closer.seen.clear();
    QVERIFY(!window->close());
    QCOMPARE(closer.seen, QStringList{"box"});
    QCOMPARE(window->autoAnswer()->rules().size(), 2);

    window->traceModel()->clear();
    window->findChild<QAction*>(QStringLiteral("m_act_save_answers"))->trigger();
    QCOMPARE(lines(*window->traceModel()),
             QStringList{QStringLiteral("Answers|Saved to %1").arg(QDir::toNativeSeparators(path))});
    closer.seen.clear();
    QVERIFY(window->close());
    QVERIFY(closer.seen.isEmpty());
}

void TestMainWindow::openAndSaveDialogsStartInTheLastFolder_data()
{
    QTest::addColumn<QString>("open");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("answers") << QStringLiteral("m_act_open_answers") << QStringLiteral("a.qrvans")
                             << QByteArray("<qrvanswers><rule><when>D001</when><answer>1001=1</answer></rule>"
                                           "</qrvanswers>");
    QTest::newRow("sequences") << QStringLiteral("m_act_open_sequences") << QStringLiteral("s.qrvseq")
                               << QByteArray("<qrvsequences><sequence name=\"S\"><stop/></sequence></qrvsequences>");
}

void TestMainWindow::openAndSaveDialogsStartInTheLastFolder()
{
    QFETCH(QString, open);
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    const QString folder = m_dir.filePath(QStringLiteral("folder-") + file);
    QVERIFY(QDir().mkpath(folder));
    const QString path = folder + QLatin1Char('/') + file;
    QVERIFY(writeFile(path, content));
    {
        auto window = makeWindow();
        window->show();
        ModalCloser closer(QMessageBox::Cancel, path);
        window->findChild<QAction*>(open)->trigger();
        QCOMPARE(closer.seen.size(), 1);
        QVERIFY2(lines(*window->traceModel()).constLast().contains(QDir::toNativeSeparators(path)),
                 qPrintable(lines(*window->traceModel()).join(QLatin1Char('\n'))));
    }
    // The next session starts where the last file was.
    auto window = makeWindow();
    window->show();
    ModalCloser closer(QMessageBox::Cancel);
    window->findChild<QAction*>(open)->trigger();
    QCOMPARE(closer.seen, QStringList{QStringLiteral("file ") + QFileInfo(folder).absoluteFilePath()});
}

// Definitions without a tag that rules and steps use: each of them is
// reported once, by name, and the periodic rule does not repeat it.
void TestMainWindow::definitionsChangeChecksRulesAndStepsOnce()
{
    const QString rules = m_dir.filePath(QStringLiteral("pump.qrvans"));
    QVERIFY(writeFile(rules, R"(<?xml version="1.0"?>
<qrvanswers>
  <rule channel="1" every="20"><name>Report pump</name><answer>PumpId=1</answer></rule>
  <rule channel="1" every="20"><name>Tick</name><answer>StationName="tick"</answer></rule>
  <rule channel="1"><name>Pump asked</name><when>GetStatus=(PumpId=2)</when><answer>StationName="x"</answer></rule>
  <rule channel="1"><name>Fine</name><when>GetStatus</when><answer>StationName="y"</answer></rule>
</qrvanswers>
)"));
    const QString sequences = m_dir.filePath(QStringLiteral("pump.qrvseq"));
    QVERIFY(writeFile(sequences, R"(<?xml version="1.0"?>
<qrvsequences><sequence name="Check">
  <send channel="1">GetStatus</send>
  <send channel="1">PumpId=2</send>
  <expect channel="1" within="100">StationName</expect>
</sequence></qrvsequences>
)"));
    const QString renamed = m_dir.filePath(QStringLiteral("renamed.qrvdef"));
    QByteArray defs(pumpDefinitions);
    defs.replace("\"PumpId\"", "\"Pump\"");
    QVERIFY(writeFile(renamed, defs));
    auto window = makeWindow();
    QVERIFY(window->loadDefinitionFile(m_defs));
    QVERIFY(window->loadAnswers(rules));
    QVERIFY(window->sequenceDock()->load(sequences));
    window->traceModel()->clear();

    QVERIFY(window->loadDefinitionFile(renamed));
    // A sound rule of the same period: once it has sent a few times, the
    // broken one has come round as often.
    QTRY_VERIFY_WITH_TIMEOUT(
        lines(*window->traceModel()).filter(QStringLiteral("1|StationName=\"tick\"")).size() >= 5, 30000);
    const QStringList shown = lines(*window->traceModel());
    // The window's deferred start may load the same file once more.
    const int loads = int(shown.filter(QRegularExpression(QStringLiteral("^Definitions\\|Loaded "))).size());
    QVERIFY(loads >= 1);
    const QString all = shown.join(QLatin1Char('\n'));
    const QStringList answers = shown.filter(QRegularExpression(QStringLiteral("^Answers\\|")));
    QVERIFY2(answers.size() == 2 * loads, qPrintable(all));
    const QStringList report = answers.filter(QStringLiteral("Answers|Answer rule \"Report pump\": "));
    QVERIFY2(report.size() == loads && report.constFirst().contains(QLatin1String("PumpId")), qPrintable(all));
    QVERIFY2(answers.filter(QStringLiteral("Answers|Answer rule \"Pump asked\": ")).size() == loads, qPrintable(all));
    const QStringList steps = shown.filter(QRegularExpression(QStringLiteral("^Sequences\\|")));
    QVERIFY2(steps.size() == loads &&
                 steps.constFirst().startsWith(QLatin1String("Sequences|Sequence \"Check\", step 2: ")) &&
                 steps.constFirst().contains(QLatin1String("PumpId")),
             qPrintable(all));
}

// Pulsing modem lines needs a serial port: a TCP link has none.
void TestMainWindow::disturbOnlyWhereThereAreModemLines()
{
    auto window = makeWindow();
    QTcpServer peer;
    QVERIFY(peer.listen(QHostAddress::LocalHost));
    ConnectionSettings client;
    client.setMode(ConnectionSettings::ClientMode);
    client.setClientAddress(QStringLiteral("127.0.0.1"));
    client.setClientPort(peer.serverPort());
    window->channel(2)->setSettings(client);
    window->channel(2)->connect();
    QTRY_VERIFY(window->channel(2)->isConnected());
    auto* serial = window->findChild<QAction*>(QStringLiteral("m_act_disturb1"));
    auto* tcp = window->findChild<QAction*>(QStringLiteral("m_act_disturb2"));
    QVERIFY(serial->isEnabled());
    QVERIFY(!tcp->isEnabled());
    window->traceModel()->clear();
    window->channel(2)->disturb();
    serial->trigger();
    const QStringList shown = lines(*window->traceModel());
    QVERIFY2(!shown.contains(QStringLiteral("2 Con|DISTURBANCE GENERATED")), qPrintable(shown.join(QLatin1Char('\n'))));
    QVERIFY(shown.contains(QStringLiteral("1 Con|DISTURBANCE GENERATED")));
    window->channel(2)->disconnect();
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
