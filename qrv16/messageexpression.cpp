// SPDX-License-Identifier: MIT
#include "qrv16/messageexpression.h"

#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"

#include <QBitArray>

namespace QRV16 {

namespace {

constexpr qint64 MsPerDay = 24ll * 3600 * 1000;

bool isKeyword(const QString& word, const char* keyword)
{
    return word.compare(QLatin1String(keyword), Qt::CaseInsensitive) == 0;
}

bool isAnyKeyword(const QString& word)
{
    return isKeyword(word, "and") || isKeyword(word, "or") || isKeyword(word, "not");
}

// Decimal, or hexadecimal after "0x"; an optional minus sign.
bool parseNumber(const QString& text, qint64* value)
{
    bool ok = false;
    QStringView digits(text);
    const bool negative = digits.startsWith(QLatin1Char('-'));
    if (negative)
        digits = digits.mid(1);
    qint64 v = 0;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        v = qint64(digits.mid(2).toULongLong(&ok, 16));
    else
        v = digits.toLongLong(&ok, 10);
    *value = negative ? -v : v;
    return ok;
}

// Integers of up to four bytes are signed 32-bit values, so that an enum
// value defined as 0xFFFFFFFF and one defined as -1 are the same number.
qint64 enumValue(quint64 id)
{
    return qint64(qint32(quint32(id)));
}

qint64 dateTimeNumber(const QDate& date, const QTime& time)
{
    return date.toJulianDay() * MsPerDay + time.msecsSinceStartOfDay();
}

} // namespace

bool MessageExpression::parse(const QString& text, const TagDataLut* lut)
{
    m_text = text;
    m_lut = lut;
    m_pos = 0;
    m_nodes.clear();
    m_root = -1;
    m_error.clear();
    m_errorPos = -1;
    if (text.trimmed().isEmpty())
        return true;
    const int root = parseOr();
    if (root >= 0) {
        const Token extra = next();
        if (extra.type == Token::Close)
            fail(QStringLiteral("unmatched ')'"), extra.pos);
        else if (extra.type != Token::End)
            fail(QStringLiteral("expected 'and' or 'or' before '%1'").arg(extra.text), extra.pos);
    }
    if (!m_error.isEmpty()) {
        m_nodes.clear();
        return false;
    }
    m_root = root;
    return true;
}

int MessageExpression::fail(const QString& error, int pos)
{
    if (m_error.isEmpty()) {
        m_error = error;
        m_errorPos = pos;
    }
    return -1;
}

int MessageExpression::addNode(const Node& node)
{
    m_nodes.append(node);
    return int(m_nodes.size()) - 1;
}

MessageExpression::Token MessageExpression::peek()
{
    const int saved = m_pos;
    const QString error = m_error;
    const Token token = next();
    m_pos = saved;
    if (error.isEmpty() && !m_error.isEmpty()) {
        // Reported when the token is really taken.
        m_error.clear();
        m_errorPos = -1;
    }
    return token;
}

MessageExpression::Token MessageExpression::next()
{
    const int size = int(m_text.size());
    while (m_pos < size && m_text.at(m_pos).isSpace())
        ++m_pos;
    Token token;
    token.pos = m_pos;
    if (m_pos >= size)
        return token;
    const QChar c = m_text.at(m_pos);
    if (c == QLatin1Char('(') || c == QLatin1Char(')')) {
        token.type = c == QLatin1Char('(') ? Token::Open : Token::Close;
        token.text = c;
        ++m_pos;
        return token;
    }
    if (c == QLatin1Char('=') || c == QLatin1Char('!') || c == QLatin1Char('<') || c == QLatin1Char('>')) {
        token.type = Token::Operator;
        const QChar n = m_pos + 1 < size ? m_text.at(m_pos + 1) : QChar();
        if (n == QLatin1Char('=')) {
            token.text = m_text.mid(m_pos, 2);
            m_pos += 2;
        } else if (c == QLatin1Char('!')) {
            fail(QStringLiteral("expected '!='"), m_pos);
            token.type = Token::End;
            ++m_pos;
        } else {
            token.text = c;
            ++m_pos;
        }
        return token;
    }
    if (c == QLatin1Char('"')) {
        token.type = Token::Quoted;
        ++m_pos;
        while (m_pos < size && m_text.at(m_pos) != QLatin1Char('"')) {
            if (m_text.at(m_pos) == QLatin1Char('\\') && m_pos + 1 < size)
                ++m_pos;
            token.text += m_text.at(m_pos++);
        }
        if (m_pos >= size) {
            fail(QStringLiteral("unterminated string"), token.pos);
            token.type = Token::End;
            return token;
        }
        ++m_pos;
        return token;
    }
    while (m_pos < size) {
        const QChar d = m_text.at(m_pos);
        if (d.isSpace() || QStringLiteral("()=!<>\"").contains(d))
            break;
        token.text += d;
        ++m_pos;
    }
    const bool digit = c.isDigit() || (c == QLatin1Char('-') && token.text.size() > 1 && token.text.at(1).isDigit());
    token.type = digit ? Token::Number : Token::Word;
    return token;
}

int MessageExpression::parseOr()
{
    int left = parseAnd();
    while (left >= 0) {
        const Token t = peek();
        if (t.type != Token::Word || !isKeyword(t.text, "or"))
            break;
        next();
        const int right = parseAnd();
        if (right < 0)
            return -1;
        Node node;
        node.type = Or;
        node.left = left;
        node.right = right;
        left = addNode(node);
    }
    return left;
}

int MessageExpression::parseAnd()
{
    int left = parseNot();
    while (left >= 0) {
        const Token t = peek();
        if (t.type != Token::Word || !isKeyword(t.text, "and"))
            break;
        next();
        const int right = parseNot();
        if (right < 0)
            return -1;
        Node node;
        node.type = And;
        node.left = left;
        node.right = right;
        left = addNode(node);
    }
    return left;
}

int MessageExpression::parseNot()
{
    const Token t = peek();
    if (t.type == Token::Word && isKeyword(t.text, "not")) {
        next();
        const int operand = parseNot();
        if (operand < 0)
            return -1;
        Node node;
        node.type = Not;
        node.left = operand;
        return addNode(node);
    }
    return parsePrimary();
}

int MessageExpression::parsePrimary()
{
    const Token t = next();
    if (!m_error.isEmpty())
        return -1;
    switch (t.type) {
    case Token::Open: {
        const int inner = parseOr();
        if (inner < 0)
            return -1;
        const Token close = next();
        if (close.type != Token::Close)
            return fail(QStringLiteral("expected ')'"), close.pos);
        return inner;
    }
    case Token::End:
        return fail(QStringLiteral("expected a tag"), t.pos);
    case Token::Close:
        return fail(QStringLiteral("unexpected ')'"), t.pos);
    case Token::Operator:
    case Token::Quoted:
        return fail(QStringLiteral("expected a tag before '%1'").arg(t.text), t.pos);
    case Token::Word:
    case Token::Number:
        break;
    }
    if (t.type == Token::Word && isAnyKeyword(t.text))
        return fail(QStringLiteral("expected a tag before '%1'").arg(t.text), t.pos);

    Node node;
    if (t.type == Token::Number) {
        qint64 code = 0;
        if (!parseNumber(t.text, &code) || code < 0 || code > 0xFFFF)
            return fail(QStringLiteral("'%1' is not a tag code").arg(t.text), t.pos);
        node.tag = int(code);
    } else {
        const int code = m_lut ? m_lut->tagNumber(t.text) : -1;
        if (code < 0)
            return fail(QStringLiteral("unknown tag '%1'").arg(t.text), t.pos);
        node.tag = code;
    }
    const TagData* data = m_lut ? m_lut->tagData(unsigned(node.tag)) : nullptr;
    node.secure = data && data->secure;

    const Token op = peek();
    if (op.type == Token::Operator) {
        next();
        static const struct
        {
            const char* text;
            Op op;
        } ops[] = {{"=", Equal}, {"==", Equal}, {"!=", NotEqual}, {"<", Less},
                   {">", Greater}, {"<=", LessEqual}, {">=", GreaterEqual}};
        for (const auto& o : ops) {
            if (op.text == QLatin1String(o.text))
                node.op = o.op;
        }
        if (node.op == Exists)
            return fail(QStringLiteral("unknown operator '%1'").arg(op.text), op.pos);
        const Token value = next();
        if (!m_error.isEmpty())
            return -1;
        if (value.type != Token::Word && value.type != Token::Number && value.type != Token::Quoted)
            return fail(QStringLiteral("expected a value after '%1'").arg(op.text), value.pos);
        if (!parseValue(&node, value))
            return -1;
    }
    return addNode(node);
}

bool MessageExpression::parseValue(Node* node, const Token& value)
{
    const QString& v = value.text;
    const auto bad = [&](const QString& what) {
        fail(QStringLiteral("'%1' is not %2").arg(v, what), value.pos);
        return false;
    };
    if (node->secure) {
        fail(QStringLiteral("the values of this tag are hidden"), value.pos);
        return false;
    }
    const TagData* data = m_lut ? m_lut->tagData(unsigned(node->tag)) : nullptr;
    const DataType type = dataType(unsigned(node->tag));
    switch (type) {
    case DataType::Integer: {
        node->kind = Integer;
        if (value.type == Token::Number && parseNumber(v, &node->number))
            return true;
        const ItemData* e = data && value.type == Token::Word ? data->enums.byName(v) : nullptr;
        if (!e)
            return bad(QStringLiteral("a number or a value name of this tag"));
        node->number = enumValue(e->id);
        return true;
    }
    case DataType::Bool:
        node->kind = Integer;
        if (isKeyword(v, "true") || v == QLatin1String("1"))
            node->number = 1;
        else if (isKeyword(v, "false") || v == QLatin1String("0"))
            node->number = 0;
        else
            return bad(QStringLiteral("true or false"));
        return true;
    case DataType::String:
        node->kind = Text;
        node->text = v;
        return true;
    case DataType::Date: {
        const QDate date = QDate::fromString(v, Qt::ISODate);
        if (!date.isValid())
            return bad(QStringLiteral("a date (yyyy-mm-dd)"));
        node->kind = Integer;
        node->number = date.toJulianDay();
        return true;
    }
    case DataType::Time: {
        const QTime time = QTime::fromString(v, Qt::ISODateWithMs);
        if (!time.isValid())
            return bad(QStringLiteral("a time (hh:mm:ss)"));
        node->kind = Integer;
        node->number = time.msecsSinceStartOfDay();
        return true;
    }
    case DataType::DateTime: {
        QDateTime dt = QDateTime::fromString(v, Qt::ISODateWithMs);
        if (!dt.isValid())
            dt = QDateTime(QDate::fromString(v, Qt::ISODate), QTime(0, 0));
        if (!dt.isValid())
            return bad(QStringLiteral("a date and time (yyyy-mm-ddThh:mm:ss)"));
        node->kind = Integer;
        node->number = dateTimeNumber(dt.date(), dt.time());
        return true;
    }
    case DataType::BitArray: {
        if (node->op != Equal && node->op != NotEqual) {
            fail(QStringLiteral("bits are tested with '=' or '!='"), value.pos);
            return false;
        }
        node->kind = Bits;
        const ItemData* b = data && value.type == Token::Word ? data->bits.byName(v) : nullptr;
        if (b) {
            node->number = qint64(b->id);
            return true;
        }
        if (value.type == Token::Number && parseNumber(v, &node->number) && node->number >= 0 &&
            node->number < 65536 * 8)
            return true;
        return bad(QStringLiteral("a bit name or number of this tag"));
    }
    default:
        fail(QStringLiteral("%1 values cannot be compared").arg(typeName(unsigned(node->tag))), value.pos);
        return false;
    }
}

bool MessageExpression::matches(const Message& message) const
{
    return matches(message, 0, message.size());
}

bool MessageExpression::matches(const Message& message, int start, int end) const
{
    if (!isValid())
        return false;
    if (m_root < 0)
        return true;
    return evaluate(m_root, message, start, end);
}

bool MessageExpression::evaluate(int index, const Message& message, int start, int end) const
{
    const Node& node = m_nodes.at(index);
    switch (node.type) {
    case And: return evaluate(node.left, message, start, end) && evaluate(node.right, message, start, end);
    case Or: return evaluate(node.left, message, start, end) || evaluate(node.right, message, start, end);
    case Not: return !evaluate(node.left, message, start, end);
    case Term: break;
    }
    return termMatches(node, message, start, end, 0);
}

bool MessageExpression::termMatches(const Node& node, const Message& message, int start, int end,
                                    int depth) const
{
    for (Message::Iterator it(&message, start, end); !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            break;
        if (tag == node.tag && elementMatches(node, it))
            return true;
        if (isNestedTag(tag) && depth + 1 < MessageWriter::MaxDepth && it.size() > 0) {
            // Hidden values stay hidden below a secure container, too.
            const TagData* data = m_lut ? m_lut->tagData(unsigned(tag)) : nullptr;
            if (data && data->secure)
                continue;
            bool ok = false;
            const Message::Iterator inner = it.getIterator(&ok);
            if (ok && termMatches(node, message, inner.start(), inner.end(), depth + 1))
                return true;
        }
    }
    return false;
}

bool MessageExpression::elementMatches(const Node& node, const Message::Iterator& it) const
{
    if (node.op == Exists)
        return true;
    bool ok = false;
    int order = 0;
    switch (node.kind) {
    case Bits: {
        const QBitArray bits = it.getBitArray(&ok);
        if (!ok)
            return false;
        const bool set = node.number < bits.size() && bits.testBit(qsizetype(node.number));
        return node.op == Equal ? set : !set;
    }
    case Text: {
        const QString s = it.getString(&ok);
        order = s.compare(node.text);
        break;
    }
    case Integer: {
        qint64 v = 0;
        switch (dataType(unsigned(node.tag))) {
        case DataType::Bool: v = it.getBool(&ok) ? 1 : 0; break;
        case DataType::Date: v = it.getDate(&ok).toJulianDay(); break;
        case DataType::Time: v = it.getTime(&ok).msecsSinceStartOfDay(); break;
        case DataType::DateTime: {
            const QDateTime dt = it.getDateTime(&ok);
            ok = ok && dt.isValid();
            v = dateTimeNumber(dt.date(), dt.time());
            break;
        }
        default: v = it.size() > 4 ? it.getInt64(&ok) : qint64(it.getInt(&ok)); break;
        }
        order = v < node.number ? -1 : v > node.number ? 1 : 0;
        break;
    }
    case NoValue: return true;
    }
    if (!ok)
        return false;
    switch (node.op) {
    case Equal: return order == 0;
    case NotEqual: return order != 0;
    case Less: return order < 0;
    case Greater: return order > 0;
    case LessEqual: return order <= 0;
    case GreaterEqual: return order >= 0;
    case Exists: break;
    }
    return true;
}

} // namespace QRV16
