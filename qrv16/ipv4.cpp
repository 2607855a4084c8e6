// SPDX-License-Identifier: MIT
#include "qrv16/ipv4.h"

#include <arpa/inet.h>

QString IPv4::toString() const
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(m_address >> 24)
        .arg((m_address >> 16) & 0xFF)
        .arg((m_address >> 8) & 0xFF)
        .arg(m_address & 0xFF);
}

bool IPv4::fromString(const char* text)
{
    in_addr a;
    if (!text || inet_aton(text, &a) == 0) {
        m_address = 0;
        return false;
    }
    m_address = ntohl(a.s_addr);
    return true;
}

bool IPv4::fromString(const QString& text)
{
    const QByteArray ascii = text.toLatin1();
    in_addr a;
    if (inet_aton(ascii.constData(), &a) == 0)
        return false;
    m_address = ntohl(a.s_addr);
    return true;
}

bool IPv4::fromBinary(const void* bytes)
{
    if (!bytes)
        return false;
    const auto* b = static_cast<const unsigned char*>(bytes);
    m_address = quint32(b[0]) << 24 | quint32(b[1]) << 16 | quint32(b[2]) << 8 | quint32(b[3]);
    return true;
}

void IPv4::toBinary(void* bytes) const
{
    auto* b = static_cast<unsigned char*>(bytes);
    b[0] = uchar(m_address >> 24);
    b[1] = uchar(m_address >> 16);
    b[2] = uchar(m_address >> 8);
    b[3] = uchar(m_address);
}

bool IPv4::fromNetmaskBits(unsigned int bits)
{
    if (bits > 32) {
        m_address = 0;
        return false;
    }
    m_address = bits == 0 ? 0 : ~quint32(0) << (32 - bits);
    return true;
}

int IPv4::netmaskBits() const
{
    int zeros = 0;
    quint32 v = m_address;
    while (zeros < 32 && !(v & 1)) {
        v >>= 1;
        ++zeros;
    }
    // Everything above the lowest one bit must be ones.
    if (zeros < 32 && v != (~quint32(0) >> zeros))
        return -1;
    const int bits = 32 - zeros;
    return bits < 8 ? -1 : bits;
}

bool IPv4::decodeString(const QString& text, IPv4* address, IPv4* netmask)
{
    IPv4 addr = address ? *address : IPv4();
    IPv4 mask = netmask ? *netmask : IPv4();
    int prefix = -1;
    const int slash = text.indexOf(QLatin1Char('/'));
    if (slash >= 0) {
        if (!addr.fromString(text.left(slash)))
            return false;
        const QString rest = text.mid(slash + 1);
        bool ok = false;
        const int n = rest.toInt(&ok, 10);
        if (ok && n >= 8 && n <= 32) {
            prefix = n;
        } else if (mask.fromString(rest)) {
            prefix = mask.netmaskBits();
            if (netmask)
                *netmask = mask;
        }
        if (address)
            *address = addr;
        if (prefix < 8 || prefix > 32)
            return false;
    } else {
        if (!addr.fromString(text))
            return false;
        if (address)
            *address = addr;
        const quint32 a = addr.toInt();
        if (a < 0x80000000u)
            prefix = 8;
        else if (a < 0xC0000000u)
            prefix = 16;
        else if (a < 0xE0000000u)
            prefix = 24;
        else
            return false;
    }
    mask.fromNetmaskBits(unsigned(prefix));
    if (netmask)
        *netmask = mask;
    return true;
}
