// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"

#include <memory>

namespace QRV16 {

// Swaps the model's whole tree for another (an opened file, or an empty one
// for "New"). The command owns whichever root is not in the model.
class CommandReplaceAll : public Command
{
public:
    CommandReplaceAll(Item* root, EditorModel* model, const QModelIndex& index,
                      QUndoCommand* parent = nullptr);
    ~CommandReplaceAll() override;

    void redo() override;
    void undo() override;

private:
    void swap();

    std::unique_ptr<Item> m_other;
};

} // namespace QRV16
