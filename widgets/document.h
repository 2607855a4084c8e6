// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

// A file the user edits, as DocumentActions sees it: what it reads and
// writes, whether it has unsaved changes, which files it takes and where
// the last of them was. load() says what it read (or why not) through
// message(); save() leaves the report of its outcome to the caller.
class Document : public QObject
{
    Q_OBJECT

public:
    explicit Document(QObject* parent = nullptr);

    // Reads the file; the document is that file afterwards. False when it
    // cannot be read, said through message(), and the document unchanged.
    virtual bool load(const QString& path) = 0;
    // Writes the document through a ".tmp" file, keeping a ".bak"; the
    // document is that file afterwards. False with the reason in `error`,
    // and then nothing changed.
    virtual bool save(const QString& path, QString* error) = 0;
    virtual bool isModified() const = 0;
    // The file type of the dialogs, e.g. "Bookmarks (*.qrvbm)".
    virtual QString fileFilter() const = 0;
    // The settings key of the last file opened; the next dialogs start there.
    virtual QString lastPathKey() const = 0;
    // Of the last file saved under a new name; the same key by default.
    virtual QString saveAsPathKey() const { return lastPathKey(); }

    // Empty until the document is loaded or saved.
    QString path() const { return m_path; }

Q_SIGNALS:
    void modifiedChanged(bool modified);
    void pathChanged(const QString& path);
    void message(const QString& text, bool error);

protected:
    void setPath(const QString& path);

private:
    QString m_path;
};
