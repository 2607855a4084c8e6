#include "app/tracedelegate.h"

#include "app/tracemodel.h"

#include <QAbstractProxyModel>
#include <QPainter>

void TraceDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const
{
    // The view may show the trace through a filter.
    QModelIndex line = index;
    while (const auto* proxy = qobject_cast<const QAbstractProxyModel*>(line.model()))
        line = proxy->mapToSource(line);
    const auto* model = qobject_cast<const TraceModel*>(line.model());
    const TraceItem* item = model ? model->index2item(line) : nullptr;
    if (!item || item->hasText() || item->hasPendingChildren() || item->childCount() > 0) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }

    painter->save();
    QPen pen(Qt::DotLine);
    if (option.state & QStyle::State_Selected) {
        painter->fillRect(option.rect, option.palette.highlight());
        pen.setColor(option.palette.color(QPalette::HighlightedText));
    } else {
        pen.setColor(option.palette.color(QPalette::Text));
    }
    painter->setPen(pen);
    QRect r = option.rect;
    if (index.column() == 0)
        r.setLeft(r.left() + Indent);
    if (index.column() == model->columnCount(line.parent()) - 1)
        r.setRight(r.right() - Indent);
    const int y = r.center().y();
    painter->drawLine(r.left(), y, r.right(), y);
    painter->restore();
}
