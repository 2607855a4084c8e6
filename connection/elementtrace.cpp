// SPDX-License-Identifier: MIT
#include "connection/elementtrace.h"

#include "qrv16/message.h"
#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"

namespace {

using QRV16::DataType;

bool knownType(DataType type)
{
    switch (type) {
    case DataType::Binary:
    case DataType::Integer:
    case DataType::Bool:
    case DataType::String:
    case DataType::Date:
    case DataType::Time:
    case DataType::DateTime:
    case DataType::BitArray:
    case DataType::NetworkAddress:
    case DataType::List:
    case DataType::Request:
    case DataType::Answer:
    case DataType::Message:
    case DataType::ExtPoint:
    case DataType::ExtRect:
    case DataType::ExtSize:
        return true;
    }
    return false;
}

// Whether a payload of this size can be read as the type: a header whose
// size does not fit is taken for noise at the top level and marked inside.
bool sizeFits(DataType type, qsizetype size)
{
    switch (type) {
    case DataType::Integer:
        return size >= 1 && size <= 8;
    case DataType::Date:
    case DataType::Time:
        return size >= 1 && size <= 4;
    case DataType::Bool:
        return size == 1;
    case DataType::DateTime:
        return size >= 8 && size <= 10;
    case DataType::NetworkAddress:
        return size == 0 || size == 4;
    case DataType::ExtPoint:
    case DataType::ExtSize:
        return size == 0 || size == 4 || size == 8;
    case DataType::ExtRect:
        return size == 0 || size == 8 || size == 16;
    default:
        return true;
    }
}

QString typeLabel(DataType type)
{
    switch (type) {
    case DataType::ExtPoint:
        return QStringLiteral("Point");
    case DataType::ExtRect:
        return QStringLiteral("Rect");
    case DataType::ExtSize:
        return QStringLiteral("Size");
    default:
        return QRV16::typeName(unsigned(type) << 12);
    }
}

void appendHexBytes(QString& line, const char* p, qsizetype size)
{
    static const char digits[] = "0123456789ABCDEF";
    const qsizetype shown = qMin<qsizetype>(size, ElementTrace::MaxShownBytes);
    line.reserve(line.size() + 3 * shown + 24);
    for (qsizetype i = 0; i < shown; ++i) {
        const auto b = static_cast<unsigned char>(p[i]);
        line += QLatin1Char(' ');
        line += QLatin1Char(digits[b >> 4]);
        line += QLatin1Char(digits[b & 15]);
    }
    if (size > shown)
        line += QStringLiteral(" … %1 more").arg(size - shown);
}

} // namespace

ElementTrace::ElementTrace(int width, QObject* parent)
    : QObject(parent)
    , m_width(width == 1 ? 1 : 2)
{
}

void ElementTrace::receive(const QByteArray& bytes)
{
    receive(bytes.constData(), unsigned(bytes.size()));
}

void ElementTrace::receive(const void* data, unsigned len)
{
    if (data && len)
        m_pending.append(static_cast<const char*>(data), qsizetype(len));
    const qsizetype header = 2 * m_width;
    for (;;) {
        const qsizetype available = m_pending.size() - m_read;
        if (available < header)
            break;
        const char* p = m_pending.constData() + m_read;
        const Verdict verdict = judgeStart(p, available);
        if (verdict == NeedMore)
            break;
        if (verdict == Noise) {
            noise(static_cast<unsigned char>(*p));
            ++m_read;
            continue;
        }
        const qsizetype total = m_width + qsizetype(readField(p));
        if (available < total) {
            printPending(available);
            break;
        }
        if (m_lineopen)
            endLine();
        printElement(p, total, 0);
        m_read += total;
    }
    // One compaction per chunk; while an element is incomplete nothing moves.
    if (m_read > 0) {
        m_pending.remove(0, m_read);
        m_read = 0;
    }
    showLine();
}

