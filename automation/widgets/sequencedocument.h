// SPDX-License-Identifier: MIT
#pragma once

#include "automation/sequence.h"
#include "widgets/document.h"

#include <QVector>

// The sequences of a sequence file as a document. Whoever edits them
// through sequences() says so with setModified().
class SequenceDocument : public Document
{
    Q_OBJECT

public:
    explicit SequenceDocument(QObject* parent = nullptr);

    const QVector<Sequence>& sequences() const { return m_sequences; }
    QVector<Sequence>& sequences() { return m_sequences; }
    // Replaced as a whole, between aboutToReplace() and replaced().
    void setSequences(const QVector<Sequence>& sequences);
    void setModified(bool on = true);

    bool load(const QString& path) override;
    bool save(const QString& path, QString* error) override;
    bool isModified() const override { return m_modified; }
    QString fileFilter() const override;
    QString lastPathKey() const override;

Q_SIGNALS:
    void aboutToReplace();
    void replaced();

private:
    QVector<Sequence> m_sequences;
    bool m_modified = false;
};
