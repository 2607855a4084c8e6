// SPDX-License-Identifier: MIT
#pragma once

// The promise of the text notation, shared by the tests and the fuzzer:
// what the writer prints of a valid message reads back, and what it reads
// back to prints and reads back to the same bytes again.

#include "qrv16/message.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"

#include <QString>

namespace NotationProperty {

// Names that cannot read back, by design: a secure value prints <hidden>,
// the ExtSize prefix "sz" reads as "s", and a name of four hex digits reads
// as a tag code.
inline bool nameReadsBack(const QRV16::TagData* data, int tag, QRV16::TextOptions options)
{
    if (!data || data->name.isEmpty())
        return true;
    if (data->secure)
        return false;
    if (options & QRV16::Hungarian)
        return QRV16::dataType(unsigned(tag)) != QRV16::DataType::ExtSize;
    if (data->name.size() != 4)
        return true;
    for (QChar c : data->name) {
        if (QRV16::denibble(c.unicode()) < 0)
            return true;
    }
    return false;
}

// Whether every element the writer prints by name can read back.
inline bool namesReadBack(QRV16::Message::Iterator it, const QRV16::TagDataLut* lut,
                          QRV16::TextOptions options, int depth = 0)
{
    if (!lut)
        return true;
    for (; !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            continue;
        if (!nameReadsBack(lut->tagData(unsigned(tag)), tag, options))
            return false;
        bool ok = false;
        const QRV16::Message::Iterator inner = it.getIterator(&ok);
        if (ok && QRV16::isNestedTag(tag) && depth < QRV16::MessageWriter::MaxDepth &&
            !namesReadBack(inner, lut, options, depth + 1))
            return false;
    }
    return true;
}

// Empty when the property holds for `m`, else what went wrong. `exact`
// asks for the first reading to give m's own bytes too; leave it false where
// m holds an Integer of four bytes with bit 31 set (it reads back in eight)
// or a payload wider than its value (an Integer, BitArray or Bool byte).
inline QString check(const QRV16::Message& m, const QRV16::TagDataLut* lut,
                     QRV16::TextOptions options, bool exact)
{
    const QString text = m.toText(lut, options);
    QRV16::MessageParser parser(lut);
    const QRV16::Message p = parser.parse(text);
    if (parser.hasError())
        return QStringLiteral("does not read back: %1 at %2 in\n%3")
            .arg(parser.errorMessage())
            .arg(parser.errorStart())
            .arg(text);
    const auto hex = [](const QRV16::Message& x) {
        return QString::fromLatin1(x.bytes().toHex(' ').toUpper());
    };
    if (exact && p.bytes() != m.bytes())
        return QStringLiteral("reads back changed:\n%1\n%2\n%3").arg(text, hex(m), hex(p));
    const QString again = p.toText(lut, options);
    const QRV16::Message q = parser.parse(again);
    if (parser.hasError() || q.bytes() != p.bytes())
        return QStringLiteral("no fixed point: %1\n%2\n%3\n%4 %5")
            .arg(text, again, hex(p), hex(q), parser.errorMessage());
    return QString();
}

// check() without the table and with `lut`, in all four layouts, skipping
// the names that cannot read back; empty or the first failure. Counts the
// layouts checked with the table in `byName` when given.
inline QString checkEveryLayout(const QRV16::Message& m, const QRV16::TagDataLut* lut, bool exact,
                                int* byName = nullptr)
{
    using QRV16::TextOptions;
    const TextOptions layouts[] = {TextOptions(), TextOptions(QRV16::MultiLine),
                                   TextOptions(QRV16::Hungarian),
                                   TextOptions(QRV16::MultiLine | QRV16::Hungarian)};
    for (const QRV16::TagDataLut* table : {static_cast<const QRV16::TagDataLut*>(nullptr), lut}) {
        for (TextOptions options : layouts) {
            if (!namesReadBack(m.topLevelIterator(), table, options))
                continue;
            if (table && byName)
                ++*byName;
            const QString failure = check(m, table, options, exact);
            if (!failure.isEmpty())
                return QStringLiteral("table %1, options %2: %3")
                    .arg(QLatin1String(table ? "yes" : "no"))
                    .arg(int(options))
                    .arg(failure);
        }
    }
    return QString();
}

} // namespace NotationProperty
