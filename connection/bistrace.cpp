// SPDX-License-Identifier: MIT
#include "connection/bistrace.h"

#include "bis/crc.h"
#include "connection/ansitext.h"
#include "connection/bisprotocol.h"

namespace {

constexpr int NoiseBytesPerLine = 16;

QString hexByte(unsigned byte)
{
    return QStringLiteral("%1").arg(byte & 0xFF, 2, 16, QLatin1Char('0')).toUpper();
}

QString hexWord(unsigned word)
{
    return QStringLiteral("%1").arg(word & 0xFFFF, 4, 16, QLatin1Char('0')).toUpper();
}

unsigned addressWidth(unsigned addressMode)
{
    static const unsigned widths[4] = {0, 1, 2, 4};
    return widths[addressMode & 3];
}

} // namespace

BiSTrace::BiSTrace(QObject* parent)
    : QObject(parent)
{
}

void BiSTrace::reset()
{
    if (m_lineopen)
        endLine();
    m_state = Idle;
    m_escapecount = 0;
    m_data.clear();
    m_shown = 0;
}

void BiSTrace::receive(const QByteArray& bytes)
{
    receive(bytes.constData(), unsigned(bytes.size()));
}

void BiSTrace::receive(const void* data, unsigned len)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (unsigned i = 0; bytes && i < len; ++i)
        receiveByte(bytes[i]);
    showLine();
}

void BiSTrace::showLine()
{
    if (m_line.size() == m_shownline)
        return;
    m_shownline = m_line.size();
    // A noise line is one coloured run that is still growing.
    if (m_noisecount > 0)
        Q_EMIT trace(m_line + AnsiText::reset());
    else
        Q_EMIT trace(m_line);
}

void BiSTrace::receiveByte(unsigned char byte)
{
    if (m_escapecount >= 2) {
        // Swallowed by the receivers on the bus too.
        m_escapecount = 0;
        return;
    }
    if (byte == BiSProtocol::QueryStart || byte == BiSProtocol::AnswerStart) {
        if (m_state != Idle)
            abortFrame(QStringLiteral("cut"));
        startFrame(byte);
        return;
    }
    if (m_state == Idle) {
        noise(byte);
        return;
    }
    if (byte == BiSProtocol::End) {
        endFrame();
        return;
    }
    if (byte == BiSProtocol::Escape) {
        ++m_escapecount;
        return;
    }
    if (m_escapecount != 0) {
        m_escapecount = 0;
        byte ^= 0x40;
    }
    const quint16 crcBefore = m_crc;
    m_crc = quint16(CRC::crc16(byte, m_crc));

    switch (m_state) {
    case Control:
        m_addressmode = byte & 3u;
        AnsiText::append(m_line, AnsiText::Marker, QStringLiteral(" ctl %1 type %2").arg(hexByte(byte)).arg(byte >> 2));
        m_state = Sequence;
        break;
    case Sequence:
        AnsiText::append(m_line, AnsiText::Sequence, QStringLiteral(" seq %1").arg(hexByte(byte)));
        m_destination = 0;
        m_source = 0;
        m_addressbytes = 0;
        if (m_addressmode == 0) {
            m_line += (QStringLiteral(" |"));
            m_state = Data;
        } else {
            m_state = Addresses;
        }
        break;
    case Addresses: {
        const unsigned width = addressWidth(m_addressmode);
        if (m_addressbytes < width)
            m_destination |= quint32(byte) << (8 * m_addressbytes);
        else
            m_source |= quint32(byte) << (8 * (m_addressbytes - width));
        ++m_addressbytes;
        if (m_addressbytes == width) {
            AnsiText::append(m_line, AnsiText::Address, QStringLiteral(" dst %1").arg(m_destination));
        } else if (m_addressbytes == 2 * width) {
            AnsiText::append(m_line, AnsiText::Address, QStringLiteral(" src %1").arg(m_source));
            m_line += QStringLiteral(" |");
            m_state = Data;
        }
        break;
    }
    case Data:
        if (m_data.size() >= qsizetype(BiSProtocol::BufferSize)) {
            abortFrame(QStringLiteral("too long"));
            noise(byte);
            return;
        }
        m_data.append(char(byte));
        m_crcbeforetail[1] = m_crcbeforetail[0];
        m_crcbeforetail[0] = crcBefore;
        showPayload(m_data.size() - 2);
        break;
    case Idle:
        break;
    }
}

