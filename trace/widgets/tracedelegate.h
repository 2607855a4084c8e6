// SPDX-License-Identifier: MIT
#pragma once

#include "connection/ansitext.h"

#include <QColor>
#include <QStyledItemDelegate>

// Paints separator lines (no text, no child lines) as a dotted rule across
// the row, and the lines of the trace printers in their colours; every other
// line as usual.
class TraceDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    // The colour of a printer's colour index (0..15) that reads on this
    // background: darker shades on a light one, the terminal's on a dark one.
    static QColor ansiColor(int index, const QColor& background);

    // The source column as shown and copied: the channel with an arrow for
    // the direction of what it sent ("1 →") or received ("1 ←"), so that
    // neither depends on colour.
    static QString sourceText(const QModelIndex& index);

    // The indent of the rule at the row's two ends.
    static constexpr int Indent = 4;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    void paintRule(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    void paintColored(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                      const QString& text) const;
};
