// SPDX-License-Identifier: MIT
#pragma once

// Writes the definitions as a C header: per tag PREFIX_TAG_<Tag> (its code)
// and PREFIX_TYPE_<Tag> (its data type), per enum value PREFIX_<Tag>_<Enum>,
// per bit PREFIX_<Tag>_BIT_<Bit> (its number) and PREFIX_<Tag>_MASK_<Bit>,
// and static inline functions that name a tag code, enum value or bit
// number for logging. Each name comes from its entry and tag only; the file's
// comments are kept as C comments.
//
// Texts read (Writer::TextIndex):
//   HeaderText  the comment at the top of the header
//   PrefixText  put before every macro name, with a '_' when it has none
//               ("PS4" gives PS4_TAG_PumpMode, PS4_PumpMode_Auto)
// The include guard comes from the output file's name, or is
// PREFIX_QRV16_DEFINITIONS_H when there is none (standard output, encode()).

#include "writers/writer.h"

namespace QRV16 {

class WriterHeader : public Writer
{
public:
    bool writeDefinitions(const Item* root) override;
};

} // namespace QRV16
