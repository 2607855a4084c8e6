// SPDX-License-Identifier: MIT
#include "trace/widgets/traceview.h"

#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"
#include "trace/tracefilter.h"
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "trace/widgets/traceaccessible.h"
#include "trace/widgets/tracedelegate.h"
#include "trace/widgets/traceundo.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

TraceView::TraceView(TraceModel* model, QWidget* parent)
    : QAbstractItemView(parent),
      m_model(model),
      m_filter(new TraceFilter(model, this)),
      m_delegate(new TraceDelegate(this)),
      m_header(new QHeaderView(Qt::Horizontal, this)),
      m_act_copy(makeAction("m_act_copy", tr("Copy"), "i16_copy.png", QKeySequence::Copy)),
      m_act_delete_line(makeAction("m_act_delete_line", tr("Delete line"), "i16_cross.png", Qt::Key_Delete)),
      m_act_add_separator(makeAction("m_act_add_separator", tr("Add separator"), "i16_tiny_bullet.png", Qt::Key_F7)),
      m_act_clear_all(makeAction("m_act_clear_all", tr("Clear all"), "i16_bomb.png", Qt::Key_F8)),
      m_act_expand_all(makeAction("m_act_expand_all", tr("Expand all"), "i16_expand_all.png", QKeySequence())),
      m_act_collapse_all(makeAction("m_act_collapse_all", tr("Collapse all"), "i16_collapse_all.png", QKeySequence()))
{
    setObjectName(QStringLiteral("m_tv_trace"));
    // Screen readers read the rows as they read any item view's.
    static const bool accessible = [] {
        QAccessible::installFactory(&TraceAccessible::create);
        return true;
    }();
    Q_UNUSED(accessible);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_indentation = style()->pixelMetric(QStyle::PM_TreeViewIndentation, nullptr, this);
    m_header->setObjectName(QStringLiteral("m_hv_trace"));
    m_header->setFirstSectionMovable(false);
    m_header->setSectionsMovable(true);
    m_header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // A proxy costs every batch of lines a second pass over all rows: it
    // rests until a filter is set.
    m_filter->setSuspended(true);
    setModel(model);
    setItemDelegate(m_delegate);
    m_header->setSectionResizeMode(QHeaderView::Interactive);
    m_header->setStretchLastSection(true);
    setColumnWidth(TraceModel::TimeColumn, 190);
    setColumnWidth(TraceModel::AddrColumn, 60);
    setColumnWidth(TraceModel::SourceColumn, 100);
    connect(m_header, &QHeaderView::sectionResized, this, [this] {
        updateGeometries();
        viewport()->update();
    });
    connect(m_header, &QHeaderView::sectionMoved, viewport(), qOverload<>(&QWidget::update));
    connect(m_header, &QHeaderView::geometriesChanged, this, &TraceView::updateGeometries);
    m_undo = new TraceUndo(model, this, this);

    // Only in the trace: Ctrl+C in the entry line copies the text there.
    m_act_copy->setShortcutContext(Qt::WidgetShortcut);
    // Del belongs to the trace only while it has the focus: the bookmark
    // panel and the entry line have a Del of their own.
    m_act_delete_line->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    auto* separator = new QAction(this);
    separator->setSeparator(true);
    addActions({m_act_copy, m_act_delete_line, m_act_add_separator, m_act_clear_all, m_undo->action(), separator,
                m_act_expand_all, m_act_collapse_all});
    connect(m_act_copy, &QAction::triggered, this, &TraceView::copy);
    connect(m_act_delete_line, &QAction::triggered, this, &TraceView::deleteLine);
    connect(m_act_add_separator, &QAction::triggered, m_model, &TraceModel::appendSeparator);
    connect(m_act_clear_all, &QAction::triggered, this, &TraceView::clearAll);
    connect(m_act_expand_all, &QAction::triggered, this, &TraceView::expandAll);
    connect(m_act_collapse_all, &QAction::triggered, this, &TraceView::collapseAll);

    connect(verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this](int value) { m_following = value >= verticalScrollBar()->maximum(); });
    connect(this, &QAbstractItemView::pressed, this, [this] { m_following = false; });
    connect(this, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        m_doubleClicked = index;
        // A traced message back into the entry line, to change and send again.
        const QModelIndex line = traceIndex(index);
        // The text as shown: a message line keeps none of its own.
        if (m_model->line(line).hasMessage && !index.parent().isValid())
            Q_EMIT messageActivated(line.siblingAtColumn(TraceModel::TextColumn).data().toString());
    });
    watchSelection();
}

