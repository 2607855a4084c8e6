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

// Indexes of top-level lines carry the line's id, odd so that it is told
// from an element line's item address.
quintptr topKey(quint64 id)
{
    return quintptr(id << 1) | 1;
}

bool isTopKey(quintptr key)
{
    return key & 1;
}

quint64 keyId(quintptr key)
{
    return quint64(key >> 1);
}

QDateTime stampTime(qint64 stamp)
{
    return stamp == TraceItem::NoStamp ? QDateTime() : QDateTime::fromMSecsSinceEpoch(stamp);
}

} // namespace

QDateTime TraceModel::Line::time() const
{
    return stampTime(stamp);
}

TraceModel::TraceModel(QObject* parent) : QAbstractItemModel(parent) {}

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
    TraceLines::Line line;
    line.source = source;
    line.text = text;
    line.color = color;
    fillTime(time, &line.stamp);
    return insert(std::move(line), true);
}

QModelIndex TraceModel::append(const QString& source, const QRV16::Message& msg, StyleColor color,
                               QDateTime time, int src, int dst)
{
    TraceLines::Line line;
    line.kind = TraceLines::Message;
    line.source = source;
    // Copied into the trace's arena: the read it came from goes.
    line.bytes = msg.bytes();
    line.color = color;
    line.src = src;
    line.dst = dst;
    line.decode = m_options.test(TraceOptions::Decode);
    line.hungarian = m_options.test(TraceOptions::HungarianNotation);
    fillTime(time, &line.stamp);
    // The text is written when asked for: most lines are never shown.
    return insert(std::move(line), true);
}

QModelIndex TraceModel::append(TraceItem* item)
{
    if (!item)
        return QModelIndex();
    const std::unique_ptr<TraceItem> owned(item);
    TraceLines::Line line;
    line.source = item->source();
    line.color = item->color();
    line.stamp = item->stamp();
    line.src = item->src();
    line.dst = item->dst();
    if (const TraceItem::MessageRange* range = item->message()) {
        line.kind = TraceLines::Message;
        line.bytes = range->bytes.mid(range->start, range->end - range->start);
        line.decode = range->decode;
        line.hungarian = range->options.testFlag(QRV16::Hungarian);
    }
    line.text = item->text();
    const QModelIndex index = insert(line, true);
    if (index.isValid() && line.kind == TraceLines::Message && item->hasStoredText())
        setText(index, line.text);
    return index;
}

QModelIndex TraceModel::appendUnannounced(const QString& source, const QString& text, StyleColor color)
{
    TraceLines::Line line;
    line.source = source;
    line.text = text;
    line.color = color;
    fillTime(QDateTime(), &line.stamp);
    return insert(std::move(line), false);
}

void TraceModel::announce(const QModelIndex& index)
{
    const Place at = place(index);
    if (!at)
        return;
    if (at.part == &m_held)
        m_heldAnnounced.insert(at.part->id(at.row));
    else
        Q_EMIT appended(topIndex(at));
}

int TraceModel::sortedRow(const TraceLines& part, qint64 stamp) const
{
    const int n = part.size();
    int row = n;
    if (stamp != TraceItem::NoStamp) {
        const int lowest = qMax(n - ScanLines, 0);
        for (int i = n - 1; i >= lowest; --i) {
            const qint64 other = part.stamp(i);
            if (other == TraceItem::NoStamp || other <= stamp || other - stamp >= ScanMilliseconds)
                break;
            row = i;
        }
    }
    return row;
}

QModelIndex TraceModel::insert(TraceLines::Line line, bool announce)
{
    if (!m_replayOrigin.file.isEmpty()) {
        line.originFile = m_replayOrigin.file;
        line.originLine = m_replayOrigin.line;
    }
    if (m_block && !m_blockTurn)
        return hold(line, announce);
    const int n = m_lines.size();
    const int row = sortedRow(m_lines, line.stamp);
    // The next batch drops the lines over the limit from the top; a line
    // among them would only come and go.
    if (row < n + 1 - m_limit)
        return QModelIndex();

    quint64 id = 0;
    if (row < m_published) {
        // Sorted in among lines the views know: they must hear of it now.
        syncPersistent();
        beginInsertRows(QModelIndex(), row, row);
        id = m_lines.insert(row, line);
        ++m_published;
        m_originKnown = false;
        endInsertRows();
    } else {
        id = m_lines.insert(row, line);
        m_originKnown = false;
        // Held lines count on behind the others: theirs moved unannounced.
        if (m_held.size() > 0)
            m_persistentStale = true;
    }
    if (pendingCount() >= qMin(MaxPendingLines, m_limit))
        flush();
    else
        scheduleFlush();

    const int now = m_lines.find(id, row);
    if (now < 0)
        return QModelIndex();
    const QModelIndex index = createIndex(now, 0, topKey(id));
    if (announce)
        Q_EMIT appended(index);
    return index;
}