void ElementTrace::reset()
{
    if (!m_lineopen && !m_line.isEmpty()) {
        // The preview of an element that will not be completed.
        m_lineopen = true;
        m_line += QLatin1Char(' ');
        AnsiText::append(m_line, AnsiText::Bad, QStringLiteral("cut"));
    } else {
        // Bytes too few to start an element are noise after all.
        for (qsizetype i = m_read; i < m_pending.size(); ++i)
            noise(static_cast<unsigned char>(m_pending.at(i)));
    }
    if (m_lineopen)
        endLine();
    m_pending.clear();
    m_read = 0;
}

unsigned ElementTrace::readField(const char* p) const
{
    const auto* b = reinterpret_cast<const unsigned char*>(p);
    return m_width == 1 ? unsigned(b[0]) : unsigned(b[0]) | (unsigned(b[1]) << 8);
}

unsigned ElementTrace::code(unsigned tag) const
{
    if (m_width == 2)
        return tag;
    return ((tag >> 4) << 12) | (tag & 0x0F);
}

bool ElementTrace::plausibleElement(const char* p, qsizetype size) const
{
    const unsigned length = readField(p);
    if (length < unsigned(m_width) || qsizetype(length) + m_width > size)
        return false;
    const unsigned tag = readField(p + m_width);
    if (m_width == 1 && (tag >> 4) == 8)
        return false; // no extended types in the 8-bit framing
    const DataType type = QRV16::dataType(code(tag));
    return knownType(type) && sizeFits(type, qsizetype(length) - m_width);
}

ElementTrace::Verdict ElementTrace::judgeStart(const char* p, qsizetype available) const
{
    const qsizetype header = 2 * m_width;
    if (available < header)
        return NeedMore;
    const qsizetype total = m_width + qsizetype(readField(p));
    // The header alone, as if the element were complete.
    if (total < header)
        return Noise;
    const unsigned tag = readField(p + m_width);
    if (m_width == 1 && (tag >> 4) == 8)
        return Noise;
    const DataType type = QRV16::dataType(code(tag));
    if (!knownType(type) || !sizeFits(type, total - header))
        return Noise;
    if (!QRV16::isNestedTag(int(code(tag)))) {
        // A false length must not stall the printer for long: payloads of
        // unbounded size start a line only when they are short.
        const bool bounded = type != DataType::Binary && type != DataType::String && type != DataType::BitArray;
        return bounded || total - header <= MaxLooseBytes ? Element : Noise;
    }
    if (total == header)
        return Element;
    // A message: its first child must look like an element that fits.
    if (total - header < header)
        return Noise;
    if (available < 2 * header)
        return NeedMore;
    return plausibleElement(p + header, total - header) ? Element : Noise;
}

QString ElementTrace::hex(unsigned value, int bytes) const
{
    return QStringLiteral("%1").arg(value, 2 * bytes, 16, QLatin1Char('0')).toUpper();
}

void ElementTrace::printElement(const char* p, qsizetype size, int depth)
{
    const unsigned length = readField(p);
    const unsigned tag = readField(p + m_width);
    const unsigned tagCode = code(tag);
    const DataType type = QRV16::dataType(tagCode);
    const char* payload = p + 2 * m_width;
    const qsizetype payloadSize = size - 2 * m_width;
    const QRV16::TagData* data = m_lut ? m_lut->tagData(tagCode) : nullptr;

    m_line.fill(QLatin1Char(' '), 2 * depth);
    m_lineopen = true;
    AnsiText::append(m_line, AnsiText::Length,
                     QStringLiteral("len %1 tag %2").arg(hex(length, m_width), hex(tag, m_width)));
    m_line += QLatin1Char(' ');
    if (data) {
        AnsiText::append(m_line, AnsiText::Name, data->name);
        m_line += QLatin1Char(' ');
    }
    m_line += typeLabel(type);

    if (QRV16::isNestedTag(int(tagCode))) {
        if (depth >= MaxDepth) {
            m_line += QLatin1Char(' ');
            AnsiText::append(m_line, AnsiText::Bad, QStringLiteral("nested too deep:"));
            appendHexBytes(m_line, payload, payloadSize);
            endLine();
            return;
        }
        endLine();
        printChildren(payload, payloadSize, depth + 1);
        return;
    }
    if (!knownType(type) || !sizeFits(type, payloadSize)) {
        m_line += QLatin1Char(' ');
        AnsiText::append(m_line, AnsiText::Bad, QStringLiteral("bad size %1").arg(payloadSize));
    }
    if (payloadSize > 0) {
        m_line += QStringLiteral(" |") + AnsiText::start(AnsiText::Payload);
        appendHexBytes(m_line, payload, payloadSize);
        m_line += AnsiText::reset();
    }
    if (type != DataType::Binary && knownType(type) && sizeFits(type, payloadSize)) {
        // The value as the text notation prints it, through a 16-bit header.
        QRV16::Message element;
        element.appendData(int(tagCode), payload, int(payloadSize));
        const QRV16::Message::Iterator it = element.topLevelIterator();
        m_line += QStringLiteral(" = ") + QRV16::MessageWriter(m_lut).dataToText(it, data);
    }
    endLine();
}

