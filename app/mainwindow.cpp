// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"

#include "app/channelactions.h"
#include "app/displayoptions.h"
#include "app/entryline.h"
#include "automation/autoanswer.h"
#include "automation/widgets/answerdialog.h"
#include "automation/widgets/answerdocument.h"
#include "automation/widgets/sequencedock.h"
#include "trace/channel.h"
#include "trace/logwriter.h"
#include "trace/replayer.h"
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"
#include "trace/tracepcapngexport.h"
#include "trace/traceplotter.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/widgets/plotdock.h"
#include "trace/widgets/styledialog.h"
#include "trace/widgets/tracedelegate.h"
#include "trace/widgets/traceundo.h"
#include "widgets/documentflow.h"

#include "bookmarks/bookmarkeditor.h"
#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "bookmarks/bookmarkwidget.h"
#include "bookmarks/bookmarkwriter.h"
#include "connection/connection.h"
#include "editor/editorwindow.h"
#include "qrv16/item.h"
#include "qrv16/messageparser.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"
#include "widgets/qttoolbardialog.h"
#include "widgets/qttoolbarmanager.h"
#include "widgets/windowplacement.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QFile>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressDialog>
#include <QSaveFile>
#include <QScrollBar>
#include <QSettings>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

const char* const Main = "Main";
const char* const Definitions = "Definitions";
const char* const Bookmarks = "Bookmarks";
const char* const Log = "Log";
const char* const Answers = "Answers";
const char* const Sequences = "Sequences";

QString source(const char* name)
{
    return QString::fromLatin1(name);
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
{
    setupUi();

    m_model = new TraceModel(this);
    m_filter = new TraceFilter(m_model, this);
    m_filter->setSuspended(true);
    m_tv_trace->setModel(m_model);
    m_delegate = new TraceDelegate(m_tv_trace);
    m_tv_trace->setItemDelegate(m_delegate);
    m_tv_trace->header()->setSectionResizeMode(QHeaderView::Interactive);
    m_tv_trace->header()->setStretchLastSection(true);
    m_tv_trace->setColumnWidth(TraceModel::TimeColumn, 190);
    m_tv_trace->setColumnWidth(TraceModel::AddrColumn, 60);
    m_tv_trace->setColumnWidth(TraceModel::SourceColumn, 100);
    m_undo = new TraceUndo(m_model, m_tv_trace, this);
    m_mnu_trace->insertAction(toggle(TraceOptions::AutoScroll), m_undo->action());
    const QList<QAction*> traceActions = m_tv_trace->actions();
    m_tv_trace->insertAction(traceActions.value(traceActions.indexOf(m_act_clear_all) + 1), m_undo->action());
    m_logwriter = new LogWriter(m_model, this);
    // The writer speaks only when the log has stopped.
    connect(m_logwriter, &LogWriter::message, this, [this](const QString& text) {
        message(text, ColorError, source(Log));
        setLogActions(false);
    });
    // Said while the old file is still the log, so that it records its end.
    connect(m_logwriter, &LogWriter::aboutToSwitch, this, [this](const QString& old) {
        message(tr("Stopped logging to %1").arg(QDir::toNativeSeparators(old)), source(Log));
    });
    m_replayer = new Replayer(m_model, this);
    connect(m_replayer, &Replayer::message, this,
            [this](const QString& text, StyleColor color) { message(text, color, source(Log)); });
    connect(m_replayer, &Replayer::progress, this, &MainWindow::onReplayProgress);
    connect(m_replayer, &Replayer::finished, this, &MainWindow::onReplayFinished);
    for (QAbstractItemModel* model : {static_cast<QAbstractItemModel*>(m_model), static_cast<QAbstractItemModel*>(m_filter)}) {
        connect(model, &QAbstractItemModel::rowsInserted, this, [this, model](const QModelIndex& parent) {
            if (m_tv_trace->model() == model)
                onTraceInserted(parent);
        });
    }
    connect(m_tv_trace->verticalScrollBar(), &QScrollBar::valueChanged, this, &MainWindow::onTraceScrolled);
    connect(m_tv_trace, &QTreeView::pressed, this, [this] { m_following = false; });
    watchTraceSelection();

    m_channel1->setModel(m_model);
    m_channel2->setModel(m_model);
    m_channel1->setLinkedChannel(m_channel2);
    m_channel2->setLinkedChannel(m_channel1);
    m_target = m_channel1;
    m_replayer->setChannels(m_channel1, m_channel2, m_target);
    m_autoanswer = new AutoAnswer(this);
    m_autoanswer->setPorts(m_channel1, m_channel2);
    connect(m_autoanswer, &AutoAnswer::message, this,
            [this](const QString& text) { message(text, ColorError, source(Answers)); });
    m_answers = new AnswerDocument(m_autoanswer, this);
    connect(m_answers, &AnswerDocument::message, this, [this](const QString& text, bool error) {
        message(text, error ? ColorError : ColorText, source(Answers));
    });
    m_sequencedock->setPorts(m_channel1, m_channel2);
    m_sequencedock->setEntryLine(m_entry->lineEdit());
    connect(m_sequencedock, &SequenceDock::message, this, [this](const QString& text, bool error) {
        message(text, error ? ColorError : ColorText, source(Sequences));
    });
    connectActions();
    setupSearch();

    m_entry->restoreHistory();
    QSettings settings;
    selectTarget(settings.value(QStringLiteral("MainWindow/TargetChannel"), 1).toInt());

    QStringList args = QCoreApplication::arguments();
    if (!args.isEmpty())
        args.removeFirst();
    parseArguments(args, &m_definitionspath, &m_bookmarkspath, &m_answerspath, &m_sequencespath);
    if (m_definitionspath.isEmpty())
        m_definitionspath = settings.value(QStringLiteral("MainWindow/LastDefinitionsPath")).toString();
    if (m_bookmarkspath.isEmpty())
        m_bookmarkspath = settings.value(QStringLiteral("MainWindow/LastBookmarksPath")).toString();

    const TraceOptions options = m_display->options();
    m_model->setOptions(options);
    m_channel1->setOptions(options);
    m_channel2->setOptions(options);
    connect(m_display, &DisplayOptions::optionsChanged, m_model, &TraceModel::setOptions);
    connect(m_display, &DisplayOptions::optionsChanged, m_channel1, &Channel::setOptions);
    connect(m_display, &DisplayOptions::optionsChanged, m_channel2, &Channel::setOptions);
    connect(m_display, &DisplayOptions::optionsChanged, this, &MainWindow::showOptions);
    m_style.restoreFromSettings(settings, QStringLiteral("MainWindow/Style"));
    setupToolBarManager();
    m_hidedup = !options.test(TraceOptions::HideDuplicates); // so that the banner is set once
    showOptions(options);
    updateStyle();

    if (!m_bookmarkspath.isEmpty() && loadBookmarks(m_bookmarkspath)) {
        // loaded and installed
    } else {
        if (!m_bookmarks)
            setBookmarks(new BookmarkList(this));
    }

    restoreState(settings.value(QStringLiteral("MainWindow/State")).toByteArray(), 0);
    m_toolbarmanager->restoreState(settings.value(QStringLiteral("MainWindow/ToolBars")).toByteArray(), 0);
    WindowPlacement::restore(this, settings.value(QStringLiteral("MainWindow/Geometry")).toByteArray());
    m_tv_trace->header()->restoreState(settings.value(QStringLiteral("MainWindow/TreeHeader")).toByteArray());

    QTimer::singleShot(250, this, &MainWindow::initialize);
}

MainWindow::~MainWindow()
{
    // Channels close their connections; their last words must not reach a
    // half-destroyed window.
    delete m_channel1;
    delete m_channel2;
    m_channel1 = m_channel2 = m_target = nullptr;
    delete m_editor.data();
    onLogStop();
}

void MainWindow::parseArguments(const QStringList& args, QString* definitions, QString* bookmarks,
                                QString* answers, QString* sequences)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        QString* target = nullptr;
        if (arg == QLatin1String("--definitions") || arg == QLatin1String("-d"))
            target = definitions;
        else if (arg == QLatin1String("--bookmarks") || arg == QLatin1String("-b"))
            target = bookmarks;
        else if (arg == QLatin1String("--answers") || arg == QLatin1String("-a"))
            target = answers;
        else if (arg == QLatin1String("--sequences") || arg == QLatin1String("-s"))
            target = sequences;
        if (target && i + 1 < args.size())
            *target = args.at(++i);
    }
}

