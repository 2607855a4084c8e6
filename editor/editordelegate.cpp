// SPDX-License-Identifier: MIT
#include "editor/editordelegate.h"

#include "editor/editormodel.h"
#include "editor/editortagedit.h"
#include "editor/identifiervalidator.h"
#include "editor/numbervalidator.h"

#include <QLineEdit>
#include <QPainter>

namespace QRV16 {

namespace {

const EditorModel* editorModel(const QModelIndex& index)
{
    return qobject_cast<const EditorModel*>(index.model());
}

} // namespace

EditorDelegate::EditorDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

QWidget* EditorDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                      const QModelIndex& index) const
{
    const EditorModel* model = editorModel(index);
    if (!index.isValid() || !model)
        return nullptr;
    const Item* item = model->index2item(index);
    const ItemType type = item->data().type;
    auto* self = const_cast<EditorDelegate*>(this);

    if (index.column() == EditorModel::IdColumn && type == ItemType::Tag) {
        auto* edit = new EditorTagEdit(parent);
        edit->setItem(item);
        edit->setFont(model->fixedFont());
        connect(edit, &EditorTagEdit::message, self, &EditorDelegate::message);
        return edit;
    }
    auto* edit = new QLineEdit(parent);
    edit->setFrame(false);
    switch (index.column()) {
    case EditorModel::IdColumn: {
        if (type != ItemType::Enum && type != ItemType::Bit) {
            delete edit;
            return nullptr;
        }
        auto* validator = new NumberValidator(NumberValidator::lowerBound(int(type)),
                                              NumberValidator::upperBound(int(type)), item, edit);
        connect(validator, &NumberValidator::message, self, &EditorDelegate::message);
        edit->setValidator(validator);
        edit->setFont(model->fixedFont());
        break;
    }
    case EditorModel::NameColumn: {
        auto* validator = new IdentifierValidator(item, edit);
        connect(validator, &IdentifierValidator::message, self, &EditorDelegate::message);
        edit->setValidator(validator);
        edit->setFont(model->fixedFont());
        break;
    }
    default: edit->setFont(option.font); break;
    }
    return edit;
}

void EditorDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    const QString text = index.data(Qt::EditRole).toString();
    if (auto* tag = qobject_cast<EditorTagEdit*>(editor))
        tag->setTag(text);
    else if (auto* line = qobject_cast<QLineEdit*>(editor))
        line->setText(text);
}

void EditorDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                  const QModelIndex& index) const
{
    // A cell left as it was changes nothing, even where its text would read
    // back a little differently (a 64-bit value edited as 32 bits).
    const QString before = index.data(Qt::EditRole).toString();
    if (auto* tag = qobject_cast<EditorTagEdit*>(editor)) {
        if (!tag->hasAcceptableInput() || tag->tag() == before)
            return;
        model->setData(index, tag->tag(), Qt::EditRole);
        return;
    }
    auto* line = qobject_cast<QLineEdit*>(editor);
    if (!line || line->text() == before || !line->hasAcceptableInput())
        return;
    QString text = line->text();
    if (index.column() == EditorModel::IdColumn && !text.isEmpty()) {
        // The model reads decimal and hexadecimal only; octal and binary
        // forms typed here are passed on as decimal.
        qint64 value = 0;
        if (NumberValidator::readNumber(text, &value) != NumberValidator::Number)
            return;
        text = QString::number(value);
    }
    model->setData(index, text, Qt::EditRole);
}

void EditorDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const
{
    QStyledItemDelegate::paint(painter, option, index);
    const int flags = index.data(EditorModel::CollisionRole).toInt();
    const bool clash = (index.column() == EditorModel::NameColumn && (flags & NameCollision)) ||
                       (index.column() == EditorModel::IdColumn && (flags & IdCollision));
    if (!clash)
        return;
    painter->save();
    painter->setPen(QPen(QColor(200, 30, 30), 1));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(option.rect.adjusted(0, 0, -1, -1));
    painter->restore();
}

} // namespace QRV16
