// SPDX-License-Identifier: MIT
#include "qrv16/messageparser.h"

#include "qrv16/messagewriter.h"
#include "qrv16/numbers.h"
#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"

#include <QCoreApplication>
#include <QVarLengthArray>

#include <functional>

namespace QRV16 {

namespace {

bool isTagChar(QChar c)
{
    const ushort u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || u == '_';
}

struct Prefix
{
    const char* text;
    int length;
    DataType type;

    bool starts(QStringView token) const
    {
        if (token.size() < length)
            return false;
        for (int i = 0; i < length; ++i) {
            if (token[i].unicode() != ushort(text[i]))
                return false;
        }
        return true;
    }
};

// Tried in this order; the first match is removed.
const Prefix prefixes[] = {
    {"lst", 3, DataType::List},
    {"req", 3, DataType::Request},
    {"ans", 3, DataType::Answer},
    {"msg", 3, DataType::Message},
    {"net", 3, DataType::NetworkAddress},
    {"adr", 3, DataType::NetworkAddress},
    {"de", 2, DataType::Date},
    {"tm", 2, DataType::Time},
    {"dt", 2, DataType::DateTime},
    {"ba", 2, DataType::BitArray},
    {"pt", 2, DataType::ExtPoint},
    {"bx", 2, DataType::ExtRect},
    {"d", 1, DataType::Binary},
    {"i", 1, DataType::Integer},
    {"b", 1, DataType::Bool},
    {"s", 1, DataType::String},
};

// The type prefix `token` begins with, if any. This and hexCode run for
// every element parsed: forced inline, as a call costs the parser 3 %.
Q_ALWAYS_INLINE const Prefix* prefixOf(QStringView token)
{
    switch (token.isEmpty() ? 0 : token.at(0).unicode()) {
    // Only these letters begin a prefix; most names begin otherwise.
    case 'a':
    case 'b':
    case 'd':
    case 'i':
    case 'l':
    case 'm':
    case 'n':
    case 'p':
    case 'r':
    case 's':
    case 't':
        for (const Prefix& p : prefixes) {
            if (p.starts(token))
                return &p;
        }
        break;
    default:
        break;
    }
    return nullptr;
}

// A tag code written as four hexadecimal digits, with or without "0x";
// -1 for any other token. `digits` is the token without the "0x".
Q_ALWAYS_INLINE int hexCode(QStringView token, QStringView* digits)
{
    QStringView code = token;
    if (code.size() > 1 && code.at(0) == QLatin1Char('0') &&
        (code.at(1) == QLatin1Char('x') || code.at(1) == QLatin1Char('X')))
        code = code.mid(2);
    *digits = code;
    if (code.size() != 4)
        return -1;
    int value = 0;
    bool hex = true;
    for (QChar c : code) {
        const int d = denibble(c.unicode());
        hex = hex && d >= 0;
        value = value * 16 + d;
    }
    return hex ? value : -1;
}

// Short ASCII tokens narrowed on the stack, as toUtf8() would give them.
class Ascii
{
public:
    explicit Ascii(QStringView text)
    {
        if (text.size() >= qsizetype(sizeof m_buf))
            return;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const ushort u = text[i].unicode();
            if (u >= 0x80)
                return;
            m_buf[i] = char(u);
        }
        m_buf[text.size()] = '\0';
        m_size = int(text.size());
    }
    bool isValid() const { return m_size >= 0; }
    const char* data() const { return m_buf; }
    int size() const { return m_size; }

private:
    char m_buf[64];
    int m_size = -1;
};

// Integers are cut to 32 bits and sign-extended, so every negative number
// and every number with bit 31 set takes eight bytes on the wire.
qint64 integerValue(qint64 v)
{
    return qint64(qint32(quint32(quint64(v))));
}

// A number with its sign apart from its digits, so that a value that does
// not fit is seen before it wraps.
struct Number
{
    quint64 magnitude = 0;
    bool negative = false;
    bool overflow = false; // the digits need more than 64 bits

