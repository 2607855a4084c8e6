// SPDX-License-Identifier: MIT
#pragma once

// Read-only lookups from tag codes to names and back, and from enum values
// and bit numbers of a tag to their names and back. A snapshot of a
// definition tree: the tree may change or go away afterwards.

#include "qrv16/item.h"
#include "qrv16/nameindex.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <array>
#include <memory>
#include <vector>

namespace QRV16 {

// The named values of one tag: its enumeration or its bits.
class ItemDataLut
{
public:
    void addItem(const Item* item);

    const ItemData* byNumber(quint32 id) const
    {
        if (id < DenseIds)
            return id < m_dense.size() ? m_dense[id] : nullptr;
        return byLargeNumber(id);
    }
    const ItemData* byName(QStringView name) const;
    bool isEmpty() const { return m_byNumber.isEmpty(); }
    int count() const { return int(m_byNumber.size()); }
    // The names that can be typed, each once, in the order of the definitions.
    const QStringList& names() const { return m_names; }

private:
    // Bit numbers and small enum values, looked up per printed value.
    static constexpr quint32 DenseIds = 64;

    const ItemData* byLargeNumber(quint32 id) const;

    QHash<quint32, std::shared_ptr<const ItemData>> m_byNumber;
    // Nameless values are printed by number but cannot be typed by name.
    // Owns what a name finds (also a value whose number a later one took),
    // keyed by views of the owned names; lookups go through m_nameIndex,
    // which the parser asks with slices of its text.
    QHash<QStringView, std::shared_ptr<const ItemData>> m_byName;
    NameIndex<ItemData> m_nameIndex;
    std::vector<const ItemData*> m_dense; // ids below DenseIds, owned by m_byNumber
    QStringList m_names;
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

    const TagData* tagData(unsigned int tag) const
    {
        if (tag > 0xFFFF)
            return byLargeCode(tag);
        const quint16 page = m_pageOf[tag >> 8];
        return page ? m_pages[(page - 1) * PageSize + (tag & 0xFF)] : nullptr;
    }
    const TagData* tagData(QStringView name) const;
    int count() const { return int(m_byCode.size()); }
    // Every tag name, each once, in the order of the definitions.
    const QStringList& tagNames() const { return m_names; }

    QString tagName(unsigned int tag) const;
    int tagNumber(const QString& name) const;
    QString enumName(unsigned int tag, unsigned int value) const;
    int enumNumber(unsigned int tag, const QString& name) const;
    QString bitName(unsigned int tag, unsigned int bit) const;
    int bitNumber(unsigned int tag, const QString& name) const;

private:
    static constexpr int PageSize = 256;

    const TagData* byLargeCode(unsigned int tag) const;

    QHash<quint32, std::shared_ptr<const TagData>> m_byCode;
    QHash<QStringView, std::shared_ptr<const TagData>> m_byName; // views of the owned names
    NameIndex<TagData> m_nameIndex;                              // the same, looked up faster
    // Every 16-bit code found in two steps, with no hashing: the writer
    // asks once per element. A page of 256 codes exists only where a tag is.
    std::array<quint16, 256> m_pageOf{}; // page number + 1, 0 for none
    std::vector<const TagData*> m_pages; // owned by m_byCode
    QStringList m_names;
};

} // namespace QRV16