Channel* MainWindow::channel(int number) const
{
    return number == 2 ? m_channel2 : number == 1 ? m_channel1 : nullptr;
}

QAction* MainWindow::createAction(const char* objectName, const QString& text, const QString& toolTip,
                                  const QString& icon, const QKeySequence& shortcut)
{
    auto* action = new QAction(text, this);
    action->setObjectName(QLatin1String(objectName));
    if (!toolTip.isEmpty())
        action->setToolTip(toolTip);
    if (!icon.isEmpty())
        action->setIcon(QIcon(QStringLiteral(":/icons/") + icon));
    if (!shortcut.isEmpty())
        action->setShortcut(shortcut);
    return action;
}

void MainWindow::setupUi()
{
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(tr("korvgui"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/i16_list.png")));
    resize(1100, 720);
    setMinimumSize(640, 400);

    // Before the actions: the channels' own go into the menus and toolbars.
    m_channel1 = new Channel(1, this);
    m_channel2 = new Channel(2, this);
    m_channelActions1 = new ChannelActions(m_channel1, this);
    m_channelActions2 = new ChannelActions(m_channel2, this);
    m_display = new DisplayOptions(this);
    m_act_open_definitions = createAction("m_act_open_definitions", tr("Open Definitions"),
                                          tr("Open Definitions"), QStringLiteral("i16_folder_open.png"),
                                          QKeySequence(QStringLiteral("Ctrl+O")));
    m_act_edit_definitions = createAction("m_act_edit_definitions", tr("Edit Definitions"), QString(),
                                          QStringLiteral("i16_table_edit.png"), QKeySequence(QStringLiteral("Ctrl+T")));
    m_act_close = createAction("m_act_close", tr("Close"), QString(), QStringLiteral("i16_exit.png"),
                               QKeySequence(QStringLiteral("Ctrl+Q")));
    m_act_expand_all = createAction("m_act_expand_all", tr("Expand all"), QString(),
                                    QStringLiteral("i16_expand_all.png"));
    m_act_collapse_all = createAction("m_act_collapse_all", tr("Collapse all"), QString(),
                                      QStringLiteral("i16_collapse_all.png"));
    m_act_style = createAction("m_act_style", tr("Style"), QString(), QStringLiteral("i16_font.png"));
    m_act_edit_toolbars = createAction("m_act_edit_toolbars", tr("Edit Toolbars"), QString(),
                                       QStringLiteral("i16_toolbar_edit.png"));
    m_act_edit_bookmarks = createAction("m_act_edit_bookmarks", tr("Edit Bookmarks"), tr("Edit Bookmarks"),
                                        QStringLiteral("i16_book_edit.png"),
                                        QKeySequence(QStringLiteral("Ctrl+B, Ctrl+E")));
    m_act_open_bookmarks = createAction("m_act_open_bookmarks", tr("Open Bookmarks"), tr("Open Bookmarks"),
                                        QStringLiteral("i16_book.png"), QKeySequence(QStringLiteral("Ctrl+B, Ctrl+O")));
    m_act_save_bookmarks = createAction("m_act_save_bookmarks", tr("Save Bookmarks"), QString(),
                                        QStringLiteral("i16_save.png"), QKeySequence(QStringLiteral("Ctrl+B, Ctrl+S")));
    m_act_save_bookmarks->setEnabled(false);
    m_act_open_answers = createAction("m_act_open_answers", tr("Open Answers"),
                                      tr("Open a file of automatic answer rules"), QString());
    m_act_save_answers = createAction("m_act_save_answers", tr("Save Answers"), QString(), QString());
    m_act_save_answers_as = createAction("m_act_save_answers_as", tr("Save Answers As"), QString(), QString());
    m_act_edit_answers = createAction("m_act_edit_answers", tr("Edit Answers"), tr("Edit the answer rules"), QString());
    m_act_answers_on = createAction("m_act_answers_on", tr("Answer Automatically"),
                                    tr("Answer received messages by the rules"), QString());
    m_act_answers_on->setCheckable(true);
    m_act_answers_on->setChecked(true);
    m_act_open_sequences = createAction("m_act_open_sequences", tr("Open Sequences"),
                                        tr("Open a file of sequences to run"), QString());
    m_act_save_sequences = createAction("m_act_save_sequences", tr("Save Sequences"), QString(), QString());
    m_act_save_sequences_as = createAction("m_act_save_sequences_as", tr("Save Sequences As"), QString(), QString());
    m_act_save_bookmarks_as = createAction("m_act_save_bookmarks_as", tr("Save Bookmarks as ..."),
                                           tr("Save Bookmarks as"), QStringLiteral("i16_save_as.png"));
    m_act_add_separator = createAction("m_act_add_separator", tr("Add separator"), QString(),
                                       QStringLiteral("i16_tiny_bullet.png"), QKeySequence(Qt::Key_F7));
    m_act_delete_line = createAction("m_act_delete_line", tr("Delete line"), QString(),
                                     QStringLiteral("i16_cross.png"), QKeySequence(Qt::Key_Delete));
    m_act_clear_all = createAction("m_act_clear_all", tr("Clear all"), QString(), QStringLiteral("i16_bomb.png"),
                                   QKeySequence(Qt::Key_F8));
    m_act_log_start = createAction("m_act_log_start", tr("Log to file..."), QString(), QStringLiteral("i16_log.png"));
    m_act_log_stop = createAction("m_act_log_stop", tr("Stop logging"), QString(), QStringLiteral("i16_log_stop.png"));
    m_act_log_stop->setEnabled(false);
    m_act_log_play = createAction("m_act_log_play", tr("Replay log file..."), tr("Replay log file..."),
                                  QStringLiteral("i16_log_play.png"));
    m_act_log_play_hex = createAction("m_act_log_play_hex", tr("Replay hex dump..."), QString(), QString());
    m_act_export_pcapng = createAction("m_act_export_pcapng", tr("Export trace as pcapng..."), QString(), QString());
    m_act_about = createAction("m_act_about", tr("About"), QString(), QString());
    m_act_copy = createAction("m_act_copy", tr("Copy"), QString(), QStringLiteral("i16_copy.png"), QKeySequence::Copy);
    // Only in the trace: Ctrl+C in the entry line copies the text there.
    m_act_copy->setShortcutContext(Qt::WidgetShortcut);
    m_act_show_bookmarks = createAction("m_act_show_bookmarks", tr("Show Bookmarks"), tr("Show bookmark panel"),
                                        QStringLiteral("i16_bookmark.png"));

    m_central_widget = new QWidget(this);
    m_central_widget->setObjectName(QStringLiteral("m_central_widget"));
    m_tv_trace = new QTreeView(m_central_widget);
    m_tv_trace->setObjectName(QStringLiteral("m_tv_trace"));
    m_tv_trace->setUniformRowHeights(true);
    m_tv_trace->setAllColumnsShowFocus(true);
    m_tv_trace->setSelectionMode(QAbstractItemView::ExtendedSelection);
    // The trace's actions, and "Plot TAG" on elements that can be plotted.
    m_tv_trace->setContextMenuPolicy(Qt::CustomContextMenu);
    m_entry = new EntryLine(m_central_widget);
    m_entry->setObjectName(QStringLiteral("m_entry"));
    auto* layout = new QVBoxLayout(m_central_widget);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(m_tv_trace, 1);
    layout->addWidget(m_entry);
    setCentralWidget(m_central_widget);

    // Before the menus, which hold its view action.
    m_sequencedock = new SequenceDock(this);
    setupMenus();

    m_tb_connections = new QToolBar(tr("toolBar"), this);
    m_tb_connections->setObjectName(QStringLiteral("m_tb_connections"));
    m_tb_connections->addActions(
        {m_channelActions1->connectAction(), m_channelActions1->sslAction(), toggle(TraceOptions::LinkChannels),
         m_channelActions2->connectAction(), m_channelActions2->sslAction()});
    m_tb_connections->addSeparator();
    m_tb_connections->addActions({m_channelActions1->disturbAction(), m_channelActions2->disturbAction()});
    m_tb_connections->addSeparator();
    m_tb_connections->addAction(toggle(TraceOptions::Pause));
    m_tb_connections->addSeparator();
    m_tb_connections->addActions({toggle(TraceOptions::TraceRaw), toggle(TraceOptions::TraceMessageBytes),
                                  toggle(TraceOptions::Decode)});
    m_tb_connections->addSeparator();
    m_tb_connections->addActions({m_act_collapse_all, m_act_expand_all});
    addToolBar(Qt::TopToolBarArea, m_tb_connections);
    m_tb_bookmarks = new QToolBar(tr("Bookmarks"), this);
    m_tb_bookmarks->setObjectName(QStringLiteral("m_tb_bookmarks"));
    m_tb_bookmarks->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    addToolBarBreak(Qt::TopToolBarArea);
    addToolBar(Qt::TopToolBarArea, m_tb_bookmarks);

    m_bookmarkwidget = new BookmarkWidget(this);
    m_bookmarkwidget->setObjectName(QStringLiteral("m_bookmarkwidget"));
    m_dock_bookmarks = new QDockWidget(tr("Bookmarks"), this);
    m_dock_bookmarks->setObjectName(QStringLiteral("m_dock_bookmarks"));
    m_dock_bookmarks->setWidget(m_bookmarkwidget);
    m_dock_bookmarks->setFloating(false);
    addDockWidget(Qt::RightDockWidgetArea, m_dock_bookmarks);
    addDockWidget(Qt::RightDockWidgetArea, m_sequencedock);
    splitDockWidget(m_dock_bookmarks, m_sequencedock, Qt::Vertical);

    m_lbl_corner = new QLabel(this);
    m_lbl_corner->setObjectName(QStringLiteral("m_lbl_corner"));
    menuBar()->setCornerWidget(m_lbl_corner, Qt::TopRightCorner);

    m_tv_trace->addActions({m_act_copy, m_act_delete_line, m_act_add_separator, m_act_clear_all});
    // Del belongs to the trace only while it has the focus: the bookmark
    // panel and the entry line have a Del of their own.
    m_act_delete_line->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    auto* separator = new QAction(this);
    separator->setSeparator(true);
    m_tv_trace->addAction(separator);
    m_tv_trace->addActions({m_act_expand_all, m_act_collapse_all});
}

void MainWindow::setupSearch()
{
    QSettings settings;
    m_findbar = new FindBar(m_tv_trace, TraceModel::TextColumn, m_central_widget);
    m_findbar->setCaseSensitive(settings.value(QStringLiteral("MainWindow/FindMatchCase"), false).toBool());
    m_findbar->setRegularExpression(settings.value(QStringLiteral("MainWindow/FindRegExp"), false).toBool());
    m_findbar->hide();
    static_cast<QBoxLayout*>(m_central_widget->layout())->insertWidget(1, m_findbar);
    connect(m_findbar, &FindBar::optionsChanged, this, [this] {
        QSettings s;
        s.setValue(QStringLiteral("MainWindow/FindMatchCase"), m_findbar->isCaseSensitive());
        s.setValue(QStringLiteral("MainWindow/FindRegExp"), m_findbar->isRegularExpression());
    });

    m_act_find = createAction("m_act_find", tr("Find..."), QString(), QString(), QKeySequence::Find);
    m_act_find_next = createAction("m_act_find_next", tr("Find next"), QString(), QString(), QKeySequence(Qt::Key_F3));
    m_act_find_previous = createAction("m_act_find_previous", tr("Find previous"), QString(), QString(),
                                       QKeySequence(Qt::SHIFT | Qt::Key_F3));
    connect(m_act_find, &QAction::triggered, m_findbar, &FindBar::activate);
    connect(m_act_find_next, &QAction::triggered, m_findbar, &FindBar::findNext);
    connect(m_act_find_previous, &QAction::triggered, m_findbar, &FindBar::findPrevious);

    m_filterbar = new FilterBar(m_filter, m_central_widget);
    m_filterbar->hide();
    static_cast<QBoxLayout*>(m_central_widget->layout())->insertWidget(1, m_filterbar);
    m_act_filter = createAction("m_act_filter", tr("Filter"), tr("Show only the lines that match"),
                                QString(), QKeySequence(QStringLiteral("Ctrl+Shift+F")));
    m_act_filter->setCheckable(true);
    connect(m_act_filter, &QAction::toggled, m_filterbar, [this](bool on) {
        if (on)
            m_filterbar->activate();
        else if (m_filterbar->isVisible())
            m_filterbar->clear();
        m_filterbar->setVisible(on);
    });
    connect(m_filterbar, &FilterBar::closed, m_act_filter, [this] { m_act_filter->setChecked(false); });
    // The current line stays in sight as lines come and go around it;
    // without one, the line at the top of the view.
    connect(m_filterbar, &FilterBar::aboutToApply, this,
            [this] { m_filterTop = traceIndex(m_tv_trace->indexAt(QPoint(1, 1))); });
    connect(m_filterbar, &FilterBar::applied, this, [this] {
        showFiltered(m_filter->isActive());
        const QModelIndex top = m_tv_trace->model() == m_filter ? m_filter->mapFromSource(m_filterTop)
                                                                : QModelIndex(m_filterTop);
        if (m_tv_trace->currentIndex().isValid())
            m_tv_trace->scrollTo(m_tv_trace->currentIndex(), QAbstractItemView::PositionAtCenter);
        else if (m_following)
            m_tv_trace->scrollToBottom();
        else if (top.isValid())
            m_tv_trace->scrollTo(top, QAbstractItemView::PositionAtTop);
    });

    QAction* first = m_mnu_trace->actions().value(0);
    m_mnu_trace->insertActions(first, {m_act_find, m_act_find_next, m_act_find_previous, m_act_filter});
    m_mnu_trace->insertSeparator(first);
}

void MainWindow::setupMenus()
{
    QMenuBar* bar = menuBar();
    m_mnu_file = bar->addMenu(tr("File"));
    m_mnu_file->setObjectName(QStringLiteral("m_mnu_file"));
    m_mnu_file->addAction(m_act_open_definitions);
    m_mnu_file->addSeparator();
    m_mnu_file->addAction(m_act_close);

    m_mnu_trace = bar->addMenu(tr("Trace"));
    m_mnu_trace->setObjectName(QStringLiteral("m_mnu_trace"));
    m_mnu_trace->addActions({toggle(TraceOptions::TraceRaw), toggle(TraceOptions::TraceMessageBytes),
                             toggle(TraceOptions::Decode), toggle(TraceOptions::RelativeTime),
                             toggle(TraceOptions::HungarianNotation), toggle(TraceOptions::HideDuplicates)});
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions(
        {m_act_add_separator, m_act_delete_line, m_act_clear_all, toggle(TraceOptions::AutoScroll)});
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions({m_act_log_start, m_act_log_stop, m_act_log_play, m_act_log_play_hex,
                             m_act_export_pcapng});
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions({m_channelActions1->disturbAction(), m_channelActions2->disturbAction()});

    m_mnu_bookmarks = bar->addMenu(tr("Bookmarks"));
    m_mnu_bookmarks->setObjectName(QStringLiteral("m_mnu_bookmarks"));
    m_mnu_bookmarks->addActions({m_act_open_bookmarks, m_act_save_bookmarks, m_act_save_bookmarks_as,
                                 m_act_edit_bookmarks, m_act_show_bookmarks});

    m_mnu_answers = bar->addMenu(tr("Answers"));
    m_mnu_answers->setObjectName(QStringLiteral("m_mnu_answers"));
    m_mnu_answers->addActions({m_act_open_answers, m_act_save_answers, m_act_save_answers_as, m_act_edit_answers});
    m_mnu_answers->addSeparator();
    m_mnu_answers->addAction(m_act_answers_on);

    m_mnu_sequences = bar->addMenu(tr("Sequences"));
    m_mnu_sequences->setObjectName(QStringLiteral("m_mnu_sequences"));
    m_mnu_sequences->addActions({m_act_open_sequences, m_act_save_sequences, m_act_save_sequences_as});
    m_mnu_sequences->addSeparator();
    m_mnu_sequences->addAction(m_sequencedock->toggleViewAction());

    m_mnu_connection = bar->addMenu(tr("Preferences"));
    m_mnu_connection->setObjectName(QStringLiteral("m_mnu_connection"));
    m_mnu_connection->addActions({m_channelActions1->settingsAction(), m_channelActions2->settingsAction()});
    m_mnu_connection->addSeparator();
    m_mnu_connection->addActions({m_act_style, m_act_edit_toolbars, m_act_edit_definitions});

    m_mnu_help = bar->addMenu(tr("Help"));
    m_mnu_help->setObjectName(QStringLiteral("m_mnu_help"));
    m_mnu_help->addAction(m_act_about);
}

void MainWindow::setupToolBarManager()
{
    m_toolbarmanager = new QtToolBarManager(this);
    m_toolbarmanager->setMainWindow(this);
    const auto add = [this](const QString& category, std::initializer_list<QAction*> actions) {
        for (QAction* action : actions)
            m_toolbarmanager->addAction(action, category);
    };
    add(tr("File"), {m_act_open_definitions, m_act_close});
    add(tr("Trace"), {toggle(TraceOptions::TraceRaw), toggle(TraceOptions::TraceMessageBytes),
                      toggle(TraceOptions::Decode), toggle(TraceOptions::RelativeTime),
                      toggle(TraceOptions::LinkChannels), toggle(TraceOptions::AutoScroll),
                      toggle(TraceOptions::HungarianNotation), toggle(TraceOptions::HideDuplicates),
                      m_act_delete_line, m_act_add_separator,
                      m_act_clear_all, m_undo->action(), m_act_log_start, m_act_log_stop, m_act_log_play,
                      m_act_log_play_hex});
    add(tr("Bookmark Manager"), {m_act_open_bookmarks, m_act_edit_bookmarks, m_act_save_bookmarks,
                                 m_act_save_bookmarks_as});
    add(tr("Preferences"), {m_channelActions1->settingsAction(), m_channelActions2->settingsAction(),
                            m_act_edit_definitions, m_act_style});
    add(tr("Connection"), {m_channelActions1->connectAction(), m_channelActions1->sslAction(),
                           m_channelActions2->connectAction(), m_channelActions2->sslAction(),
                           toggle(TraceOptions::Pause), m_channelActions1->disturbAction(),
                           m_channelActions2->disturbAction()});
    add(tr("View"), {m_act_expand_all, m_act_collapse_all, m_act_find, m_act_filter});
    m_toolbarmanager->addToolBar(m_tb_connections, tr("Connection"));
}

void MainWindow::connectActions()
{
    connect(m_act_open_definitions, &QAction::triggered, this, &MainWindow::onOpenDefinitions);
    connect(m_act_edit_definitions, &QAction::triggered, this, &MainWindow::onEditDefinitions);
    connect(m_act_close, &QAction::triggered, this, &QWidget::close);
    connect(m_act_expand_all, &QAction::triggered, this, &MainWindow::onExpandAll);
    connect(m_act_collapse_all, &QAction::triggered, this, &MainWindow::onCollapseAll);
    connect(m_act_style, &QAction::triggered, this, &MainWindow::onStyle);
    connect(m_act_edit_toolbars, &QAction::triggered, this, &MainWindow::onEditToolbars);
    connect(m_act_edit_bookmarks, &QAction::triggered, this, &MainWindow::onEditBookmarks);
    connect(m_act_open_bookmarks, &QAction::triggered, this, &MainWindow::onOpenBookmarks);
    connect(m_act_open_answers, &QAction::triggered, this, &MainWindow::onOpenAnswers);
    connect(m_act_save_answers, &QAction::triggered, m_answers, &AnswerDocument::onSave);
    connect(m_answers, &AnswerDocument::modifiedChanged, m_act_save_answers, &QAction::setEnabled);
    m_act_save_answers->setEnabled(false);
    connect(m_act_save_answers_as, &QAction::triggered, this, &MainWindow::onSaveAnswersAs);
    connect(m_act_edit_answers, &QAction::triggered, this, &MainWindow::onEditAnswers);
    connect(m_act_answers_on, &QAction::toggled, m_autoanswer, &AutoAnswer::setEnabled);
    connect(m_act_open_sequences, &QAction::triggered, m_sequencedock, &SequenceDock::onOpen);
    connect(m_act_save_sequences, &QAction::triggered, m_sequencedock, &SequenceDock::onSave);
    connect(m_act_save_sequences_as, &QAction::triggered, m_sequencedock, &SequenceDock::onSaveAs);
    connect(m_act_save_bookmarks, &QAction::triggered, this, &MainWindow::onSaveBookmarks);
    connect(m_act_save_bookmarks_as, &QAction::triggered, this, &MainWindow::onSaveBookmarksAs);
    connect(m_act_add_separator, &QAction::triggered, this, &MainWindow::onAddSeparator);
    connect(m_act_delete_line, &QAction::triggered, this, &MainWindow::onDeleteLine);
    connect(m_act_copy, &QAction::triggered, this, &MainWindow::onCopy);
    connect(m_act_clear_all, &QAction::triggered, this, &MainWindow::onClearAll);
    connect(m_act_log_start, &QAction::triggered, this, &MainWindow::onLogStart);
    connect(m_act_log_stop, &QAction::triggered, this, &MainWindow::onLogStop);
    connect(m_act_log_play, &QAction::triggered, this, &MainWindow::onLogPlay);
    connect(m_act_log_play_hex, &QAction::triggered, this, &MainWindow::onLogPlayHex);
    connect(m_act_export_pcapng, &QAction::triggered, this, &MainWindow::onExportPcapng);
    connect(m_act_about, &QAction::triggered, this, &MainWindow::about);
    connect(m_act_show_bookmarks, &QAction::triggered, this, &MainWindow::onShowBookmarks);
    connect(m_entry, &EntryLine::sendRequested, this, &MainWindow::onSendRequested);
    connect(m_tv_trace, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        QMenu* menu = createTraceMenu(m_tv_trace->indexAt(pos));
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(m_tv_trace->viewport()->mapToGlobal(pos));
    });
    // A traced message back into the entry line, to change and send again.
    connect(m_tv_trace, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        const TraceItem* item = m_model->index2item(traceIndex(index));
        if (item && item->message() && !index.parent().isValid()) {
            m_entry->setText(item->text());
        }
    });
}

