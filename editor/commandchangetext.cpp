// SPDX-License-Identifier: MIT
#include "editor/commandchangetext.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

namespace {

// By field, then: set where there was none, removed, changed.
const char* const undoTexts[2][3] = {
    {QT_TRANSLATE_NOOP("QRV16::Command", "Set name"),
     QT_TRANSLATE_NOOP("QRV16::Command", "Remove name"),
     QT_TRANSLATE_NOOP("QRV16::Command", "Change name")},
    {QT_TRANSLATE_NOOP("QRV16::Command", "Set comment"),
     QT_TRANSLATE_NOOP("QRV16::Command", "Remove comment"),
     QT_TRANSLATE_NOOP("QRV16::Command", "Change comment")},
};

} // namespace

CommandChangeText::CommandChangeText(Field field, const QString& text, Item* item,
                                     EditorModel* model, const QModelIndex& index,
                                     QUndoCommand* parent)
    : Command(item, model, index, parent), m_field(field), m_old(this->field()), m_new(text)
{
    const int change = m_old.isEmpty() ? 0 : m_new.isEmpty() ? 1 : 2;
    setText(QCoreApplication::translate("QRV16::Command", undoTexts[m_field][change]));
}

QString& CommandChangeText::field() const
{
    return m_field == Name ? m_item->data().name : m_item->data().comment;
}

void CommandChangeText::redo()
{
    field() = m_new;
    m_model->cmdItemChanged(m_item);
}

void CommandChangeText::undo()
{
    field() = m_old;
    m_model->cmdItemChanged(m_item);
    undone(m_item);
}

} // namespace QRV16
