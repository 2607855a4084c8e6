// SPDX-License-Identifier: MIT
#include "editor/editormodel.h"

#include "editor/commandchange.h"
#include "editor/commandchangeid.h"
#include "editor/commandchangetext.h"
#include "editor/commanddelete.h"
#include "editor/commandnew.h"
#include "editor/commandreplaceall.h"
#include "editor/numbervalidator.h"
#include "editor/pasteplan.h"
#include "qrv16/numbers.h"
#include "qrv16/parser.h"
#include "writers/writerxml.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QDataStream>
#include <QMimeData>
#include <QUndoStack>

namespace QRV16 {

namespace {

const QString xmlFormat = QStringLiteral("text/xml");
const QString textFormat = QStringLiteral("text/plain");
// Which model a drag started in, and the row path of the dragged item.
const QString sourceFormat = QStringLiteral("application/x-korv-definition-source");

Item* emptyRoot()
{
    ItemData data;
    data.type = ItemType::Root;
    return new Item(data);
}

QString moveText(const Item* item)
{
    switch (item ? item->data().type : ItemType::Invalid) {
    case ItemType::Tag: return EditorModel::tr("Move tag");
    case ItemType::Enum: return EditorModel::tr("Move enum");
    case ItemType::Bit: return EditorModel::tr("Move bit");
    default: return EditorModel::tr("Move item");
    }
}

} // namespace

EditorModel::EditorModel(QObject* parent) : QAbstractItemModel(parent), m_root(emptyRoot())
{
}

EditorModel::~EditorModel() = default;

Item* EditorModel::index2item(const QModelIndex& index) const
{
    if (!index.isValid())
        return m_root.get();
    return static_cast<Item*>(index.internalPointer());
}

QModelIndex EditorModel::item2index(const Item* item, int column) const
{
    if (!item || item == m_root.get() || !item->parent())
        return QModelIndex();
    return createIndex(item->row(), column, const_cast<Item*>(item));
}

int EditorModel::findRow(const Item* item) const
{
    return item ? item->row() : -1;
}

QModelIndex EditorModel::index(int row, int column, const QModelIndex& parent) const
{
    if (row < 0 || column < 0 || column >= 3 || (parent.isValid() && parent.column() != 0))
        return QModelIndex();
    Item* child = index2item(parent)->child(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex EditorModel::parent(const QModelIndex& index) const
{
    if (!index.isValid())
        return QModelIndex();
    const Item* p = index2item(index)->parent();
    return item2index(p);
}

int EditorModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() && parent.column() != 0)
        return 0;
    return index2item(parent)->childCount();
}

int EditorModel::columnCount(const QModelIndex&) const
{
    return 3;
}

bool EditorModel::hasChildren(const QModelIndex& parent) const
{
    return rowCount(parent) > 0;
}

QVariant EditorModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    switch (section) {
    case NameColumn: return tr("Name");
    case IdColumn: return tr("Tag");
    case CommentColumn: return tr("Comment");
    default: return QVariant();
    }
}

bool EditorModel::isEditableRow(const Item* item) const
{
    return isDefinitionType(item->data().type) && !item->isComment();
}

Qt::ItemFlags EditorModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    const Item* item = index2item(index);
    if (isDefinitionType(item->data().type)) {
        Qt::ItemFlags f = Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled |
                          Qt::ItemIsEnabled;
        // A blank row stays editable: a newly inserted item is one until it
        // gets a name or a code.
        if (!item->isComment())
            f |= Qt::ItemIsEditable;
        return f;
    }
    if (isContainerType(item->data().type))
        return Qt::ItemIsSelectable | Qt::ItemIsDropEnabled | Qt::ItemIsEnabled;
    return Qt::NoItemFlags;
}

QVariant EditorModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return QVariant();
    return m_look.data(index2item(index), index.column(), role, m_collisions);
}

int EditorModel::findCollision(const Item* item) const
{
    return m_collisions.flags(item);
}

void EditorModel::refreshCollisions(const Item* parent)
{
    const QList<int> changed = m_collisions.refresh(parent, true);
    if (changed.isEmpty())
        return;
    // A tree view answers each changed row, or each row of a changed range,
    // with a walk over its rows: past a few rows (a paste that makes
    // thousands of doubles) one relayout is far cheaper.
    if (changed.size() > 16) {
        const QList<QPersistentModelIndex> parents{item2index(parent)};
        Q_EMIT layoutAboutToBeChanged(parents);
        Q_EMIT layoutChanged(parents);
        return;
    }
    for (int row : changed)
        Q_EMIT dataChanged(item2index(parent->child(row), 0), item2index(parent->child(row), 2));
}

