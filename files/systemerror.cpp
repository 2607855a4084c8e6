// SPDX-License-Identifier: MIT
#include "files/systemerror.h"

#include <cerrno>
#include <cstring>

QString SystemError::text(int errorNumber)
{
    char buffer[256];
    buffer[0] = '\0';
    // The GNU strerror_r returns the text, which may or may not be in `buffer`.
    const char* text = strerror_r(errorNumber, buffer, sizeof buffer);
    return QString::fromLocal8Bit(text ? text : buffer);
}

QString SystemError::last()
{
    return text(errno);
}
