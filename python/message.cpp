// SPDX-License-Identifier: MIT
#include "python/message.h"

#include "python/errors.h"
#include "qrv16/types.h"

namespace korvpy {

Message Message::read(const QByteArray& bytes, std::shared_ptr<const Tables> tables)
{
    if (bytes.size() < 4)
        raiseMessageError(QStringLiteral("%1 bytes are no message: a message has at least 4").arg(bytes.size()));
    const int length = int(uchar(bytes[0]) | uchar(bytes[1]) << 8);
    if (length < 2)
        raiseMessageError(QStringLiteral("length field %1 is too short for a tag").arg(length));
    if (length + 2 != bytes.size())
        raiseMessageError(QStringLiteral("the length field says %1 bytes, %2 given")
                              .arg(length + 2)
                              .arg(bytes.size()));
    return wrap(QRV16::Message(bytes), std::move(tables));
}

Message Message::wrap(const QRV16::Message& message, std::shared_ptr<const Tables> tables)
{
    Message m;
    m.m_tables = std::move(tables);
    m.m_message = message;
    m.m_closed = std::make_shared<const QRV16::Message>(message);
    return m;
}

Message::Message(std::shared_ptr<const Tables> tables, int tag)
    : m_tables(std::move(tables)), m_tag(tag), m_building(true)
{
    if (tag < 0)
        return;
    if (!QRV16::isNestedTag(tag))
        raiseValueError(QStringLiteral("%1 is a %2: only List, Request, Answer and Message tags hold elements; "
                                       "append it to Message() instead")
                            .arg(describeTag(tag, m_tables.get()), QString::fromLatin1(typeName(tag))));
    m_message.beginMessage(tag);
}

void Message::checkSize(int before)
{
    QString problem;
    if (m_message.size() - before - 4 > MaxPayload)
        problem = QStringLiteral("an element holds at most %1 bytes").arg(MaxPayload);
    else if (m_message.size() - 2 > 0xFFFF)
        problem = QStringLiteral("a message holds at most %1 bytes").arg(0xFFFF + 2);
    if (problem.isEmpty())
        return;
    // Undo: the outer element is opened again over the children before.
    const QByteArray children = m_message.bytes().mid(4, before - 4);
    m_message = QRV16::Message();
    m_message.beginMessage(m_tag);
    m_message.appendMessage(QRV16::Message(children));
    raiseMessageError(problem);
}

void Message::append(py::handle tag, py::handle value)
{
    if (!m_building)
        raiseTypeError(QStringLiteral("a received message is read only: build a new Message to change it"));
    const int code = m_tables->resolve(tag);
    if (m_tag < 0 && !m_message.isEmpty())
        raiseValueError(QStringLiteral("a message is one element, here %1; give Message a nested tag to hold several")
                            .arg(describeTag(top().tag(), m_tables.get())));
    const int before = m_message.size();
    appendValue(m_message, code, value, m_tables.get());
    m_closed.reset();
    if (m_tag >= 0)
        checkSize(before);
}

void Message::appendElement(const QRV16::Message& element)
{
    if (!m_building)
        raiseTypeError(QStringLiteral("a received message is read only: build a new Message to change it"));
    if (m_tag < 0) {
        if (!m_message.isEmpty())
            raiseValueError(QStringLiteral("a message is one element; give Message a nested tag to hold several"));
        m_message = element;
        m_closed.reset();
        return;
    }
    const int before = m_message.size();
    m_message.appendMessage(element);
    m_closed.reset();
    checkSize(before);
}

void Message::extend(py::handle items)
{
    for (py::handle item : py::reinterpret_borrow<py::iterable>(items)) {
        if (!PyTuple_Check(item.ptr()) || PyTuple_GET_SIZE(item.ptr()) != 2)
            raiseTypeError(QStringLiteral("extend() takes (tag, value) pairs, not %1")
                               .arg(QString::fromUtf8(Py_TYPE(item.ptr())->tp_name)));
        append(PyTuple_GET_ITEM(item.ptr(), 0), PyTuple_GET_ITEM(item.ptr(), 1));
    }
}

const QRV16::Message& Message::closed() const
{
    if (!m_closed) {
        QRV16::Message copy = m_message;
        if (m_tag >= 0)
            copy.endMessage();
        m_closed = std::make_shared<const QRV16::Message>(copy);
    }
    return *m_closed;
}

Element Message::top() const
{
    const QRV16::Message& message = closed();
    if (message.isEmpty())
        raiseMessageError(QStringLiteral("the message has no element yet"));
    return Element(Source{m_closed, m_tables}, 0, message.size());
}

} // namespace korvpy
