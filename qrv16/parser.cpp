// SPDX-License-Identifier: MIT
#include "qrv16/parser.h"

#include <QCoreApplication>

namespace QRV16 {

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("Parser", text);
}

ItemType elementType(QStringView name)
{
    if (name == QLatin1String("qrv16"))
        return ItemType::Root;
    if (name == QLatin1String("tag"))
        return ItemType::Tag;
    if (name == QLatin1String("enums"))
        return ItemType::Enums;
    if (name == QLatin1String("enum"))
        return ItemType::Enum;
    if (name == QLatin1String("bits"))
        return ItemType::Bits;
    if (name == QLatin1String("bit"))
        return ItemType::Bit;
    return ItemType::Invalid;
}

// Layout items take the type of the definitions among which they stand.
ItemType layoutType(ItemType parent)
{
    switch (parent) {
    case ItemType::Root:
    case ItemType::Tag: return ItemType::Tag;
    case ItemType::Enums:
    case ItemType::Enum: return ItemType::Enum;
    case ItemType::Bits:
    case ItemType::Bit: return ItemType::Bit;
    default: return ItemType::Invalid;
    }
}

bool parseBool(QStringView text, bool* ok)
{
    *ok = true;
    if (text == QLatin1String("true") || text == QLatin1String("TRUE"))
        return true;
    if (text == QLatin1String("false") || text == QLatin1String("FALSE"))
        return false;
    const long long v = text.toLongLong(ok, 10);
    return *ok && v != 0;
}

constexpr int MaxDisplayDigits = 64;

DisplayMode parseDisplay(QStringView text)
{
    int i = 0;
    while (i < text.size() && text.at(i).isDigit() && text.at(i).unicode() < 128)
        ++i;
    DisplayMode display;
    if (i > 0) {
        // Padding beyond the widest number (64 binary digits) only adds zeros,
        // and a huge count would make every formatted id gigabytes long.
        bool ok = false;
        const int digits = text.left(i).toInt(&ok);
        display.digits = ok ? qMin(digits, MaxDisplayDigits) : MaxDisplayDigits;
    }
    if (i < text.size()) {
        switch (text.at(i).unicode()) {
        case 'd': display.mode = DisplayMode::SignedDecimal; break;
        case 'u': display.mode = DisplayMode::UnsignedDecimal; break;
        case 'x':
        case 'X': display.mode = DisplayMode::Hex; break;
        case 'o': display.mode = DisplayMode::Octal; break;
        case 'b':
        case 'y': display.mode = DisplayMode::Binary; break;
        default: break;
        }
    }
    return display;
}

bool parseSignedOrUnsigned(const QString& text, int base, quint64* id)
{
    bool ok = false;
    const qlonglong s = text.toLongLong(&ok, base);
    if (ok) {
        *id = quint64(s);
        return true;
    }
    *id = text.toULongLong(&ok, base);
    return ok;
}

// Automatic base: "0x" hexadecimal, a leading "0" octal, else decimal; read
// as signed 64-bit first, else unsigned. The "0o" and "0y"/"0b" forms and the
// zero-padded minus ("00-5") are what the writer prints for octal, binary and
// padded signed display modes, so they are read too. Where the display in
// effect pads decimal numbers, the writer prints 10 as "0010": there leading
// zeros are padding, not the octal prefix.
bool parseId(const QString& text, bool paddedDecimal, quint64* id)
{
    if (paddedDecimal && text.size() > 1 && text.at(0) == QLatin1Char('0') &&
        text.at(1).isDigit()) {
        int i = 0;
        while (i < text.size() - 1 && text.at(i) == QLatin1Char('0'))
            ++i;
        if (parseSignedOrUnsigned(text.mid(i), 10, id))
            return true;
    }
    if (parseSignedOrUnsigned(text, 0, id))
        return true;
    QStringView t(text);
    bool negative = false;
    int i = 0;
    while (i < t.size() && t.at(i) == QLatin1Char('0'))
        ++i;
    if (i < t.size() && t.at(i) == QLatin1Char('-')) {
        negative = true;
        t = t.mid(i + 1);
    }
    int base = 0;
    if (t.size() > 2 && t.at(0) == QLatin1Char('0')) {
        const QChar p = t.at(1).toLower();
        if (p == QLatin1Char('o'))
            base = 8;
        else if (p == QLatin1Char('y') || p == QLatin1Char('b'))
            base = 2;
        if (base)
            t = t.mid(2);
    }
    if (!negative && !base)
        return false;
    bool ok = false;
    const qulonglong v = t.toULongLong(&ok, base);
    if (!ok)
        return false;
    *id = negative ? quint64(0) - v : v;
    return true;
}

} // namespace

