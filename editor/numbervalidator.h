// SPDX-License-Identifier: MIT
#pragma once

#include "editor/itemvalidator.h"

namespace QRV16 {

// Checks an enum value or bit number against two bounds.
class NumberValidator : public ItemValidator
{
    Q_OBJECT
public:
    NumberValidator(qint64 lower, qint64 upper, const Item* item = nullptr, QObject* parent = nullptr);

    State validate(QString& input, int& pos) const override;
    qint64 lower() const { return m_lower; }
    qint64 upper() const { return m_upper; }

    enum ReadResult { NotANumber, TooLarge, Number };
    // Automatic base: "0x" hexadecimal, a leading "0" octal, else decimal,
    // with an optional sign. The "0o", "0y" and "0b" forms in which ids are
    // shown under the octal and binary display modes are read as well.
    static ReadResult readNumber(const QString& text, qint64* value);

    // The bounds of an item of this type: enum values take 32 bits, signed
    // or not; bit numbers go up to the widest mask the generators write.
    static qint64 lowerBound(int itemType);
    static qint64 upperBound(int itemType);

private:
    qint64 m_lower;
    qint64 m_upper;
};

} // namespace QRV16