    qint64 value() const { return negative ? qint64(0 - magnitude) : qint64(magnitude); }
};

// Digits of `base`; false on any other character.
bool accumulate(QStringView digits, int base, Number* n)
{
    for (QChar c : digits) {
        const int d = Numbers::cton(c.unicode());
        if (d < 0 || d >= base)
            return false;
        if (n->magnitude > (~quint64(0) - quint64(d)) / quint64(base))
            n->overflow = true;
        n->magnitude = n->magnitude * quint64(base) + quint64(d);
    }
    return true;
}

// The forms of Numbers::to64: a sign, then "0x", "0X" or "0b".
bool readSigned(QStringView t, Number* n)
{
    *n = Number();
    if (!t.isEmpty() && (t.at(0) == QLatin1Char('+') || t.at(0) == QLatin1Char('-'))) {
        n->negative = t.at(0) == QLatin1Char('-');
        t = t.mid(1);
    }
    int base = 10;
    if (t.size() > 1 && t.at(0) == QLatin1Char('0') &&
        (t.at(1) == QLatin1Char('x') || t.at(1) == QLatin1Char('X') || t.at(1) == QLatin1Char('b'))) {
        base = t.at(1) == QLatin1Char('b') ? 2 : 16;
        t = t.mid(2);
    }
    return accumulate(t, base, n);
}

// Numbers as Numbers::to64 reads them, plus what the writer prints in the
// display modes: "0o17" octal, "0y101" binary, and the sign padded like a
// digit ("00-5").
bool readNumber(QStringView t, Number* n)
{
    if (readSigned(t, n))
        return true;
    int zeros = 0;
    while (zeros < t.size() && t.at(zeros) == QLatin1Char('0'))
        ++zeros;
    if (zeros > 0 && zeros < t.size() &&
        (t.at(zeros) == QLatin1Char('-') || t.at(zeros) == QLatin1Char('+')))
        return readSigned(t.mid(zeros), n);
    if (t.size() < 3 || t.at(0) != QLatin1Char('0'))
        return false;
    const int base = t.at(1) == QLatin1Char('o') ? 8 : t.at(1) == QLatin1Char('y') ? 2 : 0;
    *n = Number();
    return base && accumulate(t.mid(2), base, n);
}

// An Integer holds a 32-bit number, signed or not. The writer prints a
// negative one of eight bytes in hexadecimal, octal, binary and unsigned
// decimal as its 64-bit pattern ("0xFFFFFFFFFFFFFFFF"), which means the
// same bytes and so reads back too.
bool integerFits(const Number& n)
{
    if (n.overflow)
        return false;
    if (n.negative)
        return n.magnitude <= quint64(1) << 31;
    return n.magnitude <= 0xFFFFFFFFu || n.magnitude >= ~quint64(0) - 0x7FFFFFFFu;
}

// A BitArray holds 64 bits; a negative number stands for its two's
// complement.
bool bitsFit(const Number& n)
{
    return !n.overflow && (!n.negative || n.magnitude <= quint64(1) << 63);
}

bool isBracketChar(QChar c)
{
    const ushort u = c.unicode();
    return (u >= '0' && u <= '9') || u == ',' || u == '-' || u == '+' || c.isSpace();
}

enum class Components { Read, Malformed, OutOfRange };

bool isDecimal(QStringView t)
{
    if (!t.isEmpty() && (t.at(0) == QLatin1Char('+') || t.at(0) == QLatin1Char('-')))
        t = t.mid(1);
    if (t.isEmpty())
        return false;
    for (QChar c : t) {
        if (c.unicode() < '0' || c.unicode() > '9')
            return false;
    }
    return true;
}

// "[x, y]" or "[x, y, w, h]": `count` decimal ints. On a value beyond the
// int range, `bad` is that value's part of the token.
Components parseIntegers(QStringView token, int count, int* values, QStringView* bad)
{
    if (token.size() < 2 || !token.startsWith(QLatin1Char('[')) ||
        !token.endsWith(QLatin1Char(']')))
        return Components::Malformed;
    const QStringView inner = token.mid(1, token.size() - 2);
    if (inner.count(QLatin1Char(',')) != count - 1)
        return Components::Malformed;
    int i = 0;
    for (const QStringView part : inner.tokenize(QLatin1Char(','))) {
        const QStringView digits = part.trimmed();
        bool ok = false;
        values[i] = digits.toInt(&ok, 10);
        if (!ok) {
            // Well formed but too wide for an int: out of range, not unreadable.
            if (!isDecimal(digits))
                return Components::Malformed;
            *bad = digits;
            return Components::OutOfRange;
        }
        ++i;
    }
    return Components::Read;
}

int digitsAt(QStringView t, int from, int count)
{
    int v = 0;
    for (int i = from; i < from + count; ++i) {
        const int d = t[i].unicode() - '0';
        if (d < 0 || d > 9)
            return -1;
        v = v * 10 + d;
    }
    return v;
}

// "yyyy-MM-ddTHH:mm:ss" and the same with ".zzz", as the writer prints
// them, read without asking the time zone: on a day with no zone rule
// change the local date-time keeps exactly these fields. Anything else
// (other forms, a gap or overlap that day) is left to QDateTime.
bool plainDateTime(QStringView t, QDate* date, int* msecs)
{
    if (t.size() != 19 && t.size() != 23)
        return false;
    if (t[4] != u'-' || t[7] != u'-' || t[10] != u'T' || t[13] != u':' || t[16] != u':' ||
        (t.size() == 23 && t[19] != u'.'))
        return false;
    const int y = digitsAt(t, 0, 4), mo = digitsAt(t, 5, 2), d = digitsAt(t, 8, 2);
    const int h = digitsAt(t, 11, 2), mi = digitsAt(t, 14, 2), s = digitsAt(t, 17, 2);
    const int ms = t.size() == 23 ? digitsAt(t, 20, 3) : 0;
    if (y < 0 || mo < 0 || d < 0 || h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 || s > 59 ||
        ms < 0 || !QDate::isValid(y, mo, d))
        return false;
    *date = QDate(y, mo, d);
    *msecs = ((h * 60 + mi) * 60 + s) * 1000 + ms;
    return isSteadyLocalDay(*date);
}

} // namespace

