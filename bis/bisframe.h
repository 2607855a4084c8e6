// SPDX-License-Identifier: MIT
#pragma once

// One BiS frame as values, and its bytes on the wire: start marker (0x91 a
// query, 0x92 an answer), control byte (type << 2 | address mode), sequence
// number, destination and source addresses (0, 1, 2 or 4 bytes each, low
// byte first), payload, CRC-16 (high byte first) and end marker, the bytes
// between the markers stuffed. Unlike BiSProtocol it keeps no role or state:
// a bench builds any frame it likes and reads any frame it sees.

#include <QByteArray>
#include <QString>

class BiSFrame
{
public:
    enum Kind { Query = 0, Answer = 1 };

    static constexpr int AutoAddressMode = -1;
    static constexpr int MaxType = 63;
    // The most payload a receiver's buffer takes.
    static constexpr int MaxPayload = 1310;

    Kind kind = Query;
    int type = 34;
    int sequence = 0;
    quint32 destination = 0;
    quint32 source = 0;
    // 0 no addresses, 1, 2 or 3 for 1-, 2- or 4-byte addresses; automatic
    // picks the narrowest that holds both, none when both are 0.
    int addressMode = AutoAddressMode;
    QByteArray payload;

    // The bytes on the wire; empty with the reason in `error` when a field
    // is out of range or the payload longer than MaxPayload.
    QByteArray encode(QString* error = nullptr) const;
    // The mode encode() uses: addressMode, or the narrowest that fits.
    int effectiveAddressMode() const;

    static int addressWidth(int mode);
    static int narrowestAddressMode(quint32 destination, quint32 source);
    // The CRC of control byte, sequence, addresses and payload, as sent.
    quint16 crc() const;

    bool operator==(const BiSFrame& o) const;
    bool operator!=(const BiSFrame& o) const { return !(*this == o); }

private:
    // Control byte to the last payload byte, unstuffed.
    QByteArray body(int mode) const;
};
