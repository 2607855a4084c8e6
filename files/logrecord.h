// SPDX-License-Identifier: MIT
#pragma once

// One line of the CSV log the window writes and replays, and that `korv
// listen --log` writes too:
//   time,"source","text",colour,src,dst
// Time to the millisecond and empty when unknown; quotes doubled; colour,
// src and dst empty when negative. The text is written as given: colour
// escapes are the caller's to strip.

#include <QDateTime>
#include <QString>
#include <QStringList>

class LogRecord
{
public:
    static QString format(const QDateTime& time, const QString& source, const QString& text, int color,
                          int src, int dst);
    // The fields of one record: quoted fields may hold commas, line breaks
    // and doubled quotes; line endings at the end are ignored.
    static QStringList split(const QString& line);
};