TraceView::~TraceView()
{
    // The header still reports its geometry while the widget hides it.
    disconnect(m_header, nullptr, this, nullptr);
}

QAction* TraceView::makeAction(const char* name, const QString& text, const char* icon, const QKeySequence& key)
{
    auto* action = new QAction(QIcon(QStringLiteral(":/icons/") + QLatin1String(icon)), text, this);
    action->setObjectName(QLatin1String(name));
    action->setShortcut(key);
    return action;
}

QAction* TraceView::undoAction() const
{
    return m_undo->action();
}

void TraceView::setOptions(const TraceOptions& options)
{
    m_autoScroll = options.test(TraceOptions::AutoScroll);
    viewport()->update();
}

void TraceView::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    viewport()->update();
}

QModelIndex TraceView::traceIndex(const QModelIndex& viewIndex) const
{
    return viewIndex.model() == m_filter ? m_filter->mapToSource(viewIndex) : viewIndex;
}

QRV16::Message TraceView::currentMessage() const
{
    const TraceModel::Line line = m_model->line(traceIndex(currentIndex()));
    // A copy: the trace's bytes go with its line.
    return line.hasMessage ? QRV16::Message(QByteArray(line.message.bytes.constData(), line.message.bytes.size()))
                           : QRV16::Message();
}

int TraceView::columnWidth(int column) const
{
    return m_header->sectionSize(column);
}

void TraceView::setColumnWidth(int column, int width)
{
    m_header->resizeSection(column, width);
}

void TraceView::setModel(QAbstractItemModel* model)
{
    if (QAbstractItemModel* old = this->model()) {
        disconnect(old, &QAbstractItemModel::rowsRemoved, this, &TraceView::onRowsRemoved);
        disconnect(old, &QAbstractItemModel::layoutChanged, this, &TraceView::onLayoutChanged);
    }
    m_open.clear();
    recount();
    m_header->setModel(model);
    QAbstractItemView::setModel(model);
    if (model) {
        connect(model, &QAbstractItemModel::rowsRemoved, this, &TraceView::onRowsRemoved);
        connect(model, &QAbstractItemModel::layoutChanged, this, &TraceView::onLayoutChanged);
    }
    m_rowHeight = 0;
    updateGeometries();
}

void TraceView::reset()
{
    m_open.clear();
    recount();
    m_rowHeight = 0;
    QAbstractItemView::reset();
    updateGeometries();
}

// --- Open lines and the rows of the view.

std::vector<TraceView::Open>::const_iterator TraceView::openAt(int row) const
{
    return std::lower_bound(m_open.begin(), m_open.end(), row,
                            [](const Open& open, int r) { return open.line.row() < r; });
}

TraceView::Open* TraceView::findOpen(int row)
{
    const auto it = openAt(row);
    return it != m_open.end() && it->line.row() == row ? &m_open[size_t(it - m_open.cbegin())] : nullptr;
}

bool TraceView::innerOpen(const Open& open, const QModelIndex& index) const
{
    return std::any_of(open.inner.begin(), open.inner.end(),
                       [&index](const QPersistentModelIndex& i) { return i == index; });
}

int TraceView::countBelow(const QModelIndex& parent, const Open& open) const
{
    const QAbstractItemModel* shown = model();
    const int rows = shown->rowCount(parent);
    int count = rows;
    if (open.inner.empty())
        return count;
    for (int row = 0; row < rows; ++row) {
        const QModelIndex child = shown->index(row, 0, parent);
        if (innerOpen(open, child))
            count += countBelow(child, open);
    }
    return count;
}

QModelIndex TraceView::nthBelow(const QModelIndex& parent, const Open& open, int* n) const
{
    const QAbstractItemModel* shown = model();
    const int rows = shown->rowCount(parent);
    if (open.inner.empty()) {
        if (*n < rows)
            return shown->index(*n, 0, parent);
        *n -= rows;
        return QModelIndex();
    }
    for (int row = 0; row < rows; ++row) {
        const QModelIndex child = shown->index(row, 0, parent);
        if ((*n)-- == 0)
            return child;
        if (innerOpen(open, child)) {
            const QModelIndex found = nthBelow(child, open, n);
            if (found.isValid())
                return found;
        }
    }
    return QModelIndex();
}

