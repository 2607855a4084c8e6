// SPDX-License-Identifier: MIT
#include "trace/tracemodel.h"

#include "connection/ansitext.h"
#include "files/logrecord.h"

#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"

#include <QDir>
#include <QFontMetrics>
#include <QSize>
#include <QTimer>

namespace {

TraceData rootData()
{
    return TraceData(QString(), ColorNone, QString(), QDateTime(), -1, -1);
}

} // namespace

TraceModel::TraceModel(QObject* parent)
    : QAbstractItemModel(parent),
      m_root(std::make_unique<TraceItem>(rootData())),
      m_held(std::make_unique<TraceItem>(rootData()))
{
}

TraceModel::~TraceModel() = default;

QDateTime TraceModel::fillTime(const QDateTime& time, qint64* stamp) const
{
    const QDateTime& given = time.isValid() ? time : m_replayTime;
    if (given.isValid()) {
        *stamp = given.toMSecsSinceEpoch();
        return given;
    }
    *stamp = QDateTime::currentMSecsSinceEpoch();
    return QDateTime::fromMSecsSinceEpoch(*stamp);
}

QModelIndex TraceModel::append(const QString& source, const QString& text, StyleColor color,
                               QDateTime time)
{
    qint64 stamp = 0;
    const QDateTime filled = fillTime(time, &stamp);
    return append(new TraceItem(TraceData(source, color, text, filled, -1, -1), stamp));
}

QModelIndex TraceModel::append(const QString& source, const QRV16::Message& msg, StyleColor color,
                               QDateTime time, int src, int dst)
{
    TraceItem::MessageRange range;
    // A received message shares the bytes of its read: lines arrive and go
    // in order, so reads are kept whole only while their lines live.
    range.bytes = msg.bytes();
    // A long one is copied: sharing, it would keep a read buffer of its own
    // alive, past what the byte limit counts.
    if (range.bytes.size() >= 1024 && range.bytes.capacity() > 2 * range.bytes.size())
        range.bytes = QByteArray(range.bytes.constData(), range.bytes.size());
    range.end = msg.size();
    range.decode = m_options.test(TraceOptions::Decode);
    if (m_options.test(TraceOptions::HungarianNotation))
        range.options |= QRV16::Hungarian;
    qint64 stamp = 0;
    const QDateTime filled = fillTime(time, &stamp);
    // The text is written when asked for: most lines are never shown.
    auto* item = new TraceItem(TraceData(source, color, QString(), filled, src, dst), stamp);
    item->setMessage(range);
    return append(item);
}

QModelIndex TraceModel::append(TraceItem* item)
{
    return insert(item, true);
}

QModelIndex TraceModel::appendUnannounced(const QString& source, const QString& text, StyleColor color)
{
    qint64 stamp = 0;
    const QDateTime filled = fillTime(QDateTime(), &stamp);
    return insert(new TraceItem(TraceData(source, color, text, filled, -1, -1), stamp), false);
}

void TraceModel::announce(const QModelIndex& index)
{
    const TraceItem* item = index2item(index);
    if (!item)
        return;
    if (item->parent() == m_held.get())
        m_heldAnnounced.insert(item);
    else
        Q_EMIT appended(index.siblingAtColumn(0));
}

int TraceModel::sortedRow(const TraceItem* part, qint64 stamp) const
{
    const int n = part->childCount();
    int row = n;
    if (stamp != TraceItem::NoStamp) {
        const int lowest = qMax(n - ScanLines, 0);
        for (int i = n - 1; i >= lowest; --i) {
            const qint64 other = part->child(i)->stamp();
            if (other == TraceItem::NoStamp || other <= stamp || other - stamp >= ScanMilliseconds)
                break;
            row = i;
        }
    }
    return row;
}

