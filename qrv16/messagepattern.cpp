// SPDX-License-Identifier: MIT
#include "qrv16/messagepattern.h"

#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"

#include <QCoreApplication>

namespace QRV16 {

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("MessagePattern", text);
}

bool isTagChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

} // namespace

MessagePattern::MessagePattern(const QString& text, const TagDataLut* lut)
{
    parse(text, lut);
}

bool MessagePattern::parse(const QString& text, const TagDataLut* lut)
{
    m_root = Node();
    m_expression = MessageExpression();
    m_isExpression = false;
    m_anyMessage = false;
    m_valid = false;
    m_text = text;
    m_pos = 0;
    m_lut = lut;
    m_error = QString();
    m_errorStart = m_errorLength = 0;
    const bool ok = parsePattern();
    m_lut = nullptr;
    if (ok || text.trimmed().isEmpty())
        return ok;
    // Not a pattern; maybe a filter expression. Of the two errors the one
    // that got further into the text says more.
    MessageExpression expression;
    if (expression.parse(text, lut)) {
        m_expression = expression;
        m_isExpression = true;
        m_valid = true;
        m_error = QString();
        m_errorStart = m_errorLength = 0;
        return true;
    }
    const int at = qBound(0, expression.errorPosition(), int(text.size()));
    if (at > m_errorStart) {
        m_error = expression.errorString();
        m_errorStart = at;
        m_errorLength = at < text.size() ? 1 : 0;
    }
    return false;
}

bool MessagePattern::parsePattern()
{
    skipSpace();
    if (m_pos >= m_text.size())
        return fail(tr("Empty pattern"), 0, 0);
    if (m_text.at(m_pos) == QLatin1Char('*')) {
        ++m_pos;
        m_anyMessage = true;
    } else if (!parseNode(&m_root, 0, true)) {
        return false;
    }
    skipSpace();
    if (m_pos < m_text.size())
        return fail(tr("Unexpected text after the pattern"), m_pos, int(m_text.size()));
    m_valid = true;
    return true;
}

void MessagePattern::skipSpace()
{
    while (m_pos < m_text.size() && m_text.at(m_pos).isSpace())
        ++m_pos;
}

bool MessagePattern::fail(const QString& message, int start, int end)
{
    m_error = message;
    m_errorStart = start;
    m_errorLength = qMax(0, end - start);
    m_valid = false;
    return false;
}

int MessagePattern::resolveTag(const QString& name) const
{
    // The text parser knows names, type prefixes and hex codes already.
    MessageParser parser(m_lut);
    const Message message = parser.parse(name);
    return parser.hasError() ? -1 : message.tag();
}

bool MessagePattern::parseNode(Node* node, int depth, bool top)
{
    const int start = m_pos;
    while (m_pos < m_text.size() && isTagChar(m_text.at(m_pos)))
        ++m_pos;
    if (m_pos == start)
        return fail(tr("Tag expected"), start, qMin(start + 1, int(m_text.size())));
    const QString tagText = m_text.mid(start, m_pos - start);
    node->tag = resolveTag(tagText);
    if (node->tag < 0)
        return fail(tr("Unknown tag \"%1\"").arg(tagText), start, m_pos);
    if (m_pos >= m_text.size() || m_text.at(m_pos) != QLatin1Char('='))
        return true;
    ++m_pos;
    if (m_pos >= m_text.size())
        return fail(tr("Value expected"), m_pos, m_pos);
    const QChar c = m_text.at(m_pos);
    if (c == QLatin1Char('(')) {
        if (!isNestedTag(node->tag))
            return fail(tr("\"%1\" holds no elements").arg(tagText), start, m_pos);
        if (depth >= MaxDepth)
            return fail(tr("Nested too deep"), m_pos, m_pos + 1);
        ++m_pos;
        node->nested = true;
        node->any = false;
        return parseConditions(node, depth + 1);
    }
    if (top)
        return fail(tr("\"(\" expected"), m_pos, m_pos + 1);
    if (c == QLatin1Char('*')) {
        ++m_pos;
        return true;
    }
    return parseValue(node, tagText, start);
}

bool MessagePattern::parseConditions(Node* node, int depth)
{
    for (;;) {
        skipSpace();
        if (m_pos >= m_text.size())
            return fail(tr("\")\" expected"), m_pos, m_pos);
        if (m_text.at(m_pos) == QLatin1Char(')')) {
            ++m_pos;
            return true;
        }
        Node child;
        if (!parseNode(&child, depth, false))
            return false;
        node->children.append(child);
    }
}

