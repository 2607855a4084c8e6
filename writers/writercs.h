// SPDX-License-Identifier: MIT
#pragma once

// Writes the definitions as a C# file: the tag codes as constants of the
// static class Tags, their data types in the static class Types, one
// enumeration <Tag>Values per tag with enum values and one [Flags]
// enumeration <Tag>Bits per tag with bits, and DataType.
// Starts with a UTF-8 byte-order mark, as C# files customarily do.
//
// Texts read (Writer::TextIndex):
//   HeaderText     the comment at the top of the file
//   NamespaceText  the namespace, "A.B" for a nested one; "Definitions"
//                  when empty
// Indent (setIndent): the first is that of a namespace's contents, the
// second one level further in.

#include "writers/writer.h"

namespace QRV16 {

class WriterCs : public Writer
{
public:
    WriterCs();
    bool writeDefinitions(const Item* root) override;
};

} // namespace QRV16
