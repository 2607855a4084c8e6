// SPDX-License-Identifier: MIT
#include "app/definitionsactions.h"
#include "app/displayoptions.h"
#include "app/mainwindow.h"
#include "automation/autoanswer.h"
#include "automation/widgets/answerdialog.h"
#include "automation/widgets/sequencedock.h"
#include "bookmarks/bookmarkactions.h"
#include "trace/channel.h"
#include "trace/replayer.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/widgets/tracelogging.h"
#include "trace/widgets/traceview.h"
#include "widgets/documentactions.h"

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkwidget.h"
#include "connection/connection.h"
#include "editor/editormodel.h"
#include "editor/editorwindow.h"
#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/app/windowlinks.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/loopback.h"
#include "tests/support/modalcloser.h"
#include "tests/support/plotdefinitions.h"
#include "tests/support/pty.h"
#include "tests/support/sequencesteps.h"
#include "tests/support/stallmeter.h"
#include "tests/support/tracelines.h"
#include "trace/traceplotter.h"
#include "trace/widgets/plotdock.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolBar>
#include <QTreeWidget>
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
  <bookmark>
    <text>Too far</text>
    <message>PumpId=4294967296</message>
  </bookmark>
</qrvbm>
)";

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

// Definitions for typing: an enum to complete, names that share a start.
const char entryDefinitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="SetPumpMode" id="0xD002"/>
  <tag name="SetPumpModeReply" id="0xE002"/>
  <tag name="PumpId" id="0x1001"/>
  <tag name="PumpMode" id="0x1002">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="Manual" id="1"/>
      <enum name="Auto" id="2"/>
      <enum name="Service" id="3"/>
    </enums>
  </tag>
</qrv16>
)";

QAbstractItemView* namesPopup()
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == QLatin1String("m_lv_names"))
            return qobject_cast<QAbstractItemView*>(w);
    }
    return nullptr;
}

QStringList shownNames(QAbstractItemView* popup)
{
    QStringList names;
    for (int row = 0; row < popup->model()->rowCount(); ++row)
        names << popup->model()->index(row, 0).data().toString();
    return names;
}

// The deferred start-up connects the stored links, channel 2 last; with
// none stored it says so. A test's own links go up after that.
void waitForStartUp(const MainWindow& window)
{
    QTRY_VERIFY_WITH_TIMEOUT(lines(*window.traceModel()).contains(QStringLiteral("2 Con|Not configured")), 30000);
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
    void messageSplitsLines_data();
    void messageSplitsLines();
    void definitionsLoadAndFailureReachTheTrace();
    void bookmarksLoadActivateAndFail();
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
    void plotFromTheTraceOpensTheDock();
    void windowStaysLiveWhileRunning();
    void windowRunsTheDemo_data();
    void windowRunsTheDemo();
    void sendsTheTextAsTyped_data();
    void sendsTheTextAsTyped();
    void entryKeepsHistoryAndTarget();
    void namesOnlyWhenAskedAndTakenWhenChosen();

private:
    std::unique_ptr<MainWindow> makeWindow();
    std::unique_ptr<MainWindow> entryWindow(const QString& definitions = QString());
    QComboBox* entry(MainWindow* window) const { return window->findChild<QComboBox*>(QStringLiteral("m_cb_message")); }
    QTemporaryDir m_dir;
    QString m_defs;
    QString m_entryDefs;
    QByteArray m_sent[2];
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
    m_entryDefs = m_dir.filePath(QStringLiteral("entry.qrvdef"));
    QVERIFY(writeFile(m_entryDefs, entryDefinitions));
}

void TestMainWindow::init()
{
    QSettings().clear();
    m_sent[0].clear();
    m_sent[1].clear();
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

// A shown, active window on the typing definitions unless told others;
// what each channel sends is kept in m_sent.
std::unique_ptr<MainWindow> TestMainWindow::entryWindow(const QString& definitions)
{
    auto window = windowWithLinks(&m_lines);
    for (int number : {1, 2}) {
        connect(window->channel(number)->connection(), &Connection::rawSent, this,
                [this, number](const QByteArray& bytes) { m_sent[number - 1] += bytes; });
    }
    if (!window->loadDefinitionFile(definitions.isEmpty() ? m_entryDefs : definitions))
        return nullptr;
    window->traceModel()->clear();
    window->show();
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window.get()))
        return nullptr;
    return window;
}