void ElementTrace::printChildren(const char* p, qsizetype size, int depth)
{
    const qsizetype header = 2 * m_width;
    qsizetype at = 0;
    while (at < size) {
        const qsizetype left = size - at;
        const QString indent(2 * depth, QLatin1Char(' '));
        if (left < header) {
            m_line = indent;
            m_lineopen = true;
            AnsiText::append(m_line, AnsiText::Bad, QStringLiteral("remainder of %1 bytes:").arg(left));
            appendHexBytes(m_line, p + at, left);
            endLine();
            return;
        }
        const qsizetype total = m_width + qsizetype(readField(p + at));
        if (total > left || total < header) {
            m_line = indent;
            m_lineopen = true;
            AnsiText::append(m_line, AnsiText::Length,
                             QStringLiteral("len %1 tag %2")
                                 .arg(hex(readField(p + at), m_width), hex(readField(p + at + m_width), m_width)));
            m_line += QLatin1Char(' ');
            AnsiText::append(m_line, AnsiText::Bad,
                             total > left ? QStringLiteral("overruns its parent by %1:").arg(total - left)
                                          : QStringLiteral("length too short:"));
            appendHexBytes(m_line, p + at + header, left - header);
            endLine();
            return;
        }
        printElement(p + at, total, depth);
        at += total;
    }
}

void ElementTrace::printPending(qsizetype available)
{
    if (m_lineopen)
        endLine();
    const char* p = m_pending.constData() + m_read;
    const unsigned length = readField(p);
    const unsigned tag = readField(p + m_width);
    const QRV16::TagData* data = m_lut ? m_lut->tagData(code(tag)) : nullptr;
    m_line.clear();
    AnsiText::append(m_line, AnsiText::Length,
                     QStringLiteral("len %1 tag %2").arg(hex(length, m_width), hex(tag, m_width)));
    if (data) {
        m_line += QLatin1Char(' ');
        AnsiText::append(m_line, AnsiText::Name, data->name);
    }
    m_line += QStringLiteral(" … %1 of %2 bytes").arg(available).arg(m_width + length);
    // Replaced by the whole element when it is complete; never a line of its own.
}

void ElementTrace::noise(unsigned char byte)
{
    if (m_lineopen && m_noisecount == NoiseBytesPerLine)
        endLine();
    if (!m_lineopen) {
        m_line = AnsiText::start(AnsiText::Noise) + QStringLiteral("noise");
        m_lineopen = true;
        m_noisecount = 0;
    }
    ++m_noisecount;
    appendHexBytes(m_line, reinterpret_cast<const char*>(&byte), 1);
}

void ElementTrace::endLine()
{
    showLine();
    m_line.clear();
    m_shown.clear();
    m_lineopen = false;
    m_noisecount = 0;
    Q_EMIT next();
}

void ElementTrace::showLine()
{
    if (m_line == m_shown)
        return;
    m_shown = m_line;
    if (m_line.isEmpty())
        return;
    // A noise line is one coloured run that is still growing.
    if (m_noisecount > 0)
        Q_EMIT trace(m_line + AnsiText::reset());
    else
        Q_EMIT trace(m_line);
}
