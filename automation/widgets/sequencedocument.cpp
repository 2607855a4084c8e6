// SPDX-License-Identifier: MIT
#include "automation/widgets/sequencedocument.h"

#include "automation/sequenceparser.h"
#include "automation/sequencewriter.h"

#include <QDir>

SequenceDocument::SequenceDocument(QObject* parent) : Document(parent)
{
}

void SequenceDocument::setSequences(const QVector<Sequence>& sequences)
{
    Q_EMIT aboutToReplace();
    m_sequences = sequences;
    Q_EMIT replaced();
}

void SequenceDocument::setModified(bool on)
{
    if (on == m_modified)
        return;
    m_modified = on;
    Q_EMIT modifiedChanged(on);
}

bool SequenceDocument::load(const QString& path)
{
    SequenceParser parser;
    if (!parser.parse(path)) {
        Q_EMIT message(parser.formatError(), true);
        return false;
    }
    if (!parser.warnings().isEmpty())
        Q_EMIT message(parser.warnings().trimmed(), false);
    Q_EMIT aboutToReplace();
    m_sequences = parser.sequences();
    setPath(path);
    setModified(false);
    Q_EMIT message(tr("Loaded %n sequence(s) from %1", nullptr, int(m_sequences.size()))
                       .arg(QDir::toNativeSeparators(path)),
                   false);
    Q_EMIT replaced();
    return true;
}

bool SequenceDocument::save(const QString& path, QString* error)
{
    SequenceWriter writer;
    if (!writer.save(m_sequences, path)) {
        *error = writer.errorString();
        return false;
    }
    setPath(path);
    setModified(false);
    return true;
}

QString SequenceDocument::fileFilter() const
{
    return tr("Sequences") + QStringLiteral(" (*.qrvseq)");
}

QString SequenceDocument::lastPathKey() const
{
    return QStringLiteral("MainWindow/LastSequencesPath");
}
