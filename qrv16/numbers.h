// SPDX-License-Identifier: MIT
#pragma once

// Integer parsing from character data: an optional sign, then "0x"/"0X" for
// hexadecimal or "0b" for binary, else decimal. No overflow checks.

#include <QByteArray>
#include <QString>

namespace Numbers {

int cton(int c);
unsigned int atoi(const char* p, unsigned int length, unsigned int base);

int to32(const void* p, unsigned int length, bool* ok);
long long to64(const void* p, unsigned int length, bool* ok);
int to32(const QByteArray& text, bool* ok = nullptr);
long long to64(const QByteArray& text, bool* ok = nullptr);
int to32(const QString& text, bool* ok = nullptr);
long long to64(const QString& text, bool* ok = nullptr);

} // namespace Numbers