QModelIndex TraceModel::insert(TraceItem* item, bool announce)
{
    if (!item)
        return QModelIndex();
    if (!m_replayOrigin.file.isEmpty())
        item->setOrigin(m_replayOrigin);
    if (m_block && !m_blockTurn)
        return hold(item, announce);
    TraceItem* root = m_root.get();
    const int n = root->childCount();
    const int row = sortedRow(root, item->stamp());
    // The next batch drops the lines over the limit from the top; a line
    // among them would only come and go.
    if (row < n + 1 - m_limit) {
        delete item;
        return QModelIndex();
    }

    if (row < m_published) {
        // Sorted in among lines the views know: they must hear of it now.
        syncPersistent();
        beginInsertRows(QModelIndex(), row, row);
        root->insertBefore(row, item);
        ++m_published;
        m_originKnown = false;
        endInsertRows();
    } else {
        root->insertBefore(row, item);
        m_originKnown = false;
        // Held lines count on behind the others: theirs moved unannounced.
        if (m_held->childCount() > 0)
            m_persistentStale = true;
    }
    if (pendingCount() >= qMin(MaxPendingLines, m_limit))
        flush();
    else
        scheduleFlush();

    const QModelIndex index = createIndex(item->row(), 0, item);
    if (announce)
        Q_EMIT appended(index);
    return index;
}

QModelIndex TraceModel::hold(TraceItem* item, bool announce)
{
    TraceItem* held = m_held.get();
    const int row = sortedRow(held, item->stamp());
    if (row < held->childCount())
        m_persistentStale = true;
    held->insertBefore(row, item);
    if (announce)
        m_heldAnnounced.insert(item);
    // Past the limit they would all go when the block ends.
    if (held->childCount() > m_limit) {
        if (held->child(0) == item) {
            dropHeld(0);
            return QModelIndex();
        }
        dropHeld(0);
    }
    return createIndex(topRow(item), 0, item);
}

void TraceModel::dropHeld(int row)
{
    const TraceItem* line = m_held->child(row);
    if (!line)
        return;
    forgetPersistent(line);
    m_heldAnnounced.remove(line);
    m_held->remove(row);
    m_persistentStale = true;
}

void TraceModel::forgetPersistent(const TraceItem* line)
{
    const QModelIndexList indexes = persistentIndexList();
    for (const QModelIndex& index : indexes) {
        const TraceItem* item = index2item(index);
        while (item && item != line && !isTopLevel(item))
            item = item->parent();
        if (item == line)
            changePersistentIndex(index, QModelIndex());
    }
}

void TraceModel::syncPersistent()
{
    if (!m_persistentStale)
        return;
    m_persistentStale = false;
    const QModelIndexList indexes = persistentIndexList();
    for (const QModelIndex& index : indexes) {
        TraceItem* item = index2item(index);
        if (!item || !isTopLevel(item))
            continue;
        const int row = topRow(item);
        if (row != index.row())
            changePersistentIndex(index, createIndex(row, index.column(), item));
    }
}

bool TraceModel::isTopLevel(const TraceItem* item) const
{
    return item && (item->parent() == m_root.get() || item->parent() == m_held.get());
}

int TraceModel::topRow(const TraceItem* item) const
{
    return item->parent() == m_held.get() ? m_root->childCount() + item->row() : item->row();
}

int TraceModel::linesAfter(const QModelIndex& line) const
{
    const TraceItem* item = index2item(line);
    if (!isTopLevel(item))
        return -1;
    return item->parent()->childCount() - 1 - item->row();
}

void TraceModel::beginBlock()
{
    m_block = true;
    m_blockTurn = false;
}

void TraceModel::endBlock()
{
    if (!m_block)
        return;
    m_block = false;
    m_blockTurn = false;
    if (m_held->childCount() == 0)
        return;
    // The block first, so that the limit counts the held lines as lines
    // that views have yet to hear of.
    flush();
    const QList<TraceItem*> lines = m_held->takeChildren();
    m_root->insertChildren(m_root->childCount(), lines);
    m_originKnown = false;
    syncPersistent();
    QSet<const TraceItem*> announced;
    announced.swap(m_heldAnnounced);
    for (TraceItem* line : lines) {
        if (announced.contains(line))
            Q_EMIT appended(createIndex(line->row(), 0, line));
    }
    if (pendingCount() >= qMin(MaxPendingLines, m_limit))
        flush();
    else
        scheduleFlush();
}

