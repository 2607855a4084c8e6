#pragma once

#include <QStyledItemDelegate>

// Paints separator lines (no text, no child lines) as a dotted rule across
// the row; every other line as usual.
class TraceDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    // The indent of the rule at the row's two ends.
    static constexpr int Indent = 4;
};
