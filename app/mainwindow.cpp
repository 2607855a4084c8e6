// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"

#include "app/channelactions.h"
#include "app/definitionsactions.h"
#include "app/displayoptions.h"
#include "app/entryline.h"
#include "app/linkstatusbar.h"
#include "app/preferences.h"
#include "automation/autoanswer.h"
#include "automation/definitions.h"
#include "automation/widgets/answeractions.h"
#include "automation/widgets/sequencedock.h"
#include "bookmarks/bookmarkactions.h"
#include "bookmarks/bookmarkdocument.h"
#include "bookmarks/bookmarklist.h"
#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "trace/widgets/plotdock.h"
#include "trace/widgets/styleactions.h"
#include "trace/widgets/tracelogging.h"
#include "trace/widgets/tracesearch.h"
#include "trace/widgets/traceview.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "widgets/documentactions.h"
#include "widgets/qttoolbardialog.h"
#include "widgets/qttoolbarmanager.h"
#include "widgets/windowplacement.h"

#include <QAction>
#include <QCoreApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(tr("korvgui"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/i16_list.png")));
    setMinimumSize(640, 400);
    WindowPlacement::resizeToFit(this, QSize(1100, 720));

    makeFeatures();
    placeFeatures();
    wireFeatures();
    restoreSettings();
    QTimer::singleShot(250, this, &MainWindow::initialize);
}

MainWindow::~MainWindow()
{
    // Channels close their connections; their last words must not reach a
    // half-destroyed window.
    delete m_channel1;
    delete m_channel2;
    m_channel1 = m_channel2 = m_target = nullptr;
    delete m_definitionsActions;
    m_logging->stopLog();
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

void MainWindow::makeFeatures()
{
    m_definitions = new Definitions(this);
    m_definitionsActions = new DefinitionsActions(m_definitions, this);
    m_model = new TraceModel(this);
    m_preferences = new Preferences(m_model, this);
    m_display = new DisplayOptions(this);
    m_channel1 = new Channel(1, this);
    m_channel2 = new Channel(2, this);
    m_target = m_channel1;
    m_channelActions1 = new ChannelActions(m_channel1, this);
    m_channelActions2 = new ChannelActions(m_channel2, this);
    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("m_central_widget"));
    m_view = new TraceView(m_model, central);
    m_search = new TraceSearch(m_view, central);
    m_entry = new EntryLine(central);
    m_entry->setObjectName(QStringLiteral("m_entry"));
    m_logging = new TraceLogging(m_model, this);
    m_bookmarks = new BookmarkActions(this);
    m_autoanswer = new AutoAnswer(this);
    m_answers = new AnswerActions(m_autoanswer, this);
    m_sequencedock = new SequenceDock(this);
    m_style = new StyleActions(this);
    m_status = new LinkStatusBar(this);
    m_toolbarmanager = new QtToolBarManager(this);
    const auto action = [this](const char* name, const QString& text, const char* icon) {
        auto* made = new QAction(text, this);
        made->setObjectName(QLatin1String(name));
        if (icon)
            made->setIcon(QIcon(QStringLiteral(":/icons/") + QLatin1String(icon)));
        return made;
    };
    m_act_close = action("m_act_close", tr("Close"), "i16_exit.png");
    m_act_close->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    m_act_edit_toolbars = action("m_act_edit_toolbars", tr("Edit Toolbars"), "i16_toolbar_edit.png");
    m_act_about = action("m_act_about", tr("About"), nullptr);
}

