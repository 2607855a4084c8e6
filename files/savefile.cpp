// SPDX-License-Identifier: MIT
#include "files/savefile.h"

#include "files/systemerror.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("SaveFile", text);
}

QString native(const QString& path)
{
    return QDir::toNativeSeparators(path);
}

} // namespace

bool SaveFile::write(const QString& path, const QByteArray& bytes, QString* error)
{
    const auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    // A folder of that name would be moved aside as the backup.
    if (QFileInfo(path).isDir())
        return fail(tr("Cannot open %1 for writing: %2").arg(native(path), SystemError::text(EISDIR)));
    const QString temporary = path + QStringLiteral(".tmp");
    const QString backup = path + QStringLiteral(".bak");
    QFile file(temporary);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return fail(tr("Cannot open %1 for writing: %2").arg(native(temporary), file.errorString()));
    // Synced before the rename, or a crash could leave neither file.
    if (file.write(bytes) != bytes.size() || !file.flush() || ::fsync(file.handle()) != 0)
        return fail(tr("Cannot write %1: %2").arg(native(temporary), file.errorString()));
    file.close();
    const QByteArray target = QFile::encodeName(path);
    const QByteArray old = QFile::encodeName(backup);
    if (QFile::exists(backup) && std::remove(old.constData()) != 0)
        return fail(tr("Could not delete old backup %1: %2").arg(native(backup), SystemError::last()));
    if (QFile::exists(path) && std::rename(target.constData(), old.constData()) != 0)
        return fail(tr("Could not rename %1 to %2: %3").arg(native(path), native(backup), SystemError::last()));
    if (std::rename(QFile::encodeName(temporary).constData(), target.constData()) != 0)
        return fail(tr("Could not rename %1 to %2: %3").arg(native(temporary), native(path), SystemError::last()));
    return true;
}