QMenu* MainWindow::createTraceMenu(const QModelIndex& index)
{
    auto* menu = new QMenu(this);
    const TraceItem* item = m_model->index2item(traceIndex(index));
    const int tag = TracePlotter::plottableTag(item, m_tags.get());
    if (tag >= 0) {
        const QString name = m_tags ? m_tags->tagName(unsigned(tag)) : QRV16::tag2hex(unsigned(tag));
        QAction* plot = menu->addAction(tr("Plot %1").arg(name), this, [this, tag] { plotTag(tag); });
        plot->setObjectName(QStringLiteral("m_act_plot"));
        menu->addSeparator();
    }
    menu->addActions(m_tv_trace->actions());
    return menu;
}

void MainWindow::plotTag(int tag)
{
    if (!m_plotdock) {
        m_plotdock = new PlotDock(m_model, this);
        m_plotdock->setTags(m_tags.get());
        m_plotdock->setOptions(m_display->options());
        connect(m_display, &DisplayOptions::optionsChanged, m_plotdock, &PlotDock::setOptions);
        connect(m_plotdock, &PlotDock::message, this, [this](const QString& text) { message(text, ColorError); });
        addDockWidget(Qt::BottomDockWidgetArea, m_plotdock);
        // A chart needs more room than a dock's least.
        resizeDocks({m_plotdock}, {qMax(300, height() / 3)}, Qt::Vertical);
    }
    if (!m_plotdock->addTag(tag))
        message(tr("%1 cannot be plotted").arg(QRV16::tag2hex(unsigned(tag))), ColorError);
}

