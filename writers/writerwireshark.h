// SPDX-License-Identifier: MIT
#pragma once

// Writes the definitions as a Lua dissector for Wireshark and tshark. It
// decodes every element (length, tag, type, value; nested elements as
// subtrees) with the names of tags, enum values and bits, marks a malformed
// element as such and goes on with the next packet. It is registered for
// the USER0 encapsulation of exported traces (the header described in
// qrv16/pcapngwriter.h) and for a TCP port set in its preferences.
//
// Texts read (Writer::TextIndex):
//   HeaderText  the comment at the top of the file
//   PrefixText  the protocol's filter name, "qrv16" when empty

#include "writers/writer.h"

namespace QRV16 {

class WriterWireshark : public Writer
{
public:
    WriterWireshark();
    bool writeDefinitions(const Item* root) override;
};

} // namespace QRV16
