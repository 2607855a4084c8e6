// SPDX-License-Identifier: MIT
#include "trace/tracefilter.h"

#include "trace/tracemodel.h"
#include "trace/tracescan.h"

namespace {

// Traffic colours come in Rx/Tx pairs per kind, channel 2's after channel 1's.
bool isTraffic(StyleColor color)
{
    return color >= ColorRawRx1 && color <= ColorMessageTx2;
}

int channelOf(const TraceModel::Line& line)
{
    if (isTraffic(line.color))
        return line.color >= ColorRawRx2 ? 2 : 1;
    const QString& source = line.source;
    if (source.startsWith(QLatin1Char('1')))
        return 1;
    if (source.startsWith(QLatin1Char('2')))
        return 2;
    return 0;
}

TraceFilter::Kind kindOf(StyleColor color)
{
    if (color == ColorError)
        return TraceFilter::ErrorKind;
    if (!isTraffic(color))
        return TraceFilter::StatusKind;
    switch ((color - ColorRawRx1) % (ColorRawRx2 - ColorRawRx1) / 2) {
    case 0: return TraceFilter::RawKind;
    case 1: return TraceFilter::HexKind;
    default: return TraceFilter::MessageKind;
    }
}

} // namespace

TraceFilter::TraceFilter(TraceModel* source, QObject* parent)
    : QSortFilterProxyModel(parent), m_source(source), m_scan(new TraceScan(this))
{
    // Lines keep the source's order: nothing is sorted.
    setDynamicSortFilter(true);
    setSourceModel(source);
    connect(m_scan, &TraceScan::progress, this, &TraceFilter::progress);
    connect(m_scan, &TraceScan::finished, this, &TraceFilter::prepared);
    // The trace laid out anew: judged again from the start.
    connect(m_scan, &TraceScan::aborted, this, [this] { prepare(m_pending); });
    connect(source, &QAbstractItemModel::rowsRemoved, this, &TraceFilter::onSourceRowsRemoved);
    connect(source, &QAbstractItemModel::rowsInserted, this, &TraceFilter::onSourceRowsInserted);
}

void TraceFilter::prepare(const Conditions& conditions)
{
    m_scan->cancel();
    m_pending = conditions;
    m_verdicts.clear();
    m_scan->start(m_source, 0, 1, false, [this](int row) {
        const qint8 verdict = passes(m_pending, m_source->line(m_source->index(row, 0))) ? 1 : 0;
        if (size_t(row) >= m_verdicts.size())
            m_verdicts.resize(size_t(row) + 1, -1);
        m_verdicts[size_t(row)] = verdict;
        return false;
    });
}

void TraceFilter::commit()
{
    m_conditions = m_pending;
    m_committing = true;
    // The view switches to the filter next: its rows are built now, from
    // the verdicts, not again line by line when the view asks.
    if (isActive())
        setSuspended(false);
    invalidate();
    rowCount();
    m_committing = false;
    m_verdicts.clear();
}

void TraceFilter::cancelPrepare()
{
    m_scan->cancel();
    m_verdicts.clear();
}

bool TraceFilter::isPreparing() const
{
    return m_scan->isRunning();
}

void TraceFilter::onSourceRowsRemoved(const QModelIndex& parent, int first, int last)
{
    if (parent.isValid() || size_t(first) >= m_verdicts.size())
        return;
    const auto end = size_t(last) + 1 < m_verdicts.size() ? m_verdicts.begin() + last + 1 : m_verdicts.end();
    m_verdicts.erase(m_verdicts.begin() + first, end);
}

void TraceFilter::onSourceRowsInserted(const QModelIndex& parent, int first, int last)
{
    if (parent.isValid() || size_t(first) >= m_verdicts.size())
        return;
    m_verdicts.insert(m_verdicts.begin() + first, size_t(last - first + 1), qint8(-1));
}

void TraceFilter::setConditions(const Conditions& conditions)
{
    m_conditions = conditions;
    // One layout change for the view. A row-wise refilter would remove
    // every dropped run of lines on its own, which a tree view handles in
    // time linear in the trace each: minutes at the line limit.
    invalidate();
}

void TraceFilter::setSuspended(bool suspended)
{
    if (suspended != isSuspended())
        setSourceModel(suspended ? nullptr : m_source);
}

bool TraceFilter::isActive() const
{
    const Conditions& c = m_conditions;
    return c.channel != 0 || c.direction != AnyDirection || c.kind != AnyKind || !c.source.isEmpty() ||
           (c.expression.isValid() && !c.expression.isEmpty());
}

bool TraceFilter::accepts(const TraceModel::Line& line) const
{
    return passes(m_conditions, line);
}

bool TraceFilter::passes(const Conditions& c, const TraceModel::Line& line)
{
    if (!line.valid)
        return false;
    const StyleColor color = line.color;
    if (c.channel != 0 && channelOf(line) != c.channel)
        return false;
    if (c.direction != AnyDirection) {
        // Rx colours come first in each pair.
        if (!isTraffic(color) || ((color - ColorRawRx1) % 2 == 0) != (c.direction == Received))
            return false;
    }
    if (c.kind != AnyKind && kindOf(color) != c.kind)
        return false;
    if (!c.source.isEmpty() && !line.source.contains(c.source, Qt::CaseInsensitive))
        return false;
    if (c.expression.isValid() && !c.expression.isEmpty()) {
        const TraceItem::MessageRange* range = line.hasMessage ? &line.message : nullptr;
        if (!range || !c.expression.matches(QRV16::Message(range->bytes), range->start, range->end))
            return false;
    }
    return true;
}

bool TraceFilter::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    if (sourceParent.isValid())
        return true;
    if (m_committing && size_t(sourceRow) < m_verdicts.size() && m_verdicts[size_t(sourceRow)] >= 0)
        return m_verdicts[size_t(sourceRow)] != 0;
    return accepts(m_source->line(m_source->index(sourceRow, 0)));
}

bool TraceFilter::hasChildren(const QModelIndex& parent) const
{
    if (isSuspended())
        return false;
    if (!parent.isValid())
        return rowCount() > 0;
    return m_source->hasChildren(mapToSource(parent));
}
