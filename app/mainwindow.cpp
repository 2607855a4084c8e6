#include "app/mainwindow.h"

// The defaults of a first start: auto scroll, decoding and linked channels on.
bool MainWindow::global[MainWindow::GlobalCount] = {
    true,  // AutoScroll
    false, // RelativeTime
    false, // HungarianNotation
    false, // TraceRaw
    false, // TraceMessageBytes
    true,  // Decode
    false, // HideDuplicates
    true,  // LinkChannels
    false, // Pause
};