void MainWindow::initialize()
{
    if (!m_definitionspath.isEmpty())
        loadDefinitionFile(m_definitionspath);
    // After the definitions: the rules' patterns use their names.
    if (!m_answerspath.isEmpty())
        loadAnswers(m_answerspath);
    if (!m_sequencespath.isEmpty())
        m_sequencedock->load(m_sequencespath);
    m_channel1->connect();
    m_channel2->connect();
}

QAction* MainWindow::toggle(TraceOptions::Flag flag) const
{
    return m_display->action(flag);
}

void MainWindow::showOptions(const TraceOptions& options)
{
    if (m_hidedup != options.test(TraceOptions::HideDuplicates)) {
        m_hidedup = options.test(TraceOptions::HideDuplicates);
        QMenuBar* bar = menuBar();
        bar->setCornerWidget(nullptr, Qt::TopRightCorner);
        m_lbl_corner->setText(m_hidedup ? QStringLiteral("<font color=\"red\"><b>HIDE DUPLICATES</b></font>")
                                        : QString());
        bar->setCornerWidget(m_lbl_corner, Qt::TopRightCorner);
        m_lbl_corner->show();
    }
    m_tv_trace->viewport()->update();
}

void MainWindow::selectTarget(int channel)
{
    m_target = channel == 2 ? m_channel2 : m_channel1;
    m_entry->setTarget(channel);
    m_sequencedock->setSendChannel(channel == 2 ? 2 : 1);
}

