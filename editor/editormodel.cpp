// SPDX-License-Identifier: MIT
#include "editor/editormodel.h"

#include "editor/commandchange.h"
#include "editor/commandchangecomment.h"
#include "editor/commandchangeid.h"
#include "editor/commandchangename.h"
#include "editor/commanddelete.h"
#include "editor/commandnew.h"
#include "editor/commandreplaceall.h"
#include "editor/editortagmodel.h"
#include "editor/numbervalidator.h"
#include "qrv16/numbers.h"
#include "qrv16/parser.h"
#include "writers/writerxml.h"

#include <QClipboard>
#include <QColor>
#include <QGuiApplication>
#include <QDataStream>
#include <QMimeData>
#include <QUndoStack>

#include <algorithm>

namespace QRV16 {

namespace {

// The children of `parent` from `from` on, taken in order. Taken from the
// end, so nothing moves: taking the first child each time would shift all
// the others, quadratic for a long list.
std::vector<std::unique_ptr<Item>> takeChildren(Item* parent, int from = 0)
{
    std::vector<std::unique_ptr<Item>> taken;
    for (int i = parent->childCount() - 1; i >= from; --i)
        taken.emplace_back(parent->takeChild(i));
    std::reverse(taken.begin(), taken.end());
    return taken;
}

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

bool isDefinition(const Item* item)
{
    const ItemType t = item->data().type;
    return t == ItemType::Tag || t == ItemType::Enum || t == ItemType::Bit;
}

bool isContainer(const Item* item)
{
    const ItemType t = item->data().type;
    return t == ItemType::Enums || t == ItemType::Bits;
}

bool isLayout(const Item* item)
{
    return item->isComment() || item->isNewline();
}

// Blank lines and comments take the type of the definitions they stand among.
ItemType layoutType(ItemType parent)
{
    switch (parent) {
    case ItemType::Root: return ItemType::Tag;
    case ItemType::Enums: return ItemType::Enum;
    case ItemType::Bits: return ItemType::Bit;
    default: return ItemType::Invalid;
    }
}

QString typeName(int dataType)
{
    switch (dataType) {
    case 0: return EditorModel::tr("Binary");
    case 1: return EditorModel::tr("Integer");
    case 2: return EditorModel::tr("Bool");
    case 3: return EditorModel::tr("String");
    case 4: return EditorModel::tr("Date");
    case 5: return EditorModel::tr("Time");
    case 6: return EditorModel::tr("DateTime");
    case 7: return EditorModel::tr("BitArray");
    case 9: return EditorModel::tr("Network-Address");
    case 12: return EditorModel::tr("List");
    case 13: return EditorModel::tr("Request");
    case 14: return EditorModel::tr("Answer");
    case 15: return EditorModel::tr("Message");
    case 0x80: return EditorModel::tr("Point");
    case 0x81: return EditorModel::tr("Rect");
    case 0x82: return EditorModel::tr("Size");
    default: return QString();
    }
}

// Only what the file format allows stays in a pasted tree: a tag holds at
// most one Bits and one Enums container (later ones are merged into the
// first), containers hold their own kind, values hold nothing.
void sanitize(Item* item, int depth)
{
    const ItemType type = item->data().type;
    if (depth > 3 || type == ItemType::Enum || type == ItemType::Bit) {
        while (item->childCount() > 0)
            item->removeChild(item->childCount() - 1);
        return;
    }
    Item* bits = nullptr;
    Item* enums = nullptr;
    for (int i = 0; i < item->childCount();) {
        Item* c = item->child(i);
        const ItemType ct = c->data().type;
        const bool fits = matchingParentType(ct) == type;
        if (!fits) {
            item->removeChild(i);
            continue;
        }
        Item** first = ct == ItemType::Bits ? &bits : ct == ItemType::Enums ? &enums : nullptr;
        if (first && *first) {
            for (std::unique_ptr<Item>& moved : takeChildren(c))
                (*first)->appendChild(moved.release());
            item->removeChild(i);
            continue;
        }
        if (first)
            *first = c;
        ++i;
    }
    for (int i = 0; i < item->childCount(); ++i)
        sanitize(item->child(i), depth + 1);
    if (type == ItemType::Tag)
        item->sortChildrenByType();
}

// Where pasted items go: the commands to push, in order. Items that go into
// a container that the paste itself creates are put into it directly.
struct PastePlan
{
    const Item* root = nullptr;
    int rootRow = -1;                   // the top-level row pasted at or in
    const Item* targetParent = nullptr; // the parent of the row pasted at
    int targetRow = -1;
    QHash<const Item*, int> cursor;     // next row per parent
    std::vector<std::pair<Item*, std::unique_ptr<Item>>> steps; // parent, item