MessageParser::MessageParser(const TagDataLut* lut) : m_lut(lut) {}

const TagData* MessageParser::tagData(QStringView token, const TagDataLut* lut)
{
    if (!lut || token.isEmpty())
        return nullptr;
    QStringView code;
    const int value = hexCode(token, &code);
    if (value >= 0)
        return lut->tagData(unsigned(value));
    const Prefix* matched = prefixOf(token);
    const TagData* found = lut->tagData(matched ? token.mid(matched->length) : token);
    if (found && (!matched || dataType(unsigned(found->id)) == matched->type))
        return found;
    return matched ? lut->tagData(token) : nullptr;
}

QString MessageParser::errorReport() const
{
    if (!hasError())
        return QString();
    QString report = QStringLiteral("%1:%2: %3")
                         .arg(errorLineStart())
                         .arg(errorColumnStart())
                         .arg(m_error);
    if (!m_errorHint.isEmpty())
        report += QLatin1String("; ") + m_errorHint;
    return report;
}

void MessageParser::reset(const QString& text)
{
    m_message = Message();
    // Typed messages take about 0.4 bytes per character: growing the
    // buffer element by element costs more than the parse.
    m_message.reserve(int(qMin(text.size() / 2 + 16, qsizetype(4096))));
    m_text = text;
    m_chars = m_text.constData();
    m_closeOf.clear();
    m_optimistic = false;
    m_doubtful = false;
    m_pos = 0;
    m_tag = -1;
    m_tagData = nullptr;
    m_error = QString();
    m_errorHint = QString();
    m_errorStart = 0;
    m_errorLength = 0;
    m_lineStart = m_columnStart = m_lineEnd = m_columnEnd = -1;
}

Message MessageParser::parse(const QString& text)
{
    // Most text is well formed: read it without the scans for closing
    // parentheses first. Failing or doubtful text is read again with them,
    // so that errors are reported exactly as before.
    for (const bool optimistic : {true, false}) {
        reset(text);
        m_optimistic = optimistic;
        const Message message = parseOne();
        if (!optimistic || (!hasError() && !m_doubtful))
            return message;
    }
    return Message();
}

