// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkparser.h"

#include "bookmarks/bookmarklist.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>
#include <QImage>
#include <QKeySequence>
#include <QPixmap>

#include <memory>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("BookmarkParser", text);
}

} // namespace

BookmarkParser::BookmarkParser(BookmarkList* list) : m_list(list) {}

bool BookmarkParser::parser()
{
    if (!m_list) {
        raiseError(tr("No bookmark list to read into."));
        return false;
    }
    m_list->clear();
    if (readNext(SkipLayout) != StartDocument) {
        raiseError(tr("This doesn't look like an XML file."));
        return failed();
    }
    if (readNext(SkipLayout) != StartElement || name() != QLatin1String("qrvbm")) {
        raiseError(tr("This doesn't look like a bookmark file."));
        return failed();
    }
    if (!parseBookmarks())
        return failed();
    m_list->setClean();
    return true;
}

bool BookmarkParser::failed()
{
    raiseTruncatedError();
    m_list->clear();
    m_list->setClean();
    return false;
}

bool BookmarkParser::parseBookmarks()
{
    // The end of the root ends the file.
    return readChildren([this] {
        if (name() == QLatin1String("bookmark"))
            return parseBookmark();
        if (name() == QLatin1String("separator"))
            return parseSeparator();
        raiseUnexpectedElementWarning(QStringLiteral("<bookmark>"));
        return skipElement();
    });
}

bool BookmarkParser::parseBookmark()
{
    auto action = std::make_unique<QAction>();
    // Not written any more, but older files named their bookmarks this way.
    const QXmlStreamAttributes attrs = attributes();
    if (attrs.hasAttribute(QLatin1String("name")))
        action->setText(attrs.value(QLatin1String("name")).toString());
    const bool read = readChildren([&] {
        const QString element = name().toString();
        if (element == QLatin1String("text")) {
            action->setText(readCharacters());
        } else if (element == QLatin1String("tooltip")) {
            action->setToolTip(readCharacters());
        } else if (element == QLatin1String("message")) {
            action->setData(readCharacters());
        } else if (element == QLatin1String("icon")) {
            const QString text = readCharacters();
            if (!hasError())
                setIcon(action.get(), text);
        } else if (element == QLatin1String("shortcut")) {
            const QString text = readCharacters();
            if (!hasError())
                setShortcut(action.get(), text);
        } else {
            raiseUnexpectedElementWarning(QStringLiteral("<text>, <tooltip>, <message>, <icon> or <shortcut>"));
            if (!skipElement())
                return false;
        }
        return !hasError();
    });
    if (!read)
        return false;
    m_list->addAction(action.release());
    return true;
}

bool BookmarkParser::parseSeparator()
{
    // Whatever a separator holds means nothing.
    if (!skipElement())
        return false;
    auto* action = new QAction(m_list);
    action->setSeparator(true);
    m_list->addAction(action);
    return true;
}

void BookmarkParser::setIcon(QAction* action, const QString& text)
{
    QByteArray base64;
    base64.reserve(text.size());
    // Hand-edited files may wrap the data.
    for (QChar c : text) {
        if (!c.isSpace())
            base64 += c.unicode() < 128 ? char(c.unicode()) : '?';
    }
    if (base64.isEmpty())
        return;
    const auto decoded =
        QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
    QImage image;
    if (!decoded || !image.loadFromData(decoded.decoded)) {
        raiseWarning(tr("Invalid icon data"));
        return;
    }
    action->setIcon(QIcon(QPixmap::fromImage(image)));
}

void BookmarkParser::setShortcut(QAction* action, const QString& text)
{
    const QKeySequence shortcut = QKeySequence::fromString(text, QKeySequence::PortableText);
    for (int i = 0; i < shortcut.count(); ++i) {
        if (shortcut[i].key() == Qt::Key_unknown) {
            raiseWarning(tr("Invalid shortcut \"%1\"").arg(text));
            return;
        }
    }
    action->setShortcut(shortcut);
}
