// SPDX-License-Identifier: MIT
#include "qrv16/namecompletion.h"

#include "qrv16/messageparser.h"
#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"

#include <algorithm>

namespace QRV16 {

namespace {

bool isNameChar(QChar c)
{
    const ushort u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || u == '_';
}

// Where the text before the cursor stands in the notation's grammar. The
// reading is forgiving: text that does not parse still has a place.
enum class Place { Element, Tag, AfterTag, Value, Plain, Other };

void addMatching(const QStringList& names, QStringView word, QStringList* out)
{
    for (const QString& name : names) {
        if (name.startsWith(word, Qt::CaseInsensitive) && !out->contains(name))
            out->append(name);
    }
}

} // namespace

NameCompletion NameCompletion::at(const QString& text, int cursor, const TagDataLut* lut)
{
    NameCompletion c;
    cursor = qBound(0, cursor, int(text.size()));
    Place place = Place::Element;
    int token = 0;  // where the tag or the plain value began
    QStringView tag; // the last tag read
    for (int i = 0; i < cursor;) {
        const QChar ch = text.at(i);
        switch (place) {
        case Place::Element:
            if (isNameChar(ch)) {
                place = Place::Tag;
                token = i;
            }
            ++i;
            break;
        case Place::Tag:
            if (isNameChar(ch)) {
                ++i;
            } else {
                tag = QStringView(text).mid(token, i - token);
                place = Place::AfterTag;
            }
            break;
        case Place::AfterTag:
            if (ch.isSpace()) {
                ++i;
            } else if (ch == QLatin1Char('=')) {
                place = Place::Value;
                ++i;
            } else {
                place = Place::Element;
            }
            break;
        case Place::Value:
            if (ch.isSpace()) {
                ++i;
            } else if (ch == QLatin1Char('(')) {
                place = Place::Element;
                ++i;
            } else if (ch == QLatin1Char('"') || ch == QLatin1Char('@')) {
                // Quoted and base64 values hold no names to offer.
                place = Place::Other;
            } else {
                place = Place::Plain;
                token = i++;
            }
            break;
        case Place::Plain:
            if (ch.isSpace() || ch == QLatin1Char(')'))
                place = Place::Element;
            else
                ++i;
            break;
        case Place::Other:
            if (ch == QLatin1Char('"')) {
                // To the closing quote; a backslash escapes the next character.
                for (++i; i < cursor && text.at(i) != QLatin1Char('"'); ++i) {
                    if (text.at(i) == QLatin1Char('\\'))
                        ++i;
                }
                if (i >= cursor)
                    return c;
                ++i;
                place = Place::Element;
            } else if (ch.isSpace() || ch == QLatin1Char(')')) {
                place = Place::Element;
            } else {
                ++i;
            }
            break;
        }
    }
    if (place == Place::Other)
        return c;

    c.m_start = cursor;
    if (place == Place::Tag) {
        c.m_start = token;
    } else if (place == Place::Plain) {
        // Bits are joined by '|': the word is the last of them.
        c.m_start = token;
        for (int i = token; i < cursor; ++i) {
            if (text.at(i) == QLatin1Char('|'))
                c.m_start = i + 1;
        }
    }
    c.m_end = cursor;
    while (c.m_end < text.size() && isNameChar(text.at(c.m_end)))
        ++c.m_end;
    const QStringView word = QStringView(text).mid(c.m_start, cursor - c.m_start);
    for (QChar ch : word) {
        if (!isNameChar(ch))
            return c;
    }
    if (!lut)
        return c;

    if (place == Place::Value || place == Place::Plain) {
        c.m_kind = ValueNames;
        c.m_tag = MessageParser::tagData(tag, lut);
        if (c.m_tag) {
            addMatching(c.m_tag->enums.names(), word, &c.m_names);
            addMatching(c.m_tag->bits.names(), word, &c.m_names);
        }
        return c;
    }
    c.m_kind = TagNames;
    const QStringList& names = lut->tagNames();
    for (const QString& name : names) {
        if (name.startsWith(word, Qt::CaseInsensitive)) {
            c.m_names.append(name);
        } else if (!word.isEmpty()) {
            // "iCo" is Count with its type prefix, as the Hungarian trace shows it.
            const TagData* data = lut->tagData(name);
            const QString prefixed = MessageWriter::typePrefix(int(data->id)) + name;
            if (prefixed.startsWith(word, Qt::CaseInsensitive))
                c.m_names.append(prefixed);
        }
    }
    std::sort(c.m_names.begin(), c.m_names.end(), [](const QString& a, const QString& b) {
        const int order = a.compare(b, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a < b;
    });
    return c;
}

} // namespace QRV16
