// SPDX-License-Identifier: MIT
#include "connection/bisprotocol.h"

#include "bis/crc.h"

#include <cstdio>

namespace {

unsigned addressWidth(unsigned addressMode)
{
    static const unsigned widths[4] = {0, 1, 2, 4};
    return widths[addressMode & 3];
}

// Narrowest address mode that holds both addresses.
unsigned addressModeFor(quint32 a, quint32 b)
{
    const quint32 larger = qMax(a, b);
    if (larger < 0x100)
        return 1;
    if (larger < 0x10000)
        return 2;
    return 3;
}

bool isStuffed(unsigned byte)
{
    return byte >= BiSProtocol::QueryStart && byte <= BiSProtocol::Escape;
}

} // namespace

BiSProtocol::BiSProtocol() = default;

BiSProtocol::~BiSProtocol() = default;

void BiSProtocol::setMode(Mode mode)
{
    m_mode = mode;
    m_peeraddress = 0;
    m_ownaddress = 0;
    m_frametype = 0;
    m_sequence = 0;
    m_txcrc = 0;
    m_txlength = 0;
    m_txoverflow = false;
    m_responsepending = false;
    m_rxstate = Idle;
    m_rxaddressmode = 0;
    m_escapecount = 0;
    m_rxcrc = 0;
    m_rxlength = 0;
    m_lastrxlength = 0;
    m_duplicate = false;
    m_rxdestination = 0;
    m_rxsource = 0;
}

bool BiSProtocol::responsePending() const
{
    return m_mode == Master && m_responsepending;
}

void BiSProtocol::dropPending()
{
    if (m_mode != Master || !m_responsepending)
        return;
    m_responsepending = false;
    resyncReceive();
}

bool BiSProtocol::send(const Packet& packet)
{
    unsigned addressMode = 0;
    if (m_mode == Master) {
        m_peeraddress = packet.destination;
        m_frametype = packet.type;
        m_sequence = (m_sequence + 1) & 0xFF;
        m_txbuffer[0] = QueryStart;
        m_responsepending = true;
        if (m_peeraddress != 0 || m_ownaddress != 0)
            addressMode = addressModeFor(m_peeraddress, m_ownaddress);
    } else {
        // An answer echoes the type and sequence of the last query and goes
        // back to its source.
        m_txbuffer[0] = AnswerStart;
        m_responsepending = false;
        if (m_rxaddressmode != 0)
            addressMode = addressModeFor(m_peeraddress, m_ownaddress);
    }
    m_txlength = 1;
    m_txoverflow = false;
    m_txcrc = 0xFFFF;

    txencode(((m_frametype & 0x3F) << 2) | addressMode);
    txencode(m_sequence);
    const unsigned width = addressWidth(addressMode);
    for (unsigned i = 0; i < width; ++i)
        txencode(m_peeraddress >> (8 * i));
    for (unsigned i = 0; i < width; ++i)
        txencode(m_ownaddress >> (8 * i));
    const auto* payload = static_cast<const unsigned char*>(packet.data);
    for (unsigned i = 0; payload && i < packet.len; ++i)
        txencode(payload[i]);
    const unsigned crc = CRC::crc16(0, CRC::crc16(0, m_txcrc));
    txencode(crc >> 8);
    txencode(crc);

    if (m_txoverflow || m_txlength > BufferSize - 1) {
        // Nothing half-built is kept for retransmission.
        m_txlength = 0;
        return false;
    }
    m_txbuffer[m_txlength++] = End;
    return transmitFrame(m_txbuffer, m_txlength);
}

bool BiSProtocol::retransmit()
{
    if (m_mode != Master || m_txlength == 0)
        return false;
    return transmitFrame(m_txbuffer, m_txlength);
}

void BiSProtocol::txencode(unsigned byte)
{
    byte &= 0xFF;
    m_txcrc = CRC::crc16(byte, m_txcrc);
    if (isStuffed(byte)) {
        if (m_txlength < BufferSize - 1) {
            m_txbuffer[m_txlength++] = Escape;
            m_txbuffer[m_txlength++] = byte ^ 0x40;
            return;
        }
    } else if (m_txlength < BufferSize) {
        m_txbuffer[m_txlength++] = byte;
        return;
    }
    m_txoverflow = true;
}

void BiSProtocol::resyncReceive()
{
    m_rxstate = Idle;
    m_escapecount = 0;
    m_rxcrc = 0xFFFF;
    m_rxlength = 0;
    m_duplicate = true;
}

void BiSProtocol::receive(const void* data, unsigned len)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (unsigned i = 0; bytes && i < len; ++i) {
        // Checked for each byte: an answer may end the wait halfway through
        // a read, and what follows it must not count as a second answer.
        if (m_mode == Master && !m_responsepending)
            continue;
        receiveByte(bytes[i]);
    }
}

