// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkwriter.h"

#include "bookmarks/bookmarklist.h"
#include "files/savefile.h"
#include "files/xmlfilewriter.h"

#include <QAction>
#include <QBuffer>
#include <QIcon>
#include <QPixmap>
#include <QXmlStreamWriter>

namespace {

QByteArray iconData(const QIcon& icon)
{
    if (icon.isNull())
        return QByteArray();
    const QList<QSize> sizes = icon.availableSizes();
    const QSize size = sizes.isEmpty() ? QSize(32, 32) : sizes.first();
    const QPixmap pixmap = icon.pixmap(size, 1.0);
    if (pixmap.isNull())
        return QByteArray();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!pixmap.save(&buffer, "PNG"))
        return QByteArray();
    return png.toBase64();
}

void writeField(QXmlStreamWriter& xml, const QString& element, const QString& text)
{
    if (!text.isEmpty())
        xml.writeTextElement(element, XmlFileWriter::text(text));
}

} // namespace

QByteArray BookmarkWriter::encode(const BookmarkList* list) const
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QXmlStreamWriter xml(&buffer);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument(QStringLiteral("1.0"));
    // Tells Emacs which mode the file wants; written past the XML writer,
    // which would put a comment on a line of its own.
    buffer.write(" <!-- -*- nxml -*- -->");
    xml.writeStartElement(QStringLiteral("qrvbm"));
    const QList<QAction*> actions = list ? list->actions() : QList<QAction*>();
    for (const QAction* action : actions) {
        const QString text = action->text();
        const QString toolTip = BookmarkList::toolTip(action);
        const QString message = BookmarkList::message(action);
        const QByteArray icon = iconData(action->icon());
        if (action->isSeparator() ||
            (text.isEmpty() && toolTip.isEmpty() && message.isEmpty() && icon.isEmpty())) {
            xml.writeEmptyElement(QStringLiteral("separator"));
            continue;
        }
        xml.writeStartElement(QStringLiteral("bookmark"));
        writeField(xml, QStringLiteral("text"), text);
        writeField(xml, QStringLiteral("tooltip"), toolTip);
        writeField(xml, QStringLiteral("message"), message);
        writeField(xml, QStringLiteral("icon"), QString::fromLatin1(icon));
        writeField(xml, QStringLiteral("shortcut"),
                   action->shortcut().toString(QKeySequence::PortableText));
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

bool BookmarkWriter::write(const BookmarkList* list, const QString& path)
{
    m_error.clear();
    return SaveFile::write(path, encode(list), &m_error);
}
