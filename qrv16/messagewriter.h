// SPDX-License-Identifier: MIT
#pragma once

// Turns binary messages into the text notation that MessageParser reads:
// tag=value, nested values in parentheses, names from the lookup table.

#include "qrv16/message.h"
#include "qrv16/types.h"

#include <QString>

namespace QRV16 {

class TagData;
class TagDataLut;
class TextBuffer;

class MessageWriter
{
public:
    explicit MessageWriter(const TagDataLut* lut = nullptr, TextOptions options = {});

    QString toText(const Message& message) const;
    // The elements from the iterator's start onward; the iterator is rewound first.
    QString toText(Message::Iterator& it) const;
    QString formatText(Message::Iterator& it, int indent) const;

    QString tagToText(int tag) const;
    QString tagToText(int tag, const TagData* data) const;
    QString dataToText(const Message::Iterator& it, const TagData* data) const;
    QString printBitArray(quint64 bits, const TagData* data) const;
    QString prettyPrintInteger(qint64 value, const TagData* data) const;

    // The Hungarian type prefix of a tag's data type ("s", "i", "lst", ...).
    static QString typePrefix(int tag);

    // Nesting deeper than the parser accepts is written in the raw form.
    static constexpr int MaxDepth = 99;

private:
    QString valueText(const Message::Iterator& it, const TagData* data, int depth) const;
    // valueText appended to out, common values printed straight from the payload.
    void appendValue(TextBuffer& out, const Message::Iterator& it, const TagData* data,
                     int depth) const;
    void appendTag(TextBuffer& out, int tag, const TagData* data) const;
    void appendBits(TextBuffer& out, quint64 bits, const TagData* data) const;
    // False when the walk does not end cleanly.
    bool appendElements(TextBuffer& out, Message::Iterator it, int depth) const;
    void appendFormatted(TextBuffer& out, Message::Iterator it, int indent, int depth) const;
    // False when the children do not walk cleanly to their end, or lie
    // deeper than MaxDepth; then the raw form is written instead.
    bool childrenOf(const Message::Iterator& it, int depth, Message::Iterator* children) const;
    const TagData* lookup(int tag) const;

    const TagDataLut* m_lut;
    TextOptions m_options;
};

QString escaped(const QString& text, QChar quote);
QString hexify(int value);
int denibble(int c);

} // namespace QRV16
