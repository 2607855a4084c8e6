// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

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
    // Shows a minimised window again, raises and activates it.
    static void raise(QWidget* widget);
};
