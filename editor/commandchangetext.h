// SPDX-License-Identifier: MIT
#pragma once

#include "editor/command.h"

#include <QString>

namespace QRV16 {

// Sets, changes or removes the name or the comment of an item.
class CommandChangeText : public Command
{
public:
    enum Field { Name, Comment };

    CommandChangeText(Field field, const QString& text, Item* item, EditorModel* model,
                      const QModelIndex& index, QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    QString& field() const;

    Field m_field;
    QString m_old;
    QString m_new;
};

} // namespace QRV16
