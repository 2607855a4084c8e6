// SPDX-License-Identifier: MIT
#pragma once

// A reply with a list nested in it, as the trace tests send it:
// GetStatusReply=(ResultCode=Ok Pumps=(PumpId=2 Running=true) StationName="x").

#include "qrv16/message.h"

inline QRV16::Message statusReply(const QString& station = QStringLiteral("x"))
{
    QRV16::Message m;
    m.beginMessage(0xE001);
    m.appendInt(0x1006, 0);
    m.beginMessage(0xC001);
    m.appendInt(0x1001, 2);
    m.appendBool(0x2001, true);
    m.endMessage();
    m.appendString(0x3001, station);
    m.endMessage();
    return m;
}
