// SPDX-License-Identifier: MIT
#include "qrv16/messagewriter.h"

#include "qrv16/tagdatalut.h"
#include "qrv16/textbuffer.h"

#include <climits>
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

// Civil date of a day count since 1970-01-01, proleptic Gregorian as QDate.
void civilFromDays(qint64 z, int* year, int* month, int* day)
{
    z += 719468;
    const qint64 era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = unsigned(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    *day = int(doy - (153 * mp + 2) / 5 + 1);
    *month = int(mp < 10 ? mp + 3 : mp - 9);
    *year = int(qint64(yoe) + era * 400 + (*month <= 2 ? 1 : 0));
}

// 1970-01-01 to 1990-01-01.
constexpr qint64 daysBefore1990 = 7305;

// Unsigned little-endian, at most `limit` bytes taken, as the iterator reads.
quint64 readLE(const char* p, int size, int limit)
{
    const int n = size < limit ? size : limit;
    quint64 v = 0;
    for (int i = n - 1; i >= 0; --i)
        v = v << 8 | uchar(p[i]);
    return v;
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
        case '\t':
            out += QLatin1String("\\t");
            break;
        case 7:
            out += QLatin1String("\\a");
            break;
        case 0:
            out += QLatin1String("\\000");
            break;
        case 8:
            out += QLatin1String("\\b");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        case '\\':
            out += QLatin1String("\\\\");
            break;
        case '\n':
            out += QLatin1String("\\n");
            break;
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

namespace {

const char* prefixOf(int tag)
{
    switch (dataType(unsigned(tag))) {
    case DataType::Binary:
        return "d";
    case DataType::Integer:
        return "i";
    case DataType::Bool:
        return "b";
    case DataType::String:
        return "s";
    case DataType::Date:
        return "de";
    case DataType::Time:
        return "tm";
    case DataType::DateTime:
        return "dt";
    case DataType::BitArray:
        return "ba";
    case DataType::NetworkAddress:
        return "adr";
    case DataType::List:
        return "lst";
    case DataType::Request:
        return "req";
    case DataType::Answer:
        return "ans";
    case DataType::Message:
        return "msg";
    case DataType::ExtPoint:
        return "pt";
    case DataType::ExtRect:
        return "bx";
    // The parser knows no "sz": such a name reads back as prefix "s" and
    // fails. Kept as it is; scripts in the field rely on this spelling.
    case DataType::ExtSize:
        return "sz";
    }
    return "";
}

} // namespace

QString MessageWriter::typePrefix(int tag)
{
    return QString::fromLatin1(prefixOf(tag));
}

QString MessageWriter::tagToText(int tag) const
{
    return tagToText(tag, lookup(tag));
}

QString MessageWriter::tagToText(int tag, const TagData* data) const
{
    TextBuffer out(16);
    appendTag(out, tag, data);
    return out.take();
}

void MessageWriter::appendTag(TextBuffer& out, int tag, const TagData* data) const
{
    if (data && !data->name.isEmpty()) {
        if (m_options & Hungarian) {
            const char* prefix = prefixOf(tag);
            out.latin1(prefix, qsizetype(std::strlen(prefix)));
        }
        out.append(data->name);
        return;
    }
    const unsigned u = unsigned(tag);
    if (u > 0xFFFF) {
        out.append(hexify(tag));
        return;
    }
    out.hex16(u);
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
    TextBuffer out(16);
    appendBits(out, bits, data);
    return out.take();
}

void MessageWriter::appendBits(TextBuffer& out, quint64 bits, const TagData* data) const
{
    if (bits == 0) {
        out.put('0');
        return;
    }
    if (!data || data->bits.isEmpty()) {
        out.number(bits, DisplayMode(DisplayMode::Hex));
        return;
    }
    bool first = true;
    quint64 unnamed = 0;
    for (quint64 rest = bits; rest; rest &= rest - 1) {
        const int i = qCountTrailingZeroBits(rest);
        const ItemData* b = data->bits.byNumber(quint32(i));
        if (b && !b->name.isEmpty()) {
            if (!first)
                out.put('|');
            first = false;
            out.append(b->name);
        } else {
            unnamed |= quint64(1) << i;
        }
    }
    if (unnamed) {
        if (!first)
            out.put('|');
        out.number(unnamed, DisplayMode(DisplayMode::Hex));
    }
}

QString MessageWriter::dataToText(const Message::Iterator& it, const TagData* data) const
{
    TextBuffer out(qMax(it.size(), 0) * 3 + 16);
    appendValue(out, it, data, 0);
    return out.take();
}

void MessageWriter::appendValue(TextBuffer& out, const Message::Iterator& it, const TagData* data,
                                int depth) const
{
    if (data && data->secure) {
        out.literal("<hidden>");
        return;
    }
    // The payload is read once; `stored` is the size in the header, which
    // the checks compare as valueText's canonical encodings would.
    int size = 0;
    const char* p = it.getData(&size);
    const int stored = it.size();
    switch (p ? dataType(unsigned(it.tag())) : DataType(-1)) {
    case DataType::Binary:
        if (size == 0)
            out.literal("[]");
        else
            out.hex(QByteArrayView(p, size));
        return;
    case DataType::Integer: {
        // Up to four bytes read unsigned; wider ones take valueText's checks.
        if (size <= 0 || stored > 4)
            break;
        const quint32 v = quint32(readLE(p, size, 4));
        if (data) {
            const ItemData* e = data->enums.byNumber(v);
            if (e && !e->name.isEmpty()) {
                out.append(e->name);
                return;
            }
            out.number(v, data->display);
            return;
        }
        out.digits(v, 1);
        return;
    }
    case DataType::Bool:
        if (size != 1)
            break;
        if (p[0])
            out.literal("true");
        else
            out.literal("false");
        return;
    case DataType::String:
        if (!out.asciiString(QByteArrayView(p, size)))
            break;
        return;
    case DataType::Date: {
        if (size <= 0)
            break;
        const quint32 days = quint32(readLE(p, size, 4));
        // Days up to 9999-12-31; others (and no date) take valueText's checks.
        if (days == 0 || days > 2918000 || !shortestInt(days, stored))
            break;
        int y, m, d;
        civilFromDays(daysBefore1990 + days, &y, &m, &d);
        out.isoDate(y, m, d);
        return;
    }
    case DataType::Time: {
        if (size <= 0)
            break;
        const quint32 seconds = quint32(readLE(p, size, 4));
        if (seconds >= 86400 || !shortestInt(seconds, stored))
            break;
        out.time(int(seconds) * 1000, false);
        return;
    }
    case DataType::DateTime: {
        // Printed from the wire fields; the local date-time is asked only
        // whether it has this wall clock (not so in a daylight-saving gap).
        if ((stored != 8 && stored != 10) || size != stored)
            break;
        const quint32 days = quint32(readLE(p, 4, 4));
        const quint32 seconds = quint32(readLE(p + 4, 4, 4));
        const unsigned ms = size == 10 ? unsigned(readLE(p + 8, 2, 2)) : 0;
        if (days == 0 || days > quint32(INT_MAX) || seconds >= 86400 || ms >= 1000)
            break;
        int y, m, d;
        civilFromDays(daysBefore1990 + days, &y, &m, &d);
        if (y > 9999)
            break;
        const int msecs = int(seconds * 1000 + ms);
        const QDate date = daysSince1990ToDate(int(days));
        if (!isSteadyLocalDay(date)) {
            const QDateTime dt = it.getDateTime();
            if (!dt.isValid() || dt.time().msecsSinceStartOfDay() != msecs || dt.date() != date)
                break;
        }
        out.isoDate(y, m, d);
        out.put('T');
        out.time(msecs, size == 10);
        return;
    }
    case DataType::NetworkAddress:
        if (size != 4)
            break;
        out.address(QByteArrayView(p, size));
        return;
    case DataType::BitArray:
        if (size <= 0 || stored > 8)
            break;
        appendBits(out, readLE(p, size, 8), data);
        return;
    case DataType::List:
    case DataType::Request:
    case DataType::Answer:
    case DataType::Message: {
        // Printed while walked: a walk that breaks off is undone and the
        // element takes valueText's raw form, as childrenOf would decide.
        if (stored <= 0 || depth >= MaxDepth)
            break;
        bool ok = false;
        const Message::Iterator children = it.getIterator(&ok);
        if (!ok)
            break;
        const qsizetype mark = out.size();
        out.put('(');
        if (!appendElements(out, children, depth + 1)) {
            out.truncate(mark);
            break;
        }
        out.put(')');
        return;
    }
    default:
        break;
    }
    out.append(valueText(it, data, depth));
}

// The forms that need checking against their canonical encoding, and
// every payload that fails a check above; slower, and rare on the wire.
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
        return bytes.isEmpty() ? QStringLiteral("[]")
                               : QString::fromLatin1(bytes.toHex().toUpper());
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
        TextBuffer out(it.size() * 3 + 16);
        out.put('(');
        appendElements(out, children, depth + 1);
        out.put(')');
        return out.take();
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

bool MessageWriter::appendElements(TextBuffer& out, Message::Iterator it, int depth) const
{
    const bool hungarian = m_options & Hungarian;
    bool first = true;
    for (; !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0) {
            // A stub too short for a header: nothing to print.
            if (!first)
                out.put(' ');
            first = false;
            continue;
        }
        // The tag is 16 bits here: the table's page lookup, inlined.
        const TagData* data = m_lut ? m_lut->tagData(unsigned(tag)) : nullptr;
        if (data && !hungarian && !data->name.isEmpty()) {
            out.named(first, data->name);
        } else {
            if (!first)
                out.put(' ');
            appendTag(out, tag, data);
            out.put('=');
        }
        first = false;
        appendValue(out, it, data, depth);
    }
    return it.position() >= 0;
}

void MessageWriter::appendFormatted(TextBuffer& out, Message::Iterator it, int indent,
                                    int depth) const
{
    for (; !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            continue;
        const TagData* data = lookup(tag);
        out.room(indent);
        for (int i = 0; i < indent; ++i)
            out.put(' ');
        appendTag(out, tag, data);
        if (!isNestedTag(tag) || (data && data->secure)) {
            out.literal(" = ");
            appendValue(out, it, data, depth);
            out.put('\n');
            continue;
        }
        Message::Iterator children;
        if (it.size() == 0) {
            out.literal(" = ()\n");
        } else if (!childrenOf(it, depth, &children)) {
            out.literal(" = ");
            out.append(raw(it));
            out.put('\n');
        } else {
            out.literal(" = (\n");
            appendFormatted(out, children, indent + 2, depth + 1);
            for (int i = 0; i < indent; ++i)
                out.put(' ');
            out.literal(")\n");
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
    // About three characters per byte of a typical message.
    TextBuffer out(qsizetype(it.end() - it.start()) * 3 + 16);
    appendElements(out, it, 0);
    return out.take();
}

QString MessageWriter::formatText(Message::Iterator& it, int indent) const
{
    TextBuffer out(qsizetype(it.end() - it.start()) * 4 + 16);
    appendFormatted(out, it, indent, 0);
    return out.take();
}

QString Message::toText(const TagDataLut* lut, TextOptions options) const
{
    return MessageWriter(lut, options).toText(*this);
}

} // namespace QRV16
