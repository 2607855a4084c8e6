// SPDX-License-Identifier: MIT
#include "qrv16/numbers.h"

namespace Numbers {

int cton(int c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    return -1;
}

unsigned int atoi(const char* p, unsigned int length, unsigned int base)
{
    if (!p)
        return 0xFFFFFFFFu;
    unsigned int value = 0;
    for (unsigned int i = 0; i < length; ++i) {
        const int d = cton(static_cast<unsigned char>(p[i]));
        if (d < 0 || unsigned(d) >= base)
            return 0xFFFFFFFFu;
        value = value * base + unsigned(d);
    }
    return value;
}

template<typename U>
static U parse(const void* data, unsigned int length, bool* ok)
{
    *ok = false;
    const auto* p = static_cast<const unsigned char*>(data);
    if (length == 0 || !p) {
        *ok = true;
        return 0;
    }
    const unsigned char* end = p + length;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
    }
    unsigned int base = 10;
    // No octal form and no upper-case 'B': "010" is ten, "0B1" fails.
    if (end - p > 1 && p[0] == '0' && (p[1] == 'b' || p[1] == 'x' || p[1] == 'X')) {
        base = p[1] == 'b' ? 2 : 16;
        p += 2;
    }
    U value = 0;
    for (; p < end; ++p) {
        const int d = cton(*p);
        if (d < 0 || unsigned(d) >= base)
            return 0;
        value = value * base + U(d);
    }
    *ok = true;
    return negative ? U(0) - value : value;
}

int to32(const void* p, unsigned int length, bool* ok)
{
    return int(parse<quint32>(p, length, ok));
}

long long to64(const void* p, unsigned int length, bool* ok)
{
    return qint64(parse<quint64>(p, length, ok));
}

int to32(const QByteArray& text, bool* ok)
{
    bool dummy;
    return to32(text.constData(), unsigned(text.size()), ok ? ok : &dummy);
}

long long to64(const QByteArray& text, bool* ok)
{
    bool dummy;
    return to64(text.constData(), unsigned(text.size()), ok ? ok : &dummy);
}

int to32(const QString& text, bool* ok)
{
    return to32(text.toUtf8(), ok);
}

long long to64(const QString& text, bool* ok)
{
    return to64(text.toUtf8(), ok);
}

} // namespace Numbers
