#include "editor/commandnew.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

CommandNew::CommandNew(Item* item, int row, Item* parent, EditorModel* model, const QModelIndex& index,
                       QUndoCommand* parent_)
    : Command(item, model, index, parent_), m_owned(item), m_parent(parent), m_row(row)
{
    const char* text = QT_TRANSLATE_NOOP("QRV16::Command", "Insert item");
    switch (item->data().type) {
    case ItemType::Tag: text = QT_TRANSLATE_NOOP("QRV16::Command", "Insert tag"); break;
    case ItemType::Enum: text = QT_TRANSLATE_NOOP("QRV16::Command", "Insert enum"); break;
    case ItemType::Bit: text = QT_TRANSLATE_NOOP("QRV16::Command", "Insert bit"); break;
    default: break;
    }
    setText(QCoreApplication::translate("QRV16::Command", text));
}

CommandNew::~CommandNew() = default;

void CommandNew::redo()
{
    if (m_owned)
        m_model->cmdInsertRow(m_parent, m_owned.release(), m_row);
}

void CommandNew::undo()
{
    m_owned.reset(m_model->cmdTakeRow(m_parent, m_row));
    // What now stands where the item was, else its parent.
    const int count = m_parent->childCount();
    const Item* at = count > 0 ? m_parent->child(qMin(m_row, count - 1)) : m_parent;
    m_model->cmdUndone(m_model->item2index(at));
}

} // namespace QRV16
