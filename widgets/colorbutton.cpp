// SPDX-License-Identifier: MIT
#include "widgets/colorbutton.h"

#include <QAbstractButton>
#include <QColorDialog>
#include <QFrame>
#include <QGridLayout>
#include <QIconEngine>
#include <QKeyEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QStyleOptionFocusRect>
#include <QToolButton>

#include <functional>

namespace {

const int gridColumns = 8;

// Five rows from dark to light, eight hues each: the usual office palette.
const QRgb gridColors[] = {
    0x000000, 0x993300, 0x333300, 0x003300, 0x003366, 0x000080, 0x333399, 0x333333,
    0x800000, 0xff6600, 0x808000, 0x008000, 0x008080, 0x0000ff, 0x666699, 0x808080,
    0xff0000, 0xff9900, 0x99cc00, 0x339966, 0x33cccc, 0x3366ff, 0x800080, 0x969696,
    0xff00ff, 0xffcc00, 0xffff00, 0x00ff00, 0x00ffff, 0x00ccff, 0x993366, 0xc0c0c0,
    0xff99cc, 0xffcc99, 0xffff99, 0xccffcc, 0xccffff, 0x99ccff, 0xcc99ff, 0xffffff,
};
const int gridCount = int(sizeof(gridColors) / sizeof(gridColors[0]));

void paintSwatch(QPainter* painter, const QRect& rect, const QColor& color, bool enabled)
{
    if (rect.width() < 2 || rect.height() < 2)
        return;
    painter->save();
    const QRect inside = rect.adjusted(0, 0, -1, -1);
    if (color.isValid()) {
        QColor fill = color;
        if (!enabled)
            fill = QColor::fromHsv(fill.hsvHue(), fill.hsvSaturation() / 4, 128 + fill.value() / 2);
        painter->fillRect(rect, fill);
    } else {
        // No colour: an empty box struck through.
        painter->fillRect(rect, Qt::white);
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(QPen(enabled ? QColor(200, 0, 0) : QColor(160, 160, 160), 1.5));
        painter->drawLine(inside.bottomLeft(), inside.topRight());
        painter->setRenderHint(QPainter::Antialiasing, false);
    }
    // A translucent border stays visible on white as on black.
    painter->setPen(QColor(0, 0, 0, enabled ? 120 : 60));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(inside);
    painter->restore();
}

// Draws the swatch at whatever size the button asks for, so that the
// button's icon size stays the owner's choice.
class SwatchIconEngine : public QIconEngine
{
public:
    explicit SwatchIconEngine(const QColor& color) : m_color(color) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        paintSwatch(painter, rect, m_color, mode != QIcon::Disabled);
    }

    QIconEngine* clone() const override { return new SwatchIconEngine(m_color); }

private:
    QColor m_color;
};

class ColorCell : public QAbstractButton
{
public:
    ColorCell(const QColor& color, bool current, QWidget* parent)
        : QAbstractButton(parent), m_color(color), m_current(current)
    {
        setAttribute(Qt::WA_Hover);
        setFocusPolicy(Qt::StrongFocus);
        setToolTip(color.name().toUpper());
        setAccessibleName(color.name().toUpper());
    }

    QColor color() const { return m_color; }
    QSize sizeHint() const override { return QSize(22, 22); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const QRect all = rect();
        if (hasFocus() || underMouse()) {
            painter.fillRect(all, palette().color(QPalette::Highlight));
        } else if (m_current) {
            painter.setPen(palette().color(QPalette::Text));
            painter.drawRect(all.adjusted(0, 0, -1, -1));
        }
        paintSwatch(&painter, all.adjusted(3, 3, -3, -3), m_color, isEnabled());
    }

private:
    QColor m_color;
    bool m_current;
};

// The grid of standard colours. It closes itself on a pick, on Escape and
// on a click outside, and deletes itself when closed.
class ColorPopup : public QFrame
{
public:
    ColorPopup(ColorButton* owner, std::function<void(const QColor&)> picked,
               std::function<void()> more)
        : QFrame(owner, Qt::Popup), m_owner(owner), m_picked(std::move(picked)),
          m_more(std::move(more))
    {
        setAttribute(Qt::WA_DeleteOnClose);
        setFrameStyle(QFrame::StyledPanel | QFrame::Plain);

        auto* layout = new QGridLayout(this);
        layout->setContentsMargins(4, 4, 4, 4);
        layout->setSpacing(0);
        const QColor current = owner->color();
        for (int i = 0; i < gridCount; ++i) {
            const QColor color(gridColors[i]);
            auto* cell =
                new ColorCell(color, current.isValid() && color.rgb() == current.rgb(), this);
            cell->installEventFilter(this);
            connect(cell, &QAbstractButton::clicked, this, [this, color] { pick(color); });
            layout->addWidget(cell, i / gridColumns, i % gridColumns);
            m_cells.append(cell);
        }
        m_moreButton = new QToolButton(this);
        m_moreButton->setText(ColorButton::tr("More colours..."));
        m_moreButton->setAutoRaise(true);
        m_moreButton->setFocusPolicy(Qt::StrongFocus);
        m_moreButton->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        m_moreButton->installEventFilter(this);
        connect(m_moreButton, &QToolButton::clicked, this, [this] {
            const auto more = m_more;
            close();
            more();
        });
        layout->setRowMinimumHeight(gridCount / gridColumns, 4);
        layout->addWidget(m_moreButton, gridCount / gridColumns + 1, 0, 1, gridColumns);

        m_focus = 0;
        for (int i = 0; i < gridCount; ++i) {
            if (current.isValid() && QColor(gridColors[i]).rgb() == current.rgb())
                m_focus = i;
        }
    }