Parser::Parser() = default;
Parser::~Parser() = default;

void Parser::clear()
{
    m_tagCodes.clear();
    m_tagNames.clear();
    m_root.reset();
    m_doctype.clear();
    m_inherited = DisplayMode();
}

bool Parser::parser()
{
    clear();
    if (readNext(SkipLayout) != StartDocument) {
        raiseError(tr("This doesn't look like an XML file."));
        return false;
    }
    parseElements(nullptr, 0);
    if (!hasError()) {
        if (m_root) {
            removeTrailingNewlines(m_root.get());
            m_root->data().comment = m_doctype;
        } else {
            raiseError(tr("No decodable data found"));
        }
    }
    if (hasError()) {
        m_root.reset();
        return false;
    }
    return true;
}

void Parser::removeTrailingNewlines(Item* item)
{
    while (item->childCount() > 0 && item->child(item->childCount() - 1)->isNewline())
        item->removeChild(item->childCount() - 1);
}

void Parser::addLayoutItem(Item* parent, const QString& comment)
{
    ItemData data;
    data.type = layoutType(parent->data().type);
    data.comment = comment;
    parent->appendChild(new Item(data));
}

bool Parser::parseElements(Item* parent, int nesting)
{
    for (;;) {
        const TokenType token = readNext(KeepLayout);
        switch (token) {
        case StartElement: {
            const ItemType type = elementType(name());
            if (type == ItemType::Invalid) {
                raiseUnexpectedElementWarning();
                if (!skipElement())
                    return false;
                break;
            }
            if (!addElement(parent, type, nesting))
                return false;
            break;
        }
        case EndElement:
            if (!parent) {
                raiseError(tr("Unexpected end element"));
                return false;
            }
            // Not trimmed here: a tag's children are sorted afterwards, which
            // may move a blank line to the end.
            if (parent->data().type != ItemType::Tag)
                removeTrailingNewlines(parent);
            return true;
        case EndDocument:
            if (parent) {
                raiseUnexpectedEndError();
                return false;
            }
            return true;
        case Characters:
            if (!isWhitespace()) {
                raiseStartElementExpectedError();
                return false;
            }
            // One blank-line item for a run of empty lines, none right after
            // an opening tag.
            if (parent && text().count(QLatin1Char('\n')) >= 2 && parent->childCount() > 0 &&
                !parent->child(parent->childCount() - 1)->isNewline() &&
                layoutType(parent->data().type) != ItemType::Invalid)
                addLayoutItem(parent, QString());
            break;
        case Comment:
            // Comments directly in a tag, or inside an enum or bit, are dropped.
            if (parent && (parent->data().type == ItemType::Root ||
                           parent->data().type == ItemType::Enums ||
                           parent->data().type == ItemType::Bits)) {
                const QString comment = text().toString();
                if (!comment.isEmpty())
                    addLayoutItem(parent, comment);
            }
            break;
        case DTD:
            m_doctype = text().toString();
            break;
        case Invalid:
        case NoToken:
            raiseReaderError(parent);
            return false;
        default:
            raiseStartElementExpectedError();
            return false;
        }
    }
}

void Parser::raiseReaderError(const Item* parent)
{
    // The file format's own texts where the XML reader's would do; those
    // differ between library versions.
    if (!hasError() || error() == PrematureEndOfDocumentError) {
        if (parent)
            raiseUnexpectedEndError();
        else
            raiseError(tr("Unexpected end of input"));
    } else if (error() == NotWellFormedError && !parent && !m_root) {
        raiseError(tr("This doesn't look like an XML file."));
    }
}

