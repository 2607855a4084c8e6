// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylecolor.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QString>

#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <vector>

// The top-level lines of a trace, compact: one 32-byte record per line in
// row order, and each line's bytes (a message, raw bytes, a text as UTF-8)
// in chunked arenas that are given back as the oldest lines go. Texts of
// messages and raw bytes are not stored: whoever shows a line writes them.
// Rare properties (a replaced text, a note, removed element lines, a line
// still growing) live beside the records, keyed by the line's bytes.
class TraceLines
{
public:
    enum Kind : quint8 {
        Text,    // a status text; empty for a separator
        Message, // a QRV16 message
        Raw,     // bytes shown as hex pairs
        Dump,    // up to 16 bytes shown as one line of a hex dump
    };
    static constexpr qint64 NoStamp = std::numeric_limits<qint64>::min();

    // One line as it goes in or comes out.
    struct Line
    {
        Kind kind = Text;
        QString source;
        QString text;     // Text lines
        QByteArray bytes; // Message, Raw and Dump lines
        int dumpOffset = 0;
        qint64 stamp = NoStamp; // ms since the epoch
        int color = ColorNone;
        int src = -1;
        int dst = -1;
        // How a message line is written: with the tag tables, in Hungarian
        // notation. Decided when it arrives.
        bool decode = false;
        bool hungarian = false;
        QString originFile; // replayed lines: the file and its line
        qint64 originLine = 0;
    };

    // What the record says, without copying the bytes.
    struct View
    {
        Kind kind = Text;
        int color = ColorNone;
        int src = -1;
        int dst = -1;
        qint64 stamp = NoStamp;
        quint32 count = 1; // shown once, or repeated (hide duplicates)
        QByteArrayView bytes; // the message, raw or dump bytes, or the text as UTF-8
        bool decode = false;
        bool hungarian = false;
        bool hasOrigin = false;
        bool growing = false; // its text is kept apart until it is complete
        bool replaced = false; // its text was replaced: text() has it
        bool hasNote = false;
        bool hasHidden = false;
    };

    TraceLines();
    ~TraceLines();
    TraceLines(TraceLines&& other) noexcept;
    TraceLines& operator=(TraceLines&& other) noexcept;
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    int size() const { return int(m_slots.size()); }
    bool isEmpty() const { return m_slots.empty(); }

    void insert(int row, const Line& line);
    void append(const Line& line) { insert(size(), line); }
    // A text line whose text is replaced as it grows, kept out of the
    // arena until settle().
    void insertGrowing(int row, const Line& line);
    void settle(int row);
    void remove(int row, int count = 1);
    void clear();

    // Lines moved out whole, notes and all, and put back.
    TraceLines take(int row, int count);
    void insert(int row, TraceLines&& lines);

    View view(int row) const;
    Line line(int row) const;
    QString source(int row) const;
    // A Text line's text, or the text that replaced another line's.
    QString text(int row) const;
    void setText(int row, const QString& text);
    void setCount(int row, quint32 count);
    QString note(int row) const;
    void setNote(int row, const QString& note);
    QString originFile(int row) const;
    qint64 originLine(int row) const;
    // Element lines of a message line taken out, by their header offsets.
    QList<int> hidden(int row) const;
    void hide(int row, int header);

    // Bytes held by records and arenas, for the curious.
    size_t memoryUse() const;

private:
    struct Slot;
    struct Chunk;
    struct Growing;
    class Strings;

    char* allocate(size_t size);
    void release(const char* data);
    void freeChunk(std::map<const char*, Chunk>::iterator chunk);
    void drop(const Slot& slot);
    Slot store(const Line& line);
    void fillExtras(const Slot& slot, View* view) const;
    const char* extras(const Slot& slot) const;
    template <typename Side>
    void moveSide(QHash<const char*, Side>& from, QHash<const char*, Side>& to, const char* oldKey,
                  const char* newKey);
    void rekey(const char* oldKey, const char* newKey, TraceLines* target);

    std::deque<Slot> m_slots;
    // Arenas by their start; the newest takes new lines.
    std::map<const char*, Chunk> m_chunks;
    std::map<const char*, Chunk>::iterator m_tail;
    // Where the last release() found its chunk: lines mostly go in order.
    std::map<const char*, Chunk>::iterator m_lastFreed;
    std::unique_ptr<Strings> m_strings;
    QHash<const char*, QString> m_replaced;
    QHash<const char*, QString> m_notes;
    QHash<const char*, QList<int>> m_hidden;
};
