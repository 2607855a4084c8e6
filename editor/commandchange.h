// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"
#include "qrv16/item.h"

namespace QRV16 {

// Replaces an item's whole record (all but its type), as the item dialog does.
class CommandChange : public Command
{
public:
    CommandChange(const ItemData& data, Item* item, EditorModel* model, const QModelIndex& index,
                  QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    void assign(const ItemData& data);

    ItemData m_old;
    ItemData m_new;
};

} // namespace QRV16
