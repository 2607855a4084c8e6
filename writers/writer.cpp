#include "writers/writer.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <unistd.h>

namespace QRV16 {

Writer::Writer() = default;
Writer::~Writer() = default;

bool Writer::writeTo(QIODevice* device, const Item* root)
{
    m_device = device;
    const bool ok = writeDefinitions(root);
    m_device = nullptr;
    return ok;
}

bool Writer::write(const Item* root, const QString& fileName)
{
    m_error.clear();
    m_filename.clear();
    if (fileName == QLatin1String("-")) {
        QFile out;
        if (!out.open(stdout, QIODevice::WriteOnly | QIODevice::Text)) {
            m_error = QCoreApplication::translate("Writer", "Failed to open output file %1.")
                          .arg(fileName);
            return false;
        }
        m_filename = fileName;
        const bool ok = writeTo(&out, root);
        m_filename.clear();
        out.flush();
        std::fflush(stdout);
        return ok;
    }
    return writeFile(root, fileName);
}

bool Writer::writeFile(const Item* root, const QString& fileName)
{
    const QString tmpName = fileName + QStringLiteral(".tmp");
    QFile tmp(tmpName);
    if (!tmp.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        m_error = QCoreApplication::translate("Writer", "Failed to open output file %1.")
                      .arg(fileName);
        return false;
    }
    m_filename = fileName;
    bool ok = writeTo(&tmp, root);
    ok = tmp.flush() && ok;
    if (ok && ::fsync(tmp.handle()) != 0)
        ok = false;
    if (tmp.error() != QFileDevice::NoError && m_error.isEmpty())
        m_error = tmp.errorString();
    tmp.close();
    if (!ok) {
        // The target is left untouched; the half-written file goes.
        QFile::remove(tmpName);
        if (m_error.isEmpty())
            m_error = QCoreApplication::translate("Writer", "Write failed");
        return false;
    }
    const QString bakName = fileName + QStringLiteral(".bak");
    if (QFile::exists(fileName)) {
        QFile::remove(bakName);
        if (!QFile::rename(fileName, bakName)) {
            m_error = QCoreApplication::translate("Writer", "Cannot keep a backup as %1.")
                          .arg(bakName);
            QFile::remove(tmpName);
            return false;
        }
    }
    if (!QFile::rename(tmpName, fileName)) {
        m_error = QCoreApplication::translate("Writer", "Cannot rename %1 to %2.")
                      .arg(tmpName, fileName);
        return false;
    }
    m_filename.clear();
    return true;
}

QByteArray Writer::encode(const Item* root)
{
    m_error.clear();
    m_filename.clear();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly | QIODevice::Text);
    if (!writeTo(&buffer, root))
        return QByteArray();
    buffer.close();
    return bytes;
}

QString Writer::formatError() const
{
    if (!m_filename.isEmpty())
        return QStringLiteral("Error writing %1:\n  %2").arg(m_filename, m_error);
    return m_error;
}

void Writer::setIndent(int a, int b)
{
    m_indent1 = QString(a, QLatin1Char(' '));
    m_indent2 = QString(b, QLatin1Char(' '));
}

void Writer::beginUtf8()
{
    if (m_device)
        m_device->write("\xEF\xBB\xBF", 3);
}

void Writer::write(const QString& text)
{
    if (m_device)
        m_device->write(text.toUtf8());
}

} // namespace QRV16
