// SPDX-License-Identifier: MIT
#pragma once

#include "editor/itemvalidator.h"

namespace QRV16 {

// Checks a tag code typed as hexadecimal (with or without "0x").
class TagValidator : public ItemValidator
{
    Q_OBJECT
public:
    explicit TagValidator(const Item* item = nullptr, QObject* parent = nullptr);

    State validate(QString& input, int& pos) const override;

    // Reads "1A", "0x1a" or "0X1A"; false for anything that is no
    // hexadecimal number. No range check.
    static bool readTag(const QString& text, quint64* code);
};

} // namespace QRV16
