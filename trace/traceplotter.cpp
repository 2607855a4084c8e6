// SPDX-License-Identifier: MIT
#include "trace/traceplotter.h"

#include "trace/traceitem.h"
#include "trace/tracemodel.h"

#include "qrv16/tagdatalut.h"

#include <QDateTime>
#include <QTimer>

#include <algorithm>

namespace {

using QRV16::DataType;

// A slice of collecting leaves the event loop this often; the lines taken
// at once when a tag is added cover a short trace whole.
constexpr qint64 SliceMilliseconds = 20;
constexpr int LinesAtOnce = 4096;

bool secure(const QRV16::TagDataLut* tags, int tag)
{
    const QRV16::TagData* data = tags ? tags->tagData(unsigned(tag)) : nullptr;
    return data && data->secure;
}

bool hasEnums(const QRV16::TagDataLut* tags, int tag)
{
    const QRV16::TagData* data = tags ? tags->tagData(unsigned(tag)) : nullptr;
    return data && !data->enums.isEmpty();
}

void appendQuoted(QByteArray& out, const QString& text)
{
    out += '"';
    out += text.toUtf8().replace('"', "\"\"");
    out += '"';
}

} // namespace

TracePlotter::TracePlotter(TraceModel* model, QObject* parent)
    : QObject(parent), m_model(model), m_collectTimer(new QTimer(this))
{
    m_collectTimer->setInterval(0);
    m_collectTimer->setSingleShot(true);
    connect(m_collectTimer, &QTimer::timeout, this, &TracePlotter::collectSlice);
    connect(model, &TraceModel::appended, this, &TracePlotter::onAppended);
    connect(model, &TraceModel::rowsAboutToBeRemoved, this, &TracePlotter::onRowsAboutToBeRemoved);
    connect(model, &TraceModel::modelAboutToBeReset, this, &TracePlotter::onAboutToBeReset);
}

void TracePlotter::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    // Which integers are enums may have changed.
    for (Tag& tag : m_tagList) {
        tag.seen.clear();
        if (QRV16::dataType(unsigned(tag.tag)) != DataType::Integer || !hasEnums(tags, tag.tag))
            continue;
        for (const Series& series : m_series) {
            if (series.tag != tag.tag)
                continue;
            for (size_t i = series.first; i < series.points.size(); ++i)
                ++tag.seen[qint64(series.points[i].value[0])];
        }
    }
    ++m_revision;
    Q_EMIT tagsChanged();
}

int TracePlotter::plottableTag(const TraceItem* line, const QRV16::TagDataLut* tags)
{
    const TraceItem* parent = line ? line->parent() : nullptr;
    // Only element lines have a parent item: it holds their message.
    const TraceItem::MessageRange* range = parent ? parent->message() : nullptr;
    if (!range)
        return -1;
    // Element lines are built one per readable element, in order.
    const QRV16::Message message(range->bytes);
    int row = line->row();
    for (QRV16::Message::Iterator it(&message, range->start, range->end); !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            break;
        if (row-- > 0)
            continue;
        if (!QRV16::PlotValue::isPlottable(QRV16::dataType(unsigned(tag))) || secure(tags, tag))
            return -1;
        QRV16::PlotValue value;
        return value.read(it) ? tag : -1;
    }
    return -1;
}

bool TracePlotter::addTag(int tag)
{
    if (tag < 0 || !QRV16::PlotValue::isPlottable(QRV16::dataType(unsigned(tag))) || secure(m_tags, tag) ||
        findTag(tag))
        return false;
    m_tagList.emplace_back();
    m_tagList.back().tag = tag;
    m_tagList.back().cursor = 0;
    QElapsedTimer clock;
    clock.start();
    if (!collect(m_tagList.back(), LinesAtOnce, clock))
        m_collectTimer->start();
    ++m_revision;
    Q_EMIT tagsChanged();
    if (!isCollecting())
        Q_EMIT collectingFinished();
    return true;
}

bool TracePlotter::isCollecting() const
{
    return std::any_of(m_tagList.begin(), m_tagList.end(), [](const Tag& t) { return t.cursor >= 0; });
}

void TracePlotter::removeTag(int tag)
{
    const auto gone = std::remove_if(m_tagList.begin(), m_tagList.end(), [tag](const Tag& t) { return t.tag == tag; });
    if (gone == m_tagList.end())
        return;
    m_tagList.erase(gone, m_tagList.end());
    m_series.erase(std::remove_if(m_series.begin(), m_series.end(), [tag](const Series& s) { return s.tag == tag; }),
                   m_series.end());
    ++m_revision;
    Q_EMIT tagsChanged();
}

void TracePlotter::clearTags()
{
    if (m_tagList.empty())
        return;
    m_tagList.clear();
    m_series.clear();
    ++m_revision;
    Q_EMIT tagsChanged();
}