void MainWindow::placeFeatures()
{
    QWidget* central = m_view->parentWidget();
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(m_view, 1);
    layout->addWidget(m_search->filterBar());
    layout->addWidget(m_search->findBar());
    layout->addWidget(m_entry);
    setCentralWidget(central);

    QMenuBar* bar = menuBar();
    QMenu* file = bar->addMenu(tr("File"));
    file->setObjectName(QStringLiteral("m_mnu_file"));
    file->addAction(m_definitionsActions->openAction());
    file->addSeparator();
    file->addAction(m_act_close);

    m_mnu_trace = bar->addMenu(tr("Trace"));
    m_mnu_trace->setObjectName(QStringLiteral("m_mnu_trace"));
    m_mnu_trace->addActions(m_search->actions());
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions({toggle(TraceOptions::TraceRaw), toggle(TraceOptions::TraceMessageBytes),
                             toggle(TraceOptions::Decode), toggle(TraceOptions::RelativeTime),
                             toggle(TraceOptions::HungarianNotation), toggle(TraceOptions::HideDuplicates)});
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions({m_view->separatorAction(), m_view->deleteAction(), m_view->clearAction(),
                             m_view->undoAction(), toggle(TraceOptions::AutoScroll)});
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions(m_logging->actions());
    m_mnu_trace->addSeparator();
    m_mnu_trace->addActions({m_channelActions1->disturbAction(), m_channelActions2->disturbAction()});

    bar->addMenu(m_bookmarks->menu());
    bar->addMenu(m_answers->menu());
    QMenu* sequences = bar->addMenu(tr("Sequences"));
    sequences->setObjectName(QStringLiteral("m_mnu_sequences"));
    DocumentActions* sequenceFile = m_sequencedock->documentActions();
    sequences->addActions({sequenceFile->openAction(), sequenceFile->saveAction(), sequenceFile->saveAsAction()});
    sequences->addSeparator();
    sequences->addAction(m_sequencedock->toggleViewAction());

    QMenu* preferences = bar->addMenu(tr("Preferences"));
    preferences->setObjectName(QStringLiteral("m_mnu_connection"));
    preferences->addActions({m_channelActions1->settingsAction(), m_channelActions2->settingsAction()});
    preferences->addSeparator();
    preferences->addActions({m_style->action(), m_act_edit_toolbars, m_definitionsActions->editAction(),
                             m_preferences->action()});
    QMenu* help = bar->addMenu(tr("Help"));
    help->setObjectName(QStringLiteral("m_mnu_help"));
    help->addAction(m_act_about);

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
    m_tb_connections->addActions({m_view->collapseAllAction(), m_view->expandAllAction()});
    addToolBar(Qt::TopToolBarArea, m_tb_connections);
    addToolBarBreak(Qt::TopToolBarArea);
    addToolBar(Qt::TopToolBarArea, m_bookmarks->toolBar());

    addDockWidget(Qt::RightDockWidgetArea, m_bookmarks->dock());
    addDockWidget(Qt::RightDockWidgetArea, m_sequencedock);
    splitDockWidget(m_bookmarks->dock(), m_sequencedock, Qt::Vertical);

    setStatusBar(m_status);

    m_lbl_corner = new QLabel(this);
    m_lbl_corner->setObjectName(QStringLiteral("m_lbl_corner"));
    bar->setCornerWidget(m_lbl_corner, Qt::TopRightCorner);
    registerToolBarActions();
}

void MainWindow::registerToolBarActions()
{
    m_toolbarmanager->setMainWindow(this);
    const auto add = [this](const QString& category, const QList<QAction*>& actions) {
        for (QAction* action : actions)
            m_toolbarmanager->addAction(action, category);
    };
    DocumentActions* bookmarkFile = m_bookmarks->documentActions();
    add(tr("File"), {m_definitionsActions->openAction(), m_act_close});
    add(tr("Trace"), {toggle(TraceOptions::TraceRaw), toggle(TraceOptions::TraceMessageBytes),
                      toggle(TraceOptions::Decode), toggle(TraceOptions::RelativeTime),
                      toggle(TraceOptions::LinkChannels), toggle(TraceOptions::AutoScroll),
                      toggle(TraceOptions::HungarianNotation), toggle(TraceOptions::HideDuplicates),
                      m_view->deleteAction(), m_view->separatorAction(), m_view->clearAction(), m_view->undoAction()});
    add(tr("Trace"), m_logging->actions().mid(0, 4));
    add(tr("Bookmark Manager"), {bookmarkFile->openAction(), m_bookmarks->editAction(), bookmarkFile->saveAction(),
                                 bookmarkFile->saveAsAction()});
    add(tr("Preferences"), {m_channelActions1->settingsAction(), m_channelActions2->settingsAction(),
                            m_definitionsActions->editAction(), m_style->action(), m_preferences->action()});
    add(tr("Connection"), {m_channelActions1->connectAction(), m_channelActions1->sslAction(),
                           m_channelActions2->connectAction(), m_channelActions2->sslAction(),
                           toggle(TraceOptions::Pause), m_channelActions1->disturbAction(),
                           m_channelActions2->disturbAction()});
    add(tr("View"), {m_view->expandAllAction(), m_view->collapseAllAction(), m_search->findAction(),
                     m_search->filterAction()});
    m_toolbarmanager->addToolBar(m_tb_connections, tr("Connection"));
}

