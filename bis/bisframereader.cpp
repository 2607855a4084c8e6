// SPDX-License-Identifier: MIT
#include "bis/bisframereader.h"

#include "bis/crc.h"

namespace {

constexpr unsigned char QueryStart = 0x91;
constexpr unsigned char AnswerStart = 0x92;
constexpr unsigned char End = 0x93;
constexpr unsigned char Escape = 0x94;
// Payload and CRC, as a receiver's buffer holds them.
constexpr qsizetype BufferSize = BiSFrame::MaxPayload + 2;

QString hexWord(unsigned word)
{
    return QStringLiteral("%1").arg(word & 0xFFFF, 4, 16, QLatin1Char('0')).toUpper();
}

} // namespace

void BiSFrameReader::append(QByteArrayView bytes)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        readByte(p[i]);
        ++m_position;
    }
    flushNoise();
}

BiSFrameReader::Result BiSFrameReader::takeResult()
{
    if (m_results.empty())
        return Result();
    Result r = std::move(m_results.front());
    m_results.pop_front();
    return r;
}

void BiSFrameReader::reset()
{
    m_state = Idle;
    m_escapes = 0;
    m_data.clear();
    m_noiseBytes = 0;
    m_results.clear();
}

void BiSFrameReader::readByte(unsigned char byte)
{
    if (m_escapes >= 2) {
        // Two escapes in a row swallow the byte after them on every
        // receiver of the bus; so here.
        m_escapes = 0;
        return;
    }
    if (byte == QueryStart || byte == AnswerStart) {
        if (m_state != Idle)
            problem(QStringLiteral("frame cut short by the next start marker"), false);
        startFrame(byte);
        return;
    }
    if (m_state == Idle) {
        noise();
        return;
    }
    if (byte == End) {
        endFrame();
        return;
    }
    if (byte == Escape) {
        ++m_escapes;
        return;
    }
    if (m_escapes != 0) {
        m_escapes = 0;
        byte ^= 0x40;
    }
    m_crc = quint16(CRC::crc16(byte, m_crc));
    switch (m_state) {
    case Control:
        m_frame.type = byte >> 2;
        m_frame.addressMode = byte & 3;
        m_state = Sequence;
        break;
    case Sequence:
        m_frame.sequence = byte;
        m_addressBytes = 0;
        m_state = m_frame.addressMode == 0 ? Data : Addresses;
        break;
    case Addresses: {
        const int width = BiSFrame::addressWidth(m_frame.addressMode);
        if (m_addressBytes < width)
            m_frame.destination |= quint32(byte) << (8 * m_addressBytes);
        else
            m_frame.source |= quint32(byte) << (8 * (m_addressBytes - width));
        if (++m_addressBytes == 2 * width)
            m_state = Data;
        break;
    }
    case Data:
        if (m_data.size() >= BufferSize) {
            problem(QStringLiteral("frame longer than %1 bytes of payload").arg(BiSFrame::MaxPayload), false);
            // The rest of it is noise up to the next start marker.
            noise();
            return;
        }
        m_data.append(char(byte));
        break;
    case Idle:
        break;
    }
}

void BiSFrameReader::startFrame(unsigned char marker)
{
    flushNoise();
    m_state = Control;
    m_escapes = 0;
    m_crc = 0xFFFF;
    m_frame = BiSFrame();
    m_frame.kind = marker == AnswerStart ? BiSFrame::Answer : BiSFrame::Query;
    m_frame.addressMode = 0;
    m_data.clear();
    m_frameStart = m_position;
}

void BiSFrameReader::endFrame()
{
    if (m_state != Data || m_data.size() < 2) {
        problem(QStringLiteral("frame too short for its header and CRC"), true);
        return;
    }
    const qsizetype payloadSize = m_data.size() - 2;
    m_frame.payload = m_data.left(payloadSize);
    if (m_crc != 0) {
        const auto* tail = reinterpret_cast<const unsigned char*>(m_data.constData()) + payloadSize;
        const unsigned received = unsigned(tail[0]) << 8 | tail[1];
        problem(QStringLiteral("bad CRC %1, expected %2").arg(hexWord(received), hexWord(m_frame.crc())), true);
        return;
    }
    Result r;
    r.ok = true;
    r.frame = m_frame;
    r.offset = m_frameStart;
    r.size = m_position + 1 - m_frameStart;
    m_results.push_back(std::move(r));
    m_state = Idle;
    m_escapes = 0;
    m_data.clear();
}

void BiSFrameReader::problem(const QString& text, bool endsHere)
{
    Result r;
    r.frame = m_frame;
    r.frame.payload = m_data.left(m_data.size() >= 2 ? m_data.size() - 2 : 0);
    r.error = text;
    r.offset = m_frameStart;
    r.size = m_position + (endsHere ? 1 : 0) - m_frameStart;
    m_results.push_back(std::move(r));
    m_state = Idle;
    m_escapes = 0;
    m_data.clear();
}

void BiSFrameReader::noise()
{
    if (m_noiseBytes == 0)
        m_noiseStart = m_position;
    ++m_noiseBytes;
}

void BiSFrameReader::flushNoise()
{
    if (m_noiseBytes == 0)
        return;
    Result r;
    r.error = m_noiseBytes == 1 ? QStringLiteral("1 byte outside a frame")
                                : QStringLiteral("%1 bytes outside a frame").arg(m_noiseBytes);
    r.offset = m_noiseStart;
    r.size = m_noiseBytes;
    m_results.push_back(std::move(r));
    m_noiseBytes = 0;
}

bool BiSFrameReader::readOne(QByteArrayView bytes, BiSFrame* frame, QString* error)
{
    BiSFrameReader reader;
    reader.append(bytes);
    const auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    if (!reader.hasResult())
        return fail(bytes.isEmpty() ? QStringLiteral("no bytes") : QStringLiteral("the frame has no end marker"));
    const Result first = reader.takeResult();
    if (!first.ok)
        return fail(QStringLiteral("byte %1: %2").arg(first.offset).arg(first.error));
    if (first.offset + first.size != bytes.size())
        return fail(QStringLiteral("%1 bytes after the frame").arg(bytes.size() - first.offset - first.size));
    *frame = first.frame;
    if (error)
        error->clear();
    return true;
}
