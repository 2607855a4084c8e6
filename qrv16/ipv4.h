// SPDX-License-Identifier: MIT
#pragma once

// An IPv4 address (or netmask) held as one number, first octet in the most
// significant byte.

#include <QString>
#include <QtGlobal>

class IPv4
{
public:
    IPv4() = default;
    explicit IPv4(quint32 address) : m_address(address) {}

    quint32 toInt() const { return m_address; }
    void setInt(quint32 address) { m_address = address; }
    bool isNull() const { return m_address == 0; }

    QString toString() const;
    // The two forms differ on failure on purpose: the C-string form clears
    // the address, the QString form keeps it.
    bool fromString(const char* text);
    bool fromString(const QString& text);
    bool fromBinary(const void* bytes);
    void toBinary(void* bytes) const;
    bool fromNetmaskBits(unsigned int bits);
    int netmaskBits() const;

    static bool decodeString(const QString& text, IPv4* address, IPv4* netmask);

    bool operator==(const IPv4& o) const { return m_address == o.m_address; }
    bool operator!=(const IPv4& o) const { return m_address != o.m_address; }

private:
    quint32 m_address = 0;
};
