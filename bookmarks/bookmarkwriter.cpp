// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkwriter.h"

#include "bookmarks/bookmarklist.h"

#include <QAction>
#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QIcon>
#include <QPixmap>
#include <QXmlStreamWriter>

#include <cerrno>
#include <unistd.h>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("BookmarkWriter", text);
}

bool isXmlChar(char32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// XML 1.0 cannot hold control characters (nor unpaired surrogates); a file
// that holds one could not be read back, so they are left out.
QString xmlText(const QString& text)
{
    QString clean;
    bool dropped = false;
    const auto ucs4 = text.toUcs4();
    for (char32_t c : ucs4) {
        if (isXmlChar(c))
            clean.append(QString::fromUcs4(&c, 1));
        else
            dropped = true;
    }
    return dropped ? clean : text;
}

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
        xml.writeTextElement(element, xmlText(text));
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
    const QByteArray bytes = encode(list);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        m_error = tr("Cannot open %1 for writing: %2").arg(path, file.errorString());
        return false;
    }
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        m_error = tr("Cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    // The caller renames the file over the old one next; it must be on disk
    // first, or a crash could leave neither.
    if (::fsync(file.handle()) != 0) {
        m_error = tr("Cannot write %1: %2").arg(path, qt_error_string(errno));
        return false;
    }
    file.close();
    if (file.error() != QFileDevice::NoError) {
        m_error = tr("Cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}
