// SPDX-License-Identifier: MIT
#include "editor/command.h"

#include "editor/editormodel.h"

namespace QRV16 {

Command::Command(Item* item, EditorModel* model, const QModelIndex& index, QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_model(model), m_index(index)
{
}

void Command::undone(const Item* changed)
{
    const QModelIndex at = changed ? m_model->item2index(changed) : QModelIndex(m_index);
    m_model->cmdUndone(at);
}

} // namespace QRV16
