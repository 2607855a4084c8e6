// SPDX-License-Identifier: MIT
#include "automation/definitions.h"

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

Definitions::Definitions(QObject* parent) : QObject(parent)
{
}

Definitions::~Definitions() = default;

bool Definitions::load(const QString& path)
{
    QRV16::Parser parser;
    const bool ok = parser.parse(path);
    m_warnings = parser.warnings();
    std::unique_ptr<QRV16::Item> root(ok ? parser.takeRoot() : nullptr);
    if (!root) {
        m_error = parser.formatError();
        return false;
    }
    m_error.clear();
    setRoot(root.release(), path);
    return true;
}

void Definitions::setRoot(QRV16::Item* root, const QString& path)
{
    // The old tree and table go only once every receiver has switched.
    const std::unique_ptr<QRV16::Item> oldRoot = std::move(m_root);
    const std::unique_ptr<QRV16::TagDataLut> oldTags = std::move(m_tags);
    m_root.reset(root);
    m_tags.reset(root ? new QRV16::TagDataLut(root) : nullptr);
    m_path = path;
    Q_EMIT changed(m_tags.get());
}
