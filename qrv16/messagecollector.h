// SPDX-License-Identifier: MIT
#pragma once

// Cuts a received byte stream into whole messages by their length fields.
// There is no resynchronisation: after a lost byte the owner calls reset().

#include "qrv16/message.h"

#include <QByteArray>

namespace QRV16 {

class MessageCollector
{
public:
    MessageCollector() = default;

    void reset();
    void append(const QByteArray& bytes);
    void append(const void* data, unsigned int size);
    bool hasMessage() const;
    Message nextMessage();
    // Bytes received and not yet taken out.
    int pending() const { return int(m_buffer.size() - m_offset); }

private:
    void compact();

    QByteArray m_buffer;
    // Start of the next message; taken bytes are dropped in bulk, not one
    // message at a time, so taking n messages out stays linear.
    qsizetype m_offset = 0;
};

} // namespace QRV16
