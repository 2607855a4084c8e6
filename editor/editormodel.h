// SPDX-License-Identifier: MIT
#pragma once

#include "editor/collisiontable.h"
#include "editor/editoritemlook.h"
#include "qrv16/item.h"

#include <QAbstractItemModel>
#include <QFont>

#include <memory>
#include <vector>

class QMimeData;
class QUndoCommand;
class QUndoStack;

namespace QRV16 {

// One definition tree as a three-column model (name, code, comment) for the
// editor's tree view. Edits never change the tree directly: they become
// undo commands on the stack, whose redo and undo call the cmd* primitives.
class EditorModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Column { NameColumn = 0, IdColumn = 1, CommentColumn = 2 };
    // The item's CollisionFlag set, as an int.
    enum { CollisionRole = Qt::UserRole + 1 };

    explicit EditorModel(QObject* parent = nullptr);
    ~EditorModel() override;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

    Item* index2item(const QModelIndex& index) const;
    QModelIndex item2index(const Item* item, int column = 0) const;
    int findRow(const Item* item) const;
    int findCollision(const Item* item) const;
    const Item* root() const { return m_root.get(); }

    void setTags(Item* root);
    void undoableSetTags(Item* root, const QModelIndex& index = QModelIndex());
    void undoableClear(const QModelIndex& index = QModelIndex());
    void clear();
    void setUndoStack(QUndoStack* stack);
    QUndoStack* undoStack() const { return m_undo; }
    void setFixedFont(const QFont& font);
    void setCommentFont(const QFont& font);
    QFont fixedFont() const { return m_look.fixedFont(); }
    QFont commentFont() const { return m_look.commentFont(); }

    bool setItemData(const QModelIndex& index, const ItemData& data);
    bool insertRow(int row, const QModelIndex& parent = QModelIndex());
    bool insertRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;
    QModelIndex insertList(const QModelIndex& index, ItemType type);
    bool insertRow(int row, const QModelIndex& parent, Item* tree);
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;
    bool cut(const QModelIndex& index);

    QMimeData* copy(const QModelIndex& index) const;
    bool paste(const QModelIndex& index, const QMimeData* data);
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

    // Change primitives, for the commands only.
    void cmdInsertRow(Item* parent, Item* item, int row);
    Item* cmdTakeRow(Item* parent, int row);
    // Many rows in one insertion or removal, each in O(rows + rows below).
    void cmdInsertRows(Item* parent, std::vector<std::unique_ptr<Item>> items, int row);
    std::vector<std::unique_ptr<Item>> cmdTakeRows(Item* parent, int row, int count);
    void cmdItemChanged(Item* item);
    Item* cmdReplaceTags(Item* root);
    void cmdUndone(const QModelIndex& index);

Q_SIGNALS:
    void undone(const QModelIndex& index);

private:
    bool isEditableRow(const Item* item) const;
    void push(QUndoCommand* command);
    // Tells the views of the rows of `parent` whose flags changed.
    void refreshCollisions(const Item* parent);
    void notifySubtree(const Item* item);
    // Inserts the trees at `at`; with a valid `moved`, that row goes in the
    // same undo step, so that a drag inside the tree undoes as one move.
    bool insertTrees(const QModelIndex& at, std::unique_ptr<Item> tree,
                     const QModelIndex& moved = QModelIndex());
    bool pasteData(const QModelIndex& index, const QMimeData* data, const QModelIndex& moved);
    QModelIndex dragSource(const QMimeData* data) const;

    std::unique_ptr<Item> m_root;
    QUndoStack* m_undo = nullptr; // not owned
    // Rows need no cache: every item keeps its own.
    mutable CollisionTable m_collisions;
    EditorItemLook m_look;
};

} // namespace QRV16
