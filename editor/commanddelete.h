// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"

#include <memory>

namespace QRV16 {

// Removes the item at a row of a parent, by delete or by cut; the command owns
// the removed item while it is out of the tree.
class CommandDelete : public Command
{
public:
    enum Mode { Cut = 0, Remove = 1 };

    CommandDelete(int row, Item* parent, EditorModel* model, const QModelIndex& index,
                  QUndoCommand* parent_ = nullptr);
    ~CommandDelete() override;

    void setMode(Mode mode);
    Mode mode() const { return m_mode; }

    void redo() override;
    void undo() override;

private:
    std::unique_ptr<Item> m_owned;
    Item* m_parent; // not owned
    int m_row;
    Mode m_mode = Remove;
};

} // namespace QRV16
