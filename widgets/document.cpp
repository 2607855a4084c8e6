// SPDX-License-Identifier: MIT
#include "widgets/document.h"

Document::Document(QObject* parent) : QObject(parent)
{
}

void Document::setPath(const QString& path)
{
    if (path == m_path)
        return;
    m_path = path;
    Q_EMIT pathChanged(path);
}
