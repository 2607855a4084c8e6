// SPDX-License-Identifier: MIT
#include "writers/writerlua.h"

#include "writers/codemodel.h"
#include "writers/identifierset.h"

#include <QSet>

#include <limits>

namespace QRV16 {

namespace {

const QStringList keywords = {
    "and",      "break",  "do",   "else", "elseif", "end",   "false", "for",
    "function", "goto",   "if",   "in",   "local",  "nil",   "not",   "or",
    "repeat",   "return", "then", "true", "until",  "while",
};

QString comment(const QString& text, const QString& indent)
{
    return CodeModel::lineComments(CodeModel::commentLines(text), indent, QStringLiteral("--"));
}

QString trailingComment(const QString& text)
{
    return CodeModel::trailingComment(CodeModel::commentLines(text), QStringLiteral("--"));
}

QString literal(qint64 value, const DisplayMode& display)
{
    // 9223372036854775808 would be read as a float.
    if (value == std::numeric_limits<qint64>::min())
        return QStringLiteral("math.mininteger");
    return CodeModel::number(value, display);
}

} // namespace

WriterLua::WriterLua()
{
    setIndent(0, 2);
}

bool WriterLua::writeDefinitions(const Item* root)
{
    CodeModel model;
    if (!model.read(root) || !device()) {
        setErrorString(model.error());
        return false;
    }

    IdentifierSet tagNames(keywords);
    QList<QString> names;
    for (const CodeModel::Tag& tag : model.tags()) {
        names.append(tag.kind == CodeModel::Kind::Definition ? tagNames.add(tag.name, tag.item)
                                                             : QString());
    }
    noteClashes(tagNames);

    const QString i1 = indent2();
    const QString i2 = i1 + indent2();
    const QString i3 = i2 + indent2();
    QString out;
    for (const QString& line : CodeModel::headerLines(text(HeaderText)))
        out += QStringLiteral("-- ") + line + QLatin1Char('\n');
    out += QStringLiteral("local M = {\n") + i1 + QStringLiteral("tags = {\n");
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind == CodeModel::Kind::Blank) {
            out += QLatin1Char('\n');
        } else if (tag.kind == CodeModel::Kind::Note) {
            out += comment(tag.comment, i2);
        } else {
            out += comment(tag.comment, i2);
            out += i2 + QStringLiteral("%1 = %2, -- %3\n")
                            .arg(names.at(i), tag2hex(tag.code), tag.typeText());
        }
    }
    out += i1 + QStringLiteral("},\n") + i1 + QStringLiteral("names = {\n");
    // A code defined twice names the first tag, as it does everywhere else.
    QSet<quint16> named;
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind != CodeModel::Kind::Definition || named.contains(tag.code))
            continue;
        named.insert(tag.code);
        out += i2 + QStringLiteral("[%1] = \"%2\",\n").arg(tag2hex(tag.code), names.at(i));
    }
    out += i1 + QStringLiteral("},\n") + i1 + QStringLiteral("types = {\n");
    for (int i = 0; i < model.tags().size(); ++i) {
        const CodeModel::Tag& tag = model.tags().at(i);
        if (tag.kind != CodeModel::Kind::Definition)
            continue;
        out += i2 + QStringLiteral("%1 = %2,\n")
                        .arg(names.at(i), CodeModel::dataTypeLiteral(tag.code, "\"%1\"", "%1"));
    }
    out += i1 + QStringLiteral("},\n");
    write(out);
    out.clear();

    const struct
    {
        const char* table;
        bool bits;
    } parts[] = {{"enums", false}, {"bits", true}};
    for (const auto& part : parts) {
        // Beside each table its reverse, number to name, for logging; a
        // number defined twice names the first.
        QString reverse;
        out += i1 + QLatin1String(part.table) + QStringLiteral(" = {\n");
        for (int i = 0; i < model.tags().size(); ++i) {
            const CodeModel::Tag& tag = model.tags().at(i);
            if (tag.kind != CodeModel::Kind::Definition ||
                !(part.bits ? tag.hasBits() : tag.hasEnums()))
                continue;
            IdentifierSet valueNames(keywords);
            QSet<qint64> seen;
            out += i2 + names.at(i) + QStringLiteral(" = {\n");
            reverse += i2 + names.at(i) + QStringLiteral(" = {\n");
            for (const CodeModel::Value& v : part.bits ? tag.bits : tag.enums) {
                if (v.kind == CodeModel::Kind::Blank) {
                    out += QLatin1Char('\n');
                } else if (v.kind == CodeModel::Kind::Note) {
                    out += comment(v.comment, i3);
                } else {
                    const QString name = valueNames.add(v.name, v.item);
                    const QString number =
                        part.bits ? QString::number(v.value) : literal(v.value, v.display);
                    out += i3 + QStringLiteral("%1 = %2,%3\n")
                                    .arg(name, number, trailingComment(v.comment));
                    if (!seen.contains(v.value)) {
                        seen.insert(v.value);
                        reverse += i3 + QStringLiteral("[%1] = \"%2\",\n").arg(number, name);
                    }
                }
            }
            noteClashes(valueNames);
            out += i2 + QStringLiteral("},\n");
            reverse += i2 + QStringLiteral("},\n");
        }
        out += i1 + QStringLiteral("},\n");
        out += i1 + QLatin1String(part.bits ? "bitNames" : "enumNames") + QStringLiteral(" = {\n") +
               reverse + i1 + QStringLiteral("},\n");
        write(out);
        out.clear();
    }
    write(QStringLiteral("}\n\nreturn M\n"));
    return true;
}

} // namespace QRV16
