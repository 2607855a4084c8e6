// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

class FileChangedWidget;
class QUndoStack;
class QWidget;

namespace QRV16 {

class EditorModel;

// How the definitions editor saves its file: save, save as with its dialog,
// the "save changes?" question, and the file's path with the watch on it,
// which our own write must not trip.
class EditorSaveFlow : public QObject
{
    Q_OBJECT
public:
    // `window` parents the dialogs, which carry `title`.
    EditorSaveFlow(EditorModel* model, QUndoStack* undo, FileChangedWidget* watch, QWidget* window,
                   const QString& title);

    QString path() const { return m_path; }
    // A file opened or reloaded: watched anew, as a replaced file is a new one.
    void setPath(const QString& path);

    // True when the edits are saved, or the user lets them go.
    bool canDiscard();
    // To the file's path; without one, asks for it.
    bool save();
    bool saveAs();
    bool save(const QString& path);
    // The write itself, through a temporary file, keeping a backup.
    bool dosave(const QString& path);

    // The file dialogs' filter.
    static QString fileFilter();

Q_SIGNALS:
    void pathChanged(const QString& path);
    void saved(const QString& path);
    // For the status bar.
    void popupMessage(const QString& text);
    void error(const QString& text);

private:
    bool saveWithDialog();

    EditorModel* m_model;       // not owned
    QUndoStack* m_undo;         // not owned
    FileChangedWidget* m_watch; // not owned
    QWidget* m_window;          // not owned
    QString m_title;
    QString m_path;
};

} // namespace QRV16
