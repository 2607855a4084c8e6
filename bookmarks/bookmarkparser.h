// SPDX-License-Identifier: MIT
#pragma once

// Reads a bookmark file (.qrvbm) into a BookmarkList:
//   <qrvbm>
//     <bookmark><text/><tooltip/><message/><icon/><shortcut/></bookmark>
//     <separator/>
//   </qrvbm>
// Unknown elements and stray text are warned about and skipped.

#include "qrv16/xmlparser.h"

class BookmarkList;
class QAction;

class BookmarkParser : public QRV16::XmlParser
{
public:
    // Not owned.
    explicit BookmarkParser(BookmarkList* list);

    // Clears the list and reads the document into it. Afterwards the list
    // is clean; after an error it is also empty, so that a file that failed
    // to load is never saved over with what little was read.
    bool parser() override;

private:
    bool parseBookmarks();
    bool parseBookmark();
    bool parseSeparator();
    void setIcon(QAction* action, const QString& text);
    void setShortcut(QAction* action, const QString& text);
    bool failed();

    BookmarkList* m_list;
};
