// SPDX-License-Identifier: MIT
#pragma once

// Where a transport hands the bytes that come and go. Called directly, not
// through signals: for small blocks a signal with a receiver costs more than
// the write itself.

#include <QByteArray>

class TransportSink
{
public:
    virtual void transportReceived(const QByteArray& data) = 0;
    // Bytes handed to the system, in the order they left.
    virtual void transportWritten(const QByteArray& data) = 0;

protected:
    ~TransportSink() = default;
};
