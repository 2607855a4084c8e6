// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylesettings.h"
#include "trace/traceoptions.h"

#include <QByteArray>
#include <QList>
#include <QMainWindow>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QString>

#include <memory>

class AnswerDocument;
class AutoAnswer;
class BookmarkEditor;
class BookmarkList;
class BookmarkWidget;
class Channel;
class ChannelActions;
class DisplayOptions;
class EntryLine;
class QAction;
class QDockWidget;
class QFile;
class FilterBar;
class FindBar;
class LogWriter;
class PlotDock;
class Preferences;
class QLabel;
class QProgressDialog;
class Replayer;
class SequenceDock;
class QMenu;
class QModelIndex;
class QPersistentModelIndex;
class QTimer;
class QToolBar;
class QTreeView;
class QtToolBarDialog;
class QtToolBarManager;
class StyleDialog;
class TraceDelegate;
class TraceFilter;
class TraceModel;
class TraceUndo;

namespace QRV16 {
class Item;
class TagDataLut;
} // namespace QRV16

// The program's window: the trace of two channels, the entry line with its
// send buttons, the bookmark panel, menus and the connection toolbar. Every
// status text reaches the user as a trace line through message().
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // "-d FILE", "--definitions FILE", "-b FILE", "--bookmarks FILE",
    // "-a FILE", "--answers FILE", "-s FILE", "--sequences FILE"; the last
    // occurrence wins, an option without a value is ignored, anything else
    // is skipped. Argument 0 is not part of `args`.
    static void parseArguments(const QStringList& args, QString* definitions, QString* bookmarks,
                               QString* answers = nullptr, QString* sequences = nullptr);

    TraceModel* traceModel() const { return m_model; }
    DisplayOptions* displayOptions() const { return m_display; }
    Channel* channel(int number) const;
    Channel* targetChannel() const { return m_target; }
    BookmarkList* bookmarks() const { return m_bookmarks; }
    const QRV16::Item* definitions() const { return m_root.get(); }
    const QRV16::TagDataLut* tags() const { return m_tags.get(); }
    QString definitionsPath() const { return m_definitionspath; }
    QString bookmarksPath() const { return m_bookmarkspath; }
    bool isLogging() const;
    bool isFollowing() const { return m_following; }
    Replayer* replayer() const { return m_replayer; }
    AutoAnswer* autoAnswer() const { return m_autoanswer; }
    QString answersPath() const;
    SequenceDock* sequenceDock() const { return m_sequencedock; }
    // Null until a tag is plotted.
    PlotDock* plotDock() const { return m_plotdock; }
    // The trace's context menu for a line of the view ("Plot TAG" on an
    // element that can be plotted); the caller owns it.
    QMenu* createTraceMenu(const QModelIndex& index);

    void message(const QString& text, StyleColor color, const QString& source);
    void message(const QString& text, StyleColor color);
    void message(const QString& text, const QString& source);
    void message(const QString& text);

