// SPDX-License-Identifier: MIT
#pragma once

// The definitions as the code generators see them: the tags of a tree in
// file order with their enum values and bits, and the blank lines and
// comments between them. What cannot become code (a nameless enum value, a
// tag without a code) is kept as a note, so the reader sees why it is missing.

#include "qrv16/types.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace QRV16 {

class Item;

class CodeModel
{
public:
    enum class Kind {
        Definition,
        Blank, // an empty line of the file
        Note,  // a comment of the file, or a definition that became one
    };

    // One enum value or one bit of a tag.
    struct Value
    {
        Kind kind = Kind::Definition;
        qint64 value = 0; // the bit number for a bit, below 2^32
        QString name;     // as in the file
        QString comment;  // for a note, its text
        DisplayMode display;
        const Item* item = nullptr; // where it came from, to name it in a clash
    };

    struct Tag
    {
        Kind kind = Kind::Definition;
        quint16 code = 0;
        QString name;    // as in the file
        QString comment; // for a note, its text
        bool secure = false;
        const Item* item = nullptr;
        QList<Value> enums; // file order
        QList<Value> bits;  // file order

        bool hasEnums() const { return countDefinitions(enums) > 0; }
        bool hasBits() const { return countDefinitions(bits) > 0; }
        // For the comment beside the code: the type's name, and whether the
        // tag is secure.
        QString typeText() const;
    };

    // False, with error() saying why, when the tree cannot become code.
    bool read(const Item* root);
    const QList<Tag>& tags() const { return m_tags; }
    QString error() const { return m_error; }

    static int countDefinitions(const QList<Value>& values);
    // Hexadecimal (padded to the display's digits) when the display asks for
    // it and the value is not negative, else decimal. Octal and binary have
    // no form shared by every target language.
    static QString number(qint64 value, const DisplayMode& display);
    // The lines of a comment: every kind of line break ends one, other
    // control characters become blanks and trailing blanks go.
    static QStringList commentLines(const QString& text);
    // commentLines() made safe inside a C or C++ comment: no "*/" or "/*",
    // and no backslash at a line's end that would splice the next line in.
    static QStringList cCommentLines(const QString& text);
    // `lines` as line comments opened by `marker` ("//", "--"), each behind
    // `indent`; an empty line is the bare marker.
    static QString lineComments(const QStringList& lines, const QString& indent, const QString& marker);
    // `lines` joined into one comment behind code on the same line, or
    // nothing when there are none.
    static QString trailingComment(const QStringList& lines, const QString& marker);
    // The lines of the comment at the top of a generated file: `header`, or
    // a line saying where the file came from when it is empty.
    static QStringList headerLines(const QString& header);

    struct TypeName
    {
        const char* name;
        int value;
    };
    // The data types that have a name, in the order of their numbers.
    static const QList<TypeName>& dataTypeNames();
    // The name of the data type of `code` ("Integer", "Point"), empty when
    // the type has none.
    static QString dataTypeName(quint16 code);
    // The data type of `code` as a literal: `named` with the type's name for
    // %1, or `unnamed` with its number when it has none.
    static QString dataTypeLiteral(quint16 code, const char* named, const char* unnamed);
    // How a clash is reported: the name and the two entries, each described
    // by `where` (a line number, a place in the tree).
    static QString clashText(const QString& name, const QString& first, const QString& second);
    // An entry as the user knows it: "tag Mode", "enum value Mode.Off",
    // "bit Alarms.Door".
    static QString describe(const Item* item);
    // The keywords of C++ and the macros of its standard headers that a
    // generated name must not equal.
    static const QStringList& cppReservedWords();
    // A namespace given as text ("a::b", "A.B") as identifiers, one per
    // level; `fallback` when the text has none.
    static QStringList namespaceParts(const QString& text, const QString& separator,
                                      const QStringList& reserved, const QString& fallback);

private:
    void readValues(const Item* container, QList<Value>* values, bool bits);

    QList<Tag> m_tags;
    QString m_error;
};

} // namespace QRV16
