// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>

class BookmarkList;
class BookmarkModel;
class QAction;
class QKeySequenceEdit;
class QLabel;
class QLineEdit;
class QListView;
class QModelIndex;
class QPlainTextEdit;
class QPushButton;

namespace QRV16 {
class TagDataLut;
}

// Edits the bookmarks: the list with buttons to add, delete and move, and
// the fields of the selected bookmark. Every edit goes straight into the
// bookmark's action; a message that does not parse is kept, and its error
// shown under it.
class BookmarkEditor : public QDialog
{
    Q_OBJECT
public:
    explicit BookmarkEditor(QWidget* parent = nullptr);

    // Not owned; may be called again with another list, or null.
    void setBookmarks(BookmarkList* list);
    // Not owned; messages are checked against these names. Null checks
    // plain tag codes only.
    void setTags(const QRV16::TagDataLut* tags);
    // The colours of the message field and the font messages are shown in.
    void setStyle(const QPalette& palette, const QFont& codeFont);
    using QDialog::setStyle;

    // Selects a bookmark by row, -1 for none.
    void setCurrentRow(int row);
    int currentRow() const;
    // Reads an image as the selected bookmark's icon; false, with the reason
    // shown beside the icon, when it is no image.
    bool setIconFile(const QString& fileName);

public Q_SLOTS:
    void onNew();
    void onNewSeparator();
    void onDelete();
    void onUp();
    void onDown();
    void onChooseIcon();
    void onClearIcon();

private:
    QWidget* createListSide();
    QWidget* createFieldSide();
    QAction* currentAction() const;
    void insertAction(QAction* action);
    void showCurrent();
    void updateButtons();
    void checkMessage();
    void showIcon(const QIcon& icon);
    void onDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight);
    void onTextEdited(const QString& text);
    void onToolTipEdited(const QString& text);
    void onMessageChanged();
    void onShortcutChanged(const QKeySequence& shortcut);

    BookmarkModel* m_model;
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    // Set while an edit is written to the action, so that the change coming
    // back from the list does not rewrite the field being typed in.
    bool m_writing = false;

    QListView* m_lv_bookmarks = nullptr;
    QPushButton* m_pb_new = nullptr;
    QPushButton* m_pb_separator = nullptr;
    QPushButton* m_pb_delete = nullptr;
    QPushButton* m_pb_up = nullptr;
    QPushButton* m_pb_down = nullptr;

    QWidget* m_fields = nullptr;
    QLineEdit* m_le_text = nullptr;
    QLineEdit* m_le_tooltip = nullptr;
    QPlainTextEdit* m_te_message = nullptr;
    QLabel* m_lbl_error = nullptr;
    QPushButton* m_pb_icon = nullptr;
    QPushButton* m_pb_iconclear = nullptr;
    QLabel* m_lbl_iconerror = nullptr;
    QKeySequenceEdit* m_kse_shortcut = nullptr;
};
