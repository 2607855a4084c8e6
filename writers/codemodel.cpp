// SPDX-License-Identifier: MIT
#include "writers/codemodel.h"

#include "qrv16/item.h"
#include "writers/identifierset.h"

#include <QCoreApplication>

namespace QRV16 {

bool CodeModel::read(const Item* root)
{
    m_tags.clear();
    m_error.clear();
    if (!root) {
        m_error = QCoreApplication::translate("CodeModel", "No definitions to write.");
        return false;
    }
    for (int i = 0; i < root->childCount(); ++i) {
        const Item* item = root->child(i);
        const ItemData& d = item->data();
        Tag tag;
        if (item->isNewline()) {
            tag.kind = Kind::Blank;
        } else if (item->isComment()) {
            tag.kind = Kind::Note;
            tag.comment = d.comment;
        } else if (d.type != ItemType::Tag) {
            continue;
        } else if (!d.hasId || d.name.isEmpty()) {
            tag.kind = Kind::Note;
            tag.comment =
                d.hasId
                    ? item->formatId() + QCoreApplication::translate("CodeModel", " has no name")
                    : d.name + QCoreApplication::translate("CodeModel", " has no code");
            if (!d.comment.isEmpty())
                tag.comment += QStringLiteral(": ") + d.comment;
        } else if (d.id > 0xFFFF) {
            m_error = QCoreApplication::translate("CodeModel",
                                                  "Tag %1 has the code 0x%2, beyond 16 bits.")
                          .arg(d.name, QString::number(d.id, 16).toUpper());
            m_tags.clear();
            return false;
        } else {
            tag.code = quint16(d.id);
            tag.name = d.name;
            tag.comment = d.comment;
            tag.secure = d.secure;
            tag.item = item;
            for (int c = 0; c < item->childCount(); ++c) {
                const Item* container = item->child(c);
                if (container->data().type == ItemType::Enums)
                    readValues(container, &tag.enums, false);
                else if (container->data().type == ItemType::Bits)
                    readValues(container, &tag.bits, true);
            }
        }
        m_tags.append(tag);
    }
    return true;
}

void CodeModel::readValues(const Item* container, QList<Value>* values, bool bits)
{
    const ItemType wanted = bits ? ItemType::Bit : ItemType::Enum;
    for (int i = 0; i < container->childCount(); ++i) {
        const Item* item = container->child(i);
        const ItemData& d = item->data();
        Value v;
        if (item->isNewline()) {
            v.kind = Kind::Blank;
        } else if (item->isComment()) {
            v.kind = Kind::Note;
            v.comment = d.comment;
        } else if (d.type != wanted) {
            continue;
        } else if (!d.hasId || d.name.isEmpty() || (bits && d.id > 0xFFFFFFFFu)) {
            v.kind = Kind::Note;
            if (!d.hasId)
                v.comment = d.name + QCoreApplication::translate("CodeModel", " has no number");
            else if (d.name.isEmpty() && d.comment.isEmpty())
                v.comment =
                    item->formatId() + QCoreApplication::translate("CodeModel", " has no name");
            else if (d.name.isEmpty())
                v.comment = item->formatId();
            else
                v.comment =
                    d.name + QCoreApplication::translate("CodeModel", " is bit %1, beyond 32 bits")
                                 .arg(d.id);
            if (!d.comment.isEmpty())
                v.comment += QStringLiteral(": ") + d.comment;
        } else {
            // Enum values are signed: -1 is stored as its 64-bit two's complement.
            v.value = qint64(d.id);
            v.name = d.name;
            v.comment = d.comment;
            v.display = item->displayMode();
            v.item = item;
        }
        values->append(v);
    }
}

QString CodeModel::Tag::typeText() const
{
    QString type = dataTypeName(code);
    if (type.isEmpty())
        type = QCoreApplication::translate("CodeModel", "Undefined type");
    if (secure)
        type += QCoreApplication::translate("CodeModel", ", secure");
    return type;
}

int CodeModel::countDefinitions(const QList<Value>& values)
{
    int n = 0;
    for (const Value& v : values)
        n += v.kind == Kind::Definition;
    return n;
}

QString CodeModel::number(qint64 value, const DisplayMode& display)
{
    if (display.mode == DisplayMode::Hex && value >= 0)
        return formatNumber(quint64(value), display);
    return QString::number(value);
}

QStringList CodeModel::commentLines(const QString& text)
{
    QString clean = text;
    clean.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    for (QChar& c : clean) {
        const char16_t u = c.unicode();
        if (u == u'\n')
            continue;
        if (u == u'\r' || u == 0x0B || u == 0x0C || u == 0x85 || u == 0x2028 || u == 0x2029)
            c = QLatin1Char('\n');
        else if (u == u'\t')
            c = QLatin1Char(' ');
        else if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            c = QLatin1Char(' ');
    }
    QStringList lines = clean.split(QLatin1Char('\n'));
    for (QString& line : lines) {
        while (!line.isEmpty() && line.back().isSpace())
            line.chop(1);
    }
    // A comment of the file starts after "<!--" and goes on indented as the
    // file was: the indentation the lines share is the file's, not the text's.
    if (!lines.isEmpty()) {
        while (!lines.first().isEmpty() && lines.first().front().isSpace())
            lines.first().remove(0, 1);
    }
    qsizetype shared = -1;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QString& line = lines.at(i);
        if (line.isEmpty())
            continue;
        qsizetype indent = 0;
        while (line.at(indent).isSpace())
            ++indent;
        shared = shared < 0 ? indent : qMin(shared, indent);
    }
    for (qsizetype i = 1; shared > 0 && i < lines.size(); ++i)
        lines[i].remove(0, shared);
    // Empty lines at either end carry nothing.
    while (!lines.isEmpty() && lines.constFirst().isEmpty())
        lines.removeFirst();
    while (!lines.isEmpty() && lines.constLast().isEmpty())
        lines.removeLast();
    return lines;
}

