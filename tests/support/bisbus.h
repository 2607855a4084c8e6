// SPDX-License-Identifier: MIT
#pragma once

// The BiS wire format built the slow, obvious way, and one end of an
// in-memory bus: what the BiS codecs are checked against.

#include "connection/bisprotocol.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdarg>
#include <cstdio>
#include <functional>

namespace korvtest {

inline QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text); // the spaces are skipped
}

inline QString spaced(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

// CRC-16/AUG-CCITT bit by bit, in the direct form with the equivalent start
// value 0x1D0F: it shares nothing with the table-driven code under test.
inline quint16 referenceCrc(const QByteArray& body)
{
    unsigned crc = 0x1D0F;
    for (char c : body) {
        crc ^= unsigned(quint8(c)) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) ? ((crc << 1) ^ 0x1021) : (crc << 1);
        crc &= 0xFFFF;
    }
    return quint16(crc);
}

// The start marker, `plain` with the markers in it stuffed, the end marker.
inline QByteArray stuffedFrame(quint8 start, const QByteArray& plain)
{
    QByteArray frame(1, char(start));
    for (char c : plain) {
        const quint8 b = quint8(c);
        if (b >= 0x91 && b <= 0x94) {
            frame.append(char(0x94));
            frame.append(char(b ^ 0x40));
        } else {
            frame.append(c);
        }
    }
    frame.append(char(0x93));
    return frame;
}

// A frame built the slow, obvious way, for cases too long to write out.
inline QByteArray referenceFrame(quint8 start, const QByteArray& body, bool breakCrc = false)
{
    const quint16 crc = referenceCrc(body) ^ (breakCrc ? 0x0100 : 0);
    return stuffedFrame(start, body + char(crc >> 8) + char(crc & 0xFF));
}

// One end of an in-memory bus: what it transmits piles up in sent, what it
// takes in in received.
class BusNode : public BiSProtocol
{
public:
    struct Block
    {
        unsigned src;
        unsigned type;
        QByteArray data;
    };

    explicit BusNode(Mode mode, unsigned own = 0)
    {
        setMode(mode);
        setOwnAddress(own);
    }

    bool sendBytes(const QByteArray& payload, unsigned destination = 0, unsigned type = 34)
    {
        Packet p;
        p.destination = destination;
        p.type = type;
        p.data = payload.constData();
        p.len = unsigned(payload.size());
        return BiSProtocol::send(p);
    }

    void feed(const QByteArray& bytes) { receive(bytes.constData(), unsigned(bytes.size())); }

    QStringList payloads() const
    {
        QStringList list;
        for (const Block& b : received)
            list << spaced(b.data);
        return list;
    }

    QList<QByteArray> sent;
    QList<Block> received;
    mutable QString traced;
    bool transmitResult = true;
    std::function<void(BusNode&)> onData;

protected:
    void dataReceived(unsigned src, unsigned type, const void* data, unsigned len) override
    {
        received.append({src, type, QByteArray(static_cast<const char*>(data), int(len))});
        if (onData)
            onData(*this);
    }

    bool transmitFrame(const void* data, unsigned len) override
    {
        sent.append(QByteArray(static_cast<const char*>(data), int(len)));
        return transmitResult;
    }

    void trace(const char* format, ...) const override
    {
        char buffer[512];
        va_list args;
        va_start(args, format);
        std::vsnprintf(buffer, sizeof buffer, format, args);
        va_end(args);
        traced += QString::fromLatin1(buffer);
    }
};

} // namespace korvtest
