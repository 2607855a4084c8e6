// SPDX-License-Identifier: MIT
#include "editor/commandchangename.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

CommandChangeName::CommandChangeName(const QString& name, Item* item, EditorModel* model,
                                     const QModelIndex& index, QUndoCommand* parent)
    : Command(item, model, index, parent), m_old(item->data().name), m_new(name)
{
    const char* text = m_old.isEmpty()   ? QT_TRANSLATE_NOOP("QRV16::Command", "Set name")
                       : m_new.isEmpty() ? QT_TRANSLATE_NOOP("QRV16::Command", "Remove name")
                                         : QT_TRANSLATE_NOOP("QRV16::Command", "Change name");
    setText(QCoreApplication::translate("QRV16::Command", text));
}

void CommandChangeName::redo()
{
    m_item->data().name = m_new;
    m_model->cmdItemChanged(m_item);
}

void CommandChangeName::undo()
{
    m_item->data().name = m_old;
    m_model->cmdItemChanged(m_item);
    undone(m_item);
}

} // namespace QRV16
