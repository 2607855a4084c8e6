// SPDX-License-Identifier: MIT
#pragma once

// Writes a BookmarkList as a bookmark file (.qrvbm): one <bookmark> per
// action with its non-empty <text>, <tooltip>, <message>, <icon> (PNG in
// Base64) and <shortcut>, and an empty <separator/> for a separator or an
// action with nothing to keep.

#include <QByteArray>
#include <QString>

class BookmarkList;

class BookmarkWriter
{
public:
    // Saves through a ".tmp" file and keeps the old file as ".bak"; false
    // with errorString() when a step fails, the old file then untouched.
    bool write(const BookmarkList* list, const QString& path);
    QString errorString() const { return m_error; }

    // The bytes write() puts in the file; a null list is an empty one.
    QByteArray encode(const BookmarkList* list) const;

private:
    QString m_error;
};
