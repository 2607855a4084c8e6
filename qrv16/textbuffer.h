// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/types.h"

#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <cstring>

namespace QRV16 {

// A text built in one buffer: room is made before each piece, and the
// pieces are copied in, never built as strings of their own. What the
// message writer prints a message into, at a few nanoseconds a value.
class TextBuffer
{
public:
    explicit TextBuffer(qsizetype reserve) { grow(reserve); }

    void room(qsizetype n)
    {
        if (m_end - m_p < n)
            grow(n);
    }
    void put(char c)
    {
        room(1);
        *m_p++ = char16_t(uchar(c));
    }
    void latin1(const char* s, qsizetype n)
    {
        room(n);
        for (qsizetype i = 0; i < n; ++i)
            *m_p++ = char16_t(uchar(s[i]));
    }
    template <size_t N> void literal(const char (&s)[N]) { latin1(s, qsizetype(N - 1)); }
    void append(QStringView s)
    {
        const qsizetype n = s.size();
        room(n);
        const char16_t* q = s.utf16();
        // Names are short: a loop beats calling memcpy.
        if (n <= 32) {
            for (qsizetype i = 0; i < n; ++i)
                m_p[i] = q[i];
        } else {
            std::memcpy(m_p, q, size_t(n) * sizeof(char16_t));
        }
        m_p += n;
    }
    // " name=" (the blank unless first) with one check for room: the
    // common start of an element.
    void named(bool first, QStringView name)
    {
        const qsizetype n = name.size();
        room(n + 2);
        if (!first)
            *m_p++ = u' ';
        const char16_t* q = name.utf16();
        for (qsizetype i = 0; i < n; ++i)
            m_p[i] = q[i];
        m_p += n;
        *m_p++ = u'=';
    }
    // Fixed-width decimal digits, for dates and times printed from the wire.
    void digits(quint64 value, int width)
    {
        char buf[24];
        char* b = buf + sizeof buf;
        do {
            *--b = char('0' + value % 10);
            value /= 10;
        } while (value > 0);
        while (buf + sizeof buf - b < width)
            *--b = '0';
        latin1(b, buf + sizeof buf - b);
    }
    // Four upper-case hexadecimal digits of the low 16 bits.
    void hex16(unsigned value)
    {
        const char buf[4] = {hexDigits[value >> 12 & 15], hexDigits[value >> 8 & 15],
                             hexDigits[value >> 4 & 15], hexDigits[value & 15]};
        latin1(buf, 4);
    }
    // As formatNumber() prints it.
    void number(quint64 value, const DisplayMode& mode);
    void isoDate(int year, int month, int day);
    void time(int msecs, bool withMs);
    // Two upper-case hexadecimal digits a byte.
    void hex(QByteArrayView bytes);
    // Four bytes as a dotted IPv4 address.
    void address(QByteArrayView bytes);
    // A string payload of ASCII, quoted and escaped as escaped() does; false
    // (and nothing written) when there is a byte above 127.
    bool asciiString(QByteArrayView bytes);

    qsizetype size() const { return m_p - begin(); }
    // Back to an earlier size(), dropping what was written since.
    void truncate(qsizetype n) { m_p = begin() + n; }

    QString take()
    {
        m_text.resize(size());
        return std::move(m_text);
    }

private:
    static constexpr char hexDigits[] = "0123456789ABCDEF";

    char16_t* begin() const { return m_end - m_text.size(); }
    void grow(qsizetype n)
    {
        const qsizetype used = m_text.isEmpty() ? 0 : size();
        m_text.resize(qMax(used + n, 2 * m_text.size() + 64));
        auto* b = reinterpret_cast<char16_t*>(m_text.data());
        m_p = b + used;
        m_end = b + m_text.size();
    }

    // Two digits of 0 to 99; room is made by the caller.
    void two(int v)
    {
        *m_p++ = char16_t('0' + v / 10);
        *m_p++ = char16_t('0' + v % 10);
    }

    QString m_text;
    char16_t* m_p = nullptr;
    char16_t* m_end = nullptr;
};

} // namespace QRV16
