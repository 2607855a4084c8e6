// SPDX-License-Identifier: MIT
#pragma once

// The trace as a test reads it: every top-level line as "source|text",
// waiting lines included.

#include "trace/tracemodel.h"

#include <QStringList>

inline QStringList lines(const TraceModel& model)
{
    QStringList out;
    for (int row = 0; row < model.lineCount(); ++row)
        out << model.index(row, TraceModel::SourceColumn).data().toString() + QLatin1Char('|') +
                   model.index(row, TraceModel::TextColumn).data().toString();
    return out;
}
