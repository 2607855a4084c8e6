// SPDX-License-Identifier: MIT
#pragma once

// One node of a definition tree: the root, a tag, a tag's enum or bit
// container, or one enum value or bit. Blank lines and free-standing
// comments of the file it came from are kept as items of their own, so a
// file read and written back keeps its layout.

#include "qrv16/types.h"

#include <QList>
#include <QString>

#include <memory>
#include <vector>

namespace QRV16 {

enum class ItemType : qint32 {
    Invalid = -1,
    Root = 0,
    Tag = 1,
    Enums = 2,
    Enum = 3,
    Bits = 4,
    Bit = 5,
};

enum CollisionFlag {
    NoCollision = 0,
    NameCollision = 1, // a sibling has the same non-empty name
    IdCollision = 2,   // a sibling has the same id
};

// The type an item of `type` must have as its parent; Invalid for none.
ItemType matchingParentType(ItemType type);
// The type of the definitions a `parent` lists (and of the blank lines and
// comments among them); Invalid where there are none, as in a tag.
ItemType listedType(ItemType parent);
// A tag, an enum value or a bit, as the lists hold them.
bool isDefinitionType(ItemType type);
// A tag's Enums or Bits list.
bool isContainerType(ItemType type);

// The editable record of one item.
struct ItemData
{
    ItemType type = ItemType::Invalid;
    quint64 id = 0; // tag code, enum value or bit number
    QString name;
    QString comment; // on the root: the file's document type declaration
    DisplayMode display;
    bool hasId = false;
    bool secure = false; // values hidden when debugging

    bool operator==(const ItemData& o) const
    {
        return type == o.type && id == o.id && name == o.name && comment == o.comment &&
               display == o.display && hasId == o.hasId && secure == o.secure;
    }
    bool operator!=(const ItemData& o) const { return !(*this == o); }
};

class Item
{
public:
    Item() = default;
    explicit Item(const ItemData& data) : m_data(data) {}
    ~Item();
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    const ItemData& data() const { return m_data; }
    ItemData& data() { return m_data; }
    Item* parent() const { return m_parent; }
    int childCount() const { return int(m_children.size()); }
    Item* child(int row) const;
    int row() const { return m_parent ? m_row : 0; }

    void appendChild(Item* child);
    void insertChildBefore(int row, Item* child);
    Item* takeChild(int row);
    // The children from `from` on, in order, without their parent.
    std::vector<std::unique_ptr<Item>> takeChildren(int from = 0);
    void removeChild(int row);
    void clear();
    // Descending by type, so that a tag's Bits come before its Enums.
    void sortChildrenByType();

    int findBut(quint64 id, const Item* but) const;
    int findBut(const QString& name, const Item* but) const;
    int findCollision() const;
    Item* findInTagByItemType(ItemType type) const;
    int enumCount() const;
    bool isValid(ItemType type) const;
    bool isNewline() const;
    bool isComment() const;
    DisplayMode displayMode() const;
    QString formatId() const;
    void dump(int indent = 0) const;

    static ItemType matchingParentType(ItemType type) { return QRV16::matchingParentType(type); }

    // A deep copy without parent.
    Item* clone() const;
    bool operator==(const Item& o) const;
    bool operator!=(const Item& o) const { return !(*this == o); }

private:
    void renumberFrom(int row);

    ItemData m_data;
    QList<Item*> m_children; // owned
    Item* m_parent = nullptr;
    // Index in the parent's list, kept up to date so row() needs no search.
    int m_row = 0;
};

} // namespace QRV16
