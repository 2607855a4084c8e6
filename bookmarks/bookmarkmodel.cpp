// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkmodel.h"

#include "bookmarks/bookmarklist.h"

#include <QAction>
#include <QColor>
#include <QCoreApplication>
#include <QMimeData>

const QString BookmarkModel::MimeType = QStringLiteral("x-bookmark-move");

namespace {

QString separatorText()
{
    return QString(12, QChar(0x2014));
}

// The payload names the process and the list, so that a row number is never
// applied to another list.
QByteArray dragPayload(const BookmarkList* list, int row)
{
    return QByteArray::number(QCoreApplication::applicationPid()) + ' ' +
           QByteArray::number(quintptr(list)) + ' ' + QByteArray::number(row);
}

} // namespace

BookmarkModel::BookmarkModel(BookmarkList* list, QObject* parent) : QAbstractListModel(parent)
{
    setBookmarks(list);
}

void BookmarkModel::setBookmarks(BookmarkList* list)
{
    if (list == m_list)
        return;
    beginResetModel();
    if (m_list)
        disconnect(m_list, nullptr, this, nullptr);
    m_list = list;
    if (m_list) {
        connect(m_list, &BookmarkList::actionAboutToBeInserted, this,
                [this](int row) { beginInsertRows(QModelIndex(), row, row); });
        connect(m_list, &BookmarkList::actionInserted, this, [this] { endInsertRows(); });
        connect(m_list, &BookmarkList::actionAboutToBeRemoved, this,
                [this](int row) { beginRemoveRows(QModelIndex(), row, row); });
        connect(m_list, &BookmarkList::actionRemoved, this, [this] { endRemoveRows(); });
        connect(m_list, &BookmarkList::actionAboutToBeMoved, this, [this](int from, int to) {
            beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
        });
        connect(m_list, &BookmarkList::actionMoved, this, [this] { endMoveRows(); });
        connect(m_list, &BookmarkList::aboutToBeCleared, this, [this] { beginResetModel(); });
        connect(m_list, &BookmarkList::cleared, this, [this] { endResetModel(); });
        connect(m_list, &BookmarkList::actionChanged, this, [this](int row) {
            const QModelIndex i = index(row);
            Q_EMIT dataChanged(i, i);
        });
        connect(m_list, &QObject::destroyed, this, &BookmarkModel::onListDestroyed);
    }
    endResetModel();
}

void BookmarkModel::onListDestroyed()
{
    beginResetModel();
    m_list = nullptr;
    endResetModel();
}

int BookmarkModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !m_list ? 0 : m_list->count();
}

QVariant BookmarkModel::data(const QModelIndex& index, int role) const
{
    const QAction* action = index2action(index);
    if (!action)
        return QVariant();
    const bool separator = action->isSeparator();
    switch (role) {
    case Qt::DisplayRole: {
        if (separator)
            return separatorText();
        // Without '&' mnemonics, as a toolbar shows it.
        const QString text = action->iconText();
        return text.isEmpty() ? BookmarkList::message(action).simplified() : text;
    }
    case Qt::EditRole:
        return action->text();
    case Qt::ToolTipRole: {
        if (separator)
            return QVariant();
        const QString tip = BookmarkList::toolTip(action);
        const QString message = BookmarkList::message(action);
        const QString shortcut = action->shortcut().toString(QKeySequence::NativeText);
        QString html = QStringLiteral("<qt>");
        if (!tip.isEmpty())
            html += QStringLiteral("<p>") + tip.toHtmlEscaped() + QStringLiteral("</p>");
        if (!message.isEmpty())
            html +=
                QStringLiteral("<p><tt>") + message.toHtmlEscaped() + QStringLiteral("</tt></p>");
        if (!shortcut.isEmpty())
            html += QStringLiteral("<p>") + shortcut.toHtmlEscaped() + QStringLiteral("</p>");
        return html == QLatin1String("<qt>") ? QVariant() : QVariant(html);
    }
    case Qt::DecorationRole:
        return action->icon().isNull() ? QVariant() : QVariant(action->icon());
    case Qt::TextAlignmentRole:
        return separator ? QVariant(int(Qt::AlignCenter)) : QVariant();
    case Qt::ForegroundRole:
        return separator ? QVariant(QColor(Qt::gray)) : QVariant();
    case MessageRole:
        return BookmarkList::message(action);
    case SeparatorRole:
        return separator;
    default:
        return QVariant();
    }
}

