// SPDX-License-Identifier: MIT
#include "editor/editoritemlook.h"

#include "editor/collisiontable.h"
#include "editor/editormodel.h"
#include "editor/editortagmodel.h"
#include "qrv16/item.h"

#include <QColor>

namespace QRV16 {

namespace {

QString typeName(int dataType)
{
    switch (dataType) {
    case 0: return EditorItemLook::tr("Binary");
    case 1: return EditorItemLook::tr("Integer");
    case 2: return EditorItemLook::tr("Bool");
    case 3: return EditorItemLook::tr("String");
    case 4: return EditorItemLook::tr("Date");
    case 5: return EditorItemLook::tr("Time");
    case 6: return EditorItemLook::tr("DateTime");
    case 7: return EditorItemLook::tr("BitArray");
    case 9: return EditorItemLook::tr("Network-Address");
    case 12: return EditorItemLook::tr("List");
    case 13: return EditorItemLook::tr("Request");
    case 14: return EditorItemLook::tr("Answer");
    case 15: return EditorItemLook::tr("Message");
    case 0x80: return EditorItemLook::tr("Point");
    case 0x81: return EditorItemLook::tr("Rect");
    case 0x82: return EditorItemLook::tr("Size");
    default: return QString();
    }
}

} // namespace

EditorItemLook::EditorItemLook()
    : m_emptyIcon(EditorTagModel::makeEmptyIcon()),
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

QString EditorItemLook::editText(const Item* item)
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

QString EditorItemLook::idText(const Item* item)
{
    // A negative value has no hexadecimal, octal or binary form that reads
    // back as negative: shown in decimal, as the generators write it.
    const ItemData& d = item->data();
    if (d.type == ItemType::Enum && qint64(d.id) < 0)
        return QString::number(qint64(d.id));
    return item->formatId();
}

QString EditorItemLook::collisionText(const Item* item, int flags) const
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

QVariant EditorItemLook::data(const Item* item, int column, int role,
                              CollisionTable& collisions) const
{
    const ItemData& d = item->data();

    if (item->isComment()) {
        switch (role) {
        case Qt::DisplayRole:
            if (column != EditorModel::NameColumn)
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
        case Qt::EditRole: return column == EditorModel::CommentColumn ? d.comment : QString();
        case Qt::ToolTipRole: return d.comment.trimmed();
        case Qt::FontRole: return m_commentFont;
        case Qt::ForegroundRole: return QColor(Qt::darkGray);
        case Qt::DecorationRole: return column == EditorModel::NameColumn ? QVariant(m_emptyIcon) : QVariant();
        case EditorModel::CollisionRole: return 0;
        default: return QVariant();
        }
    }

    switch (role) {
    case Qt::DisplayRole:
        switch (column) {
        case EditorModel::NameColumn:
            if (d.type == ItemType::Enums)
                return tr("Enums");
            if (d.type == ItemType::Bits)
                return tr("Bits");
            return d.name;
        case EditorModel::IdColumn:
            return d.hasId ? idText(item) : QString();
        case EditorModel::CommentColumn: return d.comment;
        default: return QVariant();
        }
    case Qt::EditRole:
        switch (column) {
        case EditorModel::NameColumn: return d.name;
        case EditorModel::IdColumn: return editText(item);
        case EditorModel::CommentColumn: return d.comment;
        default: return QVariant();
        }
    case Qt::DecorationRole: {
        if (column != EditorModel::NameColumn)
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
        if (d.type == ItemType::Tag && d.hasId && column != EditorModel::CommentColumn) {
            const QString name = typeName(int(dataType(unsigned(d.id))));
            if (!name.isEmpty())
                tip << name;
        }
        const int flags = collisions.flags(item);
        if (flags && column != EditorModel::CommentColumn)
            tip << collisionText(item, flags);
        if (column == EditorModel::CommentColumn && !d.comment.isEmpty())
            tip << d.comment;
        return tip.isEmpty() ? QVariant() : QVariant(tip.join(QLatin1Char('\n')));
    }
    case Qt::FontRole:
        if (isDefinitionType(d.type) &&
            (column == EditorModel::NameColumn || column == EditorModel::IdColumn))
            return m_fixedFont;
        return QVariant();
    case Qt::BackgroundRole:
        // Rows that clash with a sibling stand out; see the tool tip for why.
        if (collisions.flags(item))
            return QColor(255, 214, 170);
        return QVariant();
    case Qt::ForegroundRole:
        if (isContainerType(d.type))
            return QColor(Qt::darkGray);
        return QVariant();
    case EditorModel::CollisionRole: return collisions.flags(item);
    default: return QVariant();
    }
}

} // namespace QRV16