Message MessageParser::parseOne()
{
    const int end = int(m_text.size());
    skipSpace(end);
    if (atEnd(end)) {
        fail("Premature end of message", m_pos, m_pos);
        return Message();
    }
    if (!parseElement(end, 0))
        return Message();
    skipSpace(end);
    if (!atEnd(end)) {
        fail("Invalid trailing data", m_pos, end);
        return Message();
    }
    return m_message;
}

QList<Message> MessageParser::parseList(const QString& text)
{
    for (const bool optimistic : {true, false}) {
        reset(text);
        m_optimistic = optimistic;
        const QList<Message> list = parseAll();
        if (!optimistic || (!hasError() && !m_doubtful))
            return list;
    }
    return QList<Message>();
}

QList<Message> MessageParser::parseAll()
{
    const int end = int(m_text.size());
    QList<Message> list;
    for (;;) {
        skipSpace(end);
        if (atEnd(end))
            break;
        m_message = Message();
        if (!parseElement(end, 0))
            return QList<Message>();
        list.append(m_message);
    }
    if (list.isEmpty())
        fail("Empty data", 0, end);
    return list;
}

bool MessageParser::parseElements(int end, int depth)
{
    for (;;) {
        skipSpace(end);
        if (atEnd(end) || (m_optimistic && m_chars[m_pos] == QLatin1Char(')')))
            return true;
        if (!parseElement(end, depth))
            return false;
    }
}

bool MessageParser::parseElement(int end, int depth)
{
    skipSpace(end);
    if (atEnd(end))
        return fail("Premature end of message", m_pos, m_pos);
    if (!parseTag(end))
        return false;
    skipSpace(end);
    if (atEnd(end) || m_chars[m_pos] != QLatin1Char('=')) {
        m_message.appendData(m_tag, nullptr, 0);
        return true;
    }
    const int equals = m_pos++;
    skipSpace(end);
    if (atEnd(end) || (m_optimistic && depth > 0 && m_chars[m_pos] == QLatin1Char(')')))
        return fail("Contents expected", equals, m_pos);
    return parseValue(end, depth);
}

bool MessageParser::parseTag(int end)
{
    const int start = m_pos;
    while (m_pos < end && isTagChar(m_chars[m_pos]))
        ++m_pos;
    const QStringView token(m_chars + start, m_pos - start);
    if (token.isEmpty())
        return fail("Tag expected", start, start);

    QStringView code;
    const int value = hexCode(token, &code);
    if (value >= 0) {
        m_tag = value;
        m_tagData = m_lut ? m_lut->tagData(unsigned(value)) : nullptr;
        return true;
    }
    if (!m_lut)
        return fail(code.size() == 4 ? "Tag is not a number" : "Tag must have four digits", start,
                    m_pos);

    const Prefix* matched = prefixOf(token);
    const QStringView name = matched ? token.mid(matched->length) : token;
    const TagData* found = m_lut->tagData(name);
    if (found && (!matched || dataType(unsigned(found->id)) == matched->type)) {
        m_tag = int(found->id);
        m_tagData = found;
        return true;
    }
    if (matched) {
        // A tag really named "depth" is found although "de" matched.
        if (const TagData* whole = m_lut->tagData(token)) {
            m_tag = int(whole->id);
            m_tagData = whole;
            return true;
        }
    }
    if (found)
        return fail("Prefix does not match type", start, m_pos);
    return failText(QCoreApplication::translate("MessageParser", "Tag %1 not defined").arg(name),
                    start, m_pos);
}

bool MessageParser::parseValue(int end, int depth)
{
    switch (m_chars[m_pos].unicode()) {
    case '(':
        return parseNested(end, depth);
    case '@':
        return parseBase64(end);
    case '"':
        return parseQuoted(end);
    default:
        return parsePlain(end);
    }
}

