// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QList>

namespace QRV16 {

class Item;

// The CollisionFlag set of every item of a definition tree that a view has
// asked about. A whole sibling list is worked out at a time, when it is
// first asked about, so that painting a row costs a lookup. Items that
// leave the tree must be forgotten.
class CollisionTable
{
public:
    // The item's flags; NoCollision for the root or an item without parent.
    int flags(const Item* item);
    // Works the children of `parent` out again and returns the rows whose
    // flags changed. With `onlyKnown`, a list nobody has asked about is
    // left until it is, and nothing is returned for it.
    QList<int> refresh(const Item* parent, bool onlyKnown);
    // The item and everything below it.
    void forget(const Item* subtree);
    void clear() { m_flags.clear(); }

private:
    QHash<const Item*, int> m_flags;
};

} // namespace QRV16
