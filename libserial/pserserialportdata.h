// SPDX-License-Identifier: MIT
#pragma once

// Settings every serial port keeps, whether open or not; the platform's
// port extends it with its handles.

#include "libserial/serframing.h"

#include <QString>

struct pSerSerialPortData
{
    virtual ~pSerSerialPortData() = default;

    QString device;
    int speed = 0;
    int handshake = 0; // 1 = RTS/CTS, 2 = Xon/Xoff
    bool dtr = false;
    bool rts = false;
    bool brk = false;
    // readyRead() was emitted and no read has followed yet.
    bool readyReadSignalled = false;
    // Parity 0 none, 1 even, 2 odd, 3 mark, 4 space; 8N1 at first.
    SerFraming framing;
};
