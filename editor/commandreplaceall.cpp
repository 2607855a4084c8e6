// SPDX-License-Identifier: MIT
#include "editor/commandreplaceall.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

namespace {

Item* emptyRoot()
{
    ItemData data;
    data.type = ItemType::Root;
    return new Item(data);
}

} // namespace

CommandReplaceAll::CommandReplaceAll(Item* root, EditorModel* model, const QModelIndex& index,
                                     QUndoCommand* parent)
    : Command(root ? root : emptyRoot(), model, index, parent)
{
    m_other.reset(m_item);
    setText(root ? QCoreApplication::translate("QRV16::Command", "Replace data")
                 : QCoreApplication::translate("QRV16::Command", "New"));
}

CommandReplaceAll::~CommandReplaceAll() = default;

void CommandReplaceAll::swap()
{
    m_other.reset(m_model->cmdReplaceTags(m_other.release()));
}

void CommandReplaceAll::redo()
{
    swap();
}

void CommandReplaceAll::undo()
{
    swap();
    m_model->cmdUndone(QModelIndex());
}

} // namespace QRV16
