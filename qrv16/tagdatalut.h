#pragma once

// Read-only lookups from tag codes to names and back, and from enum values
// and bit numbers of a tag to their names and back. A snapshot of a
// definition tree: the tree may change or go away afterwards.

#include "qrv16/item.h"

#include <QHash>
#include <QString>

#include <memory>

namespace QRV16 {

// The named values of one tag: its enumeration or its bits.
class ItemDataLut
{
public:
    void addItem(const Item* item);

    const ItemData* byNumber(quint32 id) const;
    const ItemData* byName(const QString& name) const;
    bool isEmpty() const { return m_byNumber.isEmpty(); }
    int count() const { return int(m_byNumber.size()); }

private:
    QHash<quint32, std::shared_ptr<const ItemData>> m_byNumber;
    // Nameless values are printed by number but cannot be typed by name.
    QHash<QString, std::shared_ptr<const ItemData>> m_byName;
};

// One tag: its own record plus the tables of its bits and enum values.
class TagData : public ItemData
{
public:
    explicit TagData(const Item* tag);

    ItemDataLut bits;
    ItemDataLut enums;
};

class TagDataLut
{
public:
    explicit TagDataLut(const Item* root);

    const TagData* tagData(unsigned int tag) const;
    const TagData* tagData(const QString& name) const;
    int count() const { return int(m_byCode.size()); }

    QString tagName(unsigned int tag) const;
    int tagNumber(const QString& name) const;
    QString enumName(unsigned int tag, unsigned int value) const;
    int enumNumber(unsigned int tag, const QString& name) const;
    QString bitName(unsigned int tag, unsigned int bit) const;
    int bitNumber(unsigned int tag, const QString& name) const;

private:
    QHash<quint32, std::shared_ptr<const TagData>> m_byCode;
    QHash<QString, std::shared_ptr<const TagData>> m_byName;
};

} // namespace QRV16
