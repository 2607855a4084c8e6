// SPDX-License-Identifier: MIT
#include "qrv16/textbuffer.h"

namespace QRV16 {

void TextBuffer::number(quint64 value, const DisplayMode& mode)
{
    if (mode.digits > 64) {
        append(formatNumber(value, mode));
        return;
    }
    char buf[72];
    char* const e = buf + sizeof buf;
    char* b = e;
    const char* prefix = nullptr;
    auto radix = [&](int shift, int mask) {
        do {
            *--b = hexDigits[value & quint64(mask)];
            value >>= shift;
        } while (value);
    };
    switch (mode.mode) {
    case DisplayMode::Hex:
        prefix = "0x";
        radix(4, 15);
        break;
    case DisplayMode::Octal:
        prefix = "0o";
        radix(3, 7);
        break;
    case DisplayMode::Binary:
        prefix = "0y";
        radix(1, 1);
        break;
    case DisplayMode::UnsignedDecimal:
        do {
            *--b = char('0' + value % 10);
            value /= 10;
        } while (value);
        break;
    default: {
        const bool negative = qint64(value) < 0;
        quint64 magnitude = negative ? 0 - value : value;
        do {
            *--b = char('0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude);
        if (negative)
            *--b = '-';
    }
    }
    // The sign is padded like any digit: -5 in four digits is "00-5".
    while (e - b < mode.digits)
        *--b = '0';
    if (prefix)
        latin1(prefix, 2);
    latin1(b, e - b);
}

void TextBuffer::isoDate(int y, int m, int d)
{
    // Years up to 9999 here: the fixed layout is written in place.
    if (y < 0 || y > 9999) {
        digits(quint64(y), 4);
        put('-');
        digits(quint64(m), 2);
        put('-');
        digits(quint64(d), 2);
        return;
    }
    room(10);
    two(y / 100);
    two(y % 100);
    *m_p++ = u'-';
    two(m);
    *m_p++ = u'-';
    two(d);
}

void TextBuffer::time(int msecs, bool withMs)
{
    const int hours = msecs / 3600000;
    if (hours > 99) {
        digits(quint64(hours), 2);
    } else {
        room(2);
        two(hours);
    }
    room(10);
    *m_p++ = u':';
    two(msecs / 60000 % 60);
    *m_p++ = u':';
    two(msecs / 1000 % 60);
    if (withMs) {
        const int ms = msecs % 1000;
        *m_p++ = u'.';
        *m_p++ = char16_t('0' + ms / 100);
        two(ms % 100);
    }
}

void TextBuffer::hex(QByteArrayView bytes)
{
    room(2 * bytes.size());
    for (char c : bytes) {
        *m_p++ = char16_t(hexDigits[uchar(c) >> 4]);
        *m_p++ = char16_t(hexDigits[uchar(c) & 15]);
    }
}

void TextBuffer::address(QByteArrayView bytes)
{
    for (int i = 0; i < 4; ++i) {
        if (i)
            put('.');
        digits(uchar(bytes[i]), 1);
    }
}

bool TextBuffer::asciiString(QByteArrayView bytes)
{
    // Room for exactly the escaped text: most strings need no escape.
    qsizetype length = bytes.size() + 2;
    for (char c : bytes) {
        const uchar u = uchar(c);
        if (u >= 0x80)
            return false;
        if (u == '"' || u == '\\' || u == '\t' || u == 7 || u == 8 || u == '\r' || u == '\n')
            length += 1; // a backslash and a letter
        else if (u <= 31 || u == 127)
            length += 3; // "\000" or "\x" and two digits
    }
    room(length);
    *m_p++ = u'"';
    for (char c : bytes) {
        const uchar u = uchar(c);
        if (u > 31 && u != 127 && u != '"' && u != '\\') {
            *m_p++ = char16_t(u);
            continue;
        }
        *m_p++ = u'\\';
        switch (u) {
        case '"':
            *m_p++ = u'"';
            break;
        case '\\':
            *m_p++ = u'\\';
            break;
        case '\t':
            *m_p++ = u't';
            break;
        case 7:
            *m_p++ = u'a';
            break;
        case 8:
            *m_p++ = u'b';
            break;
        case '\r':
            *m_p++ = u'r';
            break;
        case '\n':
            *m_p++ = u'n';
            break;
        case 0:
            *m_p++ = u'0';
            *m_p++ = u'0';
            *m_p++ = u'0';
            break;
        default:
            *m_p++ = u'x';
            *m_p++ = char16_t(hexDigits[u >> 4]);
            *m_p++ = char16_t(hexDigits[u & 15]);
        }
    }
    *m_p++ = u'"';
    return true;
}

} // namespace QRV16
