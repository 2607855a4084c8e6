// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>

class QFile;
class QModelIndex;
class QTimer;
class TraceModel;

// Writes every line the trace model reports to a CSV log file as it
// arrives, in order, and flushes at most a second after a line instead of
// per line. A write that fails (a full disk) ends the log.
class LogWriter : public QObject
{
    Q_OBJECT

public:
    static constexpr int FlushMilliseconds = 1000;

    // Listens to the model's appended(); the model must outlive the writer.
    explicit LogWriter(TraceModel* model, QObject* parent = nullptr);
    ~LogWriter() override;

    // Replaces any file of that name; the open log itself is kept as it is.
    // False with the file's error text in `error`, and then nothing has
    // changed: a log that was running goes on.
    bool open(const QString& path, QString* error = nullptr);
    void close();
    bool isOpen() const { return m_file != nullptr; }
    QString fileName() const;

public Q_SLOTS:
    void write(const QModelIndex& index);
    void flush();

Q_SIGNALS:
    // A write that failed: "Log stopped: ERROR", said once, and the log is
    // closed when it comes.
    void message(const QString& text);
    // Another file is open and takes over after this: what is logged now
    // still goes to the old one.
    void aboutToSwitch(const QString& oldFileName);

private:
    static constexpr int BufferSize = 65536;

    TraceModel* m_model; // Not owned.
    std::unique_ptr<QFile> m_file;
    QByteArray m_pending; // written at the flush
    QTimer* m_flushTimer; // Owned (child).
};
