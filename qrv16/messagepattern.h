// SPDX-License-Identifier: MIT
#pragma once

// A pattern that a decoded message matches or not:
//   pattern := "*" | tag [ "=" "(" conditions ")" ]
//   condition := tag [ "=" ( "*" | "(" conditions ")" | value ) ]
// A tag is a name from the lookup table or four hex digits. A condition
// holds when the message has an element with that tag whose value is equal
// (values compare decoded, so enum names and any integer width agree); a
// tag alone or "*" asks only for the element. Nested conditions look into
// the element's children, in any order. A text that is no such pattern but
// a filter expression (`StatusReport and Temperature>700`,
// `ResultCode!=Ok`, with or, not and parentheses) matches as the filter
// does: any element, at any depth. On error the message and its span are
// kept, as the text parser does.

#include "qrv16/message.h"
#include "qrv16/messageexpression.h"

#include <QString>
#include <QVariant>
#include <QVector>

namespace QRV16 {

class TagDataLut;

class MessagePattern
{
public:
    MessagePattern() = default;
    // The table is used while parsing, and by a filter expression while
    // matching (it hides secure values): parse again before it goes.
    MessagePattern(const QString& text, const TagDataLut* lut);

    bool parse(const QString& text, const TagDataLut* lut);
    bool isValid() const { return m_valid; }
    // Whether the text was taken as a filter expression.
    bool isExpression() const { return m_isExpression; }
    QString text() const { return m_text; }
    bool matches(const Message& message) const;

    bool hasError() const { return !m_error.isNull(); }
    QString errorMessage() const { return m_error; }
    int errorStart() const { return m_errorStart; }
    int errorLength() const { return m_errorLength; }

    // `text` with every ${Tag} replaced by the value of the first element
    // with that tag in `request` (depth first), in the text notation. A tag
    // that is unknown or absent is an error; the text is then null.
    static QString substitute(const QString& text, const Message& request, const TagDataLut* lut,
                              QString* error = nullptr);

    static constexpr int MaxDepth = 99;

private:
    struct Node
    {
        int tag = -1;
        bool any = true; // presence only
        QVariant value;  // compared when there are no children
        QVector<Node> children;
        bool nested = false;
    };

    void skipSpace();
    bool parseNode(Node* node, int depth, bool top);
    bool parseConditions(Node* node, int depth);
    bool parseValue(Node* node, const QString& tagText, int tagStart);
    int resolveTag(const QString& name) const;
    bool fail(const QString& message, int start, int end);
    static bool matchNode(const Node& node, Message::Iterator it);
    static bool matchChildren(const QVector<Node>& children, const Message::Iterator& it);

    bool parsePattern();

    Node m_root;
    MessageExpression m_expression;
    bool m_isExpression = false;
    bool m_anyMessage = false;
    bool m_valid = false;
    QString m_text;
    int m_pos = 0;
    const TagDataLut* m_lut = nullptr;
    QString m_error;
    int m_errorStart = 0;
    int m_errorLength = 0;
};

} // namespace QRV16
