// SPDX-License-Identifier: MIT
#pragma once

#include "trace/channel.h"
#include "trace/stylecolor.h"
#include "widgets/documentflow.h"

#include <QList>
#include <QObject>
#include <QPointer>

class LogWriter;
class QAction;
class QProgressDialog;
class QWidget;
class Replayer;
class TraceModel;

// The trace to and from files: logging to a CSV file and stopping it,
// replaying a log or a hex dump with a progress dialog that can cancel, and
// exporting the trace as pcapng. The dialogs start in the folder of the
// last log. What the user should see leaves through message().
class TraceLogging : public QObject
{
    Q_OBJECT

public:
    // Neither is owned; `window` parents the dialogs. The model must
    // outlive this.
    TraceLogging(TraceModel* model, QWidget* window);

    // Hex-dump byte lines go to the channel their source names, else to
    // the target. Not owned.
    void setChannels(Channel* first, Channel* second);
    void setTarget(Channel* target) { m_target = target; }

    LogWriter* writer() const { return m_writer; }
    Replayer* replayer() const { return m_replayer; }
    bool isLogging() const;
    // In menu order: log, stop, replay log, replay hex dump, export.
    QList<QAction*> actions() const;
    QAction* startAction() const { return m_act_log_start; }
    QAction* stopAction() const { return m_act_log_stop; }
    QAction* replayAction() const { return m_act_log_play; }
    QAction* replayHexAction() const { return m_act_log_play_hex; }
    QAction* exportAction() const { return m_act_export_pcapng; }

public Q_SLOTS:
    // The steps without their file dialogs. A replay runs on from the
    // event loop; replayer() tells when it is done.
    bool startLog(const QString& path);
    void stopLog();
    bool replayLog(const QString& path);
    bool replayHexDump(const QString& path);
    bool exportPcapng(const QString& path);

Q_SIGNALS:
    void message(const QString& text, StyleColor color);
    // The file logged to; empty once logging stops.
    void loggingChanged(const QString& path);

private:
    void chooseLog();
    void chooseReplay(int mode);
    void chooseExport();
    bool startReplay(const QString& path, int mode);
    void onReplayProgress(qint64 done, qint64 total);
    void onReplayFinished();
    void setLogging(bool logging);

    TraceModel* m_model; // Not owned.
    QWidget* m_window;   // Not owned.
    LogWriter* m_writer;     // Owned (child).
    Replayer* m_replayer;    // Owned (child).
    DocumentFlow m_logFlow;
    DocumentFlow m_captureFlow;
    QPointer<Channel> m_first;
    QPointer<Channel> m_second;
    QPointer<Channel> m_target;
    QPointer<QProgressDialog> m_dialog;
    QAction* m_act_log_start; // Owned (children).
    QAction* m_act_log_stop;
    QAction* m_act_log_play;
    QAction* m_act_log_play_hex;
    QAction* m_act_export_pcapng;
};