void BiSProtocol::receiveByte(unsigned char byte)
{
    // Two escapes in a row swallow the byte after them; controllers in the
    // field rely on this, so it stays.
    if (m_escapecount >= 2) {
        m_escapecount = 0;
        return;
    }
    if (m_rxstate == Delivering)
        return;
    if (byte == (m_mode == Slave ? QueryStart : AnswerStart)) {
        m_escapecount = 0;
        m_rxcrc = 0xFFFF;
        m_rxlength = 0;
        m_duplicate = true;
        m_rxstate = Control;
        return;
    }
    if (m_rxstate == Idle)
        return;
    if (byte == End) {
        endOfFrame();
        resyncReceive();
        return;
    }
    if (byte == Escape) {
        ++m_escapecount;
        return;
    }
    if (m_escapecount != 0) {
        m_escapecount = 0;
        byte ^= 0x40;
    }
    m_rxcrc = quint16(CRC::crc16(byte, m_rxcrc));

    switch (m_rxstate) {
    case Control:
        if ((byte & 3u) != m_rxaddressmode) {
            m_rxaddressmode = byte & 3u;
            m_duplicate = false;
        }
        if (m_mode == Slave) {
            m_frametype = byte >> 2;
        } else if ((byte >> 2) != (m_frametype & 0x3F)) {
            resyncReceive();
            return;
        }
        m_rxlength = 0;
        m_rxstate = Sequence;
        break;
    case Sequence:
        if (byte != m_sequence) {
            m_sequence = byte;
            m_duplicate = false;
        }
        m_rxdestination = 0;
        m_rxsource = 0;
        m_rxstate = m_rxaddressmode == 0 ? Data : Destination0;
        break;
    case Destination0:
    case Destination1:
    case Destination2:
    case Destination3: {
        const unsigned index = m_rxstate - Destination0;
        m_rxdestination |= quint32(byte) << (8 * index);
        m_rxstate = index + 1 == addressWidth(m_rxaddressmode) ? Source0
                                                               : RxState(m_rxstate + 1);
        break;
    }
    case Source0:
    case Source1:
    case Source2:
    case Source3: {
        const unsigned index = m_rxstate - Source0;
        m_rxsource |= quint32(byte) << (8 * index);
        if (index + 1 < addressWidth(m_rxaddressmode)) {
            m_rxstate = RxState(m_rxstate + 1);
            break;
        }
        if (m_rxdestination != m_ownaddress) {
            resyncReceive();
            return;
        }
        if (m_rxsource != m_peeraddress) {
            if (m_mode != Slave) {
                resyncReceive();
                return;
            }
            m_peeraddress = m_rxsource;
            m_duplicate = false;
        }
        m_rxstate = Data;
        break;
    }
    case Data:
        if (m_rxlength >= BufferSize) {
            resyncReceive();
            return;
        }
        if (m_rxbuffer[m_rxlength] != byte)
            m_duplicate = false;
        m_rxbuffer[m_rxlength++] = byte;
        break;
    case Idle:
    case Delivering:
        break;
    }
}

void BiSProtocol::endOfFrame()
{
    // A register of 0 over fewer than the two check bytes is a chance hit,
    // not a frame.
    if (m_rxstate != Data || m_rxcrc != 0 || m_rxlength < 2)
        return;
    m_rxlength -= 2;
    if (!m_duplicate || m_rxlength != m_lastrxlength) {
        m_lastrxlength = m_rxlength;
        m_txlength = 0;
        m_rxstate = Delivering;
        m_responsepending = false;
        dataReceived(m_peeraddress, m_frametype, m_rxbuffer, m_rxlength);
    } else if (m_mode == Slave && m_txlength != 0) {
        // The master repeated its query: our answer was lost.
        transmitFrame(m_txbuffer, m_txlength);
    }
}

void BiSProtocol::traceLastData()
{
    if (m_txlength == 0)
        return;
    trace("LAST TRANSMITTED RAW FRAME:\n");
    memdump(m_txbuffer, m_txlength);
}

void BiSProtocol::memdump(const void* data, unsigned len)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (unsigned offset = 0; bytes && offset < len; offset += 16) {
        const unsigned count = qMin(16u, len - offset);
        char line[96];
        int pos = std::snprintf(line, sizeof line, "%04X: ", offset);
        for (unsigned i = 0; i < 16; ++i) {
            const char* gap = i == 0 ? "" : (i == 8 ? "  " : " ");
            if (i < count)
                pos += std::snprintf(line + pos, sizeof line - pos, "%s%02X", gap, bytes[offset + i]);
            else
                pos += std::snprintf(line + pos, sizeof line - pos, "%s  ", gap);
        }
        pos += std::snprintf(line + pos, sizeof line - pos, "  ");
        for (unsigned i = 0; i < count; ++i) {
            const unsigned char c = bytes[offset + i];
            line[pos++] = (c >= 0x20 && c <= 0x7E) ? char(c) : '.';
        }
        line[pos] = '\0';
        trace("%s\n", line);
    }
}

void BiSProtocol::dataReceived(unsigned, unsigned, const void*, unsigned) {}

bool BiSProtocol::transmitFrame(const void*, unsigned)
{
    return false;
}

void BiSProtocol::trace(const char*, ...) const {}