    // Pasted items follow the row pasted at, in their order; in any other
    // list they go to the end.
    int nextRow(Item* parent)
    {
        auto it = cursor.find(parent);
        if (it == cursor.end()) {
            int start = parent->childCount();
            if (parent == targetParent)
                start = targetRow + 1;
            else if (parent == root && rootRow >= 0)
                start = rootRow + 1;
            it = cursor.insert(parent, start);
        }
        return it.value()++;
    }

    // A container of `type` that this paste is about to add to `tag`;
    // looked up, not searched for, as a paste can hold thousands of steps.
    QHash<QPair<const Item*, int>, Item*> lists;
    Item* pendingList(const Item* tag, ItemType type) const
    {
        return lists.value({tag, int(type)});
    }
    void addList(Item* tag, std::unique_ptr<Item> list)
    {
        lists.insert({tag, int(list->data().type)}, list.get());
        steps.emplace_back(tag, std::move(list));
    }
};

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

EditorModel::EditorModel(QObject* parent)
    : QAbstractItemModel(parent),
      m_root(emptyRoot()),
      m_emptyIcon(EditorTagModel::makeEmptyIcon()),
      m_folderIcon(QStringLiteral(":/icons/i16_folder.png")),
      m_enumIcon(QStringLiteral(":/icons/i16_list.png")),
      m_bitIcon(QStringLiteral(":/icons/i16_tiny_bullet.png"))
{
    for (int row = 0; row < EditorTagModel().rowCount(); ++row) {
        const int type = EditorTagModel::typeOfRow(row);
        m_typeIcons.insert(type, QIcon(EditorTagModel::iconPath(type)));
    }
    m_commentFont.setItalic(true);
    m_fixedFont.setFamily(QStringLiteral("Monospace"));
    m_fixedFont.setStyleHint(QFont::TypeWriter);
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
    return isDefinition(item) && !item->isComment();
}

Qt::ItemFlags EditorModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    const Item* item = index2item(index);
    if (isDefinition(item)) {
        Qt::ItemFlags f = Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled |
                          Qt::ItemIsEnabled;
        // A blank row stays editable: a newly inserted item is one until it
        // gets a name or a code.
        if (!item->isComment())
            f |= Qt::ItemIsEditable;
        return f;
    }
    if (isContainer(item))
        return Qt::ItemIsSelectable | Qt::ItemIsDropEnabled | Qt::ItemIsEnabled;
    return Qt::NoItemFlags;
}

QString EditorModel::editText(const Item* item)
{
    const ItemData& d = item->data();
    if (!d.hasId)
        return QString();
    if (d.type == ItemType::Tag)
        return tag2hex(unsigned(d.id));
    const DisplayMode shown = item->displayMode();
    if (shown.mode == DisplayMode::Hex || shown.mode == DisplayMode::Octal ||
        shown.mode == DisplayMode::Binary)
        return idText(item);
    return formatNumber(d.id, DisplayMode(shown.mode, 0));
}

QString EditorModel::idText(const Item* item)
{
    // A negative value has no hexadecimal, octal or binary form that reads
    // back as negative: shown in decimal, as the generators write it.
    const ItemData& d = item->data();
    if (d.type == ItemType::Enum && qint64(d.id) < 0)
        return QString::number(qint64(d.id));
    return item->formatId();
}

QString EditorModel::collisionText(const Item* item, int flags) const
{
    QStringList lines;
    const ItemType type = item->data().type;
    if (flags & NameCollision) {
        lines << (type == ItemType::Tag    ? tr("Another tag has the name %1")
                  : type == ItemType::Enum ? tr("Another value of this tag has the name %1")
                                           : tr("Another bit of this tag has the name %1"))
                     .arg(item->data().name);
    }
    if (flags & IdCollision) {
        lines << (type == ItemType::Tag    ? tr("Another tag has the code %1")
                  : type == ItemType::Enum ? tr("Another value of this tag is %1 too")
                                           : tr("Another bit of this tag has the number %1"))
                     .arg(idText(item));
    }
    return lines.join(QLatin1Char('\n'));
}

QVariant EditorModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return QVariant();
    const Item* item = index2item(index);
    const ItemData& d = item->data();
    const int column = index.column();

