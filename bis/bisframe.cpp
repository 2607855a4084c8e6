// SPDX-License-Identifier: MIT
#include "bis/bisframe.h"

#include "bis/crc.h"

namespace {

constexpr unsigned char QueryStart = 0x91;
constexpr unsigned char AnswerStart = 0x92;
constexpr unsigned char End = 0x93;
constexpr unsigned char Escape = 0x94;

void putStuffed(QByteArray& out, unsigned char byte)
{
    if (byte >= QueryStart && byte <= Escape) {
        out.append(char(Escape));
        out.append(char(byte ^ 0x40));
    } else {
        out.append(char(byte));
    }
}

void putAddress(QByteArray& out, quint32 address, int width)
{
    for (int i = 0; i < width; ++i)
        out.append(char((address >> (8 * i)) & 0xFF));
}

bool fits(quint32 address, int width)
{
    return width >= 4 || address < (quint32(1) << (8 * width));
}

} // namespace

int BiSFrame::addressWidth(int mode)
{
    static const int widths[4] = {0, 1, 2, 4};
    return mode >= 0 && mode <= 3 ? widths[mode] : 0;
}

int BiSFrame::narrowestAddressMode(quint32 destination, quint32 source)
{
    const quint32 larger = destination > source ? destination : source;
    if (larger == 0)
        return 0;
    if (larger < 0x100)
        return 1;
    if (larger < 0x10000)
        return 2;
    return 3;
}

int BiSFrame::effectiveAddressMode() const
{
    return addressMode == AutoAddressMode ? narrowestAddressMode(destination, source) : addressMode;
}

QByteArray BiSFrame::body(int mode) const
{
    const int width = addressWidth(mode);
    QByteArray out;
    out.reserve(2 + 2 * width + payload.size());
    out.append(char((type << 2) | mode));
    out.append(char(sequence));
    putAddress(out, destination, width);
    putAddress(out, source, width);
    out.append(payload);
    return out;
}

quint16 BiSFrame::crc() const
{
    const QByteArray b = body(effectiveAddressMode() & 3);
    // The augmented form: two zero bytes shifted in after the body.
    const unsigned reg = CRC::crc16(b.constData(), unsigned(b.size()), 0xFFFF);
    return quint16(CRC::crc16(0, CRC::crc16(0, reg)));
}

QByteArray BiSFrame::encode(QString* error) const
{
    const auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return QByteArray();
    };
    const int mode = effectiveAddressMode();
    if (mode < 0 || mode > 3)
        return fail(QStringLiteral("address mode %1 is not 0, 1, 2 or 3").arg(addressMode));
    if (type < 0 || type > MaxType)
        return fail(QStringLiteral("frame type %1 is not within 0..%2").arg(type).arg(MaxType));
    if (sequence < 0 || sequence > 255)
        return fail(QStringLiteral("sequence number %1 is not within 0..255").arg(sequence));
    const int width = addressWidth(mode);
    if (!fits(destination, width) || !fits(source, width))
        return fail(QStringLiteral("addresses %1 and %2 do not fit in %3 byte(s)")
                        .arg(destination)
                        .arg(source)
                        .arg(width));
    if (payload.size() > MaxPayload)
        return fail(QStringLiteral("a payload of %1 bytes is longer than the %2 a frame holds")
                        .arg(payload.size())
                        .arg(MaxPayload));
    const QByteArray b = body(mode);
    const unsigned reg = CRC::crc16(b.constData(), unsigned(b.size()), 0xFFFF);
    const unsigned check = CRC::crc16(0, CRC::crc16(0, reg));
    QByteArray out;
    out.reserve(2 * (b.size() + 2) + 2);
    out.append(char(kind == Answer ? AnswerStart : QueryStart));
    for (char c : b)
        putStuffed(out, uchar(c));
    putStuffed(out, uchar(check >> 8));
    putStuffed(out, uchar(check & 0xFF));
    out.append(char(End));
    if (error)
        error->clear();
    return out;
}

bool BiSFrame::operator==(const BiSFrame& o) const
{
    return kind == o.kind && type == o.type && sequence == o.sequence && destination == o.destination &&
           source == o.source && effectiveAddressMode() == o.effectiveAddressMode() && payload == o.payload;
}
