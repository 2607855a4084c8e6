// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QList>
#include <QPointer>

class QAction;
class QListWidget;
class QPushButton;
class QToolBar;
class QTreeWidget;
class QtToolBarManager;

// Lets the user rearrange the toolbars of a QtToolBarManager: the actions by
// category on the left, the toolbars and the chosen one's actions on the
// right. Edits stay in the dialog until Apply or OK, which apply them and
// emit changed(). Should the manager change behind its back, the dialog
// starts again from what the manager holds.
class QtToolBarDialog : public QDialog
{
    Q_OBJECT
public:
    explicit QtToolBarDialog(QWidget* parent = nullptr);
    ~QtToolBarDialog() override;

    void setToolBarManager(QtToolBarManager* manager);

public Q_SLOTS:
    void accept() override;
    void onApply();
    void onRestoreAll();
    void onAddAction();
    void onRemoveAction();
    void onMoveUp();
    void onMoveDown();
    void onAddSeparator();
    void onNewToolBar();
    void onRemoveToolBar();
    void onRenameToolBar();
    void onRestoreToolBar();

Q_SIGNALS:
    void changed();

private:
    // One toolbar as it will be after Apply; a null toolBar is still to be
    // created, a null action a separator.
    struct ToolBarEntry
    {
        QPointer<QToolBar> toolBar;
        bool isDefault = false;
        QString title;
        QList<QAction*> actions;
    };

    void reload();
    void fillActionTree();
    void fillToolBarList(int currentRow);
    void fillActionList(int currentRow);
    void updateButtons();
    bool hasChanges() const;
    ToolBarEntry* currentEntry();
    void insertAction(QAction* action);
    void moveAction(int by);

    QPointer<QtToolBarManager> m_manager;
    QList<ToolBarEntry> m_entries;
    bool m_applying = false;

    QTreeWidget* m_tw_actions;
    QPushButton* m_pb_add;
    QPushButton* m_pb_remove;
    QPushButton* m_pb_up;
    QPushButton* m_pb_down;
    QPushButton* m_pb_separator;
    QListWidget* m_lw_toolbars;
    QPushButton* m_pb_new;
    QPushButton* m_pb_delete;
    QPushButton* m_pb_rename;
    QPushButton* m_pb_restore;
    QListWidget* m_lw_actions;
    QPushButton* m_pb_ok = nullptr;
    QPushButton* m_pb_apply = nullptr;
    QPushButton* m_pb_restoreall = nullptr;
};
