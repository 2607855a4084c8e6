// SPDX-License-Identifier: MIT
#include "writers/writer.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>

#include <cstdio>

namespace QRV16 {

Writer::Writer() = default;
Writer::~Writer() = default;

bool Writer::writeTo(QIODevice* device, const Item* root)
{
    m_device = device;
    m_clashes.clear();
    m_clashPairs.clear();
    const bool ok = writeDefinitions(root);
    m_device = nullptr;
    return ok;
}

bool Writer::write(const Item* root, const QString& fileName)
{
    const QByteArray bytes = encode(root, fileName);
    if (bytes.isEmpty() && !m_error.isEmpty())
        return false;
    return save(bytes, fileName);
}

QByteArray Writer::encode(const Item* root, const QString& fileName)
{
    m_error.clear();
    m_filename = fileName;
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly | QIODevice::Text);
    const bool ok = writeTo(&buffer, root);
    buffer.close();
    if (!ok) {
        if (m_error.isEmpty())
            m_error = QCoreApplication::translate("Writer", "Write failed");
        return QByteArray();
    }
    m_filename.clear();
    return bytes;
}

bool Writer::save(const QByteArray& bytes, const QString& fileName)
{
    m_error.clear();
    m_filename.clear();
    if (fileName == QLatin1String("-")) {
        QFile out;
        const bool ok = out.open(stdout, QIODevice::WriteOnly) &&
                        out.write(bytes) == bytes.size() && out.flush();
        out.close();
        std::fflush(stdout);
        if (!ok) {
            m_error = out.errorString();
            return false;
        }
        return true;
    }
    // The temporary lies in the target's folder, so the rename stays on one
    // file system; commit() syncs it before renaming.
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly)) {
        m_error = QCoreApplication::translate("Writer", "Failed to open output file %1.")
                      .arg(fileName);
        return false;
    }
    m_filename = fileName;
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        m_error = file.errorString();
        file.cancelWriting();
        return false;
    }
    m_filename.clear();
    return true;
}

void Writer::noteClashes(const IdentifierSet& names)
{
    for (const IdentifierSet::Clash& clash : names.clashes()) {
        // A tag's name also names its types; one report is enough.
        const QPair<const Item*, const Item*> pair(clash.first, clash.second);
        if (clash.first && m_clashPairs.contains(pair))
            continue;
        m_clashPairs.insert(pair);
        m_clashes.append(clash);
    }
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
