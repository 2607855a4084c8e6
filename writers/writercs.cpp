// SPDX-License-Identifier: MIT
#include "writers/writercs.h"

#include "writers/codemodel.h"
#include "writers/identifierset.h"

#include <limits>

namespace QRV16 {

namespace {

// An enumeration's own field and the discard count too.
// clang-format off
const QStringList keywords = {
    "abstract", "as", "base", "bool", "break", "byte", "case", "catch", "char", "checked",
    "class", "const", "continue", "decimal", "default", "delegate", "do", "double", "else",
    "enum", "event", "explicit", "extern", "false", "finally", "fixed", "float", "for",
    "foreach", "goto", "if", "implicit", "in", "int", "interface", "internal", "is", "lock",
    "long", "namespace", "new", "null", "object", "operator", "out", "override", "params",
    "private", "protected", "public", "readonly", "ref", "return", "sbyte", "sealed", "short",
    "sizeof", "stackalloc", "static", "string", "struct", "switch", "this", "throw", "true",
    "try", "typeof", "uint", "ulong", "unchecked", "unsafe", "ushort", "using", "virtual",
    "void", "volatile", "while", "value__", "_",
};
// clang-format on

// C# ends a line also at U+0085, U+2028 and U+2029; commentLines() cuts there.
QString comment(const QString& text, const QString& indent)
{
    return CodeModel::lineComments(CodeModel::commentLines(text), indent, QStringLiteral("//"));
}

QString trailingComment(const QString& text)
{
    return CodeModel::trailingComment(CodeModel::commentLines(text), QStringLiteral("//"));
}

QString literal(qint64 value, const DisplayMode& display)
{
    if (value == std::numeric_limits<qint64>::min())
        return QStringLiteral("long.MinValue");
    return CodeModel::number(value, display);
}

} // namespace

WriterCs::WriterCs()
{
    setIndent(4, 4);
}

bool WriterCs::writeDefinitions(const Item* root)
{
    CodeModel model;
    if (!model.read(root) || !device()) {
        setErrorString(model.error());
        return false;
    }

    const QStringList ns = CodeModel::namespaceParts(text(NamespaceText), QStringLiteral("."),
                                                     keywords, QStringLiteral("Definitions"));
    // Members of Tags, and the types beside it.
    // A member named DataType would hide the type inside Types.
    IdentifierSet tagNames(keywords + QStringList{QStringLiteral("Tags"), QStringLiteral("Types"),
                                                  QStringLiteral("DataType")});
    IdentifierSet typeNames(keywords + QStringList{QStringLiteral("Tags"), QStringLiteral("Types"),
                                                   QStringLiteral("DataType")});
    QList<QString> names;
    QList<QString> valueTypes;
    QList<QString> bitTypes;
    for (const CodeModel::Tag& tag : model.tags()) {
        const bool definition = tag.kind == CodeModel::Kind::Definition;
        const QString name = definition ? tagNames.add(tag.name, tag.item) : QString();
        names.append(name);
        valueTypes.append(definition && tag.hasEnums()
                              ? typeNames.add(name + QStringLiteral("Values"), tag.item)
                              : QString());
        bitTypes.append(definition && tag.hasBits()
                            ? typeNames.add(name + QStringLiteral("Bits"), tag.item)
                            : QString());
    }
    noteClashes(tagNames);
    noteClashes(typeNames);

    const QString& i1 = indent1();
    const QString i2 = i1 + indent2();
    beginUtf8();
    QString out;
    for (const QString& line : CodeModel::headerLines(text(HeaderText)))
        out += QStringLiteral("// ") + line + QLatin1Char('\n');
    out += QStringLiteral("namespace %1\n{\n").arg(ns.join(QLatin1Char('.')));

    out += i1 + QStringLiteral("public enum DataType : byte\n") + i1 + QStringLiteral("{\n");
    for (const CodeModel::TypeName& t : CodeModel::dataTypeNames())
        out += i2 + QStringLiteral("%1 = %2,\n").arg(QLatin1String(t.name)).arg(t.value);
    out += i1 + QStringLiteral("}\n\n");

    out += i1 + QStringLiteral("public static class Tags\n") + i1 + QStringLiteral("{\n");
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind == CodeModel::Kind::Blank) {
            out += QLatin1Char('\n');
        } else if (tag.kind == CodeModel::Kind::Note) {
            out += comment(tag.comment, i2);
        } else {
            out += comment(tag.comment, i2);
            out += i2 + QStringLiteral("public const ushort %1 = %2; // %3\n")
                            .arg(names.at(i), tag2hex(tag.code), tag.typeText());
        }
    }
    out += i1 + QStringLiteral("}\n\n");

    out += i1 + QStringLiteral("public static class Types\n") + i1 + QStringLiteral("{\n");
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind != CodeModel::Kind::Definition)
            continue;
        out += i2 + QStringLiteral("public const DataType %1 = %2;\n")
                        .arg(names.at(i),
                             CodeModel::dataTypeLiteral(tag.code, "DataType.%1", "(DataType)%1"));
    }
    out += i1 + QStringLiteral("}\n");
    write(out);
    out.clear();

    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (!valueTypes.at(i).isEmpty()) {
            IdentifierSet valueNames(keywords + QStringList{valueTypes.at(i)});
            out += QStringLiteral("\n%1public enum %2 : long\n%1{\n").arg(i1, valueTypes.at(i));
            for (const CodeModel::Value& v : tag.enums) {
                if (v.kind == CodeModel::Kind::Blank)
                    out += QLatin1Char('\n');
                else if (v.kind == CodeModel::Kind::Note)
                    out += comment(v.comment, i2);
                else
                    out += i2 + QStringLiteral("%1 = %2,%3\n")
                                    .arg(valueNames.add(v.name, v.item),
                                         literal(v.value, v.display), trailingComment(v.comment));
            }
            noteClashes(valueNames);
            out += i1 + QStringLiteral("}\n");
        }
        if (!bitTypes.at(i).isEmpty()) {
            IdentifierSet bitNames(keywords + QStringList{bitTypes.at(i)});
            out += QStringLiteral("\n%1[global::System.Flags]\n%1public enum %2 : ulong\n%1{\n")
                       .arg(i1, bitTypes.at(i));
            for (const CodeModel::Value& v : tag.bits) {
                if (v.kind == CodeModel::Kind::Blank) {
                    out += QLatin1Char('\n');
                } else if (v.kind == CodeModel::Kind::Note) {
                    out += comment(v.comment, i2);
                } else if (v.value > 63) {
                    out += comment(QStringLiteral("%1 is bit %2, beyond a 64-bit mask")
                                       .arg(v.name)
                                       .arg(v.value),
                                   i2);
                } else {
                    out += i2 + QStringLiteral("%1 = 1UL << %2,%3\n")
                                    .arg(bitNames.add(v.name, v.item))
                                    .arg(v.value)
                                    .arg(trailingComment(v.comment));
                }
            }
            noteClashes(bitNames);
            out += i1 + QStringLiteral("}\n");
        }
        write(out);
        out.clear();
    }
    write(QStringLiteral("}\n"));
    return true;
}

} // namespace QRV16
