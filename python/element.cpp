// SPDX-License-Identifier: MIT
#include "python/element.h"

#include "python/errors.h"
#include "python/tables.h"
#include "qrv16/messagewriter.h"
#include "qrv16/types.h"

namespace korvpy {

py::object Element::name() const
{
    return m_source.tables->tagName(tag());
}

py::object Element::enumName() const
{
    const QRV16::Message::Iterator it = iterator();
    if (QRV16::dataType(unsigned(it.tag())) != QRV16::DataType::Integer)
        return py::none();
    bool ok = false;
    const int size = it.size();
    const qint64 v = size > 4 ? it.getInt64(&ok) : qint64(it.getInt(&ok));
    // Enum values are keyed by 32 bits, as the text writer names them.
    if (!ok || v != qint64(qint32(v)))
        return py::none();
    return m_source.tables->enumName(it.tag(), quint32(v));
}

py::bytes Element::raw() const
{
    int size = 0;
    const char* p = iterator().getData(&size);
    return p ? py::bytes(p, size_t(size)) : py::bytes();
}

QString Element::valueText() const
{
    const QRV16::TagDataLut& lut = m_source.tables->lut();
    const QRV16::MessageWriter writer(&lut);
    return writer.dataToText(iterator(), lut.tagData(unsigned(tag())));
}

QString Element::text() const
{
    const QRV16::MessageWriter writer(&m_source.tables->lut());
    return writer.toText(bytes());
}

QRV16::Message Element::bytes() const
{
    return iterator().getMessage();
}

int Element::childCount() const
{
    QRV16::Message::Iterator it = childIterator(iterator());
    int n = 0;
    for (; !it.atEnd(); ++it)
        ++n;
    return n;
}

QRV16::Message::Iterator Element::childWith(int code) const
{
    QRV16::Message::Iterator it = childIterator(iterator());
    while (!it.atEnd() && it.tag() != code)
        ++it;
    return it;
}

Element Element::child(py::handle tag) const
{
    const int code = m_source.tables->resolve(tag);
    const QRV16::Message::Iterator it = childWith(code);
    if (it.atEnd()) {
        PyErr_SetObject(PyExc_KeyError, toPy(QStringLiteral("%1 holds no %2")
                                                 .arg(describeTag(this->tag(), m_source.tables.get()),
                                                      describeTag(code, m_source.tables.get())))
                                            .ptr());
        throw py::error_already_set();
    }
    return Element(m_source, it.position(), it.end());
}

bool Element::hasChild(py::handle tag) const
{
    return !childWith(m_source.tables->resolve(tag)).atEnd();
}

bool Element::findBelow(const QRV16::Message::Iterator& element, int code, int depth, Element* found) const
{
    if (depth >= MaxDepth || !QRV16::isNestedTag(element.tag()))
        return false;
    for (QRV16::Message::Iterator it = childIterator(element); !it.atEnd(); ++it) {
        if (it.tag() == code) {
            *found = Element(m_source, it.position(), it.end());
            return true;
        }
        if (findBelow(it, code, depth + 1, found))
            return true;
    }
    return false;
}

py::object Element::find(py::handle tag) const
{
    const int code = m_source.tables->resolve(tag);
    Element found(m_source, -1, 0);
    if (findBelow(iterator(), code, 0, &found))
        return py::cast(found);
    return py::none();
}

} // namespace korvpy