void TraceModel::setReplayOrigin(const QString& file, qint64 line)
{
    m_replayOrigin.file = file;
    m_replayOrigin.line = line;
}

void TraceModel::scheduleFlush()
{
    if (pendingCount() == 0 && lineCount() <= m_limit && lineBytes() <= m_byteLimit)
        return;
    if (!m_flushTimer) {
        m_flushTimer = new QTimer(this);
        m_flushTimer->setSingleShot(true);
        connect(m_flushTimer, &QTimer::timeout, this, &TraceModel::flush);
    }
    if (m_flushTimer->isActive())
        return;
    const qint64 since = m_sinceFlush.isValid() ? m_sinceFlush.elapsed() : qint64(BatchMilliseconds);
    // A zero interval still waits for the next event-loop turn.
    m_flushTimer->start(int(qBound(qint64(0), qint64(BatchMilliseconds) - since, qint64(BatchMilliseconds))));
}

void TraceModel::flush()
{
    if (m_flushTimer)
        m_flushTimer->stop();
    m_sinceFlush.start();
    TraceItem* root = m_root.get();
    // Waiting lines never outnumber the limit, so the surplus is all known.
    int surplus = qMax(0, qMin(root->childCount() - m_limit, m_published));
    // Then the oldest known lines while the rest keep too much.
    qint64 over = root->childrenWeight() - m_byteLimit;
    for (int i = 0; i < surplus; ++i)
        over -= root->childWeight(i);
    while (over > 0 && surplus < m_published)
        over -= root->childWeight(surplus++);
    syncPersistent();
    if (surplus > 0) {
        beginRemoveRows(QModelIndex(), 0, surplus - 1);
        root->removeFirst(surplus);
        m_published -= surplus;
        m_originKnown = false;
        endRemoveRows();
    }
    const int first = m_published;
    const int count = root->childCount() - first;
    if (count <= 0)
        return;
    beginInsertRows(QModelIndex(), first, first + count - 1);
    m_published += count;
    endInsertRows();
    // The lines just shown may keep too much: the next batch drops the oldest.
    if (lineBytes() > m_byteLimit)
        scheduleFlush();
}

bool TraceModel::isPublished(const TraceItem* item) const
{
    while (item && item->parent() && !isTopLevel(item))
        item = item->parent();
    return item && item->parent() == m_root.get() && item->row() < m_published;
}

QModelIndex TraceModel::appendSeparator()
{
    return append(new TraceItem(rootData()));
}

void TraceModel::removeItem(TraceItem* parent, int row, int count)
{
    syncPersistent();
    beginRemoveRows(item2index(parent), row, row + count - 1);
    parent->remove(row, count);
    if (parent == m_root.get())
        m_published -= count;
    m_originKnown = false;
    endRemoveRows();
}

void TraceModel::remove(const QModelIndex& index)
{
    TraceItem* item = index2item(index);
    if (!item)
        return;
    if (item->parent() == m_held.get()) {
        dropHeld(item->row());
        return;
    }
    // Views can only be told of removing a line they know.
    if (!isPublished(item))
        flush();
    removeItem(item->parent(), item->row(), 1);
}

bool TraceModel::removeRows(int row, int count, const QModelIndex& parent)
{
    if (parent.isValid() && parent.model() != this)
        return false;
    TraceItem* item = itemOrRoot(parent);
    if (item != m_root.get() && !isPublished(item))
        flush();
    if (row < 0 || count <= 0 || row + count > rowCount(parent))
        return false;
    removeItem(item, row, count);
    return true;
}

void TraceModel::clear()
{
    beginResetModel();
    m_root = std::make_unique<TraceItem>(rootData());
    m_held = std::make_unique<TraceItem>(rootData());
    m_heldAnnounced.clear();
    m_persistentStale = false;
    m_published = 0;
    m_originKnown = false;
    if (m_flushTimer)
        m_flushTimer->stop();
    endResetModel();
}

