// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylecolor.h"

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class Channel;
class QTimer;
class TraceModel;

// Replays a CSV log (lines decoded afresh with the current tag tables) or a
// hex dump (raw byte lines fed through a channel again) into the trace. The
// file is read as a stream, in slices of at most SliceMilliseconds per
// event-loop turn, so that the window stays live at any file size. The
// replay is one block of the trace: live lines that come meanwhile follow
// it. Replayed lines are marked with their file and line, and reach
// nothing but the trace and the log.
class Replayer : public QObject
{
    Q_OBJECT

public:
    enum Mode { LogFile, HexDump };

    static constexpr int SliceMilliseconds = 20;
    // A longer record is skipped, never held whole.
    static constexpr qint64 LineLimit = 1048576;
    // How often a replay gives freed memory back to the system.
    static constexpr qint64 TrimLines = 250000;
    // Bad records reported one by one; the rest only counted.
    static constexpr int ReportLimit = 100;

    // The model must outlive the replayer.
    explicit Replayer(TraceModel* model, QObject* parent = nullptr);
    ~Replayer() override;

    // Hex-dump byte lines go to the channel their source names ("1 Raw"),
    // else to `fallback`. Not owned.
    void setChannels(Channel* first, Channel* second, Channel* fallback);

    // False, with message(), when the file cannot be opened or a replay
    // runs already.
    bool start(const QString& path, Mode mode);
    bool isRunning() const { return m_file.isOpen(); }
    Mode mode() const { return m_mode; }

    // Lines for a log (the total known once they are counted, 0 before),
    // bytes for a hex dump.
    qint64 done() const;
    qint64 total() const;
    qint64 badRecords() const { return m_bad; }

public Q_SLOTS:
    void cancel();

Q_SIGNALS:
    void progress(qint64 done, qint64 total);
    void finished(bool completed);
    void message(const QString& text, StyleColor color);

private:
    void runSlice();
    bool countSlice(const QElapsedTimer& clock);
    enum Read { Line, TooLong, Wait, End };
    Read readRecord(QByteArray* record, const QElapsedTimer& clock);
    struct Record
    {
        QStringList fields; // at least three
        QDateTime time;
        StyleColor color = ColorNone;
    };
    QDateTime recordTime(const QString& field);
    // False for an empty line and for a bad record, which is reported.
    bool splitRecord(const QString& text, Record* out);
    void replayLogRecord(const QString& text);
    void replayHexRecord(const QString& text);
    void setOrigin(qint64 line);
    void reportBad(const QString& reason);
    void finish(bool completed);
    Channel* channelOf(const QString& source) const;

    // Lines appended while it lives belong to the replay's block.
    class Turn
    {
    public:
        explicit Turn(TraceModel* model);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        QPointer<TraceModel> m_model;
        bool m_was;
    };

    QPointer<TraceModel> m_model; // Not owned.
    QPointer<Channel> m_first;
    QPointer<Channel> m_second;
    QPointer<Channel> m_fallback;
    QTimer* m_slice; // Owned (child).
    QFile m_file;
    Mode m_mode = LogFile;
    bool m_counting = false;
    bool m_skipping = false; // in the middle of an over-long line
    qint64 m_lines = 0;      // lines replayed or skipped so far
    qint64 m_linesAtTrim = 0;
    qint64 m_lineTotal = 0;  // lines in the file, once counted
    qint64 m_counted = 0;    // lines counted so far
    qint64 m_bad = 0;
    qint64 m_lineNumber = 0; // physical line, for the reports
    QString m_timeSecond;    // the last record's time to the second
    qint64 m_timeSecondMs = 0;
    bool m_timeSecondValid = false;
};
