// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylesettings.h"
#include "trace/tracedata.h"
#include "trace/traceitem.h"
#include "trace/tracelines.h"
#include "trace/traceoptions.h"

#include "qrv16/message.h"
#include "qrv16/messageexpression.h"

#include <QAbstractItemModel>
#include <QDateTime>
#include <QElapsedTimer>
#include <QSet>

#include <memory>
#include <vector>

namespace QRV16 {
class TagDataLut;
}

class QTimer;

// The trace: status, raw byte and message lines in time order, at most
// limit() of them, message lines with their decoded elements as child lines.
// Every call a view makes is O(1) at any number of lines. Views learn of new
// lines in batches (see flush()); appended() reports each line at once.
// Top-level lines are records in a TraceLines store; element lines are
// TraceItems built when asked for and dropped with their line.
class TraceModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Column { TimeColumn = 0, AddrColumn, SourceColumn, TextColumn, ColumnCount };
    // The line's record for the log file.
    static constexpr int LogRole = Qt::UserRole;
    // The text column with the colour escape sequences of the trace printers,
    // for the delegate; invalid for lines without them. Every other role and
    // the log carry the text without them.
    static constexpr int AnsiTextRole = Qt::UserRole + 1;
    // A LineDirection of the source column: what a top-level line's colour
    // says; element lines and status lines have NoDirection.
    static constexpr int DirectionRole = Qt::UserRole + 2;
    static constexpr int DefaultLimit = 100000;
    // A line is sorted in among at most this many last lines ...
    static constexpr int ScanLines = 100;
    // ... and only past lines less than this much later than itself.
    static constexpr qint64 ScanMilliseconds = 2000;
    // Views hear of new lines at most this often, and never within the
    // event-loop turn that added them ...
    static constexpr int BatchMilliseconds = 50;
    // ... unless this many wait: a loop that never returns to the event
    // loop must not hold more than limit() plus a batch.
    static constexpr int MaxPendingLines = 10000;

    explicit TraceModel(QObject* parent = nullptr);
    ~TraceModel() override;

    // Lines without a time get the replay time, or else the current time.
    QModelIndex append(const QString& source, const QString& text, StyleColor color,
                       QDateTime time = QDateTime());
    // Decoded with the tag tables when the decode option is on, in Hungarian
    // notation when that option is on.
    QModelIndex append(const QString& source, const QRV16::Message& msg, StyleColor color,
                       QDateTime time, int src = -1, int dst = -1);
    // Takes ownership of a line's data (not of child items: the trace
    // writes those from the message); returns the line's index, invalid
    // when the line did not stay (null, or pushed out by the limit at once).
    // The index is valid for data(), count() and update() before views
    // know the row.
    QModelIndex append(TraceItem* item);
    QModelIndex appendSeparator();
    // A status line that is still growing: appended() waits until
    // announce(), so that it is logged once, complete.
    QModelIndex appendUnannounced(const QString& source, const QString& text, StyleColor color);
    void announce(const QModelIndex& index);

    void remove(const QModelIndex& index);
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;
    // Every line goes, held ones too.
    void clear();

    // Top-level lines handed out whole, with their child lines, so that
    // they can be put back.
    using Lines = TraceLines;
    // The lines the views know and those waiting for them, in one reset;
    // held lines stay.
    Lines takeAll();
    // Empty for anything but a top-level line that is not held.
    Lines take(const QModelIndex& line);
    // Puts lines back from top-level row `row` on as they are, not sorted
    // by time and not announced again; the oldest go if the limit says so.
    void restore(Lines lines, int row);

    // A replay is one block of the trace in its own order. While a block
    // runs, lines appended outside its turns (live traffic) are held: views
    // do not see them, appended() waits, and when the block ends they follow
    // it in their order. Their indexes serve data(), count(), update() and
    // announce() as any line's do.
    void beginBlock();
    void endBlock();
    bool inBlock() const { return m_block; }
    // On while the replay itself appends: those lines form the block.
    void setBlockTurn(bool on) { m_blockTurn = on; }
    bool isBlockTurn() const { return m_blockTurn; }
    int heldCount() const { return m_held.size(); }
    // Lines appended from now on were replayed from this line of this file:
    // their tool tip says so. An empty file ends that.
    void setReplayOrigin(const QString& file, qint64 line);
    // Top-level lines after this one in its part of the trace (held lines
    // count held ones only); -1 for anything but a top-level line.
    int linesAfter(const QModelIndex& line) const;
    // Bumps the repeat counter at the end of the line's text.
    void count(const QModelIndex& index);
    void update(const QModelIndex& index, const QString& text);
    // A text that heads the tool tip of a message line.
    void setNote(const QModelIndex& index, const QString& note);

    // Decoding and Hungarian notation apply to lines appended from now on;
    // relative time changes the time column of every line.
    void setOptions(const TraceOptions& options);
    TraceOptions options() const { return m_options; }

    // Not owned; null for no style. Call again when its colour rules change.
    void setStyle(const StyleSettings* style);
    const StyleSettings* style() const { return m_style; }
    int rowHeight() const { return m_rowHeight; }

    // Not owned; must stay valid until replaced. Child lines of a message
    // are built on first use with the tables set then.
    // The colour rules are compiled again with the new names.
    void setTags(const QRV16::TagDataLut* tags);
    const QRV16::TagDataLut* tags() const { return m_tags; }

    // Stands in for "now" while valid (replays); invalid to end that.
    void setReplayTime(const QDateTime& time) { m_replayTime = time; }
    QDateTime replayTime() const { return m_replayTime; }

    int limit() const { return m_limit; }
    void setLimit(int lines);
    // Besides the lines, what they keep in memory is limited: a peer that
    // sends long messages would otherwise fill it long before the line
    // limit. Past it the oldest lines go, as past the line limit.
    static constexpr qint64 DefaultByteLimit = qint64(256) << 20;
    qint64 byteLimit() const { return m_byteLimit; }
    void setByteLimit(qint64 bytes);
    // What the lines keep, roughly (TraceLines::weight()).
    qint64 lineBytes() const { return m_lines.weight(); }
    // All lines, those views do not know yet included.
    int lineCount() const { return m_lines.size(); }
    // Lines waiting for the next batch.
    int pendingCount() const { return m_lines.size() - m_published; }
    // Tells views of the waiting lines now: drops the lines over the limit
    // in one removal and adds the new ones in one insertion.
    void flush();

    QString timestamp(const QDateTime& time) const;
    // What relative times count from: the time of the first timed line in
    // ms since the epoch, TraceItem::NoStamp without one.
    qint64 origin() const;
    static QString logData(const TraceData& data);
    // A top-level line's item is built on first use, with its element
    // lines, and stays with the line: for a few lines at a time. Whatever
    // visits every line reads line() instead.
    QModelIndex item2index(const TraceItem* item, int column = 0) const;
    TraceItem* index2item(const QModelIndex& index) const;

    // What a line is, without its text; read, not kept.
    struct Line
    {
        bool valid = false;
        bool topLevel = false;
        quint64 id = 0; // of a top-level line; stays with it, never reused
        QString source;
        StyleColor color = ColorNone;
        qint64 stamp = TraceItem::NoStamp;
        int src = -1;
        int dst = -1;
        // A message line's or a nested element line's message. A top-level
        // line's bytes are the trace's own: copy them to keep them.
        bool hasMessage = false;
        TraceItem::MessageRange message;
        // Shows no text and has no element lines.
        bool separator = false;
        QDateTime time() const;
    };
    Line line(const QModelIndex& index) const;
    // The row of the top-level line with this id, -1 when it is gone;
    // held lines count on after the others.
    int rowOf(quint64 id) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;