void MainWindow::onSendRequested(const QString& text, int channel)
{
    selectTarget(channel);
    if (text.trimmed().isEmpty())
        return;
    m_target->sendMessage(text);
    saveHistory();
}

void MainWindow::saveHistory()
{
    m_entry->saveHistory();
    QSettings().setValue(QStringLiteral("MainWindow/TargetChannel"), m_target == m_channel2 ? 2 : 1);
}

void MainWindow::watchTraceSelection()
{
    connect(m_tv_trace->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection& selected) {
                if (!selected.isEmpty())
                    m_following = false;
            });
    // Moving to the newest line (End) follows again.
    connect(m_tv_trace->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) {
                if (current.isValid() && !current.parent().isValid() &&
                    current.row() == m_tv_trace->model()->rowCount() - 1)
                    m_following = true;
            });
}

QModelIndex MainWindow::traceIndex(const QModelIndex& viewIndex) const
{
    return viewIndex.model() == m_filter ? m_filter->mapToSource(viewIndex) : viewIndex;
}

void MainWindow::showFiltered(bool filtered)
{
    QAbstractItemModel* const shown =
        filtered ? static_cast<QAbstractItemModel*>(m_filter) : static_cast<QAbstractItemModel*>(m_model);
    if (m_tv_trace->model() == shown)
        return;
    m_filter->setSuspended(false);
    const auto toShown = [this, filtered](const QModelIndex& source) {
        return filtered ? m_filter->mapFromSource(source) : source;
    };
    // What the user looks at crosses over: current line, selection and the
    // expanded lines, in the trace's own terms.
    const QPersistentModelIndex current = traceIndex(m_tv_trace->currentIndex());
    QItemSelection selection = m_tv_trace->selectionModel()->selection();
    if (m_tv_trace->model() == m_filter)
        selection = m_filter->mapSelectionToSource(selection);
    QList<QPersistentModelIndex> expanded;
    collectExpanded(QModelIndex(), &expanded);
    const bool following = m_following;

    QItemSelectionModel* old = m_tv_trace->selectionModel();
    m_tv_trace->setModel(shown);
    delete old;
    watchTraceSelection();

    for (const QPersistentModelIndex& index : std::as_const(expanded)) {
        const QModelIndex at = toShown(index);
        if (at.isValid())
            m_tv_trace->setExpanded(at, true);
    }
    if (filtered)
        selection = m_filter->mapSelectionFromSource(selection);
    m_tv_trace->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    const QModelIndex at = toShown(current);
    if (at.isValid())
        m_tv_trace->selectionModel()->setCurrentIndex(at, QItemSelectionModel::NoUpdate);
    m_following = following;
    m_filter->setSuspended(!filtered);
}