bool Parser::readAttributes(ItemData& data, QString* idText)
{
    const QXmlStreamAttributes attrs = attributes();
    if (attrs.hasAttribute(QLatin1String("name"))) {
        data.name = attrs.value(QLatin1String("name")).toString();
        QString error;
        if (!isValidIdentifier(data.name, &error)) {
            raiseError(error);
            return false;
        }
    }
    data.comment = attrs.value(QLatin1String("comment")).toString();
    if (attrs.hasAttribute(QLatin1String("display")))
        data.display = parseDisplay(attrs.value(QLatin1String("display")));
    if (attrs.hasAttribute(QLatin1String("id"))) {
        *idText = attrs.value(QLatin1String("id")).toString();
        // The display the item will have in the tree, as Item::displayMode()
        // finds it; a tag's code is always written in hexadecimal.
        const DisplayMode effective =
            data.display.mode != DisplayMode::Default || m_inherited.mode == DisplayMode::Default
                ? data.display
                : m_inherited;
        const bool paddedDecimal = data.type != ItemType::Tag && effective.digits != 0 &&
                                   effective.mode != DisplayMode::Hex &&
                                   effective.mode != DisplayMode::Octal &&
                                   effective.mode != DisplayMode::Binary;
        if (!parseId(*idText, paddedDecimal, &data.id)) {
            raiseError(tr("Invalid ID"));
            return false;
        }
        data.hasId = true;
    }
    if (attrs.hasAttribute(QLatin1String("secure"))) {
        bool ok = false;
        data.secure = parseBool(attrs.value(QLatin1String("secure")), &ok);
        if (!ok) {
            raiseError(tr("Invalid boolean value"));
            return false;
        }
    }
    return true;
}

bool Parser::addElement(Item* parent, ItemType type, int nesting)
{
    if (nesting >= MaxNesting) {
        raiseError(tr("File too deeply nested"));
        return false;
    }
    const ItemType parentType = parent ? parent->data().type : ItemType::Invalid;
    if (matchingParentType(type) != parentType)
        raiseWarning(tr("Element <%1> not expected.").arg(name().toString()));

    ItemData data;
    data.type = type;
    QString idText;
    if (!readAttributes(data, &idText))
        return false;
    if (type == ItemType::Root)
        data.comment = m_doctype;

    if (type == ItemType::Tag && data.hasId) {
        if (data.id > 0xFFFF) {
            raiseError(tr("Tag out of range"));
            return false;
        }
        if (m_tagCodes.contains(data.id))
            raiseWarning(tr("Double tag code ") + tag2hex(unsigned(data.id)));
        m_tagCodes.insert(data.id);
    }
    if (type == ItemType::Tag && !data.name.isEmpty()) {
        if (m_tagNames.contains(data.name))
            raiseWarning(tr("Double tag name ") + data.name);
        m_tagNames.insert(data.name);
    }
    if ((type == ItemType::Enum || type == ItemType::Bit) && parent) {
        if (data.hasId && parent->findBut(unsigned(data.id), nullptr) >= 0 &&
            (data.id >> 32) == 0)
            raiseWarning(tr("Double number ") + idText);
        if (!data.name.isEmpty() && parent->findBut(data.name, nullptr) >= 0)
            raiseWarning(tr("Double name ") + data.name);
    }

    auto item = std::make_unique<Item>(data);
    // Children are read before the item joins its parent, so the display
    // they inherit is carried down here.
    const DisplayMode inherited = m_inherited;
    if (data.display.mode != DisplayMode::Default)
        m_inherited = data.display;
    const bool ok = parseElements(item.get(), nesting + 1);
    m_inherited = inherited;
    if (!ok)
        return false;
    if (type == ItemType::Tag) {
        item->sortChildrenByType();
        removeTrailingNewlines(item.get());
    }

    if (parent) {
        parent->appendChild(item.release());
    } else if (type == ItemType::Root) {
        m_root = std::move(item);
    }
    // Another definition at the outermost level has nowhere to go.
    return true;
}

} // namespace QRV16
