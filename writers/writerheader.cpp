// SPDX-License-Identifier: MIT
#include "writers/writerheader.h"

#include "writers/codemodel.h"
#include "writers/identifierset.h"

#include <QFileInfo>
#include <QSet>

#include <limits>

namespace QRV16 {

namespace {

// The header is often included from C++ too, where a macro named like a
// keyword would break the includer's code.
QStringList reservedWords()
{
    return CodeModel::cppReservedWords() +
           QStringList{"restrict",      "_Bool",   "_Complex",     "_Imaginary", "_Alignas",
                       "_Alignof",      "_Atomic", "_Generic",     "_Noreturn",  "_Static_assert",
                       "_Thread_local", "typeof",  "typeof_unqual"};
}

QString comment(const QString& text)
{
    const QStringList lines = CodeModel::cCommentLines(text);
    if (lines.isEmpty())
        return QString();
    QString out = QStringLiteral("/*");
    for (int i = 0; i < lines.size(); ++i) {
        if (i > 0)
            out += QStringLiteral("\n  ");
        if (!lines.at(i).isEmpty())
            out += QLatin1Char(' ') + lines.at(i);
    }
    return out + QStringLiteral(" */\n");
}

QString trailingComment(const QString& text)
{
    const QString joined = CodeModel::cCommentLines(text).join(QLatin1Char(' '));
    return joined.isEmpty() ? QString() : QStringLiteral(" /* ") + joined + QStringLiteral(" */");
}

// Parenthesised when negative, so that "x-PREFIX_A_B" stays a subtraction;
// long long where int may be too narrow.
QString literal(qint64 value, const DisplayMode& display)
{
    if (value == std::numeric_limits<qint64>::min())
        return QStringLiteral("(-9223372036854775807LL - 1)");
    const bool wide = value > std::numeric_limits<qint32>::max() ||
                      value < -qint64(std::numeric_limits<qint32>::max());
    const QString text = CodeModel::number(value, display) + (wide ? "LL" : "");
    return value < 0 ? QLatin1Char('(') + text + QLatin1Char(')') : text;
}

QString guardFor(const QString& fileName, const QString& prefix)
{
    if (fileName.isEmpty() || fileName == QLatin1String("-"))
        return prefix.toUpper() + QStringLiteral("QRV16_DEFINITIONS_H");
    const QString guard = IdentifierSet::sanitized(QFileInfo(fileName).fileName().toUpper());
    // Names starting with '_' belong to the implementation.
    return guard.startsWith(QLatin1Char('_')) ? QStringLiteral("QRV16") + guard : guard;
}

} // namespace

namespace {

// A switch that answers a number with its name, so firmware can log names.
// A number defined twice answers with the first name, as lookups do
// everywhere else; a second case label would not compile.
class NameSwitch
{
public:
    NameSwitch(const QString& function, const QString& parameter)
        : m_text(QStringLiteral("static inline const char* %1(%2 value)\n{\n    switch (value) {\n")
                     .arg(function, parameter))
    {
    }
    void add(qint64 value, const QString& label, const QString& name)
    {
        if (m_seen.contains(value))
            return;
        m_seen.insert(value);
        m_text += QStringLiteral("    case %1: return \"%2\";\n").arg(label, name);
    }
    QString text() const { return m_text + QStringLiteral("    default: return 0;\n    }\n}\n"); }

private:
    QString m_text;
    QSet<qint64> m_seen;
};

// The name as in the file, inside a C string literal. Octal escapes stop
// after three digits, where a hex escape would swallow the next character;
// '?' is escaped for trigraphs.
QString cString(const QString& name)
{
    QString out;
    for (const char c : name.toUtf8()) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\' || c == '?')
            out += QLatin1Char('\\') + QLatin1Char(c);
        else if (u < 0x20 || u >= 0x7F)
            out += QStringLiteral("\\%1").arg(u, 3, 8, QLatin1Char('0'));
        else
            out += QLatin1Char(c);
    }
    return out;
}

} // namespace

