// SPDX-License-Identifier: MIT
#include "widgets/screenfitarea.h"

#include <QBoxLayout>
#include <QDialog>
#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>

ScreenFitArea::ScreenFitArea(QWidget* parent)
    : QScrollArea(parent)
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
}

QSize ScreenFitArea::room(const QWidget* widget)
{
    const QScreen* screen = widget && widget->screen() ? widget->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return QSize(640, 480);
    // The title bar and the frame are the window manager's; a title bar's
    // height and a little more is what they take on the desktops we know.
    const QStyle* style = widget ? widget->style() : nullptr;
    const int titleBar = style ? style->pixelMetric(QStyle::PM_TitleBarHeight) : 30;
    const QSize available = screen->availableGeometry().size();
    return QSize(available.width() - 16, available.height() - titleBar - 16);
}

QSize ScreenFitArea::sizeHint() const
{
    if (!widget())
        return QScrollArea::sizeHint();
    QSize hint = widget()->sizeHint().expandedTo(widget()->minimumSizeHint());
    const int frame = 2 * frameWidth();
    hint += QSize(frame, frame);
    // Where the window must be cut short, the scroll bar needs its width.
    hint.rwidth() += verticalScrollBar()->sizeHint().width();
    return hint;
}

ScreenFitArea* ScreenFitArea::wrap(QDialog* dialog, int keep)
{
    auto* layout = qobject_cast<QBoxLayout*>(dialog->layout());
    if (!layout || layout->count() < keep)
        return nullptr;
    auto* area = new ScreenFitArea(dialog);
    auto* body = new QWidget(area);
    auto* bodyLayout = new QVBoxLayout(body);
    bodyLayout->setContentsMargins(0, 0, 0, 0);
    const int moved = layout->count() - keep;
    for (int i = 0; i < moved; ++i) {
        const int stretch = layout->stretch(0);
        QLayoutItem* item = layout->takeAt(0);
        if (QWidget* widget = item->widget()) {
            delete item;
            bodyLayout->addWidget(widget, stretch);
        } else if (QLayout* child = item->layout()) {
            bodyLayout->addLayout(child, stretch);
        } else {
            bodyLayout->addItem(item);
        }
    }
    area->setWidget(body);
    layout->insertWidget(0, area, 1);
    dialog->installEventFilter(area);
    return area;
}

bool ScreenFitArea::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show && watched == window())
        fitWindow(window());
    return QScrollArea::eventFilter(watched, event);
}

void ScreenFitArea::fitWindow(QWidget* window)
{
    const QSize limit = room(window);
    if (window->testAttribute(Qt::WA_Resized)) {
        // A size of the user's or the program's own is kept where it fits.
        if (window->width() > limit.width() || window->height() > limit.height())
            window->resize(window->size().boundedTo(limit).expandedTo(window->minimumSize()));
    } else {
        // The layout still holds the size this area had before its contents
        // were laid out.
        updateGeometry();
        const QSize wanted = window->sizeHint().expandedTo(window->minimumSizeHint());
        window->resize(wanted.boundedTo(limit).expandedTo(window->minimumSize()));
    }
    // Opened centred on its parent with its first size: kept on the screen.
    const QScreen* screen = window->screen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    QRect frame = window->frameGeometry();
    frame.setSize(frame.size().boundedTo(available.size()));
    if (frame.bottom() > available.bottom())
        frame.moveBottom(available.bottom());
    if (frame.right() > available.right())
        frame.moveRight(available.right());
    if (frame.top() < available.top())
        frame.moveTop(available.top());
    if (frame.left() < available.left())
        frame.moveLeft(available.left());
    window->move(frame.topLeft());
}
