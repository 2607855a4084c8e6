// SPDX-License-Identifier: MIT
#include "editor/commandchangecomment.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

CommandChangeComment::CommandChangeComment(const QString& comment, Item* item, EditorModel* model,
                                           const QModelIndex& index, QUndoCommand* parent)
    : Command(item, model, index, parent), m_old(item->data().comment), m_new(comment)
{
    const char* text = m_old.isEmpty()   ? QT_TRANSLATE_NOOP("QRV16::Command", "Set comment")
                       : m_new.isEmpty() ? QT_TRANSLATE_NOOP("QRV16::Command", "Remove comment")
                                         : QT_TRANSLATE_NOOP("QRV16::Command", "Change comment");
    setText(QCoreApplication::translate("QRV16::Command", text));
}

void CommandChangeComment::redo()
{
    m_item->data().comment = m_new;
    m_model->cmdItemChanged(m_item);
}

void CommandChangeComment::undo()
{
    m_item->data().comment = m_old;
    m_model->cmdItemChanged(m_item);
    undone(m_item);
}

} // namespace QRV16
