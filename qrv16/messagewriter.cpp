#include "qrv16/messagewriter.h"

#include "qrv16/tagdatalut.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace QRV16 {

namespace {

const QString hiddenText = QStringLiteral("<hidden>");

QString raw(const Message::Iterator& it)
{
    // Any payload reads back exactly through the parser's base64 form.
    return QLatin1Char('@') + QString::fromLatin1(it.getByteArray().toBase64());
}

// Whether the canonical encoding of `value` equals the element's payload, so
// that the readable form parses back to the same bytes.
bool sameBytes(const Message::Iterator& it, const Message& canonical)
{
    int size = 0;
    const char* p = it.getData(&size);
    Message::Iterator c = canonical.topLevelIterator();
    int csize = 0;
    const char* q = c.getData(&csize);
    return p && q && size == csize && memcmp(p, q, size_t(size)) == 0;
}

// Whether the payload is the UTF-8 of `text`: bytes that are no UTF-8 print
// as U+FFFD and would read back changed.
bool isUtf8Of(const Message::Iterator& it, const QString& text)
{
    int size = 0;
    const char* p = it.getData(&size);
    int ascii = 0;
    while (ascii < size && uchar(p[ascii]) < 0x80)
        ++ascii;
    if (ascii == size)
        return true;
    const QByteArray back = text.toUtf8();
    return back.size() == size && memcmp(back.constData(), p, size_t(size)) == 0;
}

// ISO dates, which the parser reads, have four-digit years.
bool fourDigitYear(const QDate& date)
{
    return !date.isValid() || date.year() <= 9999;
}

// Fixed-width decimal digits, for dates and times printed from the wire.
void appendDigits(QString& out, quint32 value, int width)
{
    char buf[12];
    int n = 0;
    do {
        buf[n++] = char('0' + value % 10);
        value /= 10;
    } while (value > 0 && n < int(sizeof buf));
    while (n < width)
        buf[n++] = '0';
    char text[12];
    for (int i = 0; i < n; ++i)
        text[i] = buf[n - 1 - i];
    out += QLatin1String(text, n);
}

void appendIsoDate(QString& out, const QDate& date)
{
    int y, m, d;
    date.getDate(&y, &m, &d);
    appendDigits(out, y, 4);
    out += QLatin1Char('-');
    appendDigits(out, m, 2);
    out += QLatin1Char('-');
    appendDigits(out, d, 2);
}

void appendTime(QString& out, int msecs, bool withMs)
{
    appendDigits(out, msecs / 3600000, 2);
    out += QLatin1Char(':');
    appendDigits(out, msecs / 60000 % 60, 2);
    out += QLatin1Char(':');
    appendDigits(out, msecs / 1000 % 60, 2);
    if (withMs) {
        out += QLatin1Char('.');
        appendDigits(out, msecs % 1000, 3);
    }
}

// Whether every wall-clock time of the day exists once in local time, so a
// date-time of that day reads back as written without asking the zone per
// value. Remembered per thread for the last day, and for the TZ variable as
// the C library reads it (a rule change twice in one day is not seen).
bool steadyLocalDay(const QDate& date)
{
    thread_local qint64 lastDay = 0;
    thread_local bool lastSteady = false;
    thread_local std::string lastZone;
    const char* zone = std::getenv("TZ");
    const qint64 day = date.toJulianDay();
    if (day == lastDay && lastZone == (zone ? zone : "\x01"))
        return lastSteady;
    const QDateTime first(date, QTime(0, 0));
    const QDateTime last(date, QTime(23, 59, 59, 999));
    lastSteady = first.isValid() && last.isValid() && first.time() == QTime(0, 0) &&
                 first.offsetFromUtc() == last.offsetFromUtc();
    lastDay = day;
    lastZone = zone ? zone : "\x01";
    return lastSteady;
}

// Whether an integer payload is the shortest encoding of its value, as the
// writer's own append makes it; only then does the readable form read back.
bool shortestInt(quint32 value, int size)
{
    int n = 4;
    while (n > 1 && (value >> (8 * (n - 1))) == 0)
        --n;
    return n == size;
}

// A string payload of printable ASCII with nothing to escape is appended
// as it is; anything else goes through QString and escaped().
bool appendPlainAscii(QString& out, QByteArrayView bytes)
{
    for (char c : bytes) {
        const uchar u = uchar(c);
        if (u < 32 || u >= 127 || u == '"' || u == '\\')
            return false;
    }
    out += QLatin1String(bytes.data(), bytes.size());
    return true;
}

QString intList(const QList<int>& values)
{
    QString s = QStringLiteral("[");
    for (int i = 0; i < values.size(); ++i) {
        if (i)
            s += QStringLiteral(", ");
        s += QString::number(values.at(i));
    }
    return s + QLatin1Char(']');
}

} // namespace

