// SPDX-License-Identifier: MIT
#include "trace/logwriter.h"

#include "trace/tracemodel.h"

#include <QDir>
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
    // Truncated rather than removed first: a file that cannot be opened is
    // left as it was.
    constexpr QIODevice::OpenMode mode = QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text;
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
    m_failing = false;
    return true;
}

void LogWriter::close()
{
    m_flushTimer->stop();
    if (m_file) {
        m_file->close();
        m_file.reset();
    }
}

void LogWriter::write(const QModelIndex& index)
{
    if (!m_file)
        return;
    const QByteArray record = m_model->data(index, TraceModel::LogRole).toString().toUtf8();
    if (m_file->write(record) != record.size()) {
        if (!m_failing)
            Q_EMIT message(
                tr("Could not write to %1: %2")
                    .arg(QDir::toNativeSeparators(m_file->fileName()), m_file->errorString()));
        m_failing = true;
        return;
    }
    m_failing = false;
    m_flushTimer->start();
}

void LogWriter::flush()
{
    if (m_file)
        m_file->flush();
}
