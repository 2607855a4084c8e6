// SPDX-License-Identifier: MIT
#pragma once

// The element printer for the 16-bit framing: a 2-byte little-endian length
// (of the tag and payload) and a 2-byte tag whose top bits hold the type.

#include "connection/elementtrace.h"

class LTD16Trace : public ElementTrace
{
    Q_OBJECT
public:
    explicit LTD16Trace(QObject* parent = nullptr) : ElementTrace(2, parent) {}
};
