// SPDX-License-Identifier: MIT
#pragma once

// korv.Message: one message, read from received bytes or built element by
// element. Reading goes through the Element at its top; a message being
// built keeps its outer element open and closes a copy when read.

#include "python/element.h"
#include "python/tables.h"

#include "qrv16/message.h"

#include <pybind11/pybind11.h>

#include <memory>

namespace korvpy {

namespace py = pybind11;

class Message
{
public:
    // Received bytes, exactly one element; raises korv.MessageError.
    static Message read(const QByteArray& bytes, std::shared_ptr<const Tables> tables);
    // A message the library already cut out, valid or checked by the caller.
    static Message wrap(const QRV16::Message& message, std::shared_ptr<const Tables> tables);
    // A message to build: with a nested tag its children follow; with none
    // (-1) the first element appended is the message.
    Message(std::shared_ptr<const Tables> tables, int tag);

    void append(py::handle tag, py::handle value);
    void appendElement(const QRV16::Message& element);
    void extend(py::handle items);

    // The message with its outer length set; empty before the first append.
    const QRV16::Message& closed() const;
    // The top element; raises korv.MessageError while there is none.
    Element top() const;
    const std::shared_ptr<const Tables>& tables() const { return m_tables; }
    bool isBuilding() const { return m_building; }

private:
    Message() = default;
    // After an append: the element and the message must stay within their
    // 16-bit lengths, else the append is undone.
    void checkSize(int before);

    std::shared_ptr<const Tables> m_tables;
    QRV16::Message m_message;
    int m_tag = -1; // of an open outer element
    bool m_building = false;
    mutable std::shared_ptr<const QRV16::Message> m_closed;
};

} // namespace korvpy
