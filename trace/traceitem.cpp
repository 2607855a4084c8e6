// SPDX-License-Identifier: MIT
#include "trace/traceitem.h"

namespace {

// Trace text is mostly ASCII: narrowed into a buffer of its own size, with
// no worst-case reservation to give back.
QByteArray compact(const QString& text)
{
    const qsizetype n = text.size();
    if (n > 0) {
        QByteArray bytes(n, Qt::Uninitialized);
        const ushort* from = text.utf16();
        char* to = bytes.data();
        qsizetype i = 0;
        while (i < n && from[i] < 0x80) {
            to[i] = char(from[i]);
            ++i;
        }
        if (i == n)
            return bytes;
    }
    QByteArray bytes = text.toUtf8();
    bytes.squeeze();
    return bytes;
}

} // namespace

TraceItem::TraceItem(const TraceData& data)
    : TraceItem(data, data.time.isValid() ? data.time.toMSecsSinceEpoch() : NoStamp)
{
}

TraceItem::TraceItem(const TraceData& data, qint64 stamp)
    : m_source(data.source),
      m_text(compact(data.text)),
      m_stamp(data.time.isValid() ? stamp : NoStamp),
      m_color(data.color),
      m_src(data.src),
      m_dst(data.dst)
{
}

QDateTime TraceItem::time() const
{
    return m_stamp == NoStamp ? QDateTime() : QDateTime::fromMSecsSinceEpoch(m_stamp);
}

void TraceItem::setText(const QString& text)
{
    m_text = compact(text);
}

TraceData TraceItem::data() const
{
    return TraceData(m_source, m_color, text(), time(), m_src, m_dst);
}

TraceItem::~TraceItem()
{
    if (m_children) {
        for (const Slot& slot : std::as_const(m_children->slots))
            delete slot.item;
    }
}

TraceItem::Children& TraceItem::children()
{
    if (!m_children)
        m_children = std::make_unique<Children>();
    return *m_children;
}

TraceItem* TraceItem::child(int row) const
{
    return row >= 0 && row < childCount() ? m_children->slots.at(row).item : nullptr;
}

bool TraceItem::childHasChildren(int row) const
{
    return row >= 0 && row < childCount() && m_children->slots.at(row).hasChildren;
}

bool TraceItem::hasChildLines() const
{
    return childCount() > 0 || (m_message && m_message->end > m_message->start);
}

qint64 TraceItem::weight() const
{
    // Sizes, not capacities: the messages of one read share its buffer.
    return qint64(sizeof(TraceItem)) + m_text.size() + m_source.size() * 2 +
           (m_message ? m_message->bytes.size() : 0);
}

qint64 TraceItem::childWeight(int row) const
{
    return row >= 0 && row < childCount() ? m_children->slots.at(row).weight : 0;
}

int TraceItem::row() const
{
    return m_parent ? int(m_sequence - m_parent->m_children->base) : 0;
}

void TraceItem::appendChild(TraceItem* child)
{
    insertBefore(childCount(), child);
}

void TraceItem::insertBefore(int row, TraceItem* child)
{
    if (!child)
        return;
    Children& kids = children();
    row = qBound(0, row, int(kids.slots.size()));
    child->m_parent = this;
    child->m_sequence = kids.base + row;
    kids.slots.insert(row, Slot{child, child->hasChildLines(), child->weight()});
    kids.weight += kids.slots.at(row).weight;
    if (m_parent && kids.slots.size() == 1)
        m_parent->m_children->slots[this->row()].hasChildren = true;
    // Lines go in near the end, so this touches few items.
    for (qsizetype i = row + 1; i < kids.slots.size(); ++i)
        ++kids.slots.at(i).item->m_sequence;
}

void TraceItem::remove(int row, int count)
{
    if (row < 0 || count <= 0 || row >= childCount())
        return;
    QList<Slot>& slots = m_children->slots;
    count = qMin(count, int(slots.size()) - row);
    if (row == 0) {
        removeFirst(count);
        return;
    }
    for (int i = row; i < row + count; ++i) {
        m_children->weight -= slots.at(i).weight;
        delete slots.at(i).item;
    }
    slots.remove(row, count);
    for (qsizetype i = row; i < slots.size(); ++i)
        slots.at(i).item->m_sequence -= count;
}

void TraceItem::removeFirst(int count)
{
    count = qMin(count, childCount());
    if (count <= 0)
        return;
    QList<Slot>& slots = m_children->slots;
    for (int i = 0; i < count; ++i) {
        m_children->weight -= slots.at(i).weight;
        delete slots.at(i).item;
    }
    // QList drops leading elements by moving its begin, without copying.
    slots.remove(0, count);
    m_children->base += count;
}

TraceItem* TraceItem::takeChild(int row)
{
    if (row < 0 || row >= childCount())
        return nullptr;
    QList<Slot>& slots = m_children->slots;
    TraceItem* child = slots.at(row).item;
    m_children->weight -= slots.at(row).weight;
    slots.remove(row);
    for (qsizetype i = row; i < slots.size(); ++i)
        --slots.at(i).item->m_sequence;
    child->m_parent = nullptr;
    return child;
}

QList<TraceItem*> TraceItem::takeChildren()
{
    QList<TraceItem*> taken;
    if (!m_children)
        return taken;
    taken.reserve(m_children->slots.size());
    for (const Slot& slot : std::as_const(m_children->slots)) {
        slot.item->m_parent = nullptr;
        taken.append(slot.item);
    }
    m_children->slots.clear();
    m_children->weight = 0;
    return taken;
}

void TraceItem::insertChildren(int row, const QList<TraceItem*>& items)
{
    QList<Slot> added;
    added.reserve(items.size());
    for (TraceItem* child : items) {
        if (child)
            added.append(Slot{child, child->hasChildLines(), child->weight()});
    }
    if (added.isEmpty())
        return;
    Children& kids = children();
    row = qBound(0, row, int(kids.slots.size()));
    kids.slots.insert(row, added.size(), Slot{nullptr, false, 0});
    for (qsizetype i = 0; i < added.size(); ++i) {
        kids.slots[row + i] = added.at(i);
        kids.weight += added.at(i).weight;
        added.at(i).item->m_parent = this;
    }
    // One pass renumbers the moved and the following children.
    for (qsizetype i = row; i < kids.slots.size(); ++i)
        kids.slots.at(i).item->m_sequence = kids.base + i;
    if (m_parent)
        m_parent->m_children->slots[this->row()].hasChildren = true;
}

void TraceItem::setMessage(const MessageRange& range)
{
    m_message = std::make_unique<MessageRange>(range);
    if (m_parent && hasChildLines())
        m_parent->m_children->slots[row()].hasChildren = true;
}
