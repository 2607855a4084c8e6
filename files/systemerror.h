// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// The system's text for an errno value, in the user's language.
class SystemError
{
public:
    static QString text(int errorNumber);
    // Of the current errno: call it before anything else can change errno.
    static QString last();
};
