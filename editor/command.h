// SPDX-License-Identifier: MIT
#pragma once

#include <QPersistentModelIndex>
#include <QUndoCommand>

namespace QRV16 {

class EditorModel;
class Item;

// Base of the editor's undoable changes: the item a change works on, the
// model whose change primitives apply it, and where in the view it was made.
class Command : public QUndoCommand
{
public:
    Command(Item* item, EditorModel* model, const QModelIndex& index, QUndoCommand* parent = nullptr);

    Item* item() const { return m_item; }
    EditorModel* model() const { return m_model; }
    QModelIndex index() const { return m_index; }

protected:
    // Tells the window which row an undo changed: the item's row when it is
    // in the tree, else where the change was made.
    void undone(const Item* changed);

    Item* m_item;          // not owned
    EditorModel* m_model;  // not owned
    QPersistentModelIndex m_index;
};

} // namespace QRV16
