// SPDX-License-Identifier: MIT
#include "qrv16/tagdatalut.h"

#include "qrv16/types.h"

namespace QRV16 {

void ItemDataLut::addItem(const Item* item)
{
    auto copy = std::make_shared<ItemData>(item->data());
    copy->display = item->displayMode();
    const quint32 id = quint32(copy->id);
    m_byNumber.insert(id, copy);
    if (id < DenseIds) {
        if (m_dense.size() <= id)
            m_dense.resize(id + 1, nullptr);
        m_dense[id] = copy.get();
    }
    if (!copy->name.isEmpty()) {
        // The key views the old entry's name: take it out before it goes.
        if (!m_byName.remove(QStringView(copy->name)))
            m_names.append(copy->name);
        m_byName.insert(QStringView(copy->name), copy);
        m_nameIndex.insert(QStringView(copy->name), copy.get());
    }
}

const ItemData* ItemDataLut::byLargeNumber(quint32 id) const
{
    const auto it = m_byNumber.constFind(id);
    return it == m_byNumber.constEnd() ? nullptr : it->get();
}

const ItemData* ItemDataLut::byName(QStringView name) const
{
    return m_nameIndex.find(name);
}

TagData::TagData(const Item* tag) : ItemData(tag->data())
{
    if (const Item* container = tag->findInTagByItemType(ItemType::Enums)) {
        for (int i = 0; i < container->childCount(); ++i) {
            const Item* child = container->child(i);
            if (child->isValid(ItemType::Enum))
                enums.addItem(child);
        }
    }
    if (const Item* container = tag->findInTagByItemType(ItemType::Bits)) {
        for (int i = 0; i < container->childCount(); ++i) {
            const Item* child = container->child(i);
            if (child->isValid(ItemType::Bit))
                bits.addItem(child);
        }
    }
}

TagDataLut::TagDataLut(const Item* root)
{
    if (!root)
        return;
    for (int i = 0; i < root->childCount(); ++i) {
        const Item* child = root->child(i);
        if (!child->isValid(ItemType::Tag))
            continue;
        auto tag = std::make_shared<const TagData>(child);
        m_byCode.insert(quint32(tag->id), tag);
        if (!m_byName.remove(QStringView(tag->name)) && !tag->name.isEmpty())
            m_names.append(tag->name);
        m_byName.insert(QStringView(tag->name), tag);
        m_nameIndex.insert(QStringView(tag->name), tag.get());
    }
    for (auto it = m_byCode.cbegin(); it != m_byCode.cend(); ++it) {
        const quint32 code = it.key();
        if (code > 0xFFFF)
            continue;
        quint16& page = m_pageOf[code >> 8];
        if (!page) {
            m_pages.resize(m_pages.size() + PageSize, nullptr);
            page = quint16(m_pages.size() / PageSize);
        }
        m_pages[(page - 1) * PageSize + (code & 0xFF)] = it.value().get();
    }
}

const TagData* TagDataLut::byLargeCode(unsigned int tag) const
{
    const auto it = m_byCode.constFind(tag);
    return it == m_byCode.constEnd() ? nullptr : it->get();
}

const TagData* TagDataLut::tagData(QStringView name) const
{
    return m_nameIndex.find(name);
}

QString TagDataLut::tagName(unsigned int tag) const
{
    const TagData* t = tagData(tag);
    return t ? t->name : tag2hex(tag);
}

int TagDataLut::tagNumber(const QString& name) const
{
    const TagData* t = tagData(name);
    return t ? int(t->id) : -1;
}

QString TagDataLut::enumName(unsigned int tag, unsigned int value) const
{
    const TagData* t = tagData(tag);
    if (!t)
        return QString::number(value);
    if (const ItemData* e = t->enums.byNumber(value))
        return e->name;
    return formatNumber(quint64(value), t->display);
}

int TagDataLut::enumNumber(unsigned int tag, const QString& name) const
{
    const TagData* t = tagData(tag);
    const ItemData* e = t ? t->enums.byName(name) : nullptr;
    return e ? int(e->id) : -1;
}

QString TagDataLut::bitName(unsigned int tag, unsigned int bit) const
{
    const TagData* t = tagData(tag);
    const ItemData* b = t ? t->bits.byNumber(bit) : nullptr;
    return b ? b->name : QString::number(bit);
}

int TagDataLut::bitNumber(unsigned int tag, const QString& name) const
{
    const TagData* t = tagData(tag);
    const ItemData* b = t ? t->bits.byName(name) : nullptr;
    return b ? int(b->id) : -1;
}

} // namespace QRV16
