// SPDX-License-Identifier: MIT
#pragma once

// Element payloads as Python values and back, by the tag's data type:
// int, bool, str, bytes, datetime.date, time and datetime (the wall clock,
// naive), ipaddress.IPv4Address, a set of bit names (numbers for bits
// without one), tuples for points, sizes and rectangles, and lists for
// nested elements.

#include "qrv16/message.h"

#include <pybind11/pybind11.h>

#include <QString>

#include <memory>

namespace korvpy {

namespace py = pybind11;

class Tables;

// How a nested value is given: Element objects, plain values, or
// (name, value) pairs as Message.items() has them.
enum class Nesting { Elements, Values, Items };

// The walked message and what names it; shared by every value read from it.
struct Source
{
    std::shared_ptr<const QRV16::Message> message;
    std::shared_ptr<const Tables> tables;
};

// Needs the interpreter's datetime and ipaddress modules: call once.
void initValues();

// The name of the tag's data type: "Integer", "ExtRect", ... "Unknown".
const char* typeName(int tag);
// "PumpId (0x1001)", or the code alone.
QString describeTag(int tag, const Tables* tables);

// The value of the element `it` stands on, `depth` levels down; raises
// korv.MessageError when its payload does not fit its type or nested
// values go deeper than MaxDepth.
py::object readValue(const Source& source, const QRV16::Message::Iterator& it, Nesting nesting, int depth = 0);
// The children of a nested element as the nesting wants them; raises
// korv.MessageError when they do not walk to their end.
py::list readChildren(const Source& source, const QRV16::Message::Iterator& element, Nesting nesting,
                      int depth = 0);
// The iterator over a nested element's children, checked.
QRV16::Message::Iterator childIterator(const QRV16::Message::Iterator& element);

// Appends one element of `tag` holding `value`; raises TypeError or
// ValueError (korv.MessageError for sizes) and leaves `message` as it was.
void appendValue(QRV16::Message& message, int tag, py::handle value, const Tables* tables);

// The longest payload an element holds.
constexpr int MaxPayload = 0xFFFF - 2;
// Nesting as deep as the text notation reads.
constexpr int MaxDepth = 99;

} // namespace korvpy
