// SPDX-License-Identifier: MIT
#pragma once

// One element of a message as Python reads it: tag, name, type and value,
// and for a nested element its children by tag. It shares the message's
// bytes, so it stays valid whatever happens to the Message it came from.

#include "python/values.h"

#include <pybind11/pybind11.h>

#include <QString>

namespace korvpy {

namespace py = pybind11;

class Element
{
public:
    // The element at `pos` of a range that ends at `end`.
    Element(Source source, int pos, int end) : m_source(std::move(source)), m_pos(pos), m_end(end) {}

    int tag() const { return iterator().tag(); }
    py::object name() const;
    const char* type() const { return typeName(tag()); }
    int offset() const { return m_pos; }
    py::object value() const { return readValue(m_source, iterator(), Nesting::Elements); }
    // The enum name of an Integer's value, else None.
    py::object enumName() const;
    py::bytes raw() const;
    // The value in the text notation, as the trace shows it.
    QString valueText() const;
    // The whole element in the text notation.
    QString text() const;
    // The element's own bytes, header included.
    QRV16::Message bytes() const;

    // Children of a nested element (none for any other); raise
    // korv.MessageError when they do not walk cleanly.
    py::list children() const { return readChildren(m_source, iterator(), Nesting::Elements); }
    py::list values() const { return readChildren(m_source, iterator(), Nesting::Values); }
    py::list items() const { return readChildren(m_source, iterator(), Nesting::Items); }
    int childCount() const;
    // The first child with this tag; raises KeyError when there is none.
    Element child(py::handle tag) const;
    bool hasChild(py::handle tag) const;
    // The first element with this tag below this one, depth first; None.
    py::object find(py::handle tag) const;

    const Source& source() const { return m_source; }

private:
    QRV16::Message::Iterator iterator() const { return QRV16::Message::Iterator(m_source.message.get(), m_pos, m_end); }
    // The first child with `code`, or an iterator at its end.
    QRV16::Message::Iterator childWith(int code) const;
    bool findBelow(const QRV16::Message::Iterator& element, int code, int depth, Element* found) const;

    Source m_source;
    int m_pos;
    int m_end;
};

} // namespace korvpy
