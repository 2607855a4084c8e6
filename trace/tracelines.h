// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylecolor.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QString>
#include <QStringList>

#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <unordered_map>

class TraceItem;

// The top-level lines of a trace, compact: one 40-byte record per line in
// row order, and each line's bytes (a message, or a text as UTF-8) in
// chunked arenas given back as the oldest lines go. Source names are kept
// once. What few lines have (a replaced text, a note, the element lines
// built for a view) lives beside the records, keyed by the line's id: an
// id stays with its line wherever it moves and is never used again.
class TraceLines
{
public:
    enum Kind : quint8 {
        Text,    // a status, raw or dump line; empty for a separator
        Message, // a QRV16 message, written when shown
    };
    static constexpr qint64 NoStamp = std::numeric_limits<qint64>::min();
    // Lines longer than a quarter of this get an arena of their own.
    static constexpr size_t ChunkSize = 64 * 1024;

    // One line as it goes in.
    struct Line
    {
        Kind kind = Text;
        QString source;
        QString text;     // Text lines
        QByteArray bytes; // Message lines
        qint64 stamp = NoStamp;
        StyleColor color = ColorNone;
        int src = -1;
        int dst = -1;
        // How a message line is written, decided when it arrives.
        bool decode = false;
        bool hungarian = false;
        QString originFile; // replayed lines: the file and its line
        qint64 originLine = 0;
    };

    // A line's record; the bytes stay valid while the line stays here.
    struct View
    {
        quint64 id = 0;
        Kind kind = Text;
        StyleColor color = ColorNone;
        int src = -1;
        int dst = -1;
        qint64 stamp = NoStamp;
        QByteArrayView bytes; // the message, or the text as UTF-8
        bool decode = false;
        bool hungarian = false;
        bool hasOrigin = false;
        bool replaced = false; // text() has what replaced it
    };

    TraceLines();
    ~TraceLines();
    TraceLines(TraceLines&& other) noexcept;
    TraceLines& operator=(TraceLines&& other) noexcept;
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    int size() const { return int(m_slots.size()); }
    bool isEmpty() const { return m_slots.empty(); }
    bool empty() const { return m_slots.empty(); }

    // Returns the new line's id.
    quint64 insert(int row, const Line& line);
    quint64 append(const Line& line) { return insert(size(), line); }
    void remove(int row, int count = 1);
    void clear();

    // Lines moved out whole, with what lies beside them, and put back.
    TraceLines take(int row, int count);
    void insert(int row, TraceLines&& lines);

    View view(int row) const;
    quint64 id(int row) const;
    qint64 stamp(int row) const;
    StyleColor color(int row) const;
    Kind kind(int row) const;
    // The row of the line with this id, -1 when it is not here; `hint`
    // is tried first. Ids mostly grow with the row, so this is a binary
    // search and a short look around.
    int find(quint64 id, int hint = -1) const;

    QString source(int row) const;
    // A Text line's text, or what replaced any line's; null for a message
    // line whose text was not replaced.
    QString text(int row) const;
    void setText(int row, const QString& text);
    QString note(int row) const;
    void setNote(int row, const QString& note);
    QString originFile(int row) const;
    qint64 originLine(int row) const;
    // The line's element lines as built so far; null until setTree().
    TraceItem* tree(int row) const;
    TraceItem* setTree(int row, std::unique_ptr<TraceItem> tree);
    // The id of the line a tree belongs to, 0 for none here.
    quint64 treeLine(const TraceItem* tree) const;

    // What a line keeps, and all of them: records, bytes and texts beside.
    qint64 weight(int row) const;
    qint64 weight() const { return m_weight; }
    // Bytes held by records, arenas and what lies beside, for the curious.
    size_t memoryUse() const;

private:
    enum Flag : quint8 {
        IsMessage = 1,
        Decode = 2,
        Hungarian = 4,
        HasOrigin = 8,
        Replaced = 16,
        HasNote = 32,
        HasTree = 64,
        WideSource = 128, // past the names table: the name lies beside
    };
    struct Slot
    {
        quint64 id;
        qint64 stamp;
        const char* data; // origin (when there is one), then the bytes
        quint32 size;     // of the bytes
        quint16 source;
        qint8 color;
        quint8 flags;
        qint32 src;
        qint32 dst;
    };
    static_assert(sizeof(Slot) == 40, "a line's record grows");
    struct Chunk
    {
        size_t size = 0;
        size_t used = 0;
        size_t live = 0; // lines with bytes in it
    };
    using Chunks = std::map<const char*, Chunk>;
    static constexpr size_t OriginSize = sizeof(quint32) + sizeof(qint64);

    char* allocate(size_t size);
    void release(const char* data);
    void freeChunk(Chunks::iterator chunk);
    Slot store(const Line& line, quint64 id);
    // A copy of another store's line in this one, side tables and all.
    Slot adopt(const Slot& from, TraceLines& other);
    void drop(const Slot& slot);
    const char* bytesOf(const Slot& slot) const;
    quint16 intern(const QString& name, bool* wide);

    std::deque<Slot> m_slots;
    Chunks m_chunks;
    char* m_tail = nullptr; // the chunk that takes new lines
    QStringList m_names;
    QHash<QString, quint16> m_nameIds;
    QHash<quint64, QString> m_wideSources;
    QHash<quint64, QString> m_replaced;
    QHash<quint64, QString> m_notes;
    std::unordered_map<quint64, std::unique_ptr<TraceItem>> m_trees;
    qint64 m_weight = 0;
};