bool TraceView::offsetBelow(const QModelIndex& parent, const Open& open, const QModelIndex& target, int* n) const
{
    const QAbstractItemModel* shown = model();
    const int rows = shown->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex child = shown->index(row, 0, parent);
        ++*n;
        if (child == target)
            return true;
        if (innerOpen(open, child) && offsetBelow(child, open, target, n))
            return true;
    }
    return false;
}

void TraceView::recount()
{
    m_before.resize(m_open.size());
    int sum = 0;
    for (size_t i = 0; i < m_open.size(); ++i) {
        Open& open = m_open[i];
        open.below = open.self ? countBelow(open.line, open) : 0;
        m_before[i] = sum;
        sum += open.below;
    }
    m_extraRows = sum;
}

void TraceView::dropInvalid()
{
    for (Open& open : m_open) {
        open.inner.erase(std::remove_if(open.inner.begin(), open.inner.end(),
                                        [](const QPersistentModelIndex& i) { return !i.isValid(); }),
                         open.inner.end());
    }
    m_open.erase(std::remove_if(m_open.begin(), m_open.end(),
                                [](const Open& open) {
                                    return !open.line.isValid() || open.line.parent().isValid() ||
                                           (!open.self && open.inner.empty());
                                }),
                 m_open.end());
    std::sort(m_open.begin(), m_open.end(),
              [](const Open& a, const Open& b) { return a.line.row() < b.line.row(); });
}

int TraceView::visualRowCount() const
{
    return model() ? model()->rowCount() + m_extraRows : 0;
}

QModelIndex TraceView::indexAtRow(int row) const
{
    if (!model() || row < 0 || row >= visualRowCount())
        return QModelIndex();
    // The last open line that starts at or above the row.
    auto it = std::upper_bound(m_open.begin(), m_open.end(), row, [this](int r, const Open& open) {
        const size_t i = size_t(&open - m_open.data());
        return r < open.line.row() + m_before[i];
    });
    if (it == m_open.begin())
        return model()->index(row, 0);
    --it;
    const size_t i = size_t(it - m_open.begin());
    const int start = it->line.row() + m_before[i];
    if (row == start)
        return QModelIndex(it->line);
    if (row <= start + it->below) {
        int n = row - start - 1;
        return nthBelow(it->line, *it, &n);
    }
    return model()->index(row - m_before[i] - it->below, 0);
}

int TraceView::rowOf(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != model())
        return -1;
    QModelIndex top = index.siblingAtColumn(0);
    while (top.parent().isValid())
        top = top.parent();
    const auto it = openAt(top.row());
    const size_t i = size_t(it - m_open.begin());
    const int before = i < m_before.size() ? m_before[i] : m_extraRows;
    const int start = top.row() + before;
    if (top == index.siblingAtColumn(0))
        return start;
    if (it == m_open.end() || it->line.row() != top.row() || !it->self)
        return -1;
    int n = 0;
    return offsetBelow(top, *it, index.siblingAtColumn(0), &n) ? start + n : -1;
}

bool TraceView::isExpanded(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != model())
        return false;
    const QModelIndex at = index.siblingAtColumn(0);
    QModelIndex top = at;
    while (top.parent().isValid())
        top = top.parent();
    const auto it = openAt(top.row());
    if (it == m_open.end() || it->line.row() != top.row())
        return false;
    return top == at ? it->self : innerOpen(*it, at);
}

void TraceView::setExpanded(const QModelIndex& index, bool expanded)
{
    if (!index.isValid() || index.model() != model() || isExpanded(index) == expanded)
        return;
    const QModelIndex at = index.siblingAtColumn(0);
    if (expanded && !model()->hasChildren(at))
        return;
    QModelIndex top = at;
    while (top.parent().isValid())
        top = top.parent();
    Open* open = findOpen(top.row());
    if (!open) {
        if (!expanded)
            return;
        Open entry;
        entry.line = top;
        open = &*m_open.insert(m_open.begin() + (openAt(top.row()) - m_open.cbegin()), std::move(entry));
    }
    if (top == at) {
        open->self = expanded;
    } else if (expanded) {
        open->inner.emplace_back(at);
    } else {
        open->inner.erase(std::remove(open->inner.begin(), open->inner.end(), QPersistentModelIndex(at)),
                          open->inner.end());
    }
    if (!open->self && open->inner.empty())
        m_open.erase(m_open.begin() + (open - m_open.data()));
    recount();
    updateGeometries();
    viewport()->update();
}

