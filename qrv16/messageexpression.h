// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"

#include <QString>
#include <QVector>

namespace QRV16 {

class TagDataLut;

// A condition on a decoded message, typed by the user to filter or colour
// the trace: tag names or codes, optionally compared with a value
// (`Mode=On`, `Count>700`, `Name!="x y"`), joined with `and`, `or`, `not`
// and parentheses. A term holds when any element of that tag, at any depth,
// satisfies it. Names are resolved once, when parsed.
class MessageExpression
{
public:
    enum Op { Exists, Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual };

    MessageExpression() = default;

    // Parses `text` with names from `lut` (codes only when null). On failure
    // the expression is invalid and keeps the error and its position (0-based
    // index into `text`). Blank text is valid and empty.
    bool parse(const QString& text, const TagDataLut* lut);

    bool isValid() const { return m_error.isEmpty(); }
    bool isEmpty() const { return m_nodes.isEmpty(); }
    QString errorString() const { return m_error; }
    int errorPosition() const { return m_errorPos; }
    QString text() const { return m_text; }

    // False when invalid; true when empty.
    bool matches(const Message& message) const;
    // The elements in [start, end) of `message`, nested ones walked too.
    bool matches(const Message& message, int start, int end) const;

private:
    enum NodeType { Term, And, Or, Not };
    enum ValueKind { NoValue, Integer, Text, Bits };

    struct Node
    {
        NodeType type = Term;
        int left = -1;  // node indexes
        int right = -1;
        int tag = 0;
        Op op = Exists;
        ValueKind kind = NoValue;
        qint64 number = 0; // integers, enums, bools, day counts, milliseconds; bit number
        QString text;
        bool secure = false; // values never compared
    };

    struct Token
    {
        enum Type { End, Word, Number, Quoted, Operator, Open, Close } type = End;
        QString text;
        int pos = 0;
    };

    // Recursive descent, lowest precedence first; each returns a node index
    // or -1 after setting the error.
    int parseOr();
    int parseAnd();
    int parseNot();
    int parsePrimary();
    bool parseValue(Node* node, const Token& value);
    Token next();
    Token peek();
    int fail(const QString& error, int pos);
    int addNode(const Node& node);

    bool evaluate(int node, const Message& message, int start, int end) const;
    bool termMatches(const Node& node, const Message& message, int start, int end, int depth) const;
    bool elementMatches(const Node& node, const Message::Iterator& it) const;

    QString m_text;
    const TagDataLut* m_lut = nullptr;
    int m_pos = 0;
    QVector<Node> m_nodes;
    int m_root = -1;
    QString m_error;
    int m_errorPos = -1;
};

} // namespace QRV16
