// SPDX-License-Identifier: MIT
#include "editor/commandchange.h"

#include "editor/editormodel.h"

#include <QCoreApplication>

namespace QRV16 {

CommandChange::CommandChange(const ItemData& data, Item* item, EditorModel* model,
                             const QModelIndex& index, QUndoCommand* parent)
    : Command(item, model, index, parent), m_old(item->data()), m_new(data)
{
    setText(QCoreApplication::translate("QRV16::Command", "Change item"));
}

void CommandChange::assign(const ItemData& data)
{
    ItemData& d = m_item->data();
    d.id = data.id;
    d.name = data.name;
    d.comment = data.comment;
    d.display = data.display;
    d.hasId = data.hasId;
    d.secure = data.secure;
    m_model->cmdItemChanged(m_item);
}

void CommandChange::redo()
{
    assign(m_new);
}

void CommandChange::undo()
{
    assign(m_old);
    undone(m_item);
}

} // namespace QRV16
