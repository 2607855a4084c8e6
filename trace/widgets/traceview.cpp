// SPDX-License-Identifier: MIT
#include "trace/widgets/traceview.h"

#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"
#include "trace/tracefilter.h"
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "trace/widgets/tracedelegate.h"
#include "trace/widgets/traceundo.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>

#include <algorithm>

TraceView::TraceView(TraceModel* model, QWidget* parent)
    : QTreeView(parent),
      m_model(model),
      m_filter(new TraceFilter(model, this)),
      m_delegate(new TraceDelegate(this)),
      m_act_copy(makeAction("m_act_copy", tr("Copy"), "i16_copy.png", QKeySequence::Copy)),
      m_act_delete_line(makeAction("m_act_delete_line", tr("Delete line"), "i16_cross.png", Qt::Key_Delete)),
      m_act_add_separator(makeAction("m_act_add_separator", tr("Add separator"), "i16_tiny_bullet.png", Qt::Key_F7)),
      m_act_clear_all(makeAction("m_act_clear_all", tr("Clear all"), "i16_bomb.png", Qt::Key_F8)),
      m_act_expand_all(makeAction("m_act_expand_all", tr("Expand all"), "i16_expand_all.png", QKeySequence())),
      m_act_collapse_all(makeAction("m_act_collapse_all", tr("Collapse all"), "i16_collapse_all.png", QKeySequence()))
{
    setObjectName(QStringLiteral("m_tv_trace"));
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    // A proxy costs every batch of lines a second pass over all rows: it
    // rests until a filter is set.
    m_filter->setSuspended(true);
    setModel(model);
    setItemDelegate(m_delegate);
    header()->setSectionResizeMode(QHeaderView::Interactive);
    header()->setStretchLastSection(true);
    setColumnWidth(TraceModel::TimeColumn, 190);
    setColumnWidth(TraceModel::AddrColumn, 60);
    setColumnWidth(TraceModel::SourceColumn, 100);
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
    connect(m_act_expand_all, &QAction::triggered, this, &QTreeView::expandAll);
    connect(m_act_collapse_all, &QAction::triggered, this, &QTreeView::collapseAll);

    connect(verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this](int value) { m_following = value >= verticalScrollBar()->maximum(); });
    connect(this, &QTreeView::pressed, this, [this] { m_following = false; });
    // A traced message back into the entry line, to change and send again.
    connect(this, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        const QModelIndex line = traceIndex(index);
        const TraceItem* item = m_model->index2item(line);
        // The text as shown: a message line keeps none of its own.
        if (item && item->message() && !index.parent().isValid())
            Q_EMIT messageActivated(line.siblingAtColumn(TraceModel::TextColumn).data().toString());
    });
    watchSelection();
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
    const TraceItem* item = m_model->index2item(traceIndex(currentIndex()));
    return item && item->message() ? QRV16::Message(item->message()->bytes) : QRV16::Message();
}

void TraceView::rowsInserted(const QModelIndex& parent, int start, int end)
{
    QTreeView::rowsInserted(parent, start, end);
    // The current line and the selection stay where the user put them.
    if (!parent.isValid() && m_autoScroll && m_following)
        scrollToBottom();
}

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
    QList<QPersistentModelIndex> expanded;
    collectExpanded(QModelIndex(), &expanded);
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

void TraceView::collectExpanded(const QModelIndex& parent, QList<QPersistentModelIndex>* out) const
{
    const QAbstractItemModel* shown = model();
    const int rows = shown->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = shown->index(row, 0, parent);
        if (!isExpanded(index))
            continue;
        out->append(traceIndex(index));
        collectExpanded(index, out);
    }
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
    const TraceItem* item = m_model->index2item(traceIndex(index));
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
