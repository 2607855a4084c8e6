// SPDX-License-Identifier: MIT
#include "trace/tracefilter.h"

#include "trace/tracemodel.h"

namespace {

// Traffic colours come in Rx/Tx pairs per kind, channel 2's after channel 1's.
bool isTraffic(StyleColor color)
{
    return color >= ColorRawRx1 && color <= ColorMessageTx2;
}

int channelOf(const TraceItem* line)
{
    if (isTraffic(line->color()))
        return line->color() >= ColorRawRx2 ? 2 : 1;
    const QString& source = line->source();
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
    : QSortFilterProxyModel(parent), m_source(source)
{
    // Lines keep the source's order: nothing is sorted.
    setDynamicSortFilter(true);
    setSourceModel(source);
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

bool TraceFilter::accepts(const TraceItem* line) const
{
    if (!line)
        return false;
    const Conditions& c = m_conditions;
    const StyleColor color = line->color();
    if (c.channel != 0 && channelOf(line) != c.channel)
        return false;
    if (c.direction != AnyDirection) {
        // Rx colours come first in each pair.
        if (!isTraffic(color) || ((color - ColorRawRx1) % 2 == 0) != (c.direction == Received))
            return false;
    }
    if (c.kind != AnyKind && kindOf(color) != c.kind)
        return false;
    if (!c.source.isEmpty() && !line->source().contains(c.source, Qt::CaseInsensitive))
        return false;
    if (c.expression.isValid() && !c.expression.isEmpty()) {
        const TraceItem::MessageRange* range = line->message();
        if (!range || !c.expression.matches(QRV16::Message(range->bytes), range->start, range->end))
            return false;
    }
    return true;
}

bool TraceFilter::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    if (sourceParent.isValid())
        return true;
    return accepts(m_source->index2item(m_source->index(sourceRow, 0)));
}

bool TraceFilter::hasChildren(const QModelIndex& parent) const
{
    if (isSuspended())
        return false;
    if (!parent.isValid())
        return rowCount() > 0;
    return m_source->hasChildren(mapToSource(parent));
}