bool WriterHeader::writeDefinitions(const Item* root)
{
    CodeModel model;
    if (!model.read(root) || !device()) {
        setErrorString(model.error());
        return false;
    }

    QString prefix = text(PrefixText);
    if (!prefix.isEmpty()) {
        prefix = IdentifierSet::sanitized(prefix);
        if (!prefix.endsWith(QLatin1Char('_')))
            prefix += QLatin1Char('_');
    }
    const QString guard = guardFor(fileName(), prefix);
    // One scope for every macro: each name is built from its entry and its
    // tag only, so no other entry can change it.
    IdentifierSet names(reservedWords());
    names.block(guard);
    for (const CodeModel::TypeName& type : CodeModel::dataTypeNames())
        names.block(QStringLiteral("QRV16DT_") + QLatin1String(type.name));
    const QString tagNameFunction = names.add(prefix + QStringLiteral("tag_name"));

    QString out;
    for (const QString& line : CodeModel::headerLines(text(HeaderText)))
        out += comment(line);
    out += QStringLiteral("#ifndef %1\n#define %1\n\n").arg(guard);
    // Shared by every generated header, so defined once.
    out += QStringLiteral("#ifndef QRV16DT_Binary\n");
    for (const CodeModel::TypeName& type : CodeModel::dataTypeNames()) {
        out +=
            QStringLiteral("#define QRV16DT_%1 0x%2\n")
                .arg(QLatin1String(type.name),
                     QString::number(type.value, 16).toUpper().rightJustified(2, QLatin1Char('0')));
    }
    out += QStringLiteral("#endif\n\n");

    NameSwitch tagSwitch(tagNameFunction, QStringLiteral("unsigned int"));
    QString functions;
    for (const CodeModel::Tag& tag : model.tags()) {
        if (tag.kind == CodeModel::Kind::Blank) {
            out += QLatin1Char('\n');
            continue;
        }
        if (tag.kind == CodeModel::Kind::Note) {
            out += comment(tag.comment);
            continue;
        }
        // Sanitised whole, so that a prefix saves a leading digit its '_'.
        const QString stem = IdentifierSet::sanitized(prefix + tag.name);
        const QString code = tag2hex(tag.code) + QLatin1Char('u');
        out += comment(tag.comment);
        out += QStringLiteral("#define %1 %2 /* %3 */\n")
                   .arg(names.add(prefix + QStringLiteral("TAG_") + tag.name, tag.item), code,
                        tag.typeText());
        out += QStringLiteral("#define %1 %2\n")
                   .arg(names.add(prefix + QStringLiteral("TYPE_") + tag.name, tag.item),
                        CodeModel::dataTypeLiteral(tag.code, "QRV16DT_%1", "%1"));
        tagSwitch.add(tag.code, code, cString(tag.name));
        if (tag.hasEnums()) {
            NameSwitch enumSwitch(names.add(stem + QStringLiteral("_enum_name"), tag.item),
                                  QStringLiteral("long long"));
            for (const CodeModel::Value& v : tag.enums) {
                if (v.kind == CodeModel::Kind::Blank) {
                    out += QLatin1Char('\n');
                } else if (v.kind == CodeModel::Kind::Note) {
                    out += comment(v.comment);
                } else {
                    const QString value = literal(v.value, v.display);
                    out += QStringLiteral("#define %1 %2%3\n")
                               .arg(names.add(stem + QLatin1Char('_') + v.name, v.item), value,
                                    trailingComment(v.comment));
                    enumSwitch.add(v.value, value, cString(v.name));
                }
            }
            functions += QLatin1Char('\n') + enumSwitch.text();
        }
        if (tag.hasBits()) {
            NameSwitch bitSwitch(names.add(stem + QStringLiteral("_bit_name"), tag.item),
                                 QStringLiteral("unsigned int"));
            for (const CodeModel::Value& v : tag.bits) {
                if (v.kind == CodeModel::Kind::Blank) {
                    out += QLatin1Char('\n');
                } else if (v.kind == CodeModel::Kind::Note) {
                    out += comment(v.comment);
                } else if (v.value > 63) {
                    out += comment(QStringLiteral("%1 is bit %2, beyond a 64-bit mask")
                                       .arg(v.name)
                                       .arg(v.value));
                } else {
                    // Bit 31 is already the sign of a 32-bit int: from there
                    // on the masks are 64-bit, so none turns negative in an int.
                    out += QStringLiteral("#define %1 %2%3\n")
                               .arg(names.add(stem + QStringLiteral("_BIT_") + v.name, v.item))
                               .arg(v.value)
                               .arg(trailingComment(v.comment));
                    out += QStringLiteral("#define %1 (%2 << %3)\n")
                               .arg(names.add(stem + QStringLiteral("_MASK_") + v.name, v.item),
                                    v.value >= 31 ? QStringLiteral("1ULL") : QStringLiteral("1u"))
                               .arg(v.value);
                    bitSwitch.add(v.value, QString::number(v.value) + QLatin1Char('u'),
                                  cString(v.name));
                }
            }
            functions += QLatin1Char('\n') + bitSwitch.text();
        }
        write(out);
        out.clear();
    }
    // The names of tags, enum values and bits, null for an unknown number.
    out += QStringLiteral("\n") + tagSwitch.text() + functions;
    out += QStringLiteral("\n#endif /* %1 */\n").arg(guard);
    write(out);
    noteClashes(names);
    return true;
}

} // namespace QRV16
