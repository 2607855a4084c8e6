// SPDX-License-Identifier: MIT
#pragma once

// Writes sequences as a sequence file (.qrvseq), the form SequenceParser
// reads.

#include "automation/sequence.h"

#include <QByteArray>
#include <QString>
#include <QVector>

class SequenceWriter
{
public:
    QByteArray encode(const QVector<Sequence>& sequences) const;
    // Through ".tmp", fsync and ".bak": a crash leaves the old or the new
    // file whole.
    bool save(const QVector<Sequence>& sequences, const QString& path);
    QString errorString() const { return m_error; }

private:
    QString m_error;
};
