// SPDX-License-Identifier: MIT
#pragma once

#include <QStyledItemDelegate>

namespace QRV16 {

// Edits the editor's rows in place: a tag chooser for tag codes, checked line
// edits for values, bit numbers and names, a plain one for comments. Cells
// whose name or code clashes with a sibling get a red frame.
class EditorDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    explicit EditorDelegate(QObject* parent = nullptr);

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

Q_SIGNALS:
    // What a validator found about the text being typed.
    void message(const QString& text);
};

} // namespace QRV16
