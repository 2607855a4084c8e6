// SPDX-License-Identifier: MIT
#pragma once

// Finds BiS frames in a byte stream, queries and answers alike, as a bus
// monitor does. What lies between frames, a frame cut short by the next
// start marker or by its end marker, an overlong frame and a frame with a
// bad CRC are each reported once and skipped; reading goes on at the next
// start marker. Memory stays bounded by one frame whatever arrives.

#include "bis/bisframe.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <deque>

class BiSFrameReader
{
public:
    struct Result
    {
        // A whole frame with a good CRC; otherwise `error` says what was wrong
        // and `frame` holds what could be read of it.
        bool ok = false;
        BiSFrame frame;
        QString error;
        // Where it starts in the stream (bytes counted from the first
        // appended) and how many bytes of the stream it took.
        qint64 offset = 0;
        qint64 size = 0;
    };

    // Reads the bytes; the results wait until taken. Noise is reported at
    // the end of each call, so that a stream of garbage is seen as it comes.
    void append(QByteArrayView bytes);
    bool hasResult() const { return !m_results.empty(); }
    Result takeResult();
    // Forgets a half-read frame and the results not taken.
    void reset();
    // Bytes read so far.
    qint64 position() const { return m_position; }

    // Exactly one frame with a good CRC and nothing else: false with the
    // reason otherwise.
    static bool readOne(QByteArrayView bytes, BiSFrame* frame, QString* error);

private:
    enum State { Idle, Control, Sequence, Addresses, Data };

    void readByte(unsigned char byte);
    void startFrame(unsigned char marker);
    void endFrame();
    // The frame read so far, reported; `endsHere` when the current byte is its last.
    void problem(const QString& text, bool endsHere);
    void noise();
    void flushNoise();

    State m_state = Idle;
    unsigned m_escapes = 0;
    int m_addressBytes = 0;
    quint16 m_crc = 0xFFFF;
    BiSFrame m_frame;
    // Unstuffed bytes after the addresses: payload, then the CRC.
    QByteArray m_data;
    qint64 m_position = 0;
    qint64 m_frameStart = 0;
    qint64 m_noiseStart = 0;
    qint64 m_noiseBytes = 0;
    std::deque<Result> m_results;
};