std::function<void(const QString&, bool)> MainWindow::reportAs(const char* source)
{
    const QString label = QString::fromLatin1(source);
    return [this, label](const QString& text, bool error) { message(text, error ? ColorError : ColorText, label); };
}

void MainWindow::wireFeatures()
{
    for (Channel* channel : {m_channel1, m_channel2})
        channel->setModel(m_model);
    m_channel1->setLinkedChannel(m_channel2);
    m_channel2->setLinkedChannel(m_channel1);
    m_logging->setChannels(m_channel1, m_channel2);
    m_status->addChannel(m_channel1);
    m_status->addChannel(m_channel2);
    m_status->setLogging(m_logging);
    m_autoanswer->setPorts(m_channel1, m_channel2);
    m_sequencedock->setPorts(m_channel1, m_channel2);
    m_sequencedock->setEntryLine(m_entry->lineEdit());
    m_answers->setSample([this] { return m_view->currentMessage(); });

    // Whatever reads names subscribes; the model first, as it draws.
    connect(m_definitions, &Definitions::changed, m_model, &TraceModel::setTags);
    connect(m_definitions, &Definitions::changed, m_view, &TraceView::setTags);
    connect(m_definitions, &Definitions::changed, m_search, &TraceSearch::setTags);
    connect(m_definitions, &Definitions::changed, m_answers, &AnswerActions::setTags);
    connect(m_definitions, &Definitions::changed, m_sequencedock, &SequenceDock::setTags);
    connect(m_definitions, &Definitions::changed, m_entry, &EntryLine::setTags);
    connect(m_definitions, &Definitions::changed, m_bookmarks, &BookmarkActions::setTags);
    connect(m_definitions, &Definitions::changed, m_style, &StyleActions::setTags);

    const TraceOptions options = m_display->options();
    m_model->setOptions(options);
    m_view->setOptions(options);
    connect(m_display, &DisplayOptions::optionsChanged, m_model, &TraceModel::setOptions);
    connect(m_display, &DisplayOptions::optionsChanged, m_view, &TraceView::setOptions);
    for (Channel* channel : {m_channel1, m_channel2}) {
        channel->setOptions(options);
        connect(m_display, &DisplayOptions::optionsChanged, channel, &Channel::setOptions);
    }
    connect(m_display, &DisplayOptions::optionsChanged, this, &MainWindow::showOptions);

    connect(m_definitionsActions, &DefinitionsActions::message, this, reportAs("Definitions"));
    connect(m_bookmarks, &BookmarkActions::message, this, reportAs("Bookmarks"));
    connect(m_answers, &AnswerActions::message, this, reportAs("Answers"));
    connect(m_sequencedock, &SequenceDock::message, this, reportAs("Sequences"));
    connect(m_logging, &TraceLogging::message, this,
            [this](const QString& text, StyleColor color) { message(text, color, QStringLiteral("Log")); });

    connect(m_entry, &EntryLine::sendRequested, this, &MainWindow::send);
    connect(m_view, &TraceView::messageActivated, m_entry, &EntryLine::setText);
    connect(m_view, &TraceView::plotRequested, this, &MainWindow::plotTag);
    connect(m_view, &TraceView::cleared, this, [this] {
        m_channel1->clearLastData();
        m_channel2->clearLastData();
    });
    connect(m_bookmarks, &BookmarkActions::sendRequested, this,
            [this](const QString& text, const QString& origin) { m_target->sendMessage(text, origin); });
    connect(m_bookmarks, &BookmarkActions::listChanged, m_sequencedock, &SequenceDock::setBookmarks);
    m_sequencedock->setBookmarks(m_bookmarks->list());

    connect(m_act_close, &QAction::triggered, this, &QWidget::close);
    connect(m_style, &StyleActions::changed, this, &MainWindow::updateStyle);
    connect(m_act_edit_toolbars, &QAction::triggered, this, &MainWindow::editToolbars);
    connect(m_act_about, &QAction::triggered, this, &MainWindow::about);
}

