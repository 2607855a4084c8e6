// SPDX-License-Identifier: MIT
#pragma once

#include "widgets/document.h"

class FileChangedWidget;
class QUndoStack;

namespace QRV16 {

class EditorModel;
class Item;

// The definitions editor's file as a document: the tree in the editor
// model, unsaved while the undo stack is not clean, and watched for
// changes from outside, which its own writes never trip.
class EditorDocument : public Document
{
    Q_OBJECT

public:
    // None is owned.
    EditorDocument(EditorModel* model, QUndoStack* undo, FileChangedWidget* watch, QObject* parent = nullptr);

    // The tree of a file, owned by the caller; null, said through
    // message(), when it cannot be read. Warnings go to warnings().
    Item* read(const QString& path);
    // Takes `root` as the tree of the file `path`: one undoable "Replace
    // data", saved as it is.
    void replace(Item* root, const QString& path);
    // The file the tree is, watched anew: a replaced file is a new one.
    void setFile(const QString& path);

    bool load(const QString& path) override;
    bool save(const QString& path, QString* error) override;
    bool isModified() const override;
    QString fileFilter() const override;
    QString lastPathKey() const override;
    QString saveAsPathKey() const override;

Q_SIGNALS:
    void opened(const QString& path);
    void saved(const QString& path);
    void warnings(const QString& text);

private:
    EditorModel* m_model;       // Not owned.
    QUndoStack* m_undo;         // Not owned.
    FileChangedWidget* m_watch; // Not owned.
};

} // namespace QRV16