void TraceView::expand(const QModelIndex& index)
{
    setExpanded(index, true);
}

void TraceView::collapse(const QModelIndex& index)
{
    setExpanded(index, false);
}

void TraceView::expandRecursively(const QModelIndex& index)
{
    setExpanded(index, true);
    const int rows = model()->rowCount(index);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex child = model()->index(row, 0, index);
        if (model()->hasChildren(child))
            expandRecursively(child);
    }
}

void TraceView::expandAll()
{
    if (!model())
        return;
    // Every message with every element line: costs as much as the trace is
    // long, as the user asked for.
    std::vector<Open> open;
    const int rows = model()->rowCount();
    for (int row = 0; row < rows; ++row) {
        const QModelIndex line = model()->index(row, 0);
        if (!model()->hasChildren(line))
            continue;
        Open entry;
        entry.line = line;
        entry.self = true;
        std::vector<QModelIndex> todo{line};
        while (!todo.empty()) {
            const QModelIndex parent = todo.back();
            todo.pop_back();
            const int children = model()->rowCount(parent);
            for (int c = 0; c < children; ++c) {
                const QModelIndex child = model()->index(c, 0, parent);
                if (model()->hasChildren(child)) {
                    entry.inner.emplace_back(child);
                    todo.push_back(child);
                }
            }
        }
        open.push_back(std::move(entry));
    }
    m_open = std::move(open);
    recount();
    updateGeometries();
    viewport()->update();
}

void TraceView::collapseAll()
{
    m_open.clear();
    recount();
    updateGeometries();
    viewport()->update();
}

void TraceView::toggle(const QModelIndex& index)
{
    setExpanded(index, !isExpanded(index));
}

void TraceView::onRowsRemoved(const QModelIndex& parent, int, int)
{
    if (parent.isValid())
        dropInvalid();
    recount();
    updateGeometries();
    viewport()->update();
}

void TraceView::onLayoutChanged()
{
    dropInvalid();
    recount();
    m_rowHeight = 0;
    updateGeometries();
    viewport()->update();
}

// --- Geometry.

int TraceView::rowHeight() const
{
    if (m_rowHeight > 0)
        return m_rowHeight;
    int height = 0;
    if (model() && model()->rowCount() > 0) {
        QStyleOptionViewItem option;
        initViewItemOption(&option);
        height = itemDelegate()->sizeHint(option, model()->index(0, 0)).height();
    }
    if (height <= 0)
        return qMax(fontMetrics().height() + 2, 16);
    m_rowHeight = height;
    return height;
}

int TraceView::rowsPerPage() const
{
    return qMax(1, viewport()->height() / rowHeight());
}

int TraceView::depthOf(const QModelIndex& index) const
{
    int depth = 0;
    for (QModelIndex p = index.parent(); p.isValid(); p = p.parent())
        ++depth;
    return depth;
}

int TraceView::indentOf(const QModelIndex& index) const
{
    return (depthOf(index) + 1) * m_indentation;
}

void TraceView::updateGeometries()
{
    const int headerHeight = m_header->isHidden() ? 0 : m_header->sizeHint().height();
    setViewportMargins(0, headerHeight, 0, 0);
    const QRect area = viewport()->geometry();
    m_header->setGeometry(area.left(), area.top() - headerHeight, area.width(), headerHeight);

    const int rows = visualRowCount();
    const int page = rowsPerPage();
    QScrollBar* vertical = verticalScrollBar();
    vertical->setSingleStep(1);
    vertical->setPageStep(page);
    vertical->setRange(0, qMax(0, rows - page));

    QScrollBar* horizontal = horizontalScrollBar();
    horizontal->setSingleStep(qMax(1, fontMetrics().averageCharWidth() * 2));
    horizontal->setPageStep(area.width());
    horizontal->setRange(0, qMax(0, m_header->length() - area.width()));
    m_header->setOffset(horizontal->value());
    QAbstractItemView::updateGeometries();
}

void TraceView::scrollContentsBy(int dx, int)
{
    if (dx)
        m_header->setOffset(horizontalScrollBar()->value());
    viewport()->update();
}

int TraceView::horizontalOffset() const
{
    return horizontalScrollBar()->value();
}

int TraceView::verticalOffset() const
{
    return verticalScrollBar()->value() * rowHeight();
}

bool TraceView::isIndexHidden(const QModelIndex&) const
{
    return false;
}

