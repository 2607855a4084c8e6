// SPDX-License-Identifier: MIT
#pragma once

#include "trace/tracedata.h"

#include "qrv16/types.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>

#include <limits>
#include <memory>

// A trace line's element lines, built for the few lines a view opens or a
// caller asks for (TraceModel keeps top-level lines in TraceLines). A
// child's row is derived from its sequence number and the parent's base, so
// finding it never searches the parent's list and dropping lines from the
// front is O(1).
class TraceItem
{
public:
    // A range of message elements whose child lines are built on first use,
    // decoded as they were when the line was added.
    struct MessageRange
    {
        QByteArray bytes; // shared with the parent line's message
        int start = 0;
        int end = 0;
        int depth = 0;
        bool decode = false;
        QRV16::TextOptions options;
        bool pending = true;
        QString note; // heads the tool tip
    };

    static constexpr qint64 NoStamp = std::numeric_limits<qint64>::min();

    // Where a replayed line comes from: the file and its line.
    struct Origin
    {
        QString file;
        qint64 line = 0;
    };

    explicit TraceItem(const TraceData& data);
    // With the time's stamp known already: saves converting it again.
    TraceItem(const TraceData& data, qint64 stamp);
    ~TraceItem();
    TraceItem(const TraceItem&) = delete;
    TraceItem& operator=(const TraceItem&) = delete;

    // The text is kept in UTF-8: it is most of a line's memory. A message
    // line keeps none until its text is replaced: whoever shows it writes
    // it from the message (TraceModel::lineText()).
    TraceData data() const;
    QString text() const { return QString::fromUtf8(m_text); }
    bool hasStoredText() const { return !m_text.isEmpty(); }
    // Whether the line shows a text: false for separators only.
    bool hasText() const { return !m_text.isEmpty() || m_message; }
    void setText(const QString& text);
    const QString& source() const { return m_source; }
    // Kept as its stamp: a date-time object per line would cost more.
    QDateTime time() const;
    StyleColor color() const { return m_color; }
    int src() const { return m_src; }
    int dst() const { return m_dst; }
    // The time in milliseconds since the epoch, NoStamp when invalid;
    // computed once, since converting a local date-time is slow.
    qint64 stamp() const { return m_stamp; }

    TraceItem* parent() const { return m_parent; }
    TraceItem* child(int row) const;
    int childCount() const { return m_children ? int(m_children->slots.size()) : 0; }
    // Whether the child at `row` has or will build child lines, answered
    // from this item's list without touching the child: a view asks it of
    // every row it lays out.
    bool childHasChildren(int row) const;
    bool hasChildLines() const;
    // What the line keeps in memory, roughly: its text, its message and
    // itself; counted when it becomes a child.
    qint64 weight() const;
    // Of the child at `row`, and of all children, as they were counted.
    qint64 childWeight(int row) const;
    qint64 childrenWeight() const { return m_children ? m_children->weight : 0; }
    int row() const;
    // Of an item without a parent that holds a trace line's element lines:
    // the line's id (TraceLines).
    void setLine(quint64 id) { m_sequence = qint64(id); }
    quint64 line() const { return m_parent ? 0 : quint64(m_sequence); }

    // Take ownership of `child`.
    void appendChild(TraceItem* child);
    void insertBefore(int row, TraceItem* child);
    // Delete children.
    void remove(int row, int count = 1);
    void removeFirst(int count = 1);
    // Children handed out whole, with their own children, and taken back;
    // the caller owns them in between.
    TraceItem* takeChild(int row);
    QList<TraceItem*> takeChildren();
    void insertChildren(int row, const QList<TraceItem*>& children);

    void setMessage(const MessageRange& range);
    MessageRange* message() const { return m_message.get(); }
    bool hasPendingChildren() const { return m_message && m_message->pending; }

    void setOrigin(const Origin& origin) { m_origin = std::make_unique<Origin>(origin); }
    // Null for a line that was not replayed.
    const Origin* origin() const { return m_origin.get(); }

private:
    struct Slot
    {
        TraceItem* item; // Owned.
        bool hasChildren;
        qint64 weight;
    };
    // Most lines never have child lines built: their list is not there.
    struct Children
    {
        QList<Slot> slots;
        qint64 base = 0; // sequence number of the first child
        qint64 weight = 0;
    };
    Children& children();

    QString m_source;
    QByteArray m_text;
    qint64 m_stamp;
    StyleColor m_color;
    int m_src;
    int m_dst;
    TraceItem* m_parent = nullptr;
    std::unique_ptr<Children> m_children;
    qint64 m_sequence = 0; // row + the parent's base
    std::unique_ptr<MessageRange> m_message;
    std::unique_ptr<Origin> m_origin;
};