    if (item->isComment()) {
        switch (role) {
        case Qt::DisplayRole:
            if (column != NameColumn)
                return QString();
            {
                QStringList lines = d.comment.split(QLatin1Char('\n'));
                for (QString& line : lines)
                    line = line.trimmed();
                while (!lines.isEmpty() && lines.constFirst().isEmpty())
                    lines.removeFirst();
                while (!lines.isEmpty() && lines.constLast().isEmpty())
                    lines.removeLast();
                return lines.join(QLatin1Char('\n'));
            }
        case Qt::EditRole: return column == CommentColumn ? d.comment : QString();
        case Qt::ToolTipRole: return d.comment.trimmed();
        case Qt::FontRole: return m_commentFont;
        case Qt::ForegroundRole: return QColor(Qt::darkGray);
        case Qt::DecorationRole: return column == NameColumn ? QVariant(m_emptyIcon) : QVariant();
        case CollisionRole: return 0;
        default: return QVariant();
        }
    }

    switch (role) {
    case Qt::DisplayRole:
        switch (column) {
        case NameColumn:
            if (d.type == ItemType::Enums)
                return tr("Enums");
            if (d.type == ItemType::Bits)
                return tr("Bits");
            return d.name;
        case IdColumn:
            return d.hasId ? idText(item) : QString();
        case CommentColumn: return d.comment;
        default: return QVariant();
        }
    case Qt::EditRole:
        switch (column) {
        case NameColumn: return d.name;
        case IdColumn: return editText(item);
        case CommentColumn: return d.comment;
        default: return QVariant();
        }
    case Qt::DecorationRole: {
        if (column != NameColumn)
            return QVariant();
        switch (d.type) {
        case ItemType::Tag:
            if (d.hasId)
                return m_typeIcons.value(int(dataType(unsigned(d.id))), m_emptyIcon);
            return m_emptyIcon;
        case ItemType::Enums:
        case ItemType::Bits: return m_folderIcon;
        case ItemType::Enum: return d.hasId || !d.name.isEmpty() ? m_enumIcon : m_emptyIcon;
        case ItemType::Bit: return d.hasId || !d.name.isEmpty() ? m_bitIcon : m_emptyIcon;
        default: return m_emptyIcon;
        }
    }
    case Qt::ToolTipRole: {
        QStringList tip;
        if (d.type == ItemType::Tag && d.hasId && column != CommentColumn) {
            const QString name = typeName(int(dataType(unsigned(d.id))));
            if (!name.isEmpty())
                tip << name;
        }
        const int flags = findCollision(item);
        if (flags && column != CommentColumn)
            tip << collisionText(item, flags);
        if (column == CommentColumn && !d.comment.isEmpty())
            tip << d.comment;
        return tip.isEmpty() ? QVariant() : QVariant(tip.join(QLatin1Char('\n')));
    }
    case Qt::FontRole:
        if (isDefinition(item) && (column == NameColumn || column == IdColumn))
            return m_fixedFont;
        return QVariant();
    case Qt::BackgroundRole:
        // Rows that clash with a sibling stand out; see the tool tip for why.
        if (findCollision(item))
            return QColor(255, 214, 170);
        return QVariant();
    case Qt::ForegroundRole:
        if (isContainer(item))
            return QColor(Qt::darkGray);
        return QVariant();
    case CollisionRole: return findCollision(item);
    default: return QVariant();
    }
}