void EditorModel::notifySubtree(const Item* item)
{
    QList<const Item*> stack{item};
    while (!stack.isEmpty()) {
        const Item* p = stack.takeLast();
        const int count = p->childCount();
        if (count == 0)
            continue;
        const QModelIndex parent = item2index(p);
        Q_EMIT dataChanged(index(0, 0, parent), index(count - 1, 2, parent));
        for (int i = 0; i < count; ++i)
            stack.append(p->child(i));
    }
}

void EditorModel::push(QUndoCommand* command)
{
    if (m_undo) {
        m_undo->push(command);
    } else {
        command->redo();
        delete command;
    }
}

bool EditorModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !index.isValid())
        return false;
    Item* item = index2item(index);
    if (!isEditableRow(item))
        return false;
    const ItemData& d = item->data();
    const QString text = value.toString();
    switch (index.column()) {
    case IdColumn: {
        if (text.isEmpty()) {
            if (d.hasId)
                push(new CommandChangeID(0, false, item, this, index));
            return true;
        }
        bool ok = false;
        quint64 id = 0;
        if (d.type == ItemType::Enum) {
            // One signed 64-bit quantity, as the file reader and the item
            // dialog store it: "-1" is -1, not 0xFFFFFFFF.
            qint64 value = 0;
            ok = NumberValidator::readNumber(text, &value) == NumberValidator::Number &&
                 value >= NumberValidator::lowerBound(int(d.type)) &&
                 value <= NumberValidator::upperBound(int(d.type));
            id = quint64(value);
        } else {
            id = unsigned(Numbers::to32(text, &ok));
        }
        if (!ok || (d.type == ItemType::Tag && id >= 0x10000))
            return false;
        if (d.hasId && d.id == id)
            return true;
        push(new CommandChangeID(id, true, item, this, index));
        return true;
    }
    case CommentColumn:
        if (text == d.comment)
            return true;
        push(new CommandChangeText(CommandChangeText::Comment, text, item, this, index));
        return true;
    case NameColumn:
        if (text == d.name)
            return true;
        // The file reader refuses such a name, which would make the saved
        // file unreadable.
        if (!text.isEmpty() && !isValidIdentifier(text))
            return false;
        push(new CommandChangeText(CommandChangeText::Name, text, item, this, index));
        return true;
    default: return false;
    }
}

bool EditorModel::setItemData(const QModelIndex& index, const ItemData& data)
{
    Item* item = index.isValid() ? index2item(index) : nullptr;
    if (!item || !isDefinitionType(item->data().type))
        return false;
    if (!data.name.isEmpty() && !isValidIdentifier(data.name))
        return false;
    if (item->data().type == ItemType::Tag && data.hasId && data.id > 0xFFFF)
        return false;
    ItemData merged = data;
    merged.type = item->data().type;
    if (merged == item->data())
        return true;
    push(new CommandChange(merged, item, this, index));
    return true;
}

void EditorModel::setTags(Item* root)
{
    // Commands point into the tree they were made on.
    if (m_undo)
        m_undo->clear();
    beginResetModel();
    m_root.reset(root ? root : emptyRoot());
    m_collisions.clear();
    endResetModel();
}

void EditorModel::undoableSetTags(Item* root, const QModelIndex& index)
{
    push(new CommandReplaceAll(root ? root : emptyRoot(), this, index));
}

void EditorModel::undoableClear(const QModelIndex& index)
{
    push(new CommandReplaceAll(nullptr, this, index));
}

void EditorModel::clear()
{
    setTags(nullptr);
}

void EditorModel::setUndoStack(QUndoStack* stack)
{
    m_undo = stack;
}

void EditorModel::setFixedFont(const QFont& font)
{
    m_look.setFixedFont(font);
    notifySubtree(m_root.get());
}

void EditorModel::setCommentFont(const QFont& font)
{
    m_look.setCommentFont(font);
    notifySubtree(m_root.get());
}

bool EditorModel::insertRow(int row, const QModelIndex& parent)
{
    return insertRows(row, 1, parent);
}

bool EditorModel::insertRows(int row, int count, const QModelIndex& parent)
{
    Item* p = index2item(parent);
    const ItemType type = listedType(p->data().type);
    if (type == ItemType::Invalid || count < 1 || row < 0 || row > p->childCount())
        return false;
    if (count > 1 && m_undo)
        m_undo->beginMacro(tr("Insert items"));
    for (int i = 0; i < count; ++i) {
        ItemData data;
        data.type = type;
        push(new CommandNew(new Item(data), row + i, p, this, parent));
    }
    if (count > 1 && m_undo)
        m_undo->endMacro();
    return true;
}

