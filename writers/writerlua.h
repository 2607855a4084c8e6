// SPDX-License-Identifier: MIT
#pragma once

// Writes the definitions as a Lua 5.3 or later module returning one table:
// tags (name to code), names (code to name), types (name to data type),
// enums (per tag, value name to value) and bits (per tag, bit name to bit
// number), and enumNames and bitNames, their reverse, for logging.
//
// Texts read (Writer::TextIndex):
//   HeaderText  the comment at the top of the file
// Indent (setIndent): the second is one level of the table.

#include "writers/writer.h"

namespace QRV16 {

class WriterLua : public Writer
{
public:
    WriterLua();
    bool writeDefinitions(const Item* root) override;
};

} // namespace QRV16
