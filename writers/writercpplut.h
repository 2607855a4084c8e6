// SPDX-License-Identifier: MIT
#pragma once

// Writes the definitions as C++17 lookup tables: the tags sorted by code
// with their names, data types and tables of enum values and bits, and small
// functions that find a tag by code or name, a value or bit by number or
// name. The text is a translation unit of its own that needs only the
// standard library; it declares the functions it defines, so a caller can
// copy those declarations or include the file.
//
// Texts read (Writer::TextIndex):
//   HeaderText     the comment at the top of the file
//   NamespaceText  the enclosing namespace, "a::b" for a nested one;
//                  "Definitions" when empty
// Indent (setIndent): the first is that of a namespace's contents, the
// second one level of a block.

#include "writers/writer.h"

namespace QRV16 {

class WriterCppLut : public Writer
{
public:
    WriterCppLut();
    bool writeDefinitions(const Item* root) override;
};

} // namespace QRV16