int MessageParser::findClosingParenthesis(int from, int end)
{
    // A scan that met this '(' outside quotes went on from here as a scan
    // from here would, so the match it found is this one's.
    const int open = from - 1;
    if (open >= 0 && open < int(m_closeOf.size()) && m_closeOf[size_t(open)] >= 0 &&
        m_closeOf[size_t(open)] < end)
        return m_closeOf[size_t(open)];
    if (m_closeOf.size() != size_t(m_text.size()))
        m_closeOf.assign(size_t(m_text.size()), -1);
    QVarLengthArray<int, 16> opens;
    int level = 1;
    bool quoted = false;
    for (int i = from; i < end; ++i) {
        const ushort c = m_chars[i].unicode();
        // Letters, digits and '=' matter in neither state.
        if (c > ')' && c != '\\')
            continue;
        if (quoted) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                quoted = false;
        } else if (c == '"') {
            quoted = true;
        } else if (c == '(') {
            ++level;
            opens.append(i);
        } else if (c == ')') {
            if (--level == 0)
                return i;
            m_closeOf[size_t(opens.back())] = i;
            opens.removeLast();
        }
    }
    return -1;
}

bool MessageParser::parseNested(int end, int depth)
{
    const int open = m_pos;
    if (m_text.at(open) != QLatin1Char('('))
        return fail("Opening parenthesis expected", open, open);
    if (depth + 1 > MaxDepth)
        return fail("Nesting depth exceeded", open, open + 1);
    if (m_optimistic) {
        const int tag = m_tag;
        m_message.beginMessage(tag);
        m_pos = open + 1;
        if (!parseElements(end, depth + 1))
            return false;
        if (atEnd(end))
            return fail("End of data looking for closing parenthesis expected", open, end);
        m_message.endMessage();
        ++m_pos;
        m_tag = tag;
        return true;
    }
    const int close = findClosingParenthesis(open + 1, end);
    if (close < 0)
        return fail("End of data looking for closing parenthesis expected", open, end);
    const int tag = m_tag;
    m_message.beginMessage(tag);
    m_pos = open + 1;
    if (!parseElements(close, depth + 1))
        return false;
    m_message.endMessage();
    m_pos = close + 1;
    m_tag = tag;
    return true;
}

bool MessageParser::parseBase64(int end)
{
    const int start = m_pos++;
    const int from = m_pos;
    while (m_pos < end && !m_text.at(m_pos).isSpace() && m_text.at(m_pos) != QLatin1Char(')'))
        ++m_pos;
    checkToken(from, m_pos);
    const QByteArray token = m_text.mid(from, m_pos - from).toLatin1();
    const auto decoded =
        QByteArray::fromBase64Encoding(token, QByteArray::AbortOnBase64DecodingErrors);
    if (!token.isEmpty() && (!decoded || decoded.decoded.isEmpty()))
        return fail("Invalid base64 encoding", start, m_pos);
    m_message.appendByteArray(m_tag, decoded.decoded);
    return true;
}

bool MessageParser::parseQuoted(int end)
{
    const int start = m_pos++;
    // A Binary value takes "\xFF" as the byte FF, everything else as UTF-8.
    const bool binary = dataType(unsigned(m_tag)) == DataType::Binary;
    // Without escapes the value is the text between the quotes.
    for (int i = m_pos; i < end; ++i) {
        const QChar c = m_chars[i];
        if (c == QLatin1Char('\\'))
            break;
        if (c == QLatin1Char('"')) {
            const QStringView value(m_chars + m_pos, i - m_pos);
            m_pos = i + 1;
            if (binary) {
                const QByteArray bytes = value.toUtf8();
                m_message.appendData(m_tag, bytes.constData(), int(bytes.size()));
                return true;
            }
            return decodePlain(value, start);
        }
    }
    QString value;
    QByteArray bytes;
    int encoded = 0;
    for (;;) {
        if (m_pos >= end)
            return fail("End of data looking for closing double quote", start, end);
        const QChar c = m_text.at(m_pos++);
        if (c == QLatin1Char('"'))
            break;
        if (c != QLatin1Char('\\')) {
            value += c;
            continue;
        }
        if (m_pos >= end)
            return fail("End of data looking for closing double quote", start, end);
        const QChar e = m_text.at(m_pos++);
        switch (e.unicode()) {
        case 'a': value += QChar(7); break;
        case 'b': value += QChar(8); break;
        case 'n': value += QChar(10); break;
        case 'r': value += QChar(13); break;
        case 't': value += QChar(9); break;
        case 'x': {
            const int hi = m_pos < end ? denibble(m_text.at(m_pos).unicode()) : -1;
            const int lo = m_pos + 1 < end ? denibble(m_text.at(m_pos + 1).unicode()) : -1;
            if (hi >= 0 && lo >= 0) {
                if (binary) {
                    bytes += QStringView(value).mid(encoded).toUtf8();
                    bytes += char(hi * 16 + lo);
                    encoded = int(value.size()) + 1;
                }
                value += QChar(hi * 16 + lo);
                m_pos += 2;
            } else {
                value += e;
            }
            break;
        }
        case '0': case '1': case '2': case '3': case '4': case '5': case '6': case '7': {
            // Only NUL: a digit and three zeros ("\1000"), or the writer's "\000".
            const QStringView rest = QStringView(m_text).mid(m_pos, qMin(3, end - m_pos));
            if (e != QLatin1Char('0') && rest == QLatin1String("000")) {
                m_pos += 3;
            } else if (e == QLatin1Char('0') && rest.startsWith(QLatin1String("00"))) {
                m_pos += 2;
            } else {
                return fail("Bad luck, octal escape sequence not supported", m_pos - 2,
                            qMin(end, m_pos + 3));
            }
            value += QChar(0);
            break;
        }
        default:
            value += e;
        }
    }
    if (binary) {
        bytes += QStringView(value).mid(encoded).toUtf8();
        m_message.appendByteArray(m_tag, bytes);
        return true;
    }
    return decodePlain(value, start);
}