void TestMainWindow::arguments_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QStringList>("files"); // definitions, bookmarks, answers, sequences
    QTest::newRow("nothing") << QStringList() << QStringList(4);
    QTest::newRow("short forms") << QStringList{"-d", "a.qrvdef", "-b", "b.qrvbm", "-a", "p.qrvans", "-s", "x.qrvseq"}
                                 << QStringList{"a.qrvdef", "b.qrvbm", "p.qrvans", "x.qrvseq"};
    QTest::newRow("long forms") << QStringList{"--bookmarks", "b.qrvbm",  "--definitions", "a.qrvdef",
                                               "--answers",   "p.qrvans", "--sequences",   "z.qrvseq"}
                                << QStringList{"a.qrvdef", "b.qrvbm", "p.qrvans", "z.qrvseq"};
    QTest::newRow("the last occurrence wins") << QStringList{"-d", "first.qrvdef", "--definitions", "second.qrvdef"}
                                              << QStringList{"second.qrvdef", "", "", ""};
    QTest::newRow("the last answers win over other options between")
        << QStringList{"--answers", "a", "-b", "b", "--answers", "c"} << QStringList{"", "b", "c", ""};
    QTest::newRow("an option standing last is ignored")
        << QStringList{"-b", "b.qrvbm", "-d"} << QStringList{"", "b.qrvbm", "", ""};
    QTest::newRow("answers standing last are ignored") << QStringList{"-a"} << QStringList(4);
    QTest::newRow("other arguments are skipped")
        << QStringList{"-style", "fusion", "-d", "a.qrvdef", "extra"} << QStringList{"a.qrvdef", "", "", ""};
    QTest::newRow("a value that looks like an option is still a value")
        << QStringList{"-d", "-b", "x"} << QStringList{"-b", "", "", ""};
}

void TestMainWindow::arguments()
{
    QFETCH(QStringList, args);
    QFETCH(QStringList, files);
    QStringList found(4);
    MainWindow::parseArguments(args, &found[0], &found[1], &found[2], &found[3]);
    QCOMPARE(found, files);
    // Without places for the automation's files, their options are skipped.
    QStringList two(2);
    MainWindow::parseArguments(args, &two[0], &two[1]);
    QCOMPARE(two, files.mid(0, 2));
}

