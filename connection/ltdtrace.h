// SPDX-License-Identifier: MIT
#pragma once

// The element printer for the older 8-bit framing: a 1-byte length (of the
// tag and payload) and a 1-byte tag, type in the high nibble and number in
// the low one. Such a tag is named as the 16-bit code of the same type and
// number: tag 31 is 3001.

#include "connection/elementtrace.h"

class LTDTrace : public ElementTrace
{
    Q_OBJECT
public:
    explicit LTDTrace(QObject* parent = nullptr) : ElementTrace(1, parent) {}
};