QModelIndex EditorModel::insertList(const QModelIndex& index, ItemType type)
{
    Item* tag = index.isValid() ? index2item(index) : nullptr;
    if (!tag || tag->data().type != ItemType::Tag || tag->isComment() ||
        (type != ItemType::Enums && type != ItemType::Bits))
        return QModelIndex();
    if (Item* existing = tag->findInTagByItemType(type))
        return item2index(existing);
    ItemData data;
    data.type = type;
    auto* list = new Item(data);
    // Bits come before Enums, as the reader sorts them.
    const int row = type == ItemType::Bits ? 0 : tag->childCount();
    push(new CommandNew(list, row, tag, this, index));
    return item2index(list);
}

bool EditorModel::insertRow(int row, const QModelIndex& parent, Item* tree)
{
    std::unique_ptr<Item> owned(tree);
    if (!tree)
        return false;
    const QModelIndex at = row < 0 ? parent : index(row, 0, parent);
    if (row >= 0 && !at.isValid())
        return false;
    // A root holds several trees to insert; anything else is one tree.
    if (tree->data().type != ItemType::Root) {
        std::unique_ptr<Item> root(emptyRoot());
        root->appendChild(owned.release());
        owned = std::move(root);
    }
    return insertTrees(at, std::move(owned));
}

bool EditorModel::insertTrees(const QModelIndex& at, std::unique_ptr<Item> trees, const QModelIndex& moved)
{
    PastePlan plan(m_root.get(), index2item(at));
    plan.add(std::move(trees));
    if (plan.isEmpty())
        return false;
    const QPersistentModelIndex source(moved);
    const bool macro = (plan.size() > 1 || source.isValid()) && m_undo;
    if (macro)
        m_undo->beginMacro(source.isValid() ? moveText(index2item(source)) : tr("Merge data"));
    plan.insert([this](Item* parent, int row, std::vector<std::unique_ptr<Item>> items) {
        push(new CommandNew(std::move(items), row, parent, this, item2index(parent)));
    });
    // The source row may have shifted below the inserted ones.
    if (source.isValid())
        push(new CommandDelete(source.row(), index2item(source.parent()), this, source));
    if (macro)
        m_undo->endMacro();
    return true;
}

bool EditorModel::removeRows(int row, int count, const QModelIndex& parent)
{
    Item* p = index2item(parent);
    if (row < 0 || count < 1 || row + count > p->childCount())
        return false;
    if (count > 1 && m_undo)
        m_undo->beginMacro(tr("Remove items"));
    for (int r = row + count - 1; r >= row; --r)
        push(new CommandDelete(r, p, this, index(r, 0, parent)));
    if (count > 1 && m_undo)
        m_undo->endMacro();
    return true;
}

bool EditorModel::cut(const QModelIndex& index)
{
    if (!index.isValid())
        return false;
    Item* item = index2item(index);
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        app->clipboard()->setMimeData(copy(index));
    auto* command = new CommandDelete(item->row(), item->parent(), this, index);
    command->setMode(CommandDelete::Cut);
    push(command);
    return true;
}

QMimeData* EditorModel::copy(const QModelIndex& index) const
{
    if (!index.isValid())
        return nullptr;
    // The fragment is a whole document, so the file reader reads it back.
    std::unique_ptr<Item> root(emptyRoot());
    root->appendChild(index2item(index)->clone());
    const QByteArray xml = WriterXml().encode(root.get());
    auto* mime = new QMimeData;
    mime->setData(xmlFormat, xml);
    mime->setText(QString::fromUtf8(xml));
    return mime;
}

bool EditorModel::paste(const QModelIndex& index, const QMimeData* data)
{
    return pasteData(index, data, QModelIndex());
}

bool EditorModel::pasteData(const QModelIndex& index, const QMimeData* data, const QModelIndex& moved)
{
    if (!data)
        return false;
    QList<QByteArray> candidates;
    if (data->hasFormat(xmlFormat))
        candidates << data->data(xmlFormat);
    if (data->hasText())
        candidates << data->text().toUtf8();
    for (const QByteArray& bytes : candidates) {
        Parser parser;
        if (!parser.parse(bytes))
            continue;
        std::unique_ptr<Item> root(parser.takeRoot());
        if (root && root->childCount() > 0)
            return insertTrees(index, std::move(root), moved);
    }
    return false;
}

QStringList EditorModel::mimeTypes() const
{
    return {textFormat};
}

