// SPDX-License-Identifier: MIT
#pragma once

// The serial speeds the library offers, and their termios rate codes.

class pSerBPS
{
public:
    static constexpr int count = 19;

    // Speed in bits per second of table entry index, 0 outside the table.
    static int index2speed(int index);
    // Termios rate code of a speed in the table, -1 for any other speed.
    static int int2bps(int speed);
};
