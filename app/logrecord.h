// SPDX-License-Identifier: MIT
#pragma once

// One line of the CSV log the window writes and replays, and that `korv
// listen --log` writes too:
//   time,"source","text",colour,src,dst
// Time to the millisecond and empty when unknown; quotes doubled; colour,
// src and dst empty when negative; ANSI escapes stripped from the text.

#include <QDateTime>
#include <QString>

class LogRecord
{
public:
    static QString format(const QDateTime& time, const QString& source, const QString& text, int color,
                          int src, int dst);
};