QMimeData* EditorModel::mimeData(const QModelIndexList& indexes) const
{
    // The view hands over every column of the dragged row.
    const Item* item = nullptr;
    QModelIndex first;
    for (const QModelIndex& i : indexes) {
        const Item* it = index2item(i);
        if (!i.isValid() || (item && it != item))
            return nullptr;
        item = it;
        first = i;
    }
    if (!item)
        return nullptr;
    QMimeData* mime = copy(first.siblingAtColumn(0));
    QByteArray source;
    QDataStream out(&source, QIODevice::WriteOnly);
    out << quintptr(this);
    QList<int> path;
    for (const Item* i = item; i && i != m_root.get(); i = i->parent())
        path.prepend(i->row());
    out << path;
    mime->setData(sourceFormat, source);
    return mime;
}

// The dragged row when the drag started in this model and the row is still
// there; the path is checked row by row, never trusted.
QModelIndex EditorModel::dragSource(const QMimeData* data) const
{
    if (!data || !data->hasFormat(sourceFormat))
        return QModelIndex();
    QDataStream in(data->data(sourceFormat));
    quintptr model = 0;
    QList<int> path;
    in >> model >> path;
    if (in.status() != QDataStream::Ok || model != quintptr(this) || path.isEmpty())
        return QModelIndex();
    QModelIndex at;
    for (int row : std::as_const(path)) {
        at = index(row, 0, at);
        if (!at.isValid())
            return QModelIndex();
    }
    return at;
}

Qt::DropActions EditorModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}

Qt::DropActions EditorModel::supportedDragActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}

bool EditorModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                  const QModelIndex&) const
{
    if (action == Qt::IgnoreAction)
        return true;
    return data && row == -1 && column == -1 && (data->hasText() || data->hasFormat(xmlFormat));
}

bool EditorModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                               const QModelIndex& parent)
{
    if (action == Qt::IgnoreAction)
        return true;
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const QModelIndex source = action == Qt::MoveAction ? dragSource(data) : QModelIndex();
    if (!source.isValid())
        return paste(parent.siblingAtColumn(0), data);
    // A row moved within the tree: inserted and removed here in one undo
    // step. Dropped onto itself or into its own subtree, nothing happens.
    for (QModelIndex p = parent.siblingAtColumn(0); p.isValid(); p = p.parent()) {
        if (p == source)
            return false;
    }
    pasteData(parent.siblingAtColumn(0), data, source);
    // False keeps the view from removing the source a second time.
    return false;
}

void EditorModel::cmdInsertRow(Item* parent, Item* item, int row)
{
    std::vector<std::unique_ptr<Item>> items;
    items.emplace_back(item);
    cmdInsertRows(parent, std::move(items), row);
}

Item* EditorModel::cmdTakeRow(Item* parent, int row)
{
    std::vector<std::unique_ptr<Item>> taken = cmdTakeRows(parent, row, 1);
    return taken.empty() ? nullptr : taken.front().release();
}

void EditorModel::cmdInsertRows(Item* parent, std::vector<std::unique_ptr<Item>> items, int row)
{
    if (items.empty())
        return;
    row = qBound(0, row, parent->childCount());
    beginInsertRows(item2index(parent), row, row + int(items.size()) - 1);
    std::vector<std::unique_ptr<Item>> below = parent->takeChildren(row);
    for (std::unique_ptr<Item>& item : items)
        parent->appendChild(item.release());
    for (std::unique_ptr<Item>& item : below)
        parent->appendChild(item.release());
    endInsertRows();
    refreshCollisions(parent);
}

std::vector<std::unique_ptr<Item>> EditorModel::cmdTakeRows(Item* parent, int row, int count)
{
    if (row < 0 || count < 1 || row + count > parent->childCount())
        return {};
    beginRemoveRows(item2index(parent), row, row + count - 1);
    std::vector<std::unique_ptr<Item>> below = parent->takeChildren(row + count);
    std::vector<std::unique_ptr<Item>> taken = parent->takeChildren(row);
    for (std::unique_ptr<Item>& item : below)
        parent->appendChild(item.release());
    endRemoveRows();
    for (const std::unique_ptr<Item>& item : taken)
        m_collisions.forget(item.get());
    refreshCollisions(parent);
    return taken;
}

void EditorModel::cmdItemChanged(Item* item)
{
    Q_EMIT dataChanged(item2index(item, 0), item2index(item, 2));
    refreshCollisions(item->parent());
    // Values and bits show their ids in the display mode of their tag.
    if (item->childCount() > 0)
        notifySubtree(item);
}

Item* EditorModel::cmdReplaceTags(Item* root)
{
    beginResetModel();
    Item* old = m_root.release();
    m_root.reset(root ? root : emptyRoot());
    m_collisions.clear();
    endResetModel();
    return old;
}

void EditorModel::cmdUndone(const QModelIndex& index)
{
    Q_EMIT undone(index);
}

} // namespace QRV16
