// SPDX-License-Identifier: MIT
#include "qrv16/messagecollector.h"

namespace QRV16 {

namespace {

// n bytes at offset sharing the buffer's storage, so that taking a message
// out copies nothing; a write to either side detaches it as usual. Bytes
// that are not ours (raw data) are copied.
QByteArray sharedSlice(QByteArray& buffer, qsizetype offset, qsizetype n)
{
    QByteArray::DataPointer& d = buffer.data_ptr();
    if (!d.d_ptr())
        return buffer.mid(offset, n);
    d.d_ptr()->ref();
    return QByteArray(QByteArray::DataPointer(d.d_ptr(), d.data() + offset, n));
}

} // namespace

void MessageCollector::reset()
{
    m_buffer.clear();
    m_offset = 0;
}

void MessageCollector::compact()
{
    if (m_offset == 0)
        return;
    if (m_offset == m_buffer.size()) {
        m_buffer.clear();
        m_offset = 0;
    } else if (m_offset >= 4096 && m_offset * 2 >= m_buffer.size()) {
        m_buffer.remove(0, m_offset);
        m_offset = 0;
    }
}

void MessageCollector::append(const QByteArray& bytes)
{
    compact();
    if (m_buffer.isEmpty())
        m_buffer = bytes; // shared, no copy
    else
        m_buffer.append(bytes);
}

void MessageCollector::append(const void* data, unsigned int size)
{
    compact();
    m_buffer.append(static_cast<const char*>(data), qsizetype(size));
}

bool MessageCollector::hasMessage() const
{
    const qsizetype available = m_buffer.size() - m_offset;
    if (available < 4)
        return false;
    const auto* p = reinterpret_cast<const uchar*>(m_buffer.constData() + m_offset);
    return qsizetype(p[0] | p[1] << 8) + 2 <= available;
}

Message MessageCollector::nextMessage()
{
    if (!hasMessage())
        return Message();
    const auto* p = reinterpret_cast<const uchar*>(m_buffer.constData() + m_offset);
    const qsizetype n = qsizetype(p[0] | p[1] << 8) + 2;
    if (m_offset == 0 && n == m_buffer.size()) {
        Message whole(m_buffer);
        m_buffer = QByteArray();
        return whole;
    }
    Message message(sharedSlice(m_buffer, m_offset, n));
    m_offset += n;
    if (m_offset == m_buffer.size()) {
        m_buffer.clear();
        m_offset = 0;
    }
    return message;
}

} // namespace QRV16
