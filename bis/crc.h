// SPDX-License-Identifier: MIT
#pragma once

// CRC-16 of the BiS bus (polynomial 0x1021, MSB first) in the augmented
// form: bytes are shifted in at the low end of the register, and a sender
// shifts two zero bytes in at the end to obtain the check value. A receiver
// that shifts in the whole body including both check bytes ends at 0.

#include <QtGlobal>

class CRC
{
public:
    // Register after shifting one byte in.
    static unsigned crc16(unsigned byte, unsigned crc);
    // Register after shifting a range in; crc unchanged for an empty range.
    static unsigned crc16(const void* data, unsigned len, unsigned crc);
    // Entry i (0..255) of the MSB-first table of 0x1021.
    static quint16 tableEntry(unsigned i);
};
