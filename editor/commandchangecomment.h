// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"

#include <QString>

namespace QRV16 {

// Sets, changes or removes the comment of an item.
class CommandChangeComment : public Command
{
public:
    CommandChangeComment(const QString& comment, Item* item, EditorModel* model,
                         const QModelIndex& index, QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    QString m_old;
    QString m_new;
};

} // namespace QRV16
