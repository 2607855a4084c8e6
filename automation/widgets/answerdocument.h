// SPDX-License-Identifier: MIT
#pragma once

#include "automation/answerrule.h"
#include "widgets/document.h"

#include <QVector>

class AutoAnswer;

// The automatic answers' rules as a document: read from and saved to an
// answer file, and modified once the user edits them.
class AnswerDocument : public Document
{
    Q_OBJECT

public:
    // Not owned; the rules that load and save.
    explicit AnswerDocument(AutoAnswer* answers, QObject* parent = nullptr);

    // Rules edited by the user: the document has unsaved changes.
    void setRules(const QVector<AnswerRule>& rules);

    bool load(const QString& path) override;
    bool save(const QString& path, QString* error) override;
    bool isModified() const override { return m_modified; }
    QString fileFilter() const override;
    QString lastPathKey() const override;

private:
    void setModified(bool on);

    AutoAnswer* m_answers; // Not owned.
    bool m_modified = false;
};