QRect TraceView::visualRect(const QModelIndex& index) const
{
    const int row = rowOf(index);
    if (row < 0 || m_header->isSectionHidden(index.column()))
        return QRect();
    const int height = rowHeight();
    const int y = (row - verticalScrollBar()->value()) * height;
    int x = m_header->sectionViewportPosition(index.column());
    int width = m_header->sectionSize(index.column());
    if (index.column() == 0) {
        const int indent = indentOf(index);
        x += indent;
        width -= indent;
    }
    return QRect(x, y, width, height);
}

QModelIndex TraceView::indexAt(const QPoint& point) const
{
    if (point.y() < 0)
        return QModelIndex();
    const QModelIndex line = indexAtRow(verticalScrollBar()->value() + point.y() / rowHeight());
    const int column = m_header->logicalIndexAt(point.x());
    if (!line.isValid() || column < 0)
        return QModelIndex();
    return line.siblingAtColumn(column);
}

void TraceView::scrollTo(const QModelIndex& index, ScrollHint hint)
{
    const int row = rowOf(index);
    if (row < 0)
        return;
    QScrollBar* bar = verticalScrollBar();
    const int top = bar->value();
    const int page = rowsPerPage();
    switch (hint) {
    case PositionAtTop: bar->setValue(row); break;
    case PositionAtBottom: bar->setValue(row - page + 1); break;
    case PositionAtCenter: bar->setValue(row - page / 2); break;
    case EnsureVisible:
        if (row < top)
            bar->setValue(row);
        else if (row >= top + page)
            bar->setValue(row - page + 1);
        break;
    }
    // Sideways only as far as the cell asks, never for column 0.
    if (index.column() > 0) {
        const int x = m_header->sectionPosition(index.column());
        const int width = m_header->sectionSize(index.column());
        QScrollBar* horizontal = horizontalScrollBar();
        if (x < horizontal->value())
            horizontal->setValue(x);
        else if (x + width > horizontal->value() + viewport()->width())
            horizontal->setValue(qMin(x, x + width - viewport()->width()));
    }
}

// --- Model changes: each costs the batch and the open lines, never the trace.

void TraceView::rowsInserted(const QModelIndex& parent, int start, int end)
{
    QAbstractItemView::rowsInserted(parent, start, end);
    if (parent.isValid())
        recount();
    if (visualRowCount() == end - start + 1)
        m_rowHeight = 0;
    updateGeometries();
    // The current line and the selection stay where the user put them.
    if (!parent.isValid() && m_autoScroll && m_following)
        scrollToBottom();
    viewport()->update();
}

void TraceView::rowsAboutToBeRemoved(const QModelIndex& parent, int start, int end)
{
    QAbstractItemView::rowsAboutToBeRemoved(parent, start, end);
    if (parent.isValid())
        return;
    // Lines dropped above the top of the view move it up with them, so that
    // it keeps showing the same lines.
    const int first = rowOf(model()->index(start, 0));
    const auto from = openAt(start);
    auto to = from;
    int removed = end - start + 1;
    for (; to != m_open.end() && to->line.row() <= end; ++to)
        removed += to->below;
    m_open.erase(m_open.begin() + (from - m_open.cbegin()), m_open.begin() + (to - m_open.cbegin()));
    recount();
    QScrollBar* bar = verticalScrollBar();
    if (!m_following && first >= 0 && bar->value() > first)
        bar->setValue(bar->value() - qMin(removed, bar->value() - first));
}

// --- Painting.

void TraceView::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    const int height = rowHeight();
    const int width = viewport()->width();
    const QRect area = event->rect();
    const int top = verticalScrollBar()->value();
    const int first = top + qMax(0, area.top()) / height;
    const int last = qMin(visualRowCount() - 1, top + area.bottom() / height);
    for (int row = first; row <= last; ++row) {
        const QModelIndex line = indexAtRow(row);
        if (line.isValid())
            paintRow(&painter, line, (row - top) * height, width);
    }
}

