// SPDX-License-Identifier: MIT
#pragma once

// Shared by the editor tests: read a definition fragment, and print a tree
// as one line so a whole expected tree fits in a data row.

#include "qrv16/item.h"
#include "qrv16/parser.h"

#include <QStringList>

namespace TreeText {

// Types by letter (R T E e B b), names, ids; '_' a blank line, '#' a comment.
inline QString shape(const QRV16::Item* item)
{
    using namespace QRV16;
    if (item->isNewline())
        return QStringLiteral("_");
    if (item->isComment())
        return QLatin1Char('#') + item->data().comment.trimmed();
    const ItemData& d = item->data();
    static const char letters[] = "RTEeBb";
    const int t = int(d.type);
    QString s = t >= 0 && t <= 5 ? QString(QLatin1Char(letters[t])) : QStringLiteral("?");
    if (!d.name.isEmpty())
        s += QLatin1Char(':') + d.name;
    if (d.hasId)
        s += QLatin1Char('=') + QString::number(qlonglong(d.id));
    if (item->childCount()) {
        QStringList kids;
        for (int i = 0; i < item->childCount(); ++i)
            kids << shape(item->child(i));
        s += QLatin1Char('(') + kids.join(QLatin1Char(' ')) + QLatin1Char(')');
    }
    return s;
}

inline QRV16::Item* read(const QByteArray& xml)
{
    QRV16::Parser parser;
    if (!parser.parse(xml))
        return nullptr;
    return parser.takeRoot();
}

} // namespace TreeText
