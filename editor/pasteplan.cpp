// SPDX-License-Identifier: MIT
#include "editor/pasteplan.h"

#include <QtGlobal>

namespace QRV16 {

namespace {

bool isLayout(const Item* item)
{
    return item->isComment() || item->isNewline();
}

// Only what the file format allows stays in a pasted tree: a tag holds at
// most one Bits and one Enums container (later ones are merged into the
// first), containers hold their own kind, values hold nothing.
void sanitize(Item* item, int depth)
{
    const ItemType type = item->data().type;
    if (depth > 3 || type == ItemType::Enum || type == ItemType::Bit) {
        while (item->childCount() > 0)
            item->removeChild(item->childCount() - 1);
        return;
    }
    Item* bits = nullptr;
    Item* enums = nullptr;
    for (int i = 0; i < item->childCount();) {
        Item* c = item->child(i);
        const ItemType ct = c->data().type;
        const bool fits = matchingParentType(ct) == type;
        if (!fits) {
            item->removeChild(i);
            continue;
        }
        Item** first = ct == ItemType::Bits ? &bits : ct == ItemType::Enums ? &enums : nullptr;
        if (first && *first) {
            for (std::unique_ptr<Item>& moved : c->takeChildren())
                (*first)->appendChild(moved.release());
            item->removeChild(i);
            continue;
        }
        if (first)
            *first = c;
        ++i;
    }
    for (int i = 0; i < item->childCount(); ++i)
        sanitize(item->child(i), depth + 1);
    if (type == ItemType::Tag)
        item->sortChildrenByType();
}

} // namespace

PastePlan::PastePlan(Item* root, Item* target) : m_root(root), m_target(target), m_tag(target)
{
    if (target != root) {
        m_targetRow = target->row();
        const Item* top = target;
        while (top->parent() && top->parent() != root)
            top = top->parent();
        m_rootRow = top->row();
    }
    while (m_tag && (m_tag->data().type != ItemType::Tag || m_tag->isComment()))
        m_tag = m_tag->parent();
}

void PastePlan::add(std::unique_ptr<Item> trees)
{
    for (std::unique_ptr<Item>& tree : trees->takeChildren())
        addTree(std::move(tree));
}

void PastePlan::addTree(std::unique_ptr<Item> tree)
{
    const ItemType type = tree->data().type;
    if (isLayout(tree.get())) {
        // Beside the target row, or in the container or root pasted on.
        const ItemType at = m_target->data().type;
        Item* p = at == ItemType::Root || isContainerType(at) ? m_target : m_target->parent();
        if (!p || listedType(p->data().type) == ItemType::Invalid)
            return;
        tree->data().type = listedType(p->data().type);
        m_steps.emplace_back(p, std::move(tree));
        return;
    }
    sanitize(tree.get(), 1);
    if (type == ItemType::Tag) {
        m_steps.emplace_back(m_root, std::move(tree));
        return;
    }
    if (type == ItemType::Enum || type == ItemType::Bit) {
        const ItemType listType = matchingParentType(type);
        Item* list = nullptr;
        if (m_target->data().type == listType)
            list = m_target;
        else if (m_target->parent() && m_target->parent()->data().type == listType)
            list = m_target->parent();
        else if (m_tag)
            list = m_tag->findInTagByItemType(listType);
        if (list) {
            m_steps.emplace_back(list, std::move(tree));
            return;
        }
        if (!m_tag)
            return;
        // The tag lacks the container: this paste makes one.
        if (Item* pending = pendingList(m_tag, listType)) {
            pending->appendChild(tree.release());
            return;
        }
        ItemData data;
        data.type = listType;
        auto container = std::make_unique<Item>(data);
        container->appendChild(tree.release());
        addList(m_tag, std::move(container));
        return;
    }
    if (isContainerType(type)) {
        if (!m_tag)
            return;
        Item* existing = m_tag->findInTagByItemType(type);
        if (Item* pending = pendingList(m_tag, type)) {
            for (std::unique_ptr<Item>& value : tree->takeChildren())
                pending->appendChild(value.release());
        } else if (existing) {
            for (std::unique_ptr<Item>& value : tree->takeChildren())
                m_steps.emplace_back(existing, std::move(value));
        } else {
            addList(m_tag, std::move(tree));
        }
        return;
    }
    // A root or an unknown element: there is no place for it.
}

int PastePlan::nextRow(Item* parent)
{
    auto it = m_cursor.find(parent);
    if (it == m_cursor.end()) {
        int start = parent->childCount();
        if (parent == m_target->parent())
            start = m_targetRow + 1;
        else if (parent == m_root && m_rootRow >= 0)
            start = m_rootRow + 1;
        it = m_cursor.insert(parent, start);
    }
    return it.value()++;
}

Item* PastePlan::pendingList(const Item* tag, ItemType type) const
{
    return m_lists.value({tag, int(type)});
}

void PastePlan::addList(Item* tag, std::unique_ptr<Item> list)
{
    m_lists.insert({tag, int(list->data().type)}, list.get());
    m_steps.emplace_back(tag, std::move(list));
}

void PastePlan::insert(const Insert& insert)
{
    std::vector<std::unique_ptr<Item>> block;
    Item* blockParent = nullptr;
    int blockRow = 0;
    const auto flush = [&] {
        if (!block.empty())
            insert(blockParent, blockRow, std::move(block));
        block.clear();
    };
    for (auto& step : m_steps) {
        Item* parent = step.first;
        if (isContainerType(step.second->data().type) && parent->data().type == ItemType::Tag) {
            flush();
            // Bits first, Enums last, whatever else this paste adds.
            const int row = step.second->data().type == ItemType::Bits ? 0 : parent->childCount();
            std::vector<std::unique_ptr<Item>> list;
            list.push_back(std::move(step.second));
            insert(parent, row, std::move(list));
            continue;
        }
        const int row = qBound(0, nextRow(parent), parent->childCount() + int(block.size()));
        if (block.empty() || parent != blockParent || row != blockRow + int(block.size())) {
            flush();
            blockParent = parent;
            blockRow = qBound(0, row, parent->childCount());
        }
        block.push_back(std::move(step.second));
    }
    flush();
    m_steps.clear();
}

} // namespace QRV16
