// SPDX-License-Identifier: MIT
#include "editor/rowtreeview.h"

RowTreeView::RowTreeView(QWidget* parent) : QTreeView(parent) {}

QModelIndex RowTreeView::selectedItem() const
{
    if (!selectionModel())
        return QModelIndex();
    QModelIndexList rows = selectionModel()->selectedRows();
    if (rows.isEmpty()) {
        // Without whole-row selection, count the rows of the selected cells.
        const QModelIndexList cells = selectionModel()->selectedIndexes();
        for (const QModelIndex& cell : cells) {
            const QModelIndex first = cell.siblingAtColumn(0);
            if (!rows.contains(first))
                rows.append(first);
        }
    }
    return rows.size() == 1 ? rows.first() : QModelIndex();
}

void RowTreeView::reset()
{
    QTreeView::reset();
    Q_EMIT selectionChanged(selectedItem());
}

void RowTreeView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QTreeView::selectionChanged(selected, deselected);
    Q_EMIT selectionChanged(selectedItem());
}

void RowTreeView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTreeView::currentChanged(current, previous);
    Q_EMIT currentIndexChanged(current, previous);
}

void RowTreeView::walkSubtree(const QModelIndex& index, bool expand)
{
    const QAbstractItemModel* m = model();
    if (!m)
        return;
    // Trees can be deeper than the stack would like; walk with a list.
    QList<QModelIndex> stack{index.siblingAtColumn(0)};
    while (!stack.isEmpty()) {
        const QModelIndex i = stack.takeLast();
        const int rows = m->rowCount(i);
        if (rows == 0)
            continue;
        if (i.isValid()) {
            if (expand)
                QTreeView::expand(i);
            else
                QTreeView::collapse(i);
        }
        for (int r = rows - 1; r >= 0; --r)
            stack.append(m->index(r, 0, i));
    }
}

void RowTreeView::expandSubtree(const QModelIndex& index)
{
    walkSubtree(index, true);
}

void RowTreeView::collapseSubtree(const QModelIndex& index)
{
    walkSubtree(index, false);
}

void RowTreeView::expandCurrentSubtree()
{
    walkSubtree(currentIndex(), true);
}

void RowTreeView::collapseCurrentSubtree()
{
    walkSubtree(currentIndex(), false);
}