void MainWindow::restoreSettings()
{
    for (const QString& warning : m_preferences->warnings())
        message(warning, ColorError);
    m_entry->restoreHistory();
    QSettings settings;
    selectTarget(settings.value(QStringLiteral("MainWindow/TargetChannel"), 1).toInt());

    QStringList args = QCoreApplication::arguments();
    if (!args.isEmpty())
        args.removeFirst();
    QString definitions;
    QString bookmarks;
    parseArguments(args, &definitions, &bookmarks, &m_answerspath, &m_sequencespath);
    if (definitions.isEmpty())
        definitions = settings.value(QStringLiteral("MainWindow/LastDefinitionsPath")).toString();
    m_definitionsActions->setPath(definitions);
    if (bookmarks.isEmpty())
        bookmarks = settings.value(QStringLiteral("MainWindow/LastBookmarksPath")).toString();

    // Unlike what is shown, so that the banner is set once.
    m_hidedup = !m_display->options().test(TraceOptions::HideDuplicates);
    showOptions(m_display->options());
    updateStyle();
    if (!bookmarks.isEmpty())
        loadBookmarks(bookmarks);

    restoreState(settings.value(QStringLiteral("MainWindow/State")).toByteArray(), 0);
    m_toolbarmanager->restoreState(settings.value(QStringLiteral("MainWindow/ToolBars")).toByteArray(), 0);
    WindowPlacement::restore(this, settings.value(QStringLiteral("MainWindow/Geometry")).toByteArray());
    m_view->header()->restoreState(settings.value(QStringLiteral("MainWindow/TreeHeader")).toByteArray());
}

void MainWindow::initialize()
{
    if (!m_definitionsActions->path().isEmpty())
        m_definitionsActions->load(m_definitionsActions->path());
    // After the definitions: the rules' patterns use their names.
    if (!m_answerspath.isEmpty())
        loadAnswers(m_answerspath);
    if (!m_sequencespath.isEmpty())
        m_sequencedock->load(m_sequencespath);
    m_channel1->connect();
    m_channel2->connect();
}

Channel* MainWindow::channel(int number) const
{
    return number == 2 ? m_channel2 : number == 1 ? m_channel1 : nullptr;
}

const QRV16::TagDataLut* MainWindow::tags() const
{
    return m_definitions->tags();
}

BookmarkList* MainWindow::bookmarks() const
{
    return m_bookmarks->list();
}

Replayer* MainWindow::replayer() const
{
    return m_logging->replayer();
}

bool MainWindow::loadDefinitionFile(const QString& path)
{
    return m_definitionsActions->load(path);
}

bool MainWindow::loadBookmarks(const QString& path)
{
    return m_bookmarks->documentActions()->load(path);
}

bool MainWindow::loadAnswers(const QString& path)
{
    return m_answers->documentActions()->load(path);
}

bool MainWindow::replayLog(const QString& path)
{
    return m_logging->replayLog(path);
}

QAction* MainWindow::toggle(TraceOptions::Flag flag) const
{
    return m_display->action(flag);
}

