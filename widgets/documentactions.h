// SPDX-License-Identifier: MIT
#pragma once

#include "widgets/documentflow.h"

#include <QObject>
#include <QString>

class Document;
class QAction;
class QWidget;

// Gives a document its Open, Save and Save As actions and the one flow
// behind them: the dialogs start in the folder of the last such file, Save
// is enabled while there is something to save, unsaved changes are asked
// about before they are lost, and every outcome is said through message()
// (the document's own reports included).
class DocumentActions : public QObject
{
    Q_OBJECT

public:
    struct Texts
    {
        QString open;     // the Open action, and its dialog's title unless openTitle
        QString save;     // the Save action, and the save dialog's title unless saveTitle
        QString saveAs;   // the Save As action
        QString question; // "There are unsaved ... What do you want to do?"
        QString caption;  // the question's title; the window's when empty
        QString openTitle = QString();
        QString saveTitle = QString();
    };

    // Neither is owned; `window` parents the dialogs.
    DocumentActions(Document* document, QWidget* window, const Texts& texts);

    Document* document() const { return m_document; }
    // Children of this; the owner adds icons, shortcuts and object names.
    QAction* openAction() const { return m_act_open; }
    QAction* saveAction() const { return m_act_save; }
    QAction* saveAsAction() const { return m_act_save_as; }

    // The document reads `path` and reports; the dialogs are left alone.
    bool load(const QString& path);
    // Saves to `path` and says so, or why not.
    bool saveTo(const QString& path);
    // True when nothing unsaved is lost: the document has no changes, or
    // the user saved them or let them go. False when the user cancels.
    bool canClose();

public Q_SLOTS:
    // After canClose(), the open dialog, then load().
    void open();
    // To the document's file; without one, as saveAs().
    bool save();
    bool saveAs();

Q_SIGNALS:
    void message(const QString& text, bool error);

private:
    Document* m_document; // Not owned.
    QWidget* m_window;    // Not owned.
    Texts m_texts;
    DocumentFlow m_openFlow;
    DocumentFlow m_saveFlow;
    QAction* m_act_open;    // Owned (children).
    QAction* m_act_save;
    QAction* m_act_save_as;
};