bool MessagePattern::parseValue(Node* node, const QString& tagText, int tagStart)
{
    const int start = m_pos;
    if (m_text.at(m_pos) == QLatin1Char('"')) {
        ++m_pos;
        while (m_pos < m_text.size() && m_text.at(m_pos) != QLatin1Char('"'))
            m_pos += m_text.at(m_pos) == QLatin1Char('\\') ? 2 : 1;
        if (m_pos >= m_text.size())
            return fail(tr("Unterminated string"), start, int(m_text.size()));
        ++m_pos;
    } else {
        while (m_pos < m_text.size() && !m_text.at(m_pos).isSpace() &&
               m_text.at(m_pos) != QLatin1Char(')') && m_text.at(m_pos) != QLatin1Char('('))
            ++m_pos;
    }
    if (m_pos == start)
        return fail(tr("Value expected"), start, start + 1);
    // The value is read as the text notation would read it, so that it
    // decodes to what a message with that text holds.
    const QString element = tagText + QLatin1Char('=') + m_text.mid(start, m_pos - start);
    MessageParser parser(m_lut);
    const Message message = parser.parse(element);
    if (parser.hasError()) {
        // The element's text is the span from the tag on, unchanged.
        const int errorStart = qBound(tagStart, tagStart + parser.errorStart(), m_pos);
        const int errorEnd = qBound(errorStart, errorStart + parser.errorLength(), m_pos);
        return fail(parser.errorMessage(), errorStart, errorEnd);
    }
    node->any = false;
    node->value = message.topLevelIterator().get();
    return true;
}

bool MessagePattern::matches(const Message& message) const
{
    if (!m_valid)
        return false;
    const Message::Iterator it = message.topLevelIterator();
    if (!it.isValid() || it.atEnd())
        return false;
    if (m_isExpression)
        return m_expression.matches(message);
    if (m_anyMessage)
        return true;
    return it.tag() == m_root.tag && matchNode(m_root, it);
}

bool MessagePattern::matchNode(const Node& node, Message::Iterator it)
{
    if (node.nested) {
        if (node.children.isEmpty())
            return true;
        bool ok = false;
        const Message::Iterator inner = it.getIterator(&ok);
        return ok && matchChildren(node.children, inner);
    }
    if (node.any)
        return true;
    bool ok = false;
    const QVariant value = it.get(&ok);
    return ok && value == node.value;
}

bool MessagePattern::matchChildren(const QVector<Node>& children, const Message::Iterator& it)
{
    for (const Node& child : children) {
        Message::Iterator i = it;
        i.rewind();
        bool found = false;
        for (; i.isValid() && !i.atEnd(); ++i) {
            if (i.tag() == child.tag && matchNode(child, i)) {
                found = true;
                break;
            }
        }
        if (!found)
            return false;
    }
    return true;
}

namespace {

// Depth first: the first element with `tag` anywhere below `it`.
bool findElement(Message::Iterator it, int tag, Message* element, int depth)
{
    for (; it.isValid() && !it.atEnd(); ++it) {
        if (it.tag() == tag) {
            int size = 0;
            const char* data = it.getData(&size);
            element->clear();
            element->appendData(tag, data, size);
            return true;
        }
        if (isNestedTag(it.tag()) && depth < MessagePattern::MaxDepth) {
            bool ok = false;
            const Message::Iterator inner = it.getIterator(&ok);
            if (ok && findElement(inner, tag, element, depth + 1))
                return true;
        }
    }
    return false;
}

} // namespace

QString MessagePattern::substitute(const QString& text, const Message& request, const TagDataLut* lut,
                                   QString* error)
{
    QString result;
    result.reserve(text.size());
    int pos = 0;
    for (;;) {
        const int open = int(text.indexOf(QLatin1String("${"), pos));
        if (open < 0) {
            result += QStringView(text).mid(pos);
            break;
        }
        const int close = int(text.indexOf(QLatin1Char('}'), open + 2));
        if (close < 0) {
            if (error)
                *error = tr("Unterminated ${ at %1").arg(open + 1);
            return QString();
        }
        result += QStringView(text).mid(pos, open - pos);
        const QString name = text.mid(open + 2, close - open - 2).trimmed();
        MessageParser parser(lut);
        const int tag = name.isEmpty() ? -1 : parser.parse(name).tag();
        if (tag < 0 || parser.hasError()) {
            if (error)
                *error = tr("Unknown tag \"%1\" in ${} at %2").arg(name).arg(open + 1);
            return QString();
        }
        Message element;
        if (!findElement(request.topLevelIterator(), tag, &element, 0)) {
            if (error)
                *error = tr("The request has no %1").arg(name);
            return QString();
        }
        const QString elementText = element.toText(lut);
        const int equals = int(elementText.indexOf(QLatin1Char('=')));
        if (equals >= 0)
            result += QStringView(elementText).mid(equals + 1);
        pos = close + 1;
    }
    if (error)
        error->clear();
    return result;
}

} // namespace QRV16
