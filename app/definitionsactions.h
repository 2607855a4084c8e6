// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class Definitions;
class QAction;
class QWidget;

namespace QRV16 {
class Item;
} // namespace QRV16

// The window's definitions: "Open Definitions" with its dialog and last
// folder, and "Edit Definitions", the editor window, whose opened and
// saved trees replace the ones in use. What the user should see leaves
// through message().
class DefinitionsActions : public QObject
{
    Q_OBJECT

public:
    // Neither is owned; `window` parents the dialog.
    DefinitionsActions(Definitions* definitions, QWidget* window);
    ~DefinitionsActions() override;

    QAction* openAction() const { return m_act_open; }
    QAction* editAction() const { return m_act_edit; }
    // The file loaded at start and opened in the editor: the one in use
    // once one loaded.
    QString path() const { return m_path; }
    void setPath(const QString& path) { m_path = path; }
    // Null while the editor is closed.
    QWidget* editor() const { return m_editor; }

public Q_SLOTS:
    // Reads the file, saying what happened; the definitions in use stay
    // when it cannot be read.
    bool load(const QString& path);
    void open();
    void edit();
    // A tree the editor opened or saved; owned from here on.
    void takeEdited(QRV16::Item* root, const QString& path);

Q_SIGNALS:
    void message(const QString& text, bool error);

private:
    Definitions* m_definitions; // Not owned.
    QWidget* m_window;          // Not owned.
    QAction* m_act_open;        // Owned (children).
    QAction* m_act_edit;
    QPointer<QWidget> m_editor; // Top level of its own.
    QString m_path;
};