bool MessageParser::parsePlain(int end)
{
    const int start = m_pos;
    const DataType type = dataType(unsigned(m_tag));
    if (m_chars[m_pos] == QLatin1Char('[') &&
        (type == DataType::ExtPoint || type == DataType::ExtSize || type == DataType::ExtRect)) {
        // Bracketed pairs and rectangles may hold blanks: "[3, 4]". Only what
        // can stand inside is scanned, so an unclosed '[' costs its token.
        int i = m_pos + 1;
        while (i < end && isBracketChar(m_chars[i]))
            ++i;
        if (i < end && m_chars[i] == QLatin1Char(']')) {
            m_pos = i + 1;
            checkToken(start, m_pos);
            return decodePlain(QStringView(m_chars + start, m_pos - start), start);
        }
    }
    for (; m_pos < end; ++m_pos) {
        const QChar c = m_chars[m_pos];
        const ushort u = c.unicode();
        // Blanks, ')' and the characters that make a token doubtful lie at
        // or below ')' or are a backslash; above, only non-ASCII blanks end it.
        if (u <= ')' || u == '\\') {
            if (u == ')' || c.isSpace())
                break;
            if (u == '"' || u == '(' || u == '\\')
                m_doubtful = true;
        } else if (u >= 0x80 && c.isSpace()) {
            break;
        }
    }
    return decodePlain(QStringView(m_chars + start, m_pos - start), start);
}

void MessageParser::checkToken(int from, int to)
{
    // The scan for a closing parenthesis takes these as quotes, escapes or
    // nesting where the token does not; such text takes the careful path.
    for (int i = from; i < to; ++i) {
        const ushort c = m_chars[i].unicode();
        if (c == '"' || c == '(' || c == ')' || c == '\\')
            m_doubtful = true;
    }
}