int EditorModel::findCollision(const Item* item) const
{
    if (!item || !item->parent())
        return NoCollision;
    auto it = m_collisions.constFind(item);
    if (it != m_collisions.constEnd())
        return it.value();
    const_cast<EditorModel*>(this)->refreshCollisions(item->parent(), false);
    return m_collisions.value(item, NoCollision);
}

void EditorModel::refreshCollisions(const Item* parent, bool notify)
{
    if (!parent)
        return;
    const int count = parent->childCount();
    if (notify) {
        // Lists nobody has looked at yet are worked out when first shown.
        bool known = false;
        for (int i = 0; i < count && !known; ++i)
            known = m_collisions.contains(parent->child(i));
        if (!known)
            return;
    }
    QHash<QString, int> names;
    QHash<quint64, int> ids;
    names.reserve(count);
    ids.reserve(count);
    for (int i = 0; i < count; ++i) {
        const ItemData& d = parent->child(i)->data();
        if (!d.name.isEmpty())
            ++names[d.name];
        if (d.hasId)
            ++ids[d.id];
    }
    QList<int> changed;
    for (int i = 0; i < count; ++i) {
        const Item* c = parent->child(i);
        const ItemData& d = c->data();
        int flags = NoCollision;
        if (!d.name.isEmpty() && names.value(d.name) > 1)
            flags |= NameCollision;
        if (d.hasId && ids.value(d.id) > 1)
            flags |= IdCollision;
        const int old = m_collisions.value(c, -1);
        m_collisions.insert(c, flags);
        if (old != flags && (old != -1 || flags != NoCollision))
            changed.append(i);
    }
    if (!notify || changed.isEmpty())
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

void EditorModel::forgetCollisions(const Item* subtree)
{
    QList<const Item*> stack{subtree};
    while (!stack.isEmpty()) {
        const Item* item = stack.takeLast();
        m_collisions.remove(item);
        for (int i = 0; i < item->childCount(); ++i)
            stack.append(item->child(i));
    }
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
        push(new CommandChangeComment(text, item, this, index));
        return true;
    case NameColumn:
        if (text == d.name)
            return true;
        // The file reader refuses such a name, which would make the saved
        // file unreadable.
        if (!text.isEmpty() && !isValidIdentifier(text))
            return false;
        push(new CommandChangeName(text, item, this, index));
        return true;
    default: return false;
    }
}

bool EditorModel::setItemData(const QModelIndex& index, const ItemData& data)
{
    Item* item = index.isValid() ? index2item(index) : nullptr;
    if (!item || !isDefinition(item))
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
    m_fixedFont = font;
    notifySubtree(m_root.get());
}

void EditorModel::setCommentFont(const QFont& font)
{
    m_commentFont = font;
    notifySubtree(m_root.get());
}

bool EditorModel::insertRow(int row, const QModelIndex& parent)
{
    return insertRows(row, 1, parent);
}

