// SPDX-License-Identifier: MIT
#include "trace/widgets/treeexpansion.h"

#include "trace/widgets/traceview.h"

#include <QTreeView>

bool TreeExpansion::isExpanded(const QAbstractItemView* view, const QModelIndex& index)
{
    if (const auto* trace = qobject_cast<const TraceView*>(view))
        return trace->isExpanded(index);
    if (const auto* tree = qobject_cast<const QTreeView*>(view))
        return tree->isExpanded(index);
    return false;
}

void TreeExpansion::setExpanded(QAbstractItemView* view, const QModelIndex& index, bool expanded)
{
    if (auto* trace = qobject_cast<TraceView*>(view))
        trace->setExpanded(index, expanded);
    else if (auto* tree = qobject_cast<QTreeView*>(view))
        tree->setExpanded(index, expanded);
}