QString CodeModel::lineComments(const QStringList& lines, const QString& indent, const QString& marker)
{
    QString out;
    for (const QString& line : lines)
        out += indent + marker + (line.isEmpty() ? QString() : QLatin1Char(' ') + line) + QLatin1Char('\n');
    return out;
}

QString CodeModel::trailingComment(const QStringList& lines, const QString& marker)
{
    const QString joined = lines.join(QLatin1Char(' '));
    return joined.isEmpty() ? QString() : QLatin1Char(' ') + marker + QLatin1Char(' ') + joined;
}

QStringList CodeModel::cCommentLines(const QString& text)
{
    QStringList lines = commentLines(text);
    for (QString& line : lines) {
        line.replace(QLatin1String("*/"), QLatin1String("* /"));
        line.replace(QLatin1String("/*"), QLatin1String("/ *"));
        // "??/" is a backslash where trigraphs are read (C99).
        for (;;) {
            if (line.endsWith(QLatin1Char('\\')))
                line.chop(1);
            else if (line.endsWith(QLatin1String("?\?/")))
                line.chop(3);
            else if (!line.isEmpty() && line.back().isSpace())
                line.chop(1);
            else
                break;
        }
    }
    return lines;
}

QStringList CodeModel::headerLines(const QString& header)
{
    const QStringList lines = commentLines(header);
    if (!lines.isEmpty())
        return lines;
    return {QCoreApplication::translate("CodeModel",
                                        "Generated from QRV16 tag definitions; do not edit.")};
}

QStringList CodeModel::namespaceParts(const QString& text, const QString& separator,
                                      const QStringList& reserved, const QString& fallback)
{
    QStringList parts;
    for (const QString& part : text.split(separator, Qt::SkipEmptyParts)) {
        if (!part.trimmed().isEmpty()) {
            // A fresh set per level: "a::a" is a valid namespace.
            parts += IdentifierSet(reserved).add(part.trimmed());
        }
    }
    if (parts.isEmpty())
        parts += fallback;
    return parts;
}

const QList<CodeModel::TypeName>& CodeModel::dataTypeNames()
{
    static const QList<TypeName> names = {
        {"Binary", 0},         {"Integer", 1},  {"Bool", 2},     {"String", 3},
        {"Date", 4},           {"Time", 5},     {"DateTime", 6}, {"BitArray", 7},
        {"NetworkAddress", 9}, {"List", 12},    {"Request", 13}, {"Answer", 14},
        {"Message", 15},       {"Point", 0x80}, {"Rect", 0x81},  {"Size", 0x82},
    };
    return names;
}

QString CodeModel::dataTypeName(quint16 code)
{
    const int type = int(dataType(code));
    for (const TypeName& t : dataTypeNames()) {
        if (t.value == type)
            return QLatin1String(t.name);
    }
    return QString();
}

QString CodeModel::dataTypeLiteral(quint16 code, const char* named, const char* unnamed)
{
    const QString name = dataTypeName(code);
    if (name.isEmpty())
        return QString::fromLatin1(unnamed).arg(int(dataType(code)));
    return QString::fromLatin1(named).arg(name);
}

QString CodeModel::describe(const Item* item)
{
    if (!item)
        return QCoreApplication::translate("CodeModel", "the generated code itself");
    const ItemData& d = item->data();
    if (d.type == ItemType::Tag)
        return QCoreApplication::translate("CodeModel", "tag %1").arg(d.name);
    const Item* tag = item->parent() ? item->parent()->parent() : nullptr;
    const QString owner = tag ? tag->data().name + QLatin1Char('.') : QString();
    if (d.type == ItemType::Bit)
        return QCoreApplication::translate("CodeModel", "bit %1%2").arg(owner, d.name);
    return QCoreApplication::translate("CodeModel", "enum value %1%2").arg(owner, d.name);
}

QString CodeModel::clashText(const QString& name, const QString& first, const QString& second)
{
    return QCoreApplication::translate("CodeModel", "The name %1 is made for both %2 and %3.")
        .arg(name, first, second);
}

const QStringList& CodeModel::cppReservedWords()
{
    // clang-format off
    static const QStringList words = {
        "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break",
        "case", "catch", "char", "char8_t", "char16_t", "char32_t", "class", "compl", "concept",
        "const", "consteval", "constexpr", "constinit", "const_cast", "continue", "co_await",
        "co_return", "co_yield", "decltype", "default", "delete", "do", "double", "dynamic_cast",
        "else", "enum", "explicit", "export", "extern", "false", "float", "for", "friend", "goto",
        "if", "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq",
        "nullptr", "operator", "or", "or_eq", "private", "protected", "public", "register",
        "reinterpret_cast", "requires", "return", "short", "signed", "sizeof", "static",
        "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local",
        "throw", "true", "try", "typedef", "typeid", "typename", "union", "unsigned", "using",
        "virtual", "void", "volatile", "wchar_t", "while", "xor", "xor_eq",
        "defined", "NULL", "EOF", "errno", "assert", "offsetof", "stdin", "stdout", "stderr",
    };
    // clang-format on
    return words;
}

} // namespace QRV16