QModelIndex TraceModel::hold(const TraceLines::Line& line, bool announce)
{
    const int row = sortedRow(m_held, line.stamp);
    if (row < m_held.size())
        m_persistentStale = true;
    const quint64 id = m_held.insert(row, line);
    if (announce)
        m_heldAnnounced.insert(id);
    // Past the limit they would all go when the block ends.
    if (m_held.size() > m_limit) {
        const bool self = m_held.id(0) == id;
        dropHeld(0);
        if (self)
            return QModelIndex();
    }
    return topIndex(Place{&m_held, m_held.find(id, row)});
}

void TraceModel::dropHeld(int row)
{
    if (row < 0 || row >= m_held.size())
        return;
    const quint64 id = m_held.id(row);
    forgetPersistent(id);
    m_heldAnnounced.remove(id);
    m_held.remove(row);
    m_persistentStale = true;
}

quint64 TraceModel::lineOf(const TraceItem* item) const
{
    while (item && item->parent())
        item = item->parent();
    return item ? item->line() : 0;
}

void TraceModel::forgetPersistent(quint64 line)
{
    const QModelIndexList indexes = persistentIndexList();
    for (const QModelIndex& index : indexes) {
        const quintptr key = index.internalId();
        const quint64 id = isTopKey(key) ? keyId(key) : lineOf(static_cast<const TraceItem*>(index.internalPointer()));
        if (id == line)
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
        const Place at = place(index);
        if (!at)
            continue;
        const int row = topRow(at);
        if (row != index.row())
            changePersistentIndex(index, createIndex(row, index.column(), index.internalId()));
    }
}

int TraceModel::topRow(const Place& place) const
{
    return place.part == &m_held ? m_lines.size() + place.row : place.row;
}

QModelIndex TraceModel::topIndex(const Place& place, int column) const
{
    if (!place)
        return QModelIndex();
    return createIndex(topRow(place), column, topKey(place.part->id(place.row)));
}

TraceModel::Place TraceModel::locate(quint64 id, int hint) const
{
    const int lines = m_lines.size();
    // Held lines sit behind the others: a row past them points there.
    if (m_held.size() > 0 && hint >= lines) {
        const int row = m_held.find(id, hint - lines);
        if (row >= 0)
            return Place{&m_held, row};
    }
    int row = m_lines.find(id, hint);
    if (row >= 0)
        return Place{&m_lines, row};
    if (m_held.size() > 0 && hint < lines) {
        row = m_held.find(id, -1);
        if (row >= 0)
            return Place{&m_held, row};
    }
    return Place{};
}

TraceModel::Place TraceModel::place(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != this || !isTopKey(index.internalId()))
        return Place{};
    return locate(keyId(index.internalId()), index.row());
}

TraceItem* TraceModel::element(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != this || isTopKey(index.internalId()))
        return nullptr;
    return static_cast<TraceItem*>(index.internalPointer());
}

int TraceModel::rowOf(quint64 id) const
{
    const Place at = locate(id, -1);
    return at ? topRow(at) : -1;
}

