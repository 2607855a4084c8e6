// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

class QFileDevice;

// Saves a file the user edits so that a crash leaves the old or the new
// version whole: writes `path`.tmp and syncs it, keeps the old file as
// `path`.bak and renames the new one into place.
class SaveFile
{
public:
    // False with a translated `error` (when given) if a step fails.
    static bool write(const QString& path, const QByteArray& bytes, QString* error);

    // Writes all of `bytes` to an open file. A short write is tried again,
    // so that a failure names the system's error ("File too large"): Qt
    // reports a write cut short as an unknown error.
    static bool writeAll(QFileDevice* file, QByteArrayView bytes);
};