void TraceView::paintRow(QPainter* painter, const QModelIndex& line, int y, int width)
{
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    const int height = rowHeight();
    const QItemSelectionModel* selection = selectionModel();
    const bool current = currentIndex().isValid() && currentIndex().siblingAtColumn(0) == line;
    const bool selected = selection->isSelected(line);
    const QPalette::ColorGroup group = !isEnabled()         ? QPalette::Disabled
                                       : hasFocus()          ? QPalette::Active
                                       : isActiveWindow()    ? QPalette::Active
                                                             : QPalette::Inactive;
    option.palette.setCurrentColorGroup(group);
    const int columns = m_header->count();
    int firstShown = -1;
    int lastShown = -1;
    for (int visual = 0; visual < columns; ++visual) {
        if (m_header->isSectionHidden(m_header->logicalIndex(visual)))
            continue;
        if (firstShown < 0)
            firstShown = visual;
        lastShown = visual;
    }
    for (int visual = firstShown; visual >= 0 && visual <= lastShown; ++visual) {
        const int column = m_header->logicalIndex(visual);
        if (m_header->isSectionHidden(column))
            continue;
        const QModelIndex cell = line.siblingAtColumn(column);
        QStyleOptionViewItem cellOption = option;
        int x = m_header->sectionViewportPosition(column);
        int cellWidth = m_header->sectionSize(column);
        if (x + cellWidth < 0 || x > width)
            continue;
        if (column == 0) {
            // The indent and the branch mark, in the row's colours.
            const int indent = indentOf(line);
            const QRect branch(x, y, indent, height);
            if (selected)
                painter->fillRect(branch, option.palette.brush(group, QPalette::Highlight));
            else if (const QVariant back = cell.data(Qt::BackgroundRole); back.canConvert<QBrush>())
                painter->fillRect(branch, back.value<QBrush>());
            if (model()->hasChildren(line)) {
                QStyleOption mark;
                mark.initFrom(this);
                mark.rect = QRect(x + indent - m_indentation, y, m_indentation, height);
                mark.state = QStyle::State_Item | QStyle::State_Children;
                if (isExpanded(line))
                    mark.state |= QStyle::State_Open;
                if (selected)
                    mark.state |= QStyle::State_Selected;
                style()->drawPrimitive(QStyle::PE_IndicatorBranch, &mark, painter, this);
            }
            x += indent;
            cellWidth -= indent;
        }
        cellOption.rect = QRect(x, y, cellWidth, height);
        cellOption.state |= QStyle::State_Enabled;
        if (selected)
            cellOption.state |= QStyle::State_Selected;
        if (isActiveWindow())
            cellOption.state |= QStyle::State_Active;
        cellOption.viewItemPosition = firstShown == lastShown  ? QStyleOptionViewItem::OnlyOne
                                      : visual == firstShown  ? QStyleOptionViewItem::Beginning
                                      : visual == lastShown   ? QStyleOptionViewItem::End
                                                              : QStyleOptionViewItem::Middle;
        itemDelegate()->paint(painter, cellOption, cell);
    }
    if (current && hasFocus()) {
        QStyleOptionFocusRect focus;
        focus.initFrom(this);
        focus.rect = QRect(0, y, width, height);
        focus.backgroundColor = option.palette.color(group, selected ? QPalette::Highlight : QPalette::Base);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, this);
    }
}

bool TraceView::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        m_rowHeight = 0;
    return QAbstractItemView::viewportEvent(event);
}

// --- Selection.

void TraceView::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command)
{
    if (!model())
        return;
    const int height = rowHeight();
    const int top = verticalScrollBar()->value();
    const int rows = visualRowCount();
    int from = top + static_cast<int>(std::floor(double(qMin(rect.top(), rect.bottom())) / height));
    int to = top + static_cast<int>(std::floor(double(qMax(rect.top(), rect.bottom())) / height));
    from = qBound(0, from, rows - 1);
    to = qBound(0, to, rows - 1);
    QItemSelection selection;
    const int lastColumn = model()->columnCount() - 1;
    // Runs of rows under one parent make one range each: the lines between
    // open ones are one range however many there are.
    int row = from;
    while (row <= to && rows > 0) {
        const QModelIndex first = indexAtRow(row);
        if (!first.isValid())
            break;
        int count = 1;
        if (!first.parent().isValid()) {
            // Top-level lines up to the next open one, or to the end of the rectangle.
            int run = to - row + 1;
            if (isExpanded(first)) {
                run = 1;
            } else {
                auto next = openAt(first.row() + 1);
                while (next != m_open.end() && !next->self)
                    ++next;
                if (next != m_open.end())
                    run = qMin(run, next->line.row() - first.row() + 1);
            }
            count = qMax(1, run);
        } else {
            while (row + count <= to) {
                const QModelIndex next = indexAtRow(row + count);
                if (next.parent() != first.parent() || next.row() != first.row() + count)
                    break;
                ++count;
            }
        }
        const QModelIndex last = model()->index(first.row() + count - 1, lastColumn, first.parent());
        selection.select(first, last);
        row += count;
    }
    selectionModel()->select(selection, command);
}

