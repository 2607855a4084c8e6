// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/item.h"

#include <QHash>
#include <QPair>

#include <functional>
#include <memory>
#include <vector>

namespace QRV16 {

// Where pasted definitions go in a tree. Each pasted tree is cut down to
// what the file format allows and planned into its place: tags into the
// file, values and bits into the tag's list (one the paste itself makes
// where the tag has none), blank lines and comments beside the row pasted
// at. What fits nowhere is dropped. The plan never changes the tree.
class PastePlan
{
public:
    // Puts `items` in the tree at `row` of `parent` before it returns: the
    // rows of later items count with them.
    using Insert =
        std::function<void(Item* parent, int row, std::vector<std::unique_ptr<Item>> items)>;

    // A paste at `target`, a row of the tree under `root` or `root` itself.
    PastePlan(Item* root, Item* target);

    // Plans the children of `trees`.
    void add(std::unique_ptr<Item> trees);
    bool isEmpty() const { return m_steps.empty(); }
    // How many items or lists go in; more than one makes an undo macro.
    int size() const { return int(m_steps.size()); }
    // Hands the planned items over in order: items bound for consecutive
    // rows of one parent as one block, a list made for a tag alone.
    void insert(const Insert& insert);

private:
    void addTree(std::unique_ptr<Item> tree);
    // Pasted items follow the row pasted at, in their order; in any other
    // list they go to the end.
    int nextRow(Item* parent);
    // A list of `type` that this paste is about to add to `tag`; looked up,
    // not searched for, as a paste can hold thousands of steps.
    Item* pendingList(const Item* tag, ItemType type) const;
    void addList(Item* tag, std::unique_ptr<Item> list);

    Item* m_root;       // not owned
    Item* m_target;     // not owned
    Item* m_tag;        // the tag at or above the target, if any; not owned
    int m_rootRow = -1; // the top-level row pasted at or in
    int m_targetRow = -1;
    QHash<const Item*, int> m_cursor; // next row per parent
    QHash<QPair<const Item*, int>, Item*> m_lists;
    std::vector<std::pair<Item*, std::unique_ptr<Item>>> m_steps; // parent, item
};

} // namespace QRV16
