// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkdocument.h"

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "bookmarks/bookmarkwriter.h"

#include <QDir>

#include <memory>

BookmarkDocument::BookmarkDocument(QObject* parent) : Document(parent)
{
    setList(new BookmarkList);
}

void BookmarkDocument::setList(BookmarkList* list)
{
    if (list == m_list)
        return;
    const bool wasModified = isModified();
    std::unique_ptr<BookmarkList> old(m_list);
    m_list = list;
    list->setParent(this);
    connect(list, &BookmarkList::dirtyChanged, this, &Document::modifiedChanged);
    Q_EMIT listChanged(list);
    if (old) {
        old->setMenu(nullptr);
        old->setToolBar(nullptr);
    }
    if (list->isDirty() != wasModified)
        Q_EMIT modifiedChanged(list->isDirty());
}

bool BookmarkDocument::load(const QString& path)
{
    auto list = std::make_unique<BookmarkList>();
    BookmarkParser parser(list.get());
    const bool ok = parser.parse(path);
    if (!parser.warnings().isEmpty())
        Q_EMIT message(parser.warnings(), false);
    if (!ok) {
        Q_EMIT message(parser.formatError(), true);
        return false;
    }
    list->setClean();
    setList(list.release());
    setPath(path);
    Q_EMIT message(tr("Loaded bookmarks from %1").arg(QDir::toNativeSeparators(path)), false);
    return true;
}

bool BookmarkDocument::save(const QString& path, QString* error)
{
    BookmarkWriter writer;
    if (!writer.write(m_list, path)) {
        *error = writer.errorString();
        return false;
    }
    m_list->setClean();
    setPath(path);
    return true;
}

bool BookmarkDocument::isModified() const
{
    return m_list && m_list->isDirty();
}

QString BookmarkDocument::fileFilter() const
{
    return tr("Bookmarks") + QStringLiteral(" (*.qrvbm)");
}

QString BookmarkDocument::lastPathKey() const
{
    return QStringLiteral("MainWindow/LastBookmarksPath");
}
