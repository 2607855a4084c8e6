// SPDX-License-Identifier: MIT
#pragma once

// The offscreen platform warns each time a shown window's size limits
// change. Hundreds of such lines bury a failure in a log that is cut, so a
// test that resizes dialogs drops them and passes every other message on.

#include <QString>
#include <QtGlobal>

namespace korvtest {

inline QtMessageHandler& previousHandler()
{
    static QtMessageHandler handler = nullptr;
    return handler;
}

inline void dropSizeHintWarnings(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtWarningMsg && text == QLatin1String("This plugin does not support propagateSizeHints()"))
        return;
    if (QtMessageHandler previous = previousHandler())
        previous(type, context, text);
}

// Call from initTestCase(): Qt Test installs its own handler only when the
// test starts running.
inline void quietPlatformWarnings()
{
    previousHandler() = qInstallMessageHandler(dropSizeHintWarnings);
}

} // namespace korvtest
