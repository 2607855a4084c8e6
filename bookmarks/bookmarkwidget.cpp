// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkwidget.h"

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkmodel.h"

#include <QAction>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QStackedWidget>
#include <QVBoxLayout>

BookmarkWidget::BookmarkWidget(QWidget* parent)
    : QWidget(parent), m_model(new BookmarkModel(nullptr, this)),
      m_stk_pages(new QStackedWidget(this)), m_lbl_empty(new QLabel(this)),
      m_lv_bookmarks(new QListView(this)), m_menu(new QMenu(this))
{
    m_lbl_empty->setText(tr("No bookmarks yet.\nAdd some in the bookmark editor."));
    m_lbl_empty->setAlignment(Qt::AlignCenter);
    m_lbl_empty->setWordWrap(true);
    m_lbl_empty->setEnabled(false);

    m_lv_bookmarks->setModel(m_model);
    m_lv_bookmarks->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lv_bookmarks->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lv_bookmarks->setDragDropMode(QAbstractItemView::InternalMove);
    m_lv_bookmarks->setDefaultDropAction(Qt::MoveAction);
    m_lv_bookmarks->setDropIndicatorShown(true);
    m_lv_bookmarks->setContextMenuPolicy(Qt::CustomContextMenu);

    m_stk_pages->addWidget(m_lbl_empty);
    m_stk_pages->addWidget(m_lv_bookmarks);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_stk_pages);

    m_act_send = m_menu->addAction(tr("&Send"), this,
                                   [this] { onActivated(m_lv_bookmarks->currentIndex()); });
    m_menu->addSeparator();
    m_act_up = m_menu->addAction(tr("Move &Up"), this, &BookmarkWidget::onMoveUp);
    m_act_up->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Up));
    m_act_down = m_menu->addAction(tr("Move &Down"), this, &BookmarkWidget::onMoveDown);
    m_act_down->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Down));
    m_act_delete = m_menu->addAction(tr("&Delete"), this, &BookmarkWidget::onDelete);
    m_act_delete->setShortcut(QKeySequence::Delete);
    // The same keys work in the list without opening the menu.
    for (QAction* action : {m_act_up, m_act_down, m_act_delete}) {
        action->setShortcutContext(Qt::WidgetShortcut);
        m_lv_bookmarks->addAction(action);
    }

    connect(m_lv_bookmarks, &QAbstractItemView::activated, this, &BookmarkWidget::onActivated);
    connect(m_lv_bookmarks, &QWidget::customContextMenuRequested, this,
            &BookmarkWidget::onContextMenu);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &BookmarkWidget::updateActions);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &BookmarkWidget::updateActions);
    connect(m_model, &QAbstractItemModel::modelReset, this, &BookmarkWidget::updateActions);
    connect(m_model, &QAbstractItemModel::rowsMoved, this, &BookmarkWidget::updateActions);
    connect(m_lv_bookmarks->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &BookmarkWidget::updateActions);
    updateActions();
}

void BookmarkWidget::setBookmarks(BookmarkList* list)
{
    m_model->setBookmarks(list);
}

BookmarkList* BookmarkWidget::bookmarks() const
{
    return m_model->bookmarks();
}

void BookmarkWidget::onActivated(const QModelIndex& index)
{
    QAction* action = m_model->index2action(index);
    // A separator sends nothing.
    if (action && !action->isSeparator())
        action->trigger();
}

void BookmarkWidget::onMoveUp()
{
    const int row = currentRow();
    if (row > 0 && m_model->moveRow(row, row - 1))
        selectRow(row - 1);
}

void BookmarkWidget::onMoveDown()
{
    const int row = currentRow();
    if (row >= 0 && m_model->moveRow(row, row + 1))
        selectRow(row + 1);
}

void BookmarkWidget::onDelete()
{
    const int row = currentRow();
    if (row >= 0 && m_model->removeRow(row))
        selectRow(qMin(row, m_model->rowCount() - 1));
}

void BookmarkWidget::onContextMenu(const QPoint& position)
{
    const QModelIndex index = m_lv_bookmarks->indexAt(position);
    if (index.isValid())
        m_lv_bookmarks->setCurrentIndex(index);
    updateActions();
    m_menu->popup(m_lv_bookmarks->viewport()->mapToGlobal(position));
}

void BookmarkWidget::updateActions()
{
    const int rows = m_model->rowCount();
    m_stk_pages->setCurrentWidget(rows > 0 ? static_cast<QWidget*>(m_lv_bookmarks) : m_lbl_empty);
    const int row = currentRow();
    const QAction* action = m_model->index2action(m_model->index(row));
    m_act_send->setEnabled(action && !action->isSeparator());
    m_act_up->setEnabled(row > 0);
    m_act_down->setEnabled(row >= 0 && row + 1 < rows);
    m_act_delete->setEnabled(row >= 0);
}

int BookmarkWidget::currentRow() const
{
    const QModelIndex index = m_lv_bookmarks->currentIndex();
    return index.isValid() ? index.row() : -1;
}

void BookmarkWidget::selectRow(int row)
{
    if (row >= 0)
        m_lv_bookmarks->setCurrentIndex(m_model->index(row));
    updateActions();
}
