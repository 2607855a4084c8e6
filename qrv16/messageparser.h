// SPDX-License-Identifier: MIT
#pragma once

// Reads the text notation into binary messages:
//   element := tag [ "=" value ]
//   value   := "(" elements ")" | "@" base64 | '"' quoted '"' | plain
// Tags are four hex digits or, with a lookup table, names with an optional
// type prefix. On error the first message and its span are kept.

#include "qrv16/message.h"

#include <QList>
#include <QString>

#include <vector>

namespace QRV16 {

class TagData;
class TagDataLut;

class MessageParser
{
public:
    explicit MessageParser(const TagDataLut* lut = nullptr);

    // Exactly one element; an empty message on error.
    Message parse(const QString& text);
    // One message per element; an empty list on error.
    QList<Message> parseList(const QString& text);

    bool hasError() const { return !m_error.isNull(); }
    QString errorMessage() const { return m_error; }
    // For a value that is neither a number nor one of its tag's names: the
    // names the tag has ("Mode has Off, On"), at most MaxNamesShown.
    QString errorHint() const { return m_errorHint; }
    // "line:column: message", and "; hint" when there is one: the error in
    // one line, for a place that cannot show a caret under the text.
    QString errorReport() const;
    // The faulty span as character offsets into the text.
    int errorStart() const { return m_errorStart; }
    int errorLength() const { return m_errorLength; }
    // The same span as lines and columns counted from 1, end inclusive.
    int errorLineStart() const;
    int errorColumnStart() const;
    int errorLineEnd() const;
    int errorColumnEnd() const;

    // Nesting of parentheses beyond this fails.
    static constexpr int MaxDepth = 99;
    static constexpr int MaxNamesShown = 12;

    // The tag a tag token names, read as parse() reads it: a code, a name,
    // or a name with its type prefix. Null when the table has none.
    static const TagData* tagData(QStringView token, const TagDataLut* lut);

private:
    void reset(const QString& text);
    Message parseOne();
    QList<Message> parseAll();
    void skipSpace(int end)
    {
        while (m_pos < end && m_chars[m_pos].isSpace())
            ++m_pos;
    }
    bool atEnd(int end) const { return m_pos >= end; }
    bool parseElements(int end, int depth);
    bool parseElement(int end, int depth);
    bool parseTag(int end);
    bool parseValue(int end, int depth);
    bool parseNested(int end, int depth);
    bool parseBase64(int end);
    bool parseQuoted(int end);
    bool parsePlain(int end);
    bool decodePlain(QStringView token, int start);
    int findClosingParenthesis(int from, int end);
    // Marks the text doubtful when the token holds a character that the
    // closing-parenthesis scan would read otherwise than the parser does.
    void checkToken(int from, int to);
    bool fail(const char* message, int start, int end = -1);
    bool failValue(int start);
    bool failOutOfRange(QStringView part, int start);
    bool failText(const QString& message, int start, int end);
    void computeCoordinates() const;

    const TagDataLut* m_lut;
    Message m_message;
    QString m_text;
    const QChar* m_chars = nullptr; // m_text's characters, read without bounds checks
    std::vector<int> m_closeOf;     // a '(' position's match, once a scan has passed it
    bool m_optimistic = false; // nested values end where their ')' is met, no scan first
    bool m_doubtful = false;   // an optimistic read that the scan might read otherwise
    int m_pos = 0;
    int m_tag = -1;
    const TagData* m_tagData = nullptr;
    QString m_error;
    QString m_errorHint;
    int m_errorStart = 0;
    int m_errorLength = 0;
    mutable int m_lineStart = -1;
    mutable int m_columnStart = -1;
    mutable int m_lineEnd = -1;
    mutable int m_columnEnd = -1;
};

} // namespace QRV16
