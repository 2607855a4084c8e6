// SPDX-License-Identifier: MIT
#pragma once

// The character framing of a serial line: data bits, parity and stop bits,
// written as on a device's label ("8N1", "7E1", "8E2"). A value type; the
// default is 8N1.

#include <QString>

class SerFraming
{
public:
    enum Parity { NoParity = 0, EvenParity = 1, OddParity = 2, MarkParity = 3, SpaceParity = 4 };

    SerFraming() = default;
    SerFraming(int dataBits, int parity, int stopBits);

    int dataBits() const { return m_dataBits; }
    int parity() const { return m_parity; }
    int stopBits() const { return m_stopBits; }
    void setDataBits(int bits) { m_dataBits = bits; }
    void setParity(int parity) { m_parity = parity; }
    void setStopBits(int bits) { m_stopBits = bits; }

    // 5 to 8 data bits, a known parity, 1 or 2 stop bits.
    bool isValid() const;
    // "8N1"; "?" for a part out of range.
    QString text() const;
    // "8N1", "7e2", "8-E-1", "8/O/1"; ok false and 8N1 for anything else.
    static SerFraming fromText(const QString& text, bool* ok = nullptr);

    // "none", "even", "odd", "mark", "space": the long forms.
    static QString parityName(int parity);
    // The parity of a long form or its letter; -1 if none.
    static int parityFromName(const QString& name);

    bool operator==(const SerFraming& other) const
    {
        return m_dataBits == other.m_dataBits && m_parity == other.m_parity && m_stopBits == other.m_stopBits;
    }
    bool operator!=(const SerFraming& other) const { return !(*this == other); }

private:
    int m_dataBits = 8;
    int m_parity = NoParity;
    int m_stopBits = 1;
};
