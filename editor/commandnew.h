#pragma once

#include "editor/command.h"

#include <memory>

namespace QRV16 {

// Inserts an item (with its subtree) at a row of a parent. The command owns
// the item while it is not in the tree.
class CommandNew : public Command
{
public:
    CommandNew(Item* item, int row, Item* parent, EditorModel* model, const QModelIndex& index,
               QUndoCommand* parent_ = nullptr);
    ~CommandNew() override;

    void redo() override;
    void undo() override;

    Item* parentItem() const { return m_parent; }
    int row() const { return m_row; }

private:
    std::unique_ptr<Item> m_owned;
    Item* m_parent; // not owned
    int m_row;
};

} // namespace QRV16