Q_SIGNALS:
    void appended(const QModelIndex& index);

private:
    // A top-level line, where it is now: in the lines or the held ones.
    struct Place
    {
        TraceLines* part = nullptr;
        int row = -1;
        explicit operator bool() const { return part; }
    };
    QModelIndex insert(TraceLines::Line line, bool announce);
    QModelIndex hold(const TraceLines::Line& line, bool announce);
    // Where a line of this time goes among the last lines of `part`.
    int sortedRow(const TraceLines& part, qint64 stamp) const;
    // Of a top-level line: held lines count on after the others.
    int topRow(const Place& place) const;
    QModelIndex topIndex(const Place& place, int column = 0) const;
    Place locate(quint64 id, int hint) const;
    // Of a top-level index; empty for element lines and foreign indexes.
    Place place(const QModelIndex& index) const;
    // Of an element line's index; null for top-level lines.
    TraceItem* element(const QModelIndex& index) const;
    // The top-level line an element line belongs to.
    quint64 lineOf(const TraceItem* item) const;
    // The line's element lines, built on first use.
    TraceItem* tree(const Place& place) const;
    // Before views hear of rows coming or going: persistent indexes to held
    // lines get the rows that lines appended since have moved them to.
    void syncPersistent();
    void forgetPersistent(quint64 line);
    void dropHeld(int row);
    // The line's time and its stamp; the current time costs one conversion
    // instead of two.
    QDateTime fillTime(const QDateTime& time, qint64* stamp) const;
    // The line's text: stored, or written from its message.
    QString lineText(const Place& place) const;
    QString lineText(const TraceItem* item) const;
    QVariant topData(const Place& place, int column, int role) const;
    QVariant elementData(const TraceItem* item, int column, int role) const;
    void msg2item(TraceItem* parent) const;
    void populate(TraceItem* item) const;
    QVariant tooltipData(const QString& origin, const TraceItem::MessageRange* range, int column) const;
    QVariant fontData(bool replayed, int column) const;
    QVariant highlightData(StyleColor color, const TraceItem::MessageRange* range, int role) const;
    TraceItem::MessageRange messageOf(const Place& place) const;
    void compileColorRules();
    void removeTop(int row, int count);
    void removeElements(TraceItem* parent, int row, int count);
    void scheduleFlush();
    bool isPublished(const QModelIndex& index) const;
    void setText(const QModelIndex& index, const QString& text);

    // The lines; the first m_published are known to views.
    mutable TraceLines m_lines;
    // The lines held while a block runs, in their order.
    mutable TraceLines m_held;
    QSet<quint64> m_heldAnnounced;
    bool m_block = false;
    bool m_blockTurn = false;
    bool m_persistentStale = false;
    TraceItem::Origin m_replayOrigin;
    int m_limit = DefaultLimit;
    qint64 m_byteLimit = DefaultByteLimit;
    QDateTime m_replayTime;
    TraceOptions m_options;
    const StyleSettings* m_style = nullptr; // Not owned.
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    // The enabled rules that parse, compiled once; evaluated only for the
    // lines a view asks for.
    struct CompiledRule
    {
        QRV16::MessageExpression expression;
        QColor color;
    };
    std::vector<CompiledRule> m_colorRules;
    int m_rowHeight = 32;
    // Top-level lines that views know: the first m_published of m_lines.
    // The rest wait for flush().
    int m_published = 0;
    QTimer* m_flushTimer = nullptr; // Owned (child).
    QElapsedTimer m_sinceFlush;
    // Texts of message lines lately asked for, by the line's id.
    struct CachedText
    {
        quint64 id = 0;
        const QRV16::TagDataLut* tags = nullptr;
        QRV16::TextOptions options;
        QString text;
    };
    static constexpr int TextCacheSize = 512;
    mutable std::vector<CachedText> m_textCache = std::vector<CachedText>(TextCacheSize);
    // Time of the first timed line, for relative time stamps; recomputed
    // after the lines change.
    mutable qint64 m_origin = TraceItem::NoStamp;
    mutable bool m_originKnown = false;
};
