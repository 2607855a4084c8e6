// SPDX-License-Identifier: MIT
#include "trace/widgets/tracelogging.h"

#include "trace/channel.h"
#include "trace/logwriter.h"
#include "trace/replayer.h"
#include "trace/tracemodel.h"
#include "trace/tracepcapngexport.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QProgressDialog>
#include <QSaveFile>

namespace {

QAction* makeAction(QObject* parent, const char* name, const QString& text, const char* icon)
{
    auto* action = new QAction(text, parent);
    action->setObjectName(QLatin1String(name));
    if (icon)
        action->setIcon(QIcon(QStringLiteral(":/icons/") + QLatin1String(icon)));
    return action;
}

} // namespace

TraceLogging::TraceLogging(TraceModel* model, QWidget* window)
    : QObject(window),
      m_model(model),
      m_window(window),
      m_writer(new LogWriter(model, this)),
      m_replayer(new Replayer(model, this)),
      m_logFlow(QStringLiteral("MainWindow/LastLogPath"), tr("Log files") + QStringLiteral(" (*.csv)")),
      m_captureFlow(QStringLiteral("MainWindow/LastLogPath"), tr("Capture files") + QStringLiteral(" (*.pcapng)")),
      m_act_log_start(makeAction(this, "m_act_log_start", tr("Log to file..."), "i16_log.png")),
      m_act_log_stop(makeAction(this, "m_act_log_stop", tr("Stop logging"), "i16_log_stop.png")),
      m_act_log_play(makeAction(this, "m_act_log_play", tr("Replay log file..."), "i16_log_play.png")),
      m_act_log_play_hex(makeAction(this, "m_act_log_play_hex", tr("Replay hex dump..."), nullptr)),
      m_act_export_pcapng(makeAction(this, "m_act_export_pcapng", tr("Export trace as pcapng..."), nullptr))
{
    m_act_log_stop->setEnabled(false);
    connect(m_act_log_start, &QAction::triggered, this, &TraceLogging::chooseLog);
    connect(m_act_log_stop, &QAction::triggered, this, &TraceLogging::stopLog);
    connect(m_act_log_play, &QAction::triggered, this, [this] { chooseReplay(Replayer::LogFile); });
    connect(m_act_log_play_hex, &QAction::triggered, this, [this] { chooseReplay(Replayer::HexDump); });
    connect(m_act_export_pcapng, &QAction::triggered, this, &TraceLogging::chooseExport);

    // The writer speaks only when the log has stopped.
    connect(m_writer, &LogWriter::message, this, [this](const QString& text) {
        Q_EMIT message(text, ColorError);
        setLogging(false);
    });
    // Said while the old file is still the log, so that it records its end.
    connect(m_writer, &LogWriter::aboutToSwitch, this, [this](const QString& old) {
        Q_EMIT message(tr("Stopped logging to %1").arg(QDir::toNativeSeparators(old)), ColorText);
    });
    connect(m_replayer, &Replayer::message, this, &TraceLogging::message);
    connect(m_replayer, &Replayer::progress, this, &TraceLogging::onReplayProgress);
    connect(m_replayer, &Replayer::finished, this, &TraceLogging::onReplayFinished);
}

void TraceLogging::setChannels(Channel* first, Channel* second)
{
    m_first = first;
    m_second = second;
    if (!m_target)
        m_target = first;
}

bool TraceLogging::isLogging() const
{
    return m_writer->isOpen();
}

QList<QAction*> TraceLogging::actions() const
{
    return {m_act_log_start, m_act_log_stop, m_act_log_play, m_act_log_play_hex, m_act_export_pcapng};
}

void TraceLogging::setLogging(bool logging)
{
    m_act_log_start->setEnabled(!logging);
    m_act_log_stop->setEnabled(logging);
    Q_EMIT loggingChanged(logging ? m_writer->fileName() : QString());
}

void TraceLogging::chooseLog()
{
    const QString path = m_logFlow.saveFileName(m_window, tr("Log to file"), QString());
    if (!path.isEmpty())
        startLog(path);
}