TraceModel::Lines TraceModel::takeAll()
{
    beginResetModel();
    const QList<TraceItem*> taken = m_root->takeChildren();
    m_published = 0;
    m_originKnown = false;
    m_persistentStale = false;
    if (m_flushTimer)
        m_flushTimer->stop();
    endResetModel();
    Lines lines;
    lines.reserve(size_t(taken.size()));
    for (TraceItem* line : taken)
        lines.emplace_back(line);
    return lines;
}

std::unique_ptr<TraceItem> TraceModel::take(const QModelIndex& line)
{
    TraceItem* item = index2item(line);
    if (!item || item->parent() != m_root.get())
        return nullptr;
    // Views can only be told of removing a line they know.
    if (!isPublished(item))
        flush();
    const int row = item->row();
    syncPersistent();
    beginRemoveRows(QModelIndex(), row, row);
    std::unique_ptr<TraceItem> taken(m_root->takeChild(row));
    --m_published;
    m_originKnown = false;
    endRemoveRows();
    return taken;
}

void TraceModel::restore(Lines lines, int row)
{
    QList<TraceItem*> items;
    items.reserve(qsizetype(lines.size()));
    for (std::unique_ptr<TraceItem>& line : lines) {
        if (line)
            items.append(line.release());
    }
    if (items.isEmpty())
        return;
    // Views know every line, so that the row is theirs.
    flush();
    row = qBound(0, row, m_published);
    syncPersistent();
    beginInsertRows(QModelIndex(), row, row + int(items.size()) - 1);
    m_root->insertChildren(row, items);
    m_published += int(items.size());
    m_originKnown = false;
    endInsertRows();
    if (lineCount() > m_limit)
        flush();
}

void TraceModel::count(const QModelIndex& index)
{
    TraceItem* item = index2item(index);
    if (!item)
        return;
    const QString text = lineText(item);
    const qsizetype close = text.lastIndexOf(QLatin1Char(')'));
    const qsizetype open = close > 0 ? text.lastIndexOf(QLatin1Char('('), close - 1) : -1;
    QString counted;
    if (open >= 0) {
        const QStringView digits = QStringView(text).mid(open + 1, close - open - 1);
        bool numeric = !digits.isEmpty();
        for (const QChar c : digits)
            numeric = numeric && c >= QLatin1Char('0') && c <= QLatin1Char('9');
        bool ok = false;
        const qulonglong k = numeric ? digits.toULongLong(&ok) : 0;
        if (ok && k < std::numeric_limits<qulonglong>::max())
            counted = text.left(open + 1) + QString::number(k + 1) + QStringView(text).mid(close);
    }
    if (counted.isNull())
        counted = text + QStringLiteral(" (2)");
    update(index, counted);
}

void TraceModel::update(const QModelIndex& index, const QString& text)
{
    TraceItem* item = index2item(index);
    if (!item)
        return;
    item->setText(text);
    if (!isPublished(item))
        return;
    const int row = item->row();
    Q_EMIT dataChanged(createIndex(row, 0, item), createIndex(row, ColumnCount - 1, item));
}

void TraceModel::setOptions(const TraceOptions& options)
{
    const bool relative = options.test(TraceOptions::RelativeTime) != m_options.test(TraceOptions::RelativeTime);
    m_options = options;
    // Relative times count from the first line: the column changes as a whole.
    if (relative && m_published > 0)
        Q_EMIT dataChanged(index(0, TimeColumn), index(m_published - 1, TimeColumn), {Qt::DisplayRole});
}

void TraceModel::setStyle(const StyleSettings* style)
{
    Q_EMIT layoutAboutToBeChanged();
    m_style = style;
    compileColorRules();
    if (style) {
        const int text = QFontMetrics(style->textFont()).height();
        const int code = QFontMetrics(style->codeFont()).height();
        m_rowHeight = qMax(qMax(text, code), 16);
    }
    Q_EMIT layoutChanged();
}

