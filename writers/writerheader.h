#pragma once

// Writes the definitions as a C header: one macro per tag code, enum value
// and bit mask, the file's comments kept as C comments.
//
// Texts read (Writer::TextIndex):
//   HeaderText  the comment at the top of the header
//   PrefixText  put before every macro name, with a '_' when it has none
//               ("PS4" gives PS4_PumpMode, PS4_PumpMode_Auto)
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