    void popup()
    {
        const QSize size = sizeHint();
        const QRect screen = m_owner->screen()->availableGeometry();
        QPoint pos = m_owner->mapToGlobal(QPoint(0, m_owner->height()));
        if (pos.y() + size.height() > screen.bottom() + 1)
            pos.setY(m_owner->mapToGlobal(QPoint(0, 0)).y() - size.height());
        pos.setX(
            qBound(screen.left(), pos.x(), qMax(screen.left(), screen.right() + 1 - size.width())));
        move(pos);
        show();
        m_cells.at(m_focus)->setFocus(Qt::PopupFocusReason);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::KeyPress)
            return QFrame::eventFilter(watched, event);
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool onMore = watched == m_moreButton;
        const int index = onMore ? -1 : int(m_cells.indexOf(static_cast<QWidget*>(watched)));
        switch (key) {
        case Qt::Key_Escape:
            close();
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            static_cast<QAbstractButton*>(watched)->click();
            return true;
        case Qt::Key_Left:
            if (!onMore && index % gridColumns > 0)
                focusCell(index - 1);
            return true;
        case Qt::Key_Right:
            if (!onMore && index % gridColumns < gridColumns - 1)
                focusCell(index + 1);
            return true;
        case Qt::Key_Up:
            if (onMore)
                focusCell(gridCount - gridColumns + m_focus % gridColumns);
            else if (index >= gridColumns)
                focusCell(index - gridColumns);
            return true;
        case Qt::Key_Down:
            if (!onMore && index + gridColumns < gridCount)
                focusCell(index + gridColumns);
            else if (!onMore)
                m_moreButton->setFocus(Qt::TabFocusReason);
            return true;
        default:
            return QFrame::eventFilter(watched, event);
        }
    }

    void mousePressEvent(QMouseEvent* event) override
    {
        // A press on the owner closes the popup; it must not reopen it too.
        if (m_owner) {
            const QRect owner(m_owner->mapToGlobal(QPoint(0, 0)), m_owner->size());
            if (owner.contains(event->globalPosition().toPoint()))
                setAttribute(Qt::WA_NoMouseReplay);
        }
        QFrame::mousePressEvent(event);
    }

private:
    void focusCell(int index)
    {
        m_focus = index;
        m_cells.at(index)->setFocus(Qt::TabFocusReason);
    }

    void pick(const QColor& color)
    {
        // Closing only schedules the deletion, but the callback may delete
        // the owner and with it this popup: copy it first.
        const auto picked = m_picked;
        close();
        picked(color);
    }

    QPointer<ColorButton> m_owner;
    std::function<void(const QColor&)> m_picked;
    std::function<void()> m_more;
    QList<QWidget*> m_cells;
    QToolButton* m_moreButton = nullptr;
    int m_focus = 0;
};

} // namespace

ColorButton::ColorButton(QWidget* parent) : ColorButton(QColor(), parent) {}

ColorButton::ColorButton(const QColor& color, QWidget* parent) : QToolButton(parent), m_color(color)
{
    setIconSize(QSize(32, 14));
    setIcon(QIcon(new SwatchIconEngine(m_color)));
    setFocusPolicy(Qt::StrongFocus);
    connect(this, &QToolButton::clicked, this, &ColorButton::showPopup);
}

QList<QColor> ColorButton::standardColors()
{
    QList<QColor> colors;
    colors.reserve(gridCount);
    for (QRgb rgb : gridColors)
        colors.append(QColor(rgb));
    return colors;
}

int ColorButton::standardColumns()
{
    return gridColumns;
}

void ColorButton::setColor(const QColor& color)
{
    if (color == m_color)
        return;
    m_color = color;
    setIcon(QIcon(new SwatchIconEngine(m_color)));
    Q_EMIT colorChanged(m_color);
}

void ColorButton::showPopup()
{
    for (QFrame* open : findChildren<QFrame*>(Qt::FindDirectChildrenOnly)) {
        if (open->windowType() == Qt::Popup && open->isVisible())
            return;
    }
    QPointer<ColorButton> self(this);
    auto* popup = new ColorPopup(
        this,
        [self](const QColor& color) {
            if (self)
                self->setColor(color);
        },
        [self] {
            // Queued, so that the popup is gone before the dialog runs.
            if (self)
                QMetaObject::invokeMethod(self, &ColorButton::chooseOtherColor,
                                          Qt::QueuedConnection);
        });
    popup->popup();
}

void ColorButton::chooseOtherColor()
{
    // On the heap: should this button go while the dialog runs, the
    // dialog goes with it and must not be deleted a second time.
    QPointer<QColorDialog> dialog =
        new QColorDialog(m_color.isValid() ? m_color : QColor(Qt::white), this);
    dialog->setWindowTitle(tr("Select Colour"));
    const int result = dialog->exec();
    if (!dialog)
        return;
    const QColor chosen = dialog->selectedColor();
    delete dialog;
    if (result == QDialog::Accepted && chosen.isValid())
        setColor(chosen);
}
