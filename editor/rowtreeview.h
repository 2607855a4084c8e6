// SPDX-License-Identifier: MIT
#pragma once

#include <QTreeView>

// The editor's tree view: reports its single selected row and its current
// row, and expands or collapses whole subtrees without recursion.
class RowTreeView : public QTreeView
{
    Q_OBJECT
public:
    explicit RowTreeView(QWidget* parent = nullptr);

    QModelIndex selectedItem() const;
    void reset() override;

public Q_SLOTS:
    void expandSubtree(const QModelIndex& index);
    void collapseSubtree(const QModelIndex& index);
    void expandCurrentSubtree();
    void collapseCurrentSubtree();

Q_SIGNALS:
    void selectionChanged(const QModelIndex& selected);
    void currentIndexChanged(const QModelIndex& current, const QModelIndex& previous);

protected:
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    void walkSubtree(const QModelIndex& index, bool expand);
};
