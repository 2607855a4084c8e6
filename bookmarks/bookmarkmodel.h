// SPDX-License-Identifier: MIT
#pragma once

#include <QAbstractListModel>

class BookmarkList;
class QAction;

// One row per bookmark of a BookmarkList, kept in step with the list however
// it is changed. Rows move by drag and drop inside the list; the list itself
// is never asked to remove rows by a view.
class BookmarkModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role {
        MessageRole = Qt::UserRole, // the message text
        SeparatorRole,              // true for a separator
    };

    explicit BookmarkModel(BookmarkList* list = nullptr, QObject* parent = nullptr);

    // Not owned; may be null.
    void setBookmarks(BookmarkList* list);
    BookmarkList* bookmarks() const { return m_list; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;
    // One row at a time, as a view moves them inside itself.
    bool moveRows(const QModelIndex& sourceParent, int sourceRow, int count,
                  const QModelIndex& destinationParent, int destinationChild) override;

    // A row out of range appends. Without a list it fails, and the action
    // stays the caller's.
    bool insertRow(int row, QAction* action);
    bool removeRow(int row);
    // Afterwards the row stands at `to`.
    bool moveRow(int from, int to);
    // Repaints a row whose action was changed behind the list's back.
    void itemChanged(int row);

    QAction* index2action(const QModelIndex& index) const;
    QModelIndex action2index(const QAction* action) const;

    static const QString MimeType;

private:
    // The dragged row, when the payload comes from this process and list.
    int draggedRow(const QMimeData* data) const;
    void onListDestroyed();

    BookmarkList* m_list = nullptr; // Not owned.
};
