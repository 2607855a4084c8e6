// SPDX-License-Identifier: MIT
#include "trace/widgets/traceundo.h"

#include "trace/widgets/treeexpansion.h"

#include <QAbstractProxyModel>
#include <QAction>
#include <QAbstractItemView>

TraceUndo::TraceUndo(TraceModel* model, QAbstractItemView* view, QObject* parent)
    : QObject(parent), m_model(model), m_view(view), m_action(new QAction(tr("Undo"), this))
{
    m_action->setObjectName(QStringLiteral("m_act_undo"));
    m_action->setShortcut(QKeySequence(QStringLiteral("Ctrl+Z")));
    m_action->setToolTip(tr("Bring back the lines of the last Clear all or Delete line"));
    m_action->setEnabled(false);
    connect(m_action, &QAction::triggered, this, &TraceUndo::undo);
    // A line that a removal followed may leave by the limit; the trace
    // cleared by anyone else takes the history with it.
    connect(m_model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex& parent, int first, int last) {
                if (!parent.isValid())
                    forgetRows(first, last);
            });
    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        if (m_taking)
            return;
        m_entries.clear();
        update();
    });
}

TraceUndo::~TraceUndo() = default;

QModelIndex TraceUndo::toView(const QModelIndex& index) const
{
    if (const auto* proxy = qobject_cast<const QAbstractProxyModel*>(m_view->model()))
        return proxy->mapFromSource(index);
    return index;
}

QModelIndex TraceUndo::fromView(const QModelIndex& index) const
{
    if (const auto* proxy = qobject_cast<const QAbstractProxyModel*>(index.model()))
        return proxy->mapToSource(index);
    return index;
}

void TraceUndo::collectExpanded(const QModelIndex& viewParent, QList<const TraceItem*>* out) const
{
    const QAbstractItemModel* shown = m_view->model();
    const int rows = shown->rowCount(viewParent);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = shown->index(row, 0, viewParent);
        if (!TreeExpansion::isExpanded(m_view, index))
            continue;
        out->append(m_model->index2item(fromView(index)));
        collectExpanded(index, out);
    }
}

void TraceUndo::clearAll()
{
    Entry entry;
    entry.all = true;
    collectExpanded(QModelIndex(), &entry.expanded);
    entry.top = m_model->index2item(fromView(m_view->indexAt(QPoint(1, 1))));
    m_taking = true;
    entry.lines = m_model->takeAll();
    m_taking = false;
    if (!entry.lines.empty())
        push(std::move(entry));
}

void TraceUndo::removeLine(const QModelIndex& index)
{
    QModelIndex line = index;
    while (line.parent().isValid())
        line = line.parent();
    TraceItem* item = m_model->index2item(line);
    if (!item)
        return;
    Entry entry;
    const QModelIndex shown = toView(line);
    if (shown.isValid() && TreeExpansion::isExpanded(m_view, shown)) {
        entry.expanded << item;
        collectExpanded(shown, &entry.expanded);
    }
    entry.after = line.row() > 0 ? m_model->index2item(m_model->index(line.row() - 1, 0)) : nullptr;
    entry.lines = m_model->take(line);
    if (entry.lines.isEmpty())
        return;
    push(std::move(entry));
}

void TraceUndo::push(Entry entry)
{
    m_entries.push_back(std::move(entry));
    size_t kept = 0;
    for (const Entry& e : m_entries)
        kept += size_t(e.lines.size());
    while (m_entries.size() > 1 &&
           (m_entries.size() > size_t(Depth) || kept > size_t(m_model->limit()))) {
        kept -= size_t(m_entries.front().lines.size());
        m_entries.erase(m_entries.begin());
    }
    update();
}

void TraceUndo::forgetRows(int first, int last)
{
    for (Entry& entry : m_entries) {
        if (!entry.after)
            continue;
        const QModelIndex at = m_model->item2index(entry.after);
        if (at.isValid() && !at.parent().isValid() && at.row() >= first && at.row() <= last)
            entry.after = nullptr;
    }
}

void TraceUndo::undo()
{
    if (m_entries.empty())
        return;
    Entry entry = std::move(m_entries.back());
    m_entries.pop_back();
    int row = 0;
    if (!entry.all && entry.after) {
        const QModelIndex after = m_model->item2index(entry.after);
        if (after.isValid() && !after.parent().isValid())
            row = after.row() + 1;
    }
    m_model->restore(std::move(entry.lines), row);
    for (const TraceItem* item : std::as_const(entry.expanded)) {
        const QModelIndex shown = toView(m_model->item2index(item));
        if (shown.isValid())
            TreeExpansion::setExpanded(m_view, shown, true);
    }
    if (entry.top) {
        const QModelIndex shown = toView(m_model->item2index(entry.top));
        if (shown.isValid())
            m_view->scrollTo(shown, QAbstractItemView::PositionAtTop);
    }
    update();
}

void TraceUndo::update()
{
    m_action->setEnabled(!m_entries.empty());
}
