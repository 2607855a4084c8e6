// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"

#include <memory>
#include <vector>

namespace QRV16 {

// Inserts items (each with its subtree) at consecutive rows of a parent, in
// one step of the model however many there are: a paste of thousands of
// tags is one insertion, not thousands. The command owns the items while
// they are not in the tree.
class CommandNew : public Command
{
public:
    CommandNew(Item* item, int row, Item* parent, EditorModel* model, const QModelIndex& index,
               QUndoCommand* parent_ = nullptr);
    CommandNew(std::vector<std::unique_ptr<Item>> items, int row, Item* parent, EditorModel* model,
               const QModelIndex& index, QUndoCommand* parent_ = nullptr);
    ~CommandNew() override;
    void redo() override;
    void undo() override;

    Item* parentItem() const { return m_parent; }
    int row() const { return m_row; }

private:
    std::vector<std::unique_ptr<Item>> m_owned; // empty while in the tree
    int m_count;
    Item* m_parent; // not owned
    int m_row;
};

} // namespace QRV16