bool TraceLogging::startLog(const QString& path)
{
    const bool same = m_writer->isOpen() &&
                      QFileInfo(m_writer->fileName()).absoluteFilePath() == QFileInfo(path).absoluteFilePath();
    if (same)
        return true;
    QString error;
    if (!m_writer->open(path, &error)) {
        Q_EMIT message(tr("Could not log to %1: %2").arg(QDir::toNativeSeparators(path), error), ColorError);
        return false;
    }
    m_logFlow.remember(path);
    Q_EMIT message(tr("Logging to %1").arg(QDir::toNativeSeparators(path)), ColorText);
    setLogging(true);
    return true;
}

void TraceLogging::stopLog()
{
    if (m_writer->isOpen()) {
        // Said while the file is open, so that the log records its own end.
        Q_EMIT message(tr("Stopped logging to %1").arg(QDir::toNativeSeparators(m_writer->fileName())), ColorText);
        m_writer->close();
    }
    setLogging(false);
}

void TraceLogging::chooseExport()
{
    const QString path = m_captureFlow.saveFileName(m_window, tr("Export trace as pcapng"), QString());
    if (!path.isEmpty())
        exportPcapng(path);
}

bool TraceLogging::exportPcapng(const QString& path)
{
    QSaveFile file(path);
    QString error;
    const int count = file.open(QIODevice::WriteOnly) ? TracePcapngExport::write(m_model, &file, &error) : -1;
    if (count < 0 || !file.commit()) {
        Q_EMIT message(error.isEmpty() ? file.errorString() : error, ColorError);
        return false;
    }
    Q_EMIT message(tr("Exported %1 packets to %2").arg(count).arg(QDir::toNativeSeparators(path)), ColorText);
    return true;
}

void TraceLogging::chooseReplay(int mode)
{
    const QString path = m_logFlow.openFileName(m_window, mode == Replayer::LogFile ? tr("Replay log")
                                                                                    : tr("Replay hex dump"));
    if (path.isEmpty())
        return;
    m_logFlow.remember(path);
    startReplay(path, mode);
}

bool TraceLogging::replayLog(const QString& path)
{
    return startReplay(path, Replayer::LogFile);
}

bool TraceLogging::replayHexDump(const QString& path)
{
    return startReplay(path, Replayer::HexDump);
}

bool TraceLogging::startReplay(const QString& path, int mode)
{
    m_replayer->setChannels(m_first, m_second, m_target);
    if (!m_replayer->start(path, Replayer::Mode(mode)))
        return false;
    m_act_log_play->setEnabled(false);
    m_act_log_play_hex->setEnabled(false);
    // Not modal: the trace stays live and usable while the file plays.
    m_dialog = new QProgressDialog(m_window);
    m_dialog->setObjectName(QStringLiteral("m_dlg_replay"));
    m_dialog->setWindowTitle(mode == Replayer::LogFile ? tr("Replay log") : tr("Replay hex dump"));
    m_dialog->setLabelText(tr("Replaying %1").arg(QDir::toNativeSeparators(path)));
    m_dialog->setAutoClose(false);
    m_dialog->setAutoReset(false);
    m_dialog->setMinimumDuration(300);
    m_dialog->setRange(0, 0);
    connect(m_dialog, &QProgressDialog::canceled, m_replayer, &Replayer::cancel);
    return true;
}

void TraceLogging::onReplayProgress(qint64 done, qint64 total)
{
    if (!m_dialog)
        return;
    if (total <= 0) {
        m_dialog->setRange(0, 0);
        return;
    }
    // Per mille: byte counts overflow an int.
    m_dialog->setRange(0, 1000);
    m_dialog->setValue(int(qMin<qint64>(1000, done * 1000 / total)));
    m_dialog->setLabelText(m_replayer->mode() == Replayer::LogFile ? tr("%1 of %2 lines").arg(done).arg(total)
                                                                   : tr("%1 of %2 bytes").arg(done).arg(total));
}

void TraceLogging::onReplayFinished()
{
    delete m_dialog.data();
    m_act_log_play->setEnabled(true);
    m_act_log_play_hex->setEnabled(true);
}