Qt::ItemFlags BookmarkModel::flags(const QModelIndex& index) const
{
    // Drops land between rows, never on one.
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled |
           Qt::ItemNeverHasChildren;
}

Qt::DropActions BookmarkModel::supportedDragActions() const
{
    return Qt::MoveAction;
}

Qt::DropActions BookmarkModel::supportedDropActions() const
{
    return Qt::MoveAction;
}

QStringList BookmarkModel::mimeTypes() const
{
    return {MimeType};
}

QMimeData* BookmarkModel::mimeData(const QModelIndexList& indexes) const
{
    if (indexes.isEmpty() || !index2action(indexes.first()))
        return nullptr;
    auto* data = new QMimeData;
    data->setData(MimeType, dragPayload(m_list, indexes.first().row()));
    return data;
}

int BookmarkModel::draggedRow(const QMimeData* data) const
{
    if (!m_list || !data || !data->hasFormat(MimeType))
        return -1;
    const QList<QByteArray> parts = data->data(MimeType).split(' ');
    if (parts.size() != 3 ||
        parts.at(0) != QByteArray::number(QCoreApplication::applicationPid()) ||
        parts.at(1) != QByteArray::number(quintptr(m_list)))
        return -1;
    bool ok = false;
    const int row = parts.at(2).toInt(&ok);
    return ok && row >= 0 && row < m_list->count() ? row : -1;
}

bool BookmarkModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int, int,
                                    const QModelIndex&) const
{
    return action == Qt::MoveAction && draggedRow(data) >= 0;
}

bool BookmarkModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                 const QModelIndex& parent)
{
    if (action == Qt::IgnoreAction)
        return true;
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const int from = draggedRow(data);
    // The row the dragged one is to stand before, counted before the move.
    int before = row;
    if (parent.isValid())
        before = parent.row();
    else if (before < 0 || before > rowCount())
        before = rowCount();
    return moveRow(from, before > from ? before - 1 : before);
}

bool BookmarkModel::moveRows(const QModelIndex& sourceParent, int sourceRow, int count,
                             const QModelIndex& destinationParent, int destinationChild)
{
    if (sourceParent.isValid() || destinationParent.isValid() || count != 1 || !m_list ||
        destinationChild < 0 || destinationChild > rowCount())
        return false;
    return moveRow(sourceRow,
                   destinationChild > sourceRow ? destinationChild - 1 : destinationChild);
}

bool BookmarkModel::insertRow(int row, QAction* action)
{
    if (!m_list || !action)
        return false;
    m_list->addAction(action, row);
    return m_list->indexOf(action) >= 0;
}

bool BookmarkModel::removeRow(int row)
{
    if (!m_list || row < 0 || row >= m_list->count())
        return false;
    m_list->removeAction(row);
    return true;
}

bool BookmarkModel::moveRow(int from, int to)
{
    if (!m_list || from < 0 || from >= m_list->count() || to < 0 || to >= m_list->count() ||
        from == to)
        return false;
    m_list->moveAction(from, to);
    return true;
}

void BookmarkModel::itemChanged(int row)
{
    if (!m_list || row < 0 || row >= m_list->count())
        return;
    const QModelIndex i = index(row);
    Q_EMIT dataChanged(i, i);
}

QAction* BookmarkModel::index2action(const QModelIndex& index) const
{
    if (!m_list || !index.isValid() || index.model() != this || index.column() != 0)
        return nullptr;
    return m_list->action(index.row());
}

QModelIndex BookmarkModel::action2index(const QAction* action) const
{
    const int row = m_list ? m_list->indexOf(action) : -1;
    return row < 0 ? QModelIndex() : index(row);
}
