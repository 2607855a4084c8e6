#pragma once

#include <QByteArray>
#include <QString>

// Saving a file the user keeps: writes `path`.tmp and syncs it, keeps the
// old file as `path`.bak and renames the new one into place, so a crash
// leaves one of them whole. QtCore only.
class SafeFile
{
public:
    // False with a translated `error` when a step fails.
    static bool write(const QString& path, const QByteArray& bytes, QString* error);
};
