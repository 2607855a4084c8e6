// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"

namespace QRV16 {

// Sets, changes or removes the id of an item (tag code, enum value, bit number).
class CommandChangeID : public Command
{
public:
    CommandChangeID(quint64 id, bool set, Item* item, EditorModel* model, const QModelIndex& index,
                    QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    quint64 m_oldId;
    bool m_oldSet;
    quint64 m_newId;
    bool m_newSet;
};

} // namespace QRV16
