// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

class BookmarkList;
class BookmarkModel;
class QLabel;
class QListView;
class QMenu;
class QModelIndex;
class QStackedWidget;

// The bookmark panel: the bookmarks as a list; activating one (double click,
// Enter) sends it, dragging reorders, the context menu moves and deletes.
class BookmarkWidget : public QWidget
{
    Q_OBJECT
public:
    explicit BookmarkWidget(QWidget* parent = nullptr);

    // Not owned; may be called again with another list, or null.
    void setBookmarks(BookmarkList* list);
    BookmarkList* bookmarks() const;

public Q_SLOTS:
    void onActivated(const QModelIndex& index);
    void onMoveUp();
    void onMoveDown();
    void onDelete();

private:
    void onContextMenu(const QPoint& position);
    void updateActions();
    int currentRow() const;
    void selectRow(int row);

    BookmarkModel* m_model;
    QStackedWidget* m_stk_pages;
    QLabel* m_lbl_empty;
    QListView* m_lv_bookmarks;
    QMenu* m_menu;
    QAction* m_act_send;
    QAction* m_act_up;
    QAction* m_act_down;
    QAction* m_act_delete;
};
