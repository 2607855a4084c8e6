// SPDX-License-Identifier: MIT
#pragma once

#include "editor/itemvalidator.h"

namespace QRV16 {

// Checks the name of a definition: letters, digits and '_', no leading digit.
class IdentifierValidator : public ItemValidator
{
    Q_OBJECT
public:
    explicit IdentifierValidator(const Item* item = nullptr, QObject* parent = nullptr);

    State validate(QString& input, int& pos) const override;
};

} // namespace QRV16
