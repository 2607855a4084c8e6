// SPDX-License-Identifier: MIT
#include "editor/collisiontable.h"

#include "qrv16/item.h"

namespace QRV16 {

int CollisionTable::flags(const Item* item)
{
    if (!item || !item->parent())
        return NoCollision;
    auto it = m_flags.constFind(item);
    if (it != m_flags.constEnd())
        return it.value();
    refresh(item->parent(), false);
    return m_flags.value(item, NoCollision);
}

QList<int> CollisionTable::refresh(const Item* parent, bool onlyKnown)
{
    if (!parent)
        return {};
    const int count = parent->childCount();
    if (onlyKnown) {
        bool known = false;
        for (int i = 0; i < count && !known; ++i)
            known = m_flags.contains(parent->child(i));
        if (!known)
            return {};
    }
    QHash<QString, int> names;
    QHash<quint64, int> ids;
    names.reserve(count);
    ids.reserve(count);
    for (int i = 0; i < count; ++i) {
        const ItemData& d = parent->child(i)->data();
        if (!d.name.isEmpty())
            ++names[d.name];
        if (d.hasId)
            ++ids[d.id];
    }
    QList<int> changed;
    for (int i = 0; i < count; ++i) {
        const Item* c = parent->child(i);
        const ItemData& d = c->data();
        int flags = NoCollision;
        if (!d.name.isEmpty() && names.value(d.name) > 1)
            flags |= NameCollision;
        if (d.hasId && ids.value(d.id) > 1)
            flags |= IdCollision;
        // A row first seen without a clash looks as it did: no change.
        const int old = m_flags.value(c, -1);
        m_flags.insert(c, flags);
        if (old != flags && (old != -1 || flags != NoCollision))
            changed.append(i);
    }
    return changed;
}

void CollisionTable::forget(const Item* subtree)
{
    QList<const Item*> stack{subtree};
    while (!stack.isEmpty()) {
        const Item* item = stack.takeLast();
        m_flags.remove(item);
        for (int i = 0; i < item->childCount(); ++i)
            stack.append(item->child(i));
    }
}

} // namespace QRV16