QVector<int> TracePlotter::tags() const
{
    QVector<int> codes;
    for (const Tag& t : m_tagList)
        codes << t.tag;
    return codes;
}

TracePlotter::Tag* TracePlotter::findTag(int tag)
{
    for (Tag& t : m_tagList) {
        if (t.tag == tag)
            return &t;
    }
    return nullptr;
}

const TracePlotter::Tag* TracePlotter::findTag(int tag) const
{
    return const_cast<TracePlotter*>(this)->findTag(tag);
}

int TracePlotter::tagOrder(int tag) const
{
    for (size_t i = 0; i < m_tagList.size(); ++i) {
        if (m_tagList[i].tag == tag)
            return int(i);
    }
    return -1;
}

QString TracePlotter::tagName(int tag) const
{
    return m_tags ? m_tags->tagName(unsigned(tag)) : QRV16::tag2hex(unsigned(tag));
}

QString TracePlotter::name(int series) const
{
    const Series& s = m_series.at(size_t(series));
    QString text = tagName(s.tag);
    if (!s.channel.isEmpty())
        text += QLatin1Char(' ') + s.channel;
    if (s.direction == Received)
        text += QLatin1Char(' ') + tr("received");
    else if (s.direction == Sent)
        text += QLatin1Char(' ') + tr("sent");
    return text;
}

bool TracePlotter::isSteppedTag(int tag) const
{
    const DataType t = QRV16::dataType(unsigned(tag));
    return t == DataType::Bool || t == DataType::BitArray || (t == DataType::Integer && hasEnums(m_tags, tag));
}

int TracePlotter::pointCount(int series) const
{
    const Series& s = m_series.at(size_t(series));
    return int(s.points.size() - s.first);
}

const TracePlotter::Point& TracePlotter::point(int series, int n) const
{
    const Series& s = m_series.at(size_t(series));
    return s.points.at(s.first + size_t(n));
}

QVector<int> TracePlotter::lanes(int tag) const
{
    const Tag* t = findTag(tag);
    const quint64 seen = t ? t->bitsSeen : 0;
    const QRV16::TagData* data = m_tags ? m_tags->tagData(unsigned(tag)) : nullptr;
    QVector<int> bits;
    for (int bit = 0; bit < 64; ++bit) {
        if ((seen >> bit & 1) || (data && data->bits.byNumber(quint32(bit))))
            bits << bit;
    }
    return bits;
}

int TracePlotter::curveCount(int series) const
{
    switch (type(series)) {
    case DataType::ExtPoint: return 2;
    case DataType::BitArray: return int(lanes(tag(series)).size());
    default: return 1;
    }
}

QString TracePlotter::curveName(int series, int curve) const
{
    const Series& s = m_series.at(size_t(series));
    QString part;
    switch (type(series)) {
    case DataType::ExtPoint: part = curve == 0 ? QStringLiteral(".x") : QStringLiteral(".y"); break;
    case DataType::BitArray: {
        const unsigned bit = unsigned(lanes(s.tag).value(curve));
        part = QLatin1Char('.') + (m_tags ? m_tags->bitName(unsigned(s.tag), bit) : QString::number(bit));
        break;
    }
    default: return name(series);
    }
    // The part goes with the tag: "Where.x 1 received".
    return name(series).insert(tagName(s.tag).size(), part);
}

QVector<qint64> TracePlotter::tagLevels(int tag) const
{
    QVector<qint64> values;
    switch (QRV16::dataType(unsigned(tag))) {
    case DataType::Bool: return {0, 1};
    case DataType::BitArray:
        for (int bit : lanes(tag))
            values << bit;
        return values;
    default:
        if (const Tag* t = findTag(tag)) {
            for (const auto& seen : t->seen)
                values << seen.first;
        }
        return values;
    }
}

QStringList TracePlotter::tagLevelNames(int tag) const
{
    QStringList names;
    const unsigned code = unsigned(tag);
    switch (QRV16::dataType(code)) {
    case DataType::Bool: return {QStringLiteral("false"), QStringLiteral("true")};
    case DataType::BitArray:
        for (qint64 bit : tagLevels(tag))
            names << (m_tags ? m_tags->bitName(code, unsigned(bit)) : QString::number(bit));
        return names;
    default:
        for (qint64 value : tagLevels(tag))
            names << (m_tags ? m_tags->enumName(code, unsigned(value)) : QString::number(value));
        return names;
    }
}

double TracePlotter::plainValue(int series, int curve, int n) const
{
    const Point& p = point(series, n);
    if (type(series) == DataType::BitArray) {
        const int bit = lanes(tag(series)).value(curve);
        return double(p.bits >> bit & 1);
    }
    return p.value[curve == 1 ? 1 : 0];
}

