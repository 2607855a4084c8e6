// SPDX-License-Identifier: MIT
#include "trace/widgets/traceaccessible.h"

#include "trace/widgets/traceview.h"

#include <QHeaderView>
#include <QPersistentModelIndex>
#include <QPointer>

namespace {

// Enough for the rows on a screen many times over.
constexpr int KeptCells = 2000;

class TraceAccessibleCell : public QAccessibleInterface
{
public:
    TraceAccessibleCell(TraceView* view, const QModelIndex& index)
        : m_view(view), m_index(index)
    {
    }

    const QModelIndex index() const { return m_index; }

    bool isValid() const override { return m_view && m_index.isValid(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return m_view ? m_view->window()->windowHandle() : nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(m_view); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text t) const override
    {
        if (!isValid())
            return QString();
        switch (t) {
        case QAccessible::Name: {
            const QString text = m_index.data(Qt::AccessibleTextRole).toString();
            return text.isEmpty() ? m_index.data(Qt::DisplayRole).toString() : text;
        }
        case QAccessible::Description: return m_index.data(Qt::AccessibleDescriptionRole).toString();
        default: return QString();
        }
    }

    QRect rect() const override
    {
        if (!isValid())
            return QRect();
        const QRect r = m_view->visualRect(m_index);
        return r.isValid() ? QRect(m_view->viewport()->mapToGlobal(r.topLeft()), r.size()) : QRect();
    }

    QAccessible::Role role() const override
    {
        return m_index.column() == 0 ? QAccessible::TreeItem : QAccessible::Cell;
    }

    QAccessible::State state() const override
    {
        QAccessible::State s;
        if (!isValid()) {
            s.invalid = true;
            return s;
        }
        s.selectable = true;
        s.focusable = true;
        s.multiSelectable = true;
        s.extSelectable = true;
        const QModelIndex line = QModelIndex(m_index).siblingAtColumn(0);
        s.selected = m_view->selectionModel()->isSelected(m_index);
        s.focused = m_view->currentIndex().siblingAtColumn(0) == line;
        s.offscreen = !m_view->viewport()->rect().intersects(m_view->visualRect(m_index));
        if (m_index.column() == 0 && m_view->model()->hasChildren(line)) {
            s.expandable = true;
            s.expanded = m_view->isExpanded(line);
            s.collapsed = !s.expanded;
        }
        return s;
    }

private:
    QPointer<TraceView> m_view;
    QPersistentModelIndex m_index;
};

} // namespace

TraceAccessible::TraceAccessible(TraceView* view)
    : QAccessibleWidget(view, QAccessible::Tree)
{
}

TraceAccessible::~TraceAccessible()
{
    forget();
}

QAccessibleInterface* TraceAccessible::create(const QString& key, QObject* object)
{
    if (key == QLatin1String("TraceView"))
        return new TraceAccessible(static_cast<TraceView*>(object));
    return nullptr;
}

TraceView* TraceAccessible::view() const
{
    return static_cast<TraceView*>(widget());
}

void TraceAccessible::forget() const
{
    for (const QAccessible::Id id : std::as_const(m_cells))
        QAccessible::deleteAccessibleInterface(id);
    m_cells.clear();
}

int TraceAccessible::childCount() const
{
    const TraceView* v = view();
    return v->model() ? v->visualRowCount() * v->model()->columnCount() : 0;
}

QAccessibleInterface* TraceAccessible::child(int index) const
{
    const TraceView* v = view();
    const int columns = v->model() ? v->model()->columnCount() : 0;
    if (index < 0 || columns == 0 || index >= childCount())
        return nullptr;
    const QModelIndex cell = v->indexAtRow(index / columns).siblingAtColumn(index % columns);
    const auto found = m_cells.constFind(index);
    if (found != m_cells.cend()) {
        auto* kept = static_cast<TraceAccessibleCell*>(QAccessible::accessibleInterface(*found));
        if (kept && kept->isValid() && kept->index() == cell)
            return kept;
        QAccessible::deleteAccessibleInterface(*found);
        m_cells.erase(found);
    }
    if (m_cells.size() >= KeptCells)
        forget();
    auto* made = new TraceAccessibleCell(const_cast<TraceView*>(v), cell);
    m_cells.insert(index, QAccessible::registerAccessibleInterface(made));
    return made;
}

int TraceAccessible::indexOfChild(const QAccessibleInterface* child) const
{
    if (!child || child->object())
        return -1;
    for (auto it = m_cells.cbegin(); it != m_cells.cend(); ++it) {
        if (QAccessible::accessibleInterface(it.value()) == child) {
            const QModelIndex index = static_cast<const TraceAccessibleCell*>(child)->index();
            const int row = view()->rowOf(index);
            return row < 0 ? -1 : row * view()->model()->columnCount() + index.column();
        }
    }
    return -1;
}

QAccessibleInterface* TraceAccessible::childAt(int x, int y) const
{
    const TraceView* v = view();
    const QModelIndex index = v->indexAt(v->viewport()->mapFromGlobal(QPoint(x, y)));
    if (!index.isValid())
        return nullptr;
    return child(v->rowOf(index) * v->model()->columnCount() + index.column());
}

QAccessibleInterface* TraceAccessible::focusChild() const
{
    const TraceView* v = view();
    const QModelIndex current = v->currentIndex();
    if (!current.isValid() || !v->hasFocus())
        return nullptr;
    const int row = v->rowOf(current);
    return row < 0 ? nullptr : child(row * v->model()->columnCount() + current.column());
}