QString escaped(const QString& text, QChar quote)
{
    QString out;
    out.reserve(text.size() + 2);
    for (QChar c : text) {
        const ushort u = c.unicode();
        if (c == quote) {
            out += QLatin1Char('\\');
            out += c;
            continue;
        }
        switch (u) {
        case '\t': out += QLatin1String("\\t"); break;
        case 7: out += QLatin1String("\\a"); break;
        case 0: out += QLatin1String("\\000"); break;
        case 8: out += QLatin1String("\\b"); break;
        case '\r': out += QLatin1String("\\r"); break;
        case '\\': out += QLatin1String("\\\\"); break;
        case '\n': out += QLatin1String("\\n"); break;
        default:
            if (u > 31 && u != 127) {
                out += c;
            } else {
                out += QLatin1String("\\x");
                out += QString::number(u, 16).toUpper().rightJustified(2, QLatin1Char('0'));
            }
        }
    }
    return out;
}

QString hexify(int value)
{
    return QString::number(uint(value), 16).toUpper().rightJustified(4, QLatin1Char('0'));
}

int denibble(int c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

MessageWriter::MessageWriter(const TagDataLut* lut, TextOptions options)
    : m_lut(lut), m_options(options)
{
}

const TagData* MessageWriter::lookup(int tag) const
{
    return m_lut && tag >= 0 ? m_lut->tagData(unsigned(tag)) : nullptr;
}

QString MessageWriter::typePrefix(int tag)
{
    switch (dataType(unsigned(tag))) {
    case DataType::Binary: return QStringLiteral("d");
    case DataType::Integer: return QStringLiteral("i");
    case DataType::Bool: return QStringLiteral("b");
    case DataType::String: return QStringLiteral("s");
    case DataType::Date: return QStringLiteral("de");
    case DataType::Time: return QStringLiteral("tm");
    case DataType::DateTime: return QStringLiteral("dt");
    case DataType::BitArray: return QStringLiteral("ba");
    case DataType::NetworkAddress: return QStringLiteral("adr");
    case DataType::List: return QStringLiteral("lst");
    case DataType::Request: return QStringLiteral("req");
    case DataType::Answer: return QStringLiteral("ans");
    case DataType::Message: return QStringLiteral("msg");
    case DataType::ExtPoint: return QStringLiteral("pt");
    case DataType::ExtRect: return QStringLiteral("bx");
    // The parser knows no "sz": such a name reads back as prefix "s" and
    // fails. Kept as it is; scripts in the field rely on this spelling.
    case DataType::ExtSize: return QStringLiteral("sz");
    }
    return QString();
}

QString MessageWriter::tagToText(int tag) const
{
    return tagToText(tag, lookup(tag));
}

QString MessageWriter::tagToText(int tag, const TagData* data) const
{
    if (data && !data->name.isEmpty()) {
        if (m_options & Hungarian)
            return typePrefix(tag) + data->name;
        return data->name;
    }
    return hexify(tag);
}

void MessageWriter::appendTag(QString& out, int tag, const TagData* data) const
{
    if (data && !data->name.isEmpty()) {
        if (m_options & Hungarian)
            out += typePrefix(tag);
        out += data->name;
        return;
    }
    const char* digits = "0123456789ABCDEF";
    const unsigned u = unsigned(tag);
    if (u > 0xFFFF) {
        out += hexify(tag);
        return;
    }
    const char buf[4] = {digits[u >> 12 & 15], digits[u >> 8 & 15], digits[u >> 4 & 15],
                         digits[u & 15]};
    out += QLatin1String(buf, 4);
}

QString MessageWriter::prettyPrintInteger(qint64 value, const TagData* data) const
{
    if (!data)
        return QString::number(value);
    // Enum values are keyed by 32 bits; a wider payload names one when its
    // upper half only extends the lower, as "-2" in eight bytes or four.
    const quint64 upper = quint64(value) >> 32;
    if (upper == 0 || value == qint64(qint32(value))) {
        const ItemData* e = data->enums.byNumber(quint32(value));
        if (e && !e->name.isEmpty())
            return e->name;
    }
    return formatNumber(quint64(value), data->display);
}

QString MessageWriter::printBitArray(quint64 bits, const TagData* data) const
{
    if (bits == 0)
        return QStringLiteral("0");
    if (!data || data->bits.isEmpty())
        return QStringLiteral("0x") + QString::number(bits, 16).toUpper();
    QString out;
    quint64 unnamed = 0;
    for (int i = 0; i < 64; ++i) {
        const quint64 mask = quint64(1) << i;
        if (!(bits & mask))
            continue;
        const ItemData* b = data->bits.byNumber(quint32(i));
        if (b && !b->name.isEmpty()) {
            if (!out.isEmpty())
                out += QLatin1Char('|');
            out += b->name;
        } else {
            unnamed |= mask;
        }
    }
    if (unnamed) {
        if (!out.isEmpty())
            out += QLatin1Char('|');
        out += QStringLiteral("0x") + QString::number(unnamed, 16).toUpper();
    }
    return out;
}

QString MessageWriter::dataToText(const Message::Iterator& it, const TagData* data) const
{
    return valueText(it, data, 0);
}

void MessageWriter::appendValue(QString& out, const Message::Iterator& it, const TagData* data,
                                int depth) const
{
    if (data && data->secure) {
        out += hiddenText;
        return;
    }
    const int tag = it.tag();
    bool ok = false;
    switch (dataType(unsigned(tag))) {
    case DataType::Integer: {
        // Up to four bytes read unsigned; wider ones take valueText's checks.
        const int size = it.size();
        const quint32 v = quint32(it.getInt(&ok));
        if (!ok || size > 4)
            break;
        if (data) {
            const ItemData* e = data->enums.isEmpty() ? nullptr : data->enums.byNumber(v);
            if (e && !e->name.isEmpty()) {
                out += e->name;
                return;
            }
            if (data->display != DisplayMode()) {
                out += formatNumber(v, data->display);
                return;
            }
        }
        appendDigits(out, v, 1);
        return;
    }
    case DataType::Bool: {
        const bool v = it.getBool(&ok);
        if (!ok)
            break;
        out += v ? QLatin1String("true") : QLatin1String("false");
        return;
    }
    case DataType::String: {
        const QByteArrayView bytes = it.getPayload(&ok);
        if (!ok)
            break;
        const qsizetype mark = out.size();
        out += QLatin1Char('"');
        if (!appendPlainAscii(out, bytes)) {
            out.truncate(mark);
            break;
        }
        out += QLatin1Char('"');
        return;
    }
    case DataType::Date: {
        const int size = it.size();
        const int days = it.getInt(&ok);
        // Days up to 9999-12-31; others (and no date) take valueText's checks.
        if (!ok || days <= 0 || days > 2918000 || !shortestInt(quint32(days), size))
            break;
        appendIsoDate(out, daysSince1990ToDate(days));
        return;
    }
    case DataType::Time: {
        const int size = it.size();
        const quint32 seconds = quint32(it.getInt(&ok));
        if (!ok || seconds >= 86400 || !shortestInt(seconds, size))
            break;
        appendTime(out, int(seconds) * 1000, false);
        return;
    }
    case DataType::DateTime: {
        // Printed from the wire fields; the local date-time is asked only
        // whether it has this wall clock (not so in a daylight-saving gap).
        const int size = it.size();
        const int days = it.getDays(&ok);
        const int msecs = it.getMSecsOfDay();
        if (!ok || days <= 0 || (size != 8 && size != 10))
            break;
        int raw = 0;
        const char* p = it.getData(&raw);
        const quint32 seconds = quint32(uchar(p[4])) | quint32(uchar(p[5])) << 8 |
                                quint32(uchar(p[6])) << 16 | quint32(uchar(p[7])) << 24;
        const unsigned ms = size == 10 ? unsigned(uchar(p[8]) | uchar(p[9]) << 8) : 0;
        if (seconds >= 86400 || ms >= 1000)
            break;
        const QDate date = daysSince1990ToDate(days);
        if (date.year() > 9999)
            break;
        if (!steadyLocalDay(date)) {
            const QDateTime dt = it.getDateTime();
            if (!dt.isValid() || dt.time().msecsSinceStartOfDay() != msecs ||
                dt.date() != date)
                break;
        }
        appendIsoDate(out, date);
        out += QLatin1Char('T');
        appendTime(out, msecs, size == 10);
        return;
    }
    case DataType::List:
    case DataType::Request:
    case DataType::Answer:
    case DataType::Message: {
        Message::Iterator children;
        if (it.size() <= 0 || !childrenOf(it, depth, &children))
            break;
        out += QLatin1Char('(');
        appendElements(out, children, depth + 1);
        out += QLatin1Char(')');
        return;
    }
    default:
        break;
    }
    out += valueText(it, data, depth);
}

QString MessageWriter::valueText(const Message::Iterator& it, const TagData* data, int depth) const
{
    if (data && data->secure)
        return hiddenText;
    const int tag = it.tag();
    bool ok = false;
    switch (dataType(unsigned(tag))) {
    case DataType::Binary: {
        const QByteArray bytes = it.getByteArray(&ok);
        if (!ok)
            return raw(it);
        return bytes.isEmpty() ? QStringLiteral("[]") : QString::fromLatin1(bytes.toHex().toUpper());
    }
    case DataType::Integer: {
        const int size = it.size();
        const qint64 v = size > 4 ? it.getInt64(&ok) : qint64(quint32(it.getInt(&ok)));
        // The parser keeps 32 bits of a number, so wider values go raw.
        if (!ok || (quint64(v) >> 32 != 0 && v != qint64(qint32(v))))
            return raw(it);
        return prettyPrintInteger(v, data);
    }
    case DataType::Bool: {
        const bool v = it.getBool(&ok);
        return ok ? QString::fromLatin1(v ? "true" : "false") : raw(it);
    }
    case DataType::String: {
        const QString s = it.getString(&ok);
        if (!ok || !isUtf8Of(it, s))
            return raw(it);
        return QLatin1Char('"') + escaped(s, QLatin1Char('"')) + QLatin1Char('"');
    }
    case DataType::Date: {
        const QDate d = it.getDate(&ok);
        Message canonical;
        canonical.appendDate(tag, d);
        if (!ok || !sameBytes(it, canonical) || !fourDigitYear(d))
            return raw(it);
        return d.isValid() ? d.toString(Qt::ISODate) : QStringLiteral("0");
    }
    case DataType::Time: {
        const QTime t = it.getTime(&ok);
        Message canonical;
        canonical.appendTime(tag, t);
        if (!ok || !sameBytes(it, canonical))
            return raw(it);
        return t.toString(QStringLiteral("HH:mm:ss"));
    }
    case DataType::DateTime: {
        const QDateTime dt = it.getDateTime(&ok);
        const bool withMs = it.size() >= 10;
        Message canonical;
        canonical.appendDateTime(tag, dt,
                                 withMs ? Message::MillisecondsAlways : Message::MillisecondsAuto);
        if (!ok || !sameBytes(it, canonical) || !fourDigitYear(dt.date()))
            return raw(it);
        if (!dt.isValid())
            return QStringLiteral("0");
        return dt.toString(withMs ? QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")
                                  : QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
    }
    case DataType::BitArray: {
        const int size = it.size();
        const qint64 v = it.getInt64(&ok);
        if (!ok || size > 8)
            return raw(it);
        return printBitArray(quint64(v), data);
    }
    case DataType::NetworkAddress: {
        const IPv4 a = it.getIPAddress(&ok);
        if (!ok || it.size() != 4)
            return raw(it);
        return a.toString();
    }
    case DataType::ExtPoint:
    case DataType::ExtSize: {
        const QPair<int, int> p = it.getPair(&ok);
        Message canonical;
        canonical.appendPair(tag, p);
        if (!ok || !sameBytes(it, canonical))
            return raw(it);
        return intList({p.first, p.second});
    }
    case DataType::ExtRect: {
        const QRect r = it.getRect(&ok);
        Message canonical;
        canonical.appendRect(tag, r);
        if (!ok || !sameBytes(it, canonical))
            return raw(it);
        return intList({r.x(), r.y(), r.width(), r.height()});
    }
    case DataType::List:
    case DataType::Request:
    case DataType::Answer:
    case DataType::Message: {
        if (it.size() == 0)
            return QStringLiteral("()");
        Message::Iterator children;
        if (!childrenOf(it, depth, &children))
            return raw(it);
        QString out(QLatin1Char('('));
        appendElements(out, children, depth + 1);
        out += QLatin1Char(')');
        return out;
    }
    }
    return raw(it);
}

bool MessageWriter::childrenOf(const Message::Iterator& it, int depth,
                               Message::Iterator* children) const
{
    if (depth >= MaxDepth)
        return false;
    bool ok = false;
    *children = it.getIterator(&ok);
    if (!ok)
        return false;
    Message::Iterator probe = *children;
    while (!probe.atEnd())
        ++probe;
    return probe.position() >= 0;
}

void MessageWriter::appendElements(QString& out, Message::Iterator it, int depth) const
{
    bool first = true;
    for (; !it.atEnd(); ++it) {
        if (!first)
            out += QLatin1Char(' ');
        first = false;
        const int tag = it.tag();
        if (tag < 0) {
            // A stub too short for a header: nothing to print.
            continue;
        }
        const TagData* data = lookup(tag);
        appendTag(out, tag, data);
        out += QLatin1Char('=');
        appendValue(out, it, data, depth);
    }
}

void MessageWriter::appendFormatted(QString& out, Message::Iterator it, int indent,
                                    int depth) const
{
    const QString pad(indent, QLatin1Char(' '));
    for (; !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            continue;
        const TagData* data = lookup(tag);
        out += pad;
        out += tagToText(tag, data);
        if (!isNestedTag(tag) || (data && data->secure)) {
            out += QStringLiteral(" = ");
            out += valueText(it, data, depth);
            out += QLatin1Char('\n');
            continue;
        }
        Message::Iterator children;
        if (it.size() == 0) {
            out += QStringLiteral(" = ()\n");
        } else if (!childrenOf(it, depth, &children)) {
            out += QStringLiteral(" = ") + raw(it) + QLatin1Char('\n');
        } else {
            out += QStringLiteral(" = (\n");
            appendFormatted(out, children, indent + 2, depth + 1);
            out += pad;
            out += QStringLiteral(")\n");
        }
    }
}

QString MessageWriter::toText(const Message& message) const
{
    Message::Iterator it = message.topLevelIterator();
    return toText(it);
}

QString MessageWriter::toText(Message::Iterator& it) const
{
    it.rewind();
    if (m_options & MultiLine)
        return formatText(it, 0);
    QString out;
    // About three characters per byte of a typical message.
    out.reserve(qsizetype(it.end() - it.start()) * 3 + 16);
    appendElements(out, it, 0);
    return out;
}

QString MessageWriter::formatText(Message::Iterator& it, int indent) const
{
    QString out;
    appendFormatted(out, it, indent, 0);
    return out;
}

QString Message::toText(const TagDataLut* lut, TextOptions options) const
{
    return MessageWriter(lut, options).toText(*this);
}

} // namespace QRV16