void TracePlotter::curveValues(int series, int curve, std::vector<double>* values) const
{
    const Series& s = m_series.at(size_t(series));
    const size_t count = s.points.size() - s.first;
    values->resize(count);
    const Point* points = s.points.data() + s.first;
    const DataType t = type(series);
    const Tag* owner = findTag(s.tag);
    if (t == DataType::BitArray) {
        const int bit = lanes(s.tag).value(curve);
        for (size_t i = 0; i < count; ++i)
            (*values)[i] = curve + double(points[i].bits >> bit & 1) * BitHeight;
    } else if (owner && !owner->seen.empty()) {
        const QVector<qint64> ranks = tagLevels(s.tag);
        for (size_t i = 0; i < count; ++i) {
            const qint64 v = qint64(points[i].value[0]);
            (*values)[i] = double(std::lower_bound(ranks.begin(), ranks.end(), v) - ranks.begin());
        }
    } else {
        const int at = curve == 1 ? 1 : 0;
        for (size_t i = 0; i < count; ++i)
            (*values)[i] = points[i].value[at];
    }
}

QString TracePlotter::valueName(int series, int curve, int n) const
{
    const Point& p = point(series, n);
    const unsigned code = unsigned(tag(series));
    switch (type(series)) {
    case DataType::Bool: return p.value[0] != 0 ? QStringLiteral("true") : QStringLiteral("false");
    case DataType::Integer:
        return hasEnums(m_tags, int(code)) ? m_tags->enumName(code, unsigned(qint64(p.value[0]))) : QString();
    case DataType::Date:
        return QDateTime::fromMSecsSinceEpoch(qint64(p.value[0])).date().toString(Qt::ISODate);
    case DataType::Time:
        return QDateTime::fromMSecsSinceEpoch(qint64(p.value[0])).time().toString(QStringLiteral("hh:mm:ss.zzz"));
    case DataType::DateTime:
        return QDateTime::fromMSecsSinceEpoch(qint64(p.value[0])).toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss.zzz"));
    case DataType::BitArray:
        return plainValue(series, curve, n) != 0 ? QStringLiteral("set") : QStringLiteral("clear");
    default: return QString();
    }
}

QByteArray TracePlotter::toCsv(bool relative, qint64 origin) const
{
    QByteArray out("Time,Series,Value,Name\n");
    for (int s = 0; s < seriesCount(); ++s) {
        const int curves = curveCount(s);
        for (int c = 0; c < curves; ++c) {
            const QString curve = curveName(s, c);
            for (int n = 0; n < pointCount(s); ++n) {
                const qint64 time = point(s, n).time;
                if (relative)
                    out += QByteArray::number(double(time - origin) / 1000.0, 'f', 3);
                else
                    out += QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss.zzz")).toLatin1();
                out += ',';
                appendQuoted(out, curve);
                out += ',';
                out += QByteArray::number(plainValue(s, c, n), 'g', 17);
                out += ',';
                const QString name = valueName(s, c, n);
                if (!name.isEmpty())
                    appendQuoted(out, name);
                out += '\n';
            }
        }
    }
    return out;
}

bool TracePlotter::collect(Tag& tag, int atLeast, const QElapsedTimer& clock)
{
    bool created = false;
    int done = 0;
    while (tag.cursor >= 0 && tag.cursor < m_model->lineCount()) {
        // The clock is read every few hundred lines: it costs more than a line.
        if (done >= atLeast && done % 256 == 0 && clock.elapsed() >= SliceMilliseconds)
            break;
        const TraceModel::Line line = m_model->line(m_model->index(tag.cursor, 0));
        ++tag.cursor;
        ++done;
        if (line.hasMessage)
            addLine(tag, line, QRV16::Message(line.message.bytes), line.message.start, line.message.end, &created);
    }
    if (created)
        Q_EMIT tagsChanged();
    if (tag.cursor >= m_model->lineCount())
        tag.cursor = -1;
    return tag.cursor < 0;
}

void TracePlotter::collectSlice()
{
    QElapsedTimer clock;
    clock.start();
    bool done = true;
    for (size_t i = 0; i < m_tagList.size(); ++i) {
        if (m_tagList[i].cursor >= 0)
            done = collect(m_tagList[i], 0, clock) && done;
    }
    ++m_revision;
    if (!done) {
        m_collectTimer->start();
        return;
    }
    Q_EMIT collectingFinished();
}

bool TracePlotter::addLine(Tag& tag, const TraceModel::Line& line, const QRV16::Message& message, int start,
                          int end, bool* created)
{
    Point p;
    if (!p.find(message, start, end, tag.tag, m_tags))
        return false;
    p.time = line.stamp;
    p.line = line.id;
    addPoint(tag, stream(tag, line, created), p);
    return true;
}

