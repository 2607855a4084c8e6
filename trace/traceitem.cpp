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
      m_time(data.time),
      m_stamp(data.time.isValid() ? stamp : NoStamp),
      m_color(data.color),
      m_src(data.src),
      m_dst(data.dst)
{
}

void TraceItem::setText(const QString& text)
{
    m_text = compact(text);
}

TraceData TraceItem::data() const
{
    return TraceData(m_source, m_color, text(), m_time, m_src, m_dst);
}

TraceItem::~TraceItem()
{
    for (const Slot& slot : std::as_const(m_children))
        delete slot.item;
}

TraceItem* TraceItem::child(int row) const
{
    return row >= 0 && row < m_children.size() ? m_children.at(row).item : nullptr;
}

bool TraceItem::childHasChildren(int row) const
{
    return row >= 0 && row < m_children.size() && m_children.at(row).hasChildren;
}

bool TraceItem::hasChildLines() const
{
    return !m_children.isEmpty() || (m_message && m_message->end > m_message->start);
}

int TraceItem::row() const
{
    return m_parent ? int(m_sequence - m_parent->m_base) : 0;
}

void TraceItem::appendChild(TraceItem* child)
{
    insertBefore(int(m_children.size()), child);
}

void TraceItem::insertBefore(int row, TraceItem* child)
{
    if (!child)
        return;
    row = qBound(0, row, int(m_children.size()));
    child->m_parent = this;
    child->m_sequence = m_base + row;
    m_children.insert(row, Slot{child, child->hasChildLines()});
    if (m_parent && m_children.size() == 1) {
        Slot& mine = m_parent->m_children[this->row()];
        mine.hasChildren = true;
    }
    // Lines go in near the end, so this touches few items.
    for (qsizetype i = row + 1; i < m_children.size(); ++i)
        ++m_children.at(i).item->m_sequence;
}

void TraceItem::remove(int row, int count)
{
    if (row < 0 || count <= 0 || row >= m_children.size())
        return;
    count = qMin(count, int(m_children.size()) - row);
    if (row == 0) {
        removeFirst(count);
        return;
    }
    for (int i = row; i < row + count; ++i)
        delete m_children.at(i).item;
    m_children.remove(row, count);
    for (qsizetype i = row; i < m_children.size(); ++i)
        m_children.at(i).item->m_sequence -= count;
}

void TraceItem::removeFirst(int count)
{
    count = qMin(count, int(m_children.size()));
    if (count <= 0)
        return;
    for (int i = 0; i < count; ++i)
        delete m_children.at(i).item;
    // QList drops leading elements by moving its begin, without copying.
    m_children.remove(0, count);
    m_base += count;
}

TraceItem* TraceItem::takeChild(int row)
{
    if (row < 0 || row >= m_children.size())
        return nullptr;
    TraceItem* child = m_children.at(row).item;
    m_children.remove(row);
    for (qsizetype i = row; i < m_children.size(); ++i)
        --m_children.at(i).item->m_sequence;
    child->m_parent = nullptr;
    return child;
}

QList<TraceItem*> TraceItem::takeChildren()
{
    QList<TraceItem*> children;
    children.reserve(m_children.size());
    for (const Slot& slot : std::as_const(m_children)) {
        slot.item->m_parent = nullptr;
        children.append(slot.item);
    }
    m_children.clear();
    return children;
}

void TraceItem::insertChildren(int row, const QList<TraceItem*>& children)
{
    row = qBound(0, row, int(m_children.size()));
    QList<Slot> slots;
    slots.reserve(children.size());
    for (TraceItem* child : children) {
        if (child)
            slots.append(Slot{child, child->hasChildLines()});
    }
    if (slots.isEmpty())
        return;
    m_children.insert(row, slots.size(), Slot{nullptr, false});
    for (qsizetype i = 0; i < slots.size(); ++i) {
        m_children[row + i] = slots.at(i);
        slots.at(i).item->m_parent = this;
    }
    // One pass renumbers the moved and the following children.
    for (qsizetype i = row; i < m_children.size(); ++i)
        m_children.at(i).item->m_sequence = m_base + i;
    if (m_parent) {
        Slot& mine = m_parent->m_children[this->row()];
        mine.hasChildren = true;
    }
}

void TraceItem::setMessage(const MessageRange& range)
{
    m_message = std::make_unique<MessageRange>(range);
    if (m_parent && hasChildLines())
        m_parent->m_children[row()].hasChildren = true;
}