void BiSTrace::startFrame(unsigned char marker)
{
    if (m_lineopen)
        endLine();
    m_state = Control;
    m_escapecount = 0;
    m_crc = 0xFFFF;
    m_data.clear();
    m_shown = 0;
    m_lineopen = true;
    AnsiText::append(m_line, AnsiText::Marker,
                     marker == BiSProtocol::QueryStart ? QStringLiteral("query") : QStringLiteral("answer"));
}

void BiSTrace::endFrame()
{
    if (m_state != Data || m_data.size() < 2) {
        abortFrame(QStringLiteral("short | end"));
        return;
    }
    const qsizetype payloadSize = m_data.size() - 2;
    showPayload(payloadSize);
    if (payloadSize == 0)
        AnsiText::append(m_line, AnsiText::Payload, QStringLiteral(" no data"));
    const QByteArray payload = m_data.left(payloadSize);
    if (m_crc == 0) {
        m_line += QStringLiteral(" | ");
        AnsiText::append(m_line, AnsiText::Good, QStringLiteral("CRC ok"));
        m_line += QStringLiteral(" | ");
        AnsiText::append(m_line, AnsiText::Marker, QStringLiteral("end"));
    } else {
        const auto* tail = reinterpret_cast<const unsigned char*>(m_data.constData()) + payloadSize;
        const unsigned received = (unsigned(tail[0]) << 8) | tail[1];
        const unsigned expected = CRC::crc16(0, CRC::crc16(0, m_crcbeforetail[1]));
        m_line += QStringLiteral(" | ");
        AnsiText::append(m_line, AnsiText::Bad,
                         QStringLiteral("CRC BAD %1, expected %2").arg(hexWord(received), hexWord(expected)));
        m_line += QStringLiteral(" | ");
        AnsiText::append(m_line, AnsiText::Marker, QStringLiteral("end"));
    }
    endLine();
    m_state = Idle;
    m_escapecount = 0;
    if (m_crc == 0)
        Q_EMIT qrv16(int(m_source), int(m_destination), payload);
}

void BiSTrace::abortFrame(const QString& reason)
{
    showPayload(m_data.size());
    m_line += QStringLiteral(" | ");
    AnsiText::append(m_line, AnsiText::Bad, reason);
    endLine();
    m_state = Idle;
    m_escapecount = 0;
}

void BiSTrace::showPayload(qsizetype upTo)
{
    if (upTo <= m_shown)
        return;
    QString text;
    text.reserve(int(3 * (upTo - m_shown)));
    for (; m_shown < upTo; ++m_shown)
        text += QLatin1Char(' ') + hexByte(quint8(m_data.at(m_shown)));
    // Bytes shown one chunk at a time still make one coloured run.
    if (m_payloadrunend == m_line.size() && m_payloadrunend > 0) {
        m_line.chop(AnsiText::reset().size());
        m_line += text;
        m_line += AnsiText::reset();
    } else {
        AnsiText::append(m_line, AnsiText::Payload, text);
    }
    m_payloadrunend = m_line.size();
}

void BiSTrace::noise(unsigned char byte)
{
    if (m_lineopen && m_noisecount == NoiseBytesPerLine)
        endLine();
    if (!m_lineopen) {
        m_lineopen = true;
        m_noisecount = 0;
        m_line += AnsiText::start(AnsiText::Noise) + QStringLiteral("noise");
    }
    ++m_noisecount;
    m_line += QLatin1Char(' ') + hexByte(byte);
}

void BiSTrace::endLine()
{
    showLine();
    m_line.clear();
    m_shownline = 0;
    m_payloadrunend = 0;
    m_lineopen = false;
    m_noisecount = 0;
    Q_EMIT next();
}
