// SPDX-License-Identifier: MIT
#include "trace/logwriter.h"

#include "trace/tracemodel.h"

#include "files/savefile.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

LogWriter::LogWriter(TraceModel* model, QObject* parent)
    : QObject(parent), m_model(model), m_flushTimer(new QTimer(this))
{
    m_flushTimer->setInterval(FlushMilliseconds);
    m_flushTimer->setSingleShot(true);
    connect(m_flushTimer, &QTimer::timeout, this, &LogWriter::flush);
    connect(m_model, &TraceModel::appended, this, &LogWriter::write);
}

LogWriter::~LogWriter() = default;

QString LogWriter::fileName() const
{
    return m_file ? m_file->fileName() : QString();
}

bool LogWriter::open(const QString& path, QString* error)
{
    if (m_file &&
        QFileInfo(m_file->fileName()).absoluteFilePath() == QFileInfo(path).absoluteFilePath())
        return true;
    // Unbuffered: the writer keeps its own buffer, and a failed write then
    // names its error ("File too large"), which a buffered file forgets.
    // Truncated rather than removed first: a file that cannot be opened is
    // left as it was.
    constexpr QIODevice::OpenMode mode = QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered;
    auto file = std::make_unique<QFile>(path);
    bool opened = file->open(mode);
    // A file that may not be written to may still be replaced.
    if (!opened && QFileInfo(path).isFile() && !QFileInfo(path).isWritable() && QFile::remove(path))
        opened = file->open(mode);
    if (!opened) {
        if (error)
            *error = file->errorString();
        return false;
    }
    if (m_file)
        Q_EMIT aboutToSwitch(m_file->fileName());
    close();
    m_file = std::move(file);
    return true;
}

void LogWriter::close()
{
    m_flushTimer->stop();
    if (m_file) {
        SaveFile::writeAll(m_file.get(), m_pending);
        m_file->close();
        m_file.reset();
    }
    m_pending.clear();
}

void LogWriter::write(const QModelIndex& index)
{
    if (!m_file)
        return;
    m_pending += m_model->data(index, TraceModel::LogRole).toString().toUtf8();
    if (m_pending.size() >= BufferSize) {
        flush();
        return;
    }
    // Not restarted by each line: steady traffic is flushed every second too.
    if (!m_flushTimer->isActive())
        m_flushTimer->start();
}

void LogWriter::flush()
{
    m_flushTimer->stop();
    if (!m_file || m_pending.isEmpty())
        return;
    if (!SaveFile::writeAll(m_file.get(), m_pending)) {
        // A full disk fails every write after: one message, and the log ends.
        const QString error = m_file->errorString();
        m_pending.clear();
        close();
        Q_EMIT message(tr("Log stopped: %1").arg(error));
        return;
    }
    m_pending.clear();
}
