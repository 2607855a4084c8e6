// SPDX-License-Identifier: MIT
#include "bis/crc.h"

#include <array>

namespace {

constexpr std::array<quint16, 256> makeTable()
{
    std::array<quint16, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned r = i << 8;
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 0x8000) ? ((r << 1) ^ 0x1021) : (r << 1);
        table[i] = quint16(r);
    }
    return table;
}

constexpr std::array<quint16, 256> table = makeTable();

} // namespace

unsigned CRC::crc16(unsigned byte, unsigned crc)
{
    crc &= 0xFFFF;
    return (((crc << 8) | (byte & 0xFF)) & 0xFFFF) ^ table[crc >> 8];
}

unsigned CRC::crc16(const void* data, unsigned len, unsigned crc)
{
    const auto* p = static_cast<const unsigned char*>(data);
    for (unsigned i = 0; i < len; ++i)
        crc = crc16(p[i], crc);
    return crc;
}

quint16 CRC::tableEntry(unsigned i)
{
    return i < table.size() ? table[i] : 0;
}
