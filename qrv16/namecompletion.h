// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

namespace QRV16 {

class TagData;
class TagDataLut;

// The names the definitions know at a place in a partly typed text: tag
// names where an element begins, the enum and bit names of the tag whose
// value is being typed. It offers; what is taken is the user's choice.
class NameCompletion
{
public:
    enum Kind { Nothing, TagNames, ValueNames };

    // What may stand at `cursor` (a character index) in `text`.
    static NameCompletion at(const QString& text, int cursor, const TagDataLut* lut);

    Kind kind() const { return m_kind; }
    // Names that begin with the typed part of the word, case ignored: tag
    // names sorted, value names in the order of the definitions.
    const QStringList& names() const { return m_names; }
    // The tag whose values are offered; null for tag names.
    const TagData* tag() const { return m_tag; }
    // The word a choice replaces, [start, end): the part before the cursor
    // and the rest of the word after it.
    int start() const { return m_start; }
    int end() const { return m_end; }

private:
    Kind m_kind = Nothing;
    QStringList m_names;
    const TagData* m_tag = nullptr;
    int m_start = 0;
    int m_end = 0;
};

} // namespace QRV16