bool MessageParser::decodePlain(QStringView token, int start)
{
    const int tag = m_tag;
    if (m_tagData) {
        if (const ItemData* e = m_tagData->enums.byName(token)) {
            Number n;
            n.magnitude = e->id;
            if (!integerFits(n))
                return failOutOfRange(token, start);
            m_message.appendInt64(tag, integerValue(n.value()));
            return true;
        }
    }
    switch (dataType(unsigned(tag))) {
    case DataType::Binary: {
        if (token == QLatin1String("[]")) { // what the writer prints for no bytes
            m_message.appendData(tag, nullptr, 0);
            return true;
        }
        const QByteArray bytes = QByteArray::fromHex(token.toLatin1());
        if (!token.isEmpty() && bytes.isEmpty())
            return fail("Invalid hex encoding", start, m_pos);
        m_message.appendByteArray(tag, bytes);
        return true;
    }
    case DataType::Integer: {
        Number n;
        if (!readNumber(token, &n))
            break;
        if (!integerFits(n))
            return failOutOfRange(token, start);
        m_message.appendInt64(tag, integerValue(n.value()));
        return true;
    }
    case DataType::Bool:
        if (token == u"true" || token == u"false")
            m_message.appendBool(tag, token.size() == 4);
        else
            m_message.appendBool(tag, QVariant(token.toString()).toBool());
        return true;
    case DataType::String: {
        const Ascii ascii(token);
        if (ascii.isValid()) {
            m_message.appendData(tag, ascii.data(), ascii.size());
        } else {
            const QByteArray bytes = token.toUtf8();
            m_message.appendData(tag, bytes.constData(), int(bytes.size()));
        }
        return true;
    }
    case DataType::Date: {
        const QDate date = token.size() > 9 ? QDate::fromString(token, Qt::ISODate) : QDate();
        // Day 0 means no date: the first day that fits is 1990-01-02.
        if (date.isValid() && dateToDaysSince1990(date) <= 0)
            return failOutOfRange(token, start);
        m_message.appendDate(tag, date);
        return true;
    }
    case DataType::Time:
        m_message.appendTime(tag,
                             token.size() > 7 ? QTime::fromString(token, Qt::ISODate) : QTime());
        return true;
    case DataType::DateTime: {
        QDate date;
        int msecs = 0;
        if (plainDateTime(token, &date, &msecs)) {
            if (dateToDaysSince1990(date) <= 0)
                return failOutOfRange(token, start);
            char buf[10];
            const quint32 days = quint32(dateToDaysSince1990(date));
            const quint32 seconds = quint32(msecs / 1000);
            const unsigned ms = unsigned(msecs % 1000);
            for (int i = 0; i < 4; ++i) {
                buf[i] = char(days >> (8 * i));
                buf[4 + i] = char(seconds >> (8 * i));
            }
            buf[8] = char(ms & 0xFF);
            buf[9] = char(ms >> 8);
            // With ".zzz" the milliseconds are always written, as appendDateTime does.
            m_message.appendData(tag, buf, token.size() == 23 || ms != 0 ? 10 : 8);
            return true;
        }
        if (token.size() == 23 && token.at(19) == QLatin1Char('.')) {
            const QDateTime dt = QDateTime::fromString(token, Qt::ISODateWithMs);
            if (!dt.isValid())
                break;
            if (dateToDaysSince1990(dt.date()) <= 0)
                return failOutOfRange(token, start);
            m_message.appendDateTime(tag, dt, Message::MillisecondsAlways);
            return true;
        }
        if (token.isEmpty() || token == QLatin1String("0")) {
            m_message.appendDateTime(tag, QDateTime());
            return true;
        }
        if (token.size() < 16)
            break;
        const QDateTime dt = QDateTime::fromString(token, Qt::ISODate);
        if (!dt.isValid())
            break;
        if (dateToDaysSince1990(dt.date()) <= 0)
            return failOutOfRange(token, start);
        m_message.appendDateTime(tag, dt, Message::MillisecondsAuto);
        return true;
    }
    case DataType::BitArray: {
        quint64 bits = 0;
        for (const QStringView part : token.tokenize(u'|', Qt::SkipEmptyParts)) {
            const QStringView term = part.trimmed();
            if (term.isEmpty())
                continue;
            const ItemData* bit = m_tagData ? m_tagData->bits.byName(term) : nullptr;
            if (bit) {
                if (bit->id >= 64)
                    return failOutOfRange(term, start);
                bits |= quint64(1) << bit->id;
                continue;
            }
            Number n;
            if (!readNumber(term, &n))
                return failValue(start);
            if (!bitsFit(n))
                return failOutOfRange(term, start);
            bits |= quint64(n.value());
        }
        m_message.appendInt64(tag, qint64(bits));
        return true;
    }
    case DataType::NetworkAddress: {
        if (token.isEmpty()) {
            m_message.appendData(tag, nullptr, 0);
            return true;
        }
        IPv4 address;
        const Ascii ascii(token);
        if (!(ascii.isValid() ? address.fromString(ascii.data())
                              : address.fromString(token.toString())))
            return fail("Invalid IP Address", start, m_pos);
        m_message.appendIPAddress(tag, address);
        return true;
    }
    case DataType::ExtPoint:
    case DataType::ExtSize: {
        int v[2];
        QStringView bad;
        const Components read = parseIntegers(token, 2, v, &bad);
        if (read == Components::OutOfRange)
            return failOutOfRange(bad, start);
        if (read == Components::Malformed)
            break;
        m_message.appendPair(tag, qMakePair(v[0], v[1]));
        return true;
    }
    case DataType::ExtRect: {
        int v[4];
        QStringView bad;
        const Components read = parseIntegers(token, 4, v, &bad);
        if (read == Components::OutOfRange)
            return failOutOfRange(bad, start);
        if (read == Components::Malformed)
            break;
        // The right and bottom edges must be ints too.
        QRect rect;
        if (!rectFromGeometry(v[0], v[1], v[2], v[3], &rect))
            return failOutOfRange(token, start);
        m_message.appendRect(tag, rect);
        return true;
    }
    default:
        break;
    }
    return failValue(start);
}

