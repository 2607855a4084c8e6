// SPDX-License-Identifier: MIT
#pragma once

// The bytes of any contiguous buffer Python hands over (bytes, bytearray,
// memoryview, array), held for as long as this view lives.

#include <pybind11/pybind11.h>

#include <QByteArray>
#include <QByteArrayView>

namespace korvpy {

namespace py = pybind11;

class ByteView
{
public:
    // Raises TypeError for an object without a contiguous buffer.
    explicit ByteView(py::handle object)
    {
        if (PyObject_GetBuffer(object.ptr(), &m_buffer, PyBUF_SIMPLE) != 0)
            throw py::error_already_set();
    }
    ~ByteView() { PyBuffer_Release(&m_buffer); }
    ByteView(const ByteView&) = delete;
    ByteView& operator=(const ByteView&) = delete;

    const char* data() const { return static_cast<const char*>(m_buffer.buf); }
    qsizetype size() const { return qsizetype(m_buffer.len); }
    QByteArrayView view() const { return QByteArrayView(data(), size()); }
    QByteArray copy() const { return QByteArray(data(), size()); }

private:
    Py_buffer m_buffer;
};

} // namespace korvpy