QRegion TraceView::visualRegionForSelection(const QItemSelection&) const
{
    return QRegion(viewport()->rect());
}

QModelIndexList TraceView::selectedIndexes() const
{
    return selectionModel() ? selectionModel()->selectedIndexes() : QModelIndexList();
}

// --- Mouse and keys.

bool TraceView::onBranch(const QPoint& point, const QModelIndex& index) const
{
    if (!index.isValid() || !model()->hasChildren(index.siblingAtColumn(0)))
        return false;
    const QModelIndex line = index.siblingAtColumn(0);
    const int x = m_header->sectionViewportPosition(0) + indentOf(line);
    return m_header->logicalIndexAt(point.x()) == 0 && point.x() >= x - m_indentation && point.x() < x;
}

void TraceView::mousePressEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    const QModelIndex index = indexAt(at);
    if (event->button() == Qt::LeftButton && onBranch(at, index)) {
        toggle(index.siblingAtColumn(0));
        event->accept();
        return;
    }
    QAbstractItemView::mousePressEvent(event);
}

void TraceView::mouseDoubleClickEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    if (onBranch(at, indexAt(at))) {
        mousePressEvent(event);
        return;
    }
    m_doubleClicked = QPersistentModelIndex();
    QAbstractItemView::mouseDoubleClickEvent(event);
    // A double click opens or closes a line, after it was reported.
    const QModelIndex clicked = m_doubleClicked;
    m_doubleClicked = QPersistentModelIndex();
    if (clicked.isValid() && model()->hasChildren(clicked.siblingAtColumn(0)))
        toggle(clicked.siblingAtColumn(0));
}

void TraceView::keyPressEvent(QKeyEvent* event)
{
    const QModelIndex current = currentIndex().siblingAtColumn(0);
    if (current.isValid()) {
        switch (event->key()) {
        case Qt::Key_Plus: expand(current); event->accept(); return;
        case Qt::Key_Minus: collapse(current); event->accept(); return;
        case Qt::Key_Asterisk: expandRecursively(current); event->accept(); return;
        default: break;
        }
    }
    QAbstractItemView::keyPressEvent(event);
}

QModelIndex TraceView::moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers)
{
    const QModelIndex current = currentIndex();
    const int column = current.isValid() ? current.column() : 0;
    const int rows = visualRowCount();
    if (rows == 0)
        return QModelIndex();
    const int row = current.isValid() ? rowOf(current) : -1;
    if (row < 0)
        return indexAtRow(verticalScrollBar()->value());
    int to = row;
    switch (cursorAction) {
    case MoveUp:
    case MovePrevious: to = row - 1; break;
    case MoveDown:
    case MoveNext: to = row + 1; break;
    case MovePageUp: to = row - rowsPerPage(); break;
    case MovePageDown: to = row + rowsPerPage(); break;
    case MoveHome: to = 0; break;
    case MoveEnd: to = rows - 1; break;
    case MoveLeft: {
        const QModelIndex line = current.siblingAtColumn(0);
        if (isExpanded(line)) {
            collapse(line);
            return current;
        }
        return line.parent().isValid() ? line.parent().siblingAtColumn(column) : current;
    }
    case MoveRight: {
        const QModelIndex line = current.siblingAtColumn(0);
        if (!model()->hasChildren(line))
            return current;
        if (!isExpanded(line)) {
            expand(line);
            return current;
        }
        return model()->index(0, column, line);
    }
    }
    return indexAtRow(qBound(0, to, rows - 1)).siblingAtColumn(column);
}

// --- The trace's own work.

void TraceView::watchSelection()
{
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this](const QItemSelection& selected) {
        if (!selected.isEmpty())
            m_following = false;
    });
    // Moving to the newest line (End) follows again.
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& current) {
        if (current.isValid() && !current.parent().isValid() && current.row() == model()->rowCount() - 1)
            m_following = true;
    });
}

