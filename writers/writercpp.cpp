// SPDX-License-Identifier: MIT
#include "writers/writercpp.h"

#include "writers/codemodel.h"
#include "writers/identifierset.h"

#include <limits>

namespace QRV16 {

namespace {

QString comment(const QString& text, const QString& indent)
{
    return CodeModel::lineComments(CodeModel::cCommentLines(text), indent, QStringLiteral("//"));
}

QString trailingComment(const QString& text)
{
    return CodeModel::trailingComment(CodeModel::cCommentLines(text), QStringLiteral("//"));
}

QString literal(qint64 value, const DisplayMode& display)
{
    // The literal 9223372036854775808 does not exist, only its negation.
    if (value == std::numeric_limits<qint64>::min())
        return QStringLiteral("-9223372036854775807 - 1");
    return CodeModel::number(value, display);
}

} // namespace

WriterCpp::WriterCpp()
{
    setIndent(0, 4);
}

bool WriterCpp::writeDefinitions(const Item* root)
{
    CodeModel model;
    if (!model.read(root) || !device()) {
        setErrorString(model.error());
        return false;
    }

    const QStringList& keywords = CodeModel::cppReservedWords();
    const QStringList ns = CodeModel::namespaceParts(text(NamespaceText), QStringLiteral("::"),
                                                     keywords, QStringLiteral("Definitions"));
    // Tag names name the tag's constant, its enumeration and its bit namespace.
    // Its name only, so no other tag changes it.
    IdentifierSet tagNames(keywords + QStringList{QStringLiteral("Tag"), QStringLiteral("Bits"),
                                                  QStringLiteral("Type"),
                                                  QStringLiteral("DataType")});
    QList<QString> names;
    for (const CodeModel::Tag& tag : model.tags()) {
        names.append(tag.kind == CodeModel::Kind::Definition ? tagNames.add(tag.name, tag.item)
                                                             : QString());
    }
    noteClashes(tagNames);

    const QString& in = indent1();
    const QString in2 = in + indent2();
    QString out;
    for (const QString& line : CodeModel::headerLines(text(HeaderText)))
        out += QStringLiteral("// ") + line + QLatin1Char('\n');
    out += QStringLiteral("#pragma once\n\n#include <cstdint>\n\n");
    out += QStringLiteral("namespace %1 {\n\n").arg(ns.join(QLatin1String("::")));

    out += in + QStringLiteral("enum class DataType : std::uint8_t {\n");
    for (const CodeModel::TypeName& t : CodeModel::dataTypeNames())
        out += in2 + QStringLiteral("%1 = %2,\n").arg(QLatin1String(t.name)).arg(t.value);
    out += in + QStringLiteral("};\n\n");

    out += in + QStringLiteral("namespace Tag {\n");
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind == CodeModel::Kind::Blank) {
            out += QLatin1Char('\n');
        } else if (tag.kind == CodeModel::Kind::Note) {
            out += comment(tag.comment, in);
        } else {
            out += comment(tag.comment, in);
            out += in + QStringLiteral("constexpr std::uint16_t %1 = %2; // %3\n")
                            .arg(names.at(i), tag2hex(tag.code), tag.typeText());
        }
    }
    out += in + QStringLiteral("} // namespace Tag\n\n");

    out += in + QStringLiteral("namespace Type {\n");
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind != CodeModel::Kind::Definition)
            continue;
        out += in + QStringLiteral("constexpr DataType %1 = %2;\n")
                        .arg(names.at(i),
                             CodeModel::dataTypeLiteral(tag.code, "DataType::%1", "DataType(%1)"));
    }
    out += in + QStringLiteral("} // namespace Type\n");
    write(out);
    out.clear();

    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind != CodeModel::Kind::Definition || !tag.hasEnums())
            continue;
        IdentifierSet valueNames(keywords);
        out += QStringLiteral("\n%1enum class %2 : std::int64_t {\n").arg(in, names.at(i));
        for (const CodeModel::Value& v : tag.enums) {
            if (v.kind == CodeModel::Kind::Blank)
                out += QLatin1Char('\n');
            else if (v.kind == CodeModel::Kind::Note)
                out += comment(v.comment, in2);
            else
                out += in2 + QStringLiteral("%1 = %2,%3\n")
                                 .arg(valueNames.add(v.name, v.item), literal(v.value, v.display),
                                      trailingComment(v.comment));
        }
        noteClashes(valueNames);
        out += in + QStringLiteral("};\n");
        write(out);
        out.clear();
    }

    bool bitsOpen = false;
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind != CodeModel::Kind::Definition || !tag.hasBits())
            continue;
        if (!bitsOpen) {
            out += QStringLiteral("\n%1namespace Bits {\n").arg(in);
            bitsOpen = true;
        }
        IdentifierSet bitNames(keywords);
        out += QStringLiteral("%1namespace %2 {\n").arg(in, names.at(i));
        for (const CodeModel::Value& v : tag.bits) {
            if (v.kind == CodeModel::Kind::Blank) {
                out += QLatin1Char('\n');
            } else if (v.kind == CodeModel::Kind::Note) {
                out += comment(v.comment, in);
            } else if (v.value > 63) {
                out += comment(
                    QStringLiteral("%1 is bit %2, beyond a 64-bit mask").arg(v.name).arg(v.value),
                    in);
            } else {
                out +=
                    in + QStringLiteral("constexpr std::uint64_t %1 = std::uint64_t(1) << %2;%3\n")
                             .arg(bitNames.add(v.name, v.item))
                             .arg(v.value)
                             .arg(trailingComment(v.comment));
            }
        }
        noteClashes(bitNames);
        out += QStringLiteral("%1} // namespace %2\n").arg(in, names.at(i));
        write(out);
        out.clear();
    }
    if (bitsOpen)
        out += in + QStringLiteral("} // namespace Bits\n");
    out += QStringLiteral("\n} // namespace %1\n").arg(ns.join(QLatin1String("::")));
    write(out);
    return true;
}

} // namespace QRV16
