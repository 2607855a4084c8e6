// SPDX-License-Identifier: MIT
#pragma once

#include "automation/answerrule.h"
#include "widgets/documentflow.h"

#include <QObject>
#include <QString>
#include <QVector>

class AutoAnswer;
class QWidget;

// The automatic answers' rules as a document: opened, edited, saved and
// asked about before unsaved changes are lost, like bookmarks and
// sequences. What the user should see leaves through message().
class AnswerDocument : public QObject
{
    Q_OBJECT

public:
    // Neither is owned; the window parents the dialogs.
    AnswerDocument(AutoAnswer* answers, QWidget* window);

    bool load(const QString& path);
    bool save(const QString& path);
    QString path() const { return m_path; }
    bool isModified() const { return m_modified; }
    // Rules edited by the user: the document has unsaved changes.
    void setRules(const QVector<AnswerRule>& rules);
    // Asks to save unsaved changes; false when the user cancels.
    bool canClose();

public Q_SLOTS:
    void onOpen();
    bool onSave();
    bool onSaveAs();

Q_SIGNALS:
    void message(const QString& text, bool error);
    void modifiedChanged(bool modified);

private:
    void setModified(bool on);

    AutoAnswer* m_answers; // Not owned.
    QWidget* m_window;     // Not owned.
    DocumentFlow m_flow;
    QString m_path;
    bool m_modified = false;
};