int TraceModel::linesAfter(const QModelIndex& line) const
{
    const Place at = place(line);
    if (!at)
        return -1;
    return at.part->size() - 1 - at.row;
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
    if (m_held.isEmpty())
        return;
    // The block first, so that the limit counts the held lines as lines
    // that views have yet to hear of.
    flush();
    const int first = m_lines.size();
    const int count = m_held.size();
    m_lines.insert(first, m_held.take(0, count));
    m_originKnown = false;
    syncPersistent();
    QSet<quint64> announced;
    announced.swap(m_heldAnnounced);
    for (int row = first; row < first + count && !announced.isEmpty(); ++row) {
        const quint64 id = m_lines.id(row);
        if (announced.remove(id))
            Q_EMIT appended(createIndex(row, 0, topKey(id)));
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
    // Waiting lines never outnumber the limit, so the surplus is all known.
    int surplus = qMax(0, qMin(m_lines.size() - m_limit, m_published));
    // Then the oldest known lines while the rest keep too much.
    qint64 over = m_lines.weight() - m_byteLimit;
    for (int i = 0; i < surplus; ++i)
        over -= m_lines.weight(i);
    while (over > 0 && surplus < m_published)
        over -= m_lines.weight(surplus++);
    syncPersistent();
    if (surplus > 0) {
        beginRemoveRows(QModelIndex(), 0, surplus - 1);
        m_lines.remove(0, surplus);
        m_published -= surplus;
        m_originKnown = false;
        endRemoveRows();
    }
    const int first = m_published;
    const int count = m_lines.size() - first;
    if (count <= 0)
        return;
    beginInsertRows(QModelIndex(), first, first + count - 1);
    m_published += count;
    endInsertRows();
    // The lines just shown may keep too much: the next batch drops the oldest.
    if (lineBytes() > m_byteLimit)
        scheduleFlush();
}

bool TraceModel::isPublished(const QModelIndex& index) const
{
    if (const TraceItem* item = element(index)) {
        const int row = m_lines.find(lineOf(item));
        return row >= 0 && row < m_published;
    }
    const Place at = place(index);
    return at.part == &m_lines && at.row < m_published;
}

QModelIndex TraceModel::appendSeparator()
{
    return insert(TraceLines::Line(), true);
}

void TraceModel::removeTop(int row, int count)
{
    syncPersistent();
    beginRemoveRows(QModelIndex(), row, row + count - 1);
    m_lines.remove(row, count);
    m_published -= count;
    m_originKnown = false;
    endRemoveRows();
}

void TraceModel::removeElements(TraceItem* parent, int row, int count)
{
    syncPersistent();
    beginRemoveRows(item2index(parent), row, row + count - 1);
    parent->remove(row, count);
    endRemoveRows();
}

void TraceModel::remove(const QModelIndex& index)
{
    if (TraceItem* item = element(index)) {
        if (!isPublished(index))
            flush();
        removeElements(item->parent(), item->row(), 1);
        return;
    }
    Place at = place(index);
    if (!at)
        return;
    if (at.part == &m_held) {
        dropHeld(at.row);
        return;
    }
    // Views can only be told of removing a line they know.
    const quint64 id = m_lines.id(at.row);
    if (at.row >= m_published) {
        flush();
        at = locate(id, at.row);
        if (!at || at.part != &m_lines)
            return;
    }
    removeTop(at.row, 1);
}

bool TraceModel::removeRows(int row, int count, const QModelIndex& parent)
{
    if (parent.isValid() && parent.model() != this)
        return false;
    if (!parent.isValid()) {
        if (row < 0 || count <= 0 || row + count > rowCount(parent))
            return false;
        removeTop(row, count);
        return true;
    }
    if (!isPublished(parent))
        flush();
    TraceItem* item = element(parent);
    if (!item) {
        const Place at = place(parent);
        if (!at)
            return false;
        item = tree(at);
    }
    if (row < 0 || count <= 0 || row + count > rowCount(parent))
        return false;
    removeElements(item, row, count);
    return true;
}

void TraceModel::clear()
{
    beginResetModel();
    m_lines.clear();
    m_held.clear();
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
    Lines taken = m_lines.take(0, m_lines.size());
    m_published = 0;
    m_originKnown = false;
    m_persistentStale = false;
    if (m_flushTimer)
        m_flushTimer->stop();
    endResetModel();
    return taken;
}

TraceModel::Lines TraceModel::take(const QModelIndex& line)
{
    Place at = place(line);
    if (!at || at.part != &m_lines)
        return Lines();
    // Views can only be told of removing a line they know.
    if (at.row >= m_published) {
        const quint64 id = m_lines.id(at.row);
        flush();
        at = locate(id, at.row);
        if (!at || at.part != &m_lines)
            return Lines();
    }
    syncPersistent();
    beginRemoveRows(QModelIndex(), at.row, at.row);
    Lines taken = m_lines.take(at.row, 1);
    --m_published;
    m_originKnown = false;
    endRemoveRows();
    return taken;
}

void TraceModel::restore(Lines lines, int row)
{
    if (lines.isEmpty())
        return;
    const int count = lines.size();
    // Views know every line, so that the row is theirs.
    flush();
    row = qBound(0, row, m_published);
    syncPersistent();
    beginInsertRows(QModelIndex(), row, row + count - 1);
    m_lines.insert(row, std::move(lines));
    m_published += count;
    m_originKnown = false;
    endInsertRows();
    if (lineCount() > m_limit)
        flush();
}

void TraceModel::count(const QModelIndex& index)
{
    const Place at = place(index);
    const TraceItem* item = element(index);
    if (!at && !item)
        return;
    const QString text = at ? lineText(at) : lineText(item);
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

void TraceModel::setText(const QModelIndex& index, const QString& text)
{
    if (TraceItem* item = element(index)) {
        item->setText(text);
        return;
    }
    const Place at = place(index);
    if (!at)
        return;
    at.part->setText(at.row, text);
    if (TraceItem* stand = at.part->tree(at.row))
        stand->setText(text);
}

void TraceModel::update(const QModelIndex& index, const QString& text)
{
    const Place at = place(index);
    TraceItem* item = element(index);
    if (!at && !item)
        return;
    setText(index, text);
    if (!isPublished(index))
        return;
    const QModelIndex first = at ? topIndex(at) : createIndex(item->row(), 0, item);
    Q_EMIT dataChanged(first, first.siblingAtColumn(ColumnCount - 1));
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
    const int heldSurplus = m_held.size() - m_limit;
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
        for (int i = 0; i < m_lines.size(); ++i) {
            const qint64 stamp = m_lines.stamp(i);
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

QModelIndex TraceModel::item2index(const TraceItem* item, int column) const
{
    if (!item)
        return QModelIndex();
    // An item without a parent stands for its top-level line.
    if (!item->parent()) {
        const quint64 id = item->line();
        const Place at = id ? locate(id, -1) : Place{};
        return at && at.part->tree(at.row) == item ? topIndex(at, column) : QModelIndex();
    }
    return createIndex(item->row(), column, const_cast<TraceItem*>(item));
}

TraceItem* TraceModel::index2item(const QModelIndex& index) const
{
    if (TraceItem* item = element(index))
        return item;
    const Place at = place(index);
    return at ? tree(at) : nullptr;
}

TraceItem::MessageRange TraceModel::messageOf(const Place& place) const
{
    const TraceLines::View v = place.part->view(place.row);
    TraceItem::MessageRange range;
    range.bytes = QByteArray::fromRawData(v.bytes.data(), v.bytes.size());
    range.end = int(v.bytes.size());
    range.decode = v.decode;
    if (v.hungarian)
        range.options |= QRV16::Hungarian;
    range.note = place.part->note(place.row);
    return range;
}

TraceItem* TraceModel::tree(const Place& place) const
{
    if (TraceItem* built = place.part->tree(place.row))
        return built;
    const TraceLines::View v = place.part->view(place.row);
    auto item = std::make_unique<TraceItem>(TraceData(place.part->source(place.row), v.color,
                                                      place.part->text(place.row), stampTime(v.stamp),
                                                      v.src, v.dst),
                                            v.stamp);
    if (v.kind == TraceLines::Message) {
        TraceItem::MessageRange range = messageOf(place);
        // Its own copy: the item outlives moves of the line between stores.
        range.bytes = QByteArray(range.bytes.constData(), range.bytes.size());
        item->setMessage(range);
    }
    if (v.hasOrigin)
        item->setOrigin(TraceItem::Origin{place.part->originFile(place.row), place.part->originLine(place.row)});
    return place.part->setTree(place.row, std::move(item));
}

TraceModel::Line TraceModel::line(const QModelIndex& index) const
{
    Line line;
    if (const TraceItem* item = element(index)) {
        line.valid = true;
        line.source = item->source();
        line.color = item->color();
        line.stamp = item->stamp();
        line.src = item->src();
        line.dst = item->dst();
        if (const TraceItem::MessageRange* range = item->message()) {
            line.hasMessage = true;
            line.message = *range;
        }
        line.separator = !item->hasText() && !item->hasPendingChildren() && item->childCount() == 0;
        return line;
    }
    const Place at = place(index);
    if (!at)
        return line;
    const TraceLines::View v = at.part->view(at.row);
    line.valid = true;
    line.topLevel = true;
    line.id = v.id;
    line.source = at.part->source(at.row);
    line.color = v.color;
    line.stamp = v.stamp;
    line.src = v.src;
    line.dst = v.dst;
    if (v.kind == TraceLines::Message) {
        line.hasMessage = true;
        line.message = messageOf(at);
    }
    line.separator = v.kind == TraceLines::Text && v.bytes.isEmpty() && !v.replaced;
    return line;
}

QString TraceModel::lineText(const Place& place) const
{
    const TraceLines::View v = place.part->view(place.row);
    if (v.replaced || v.kind == TraceLines::Text)
        return place.part->text(place.row);
    // A view asks for the same few lines again and again as it paints.
    CachedText& cached = m_textCache[v.id % TextCacheSize];
    const QRV16::TagDataLut* tags = v.decode ? m_tags : nullptr;
    const QRV16::TextOptions options = v.hungarian ? QRV16::TextOptions(QRV16::Hungarian) : QRV16::TextOptions();
    // Ids are never used again: the same id means the same bytes.
    if (cached.id != v.id || cached.tags != tags || cached.options != options) {
        const QRV16::MessageWriter writer(tags, options);
        cached.text = writer.toText(QRV16::Message(QByteArray::fromRawData(v.bytes.data(), v.bytes.size())));
        cached.id = v.id;
        cached.tags = tags;
        cached.options = options;
    }
    return cached.text;
}

QString TraceModel::lineText(const TraceItem* item) const
{
    const TraceItem::MessageRange* range = item->message();
    if (item->hasStoredText() || !range)
        return item->text();
    const QRV16::MessageWriter writer(range->decode ? m_tags : nullptr, range->options);
    return writer.toText(QRV16::Message(range->bytes));
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
    if (!parent.isValid()) {
        // Waiting lines have indexes too, beyond rowCount(): the model keeps
        // persistent indexes to them in step as lines come and go. Held
        // lines count on behind the others.
        if (row < m_lines.size())
            return createIndex(row, column, topKey(m_lines.id(row)));
        if (row - m_lines.size() < m_held.size())
            return createIndex(row, column, topKey(m_held.id(row - m_lines.size())));
        return QModelIndex();
    }
    TraceItem* item = index2item(parent);
    if (!item)
        return QModelIndex();
    populate(item);
    TraceItem* child = item->child(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex TraceModel::parent(const QModelIndex& index) const
{
    const TraceItem* item = element(index);
    if (!item)
        return QModelIndex();
    return item2index(item->parent());
}

int TraceModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    if (!parent.isValid() || parent.model() != this)
        return m_published;
    TraceItem* item = index2item(parent);
    if (!item)
        return 0;
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
    if (const TraceItem* item = element(parent))
        return item->hasChildLines();
    // A view asks this of every line it lays out: answered from the record,
    // without building the line's element lines.
    const Place at = place(parent);
    if (!at)
        return false;
    if (const TraceItem* built = at.part->tree(at.row))
        return built->hasChildLines();
    const TraceLines::View v = at.part->view(at.row);
    return v.kind == TraceLines::Message && !v.bytes.isEmpty();
}

int TraceModel::columnCount(const QModelIndex&) const
{
    return ColumnCount;
}

QVariant TraceModel::data(const QModelIndex& index, int role) const
{
    if (const TraceItem* item = element(index))
        return elementData(item, index.column(), role);
    const Place at = place(index);
    return at ? topData(at, index.column(), role) : QVariant();
}

QVariant TraceModel::topData(const Place& at, int column, int role) const
{
    const TraceLines::View v = at.part->view(at.row);
    switch (role) {
    case Qt::DisplayRole:
        switch (column) {
        case TimeColumn:
            if (v.stamp == TraceItem::NoStamp)
                return QString();
            return timestamp(stampTime(v.stamp));
        case AddrColumn:
            if (v.src < 0 && v.dst < 0)
                return QString();
            // A line with only a destination shows its source as -1 too.
            return QString(QString::number(v.src) +
                           (v.dst >= 0 ? QStringLiteral(" -> ") + QString::number(v.dst) : QString()));
        case SourceColumn: return at.part->source(at.row);
        case TextColumn: {
            const QString text = lineText(at);
            return AnsiText::hasEscapes(text) ? AnsiText::strip(text) : text;
        }
        }
        return QVariant();
    case AnsiTextRole:
        if (column == TextColumn && (v.replaced || v.kind == TraceLines::Text)) {
            const QString text = at.part->text(at.row);
            if (AnsiText::hasEscapes(text))
                return text;
        }
        return QVariant();
    case Qt::ToolTipRole: {
        QString origin;
        if (v.hasOrigin) {
            origin = tr("Replayed from %1, line %2")
                         .arg(QDir::toNativeSeparators(at.part->originFile(at.row)))
                         .arg(at.part->originLine(at.row));
        }
        if (v.kind != TraceLines::Message)
            return tooltipData(origin, nullptr, column);
        const TraceItem::MessageRange range = messageOf(at);
        return tooltipData(origin, &range, column);
    }
    case Qt::FontRole: return fontData(v.hasOrigin, column);
    case Qt::BackgroundRole:
    case Qt::ForegroundRole: {
        if (v.kind != TraceLines::Message || role != Qt::ForegroundRole || m_colorRules.empty())
            return highlightData(v.color, nullptr, role);
        const TraceItem::MessageRange range = messageOf(at);
        return highlightData(v.color, &range, role);
    }
    case Qt::SizeHintRole: return QSize(32, m_rowHeight);
    case LogRole:
        return logData(TraceData(at.part->source(at.row), v.color, lineText(at), stampTime(v.stamp), v.src, v.dst));
    case DirectionRole:
        if (column != SourceColumn)
            return QVariant();
        return int(colorDirection(v.color));
    case Qt::AccessibleTextRole:
        if (column == SourceColumn) {
            switch (colorDirection(v.color)) {
            case Received: return tr("%1 received").arg(at.part->source(at.row));
            case Sent: return tr("%1 sent").arg(at.part->source(at.row));
            case NoDirection: break;
            }
        }
        return QVariant();
    }
    return QVariant();
}

QVariant TraceModel::elementData(const TraceItem* item, int column, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        switch (column) {
        case TimeColumn: return QString();
        case AddrColumn:
            if (item->src() < 0 && item->dst() < 0)
                return QString();
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
        if (column == TextColumn && item->hasStoredText()) {
            const QString text = item->text();
            if (AnsiText::hasEscapes(text))
                return text;
        }
        return QVariant();
    case Qt::ToolTipRole: return tooltipData(QString(), item->message(), column);
    case Qt::FontRole: return fontData(false, column);
    case Qt::BackgroundRole:
    case Qt::ForegroundRole: return highlightData(item->color(), nullptr, role);
    case Qt::SizeHintRole: return QSize(32, m_rowHeight);
    case LogRole: {
        TraceData data = item->data();
        if (!item->hasStoredText())
            data.text = lineText(item);
        return logData(data);
    }
    case DirectionRole:
        return column == SourceColumn ? QVariant(int(NoDirection)) : QVariant();
    }
    return QVariant();
}

QVariant TraceModel::tooltipData(const QString& origin, const TraceItem::MessageRange* range, int column) const
{
    QStringList parts;
    if (!origin.isEmpty())
        parts << origin;
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

QVariant TraceModel::fontData(bool replayed, int column) const
{
    if (!m_style)
        return QVariant();
    QFont font = column == TextColumn ? m_style->codeFont() : m_style->textFont();
    // Replayed lines are set apart from live traffic at a glance.
    if (replayed)
        font.setItalic(true);
    return font;
}

QVariant TraceModel::highlightData(StyleColor color, const TraceItem::MessageRange* range, int role) const
{
    if (!m_style || !StyleSettings::isValid(color))
        return QVariant();
    // Rules colour the text of whole messages, not their element lines.
    if (role == Qt::ForegroundRole && range && !m_colorRules.empty()) {
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
    if (!element(index) && !place(index))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

void TraceModel::setNote(const QModelIndex& index, const QString& note)
{
    if (TraceItem* item = element(index)) {
        if (item->message())
            item->message()->note = note;
        return;
    }
    const Place at = place(index);
    if (!at || at.part->kind(at.row) != TraceLines::Message)
        return;
    at.part->setNote(at.row, note);
    if (TraceItem* built = at.part->tree(at.row))
        built->message()->note = note;
}
