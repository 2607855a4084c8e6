// SPDX-License-Identifier: MIT
#include "editor/commandchangeid.h"

#include "editor/editormodel.h"
#include "qrv16/item.h"

#include <QCoreApplication>

namespace QRV16 {

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("QRV16::Command", source);
}

QString changeIdText(ItemType type, bool had, bool set)
{
    const int verb = !set ? 2 : had ? 0 : 1;
    static const char* const tag[] = {QT_TRANSLATE_NOOP("QRV16::Command", "Change tag code"),
                                      QT_TRANSLATE_NOOP("QRV16::Command", "Set tag code"),
                                      QT_TRANSLATE_NOOP("QRV16::Command", "Remove tag code")};
    static const char* const enumCode[] = {QT_TRANSLATE_NOOP("QRV16::Command", "Change enum code"),
                                           QT_TRANSLATE_NOOP("QRV16::Command", "Set enum code"),
                                           QT_TRANSLATE_NOOP("QRV16::Command", "Remove enum code")};
    static const char* const bit[] = {QT_TRANSLATE_NOOP("QRV16::Command", "Change bit number"),
                                      QT_TRANSLATE_NOOP("QRV16::Command", "Set bit number"),
                                      QT_TRANSLATE_NOOP("QRV16::Command", "Remove bit number")};
    static const char* const other[] = {QT_TRANSLATE_NOOP("QRV16::Command", "Change code"),
                                        QT_TRANSLATE_NOOP("QRV16::Command", "Set code"),
                                        QT_TRANSLATE_NOOP("QRV16::Command", "Remove code")};
    switch (type) {
    case ItemType::Tag: return text(tag[verb]);
    case ItemType::Enum: return text(enumCode[verb]);
    case ItemType::Bit: return text(bit[verb]);
    default: return text(other[verb]);
    }
}

} // namespace

CommandChangeID::CommandChangeID(quint64 id, bool set, Item* item, EditorModel* model,
                                 const QModelIndex& index, QUndoCommand* parent)
    : Command(item, model, index, parent), m_oldId(item->data().id), m_oldSet(item->data().hasId),
      m_newId(id), m_newSet(set)
{
    setText(changeIdText(item->data().type, m_oldSet, m_newSet));
}

void CommandChangeID::redo()
{
    m_item->data().id = m_newId;
    m_item->data().hasId = m_newSet;
    m_model->cmdItemChanged(m_item);
}

void CommandChangeID::undo()
{
    m_item->data().id = m_oldId;
    m_item->data().hasId = m_oldSet;
    m_model->cmdItemChanged(m_item);
    undone(m_item);
}

} // namespace QRV16
