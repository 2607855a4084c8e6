#pragma once

// The main window's process-wide display flags, read by the trace model,
// the channels and the trace printers.
class MainWindow
{
public:
    enum GlobalFlag {
        AutoScroll = 0,
        RelativeTime = 1,
        HungarianNotation = 2,
        TraceRaw = 3,
        TraceMessageBytes = 4,
        Decode = 5,
        HideDuplicates = 6,
        LinkChannels = 7,
        Pause = 8,
        GlobalCount
    };

    static bool global[GlobalCount];
};