TracePlotter::Series& TracePlotter::stream(const Tag& tag, const TraceModel::Line& line, bool* created)
{
    const QString& channel = line.source;
    const LineDirection direction = colorDirection(line.color);
    const int order = tagOrder(tag.tag);
    // Streams are few (a tag's channels and directions): a scan is cheap.
    size_t at = 0;
    for (; at < m_series.size(); ++at) {
        Series& s = m_series[at];
        if (s.tag == tag.tag) {
            if (s.channel == channel && s.direction == direction)
                return s;
            if (s.channel > channel || (s.channel == channel && s.direction > direction))
                break;
        } else if (tagOrder(s.tag) > order) {
            break;
        }
    }
    Series series;
    series.tag = tag.tag;
    series.channel = channel;
    series.direction = direction;
    *created = true;
    return *m_series.insert(m_series.begin() + qsizetype(at), std::move(series));
}

void TracePlotter::addPoint(Tag& tag, Series& series, const Point& point)
{
    // A line sorted in among the last ones goes among their points.
    const int row = m_model->rowOf(point.line);
    size_t at = series.points.size();
    while (at > series.first && m_model->rowOf(series.points[at - 1].line) > row)
        --at;
    series.points.insert(series.points.begin() + qsizetype(at), point);
    const DataType type = QRV16::dataType(unsigned(tag.tag));
    if (type == DataType::BitArray)
        tag.bitsSeen |= point.bits;
    else if (type == DataType::Integer && hasEnums(m_tags, tag.tag))
        ++tag.seen[qint64(point.value[0])];
    if (series.points.size() - series.first > size_t(m_model->limit()))
        dropFront(series, 1);
}

void TracePlotter::forget(Series& series, const Point& point)
{
    Tag* tag = findTag(series.tag);
    if (!tag || tag->seen.empty())
        return;
    const auto it = tag->seen.find(qint64(point.value[0]));
    if (it != tag->seen.end() && --it->second <= 0)
        tag->seen.erase(it);
}

void TracePlotter::dropFront(Series& series, size_t count)
{
    count = std::min(count, series.points.size() - series.first);
    for (size_t i = 0; i < count; ++i)
        forget(series, series.points[series.first + i]);
    series.first += count;
    // Compacted rarely, so dropping from the front stays O(1) a point.
    if (series.first > 4096 && series.first * 2 > series.points.size()) {
        series.points.erase(series.points.begin(), series.points.begin() + qsizetype(series.first));
        series.first = 0;
    }
}

void TracePlotter::onAppended(const QModelIndex& index)
{
    if (m_tagList.empty())
        return;
    if (index.parent().isValid())
        return;
    const TraceModel::Line line = m_model->line(index);
    if (!line.hasMessage)
        return;
    const TraceItem::MessageRange* range = &line.message;
    const QRV16::Message message(range->bytes);
    bool created = false;
    const int row = index.row();
    for (Tag& tag : m_tagList) {
        if (tag.cursor >= 0) {
            // Ahead of the scan: it will come to the line.
            if (row >= tag.cursor)
                continue;
            // Sorted in behind it: the rows after it moved down by one.
            ++tag.cursor;
        }
        if (addLine(tag, line, message, range->start, range->end, &created))
            ++m_revision;
    }
    // A new stream is a new curve.
    if (created)
        Q_EMIT tagsChanged();
}

void TracePlotter::onRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    if (parent.isValid())
        return;
    for (Tag& tag : m_tagList) {
        if (tag.cursor > first)
            tag.cursor = tag.cursor > last ? tag.cursor - (last - first + 1) : first;
    }
    for (Series& series : m_series) {
        const size_t before = series.points.size() - series.first;
        if (first == 0) {
            // The limit drops lines from the top: their points are in front.
            size_t count = 0;
            while (series.first + count < series.points.size() &&
                   m_model->rowOf(series.points[series.first + count].line) <= last)
                ++count;
            dropFront(series, count);
        } else {
            const auto begin = series.points.begin() + qsizetype(series.first);
            const auto gone = std::remove_if(begin, series.points.end(), [&](const Point& p) {
                const int row = m_model->rowOf(p.line);
                if (row < first || row > last)
                    return false;
                forget(series, p);
                return true;
            });
            series.points.erase(gone, series.points.end());
        }
        if (series.points.size() - series.first != before)
            ++m_revision;
    }
}

void TracePlotter::onAboutToBeReset()
{
    // The streams stay, empty, so the charts keep their curves.
    for (Series& series : m_series) {
        series.points.clear();
        series.first = 0;
    }
    for (Tag& tag : m_tagList) {
        tag.seen.clear();
        tag.bitsSeen = 0;
        if (tag.cursor > 0)
            tag.cursor = 0;
    }
    ++m_revision;
}