void TraceModel::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    compileColorRules();
    if (!m_colorRules.empty() && m_published > 0)
        Q_EMIT dataChanged(index(0, 0), index(m_published - 1, ColumnCount - 1), {Qt::ForegroundRole});
}

void TraceModel::compileColorRules()
{
    m_colorRules.clear();
    if (!m_style)
        return;
    for (const StyleSettings::ColorRule& rule : m_style->colorRules()) {
        if (!rule.enabled || !rule.color.isValid())
            continue;
        CompiledRule compiled;
        if (compiled.expression.parse(rule.expression, m_tags) && !compiled.expression.isEmpty()) {
            compiled.color = rule.color;
            m_colorRules.push_back(std::move(compiled));
        }
    }
}

void TraceModel::setLimit(int lines)
{
    // Waiting lines first, so that the surplus goes in one removal.
    flush();
    m_limit = qMax(lines, 1);
    flush();
    const int heldSurplus = m_held->childCount() - m_limit;
    for (int i = 0; i < heldSurplus; ++i)
        dropHeld(0);
}

void TraceModel::setByteLimit(qint64 bytes)
{
    flush();
    m_byteLimit = qMax(bytes, qint64(1));
    flush();
}

qint64 TraceModel::origin() const
{
    if (!m_originKnown) {
        // Only separators come before the first timed line, so this stops early.
        m_origin = TraceItem::NoStamp;
        for (int i = 0; i < m_root->childCount(); ++i) {
            const qint64 stamp = m_root->child(i)->stamp();
            if (stamp != TraceItem::NoStamp) {
                m_origin = stamp;
                break;
            }
        }
        m_originKnown = true;
    }
    return m_origin;
}

QString TraceModel::timestamp(const QDateTime& time) const
{
    if (!m_options.test(TraceOptions::RelativeTime))
        return time.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
    const qint64 first = origin();
    const qint64 ms = first == TraceItem::NoStamp || !time.isValid()
                          ? 0
                          : time.toMSecsSinceEpoch() - first;
    const qint64 magnitude = ms < 0 ? -ms : ms;
    return (ms < 0 ? QStringLiteral("-") : QString()) + QString::number(magnitude / 1000) +
           QLatin1Char('.') + QString::number(magnitude % 1000).rightJustified(3, QLatin1Char('0'));
}

QString TraceModel::logData(const TraceData& data)
{
    const QString& text = data.text;
    return LogRecord::format(data.time, data.source, AnsiText::hasEscapes(text) ? AnsiText::strip(text) : text,
                             data.color, data.src, data.dst);
}

TraceItem* TraceModel::itemOrRoot(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != this)
        return m_root.get();
    return static_cast<TraceItem*>(index.internalPointer());
}

QModelIndex TraceModel::item2index(const TraceItem* item, int column) const
{
    if (!item || !item->parent())
        return QModelIndex();
    return createIndex(topRow(item), column, const_cast<TraceItem*>(item));
}

TraceItem* TraceModel::index2item(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != this)
        return nullptr;
    return static_cast<TraceItem*>(index.internalPointer());
}

QString TraceModel::lineText(const TraceItem* item) const
{
    const TraceItem::MessageRange* range = item->message();
    if (item->hasStoredText() || !range)
        return item->text();
    // A view asks for the same few lines again and again as it paints.
    CachedText& cached = m_textCache[(quintptr(item) / alignof(TraceItem)) % TextCacheSize];
    const QRV16::TagDataLut* tags = range->decode ? m_tags : nullptr;
    // Holding the bytes keeps their address from being reused: the same
    // address means the same bytes.
    if (cached.bytes.constData() != range->bytes.constData() || cached.bytes.size() != range->bytes.size() ||
        cached.tags != tags || cached.options != range->options) {
        // Only whole messages keep no text: element lines are written once.
        const QRV16::MessageWriter writer(tags, range->options);
        cached.text = writer.toText(QRV16::Message(range->bytes));
        cached.bytes = range->bytes;
        cached.tags = tags;
        cached.options = range->options;
    }
    return cached.text;
}

