// SPDX-License-Identifier: MIT
#include "qrv16/item.h"

#include <algorithm>
#include <cstdio>

namespace QRV16 {

ItemType matchingParentType(ItemType type)
{
    switch (type) {
    case ItemType::Tag: return ItemType::Root;
    case ItemType::Enums: return ItemType::Tag;
    case ItemType::Enum: return ItemType::Enums;
    case ItemType::Bits: return ItemType::Tag;
    case ItemType::Bit: return ItemType::Bits;
    default: return ItemType::Invalid;
    }
}

ItemType listedType(ItemType parent)
{
    switch (parent) {
    case ItemType::Root: return ItemType::Tag;
    case ItemType::Enums: return ItemType::Enum;
    case ItemType::Bits: return ItemType::Bit;
    default: return ItemType::Invalid;
    }
}

bool isDefinitionType(ItemType type)
{
    return type == ItemType::Tag || type == ItemType::Enum || type == ItemType::Bit;
}

bool isContainerType(ItemType type)
{
    return type == ItemType::Enums || type == ItemType::Bits;
}

Item::~Item()
{
    qDeleteAll(m_children);
}

Item* Item::child(int row) const
{
    return row >= 0 && row < m_children.size() ? m_children.at(row) : nullptr;
}

void Item::renumberFrom(int row)
{
    for (int i = qMax(0, row); i < m_children.size(); ++i)
        m_children.at(i)->m_row = i;
}

void Item::appendChild(Item* child)
{
    child->m_parent = this;
    child->m_row = int(m_children.size());
    m_children.append(child);
}

void Item::insertChildBefore(int row, Item* child)
{
    row = qBound(0, row, int(m_children.size()));
    child->m_parent = this;
    m_children.insert(row, child);
    renumberFrom(row);
}

Item* Item::takeChild(int row)
{
    if (row < 0 || row >= m_children.size())
        return nullptr;
    Item* child = m_children.takeAt(row);
    child->m_parent = nullptr;
    child->m_row = 0;
    renumberFrom(row);
    return child;
}

std::vector<std::unique_ptr<Item>> Item::takeChildren(int from)
{
    // Taken from the end, so nothing moves: taking the first child each
    // time would shift all the others, quadratic for a long list.
    std::vector<std::unique_ptr<Item>> taken;
    for (int i = childCount() - 1; i >= qMax(0, from); --i)
        taken.emplace_back(takeChild(i));
    std::reverse(taken.begin(), taken.end());
    return taken;
}

void Item::removeChild(int row)
{
    delete takeChild(row);
}

void Item::clear()
{
    qDeleteAll(m_children);
    m_children.clear();
    m_data = ItemData();
}

void Item::sortChildrenByType()
{
    std::stable_sort(m_children.begin(), m_children.end(), [](const Item* a, const Item* b) {
        return qint32(a->m_data.type) > qint32(b->m_data.type);
    });
    renumberFrom(0);
}

int Item::findBut(quint64 id, const Item* but) const
{
    for (int i = 0; i < m_children.size(); ++i) {
        const Item* c = m_children.at(i);
        if (c != but && c->m_data.hasId && c->m_data.id == id)
            return i;
    }
    return -1;
}

int Item::findBut(const QString& name, const Item* but) const
{
    for (int i = 0; i < m_children.size(); ++i) {
        const Item* c = m_children.at(i);
        if (c != but && c->m_data.name == name)
            return i;
    }
    return -1;
}

int Item::findCollision() const
{
    if (!m_parent)
        return NoCollision;
    int flags = NoCollision;
    for (const Item* s : m_parent->m_children) {
        if (s == this)
            continue;
        if (m_data.hasId && s->m_data.hasId && s->m_data.id == m_data.id)
            flags |= IdCollision;
        if (!m_data.name.isEmpty() && s->m_data.name == m_data.name)
            flags |= NameCollision;
    }
    return flags;
}

Item* Item::findInTagByItemType(ItemType type) const
{
    if (m_data.type != ItemType::Tag)
        return nullptr;
    for (Item* c : m_children) {
        if (c->m_data.type == type)
            return c;
    }
    return nullptr;
}

int Item::enumCount() const
{
    int count = 0;
    quint64 previous = 0;
    for (const Item* c : m_children) {
        if (!c->m_data.hasId)
            continue;
        const quint64 id = c->m_data.id;
        if (count == 0 ? id > 1 : id != previous + 1)
            return 0;
        previous = id;
        ++count;
    }
    return count;
}

bool Item::isValid(ItemType type) const
{
    if (!m_data.hasId)
        return false;
    if (m_data.name.isEmpty())
        return type == ItemType::Enum && m_data.type == ItemType::Enum;
    if (type == ItemType::Invalid)
        return m_data.type == ItemType::Tag || m_data.type == ItemType::Enum ||
               m_data.type == ItemType::Bit;
    return m_data.type == type;
}

bool Item::isNewline() const
{
    return m_children.isEmpty() && !m_data.hasId && m_data.name.isEmpty() &&
           m_data.comment.isEmpty() && isDefinitionType(m_data.type);
}

bool Item::isComment() const
{
    return m_data.type != ItemType::Root && m_children.isEmpty() && !m_data.hasId &&
           m_data.name.isEmpty() && !m_data.comment.isEmpty();
}

DisplayMode Item::displayMode() const
{
    for (const Item* i = this; i; i = i->m_parent) {
        if (i->m_data.display.mode != 0)
            return i->m_data.display;
    }
    return m_data.display;
}

QString Item::formatId() const
{
    if (m_data.type == ItemType::Tag)
        return tag2hex(unsigned(m_data.id));
    return formatNumber(m_data.id, displayMode());
}

void Item::dump(int indent) const
{
    const QByteArray name = m_data.name.toLocal8Bit();
    const auto id = static_cast<unsigned long long>(m_data.id);
    std::fprintf(stderr, "%*s%3d ", indent, "", row());
    switch (m_data.type) {
    case ItemType::Root: std::fprintf(stderr, "Root\n"); break;
    case ItemType::Tag: std::fprintf(stderr, "Tag: %s = 0x%04llX\n", name.constData(), id); break;
    case ItemType::Enums: std::fprintf(stderr, "Enums\n"); break;
    case ItemType::Enum: std::fprintf(stderr, "Enum: %s = 0x%04llX\n", name.constData(), id); break;
    case ItemType::Bits: std::fprintf(stderr, "Bits\n"); break;
    case ItemType::Bit: std::fprintf(stderr, "Bit: %s = 0x%04llX\n", name.constData(), id); break;
    default:
        std::fprintf(stderr, "%u: %s = 0x%04llX\n", unsigned(m_data.type), name.constData(), id);
    }
    for (const Item* c : m_children)
        c->dump(indent + 2);
}

Item* Item::clone() const
{
    auto* copy = new Item(m_data);
    for (const Item* c : m_children)
        copy->appendChild(c->clone());
    return copy;
}

bool Item::operator==(const Item& o) const
{
    if (m_data != o.m_data || m_children.size() != o.m_children.size())
        return false;
    for (int i = 0; i < m_children.size(); ++i) {
        if (*m_children.at(i) != *o.m_children.at(i))
            return false;
    }
    return true;
}

} // namespace QRV16
