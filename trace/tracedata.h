// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylecolor.h"

#include <QDateTime>
#include <QString>

// The content of one trace line, a value.
struct TraceData
{
    TraceData() = default;
    TraceData(const QString& source, StyleColor color, const QString& text, const QDateTime& time,
              int src = -1, int dst = -1)
        : source(source), text(text), time(time), color(color), src(src), dst(dst)
    {
    }

    QString source; // label of the line's origin: "1 Con", "Main", ...
    QString text;
    QDateTime time; // invalid for separators; child lines carry their parent's
    StyleColor color = ColorNone;
    int src = -1; // bus addresses, -1 when none
    int dst = -1;
};