void MainWindow::collectExpanded(const QModelIndex& parent, QList<QPersistentModelIndex>* out) const
{
    const QAbstractItemModel* model = m_tv_trace->model();
    const int rows = model->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = model->index(row, 0, parent);
        if (!m_tv_trace->isExpanded(index))
            continue;
        out->append(traceIndex(index));
        collectExpanded(index, out);
    }
}

void MainWindow::onTraceInserted(const QModelIndex& parent)
{
    // The current line and the selection stay where the user put them.
    if (!parent.isValid() && m_display->options().test(TraceOptions::AutoScroll) && m_following)
        m_tv_trace->scrollToBottom();
}

void MainWindow::onTraceScrolled(int value)
{
    m_following = value >= m_tv_trace->verticalScrollBar()->maximum();
}

void MainWindow::onExpandAll()
{
    m_tv_trace->expandAll();
}

void MainWindow::onCollapseAll()
{
    m_tv_trace->collapseAll();
}

void MainWindow::message(const QString& text, StyleColor color, const QString& source)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    while (!lines.isEmpty() && lines.constFirst().trimmed().isEmpty())
        lines.removeFirst();
    while (!lines.isEmpty() && lines.constLast().trimmed().isEmpty())
        lines.removeLast();
    for (const QString& line : std::as_const(lines))
        m_model->append(source, line, color);
}

void MainWindow::message(const QString& text, StyleColor color)
{
    message(text, color, source(Main));
}

void MainWindow::message(const QString& text, const QString& source)
{
    message(text, ColorText, source);
}

void MainWindow::message(const QString& text)
{
    message(text, ColorText, source(Main));
}

void MainWindow::onDeleteLine()
{
    const QModelIndex index = m_tv_trace->currentIndex();
    if (index.isValid())
        m_undo->removeLine(traceIndex(index));
}