void TraceView::showFiltered(bool filtered)
{
    QAbstractItemModel* const shown =
        filtered ? static_cast<QAbstractItemModel*>(m_filter) : static_cast<QAbstractItemModel*>(m_model);
    if (model() == shown)
        return;
    m_filter->setSuspended(false);
    const auto toShown = [this, filtered](const QModelIndex& source) {
        return filtered ? m_filter->mapFromSource(source) : source;
    };
    // What the user looks at crosses over: current line, selection and the
    // expanded lines, in the trace's own terms.
    const QPersistentModelIndex current = traceIndex(currentIndex());
    QItemSelection selection = selectionModel()->selection();
    if (model() == m_filter)
        selection = m_filter->mapSelectionToSource(selection);
    const QList<QPersistentModelIndex> expanded = expandedLines();
    const bool following = m_following;

    QItemSelectionModel* old = selectionModel();
    setModel(shown);
    delete old;
    watchSelection();

    for (const QPersistentModelIndex& index : std::as_const(expanded)) {
        const QModelIndex at = toShown(index);
        if (at.isValid())
            setExpanded(at, true);
    }
    if (filtered)
        selection = m_filter->mapSelectionFromSource(selection);
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    const QModelIndex at = toShown(current);
    if (at.isValid())
        selectionModel()->setCurrentIndex(at, QItemSelectionModel::NoUpdate);
    m_following = following;
    m_filter->setSuspended(!filtered);
}

QList<QPersistentModelIndex> TraceView::expandedLines() const
{
    QList<QPersistentModelIndex> out;
    for (const Open& open : m_open) {
        if (open.self)
            out.append(traceIndex(open.line));
        for (const QPersistentModelIndex& inner : open.inner)
            out.append(traceIndex(inner));
    }
    return out;
}

void TraceView::beforeFilterChange()
{
    m_filterTop = traceIndex(indexAt(QPoint(1, 1)));
}

void TraceView::afterFilterChange()
{
    showFiltered(m_filter->isActive());
    const QModelIndex top = model() == m_filter ? m_filter->mapFromSource(m_filterTop) : QModelIndex(m_filterTop);
    if (currentIndex().isValid())
        scrollTo(currentIndex(), QAbstractItemView::PositionAtCenter);
    else if (m_following)
        scrollToBottom();
    else if (top.isValid())
        scrollTo(top, QAbstractItemView::PositionAtTop);
}

void TraceView::copy()
{
    // Selected rows in the order the view shows them: by their row paths.
    QList<QPair<QList<int>, QModelIndex>> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows()) {
        QList<int> path;
        for (QModelIndex i = index; i.isValid(); i = i.parent())
            path.prepend(i.row());
        rows.append({path, index});
    }
    if (rows.isEmpty())
        return;
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    QStringList lines;
    for (const auto& row : std::as_const(rows)) {
        const QModelIndex& index = row.second;
        const auto cell = [&](int column) { return index.siblingAtColumn(column).data().toString(); };
        if (index.parent().isValid())
            lines << QString(2 * (row.first.size() - 1), QLatin1Char(' ')) + cell(TraceModel::TextColumn);
        else
            lines << QStringList{cell(TraceModel::TimeColumn), cell(TraceModel::AddrColumn),
                                 TraceDelegate::sourceText(index.siblingAtColumn(TraceModel::SourceColumn)),
                                 cell(TraceModel::TextColumn)}
                         .join(QLatin1Char('\t'));
    }
    QApplication::clipboard()->setText(lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

void TraceView::deleteLine()
{
    const QModelIndex index = currentIndex();
    if (index.isValid())
        m_undo->removeLine(traceIndex(index));
}

void TraceView::clearAll()
{
    m_undo->clearAll();
    Q_EMIT cleared();
}

QMenu* TraceView::createContextMenu(const QModelIndex& index)
{
    auto* menu = new QMenu(this);
    const QModelIndex line = traceIndex(index);
    // Only element lines plot: no item is built for a top-level line.
    const TraceItem* item = line.parent().isValid() ? m_model->index2item(line) : nullptr;
    const int tag = TracePlotter::plottableTag(item, m_tags);
    if (tag >= 0) {
        const QString name = m_tags ? m_tags->tagName(unsigned(tag)) : QRV16::tag2hex(unsigned(tag));
        QAction* plot = menu->addAction(tr("Plot %1").arg(name), this, [this, tag] { Q_EMIT plotRequested(tag); });
        plot->setObjectName(QStringLiteral("m_act_plot"));
        menu->addSeparator();
    }
    menu->addActions(actions());
    return menu;
}

void TraceView::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = createContextMenu(indexAt(event->pos()));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}
