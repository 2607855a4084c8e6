// SPDX-License-Identifier: MIT
#pragma once

class QAbstractItemView;
class QModelIndex;

// Open and closed lines of the views that show a tree: the trace's own view
// and any tree view.
class TreeExpansion
{
public:
    static bool isExpanded(const QAbstractItemView* view, const QModelIndex& index);
    static void setExpanded(QAbstractItemView* view, const QModelIndex& index, bool expanded);
};
