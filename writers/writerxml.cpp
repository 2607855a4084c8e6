// SPDX-License-Identifier: MIT
#include "writers/writerxml.h"

#include "qrv16/item.h"

#include <QXmlStreamReader>

namespace QRV16 {

namespace {

const char* elementName(ItemType type)
{
    switch (type) {
    case ItemType::Root: return "qrv16";
    case ItemType::Tag: return "tag";
    case ItemType::Enums: return "enums";
    case ItemType::Enum: return "enum";
    case ItemType::Bits: return "bits";
    case ItemType::Bit: return "bit";
    default: return nullptr;
    }
}

// An XML comment may not hold "--" nor end in '-'; a comment typed in the
// editor must not make the saved file unreadable.
QString commentText(QString text)
{
    while (text.contains(QLatin1String("--")))
        text.replace(QLatin1String("--"), QLatin1String("- -"));
    if (text.endsWith(QLatin1Char('-')))
        text += QLatin1Char(' ');
    return text;
}

// True when `text` is one well-formed document type declaration, as the
// reader keeps it; anything else written there would make the file unreadable.
bool isDoctype(const QString& text)
{
    QXmlStreamReader reader(text + QLatin1String("<qrv16/>"));
    int doctypes = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::DTD: ++doctypes; break;
        case QXmlStreamReader::Characters:
            if (!reader.isWhitespace())
                return false;
            break;
        case QXmlStreamReader::StartDocument:
        case QXmlStreamReader::StartElement:
        case QXmlStreamReader::EndElement:
        case QXmlStreamReader::EndDocument:
        case QXmlStreamReader::Invalid: break;
        default: return false;
        }
    }
    return !reader.hasError() && doctypes == 1;
}

} // namespace

bool WriterXml::writeDefinitions(const Item* root)
{
    if (!root || !device())
        return false;
    m_xml = std::make_unique<QXmlStreamWriter>(device());
    m_xml->setAutoFormatting(false);
    m_depth = 1;
    m_xml->writeStartDocument(QStringLiteral("1.0"));
    device()->write(" <!-- -*- nxml -*- -->");
    const QString& head = root->data().comment;
    if (isDoctype(head)) {
        m_xml->writeDTD(head);
    } else if (!head.isEmpty()) {
        // Free text from the editor: kept in the file as a comment.
        m_xml->writeCharacters(QStringLiteral("\n"));
        m_xml->writeComment(commentText(head));
    }
    writeItem(root);
    m_xml->writeCharacters(QStringLiteral("\n"));
    const bool ok = !m_xml->hasError();
    m_xml.reset();
    return ok;
}

void WriterXml::writeIndent()
{
    if (m_depth != 0)
        m_xml->writeCharacters(QLatin1Char('\n') + QString(2 * m_depth - 2, QLatin1Char(' ')));
}

bool WriterXml::writeItem(const Item* item)
{
    if (item->isComment()) {
        writeIndent();
        m_xml->writeComment(commentText(item->data().comment));
        return true;
    }
    if (item->isNewline()) {
        if (m_depth == 0)
            return false;
        m_xml->writeCharacters(QStringLiteral("\n"));
        return true;
    }
    const char* name = elementName(item->data().type);
    if (!name)
        return false;
    writeIndent();
    m_xml->writeStartElement(QLatin1String(name));
    writeItemAttributes(item);
    const bool deeper = m_depth != 0;
    if (deeper)
        ++m_depth;
    bool wrote = false;
    for (int i = 0; i < item->childCount(); ++i)
        wrote = writeItem(item->child(i)) || wrote;
    if (deeper)
        --m_depth;
    if (wrote)
        writeIndent();
    m_xml->writeEndElement();
    return true;
}

void WriterXml::writeItemAttributes(const Item* item)
{
    const ItemData& d = item->data();
    if (!d.name.isEmpty())
        m_xml->writeAttribute(QStringLiteral("name"), d.name);
    if (d.hasId) {
        // Padding of a display without a mode letter is not written, so a
        // padded "0012" would come back as octal: such ids go out unpadded.
        const DisplayMode shown = item->displayMode();
        const bool lostPadding = d.type != ItemType::Tag && shown.digits != 0 &&
                                 (shown.mode < DisplayMode::SignedDecimal ||
                                  shown.mode > DisplayMode::Binary);
        m_xml->writeAttribute(QStringLiteral("id"), lostPadding
                                                        ? formatNumber(d.id, DisplayMode())
                                                        : item->formatId());
    }
    // The root's comment is its document type declaration, never an attribute.
    if (d.type != ItemType::Root && !d.comment.isEmpty())
        m_xml->writeAttribute(QStringLiteral("comment"), d.comment);
    if (d.secure)
        m_xml->writeAttribute(QStringLiteral("secure"), QStringLiteral("true"));
    static const char letters[] = {0, 'd', 'u', 'x', 'o', 'y'};
    if (d.display.mode >= 1 && d.display.mode <= 5) {
        QString display = QString(QLatin1Char(letters[d.display.mode]));
        if (d.display.digits != 0)
            display.prepend(QString::number(d.display.digits));
        m_xml->writeAttribute(QStringLiteral("display"), display);
    }
}

} // namespace QRV16
