// SPDX-License-Identifier: MIT
#include "editor/commanddelete.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

CommandDelete::CommandDelete(int row, Item* parent, EditorModel* model, const QModelIndex& index,
                             QUndoCommand* parent_)
    : Command(parent->child(row), model, index, parent_), m_parent(parent), m_row(row)
{
    setMode(Remove);
}

CommandDelete::~CommandDelete() = default;

void CommandDelete::setMode(Mode mode)
{
    m_mode = mode;
    const ItemType type = m_item ? m_item->data().type : ItemType::Invalid;
    const char* text;
    switch (type) {
    case ItemType::Tag:
        text = mode == Cut ? QT_TRANSLATE_NOOP("QRV16::Command", "Cut tag")
                           : QT_TRANSLATE_NOOP("QRV16::Command", "Remove tag");
        break;
    case ItemType::Enum:
        text = mode == Cut ? QT_TRANSLATE_NOOP("QRV16::Command", "Cut enum")
                           : QT_TRANSLATE_NOOP("QRV16::Command", "Remove enum");
        break;
    case ItemType::Bit:
        text = mode == Cut ? QT_TRANSLATE_NOOP("QRV16::Command", "Cut bit")
                           : QT_TRANSLATE_NOOP("QRV16::Command", "Remove bit");
        break;
    default:
        text = mode == Cut ? QT_TRANSLATE_NOOP("QRV16::Command", "Cut item")
                           : QT_TRANSLATE_NOOP("QRV16::Command", "Remove item");
    }
    setText(QCoreApplication::translate("QRV16::Command", text));
}

void CommandDelete::redo()
{
    m_owned.reset(m_model->cmdTakeRow(m_parent, m_row));
}

void CommandDelete::undo()
{
    if (!m_owned)
        return;
    Item* item = m_owned.release();
    m_model->cmdInsertRow(m_parent, item, m_row);
    undone(item);
}

} // namespace QRV16