void MainWindow::showOptions(const TraceOptions& options)
{
    if (m_hidedup == options.test(TraceOptions::HideDuplicates))
        return;
    m_hidedup = options.test(TraceOptions::HideDuplicates);
    QMenuBar* bar = menuBar();
    bar->setCornerWidget(nullptr, Qt::TopRightCorner);
    m_lbl_corner->setText(m_hidedup ? QStringLiteral("<font color=\"red\"><b>HIDE DUPLICATES</b></font>")
                                    : QString());
    bar->setCornerWidget(m_lbl_corner, Qt::TopRightCorner);
    m_lbl_corner->show();
}

void MainWindow::selectTarget(int channel)
{
    m_target = channel == 2 ? m_channel2 : m_channel1;
    m_entry->setTarget(channel);
    m_sequencedock->setSendChannel(channel == 2 ? 2 : 1);
    m_logging->setTarget(m_target);
}

void MainWindow::send(const QString& text, int channel)
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
    message(text, color, QStringLiteral("Main"));
}

void MainWindow::message(const QString& text, const QString& source)
{
    message(text, ColorText, source);
}

void MainWindow::message(const QString& text)
{
    message(text, ColorText, QStringLiteral("Main"));
}

void MainWindow::plotTag(int tag)
{
    if (!m_plotdock) {
        m_plotdock = new PlotDock(m_model, this);
        m_plotdock->setTags(m_definitions->tags());
        m_plotdock->setOptions(m_display->options());
        connect(m_definitions, &Definitions::changed, m_plotdock, &PlotDock::setTags);
        connect(m_display, &DisplayOptions::optionsChanged, m_plotdock, &PlotDock::setOptions);
        connect(m_plotdock, &PlotDock::message, this, [this](const QString& text) { message(text, ColorError); });
        addDockWidget(Qt::BottomDockWidgetArea, m_plotdock);
        // A chart needs more room than a dock's least.
        resizeDocks({m_plotdock}, {qMax(300, height() / 3)}, Qt::Vertical);
    }
    if (!m_plotdock->addTag(tag))
        message(tr("%1 cannot be plotted").arg(QRV16::tag2hex(unsigned(tag))), ColorError);
}

void MainWindow::updateStyle()
{
    const StyleSettings& style = m_style->style();
    const QPalette palette = style.palette();
    m_view->setPalette(palette);
    m_bookmarks->setLook(palette, style.codeFont());
    m_entry->setLook(palette, style.codeFont(), style.color(ColorError));
    m_model->setStyle(&style);
    m_view->viewport()->update();
}

void MainWindow::editToolbars()
{
    if (m_toolbardialog) {
        WindowPlacement::raise(m_toolbardialog);
        return;
    }
    m_toolbardialog = new QtToolBarDialog(this);
    m_toolbardialog->setAttribute(Qt::WA_DeleteOnClose);
    m_toolbardialog->setToolBarManager(m_toolbarmanager);
    connect(m_toolbardialog, &QtToolBarDialog::changed, this, [this] {
        QSettings().setValue(QStringLiteral("MainWindow/ToolBars"), m_toolbarmanager->saveState(0));
    });
    m_toolbardialog->show();
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

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (!m_bookmarks->canClose() || !m_sequencedock->documentActions()->canClose() || !m_answers->canClose()) {
        event->ignore();
        return;
    }
    m_sequencedock->stop();
    QSettings settings;
    settings.setValue(QStringLiteral("MainWindow/Geometry"), WindowPlacement::save(this));
    settings.setValue(QStringLiteral("MainWindow/State"), saveState(0));
    settings.setValue(QStringLiteral("MainWindow/ToolBars"), m_toolbarmanager->saveState(0));
    settings.setValue(QStringLiteral("MainWindow/TreeHeader"), m_view->header()->saveState());
    m_display->save();
    saveHistory();
    if (QWidget* editor = m_definitionsActions->editor())
        editor->close();
    event->accept();
}