public Q_SLOTS:
    void initialize();
    void selectTarget(int channel);
    // Return in the entry line or one of its send buttons.
    void onSendRequested(const QString& text, int channel);
    // Auto scroll: a batch of new lines scrolls the view to the bottom while
    // it follows them.
    void onTraceInserted(const QModelIndex& parent);
    void watchTraceSelection();
    // A line of the view as a line of the trace model.
    QModelIndex traceIndex(const QModelIndex& viewIndex) const;
    // The view shows the filter or, with nothing filtered, the trace itself.
    void showFiltered(bool filtered);
    void collectExpanded(const QModelIndex& parent, QList<QPersistentModelIndex>* out) const;
    void onTraceScrolled(int value);
    void onExpandAll();
    void onCollapseAll();
    void onStyle();
    void updateStyle();
    void onApplyStyle(const StyleSettings& style);
    void onEditToolbars();
    void onToolbarsChanged();
    void onEditBookmarks();
    void onShowBookmarks();
    void setBookmarks(BookmarkList* list);
    void onBookmarkActivated(QAction* action);
    void onDeleteLine();
    // The selected lines as text, for pasting into a report or a mail.
    void onCopy();
    void onAddSeparator();
    void onClearAll();
    void onLogStart();
    void onLogStop();
    void onLogFlush();
    void onLogPlay();
    void onLogPlayHex();
    void onExportPcapng();
    // Opens the plot dock with the tag added.
    void plotTag(int tag);
    void saveHistory();
    bool saveBookmarks(const QString& path);
    bool onSaveBookmarks();
    bool onSaveBookmarksAs();
    bool canDiscard();
    bool loadBookmarks(const QString& path);
    void onOpenBookmarks();
    bool loadDefinitionFile(const QString& path);
    void onOpenDefinitions();
    void onEditDefinitions();
    void onDefinitionsEdited(QRV16::Item* root, const QString& path);
    void setTags(QRV16::Item* root);
    void about();
    bool loadAnswers(const QString& path);
    bool saveAnswers(const QString& path);
    void onOpenAnswers();
    bool onSaveAnswersAs();
    void onEditAnswers();

    // The log and replay steps without their file dialogs. A replay runs
    // on from the event loop; replayer() tells when it is done.
    bool startLog(const QString& path);
    bool replayLog(const QString& path);
    bool replayHexDump(const QString& path);
    void onReplayProgress(qint64 done, qint64 total);
    void onReplayFinished();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setupUi();
    QAction* createAction(const char* objectName, const QString& text, const QString& toolTip,
                          const QString& icon, const QKeySequence& shortcut = QKeySequence());
    void setupMenus();
    // The find and filter bars under the trace, their actions and settings.
    void setupSearch();
    void setupToolBarManager();
    void connectActions();
    void setLogActions(bool logging);
    // The banner and the view; the model, the channels and the plot take
    // the options themselves.
    void showOptions(const TraceOptions& options);
    QAction* toggle(TraceOptions::Flag flag) const;
    QString logDialogPath() const;
    void rememberPath(const char* key, const QString& path);
    bool startReplay(const QString& path, int mode);

    // Form; owned by the window through Qt's parent chain.
    QWidget* m_central_widget = nullptr;
    QTreeView* m_tv_trace = nullptr;
    EntryLine* m_entry = nullptr;
    QMenu* m_mnu_file = nullptr;
    QMenu* m_mnu_trace = nullptr;
    QMenu* m_mnu_bookmarks = nullptr;
    QMenu* m_mnu_connection = nullptr;
    QMenu* m_mnu_help = nullptr;
    QMenu* m_mnu_answers = nullptr;
    QMenu* m_mnu_sequences = nullptr;
    QToolBar* m_tb_connections = nullptr;
    QToolBar* m_tb_bookmarks = nullptr;
    QLabel* m_lbl_corner = nullptr;
    QDockWidget* m_dock_bookmarks = nullptr;
    BookmarkWidget* m_bookmarkwidget = nullptr;
    SequenceDock* m_sequencedock = nullptr;
    FindBar* m_findbar = nullptr;
    FilterBar* m_filterbar = nullptr;
    PlotDock* m_plotdock = nullptr; // Owned (child); made on first use.

    QAction* m_act_open_definitions = nullptr;
    QAction* m_act_edit_definitions = nullptr;
    QAction* m_act_close = nullptr;
    QAction* m_act_expand_all = nullptr;
    QAction* m_act_collapse_all = nullptr;
    QAction* m_act_style = nullptr;
    QAction* m_act_edit_toolbars = nullptr;
    QAction* m_act_edit_bookmarks = nullptr;
    QAction* m_act_open_bookmarks = nullptr;
    QAction* m_act_save_bookmarks = nullptr;
    QAction* m_act_save_bookmarks_as = nullptr;
    QAction* m_act_add_separator = nullptr;
    QAction* m_act_delete_line = nullptr;
    QAction* m_act_clear_all = nullptr;
    QAction* m_act_log_start = nullptr;
    QAction* m_act_log_stop = nullptr;
    QAction* m_act_log_play = nullptr;
    QAction* m_act_log_play_hex = nullptr;
    QAction* m_act_export_pcapng = nullptr;
    QAction* m_act_about = nullptr;
    QAction* m_act_copy = nullptr;
    QAction* m_act_show_bookmarks = nullptr;
    QAction* m_act_find = nullptr;
    QAction* m_act_find_next = nullptr;
    QAction* m_act_find_previous = nullptr;
    QAction* m_act_filter = nullptr;
    QAction* m_act_open_answers = nullptr;
    QAction* m_act_save_answers = nullptr;
    QAction* m_act_save_answers_as = nullptr;
    QAction* m_act_edit_answers = nullptr;
    QAction* m_act_answers_on = nullptr;
    QAction* m_act_open_sequences = nullptr;
    QAction* m_act_save_sequences = nullptr;
    QAction* m_act_save_sequences_as = nullptr;

    QString m_definitionspath;
    QString m_bookmarkspath;
    QString m_answerspath;
    QString m_sequencespath; // from the command line, loaded in initialize()
    AutoAnswer* m_autoanswer = nullptr; // Owned (child).
    AnswerDocument* m_answers = nullptr; // Owned (child of m_autoanswer).
    DisplayOptions* m_display = nullptr; // Owned (child).
    Preferences* m_preferences = nullptr; // Owned (child).
    TraceUndo* m_undo = nullptr;         // Owned (child).
    TraceModel* m_model = nullptr;       // Owned (child).
    // Owned (child); the view shows it only while a filter is set, since
    // a proxy costs every batch of lines a second pass over all rows.
    TraceFilter* m_filter = nullptr;
    TraceDelegate* m_delegate = nullptr; // Owned (child).
    Channel* m_channel1 = nullptr;       // Owned (child).
    Channel* m_channel2 = nullptr;       // Owned (child).
    ChannelActions* m_channelActions1 = nullptr; // Owned (child).
    ChannelActions* m_channelActions2 = nullptr; // Owned (child).
    Channel* m_target = nullptr;         // One of the two; never null.
    BookmarkList* m_bookmarks = nullptr; // Owned (child).
    std::unique_ptr<QRV16::Item> m_root;
    std::unique_ptr<QRV16::TagDataLut> m_tags;
    StyleSettings m_style;
    QtToolBarManager* m_toolbarmanager = nullptr; // Owned (child).
    QPointer<QtToolBarDialog> m_toolbardialog;
    QPointer<BookmarkEditor> m_bookmarkeditor;
    QPointer<StyleDialog> m_styledialog;
    QPointer<QWidget> m_editor;
    LogWriter* m_logwriter = nullptr; // Owned (child).
    Replayer* m_replayer = nullptr;   // Owned (child).
    QPointer<QProgressDialog> m_replaydialog;
    // The line at the top of the view when the filter last changed.
    QPersistentModelIndex m_filterTop;
    bool m_hidedup = false; // as last shown in the banner
    // Like a terminal: the view follows new lines until the user scrolls up,
    // clicks or selects, and again once back at the bottom.
    bool m_following = true;
};
