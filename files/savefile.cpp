// SPDX-License-Identifier: MIT
#include "files/savefile.h"

#include "files/systemerror.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
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

// A copy where the file system has no hard links.
bool linkOrCopy(const QByteArray& from, const QByteArray& to)
{
    if (::link(from.constData(), to.constData()) == 0)
        return true;
    if (errno != EPERM && errno != EXDEV && errno != EOPNOTSUPP && errno != EMLINK)
        return false;
    const int in = ::open(from.constData(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return false;
    const int out = ::open(to.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    bool ok = out >= 0;
    char buffer[65536];
    while (ok) {
        const ssize_t n = ::read(in, buffer, sizeof buffer);
        if (n == 0)
            break;
        ok = n > 0;
        for (ssize_t done = 0; ok && done < n;) {
            const ssize_t w = ::write(out, buffer + done, size_t(n - done));
            ok = w > 0;
            done += w;
        }
    }
    ok = ok && ::fsync(out) == 0;
    const int error = errno;
    ::close(in);
    if (out >= 0)
        ::close(out);
    errno = error;
    return ok;
}

// The renames reach the disk too, not only the data; where a folder cannot
// be synced there is nothing more to do.
void syncFolder(const QString& path)
{
    const int folder = ::open(QFile::encodeName(QFileInfo(path).absolutePath()).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return;
    ::fsync(folder);
    ::close(folder);
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
    // The old file is never moved aside: a kill between two renames would
    // leave no file at `path`. It gets a second name that then replaces the
    // old backup in one rename, so there is always a whole backup too.
    if (QFile::exists(path)) {
        const QByteArray fresh = QFile::encodeName(backup + QStringLiteral(".tmp"));
        ::unlink(fresh.constData());
        if (!linkOrCopy(target, fresh)) {
            const QString error = SystemError::last();
            ::unlink(fresh.constData());
            return fail(tr("Could not rename %1 to %2: %3").arg(native(path), native(backup), error));
        }
        if (std::rename(fresh.constData(), QFile::encodeName(backup).constData()) != 0) {
            const QString error = SystemError::last();
            ::unlink(fresh.constData());
            return fail(tr("Could not delete old backup %1: %2").arg(native(backup), error));
        }
    }
    if (std::rename(QFile::encodeName(temporary).constData(), target.constData()) != 0)
        return fail(tr("Could not rename %1 to %2: %3").arg(native(temporary), native(path), SystemError::last()));
    syncFolder(path);
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
