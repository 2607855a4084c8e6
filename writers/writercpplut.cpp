// SPDX-License-Identifier: MIT
#include "writers/writercpplut.h"

#include "writers/codemodel.h"
#include "writers/identifierset.h"

#include <algorithm>
#include <limits>

namespace QRV16 {

namespace {

QString hexByte(int value)
{
    return QStringLiteral("0x") +
           QString::number(value, 16).toUpper().rightJustified(2, QLatin1Char('0'));
}

QString dataTypeLiteral(quint16 code)
{
    const int type = int(dataType(code));
    for (const CodeModel::TypeName& t : CodeModel::dataTypeNames()) {
        if (t.value == type)
            return QStringLiteral("DataType::") + QLatin1String(t.name);
    }
    return QStringLiteral("DataType(%1)").arg(hexByte(type));
}

QString literal(qint64 value, const DisplayMode& display)
{
    if (value == std::numeric_limits<qint64>::min())
        return QStringLiteral("-9223372036854775807 - 1");
    return CodeModel::number(value, display);
}

struct Entry
{
    qint64 value;
    QString literal;
    QString name;
};

struct TagRow
{
    quint16 code;
    QString name;
    QString type;
    bool secure;
    QString enums; // array name, empty when none
    int enumCount;
    QString bits;
    int bitCount;
};

// Sorted by number, the file's order kept among equal numbers so that the
// first one defined is the one found.
QList<Entry> sortedEntries(const QList<CodeModel::Value>& values, bool bits, IdentifierSet& names)
{
    QList<Entry> entries;
    for (const CodeModel::Value& v : values) {
        if (v.kind != CodeModel::Kind::Definition)
            continue;
        entries.append({v.value, bits ? QString::number(v.value) : literal(v.value, v.display),
                        names.add(v.name, v.item)});
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.value < b.value; });
    return entries;
}

const char* const functions = R"(std::size_t tagCount()
{
    return tagTotal;
}

const TagInfo* tagAt(std::size_t index)
{
    return index < tagTotal ? &tags[index] : nullptr;
}

const TagInfo* tagByCode(std::uint16_t code)
{
    std::size_t low = 0;
    std::size_t high = tagTotal;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (tags[middle].code < code)
            low = middle + 1;
        else
            high = middle;
    }
    return low < tagTotal && tags[low].code == code ? &tags[low] : nullptr;
}

const TagInfo* tagByName(const char* name)
{
    if (!name)
        return nullptr;
    std::size_t low = 0;
    std::size_t high = tagTotal;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (std::strcmp(tags[tagsByName[middle]].name, name) < 0)
            low = middle + 1;
        else
            high = middle;
    }
    if (low < tagTotal && std::strcmp(tags[tagsByName[low]].name, name) == 0)
        return &tags[tagsByName[low]];
    return nullptr;
}

const EnumName* enumByValue(const TagInfo* tag, std::int64_t value)
{
    if (!tag)
        return nullptr;
    std::size_t low = 0;
    std::size_t high = tag->enumCount;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (tag->enums[middle].value < value)
            low = middle + 1;
        else
            high = middle;
    }
    return low < tag->enumCount && tag->enums[low].value == value ? &tag->enums[low] : nullptr;
}

const EnumName* enumByName(const TagInfo* tag, const char* name)
{
    for (std::size_t i = 0; tag && name && i < tag->enumCount; ++i) {
        if (std::strcmp(tag->enums[i].name, name) == 0)
            return &tag->enums[i];
    }
    return nullptr;
}

const BitName* bitByNumber(const TagInfo* tag, std::uint32_t bit)
{
    if (!tag)
        return nullptr;
    std::size_t low = 0;
    std::size_t high = tag->bitCount;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (tag->bits[middle].bit < bit)
            low = middle + 1;
        else
            high = middle;
    }
    return low < tag->bitCount && tag->bits[low].bit == bit ? &tag->bits[low] : nullptr;
}

const BitName* bitByName(const TagInfo* tag, const char* name)
{
    for (std::size_t i = 0; tag && name && i < tag->bitCount; ++i) {
        if (std::strcmp(tag->bits[i].name, name) == 0)
            return &tag->bits[i];
    }
    return nullptr;
}
)";

// The functions are written at four spaces; the writer's indent replaces them.
QString indented(const QString& text, const QString& first, const QString& step)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.constLast().isEmpty())
        lines.removeLast();
    QString out;
    for (const QString& line : lines) {
        if (line.isEmpty()) {
            out += QLatin1Char('\n');
            continue;
        }
        int level = 0;
        while (line.mid(level * 4, 4) == QLatin1String("    "))
            ++level;
        out += first + step.repeated(level) + line.mid(level * 4) + QLatin1Char('\n');
    }
    return out;
}

} // namespace

WriterCppLut::WriterCppLut()
{
    setIndent(0, 4);
}

