// SPDX-License-Identifier: MIT
#include "trace/widgets/tracedelegate.h"

#include "trace/tracemodel.h"

#include <QAbstractProxyModel>
#include <QApplication>
#include <QPainter>

QColor TraceDelegate::ansiColor(int index, const QColor& background)
{
    // Basic then bright; the light-background set keeps yellow and white legible.
    static const QRgb onLight[16] = {0x000000, 0xB00000, 0x007A00, 0x8A6A00, 0x0030C0, 0x9A009A, 0x007878, 0x707070,
                                     0x505050, 0xE00000, 0x00A000, 0xA88400, 0x2E5CFF, 0xC000C0, 0x009A9A, 0x303030};
    static const QRgb onDark[16] = {0x000000, 0xCD3131, 0x0DBC79, 0xE5E510, 0x2472C8, 0xBC3FBC, 0x11A8CD, 0xE5E5E5,
                                    0x767676, 0xF14C4C, 0x23D18B, 0xF5F543, 0x3B8EEA, 0xD670D6, 0x29B8DB, 0xFFFFFF};
    if (index < 0 || index > 15)
        return QColor();
    return QColor(background.lightness() >= 128 ? onLight[index] : onDark[index]);
}

QString TraceDelegate::sourceText(const QModelIndex& index)
{
    const QString source = index.data().toString();
    switch (index.data(TraceModel::DirectionRole).toInt()) {
    case Received: return source + QStringLiteral(" \u2190");
    case Sent: return source + QStringLiteral(" \u2192");
    default: return source;
    }
}

namespace {

// No character is narrower than a pixel, so a cell shows at most as many as
// it is wide. Laying out more costs time for nothing: a message of random
// bytes writes hundreds of thousands, and the style lays out all of a text
// before it elides it.
int shownLength(int width)
{
    return qMax(width, 0) + 2;
}

} // namespace

void TraceDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    if (index.column() == TraceModel::SourceColumn)
        option->text = sourceText(index);
    else if (option->text.size() > shownLength(option->rect.width()))
        option->text.truncate(shownLength(option->rect.width()));
}

void TraceDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const
{
    // The view may show the trace through a filter.
    QModelIndex line = index;
    while (const auto* proxy = qobject_cast<const QAbstractProxyModel*>(line.model()))
        line = proxy->mapToSource(line);
    const auto* model = qobject_cast<const TraceModel*>(line.model());
    if (model && model->line(line).separator) {
        paintRule(painter, option, index);
        return;
    }
    const QVariant colored = index.data(TraceModel::AnsiTextRole);
    if (colored.isValid()) {
        paintColored(painter, option, index, colored.toString());
        return;
    }
    QStyledItemDelegate::paint(painter, option, index);
}

void TraceDelegate::paintRule(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const
{
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
    if (index.column() == index.model()->columnCount(index.parent()) - 1)
        r.setRight(r.right() - Indent);
    const int y = r.center().y();
    painter->drawLine(r.left(), y, r.right(), y);
    painter->restore();
}

void TraceDelegate::paintColored(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                                 const QString& text) const
{
    // Background, selection and focus as the style paints them, without text.
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QWidget* widget = opt.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    // The text's place is laid out while the option still has the text.
    const QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, widget)
                               .adjusted(style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1, 0, 0, 0);
    opt.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

    QList<AnsiText::Run> runs;
    const QString plain = AnsiText::parse(text, &runs);
    const bool selected = opt.state & QStyle::State_Selected;
    const QPalette::ColorGroup group = (opt.state & QStyle::State_Enabled) ? QPalette::Normal : QPalette::Disabled;
    const QColor base = selected ? opt.palette.color(group, QPalette::HighlightedText)
                                 : opt.palette.color(group, QPalette::Text);
    const QVariant background = index.data(Qt::BackgroundRole);
    const QColor back = selected ? opt.palette.color(group, QPalette::Highlight)
                                 : background.canConvert<QColor>() ? background.value<QColor>()
                                                                   : opt.palette.color(group, QPalette::Base);

    painter->save();
    painter->setClipRect(textRect);
    int x = textRect.left();
    const int right = textRect.right();
    for (const AnsiText::Run& run : std::as_const(runs)) {
        if (x > right)
            break;
        QFont font = opt.font;
        if (run.format.bold)
            font.setBold(true);
        QColor color = selected || run.format.color < 0 ? base : ansiColor(run.format.color, back);
        if (run.format.faint && !selected)
            color = QColor::fromRgbF((color.redF() + back.redF()) / 2, (color.greenF() + back.greenF()) / 2,
                                     (color.blueF() + back.blueF()) / 2);
        painter->setFont(font);
        painter->setPen(color);
        const QString piece = plain.mid(run.start, qMin(run.length, qsizetype(shownLength(right - x + 1))));
        const QFontMetrics metrics(font);
        painter->drawText(QRect(x, textRect.top(), right - x + 1, textRect.height()),
                          Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, piece);
        x += metrics.horizontalAdvance(piece);
    }
    painter->restore();
}