bool EditorModel::insertRows(int row, int count, const QModelIndex& parent)
{
    Item* p = index2item(parent);
    const ItemType type = layoutType(p->data().type);
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
    Item* target = index2item(at);
    PastePlan plan;
    plan.root = m_root.get();
    if (target != m_root.get()) {
        plan.targetParent = target->parent();
        plan.targetRow = target->row();
        const Item* top = target;
        while (top->parent() && top->parent() != m_root.get())
            top = top->parent();
        plan.rootRow = top->row();
    }
    // The tag at or above the target row, if any.
    Item* tag = target;
    while (tag && (tag->data().type != ItemType::Tag || tag->isComment()))
        tag = tag->parent();

    for (std::unique_ptr<Item>& tree : takeChildren(trees.get())) {
        const ItemType type = tree->data().type;
        if (isLayout(tree.get())) {
            // Beside the target row, or in the container or root pasted on.
            Item* p = target->data().type == ItemType::Root || isContainer(target) ? target
                                                                                     : target->parent();
            if (!p || layoutType(p->data().type) == ItemType::Invalid)
                continue;
            tree->data().type = layoutType(p->data().type);
            plan.steps.emplace_back(p, std::move(tree));
            continue;
        }
        sanitize(tree.get(), 1);
        if (type == ItemType::Tag) {
            plan.steps.emplace_back(m_root.get(), std::move(tree));
            continue;
        }
        if (type == ItemType::Enum || type == ItemType::Bit) {
            const ItemType listType = matchingParentType(type);
            Item* list = nullptr;
            if (target->data().type == listType)
                list = target;
            else if (target->parent() && target->parent()->data().type == listType)
                list = target->parent();
            else if (tag)
                list = tag->findInTagByItemType(listType);
            if (list) {
                plan.steps.emplace_back(list, std::move(tree));
                continue;
            }
            if (!tag)
                continue;
            // The tag lacks the container: this paste makes one.
            if (Item* pending = plan.pendingList(tag, listType)) {
                pending->appendChild(tree.release());
                continue;
            }
            ItemData data;
            data.type = listType;
            auto container = std::make_unique<Item>(data);
            container->appendChild(tree.release());
            plan.addList(tag, std::move(container));
            continue;
        }
        if (type == ItemType::Enums || type == ItemType::Bits) {
            if (!tag)
                continue;
            Item* existing = tag->findInTagByItemType(type);
            if (Item* pending = plan.pendingList(tag, type)) {
                for (std::unique_ptr<Item>& value : takeChildren(tree.get()))
                    pending->appendChild(value.release());
            } else if (existing) {
                for (std::unique_ptr<Item>& value : takeChildren(tree.get()))
                    plan.steps.emplace_back(existing, std::move(value));
            } else {
                plan.addList(tag, std::move(tree));
            }
            continue;
        }
        // A root or an unknown element: there is no place for it.
    }

    if (plan.steps.empty())
        return false;
    const QPersistentModelIndex source(moved);
    const bool macro = (plan.steps.size() > 1 || source.isValid()) && m_undo;
    if (macro)
        m_undo->beginMacro(source.isValid() ? moveText(index2item(source)) : tr("Merge data"));
    // Items bound for consecutive rows of one parent go in as one block.
    std::vector<std::unique_ptr<Item>> block;
    Item* blockParent = nullptr;
    int blockRow = 0;
    const auto flush = [&] {
        if (!block.empty())
            push(new CommandNew(std::move(block), blockRow, blockParent, this,
                                item2index(blockParent)));
        block.clear();
    };
    for (auto& step : plan.steps) {
        Item* parent = step.first;
        if (isContainer(step.second.get()) && parent->data().type == ItemType::Tag) {
            flush();
            // Bits first, Enums last, whatever else this paste adds.
            const int row = step.second->data().type == ItemType::Bits ? 0 : parent->childCount();
            push(new CommandNew(step.second.release(), row, parent, this, item2index(parent)));
            continue;
        }
        const int row = qBound(0, plan.nextRow(parent), parent->childCount() + int(block.size()));
        if (block.empty() || parent != blockParent || row != blockRow + int(block.size())) {
            flush();
            blockParent = parent;
            blockRow = qBound(0, row, parent->childCount());
        }
        block.push_back(std::move(step.second));
    }
    flush();
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
    std::vector<std::unique_ptr<Item>> below = takeChildren(parent, row);
    for (std::unique_ptr<Item>& item : items)
        parent->appendChild(item.release());
    for (std::unique_ptr<Item>& item : below)
        parent->appendChild(item.release());
    endInsertRows();
    refreshCollisions(parent, true);
}

std::vector<std::unique_ptr<Item>> EditorModel::cmdTakeRows(Item* parent, int row, int count)
{
    if (row < 0 || count < 1 || row + count > parent->childCount())
        return {};
    beginRemoveRows(item2index(parent), row, row + count - 1);
    std::vector<std::unique_ptr<Item>> below = takeChildren(parent, row + count);
    std::vector<std::unique_ptr<Item>> taken = takeChildren(parent, row);
    for (std::unique_ptr<Item>& item : below)
        parent->appendChild(item.release());
    endRemoveRows();
    for (const std::unique_ptr<Item>& item : taken)
        forgetCollisions(item.get());
    refreshCollisions(parent, true);
    return taken;
}

void EditorModel::cmdItemChanged(Item* item)
{
    Q_EMIT dataChanged(item2index(item, 0), item2index(item, 2));
    refreshCollisions(item->parent(), true);
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
