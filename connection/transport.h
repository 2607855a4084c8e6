// SPDX-License-Identifier: MIT
#pragma once

// What a Connection runs on: a local serial port, a remote one, a TCP client
// or a TCP server. A transport opens, closes, carries bytes both ways and,
// on serial lines, drives the control lines; it hands the bytes to its sink
// and reports the rest through signals, and leaves framing, queues and
// reconnecting to its Connection.

#include "connection/transportsink.h"

#include <QByteArray>
#include <QObject>
#include <QString>

class Transport : public QObject
{
    Q_OBJECT
public:
    // Reads take at most this much, so that a flood never stalls the loop.
    static constexpr qint64 ReadChunk = 65536;
    // Output waiting for a slow device; more is refused.
    static constexpr qsizetype OutputLimit = 1 << 20;
    // Received bytes a socket holds for its Connection at most: beyond
    // this a flood waits in the system's buffers and slows its sender.
    static constexpr qint64 ReadLimit = 4 * ReadChunk;
    // A TLS link whose handshake has not finished by then is dropped.
    static constexpr int HandshakeTimeout = 10000;

    explicit Transport(QObject* parent = nullptr);

    // Not owned; null drops the bytes.
    void setSink(TransportSink* sink) { m_sink = sink; }

    // Opens, connects or listens; the outcome comes as signals, possibly
    // before this returns. `retrying`: an automatic reconnect.
    virtual void open(bool retrying) = 0;
    // Closes, cancels or stops listening because the user asked.
    virtual void close() = 0;
    virtual bool isConnected() const = 0;
    virtual bool isListening() const { return false; }
    // On the way up: connecting, negotiating or closing.
    virtual bool isAttempting() const { return false; }

    // Bytes for the far end; the sink hears when they leave.
    virtual void write(const QByteArray& data) = 0;
    // Taken by write() and not yet handed to the system.
    virtual qsizetype bytesToWrite() const = 0;
    virtual void discardOutput() = 0;

    // Pause in ms before the next attempt when the last one waited
    // `previous` ms (0 the first time); 0 for no attempts at all.
    virtual int retryDelay(int previous) const = 0;

    // The port, socket or server behind it, for those who look inside.
    virtual QObject* endpoint() const = 0;
    // The device or remote port of a serial link; empty otherwise.
    virtual QString portName() const { return QString(); }

    // Control lines of a serial link; without them these do nothing.
    virtual bool hasControlLines() const { return false; }
    virtual int speed() const { return 0; }
    // SerSerialPort's bits: RTS, CTS, DTR, DSR, RI, CD, break.
    virtual int modemStatus() const { return 0; }
    virtual void setRts(bool /*on*/) {}
    virtual void setDtr(bool /*on*/) {}
    virtual void setBreak(bool /*on*/) {}

Q_SIGNALS:
    // The link is up; text says so ("Port ttyUSB0 opened").
    void opened(const QString& text);
    // A server took a new peer: what comes now starts afresh.
    void newPeer();
    // An attempt to open or connect failed; said once while retrying.
    void failed(const QString& text);
    // The link is down or an attempt is over; the message, if any, came first.
    void down();
    void message(const QString& text);
    // Listening or encryption changed.
    void stateChanged();

protected:
    // Whether `size` more bytes may wait for `waiter` ("the device", "the
    // peer"). A full buffer is said once, not once per refused block, and
    // what it refused is said when it takes bytes again.
    bool admit(qsizetype size, const QString& waiter);

    void deliver(const QByteArray& data)
    {
        if (m_sink)
            m_sink->transportReceived(data);
    }
    void reportWritten(const QByteArray& data)
    {
        if (m_sink)
            m_sink->transportWritten(data);
    }

private:
    TransportSink* m_sink = nullptr; // Not owned.
    int m_refusedBlocks = 0;
    qint64 m_refusedBytes = 0;
};
