// SPDX-License-Identifier: MIT
#pragma once

// Writes the definitions as a C++17 include file: the tag codes as constants
// in NAMESPACE::Tag, their data types in NAMESPACE::Type, one scoped
// enumeration per tag with enum values (named as the tag) and the bit masks
// of a tag in NAMESPACE::Bits::<tag>.
//
// Texts read (Writer::TextIndex):
//   HeaderText     the comment at the top of the file
//   NamespaceText  the enclosing namespace, "a::b" for a nested one;
//                  "Definitions" when empty
// Indent (setIndent): the first is that of a namespace's contents, the
// second one level of an enumeration.

#include "writers/writer.h"

namespace QRV16 {

class WriterCpp : public Writer
{
public:
    WriterCpp();
    bool writeDefinitions(const Item* root) override;
};

} // namespace QRV16