// The toggles' defaults and keys are the display options' own; here they
// reach whatever shows the trace, at the start and when toggled.
void TestMainWindow::firstStartDefaults()
{
    auto window = makeWindow();
    QCOMPARE(window->targetChannel(), window->channel(1));
    QVERIFY(window->bookmarks());
    QCOMPARE(window->bookmarks()->count(), 0);
    QVERIFY(!window->findChild<QAction*>(QStringLiteral("m_act_save_bookmarks"))->isEnabled());
    QVERIFY(!window->findChild<QAction*>(QStringLiteral("m_act_log_stop"))->isEnabled());
    const auto reachTheTrace = [&window] {
        const TraceOptions options = window->displayOptions()->options();
        return window->traceModel()->options() == options && window->channel(1)->options() == options &&
               window->channel(2)->options() == options;
    };
    // Hidden duplicates are said in the menu bar's corner while they are on.
    const auto banner = [&window] {
        return qobject_cast<QLabel*>(window->menuBar()->cornerWidget(Qt::TopRightCorner))->text();
    };
    QVERIFY(reachTheTrace());
    QVERIFY(banner().isEmpty());
    for (const char* name : {"m_act_trace_raw", "m_act_trace_lut", "m_act_pause", "m_act_hide_dup"}) {
        window->findChild<QAction*>(QLatin1String(name))->toggle();
        QVERIFY2(reachTheTrace(), name);
    }
    QVERIFY2(banner().contains(QLatin1String("HIDE DUPLICATES")), qPrintable(banner()));
    window->findChild<QAction*>(QStringLiteral("m_act_hide_dup"))->toggle();
    QVERIFY(banner().isEmpty());
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

// The stored definitions load a moment after the window is up; a file
// loaded or refused says so in the trace.
void TestMainWindow::definitionsLoadAndFailureReachTheTrace()
{
    QSettings().setValue(QStringLiteral("MainWindow/LastDefinitionsPath"), m_defs);
    // Channels as configured (not at all): the start-up tries to connect them.
    auto window = std::make_unique<MainWindow>();
    QCOMPARE(window->definitionsActions()->path(), m_defs);
    QVERIFY(!window->tags());
    QTRY_VERIFY(window->tags());
    QCOMPARE(window->tags()->tagNumber(QStringLiteral("PumpId")), 0x1001);
    const QStringList shown = lines(*window->traceModel());
    QVERIFY(shown.contains(QStringLiteral("1 Con|Not configured")));
    QVERIFY(shown.contains(QStringLiteral("2 Con|Not configured")));
    QVERIFY(shown.contains(QStringLiteral("Definitions|Loaded definitions from ") + QDir::toNativeSeparators(m_defs)));

    const QString broken = m_dir.filePath(QStringLiteral("broken.qrvdef"));
    QVERIFY(writeFile(broken, "<qrv16><tag name=\"X\" id=\"zz\"/></qrv16>"));
    // What stays in use is the definitions' own test; here the failure
    // reaches the trace.
    QVERIFY(!window->loadDefinitionFile(broken));
    const int last = window->traceModel()->lineCount() - 1;
    const TraceItem* line = window->traceModel()->index2item(window->traceModel()->index(last, 0));
    QCOMPARE(line->source(), QStringLiteral("Definitions"));
    QCOMPARE(line->color(), ColorError);
}

void TestMainWindow::bookmarksLoadActivateAndFail()
{
    const QString path = m_dir.filePath(QStringLiteral("marks.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    auto window = entryWindow(m_defs);
    QVERIFY(window);
    QVERIFY(window->loadBookmarks(path));
    QCOMPARE(window->bookmarks()->count(), 2);
    window->traceModel()->clear();
    window->bookmarks()->action(0)->trigger();
    QCOMPARE(lines(*window->traceModel()), QStringList{"1|GetStatus=(PumpId=1)"});
    QCOMPARE(m_sent[0], encoded(QStringLiteral("GetStatus=(PumpId=1)"), window->tags()));
    // The entry line is left alone.
    QVERIFY(entry(window.get())->currentText().isEmpty());
    // One that cannot be sent is named, and sends nothing.
    window->bookmarks()->action(1)->trigger();
    QCOMPARE(lines(*window->traceModel()).constLast(),
             QStringLiteral("1 Err|Bookmark \"Too far\": 1:8: Value out of range"));
    QCOMPARE(m_sent[0], encoded(QStringLiteral("GetStatus=(PumpId=1)"), window->tags()));

    BookmarkList* before = window->bookmarks();
    const QString wrong = m_dir.filePath(QStringLiteral("wrong.qrvbm"));
    QVERIFY(writeFile(wrong, "<?xml version=\"1.0\"?><other/>"));
    QVERIFY(!window->loadBookmarks(wrong));
    QCOMPARE(window->bookmarks(), before);
    QVERIFY(lines(*window->traceModel()).constLast().startsWith(QLatin1String("Bookmarks|")));
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
                QVERIFY2(!owners.contains(name),
                         qPrintable(QStringLiteral("%1 belongs to %2 and %3 in %4")
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
    QTest::addColumn<QString>("panel");
    QTest::newRow("bookmark panel: the bookmark goes") << "bookmarks";
    QTest::newRow("trace: the line goes") << "trace";
    QTest::newRow("sequence: the step goes") << "steps";
}

// Each list that takes Del takes it only while it has the focus.
void TestMainWindow::deleteKeyGoesToTheFocusedPanel()
{
    QFETCH(QString, panel);
    const QString path = m_dir.filePath(QStringLiteral("marks.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    auto window = makeWindow();
    QVERIFY(window->loadBookmarks(path));
    window->show();
    QApplication::setActiveWindow(window.get());
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    QVERIFY(addLines(window.get(), 3));
    const int trace = window->traceModel()->lineCount();
    SequenceDock* dock = window->sequenceDock();
    dock->insertStep(SequenceStep::wait(1));
    dock->insertStep(SequenceStep::wait(2));

    QAbstractItemView* list = dock->stepView();
    if (panel == QLatin1String("bookmarks"))
        list = window->findChild<BookmarkWidget*>()->findChild<QListView*>();
    else if (panel == QLatin1String("trace"))
        list = window->findChild<QAbstractItemView*>(QStringLiteral("m_tv_trace"));
    QVERIFY(list);
    list->setCurrentIndex(list->model()->index(0, 0));
    list->setFocus();
    QTRY_VERIFY(list->hasFocus());

    warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectWarnings);
    QTest::keyClick(list, Qt::Key_Delete);
    qInstallMessageHandler(previous);
    QVERIFY2(warnings.filter(QStringLiteral("Ambiguous")).isEmpty(), qPrintable(warnings.join(QLatin1Char('\n'))));
    QCOMPARE(window->bookmarks()->count(), panel == QLatin1String("bookmarks") ? 1 : 2);
    QCOMPARE(window->traceModel()->lineCount(), panel == QLatin1String("trace") ? trace - 1 : trace);
    QCOMPARE(stepTexts(*dock),
             panel == QLatin1String("steps") ? QStringList{"Wait 2 ms"} : (QStringList{"Wait 1 ms", "Wait 2 ms"}));
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
// asks, saving says where to. The window keeps its place only when it
// closes.
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

    {
        // Opening another file asks first, and Cancel keeps the rules.
        ModalCloser closer(QMessageBox::Cancel);
        window->findChild<QAction*>(QStringLiteral("m_act_open_answers"))->trigger();
        QCOMPARE(closer.seen, QStringList{"box"});
        closer.seen.clear();
        QVERIFY(!window->close());
        QCOMPARE(closer.seen, QStringList{"box"});
        QCOMPARE(window->autoAnswer()->rules().size(), 2);
        QVERIFY(!QSettings().contains(QStringLiteral("MainWindow/Geometry")));
    }
    window->traceModel()->clear();
    window->findChild<QAction*>(QStringLiteral("m_act_save_answers"))->trigger();
    QCOMPARE(lines(*window->traceModel()),
             QStringList{QStringLiteral("Answers|Saved to %1").arg(QDir::toNativeSeparators(path))});
    // Unsaved bookmarks are all that is left to ask about; Discard closes.
    window->bookmarks()->addAction(new QAction(QStringLiteral("Unsaved")));
    ModalCloser closer(QMessageBox::Discard);
    QVERIFY(window->close());
    QCOMPARE(closer.seen, QStringList{"box"});
    QVERIFY(QSettings().contains(QStringLiteral("MainWindow/Geometry")));
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
    QTRY_VERIFY_WITH_TIMEOUT(lines(*window->traceModel()).filter(QStringLiteral("1|StationName=\"tick\"")).size() >= 5,
                             30000);
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
    std::unique_ptr<QTcpSocket> far;
    connectToPeer(window->channel(2), &peer, &far);
    if (QTest::currentTestFailed())
        return;
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

// A plot asked for in the trace's context menu opens the plot dock with it.
void TestMainWindow::plotFromTheTraceOpensTheDock()
{
    const QString defs = m_dir.filePath(QStringLiteral("plot.qrvdef"));
    QVERIFY(writeFile(defs, plotDefinitions));
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
    QCOMPARE(window.plotDock()->plotter()->name(0), QStringLiteral("Temperature 1 received"));
    QCOMPARE(window.plotDock()->plotter()->pointCount(0), 1);
    // A second plot goes to the same dock.
    plot->trigger();
    QCOMPARE(window.findChildren<PlotDock*>().size(), 1);
}

// A sequence of 1 ms waits and an answer rule without delay, both busy on
// one loopback pair: the window's event loop stays live throughout.
void TestMainWindow::windowStaysLiveWhileRunning()
{
    MainWindow window;
    window.show();
    waitForStartUp(window);
    QVERIFY(window.loadDefinitionFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    action(&window, "m_act_link")->setChecked(false);
    connectLoopback(window.channel(1), window.channel(2));
    if (QTest::currentTestFailed())
        return;
    AnswerRule rule;
    rule.when = QStringLiteral("GetStatus");
    rule.answer = QStringLiteral("GetStatusReply=(ResultCode=Ok)");
    rule.channel = 2;
    window.autoAnswer()->setRules({rule});
    Sequence sequence;
    sequence.name = QStringLiteral("busy");
    sequence.steps = {SequenceStep::repeat(100), SequenceStep::send(1, QStringLiteral("GetStatus")),
                      SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 1000), SequenceStep::wait(1),
                      SequenceStep::end()};
    SequenceDock* dock = window.sequenceDock();
    dock->setSequences({sequence});

    QSignalSpy finished(dock->runner(), &SequenceRunner::finished);
    korvtest::StallMeter meter;
    dock->run();
    QVERIFY(finished.wait(240000));
    meter.stop();
    const auto summary = finished.first().at(0).value<SequenceRunner::Summary>();
    QCOMPARE(summary.passes, 100);
    QVERIFY(summary.passed());
    // Wall-clock lateness would count the machine preempting the test; a
    // stall of ours is time the event loop's thread spent working.
    QVERIFY(meter.ticks > 10);
    QVERIFY2(meter.longest < 100, qPrintable(QString::number(meter.longest)));
}

void TestMainWindow::windowRunsTheDemo_data()
{
    QTest::addColumn<QString>("ruleOff");
    QTest::newRow("green") << QString();
    QTest::newRow("red without the lockout") << QStringLiteral("Pump 2 locked out");
}

// The window as `make run` sets it up: the demo's sequence against its
// simulated controller, with the trace telling the outcome.
void TestMainWindow::windowRunsTheDemo()
{
    QFETCH(QString, ruleOff);
    MainWindow window;
    window.resize(1300, 800);
    window.show();
    waitForStartUp(window);
    QVERIFY(window.loadDefinitionFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    QVERIFY(window.loadBookmarks(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvbm")));
    QVERIFY(window.loadAnswers(QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvans")));
    // As in the demo's settings: the two ends talk to each other, no relay.
    action(&window, "m_act_link")->setChecked(false);
    connectLoopback(window.channel(1), window.channel(2));
    if (QTest::currentTestFailed())
        return;
    QVector<AnswerRule> rules = window.autoAnswer()->rules();
    for (AnswerRule& rule : rules)
        rule.enabled = rule.enabled && rule.name != ruleOff;
    window.autoAnswer()->setRules(rules);
    SequenceDock* dock = window.sequenceDock();
    window.resizeDocks({dock}, {480}, Qt::Horizontal);
    window.resizeDocks({dock}, {560}, Qt::Vertical);
    QVERIFY(dock->load(QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq")));
    QVERIFY(window.menuBar()->findChild<QMenu*>(QStringLiteral("m_mnu_sequences")));
    window.traceModel()->clear();
    QSignalSpy finished(dock->runner(), &SequenceRunner::finished);
    action(dock, "m_act_sequence_run")->trigger();
    QVERIFY(finished.wait(10000));
    QCoreApplication::processEvents();
    const QStringList trace = lines(*window.traceModel());
    const QStringList mine = trace.filter(QRegularExpression(QStringLiteral("^Sequences\\|")));
    QVERIFY2(mine.size() >= 2, qPrintable(trace.join(QLatin1Char('\n'))));
    QCOMPARE(mine.first(), QStringLiteral("Sequences|Sequence \"Pump station acceptance\" started"));
    if (ruleOff.isEmpty()) {
        QCOMPARE(mine.size(), 2);
        QVERIFY2(mine.last().contains(QStringLiteral(": 17 steps, 7 passed, 0 failed, ")), qPrintable(mine.last()));
    } else {
        QCOMPARE(mine.size(), 3);
        QVERIFY2(mine.at(1).contains(QStringLiteral("arrived instead: SetPumpModeReply=(PumpId=2 ResultCode=Ok)")),
                 qPrintable(mine.at(1)));
        QVERIFY2(mine.last().contains(QStringLiteral(": 15 steps, 5 passed, 1 failed, ")), qPrintable(mine.last()));
    }
    // What the sequence sent is traced on channel 1 as sent, saying by whom.
    const TraceModel* model = window.traceModel();
    const int sent = int(trace.indexOf(QStringLiteral("1|GetStatus=()")));
    QVERIFY2(sent >= 0, qPrintable(trace.join(QLatin1Char('\n'))));
    QCOMPARE(model->index(sent, TraceModel::SourceColumn).data(TraceModel::DirectionRole).toInt(), int(Sent));
    const QString tip = model->index(sent, TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
    QVERIFY2(tip.contains(QLatin1String("Sent by sequence \"Pump station acceptance\", step 1")), qPrintable(tip));
}

void TestMainWindow::sendsTheTextAsTyped_data()
{
    QTest::addColumn<QStringList>("history");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("channel"); // 0: Return, else that button
    QTest::addColumn<QString>("line");
    QTest::newRow("a longer history entry is not sent for a shorter text")
        << QStringList{"PumpId=99999999"} << "PumpId=9" << 0 << "1|PumpId=9";
    QTest::newRow("the same by the button of channel 2")
        << QStringList{"PumpId=99999999"} << "PumpId=9" << 2 << "2|PumpId=9";
    QTest::newRow("a nested entry does not finish a nested text")
        << QStringList{"SetPumpMode=(PumpId=2 PumpMode=Service)"} << "SetPumpMode=(PumpId=2 PumpMode=S" << 0
        << "1 Err|1:13: End of data looking for closing parenthesis expected";
    QTest::newRow("an unbalanced text reports its own error, on the channel it was for")
        << QStringList{"SetPumpMode=(PumpId=2 PumpMode=Service)"} << "SetPumpMode=(PumpId=2" << 2
        << "2 Err|1:13: End of data looking for closing parenthesis expected";
    QTest::newRow("a number beyond 32 bits is refused, not cut")
        << QStringList() << "PumpId=4294967296" << 1 << "1 Err|1:8: Value out of range";
    QTest::newRow("a name that is not one of the enum's is refused, naming them")
        << QStringList() << "SetPumpMode=(PumpId=2 PumpMode=Servic)" << 0
        << "1 Err|1:32: Failed to decode value; PumpMode has Off, Manual, Auto, Service";
}

void TestMainWindow::sendsTheTextAsTyped()
{
    QFETCH(QStringList, history);
    QFETCH(QString, typed);
    QFETCH(int, channel);
    QFETCH(QString, line);
    QSettings().setValue(QStringLiteral("MainWindow/History"), history);
    QSettings().setValue(QStringLiteral("MainWindow/HistoryIndex"), -1);
    auto window = entryWindow();
    QVERIFY(window);
    QComboBox* combo = entry(window.get());
    const QString normalTip = combo->toolTip();
    combo->setFocus();
    combo->clearEditText();
    QTest::keyClicks(combo, typed);
    QCOMPARE(combo->currentText(), typed);
    if (channel == 0)
        QTest::keyClick(combo, Qt::Key_Return);
    else
        window->findChild<QPushButton*>(QStringLiteral("m_pb_go%1").arg(channel))->click();
    QCOMPARE(lines(*window->traceModel()), QStringList{line});
    const int target = line.at(0) == QLatin1Char('2') ? 1 : 0;
    if (line.contains(QLatin1String(" Err|"))) {
        QVERIFY(m_sent[target].isEmpty());
        // Marked at its place until the text changes; moving does not.
        const QString report = line.section(QLatin1Char('|'), 1);
        QCOMPARE(combo->toolTip(), report);
        QVERIFY(!combo->styleSheet().isEmpty());
        QCOMPARE(combo->lineEdit()->cursorPosition(), report.section(QLatin1Char(':'), 1, 1).toInt() - 1);
        QTest::keyClick(combo, Qt::Key_End);
        QCOMPARE(combo->toolTip(), report);
        QTest::keyClick(combo, Qt::Key_Backspace);
        QCOMPARE(combo->toolTip(), normalTip);
        QVERIFY(combo->styleSheet().isEmpty());
    } else {
        QRV16::MessageParser parser(window->tags());
        QCOMPARE(m_sent[target], parser.parse(typed).bytes());
    }
    QVERIFY(m_sent[1 - target].isEmpty());
}

// What is sent goes into a history the next start offers again, into a
// sequence step, and to the target by Return; each button sends and makes
// its channel the target, kept for next time too.
void TestMainWindow::entryKeepsHistoryAndTarget()
{
    {
        auto window = entryWindow();
        QComboBox* combo = entry(window.get());
        for (const char* text : {"PumpId=1", "PumpId=2", "PumpId=1"}) {
            combo->setEditText(QLatin1String(text));
            QTest::keyClick(combo, Qt::Key_Return);
        }
        QCOMPARE(combo->count(), 2);
        QCOMPARE(combo->currentText(), QStringLiteral("PumpId=1"));
        QTest::keyClick(combo, Qt::Key_Down);
        QCOMPARE(combo->currentText(), QStringLiteral("PumpId=2"));
        window->findChild<QPushButton*>(QStringLiteral("m_pb_go2"))->click();
        QCOMPARE(window->targetChannel(), window->channel(2));
        QTest::keyClick(combo, Qt::Key_Return);
        QCOMPARE(lines(*window->traceModel()).mid(3), (QStringList{"2|PumpId=2", "2|PumpId=2"}));
        action(window->sequenceDock(), "m_act_sequence_add_entry")->trigger();
        QCOMPARE(stepTexts(*window->sequenceDock()), QStringList{"Send on 2: PumpId=2"});
    }
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/History")).toStringList(),
             (QStringList{"PumpId=1", "PumpId=2"}));
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/HistoryIndex")).toInt(), 1);
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/TargetChannel")).toInt(), 2);
    auto window = entryWindow();
    QComboBox* combo = entry(window.get());
    QCOMPARE(window->targetChannel(), window->channel(2));
    QCOMPARE(combo->currentText(), QStringLiteral("PumpId=2"));
    QTest::keyClick(combo, Qt::Key_Up);
    QCOMPARE(combo->currentText(), QStringLiteral("PumpId=1"));
    window->findChild<QPushButton*>(QStringLiteral("m_pb_go1"))->click();
    QCOMPARE(window->targetChannel(), window->channel(1));
}

void TestMainWindow::namesOnlyWhenAskedAndTakenWhenChosen()
{
    auto window = entryWindow();
    QComboBox* combo = entry(window.get());
    QLineEdit* edit = combo->lineEdit();
    combo->setFocus();
    const QString typed = QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=S");
    QTest::keyClicks(combo, typed);
    QCOMPARE(edit->text(), typed);
    QAbstractItemView* popup = namesPopup();
    QVERIFY(!popup || !popup->isVisible());

    // Tab offers the enum names of the tag being typed; Escape takes none.
    QTest::keyClick(combo, Qt::Key_Tab);
    popup = namesPopup();
    QVERIFY(popup);
    QTRY_VERIFY(popup->isVisible());
    QCOMPARE(shownNames(popup), QStringList{"Service"});
    QCOMPARE(edit->text(), typed);
    QTest::keyClick(popup, Qt::Key_Escape);
    QVERIFY(!popup->isVisible());
    QCOMPARE(edit->text(), typed);

    // Return in the list takes the chosen name and sends nothing.
    QTest::keyClick(combo, Qt::Key_Tab);
    QTRY_VERIFY(popup->isVisible());
    QTest::keyClick(popup, Qt::Key_Return);
    QVERIFY(!popup->isVisible());
    QCOMPARE(edit->text(), QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service"));
    QVERIFY(lines(*window->traceModel()).isEmpty());
    QVERIFY(m_sent[0].isEmpty());

    // Ctrl+Space where a tag begins offers tag names, narrowed while typing.
    QTest::keyClicks(combo, QStringLiteral(") "));
    QTest::keyClick(combo, Qt::Key_Space, Qt::ControlModifier);
    QTRY_VERIFY(popup->isVisible());
    QCOMPARE(shownNames(popup), (QStringList{"PumpId", "PumpMode", "SetPumpMode", "SetPumpModeReply"}));
    QTest::keyClicks(popup, QStringLiteral("Se"));
    QCOMPARE(shownNames(popup), (QStringList{"SetPumpMode", "SetPumpModeReply"}));
    QTest::keyClick(popup, Qt::Key_Down);
    QTest::keyClick(popup, Qt::Key_Tab);
    QCOMPARE(edit->text(), QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service) SetPumpModeReply"));

    // Return sends the text shown, and only that.
    QTest::keyClick(combo, Qt::Key_Return);
    QCOMPARE(lines(*window->traceModel()),
             (QStringList{"1|SetPumpMode=(PumpId=2 PumpMode=Service)", "1|SetPumpModeReply=()"}));

    // Tab on an empty line moves on, as anywhere.
    combo->clearEditText();
    QTest::keyClick(combo, Qt::Key_Tab);
    QVERIFY(!popup->isVisible());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
