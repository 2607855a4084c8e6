// SPDX-License-Identifier: MIT
#pragma once

// Shared by the bookmark tests: bookmarks named by one letter each, so a
// whole list reads as a word; '|' stands for a separator.

#include "bookmarks/bookmarklist.h"

#include <QAction>
#include <QString>

// A bookmark "x" that sends "x=()".
inline QAction* bookmark(const QString& text)
{
    auto* action = new QAction(text);
    action->setData(QString(text + QStringLiteral("=()")));
    return action;
}

inline QAction* separator()
{
    auto* action = new QAction;
    action->setSeparator(true);
    return action;
}

inline void fill(BookmarkList& list, const QString& names)
{
    for (QChar c : names)
        list.addAction(c == QLatin1Char('|') ? separator() : bookmark(QString(c)));
}

// The list as one word of texts and '|'.
inline QString order(const BookmarkList& list)
{
    QString s;
    for (const QAction* action : list.actions())
        s += action->isSeparator() ? QStringLiteral("|") : action->text();
    return s;
}