void TraceModel::populate(TraceItem* item) const
{
    if (item->hasPendingChildren())
        msg2item(item);
}

void TraceModel::msg2item(TraceItem* parent) const
{
    TraceItem::MessageRange* range = parent->message();
    range->pending = false;
    const QRV16::TagDataLut* tags = range->decode ? m_tags : nullptr;
    const QRV16::MessageWriter writer(tags, range->options);
    const QRV16::Message message(range->bytes);
    const QDateTime time = parent->time();
    for (QRV16::Message::Iterator it(&message, range->start, range->end); !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            continue; // a stub too short for a header
        const QRV16::TagData* data = tags ? tags->tagData(unsigned(tag)) : nullptr;
        QString text = writer.tagToText(tag, data);
        TraceItem::MessageRange nested;
        bool hasNested = false;
        if (QRV16::isNestedTag(tag) && !(data && data->secure) && it.size() >= 0) {
            bool ok = it.size() == 0;
            if (!ok && range->depth + 1 < QRV16::MessageWriter::MaxDepth) {
                const QRV16::Message::Iterator inner = it.getIterator(&ok);
                if (ok) {
                    nested = *range;
                    nested.start = inner.start();
                    nested.end = inner.end();
                    nested.depth = range->depth + 1;
                    nested.pending = true;
                    hasNested = true;
                }
            }
            if (!ok)
                text += QStringLiteral(" = ") + writer.dataToText(it, data);
        } else {
            text += QStringLiteral(" = ") + writer.dataToText(it, data);
        }
        auto* child = new TraceItem(TraceData(QString(), ColorText, text, time, -1, -1));
        if (hasNested)
            child->setMessage(nested);
        parent->appendChild(child);
    }
}

QModelIndex TraceModel::index(int row, int column, const QModelIndex& parent) const
{
    if (row < 0 || column < 0 || column >= ColumnCount || parent.column() > 0)
        return QModelIndex();
    if (parent.isValid() && parent.model() != this)
        return QModelIndex();
    // Waiting lines have indexes too, beyond rowCount(): the model keeps
    // persistent indexes to them in step as lines come and go.
    TraceItem* item = itemOrRoot(parent);
    populate(item);
    TraceItem* child = item->child(row);
    // Held lines count on behind the others.
    if (!child && item == m_root.get())
        child = m_held->child(row - item->childCount());
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex TraceModel::parent(const QModelIndex& index) const
{
    const TraceItem* item = index2item(index);
    if (!item)
        return QModelIndex();
    return item2index(item->parent());
}

int TraceModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    TraceItem* item = itemOrRoot(parent);
    if (item == m_root.get())
        return m_published;
    populate(item);
    return item->childCount();
}

bool TraceModel::hasChildren(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return false;
    if (!parent.isValid())
        return m_published > 0;
    if (parent.model() != this)
        return false;
    // A view asks this of every line it lays out: answered from the root's
    // list when the line is a top-level one, without touching the line.
    const TraceItem* root = m_root.get();
    if (root->child(parent.row()) == parent.internalPointer())
        return root->childHasChildren(parent.row());
    return static_cast<const TraceItem*>(parent.internalPointer())->hasChildLines();
}

int TraceModel::columnCount(const QModelIndex&) const
{
    return ColumnCount;
}

