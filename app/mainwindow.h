// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylecolor.h"
#include "trace/traceoptions.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>

#include <functional>

class AnswerActions;
class AutoAnswer;
class BookmarkActions;
class BookmarkList;
class Channel;
class ChannelActions;
class Definitions;
class DefinitionsActions;
class DisplayOptions;
class EntryLine;
class LinkStatusBar;
class PlotDock;
class Preferences;
class QAction;
class QLabel;
class QMenu;
class QToolBar;
class QtToolBarDialog;
class QtToolBarManager;
class Replayer;
class SequenceDock;
class StyleActions;
class TraceLogging;
class TraceModel;
class TraceSearch;
class TraceView;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The program's window, a frame: it makes the features (the trace view
// with find and filter, the entry line, the channels with their actions,
// the display toggles, logging and replay, the definitions, bookmarks,
// answers, sequences and the plot), wires them together, and places the
// docks, toolbars and menus they hand it. Every status text reaches the
// user as a trace line through message().
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
    TraceView* traceView() const { return m_view; }
    TraceSearch* traceSearch() const { return m_search; }
    TraceLogging* logging() const { return m_logging; }
    Replayer* replayer() const;
    DisplayOptions* displayOptions() const { return m_display; }
    EntryLine* entryLine() const { return m_entry; }
    LinkStatusBar* linkStatus() const { return m_status; }
    Channel* channel(int number) const;
    Channel* targetChannel() const { return m_target; }
    Definitions* definitions() const { return m_definitions; }
    DefinitionsActions* definitionsActions() const { return m_definitionsActions; }
    const QRV16::TagDataLut* tags() const;
    BookmarkActions* bookmarkActions() const { return m_bookmarks; }
    BookmarkList* bookmarks() const;
    AutoAnswer* autoAnswer() const { return m_autoanswer; }
    AnswerActions* answerActions() const { return m_answers; }
    SequenceDock* sequenceDock() const { return m_sequencedock; }
    // Null until a tag is plotted.
    PlotDock* plotDock() const { return m_plotdock; }

    void message(const QString& text, StyleColor color, const QString& source);
    void message(const QString& text, StyleColor color);
    void message(const QString& text, const QString& source);
    void message(const QString& text);

public Q_SLOTS:
    void initialize();
    void selectTarget(int channel);
    bool loadDefinitionFile(const QString& path);
    bool loadBookmarks(const QString& path);
    bool loadAnswers(const QString& path);
    bool replayLog(const QString& path);
    // Opens the plot dock with the tag added.
    void plotTag(int tag);
    void about();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void makeFeatures();
    void wireFeatures();
    void placeFeatures();
    void registerToolBarActions();
    void restoreSettings();
    // Reports of a feature as trace lines of `source`, errors in red.
    std::function<void(const QString&, bool)> reportAs(const char* source);
    void send(const QString& text, int channel);
    void saveHistory();
    void showOptions(const TraceOptions& options);
    QAction* toggle(TraceOptions::Flag flag) const;
    void updateStyle();
    void editToolbars();

    // Owned, children of the window.
    Definitions* m_definitions = nullptr;
    DefinitionsActions* m_definitionsActions = nullptr;
    TraceModel* m_model = nullptr;
    TraceView* m_view = nullptr;
    TraceSearch* m_search = nullptr;
    TraceLogging* m_logging = nullptr;
    DisplayOptions* m_display = nullptr;
    Preferences* m_preferences = nullptr;
    Channel* m_channel1 = nullptr;
    Channel* m_channel2 = nullptr;
    ChannelActions* m_channelActions1 = nullptr;
    ChannelActions* m_channelActions2 = nullptr;
    EntryLine* m_entry = nullptr;
    BookmarkActions* m_bookmarks = nullptr;
    AutoAnswer* m_autoanswer = nullptr;
    AnswerActions* m_answers = nullptr;
    SequenceDock* m_sequencedock = nullptr;
    StyleActions* m_style = nullptr;
    LinkStatusBar* m_status = nullptr;
    PlotDock* m_plotdock = nullptr; // made on first use
    QtToolBarManager* m_toolbarmanager = nullptr;
    QToolBar* m_tb_connections = nullptr;
    QMenu* m_mnu_trace = nullptr;
    QLabel* m_lbl_corner = nullptr;
    QAction* m_act_close = nullptr;
    QAction* m_act_edit_toolbars = nullptr;
    QAction* m_act_about = nullptr;

    Channel* m_target = nullptr; // One of the two; never null.
    QPointer<QtToolBarDialog> m_toolbardialog;
    QString m_answerspath;   // from the command line, loaded in initialize()
    QString m_sequencespath;
    bool m_hidedup = false;  // as last shown in the banner
};
