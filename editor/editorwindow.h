// SPDX-License-Identifier: MIT
#pragma once

#include <QMainWindow>

class DocumentActions;
class FileChangedWidget;
class QAction;
class QDockWidget;
class QMenu;
class QPlainTextEdit;
class QToolBar;
class QUndoStack;
class QUndoView;
class RowTreeView;

namespace QRV16 {

class CodeViewMenu;
class EditorDelegate;
class EditorDocument;
class EditorModel;
class Item;
struct ItemData;

// The second window of the program: edits one definition file with undo and
// redo, saves it, shows the code generated from it, and hands every tree it
// opened or saved to the main window.
class EditorWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit EditorWindow(QWidget* parent = nullptr);
    ~EditorWindow() override;

    // Opens `path`; when it is empty, the file opened last, and when there
    // is none, `fallbackPath` (the main window's definitions).
    void initialize(const QString& path, const QString& fallbackPath = QString());
    // The tree of a file, owned by the caller; null (after telling the user)
    // when it cannot be read.
    Item* loadDefinitionFile(const QString& path);
    bool save(const QString& path);

    QString currentFile() const;
    EditorModel* model() const { return m_model; }
    QUndoStack* undoStack() const { return m_undo; }

public Q_SLOTS:
    void onNew();
    void onOpen();
    void onSave();
    void onSaveAs();
    void onInsertBefore();
    void onInsertAfter();
    void onDelete();
    void onAddEnums();
    void onAddBits();
    void onCut();
    void onCopy();
    void onPaste();
    void onFixedFont();
    void onCommentFont();
    void onReloadClicked();
    void onDoubleClicked(const QModelIndex& index);
    void onApplyItem(const QRV16::Item* item, const QRV16::ItemData& data);
    void setCurrentItem(const QModelIndex& index);
    void updateActions();
    void updateCleanState();
    void onUndoHistoryChanged();
    void popupMessage(const QString& text);
    void message(const QString& text);
    void error(const QString& text);

Q_SIGNALS:
    // The receiver owns the tree.
    void opened(QRV16::Item* root, const QString& path);
    void saved(QRV16::Item* root, const QString& path);

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void setupUi();
    void setupActions();
    QAction* makeAction(const char* name, const QString& text, const QString& shortcut,
                        const char* icon);
    void addList(int type);
    void insertAt(bool after);
    QModelIndex currentRow() const;
    void onOpened(const QString& path);
    void onSaved(const QString& path);
    void spanComments(const QModelIndex& parent, int first, int last);

    EditorModel* m_model;
    QUndoStack* m_undo;
    RowTreeView* m_view = nullptr;
    EditorDelegate* m_delegate = nullptr;
    FileChangedWidget* m_wdg_file_changed = nullptr;
    QDockWidget* m_dock_undo = nullptr;
    QUndoView* m_undo_view = nullptr;
    QDockWidget* m_dock_messages = nullptr;
    QPlainTextEdit* m_te_messages = nullptr;
    QToolBar* m_tb_edit = nullptr;
    QMenu* m_menu_file = nullptr;
    QMenu* m_menu_edit = nullptr;
    QMenu* m_menu_view = nullptr;
    EditorDocument* m_document = nullptr;         // Owned (child).
    DocumentActions* m_documentActions = nullptr; // Owned (child of the document).
    CodeViewMenu* m_codeViews = nullptr;
    bool m_restored = false;

    QAction* m_act_new = nullptr;
    QAction* m_act_open = nullptr;
    QAction* m_act_save = nullptr;
    QAction* m_act_save_as = nullptr;
    QAction* m_act_close = nullptr;
    QAction* m_act_undo = nullptr;
    QAction* m_act_redo = nullptr;
    QAction* m_act_undo_history = nullptr;
    QAction* m_act_insert_before = nullptr;
    QAction* m_act_insert_after = nullptr;
    QAction* m_act_delete = nullptr;
    QAction* m_act_add_enums = nullptr;
    QAction* m_act_add_bits = nullptr;
    QAction* m_act_cut = nullptr;
    QAction* m_act_copy = nullptr;
    QAction* m_act_paste = nullptr;
    QAction* m_act_fixed_font = nullptr;
    QAction* m_act_comment_font = nullptr;
    QAction* m_act_expand = nullptr;
    QAction* m_act_collapse = nullptr;
};

} // namespace QRV16
