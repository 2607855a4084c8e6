// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

class QSize;

class QWidget;

// Where a window goes: its saved place, put back only where it lands on a
// visible screen, and bringing an open window to the front.
class WindowPlacement
{
public:
    // Position, frame-less size and maximised flag, in a binary data stream.
    static QByteArray save(const QWidget* widget);
    // Applies a saved record when it fits on a screen; false when nothing was
    // applied (empty, unreadable, too small or off every screen).
    static bool restore(QWidget* widget, const QByteArray& record);
    // A first size: `wanted`, cut to the available area of the screen the
    // widget is on (at twice the scale a laptop screen is smaller than a
    // comfortable default), never below the widget's minimum.
    static void resizeToFit(QWidget* widget, const QSize& wanted);
    // Shows a minimised window again, raises and activates it.
    static void raise(QWidget* widget);
};