void MainWindow::onCopy()
{
    // Selected rows in the order the view shows them: by their row paths.
    QList<QPair<QList<int>, QModelIndex>> rows;
    for (const QModelIndex& index : m_tv_trace->selectionModel()->selectedRows()) {
        QList<int> path;
        for (QModelIndex i = index; i.isValid(); i = i.parent())
            path.prepend(i.row());
        rows.append({path, index});
    }
    if (rows.isEmpty())
        return;
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    QStringList lines;
    for (const auto& row : std::as_const(rows)) {
        const QModelIndex& index = row.second;
        const auto cell = [&](int column) { return index.siblingAtColumn(column).data().toString(); };
        if (index.parent().isValid())
            lines << QString(2 * (row.first.size() - 1), QLatin1Char(' ')) + cell(TraceModel::TextColumn);
        else
            lines << QStringList{cell(TraceModel::TimeColumn), cell(TraceModel::AddrColumn),
                                 cell(TraceModel::SourceColumn), cell(TraceModel::TextColumn)}
                         .join(QLatin1Char('\t'));
    }
    QApplication::clipboard()->setText(lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

void MainWindow::onAddSeparator()
{
    m_model->appendSeparator();
}

void MainWindow::onClearAll()
{
    m_undo->clearAll();
    m_channel1->clearLastData();
    m_channel2->clearLastData();
}

void MainWindow::onStyle()
{
    if (m_styledialog) {
        WindowPlacement::raise(m_styledialog);
        return;
    }
    m_styledialog = new StyleDialog(this);
    m_styledialog->setAttribute(Qt::WA_DeleteOnClose);
    m_styledialog->setStyle(m_style);
    m_styledialog->setTags(m_tags.get());
    connect(m_styledialog, &StyleDialog::apply, this, &MainWindow::onApplyStyle);
    m_styledialog->show();
}

void MainWindow::onApplyStyle(const StyleSettings& style)
{
    m_style = style;
    QSettings settings;
    m_style.saveToSettings(settings, QStringLiteral("MainWindow/Style"));
    updateStyle();
}

void MainWindow::updateStyle()
{
    const QPalette palette = m_style.palette();
    m_tv_trace->setPalette(palette);
    m_bookmarkwidget->setPalette(palette);
    m_entry->setLook(palette, m_style.codeFont(), m_style.color(ColorError));
    if (m_bookmarkeditor)
        m_bookmarkeditor->setStyle(palette, m_style.codeFont());
    m_model->setStyle(&m_style);
    m_tv_trace->viewport()->update();
}

void MainWindow::onEditToolbars()
{
    if (m_toolbardialog) {
        WindowPlacement::raise(m_toolbardialog);
        return;
    }
    m_toolbardialog = new QtToolBarDialog(this);
    m_toolbardialog->setAttribute(Qt::WA_DeleteOnClose);
    m_toolbardialog->setToolBarManager(m_toolbarmanager);
    connect(m_toolbardialog, &QtToolBarDialog::changed, this, &MainWindow::onToolbarsChanged);
    m_toolbardialog->show();
}

void MainWindow::onToolbarsChanged()
{
    QSettings settings;
    settings.setValue(QStringLiteral("MainWindow/ToolBars"), m_toolbarmanager->saveState(0));
}

void MainWindow::setBookmarks(BookmarkList* list)
{
    if (list == m_bookmarks)
        return;
    BookmarkList* old = m_bookmarks;
    m_bookmarks = list;
    list->setParent(this);
    list->setMenu(m_mnu_bookmarks);
    list->setToolBar(m_tb_bookmarks);
    m_bookmarkwidget->setBookmarks(list);
    m_sequencedock->setBookmarks(list);
    if (m_bookmarkeditor)
        m_bookmarkeditor->setBookmarks(list);
    connect(list, &BookmarkList::activated, this, &MainWindow::onBookmarkActivated);
    connect(list, &BookmarkList::dirtyChanged, m_act_save_bookmarks, &QAction::setEnabled);
    m_act_save_bookmarks->setEnabled(list->isDirty());
    if (old) {
        old->setMenu(nullptr);
        old->setToolBar(nullptr);
        delete old;
    }
}

void MainWindow::onBookmarkActivated(QAction* action)
{
    const QString text = action ? action->data().toString() : QString();
    if (!text.isEmpty())
        m_target->sendMessage(text, tr("Bookmark \"%1\"").arg(action->text()));
}

bool MainWindow::loadBookmarks(const QString& path)
{
    auto list = std::make_unique<BookmarkList>();
    BookmarkParser parser(list.get());
    const bool ok = parser.parse(path);
    if (!parser.warnings().isEmpty())
        message(parser.warnings(), ColorText, source(Bookmarks));
    if (!ok) {
        message(parser.formatError(), ColorError, source(Bookmarks));
        return false;
    }
    list->setClean();
    setBookmarks(list.release());
    m_bookmarkspath = path;
    message(tr("Loaded bookmarks from %1").arg(QDir::toNativeSeparators(path)), source(Bookmarks));
    return true;
}

void MainWindow::rememberPath(const char* key, const QString& path)
{
    QSettings settings;
    settings.setValue(QLatin1String(key), path);
    settings.sync();
}

void MainWindow::onOpenBookmarks()
{
    if (!canDiscard())
        return;
    QString start = QSettings().value(QStringLiteral("MainWindow/LastBookmarksPath")).toString();
    if (start.isEmpty())
        start = DocumentFlow::documentsPath();
    const QString path = QFileDialog::getOpenFileName(this, tr("Open Bookmarks"), start,
                                                      tr("Bookmarks") + QStringLiteral(" (*.qrvbm);;") +
                                                          DocumentFlow::allFilesFilter());
    if (path.isEmpty())
        return;
    if (loadBookmarks(path))
        rememberPath("MainWindow/LastBookmarksPath", path);
}

bool MainWindow::saveBookmarks(const QString& path)
{
    BookmarkWriter writer;
    if (!writer.write(m_bookmarks, path)) {
        message(writer.errorString(), ColorError, source(Bookmarks));
        return false;
    }
    m_bookmarks->setClean();
    return true;
}

bool MainWindow::onSaveBookmarks()
{
    if (m_bookmarkspath.isEmpty())
        return onSaveBookmarksAs();
    return saveBookmarks(m_bookmarkspath);
}

bool MainWindow::onSaveBookmarksAs()
{
    QString start = m_bookmarkspath;
    if (start.isEmpty())
        start = DocumentFlow::documentsPath();
    const QString path = QFileDialog::getSaveFileName(this, tr("Save Bookmarks"), start,
                                                      tr("Bookmarks") + QStringLiteral(" (*.qrvbm);;") +
                                                          DocumentFlow::allFilesFilter());
    if (path.isEmpty() || !saveBookmarks(path))
        return false;
    m_bookmarkspath = path;
    rememberPath("MainWindow/LastBookmarksPath", path);
    return true;
}

bool MainWindow::canDiscard()
{
    if (!m_bookmarks || !m_bookmarks->isDirty())
        return true;
    const auto answer = QMessageBox::question(this, windowTitle(),
                                              tr("There are unsaved bookmarks. What do you want to do?"),
                                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                              QMessageBox::Cancel);
    if (answer == QMessageBox::Discard)
        return true;
    if (answer == QMessageBox::Save)
        return onSaveBookmarks();
    return false;
}

void MainWindow::onEditBookmarks()
{
    if (m_bookmarkeditor) {
        WindowPlacement::raise(m_bookmarkeditor);
        return;
    }
    m_bookmarkeditor = new BookmarkEditor(this);
    m_bookmarkeditor->setAttribute(Qt::WA_DeleteOnClose);
    m_bookmarkeditor->setTags(m_tags.get());
    m_bookmarkeditor->setStyle(m_style.palette(), m_style.codeFont());
    m_bookmarkeditor->setBookmarks(m_bookmarks);
    m_bookmarkeditor->show();
}

void MainWindow::onShowBookmarks()
{
    m_dock_bookmarks->show();
    m_dock_bookmarks->raise();
}

bool MainWindow::loadDefinitionFile(const QString& path)
{
    QRV16::Parser parser;
    const bool ok = parser.parse(path);
    if (!parser.warnings().isEmpty())
        message(parser.warnings(), ColorText, source(Definitions));
    std::unique_ptr<QRV16::Item> root(ok ? parser.takeRoot() : nullptr);
    if (!root) {
        message(parser.formatError(), ColorError, source(Definitions));
        return false;
    }
    setTags(root.release());
    m_definitionspath = path;
    message(tr("Loaded definitions from %1").arg(QDir::toNativeSeparators(path)), source(Definitions));
    return true;
}

void MainWindow::onOpenDefinitions()
{
    const QString start = QSettings().value(QStringLiteral("MainWindow/LastDefinitionsPath")).toString();
    const QString path = QFileDialog::getOpenFileName(this, tr("Open QRV16 definitions"), start,
                                                      tr("QRV16 Definition Files") + QStringLiteral(" (*.qrvdef);;") +
                                                          DocumentFlow::allFilesFilter());
    if (!path.isEmpty() && loadDefinitionFile(path))
        rememberPath("MainWindow/LastDefinitionsPath", path);
}

void MainWindow::onDefinitionsEdited(QRV16::Item* root, const QString& path)
{
    setTags(root);
    message(tr("Updated from %1").arg(QDir::toNativeSeparators(path)), source(Definitions));
    if (!path.isEmpty()) {
        m_definitionspath = path;
        rememberPath("MainWindow/LastDefinitionsPath", path);
    }
}

void MainWindow::setTags(QRV16::Item* root)
{
    std::unique_ptr<QRV16::TagDataLut> tags(root ? new QRV16::TagDataLut(root) : nullptr);
    // The model and the editor switch before the old tables go.
    m_model->setTags(tags.get());
    if (m_filterbar)
        m_filterbar->setTags(tags.get());
    if (m_plotdock)
        m_plotdock->setTags(tags.get());
    m_autoanswer->setTags(tags.get());
    m_sequencedock->setTags(tags.get());
    m_entry->setTags(tags.get());
    if (m_bookmarkeditor)
        m_bookmarkeditor->setTags(tags.get());
    m_tags = std::move(tags);
    m_root.reset(root);
    m_tv_trace->viewport()->update();
}

void MainWindow::about()
{
    QMessageBox::about(this, tr("About korvgui"),
                       tr("<h3>korvgui %1</h3>"
                          "<p>A workbench for controllers that speak the QRV16 message protocol: "
                          "type messages, send them on two channels, watch the decoded trace.</p>"
                          "<p>Built with Qt %2.</p>"
                          "<p>Icons from the Silk icon set by Mark James, "
                          "<a href=\"http://www.famfamfam.com/lab/icons/silk/\">famfamfam.com</a>, "
                          "licensed under Creative Commons Attribution 2.5.</p>")
                           .arg(QCoreApplication::applicationVersion(), QString::fromLatin1(qVersion())));
}

void MainWindow::onEditDefinitions()
{
    if (m_editor) {
        WindowPlacement::raise(m_editor);
        return;
    }
    // No parent: the editor is a top-level window of its own.
    auto* editor = new QRV16::EditorWindow;
    editor->setAttribute(Qt::WA_DeleteOnClose);
    connect(editor, &QRV16::EditorWindow::opened, this, &MainWindow::onDefinitionsEdited);
    connect(editor, &QRV16::EditorWindow::saved, this, &MainWindow::onDefinitionsEdited);
    m_editor = editor;
    editor->initialize(m_definitionspath, QString());
    editor->show();
}

bool MainWindow::isLogging() const
{
    return m_logwriter->isOpen();
}

QString MainWindow::logDialogPath() const
{
    const QString last = QSettings().value(QStringLiteral("MainWindow/LastLogPath")).toString();
    return last.isEmpty() ? DocumentFlow::documentsPath() : last;
}

void MainWindow::setLogActions(bool logging)
{
    m_act_log_start->setEnabled(!logging);
    m_act_log_stop->setEnabled(logging);
}

void MainWindow::onExportPcapng()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Export trace as pcapng"), logDialogPath(),
                                                      tr("Capture files") + QStringLiteral(" (*.pcapng);;") +
                                                          DocumentFlow::allFilesFilter());
    if (path.isEmpty())
        return;
    QSaveFile file(path);
    QString error;
    const int count = file.open(QIODevice::WriteOnly) ? TracePcapngExport::write(m_model, &file, &error) : -1;
    if (count < 0 || !file.commit()) {
        message(error.isEmpty() ? file.errorString() : error, ColorError, source(Log));
        return;
    }
    message(tr("Exported %1 packets to %2").arg(count).arg(QDir::toNativeSeparators(path)), source(Log));
}

