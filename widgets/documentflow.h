// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class QWidget;

// The file dialogs of one kind of file: they start in the folder of the
// last such file (kept in the settings under a key of its own) and offer
// its type before all files. DocumentActions builds a document's flow on
// it; files that are no document (logs, exports) use it alone.
class DocumentFlow
{
public:
    enum Answer { Save, Discard, Cancel };

    // `filter` names the file type, e.g. "Answer rules (*.qrvans)"; the
    // all-files filter follows it.
    DocumentFlow(const QString& settingsKey, const QString& filter);

    // The file to open or to save to, empty when cancelled.
    QString openFileName(QWidget* parent, const QString& title) const;
    QString saveFileName(QWidget* parent, const QString& title, const QString& current) const;
    // The next dialog starts here.
    void remember(const QString& path) const;
    QString lastPath() const;

    // Save, Discard or Cancel, Cancel being the default.
    static Answer askToSave(QWidget* parent, const QString& title, const QString& question);

    // Where the dialogs start before the user chose a file: ~/Documents.
    static QString documentsPath();
    // "All Files (*)", the last filter of every file dialog.
    static QString allFilesFilter();

private:
    QString startPath(const QString& current) const;

    QString m_key;
    QString m_filter;
};
