// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

// Saves a file the user edits so that a crash leaves the old or the new
// version whole: writes `path`.tmp and syncs it, keeps the old file as
// `path`.bak and renames the new one into place.
class SaveFile
{
public:
    // False with a translated `error` (when given) if a step fails.
    static bool write(const QString& path, const QByteArray& bytes, QString* error);
};
