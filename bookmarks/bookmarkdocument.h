// SPDX-License-Identifier: MIT
#pragma once

#include "widgets/document.h"

class BookmarkList;

// The bookmarks as a document. A file that loads replaces the whole list:
// whatever shows the bookmarks follows listChanged(). A file that fails to
// load leaves the list as it was.
class BookmarkDocument : public Document
{
    Q_OBJECT

public:
    explicit BookmarkDocument(QObject* parent = nullptr);

    // Owned (child); never null.
    BookmarkList* list() const { return m_list; }
    // Takes ownership; the old list is deleted once listChanged() is out.
    void setList(BookmarkList* list);

    bool load(const QString& path) override;
    bool save(const QString& path, QString* error) override;
    bool isModified() const override;
    QString fileFilter() const override;
    QString lastPathKey() const override;

Q_SIGNALS:
    void listChanged(BookmarkList* list);

private:
    BookmarkList* m_list = nullptr;
};
