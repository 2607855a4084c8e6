// SPDX-License-Identifier: MIT
#include "editor/editortagmodel.h"

#include <QPixmap>

namespace QRV16 {

namespace {

struct TypeRow
{
    int type;
    const char* code;
    const char* name;
    const char* icon;
};

const TypeRow rows[] = {
    {0x00, "0", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Binary"), ":/icons/i16_data.png"},
    {0x01, "1", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Integer"), ":/icons/i16_int.png"},
    {0x02, "2", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Bool"), ":/icons/i16_bool.png"},
    {0x03, "3", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "String"), ":/icons/i16_string.png"},
    {0x04, "4", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Date"), ":/icons/i16_date.png"},
    {0x05, "5", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Time"), ":/icons/i16_time.png"},
    {0x06, "6", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "DateTime"), ":/icons/i16_datetime.png"},
    {0x07, "7", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "BitArray"), ":/icons/i16_list_bullets.png"},
    {0x09, "9", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Network address"), ":/icons/i16_network.png"},
    {0x0C, "C", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "List"), ":/icons/i16_list.png"},
    {0x0D, "D", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Request"), ":/icons/i16_question.png"},
    {0x0E, "E", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Answer"), ":/icons/i16_answer.png"},
    {0x0F, "F", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Message"), ":/icons/i16_message.png"},
    {0x80, "80", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Point"), ":/icons/i16_point.png"},
    {0x81, "81", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Rect"), ":/icons/i16_rect.png"},
    {0x82, "82", QT_TRANSLATE_NOOP("QRV16::EditorTagModel", "Size"), ":/icons/i16_size.png"},
};
constexpr int rowTotal = int(sizeof(rows) / sizeof(rows[0]));

} // namespace

EditorTagModel::EditorTagModel(QObject* parent) : QAbstractListModel(parent)
{
    m_icons.reserve(rowTotal);
    for (const TypeRow& r : rows)
        m_icons.append(QIcon(QLatin1String(r.icon)));
}

int EditorTagModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : rowTotal;
}

QVariant EditorTagModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowTotal || index.column() != 0)
        return QVariant();
    const TypeRow& r = rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole: // what an editable combo box shows of its current row
        return QString(QLatin1String(r.code) + QLatin1String(" - ") + tr(r.name));
    case Qt::DecorationRole: return m_icons.at(index.row());
    case DataTypeRole: return r.type;
    default: return QVariant();
    }
}

int EditorTagModel::rowOfType(int dataType)
{
    // The table is in ascending order of type; 16 rows need no better search.
    for (int i = 0; i < rowTotal; ++i) {
        if (rows[i].type == dataType)
            return i;
    }
    return -1;
}

int EditorTagModel::typeOfRow(int row)
{
    return row >= 0 && row < rowTotal ? rows[row].type : -1;
}

QString EditorTagModel::iconPath(int dataType)
{
    const int row = rowOfType(dataType);
    return row < 0 ? QString() : QLatin1String(rows[row].icon);
}

QIcon EditorTagModel::makeEmptyIcon()
{
    QPixmap blank(16, 16);
    blank.fill(Qt::transparent);
    return QIcon(blank);
}

} // namespace QRV16
