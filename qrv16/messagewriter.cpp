#include "qrv16/messagewriter.h"

#include "qrv16/tagdatalut.h"

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
        out += tagToText(tag, data);
        out += QLatin1Char('=');
        out += valueText(it, data, depth);
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
