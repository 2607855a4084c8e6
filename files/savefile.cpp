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
    // Unbuffered, so that a write that fails says why (see writeAll).
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return fail(tr("Cannot open %1 for writing: %2").arg(native(temporary), file.errorString()));
    // Synced before the rename, or a crash could leave neither file.
    if (!writeAll(&file, bytes) || !file.flush() || ::fsync(file.handle()) != 0) {
        const QString error = file.errorString();
        // Half a file is no use, and on a full disk it takes the room.
        file.remove();
        return fail(tr("Cannot write %1: %2").arg(native(temporary), error));
    }
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

bool SaveFile::writeAll(QFileDevice* file, QByteArrayView bytes)
{
    qint64 done = 0;
    while (done < bytes.size()) {
        const qint64 n = file->write(bytes.data() + done, bytes.size() - done);
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}