bool WriterCppLut::writeDefinitions(const Item* root)
{
    CodeModel model;
    if (!model.read(root) || !device()) {
        setErrorString(model.error());
        return false;
    }

    const QStringList ns =
        CodeModel::namespaceParts(text(NamespaceText), QStringLiteral("::"),
                                  CodeModel::cppReservedWords(), QStringLiteral("Definitions"));
    const QString& in = indent1();
    const QString in2 = in + indent2();

    QString out;
    for (const QString& line : CodeModel::headerLines(text(HeaderText)))
        out += QStringLiteral("// ") + line + QLatin1Char('\n');
    out += QStringLiteral("#include <cstddef>\n#include <cstdint>\n#include <cstring>\n\n");
    out += QStringLiteral("namespace %1 {\n\n").arg(ns.join(QLatin1String("::")));

    out += in + QStringLiteral("enum class DataType : std::uint8_t {\n");
    for (const CodeModel::TypeName& t : CodeModel::dataTypeNames())
        out += in2 + QStringLiteral("%1 = %2,\n").arg(QLatin1String(t.name), hexByte(t.value));
    out += in + QStringLiteral("};\n\n");
    out +=
        indented(QStringLiteral(
                     "struct EnumName\n{\n    std::int64_t value;\n    const char* name;\n};\n\n"
                     "struct BitName\n{\n    std::uint32_t bit;\n    const char* name;\n};\n\n"
                     "struct TagInfo\n{\n    std::uint16_t code;\n    const char* name;\n"
                     "    DataType type;\n    bool secure; // values hidden when debugging\n"
                     "    const EnumName* enums; // by value\n    std::size_t enumCount;\n"
                     "    const BitName* bits; // by bit number\n    std::size_t bitCount;\n};\n\n"
                     "std::size_t tagCount();\n"
                     "const TagInfo* tagAt(std::size_t index); // by code\n"
                     "const TagInfo* tagByCode(std::uint16_t code);\n"
                     "const TagInfo* tagByName(const char* name);\n"
                     "const EnumName* enumByValue(const TagInfo* tag, std::int64_t value);\n"
                     "const EnumName* enumByName(const TagInfo* tag, const char* name);\n"
                     "const BitName* bitByNumber(const TagInfo* tag, std::uint32_t bit);\n"
                     "const BitName* bitByName(const TagInfo* tag, const char* name);\n\n"
                     "namespace {\n"),
                 in, indent2());

    IdentifierSet tagNames;
    QList<TagRow> rows;
    for (const CodeModel::Tag& tag : model.tags()) {
        if (tag.kind != CodeModel::Kind::Definition)
            continue;
        TagRow row{tag.code,
                   tagNames.add(tag.name, tag.item),
                   dataTypeLiteral(tag.code),
                   tag.secure,
                   QString(),
                   0,
                   QString(),
                   0};
        IdentifierSet enumNames;
        const QList<Entry> enums = sortedEntries(tag.enums, false, enumNames);
        noteClashes(enumNames);
        if (!enums.isEmpty()) {
            row.enums = QStringLiteral("enums_") + row.name;
            row.enumCount = int(enums.size());
            out += QStringLiteral("\n%1const EnumName %2[] = {\n").arg(in, row.enums);
            for (const Entry& e : enums)
                out += in2 + QStringLiteral("{%1, \"%2\"},\n").arg(e.literal, e.name);
            out += in + QStringLiteral("};\n");
        }
        IdentifierSet bitNames;
        const QList<Entry> bits = sortedEntries(tag.bits, true, bitNames);
        noteClashes(bitNames);
        if (!bits.isEmpty()) {
            row.bits = QStringLiteral("bits_") + row.name;
            row.bitCount = int(bits.size());
            out += QStringLiteral("\n%1const BitName %2[] = {\n").arg(in, row.bits);
            for (const Entry& e : bits)
                out += in2 + QStringLiteral("{%1, \"%2\"},\n").arg(e.literal, e.name);
            out += in + QStringLiteral("};\n");
        }
        rows.append(row);
        write(out);
        out.clear();
    }
    noteClashes(tagNames);
    std::stable_sort(rows.begin(), rows.end(),
                     [](const TagRow& a, const TagRow& b) { return a.code < b.code; });

    out += QStringLiteral("\n%1// By code; the empty entry only ends the table.\n").arg(in);
    out += in + QStringLiteral("const TagInfo tags[] = {\n");
    for (const TagRow& r : rows) {
        out += in2 + QStringLiteral("{%1, \"%2\", %3, %4, %5, %6, %7, %8},\n")
                         .arg(tag2hex(r.code), r.name, r.type,
                              r.secure ? QStringLiteral("true") : QStringLiteral("false"),
                              r.enums.isEmpty() ? QStringLiteral("nullptr") : r.enums,
                              QString::number(r.enumCount),
                              r.bits.isEmpty() ? QStringLiteral("nullptr") : r.bits,
                              QString::number(r.bitCount));
    }
    out += in2 + QStringLiteral("{},\n") + in + QStringLiteral("};\n");
    out += in + QStringLiteral("const std::size_t tagTotal = %1;\n\n").arg(rows.size());

    QList<int> byName(rows.size());
    for (int i = 0; i < rows.size(); ++i)
        byName[i] = i;
    // Names are unique, and ASCII, so this is strcmp's order.
    std::sort(byName.begin(), byName.end(),
              [&rows](int a, int b) { return rows.at(a).name < rows.at(b).name; });
    out += in + QStringLiteral("// Indexes into tags, by name; the last one is the empty entry.\n");
    out += in + QStringLiteral("const std::size_t tagsByName[] = {\n");
    for (int i : byName)
        out += in2 + QStringLiteral("%1, // %2\n").arg(i).arg(rows.at(i).name);
    out += in2 + QString::number(rows.size()) + QStringLiteral(",\n");
    out += in + QStringLiteral("};\n\n") + in + QStringLiteral("} // namespace\n\n");
    out += indented(QString::fromLatin1(functions), in, indent2());
    out += QStringLiteral("\n} // namespace %1\n").arg(ns.join(QLatin1String("::")));
    write(out);
    return true;
}

} // namespace QRV16