QVariant TraceModel::data(const QModelIndex& index, int role) const
{
    const TraceItem* item = index2item(index);
    if (!item)
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case TimeColumn:
            if (!isTopLevel(item) || item->stamp() == TraceItem::NoStamp)
                return QString();
            return timestamp(item->time());
        case AddrColumn:
            if (item->src() < 0 && item->dst() < 0)
                return QString();
            // A line with only a destination shows its source as -1 too.
            return QString(QString::number(item->src()) +
                           (item->dst() >= 0 ? QStringLiteral(" -> ") + QString::number(item->dst())
                                             : QString()));
        case SourceColumn: return item->source();
        case TextColumn: {
            const QString text = lineText(item);
            return AnsiText::hasEscapes(text) ? AnsiText::strip(text) : text;
        }
        }
        return QVariant();
    case AnsiTextRole:
        if (index.column() == TextColumn && item->hasStoredText()) {
            const QString text = item->text();
            if (AnsiText::hasEscapes(text))
                return text;
        }
        return QVariant();
    case Qt::ToolTipRole: return tooltipData(item, index.column());
    case Qt::FontRole: return fontData(item, index.column());
    case Qt::BackgroundRole:
    case Qt::ForegroundRole: return highlightData(item, role);
    case Qt::SizeHintRole: return QSize(32, m_rowHeight);
    case LogRole: {
        TraceData data = item->data();
        if (!item->hasStoredText())
            data.text = lineText(item);
        return logData(data);
    }
    case DirectionRole:
        if (index.column() != SourceColumn)
            return QVariant();
        return int(isTopLevel(item) ? colorDirection(item->color()) : NoDirection);
    case Qt::AccessibleTextRole:
        if (index.column() == SourceColumn && isTopLevel(item)) {
            switch (colorDirection(item->color())) {
            case Received: return tr("%1 received").arg(item->source());
            case Sent: return tr("%1 sent").arg(item->source());
            case NoDirection: break;
            }
        }
        return QVariant();
    }
    return QVariant();
}

QVariant TraceModel::tooltipData(const TraceItem* item, int column) const
{
    QStringList parts;
    if (const TraceItem::Origin* origin = item->origin()) {
        parts << tr("Replayed from %1, line %2")
                     .arg(QDir::toNativeSeparators(origin->file))
                     .arg(origin->line);
    }
    const TraceItem::MessageRange* range = item->message();
    if (range && column == TextColumn) {
        const QRV16::Message message(range->bytes);
        QRV16::Message::Iterator it(&message, range->start, range->end);
        const QRV16::MessageWriter writer(range->decode ? m_tags : nullptr,
                                          range->options | QRV16::MultiLine);
        if (!range->note.isEmpty())
            parts << range->note;
        parts << writer.formatText(it, 0).trimmed();
    }
    if (parts.isEmpty())
        return QVariant();
    return parts.join(QLatin1Char('\n'));
}

QVariant TraceModel::fontData(const TraceItem* item, int column) const
{
    if (!m_style)
        return QVariant();
    QFont font = column == TextColumn ? m_style->codeFont() : m_style->textFont();
    // Replayed lines are set apart from live traffic at a glance.
    if (item->origin())
        font.setItalic(true);
    return font;
}

QVariant TraceModel::highlightData(const TraceItem* item, int role) const
{
    const StyleColor color = item->color();
    if (!m_style || !StyleSettings::isValid(color))
        return QVariant();
    // Rules colour the text of whole messages, not their element lines.
    const TraceItem::MessageRange* range = item->message();
    if (role == Qt::ForegroundRole && range && isTopLevel(item) && !m_colorRules.empty()) {
        const QRV16::Message message(range->bytes);
        for (const CompiledRule& rule : m_colorRules) {
            if (rule.expression.matches(message, range->start, range->end))
                return rule.color;
        }
    }
    return role == Qt::ForegroundRole ? m_style->color(color) : m_style->color(ColorBackground);
}

QVariant TraceModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return section + 1;
    switch (section) {
    case TimeColumn: return tr("Time");
    case AddrColumn: return tr("Addr");
    case SourceColumn: return tr("#");
    case TextColumn: return tr("Text");
    }
    return QVariant();
}

Qt::ItemFlags TraceModel::flags(const QModelIndex& index) const
{
    if (!index2item(index))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

void TraceModel::setNote(const QModelIndex& index, const QString& note)
{
    TraceItem* item = index.isValid() ? index2item(index) : nullptr;
    if (item && item->message())
        item->message()->note = note;
}
