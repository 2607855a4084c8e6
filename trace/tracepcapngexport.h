// SPDX-License-Identifier: MIT
#pragma once

// Writes the message and raw byte lines of a trace as a pcapng capture
// (qrv16/pcapngwriter.h): channel and direction come from the line's
// colour, times and bus addresses from the line. Text, hex dump and
// separator lines are left out: a hex dump repeats a message line.

#include <QString>

class QIODevice;
class TraceModel;

class TracePcapngExport
{
public:
    // The number of packets written, or -1 with *error set.
    static int write(const TraceModel* model, QIODevice* device, QString* error);
};