void MainWindow::onLogStart()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Log to file"), logDialogPath(),
                                                      tr("Log files") + QStringLiteral(" (*.csv);;") +
                                                          DocumentFlow::allFilesFilter());
    if (!path.isEmpty())
        startLog(path);
}

bool MainWindow::startLog(const QString& path)
{
    const bool same = m_logwriter->isOpen() &&
                      QFileInfo(m_logwriter->fileName()).absoluteFilePath() == QFileInfo(path).absoluteFilePath();
    if (same)
        return true;
    QString error;
    if (!m_logwriter->open(path, &error)) {
        message(tr("Could not log to %1: %2").arg(QDir::toNativeSeparators(path), error), ColorError, source(Log));
        return false;
    }
    rememberPath("MainWindow/LastLogPath", path);
    message(tr("Logging to %1").arg(QDir::toNativeSeparators(path)), source(Log));
    setLogActions(true);
    return true;
}

void MainWindow::onLogStop()
{
    if (m_logwriter && m_logwriter->isOpen()) {
        // Said while the file is open, so that the log records its own end.
        message(tr("Stopped logging to %1").arg(QDir::toNativeSeparators(m_logwriter->fileName())), source(Log));
        m_logwriter->close();
    }
    if (m_act_log_start)
        setLogActions(false);
}

void MainWindow::onLogFlush()
{
    m_logwriter->flush();
}

void MainWindow::onLogPlay()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Replay log"), logDialogPath(),
                                                      tr("Log files") + QStringLiteral(" (*.csv);;") +
                                                          DocumentFlow::allFilesFilter());
    if (path.isEmpty())
        return;
    rememberPath("MainWindow/LastLogPath", path);
    replayLog(path);
}

bool MainWindow::replayLog(const QString& path)
{
    return startReplay(path, Replayer::LogFile);
}

void MainWindow::onLogPlayHex()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Replay hex dump"), logDialogPath(),
                                                      tr("Log files") + QStringLiteral(" (*.csv);;") +
                                                          DocumentFlow::allFilesFilter());
    if (path.isEmpty())
        return;
    rememberPath("MainWindow/LastLogPath", path);
    replayHexDump(path);
}

bool MainWindow::replayHexDump(const QString& path)
{
    return startReplay(path, Replayer::HexDump);
}

bool MainWindow::startReplay(const QString& path, int mode)
{
    m_replayer->setChannels(m_channel1, m_channel2, m_target);
    if (!m_replayer->start(path, Replayer::Mode(mode)))
        return false;
    m_act_log_play->setEnabled(false);
    m_act_log_play_hex->setEnabled(false);
    // Not modal: the trace stays live and usable while the file plays.
    m_replaydialog = new QProgressDialog(this);
    m_replaydialog->setObjectName(QStringLiteral("m_dlg_replay"));
    m_replaydialog->setWindowTitle(mode == Replayer::LogFile ? tr("Replay log") : tr("Replay hex dump"));
    m_replaydialog->setLabelText(tr("Replaying %1").arg(QDir::toNativeSeparators(path)));
    m_replaydialog->setAutoClose(false);
    m_replaydialog->setAutoReset(false);
    m_replaydialog->setMinimumDuration(300);
    m_replaydialog->setRange(0, 0);
    connect(m_replaydialog, &QProgressDialog::canceled, m_replayer, &Replayer::cancel);
    return true;
}

void MainWindow::onReplayProgress(qint64 done, qint64 total)
{
    if (!m_replaydialog)
        return;
    const bool lines = m_replayer->mode() == Replayer::LogFile;
    if (total <= 0) {
        m_replaydialog->setRange(0, 0);
        return;
    }
    // Per mille: byte counts overflow an int.
    m_replaydialog->setRange(0, 1000);
    m_replaydialog->setValue(int(qMin<qint64>(1000, done * 1000 / total)));
    m_replaydialog->setLabelText(lines ? tr("%1 of %2 lines").arg(done).arg(total)
                                       : tr("%1 of %2 bytes").arg(done).arg(total));
}

void MainWindow::onReplayFinished()
{
    delete m_replaydialog.data();
    m_act_log_play->setEnabled(true);
    m_act_log_play_hex->setEnabled(true);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (!canDiscard() || !m_sequencedock->canClose() || !m_answers->canClose()) {
        event->ignore();
        return;
    }
    m_sequencedock->stop();
    QSettings settings;
    settings.setValue(QStringLiteral("MainWindow/Geometry"), WindowPlacement::save(this));
    settings.setValue(QStringLiteral("MainWindow/State"), saveState(0));
    settings.setValue(QStringLiteral("MainWindow/ToolBars"), m_toolbarmanager->saveState(0));
    settings.setValue(QStringLiteral("MainWindow/TreeHeader"), m_tv_trace->header()->saveState());
    m_display->save();
    saveHistory();
    if (m_editor)
        m_editor->close();
    event->accept();
}

QString MainWindow::answersPath() const
{
    return m_answers->path();
}

bool MainWindow::loadAnswers(const QString& path)
{
    return m_answers->load(path);
}

bool MainWindow::saveAnswers(const QString& path)
{
    return m_answers->save(path);
}

void MainWindow::onOpenAnswers()
{
    m_answers->onOpen();
}

bool MainWindow::onSaveAnswersAs()
{
    return m_answers->onSaveAs();
}

void MainWindow::onEditAnswers()
{
    AnswerDialog dialog(this);
    dialog.setTags(m_tags.get());
    dialog.setRules(m_autoanswer->rules());
    const TraceItem* item = m_model->index2item(traceIndex(m_tv_trace->currentIndex()));
    if (item && item->message())
        dialog.setTestMessage(QRV16::Message(item->message()->bytes));
    if (dialog.exec() == QDialog::Accepted)
        m_answers->setRules(dialog.rules());
}
