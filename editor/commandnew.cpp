// SPDX-License-Identifier: MIT
#include "editor/commandnew.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

namespace {

std::vector<std::unique_ptr<Item>> one(Item* item)
{
    std::vector<std::unique_ptr<Item>> items;
    items.emplace_back(item);
    return items;
}

} // namespace

CommandNew::CommandNew(Item* item, int row, Item* parent, EditorModel* model,
                       const QModelIndex& index, QUndoCommand* parent_)
    : CommandNew(one(item), row, parent, model, index, parent_)
{
}

CommandNew::CommandNew(std::vector<std::unique_ptr<Item>> items, int row, Item* parent,
                       EditorModel* model, const QModelIndex& index, QUndoCommand* parent_)
    : Command(items.front().get(), model, index, parent_), m_owned(std::move(items)),
      m_count(int(m_owned.size())), m_parent(parent), m_row(row)
{
    const char* text = QT_TRANSLATE_NOOP("QRV16::Command", "Insert item");
    switch (m_item->data().type) {
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
    if (!m_owned.empty())
        m_model->cmdInsertRows(m_parent, std::move(m_owned), m_row);
    m_owned.clear();
}

void CommandNew::undo()
{
    m_owned = m_model->cmdTakeRows(m_parent, m_row, m_count);
    // What now stands where the items were, else their parent.
    const int count = m_parent->childCount();
    const Item* at = count > 0 ? m_parent->child(qMin(m_row, count - 1)) : m_parent;
    m_model->cmdUndone(m_model->item2index(at));
}

} // namespace QRV16
