// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"
#include "qrv16/types.h"

namespace QRV16 {

class TagDataLut;

// The number a chart draws for one element: Integer (4 or 8 bytes, signed),
// Bool (0 or 1), Date, Time and DateTime (local ms since the epoch, a time
// of day on 2000-01-01), BitArray (up to 64 bits), ExtPoint (x and y).
struct PlotValue
{
    double value[2] = {0, 0}; // ExtPoint: x and y
    quint64 bits = 0;         // BitArray, bit 0 first

    static bool isPlottable(DataType type);
    // The element the iterator stands on; false when its type is not
    // plottable or its payload cannot be read.
    bool read(const Message::Iterator& it);
    // The first element of `tag` in [start, end) of `message`, at any depth
    // but not inside secure containers; false when there is none or it
    // cannot be read.
    bool find(const Message& message, int start, int end, int tag, const TagDataLut* tags);

private:
    bool find(const Message& message, int start, int end, int tag, const TagDataLut* tags, int depth);
};

} // namespace QRV16