bool MessageParser::failValue(int start)
{
    // A name the tag does not have: say which ones it has.
    if (m_tagData && m_error.isNull()) {
        const bool bitArray = dataType(unsigned(m_tag)) == DataType::BitArray;
        const QStringList& names = bitArray && !m_tagData->bits.names().isEmpty()
                                       ? m_tagData->bits.names()
                                       : m_tagData->enums.names();
        if (!names.isEmpty()) {
            QStringList shown = names.mid(0, MaxNamesShown);
            if (names.size() > MaxNamesShown)
                shown << QStringLiteral("...");
            m_errorHint = QCoreApplication::translate("MessageParser", "%1 has %2")
                              .arg(m_tagData->name, shown.join(QLatin1String(", ")));
        }
    }
    return fail("Failed to decode value", start, m_pos);
}

bool MessageParser::failOutOfRange(QStringView part, int start)
{
    // A part of the text itself is marked where it stands; a value taken
    // from escapes has no place of its own but its quotes.
    const std::less_equal<const QChar*> notAfter;
    if (notAfter(m_chars, part.data()) && notAfter(part.data() + part.size(), m_chars + m_text.size())) {
        const int from = int(part.data() - m_chars);
        return fail("Value out of range", from, from + int(part.size()));
    }
    return fail("Value out of range", start, m_pos);
}

bool MessageParser::fail(const char* message, int start, int end)
{
    return failText(QCoreApplication::translate("MessageParser", message), start, end);
}

bool MessageParser::failText(const QString& message, int start, int end)
{
    if (!m_error.isNull())
        return false;
    const int length = int(m_text.size());
    if (end < 0)
        end = m_pos;
    start = qBound(0, start, length);
    end = qBound(0, end, length);
    if (end <= start) {
        if (start < length) {
            end = start + 1;
        } else {
            end = length;
            start = qMax(0, length - 1);
        }
    }
    m_error = message;
    m_errorStart = start;
    m_errorLength = end - start;
    return false;
}

void MessageParser::computeCoordinates() const
{
    if (m_lineStart >= 0)
        return;
    const int last = qMax(m_errorStart, m_errorStart + m_errorLength - 1);
    int line = 1;
    int column = 1;
    for (int i = 0; i <= last && i <= m_text.size(); ++i) {
        if (i == m_errorStart) {
            m_lineStart = line;
            m_columnStart = column;
        }
        if (i == last) {
            m_lineEnd = line;
            m_columnEnd = column;
            break;
        }
        if (i < m_text.size() && m_text.at(i) == QLatin1Char('\n')) {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    if (m_lineStart < 0) {
        m_lineStart = m_lineEnd = line;
        m_columnStart = m_columnEnd = column;
    }
}

int MessageParser::errorLineStart() const
{
    computeCoordinates();
    return m_lineStart;
}

int MessageParser::errorColumnStart() const
{
    computeCoordinates();
    return m_columnStart;
}

int MessageParser::errorLineEnd() const
{
    computeCoordinates();
    return m_lineEnd;
}

int MessageParser::errorColumnEnd() const
{
    computeCoordinates();
    return m_columnEnd;
}

} // namespace QRV16
