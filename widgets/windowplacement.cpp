// SPDX-License-Identifier: MIT
#include "widgets/windowplacement.h"

#include <QDataStream>
#include <QDebug>
#include <QIODevice>
#include <QGuiApplication>
#include <QRect>
#include <QScreen>
#include <QWidget>

namespace {

QString rectText(const QSize& size, const QPoint& pos)
{
    return QString::asprintf("%ux%d%+d%+d", unsigned(size.width()), size.height(), pos.x(), pos.y());
}

void diagnose(const QString& text)
{
    qDebug().noquote() << QStringLiteral("\033[31m") + text + QStringLiteral("\033[0m");
}

} // namespace

QByteArray WindowPlacement::save(const QWidget* widget)
{
    QByteArray record;
    QDataStream out(&record, QIODevice::WriteOnly);
    out << widget->pos() << widget->geometry().size() << widget->isMaximized();
    return record;
}

bool WindowPlacement::restore(QWidget* widget, const QByteArray& record)
{
    if (record.isEmpty() || !widget)
        return false;
    QDataStream in(record);
    QPoint pos;
    QSize size;
    bool maximized = false;
    in >> pos >> size >> maximized;
    if (in.status() != QDataStream::Ok)
        return false;

    const QString saved = QStringLiteral("Restore ") + rectText(size, pos);
    QScreen* screen = QGuiApplication::screenAt(pos);
    if (!screen) {
        diagnose(saved + QStringLiteral(": Not on any screen"));
        // Centre on the primary screen instead, if the window fits there.
        screen = QGuiApplication::primaryScreen();
        if (!screen)
            return false;
    }
    const QRect area = screen->availableGeometry().adjusted(-16, 0, 16, -50);

    if (!maximized && (size.width() <= 48 || size.height() <= 48)) {
        diagnose(saved + QStringLiteral(": Too small"));
        return false;
    }

    bool usePosition = true;
    bool useSize = true;
    if (!area.contains(QRect(pos, size))) {
        const QString areaText = rectText(area.size(), area.topLeft());
        diagnose(saved + QStringLiteral(": Does not fit ") + areaText + QStringLiteral(", trying centered"));
        QRect centred(QPoint(0, 0), size);
        centred.moveCenter(area.center());
        if (size.isValid() && area.contains(centred)) {
            pos = centred.topLeft();
        } else if (maximized) {
            diagnose(saved + QStringLiteral(": Does not fit ") + areaText +
                     QStringLiteral(", maximizing anyway"));
            usePosition = false;
            useSize = false;
        } else {
            diagnose(saved + QStringLiteral(": Does not fit ") + areaText);
            return false;
        }
    }

    if (usePosition)
        widget->move(pos);
    if (useSize)
        widget->resize(size);
    if (maximized)
        widget->showMaximized();
    return true;
}

void WindowPlacement::resizeToFit(QWidget* widget, const QSize& wanted)
{
    if (!widget)
        return;
    QScreen* screen = widget->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QSize room = screen ? screen->availableGeometry().size() : wanted;
    widget->resize(wanted.boundedTo(room).expandedTo(widget->minimumSize()));
}

void WindowPlacement::raise(QWidget* widget)
{
    if (!widget)
        return;
    if (widget->isMinimized())
        widget->showNormal();
    widget->raise();
    widget->activateWindow();
}
