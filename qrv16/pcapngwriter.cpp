// SPDX-License-Identifier: MIT
#include "qrv16/pcapngwriter.h"

#include <QIODevice>
#include <QtEndian>

namespace QRV16 {

namespace {

// Blocks are written in the machine's byte order; the byte-order magic of
// the section header tells readers which that was.
template <typename T>
void append(QByteArray& out, T value)
{
    out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void pad(QByteArray& out)
{
    while (out.size() % 4)
        out.append('\0');
}

void appendOption(QByteArray& out, quint16 code, const QByteArray& value)
{
    append<quint16>(out, code);
    append<quint16>(out, quint16(value.size()));
    out.append(value);
    pad(out);
}

// Type, total length, body, total length again.
QByteArray block(quint32 type, QByteArray body)
{
    pad(body);
    const quint32 length = quint32(body.size()) + 12;
    QByteArray out;
    out.reserve(int(length));
    append(out, type);
    append(out, length);
    out.append(body);
    append(out, length);
    return out;
}

const quint16 optEnd = 0;
const quint16 optComment = 1;
const quint16 shbUserAppl = 4;
const quint16 ifName = 2;
const quint16 ifTsresol = 9;

} // namespace

bool PcapngWriter::begin(QIODevice* device, const QString& application)
{
    m_device = device;
    m_error.clear();
    if (!m_device || !m_device->isWritable()) {
        m_error = QStringLiteral("The capture file is not open for writing");
        m_device = nullptr;
        return false;
    }

    QByteArray shb;
    append<quint32>(shb, 0x1A2B3C4D);
    append<quint16>(shb, 1);
    append<quint16>(shb, 0);
    append<qint64>(shb, -1); // section length not known in advance
    appendOption(shb, shbUserAppl, application.toUtf8());
    appendOption(shb, optEnd, QByteArray());

    QByteArray idb;
    append<quint16>(idb, LinkType);
    append<quint16>(idb, 0);
    append<quint32>(idb, 0); // no snapshot limit
    appendOption(idb, ifName, QByteArrayLiteral("korv"));
    appendOption(idb, ifTsresol, QByteArray(1, 6)); // microseconds
    appendOption(idb, optEnd, QByteArray());

    return put(block(0x0A0D0D0A, shb) + block(1, idb));
}

bool PcapngWriter::write(const Packet& packet)
{
    if (!m_device) {
        m_error = QStringLiteral("The capture file is not open for writing");
        return false;
    }
    const QByteArray data = header(packet) + packet.data;
    // Times before 1970 cannot be stored; they show as the epoch.
    const qint64 msecs = packet.time.isValid() ? packet.time.toMSecsSinceEpoch() : 0;
    const quint64 usecs = msecs > 0 ? quint64(msecs) * 1000 : 0;

    QByteArray epb;
    epb.reserve(data.size() + 64);
    append<quint32>(epb, 0); // interface
    append<quint32>(epb, quint32(usecs >> 32));
    append<quint32>(epb, quint32(usecs));
    append<quint32>(epb, quint32(data.size()));
    append<quint32>(epb, quint32(data.size()));
    epb.append(data);
    pad(epb);
    appendOption(epb, optComment, comment(packet).toUtf8());
    appendOption(epb, optEnd, QByteArray());
    return put(block(6, epb));
}

QByteArray PcapngWriter::header(const Packet& packet)
{
    QByteArray out(HeaderSize, '\0');
    out[0] = 1;
    out[1] = char(packet.kind);
    out[2] = char(packet.direction);
    out[3] = char(packet.channel);
    qToBigEndian<quint32>(packet.source, out.data() + 4);
    qToBigEndian<quint32>(packet.destination, out.data() + 8);
    return out;
}

QString PcapngWriter::comment(const Packet& packet)
{
    QString text = QStringLiteral("channel %1, %2, %3")
                       .arg(packet.channel)
                       .arg(packet.direction == Sent ? QLatin1String("sent") : QLatin1String("received"),
                            packet.kind == RawBytes ? QLatin1String("raw bytes") : QLatin1String("message"));
    if (packet.source != NoAddress)
        text += QStringLiteral(", src %1").arg(packet.source);
    if (packet.destination != NoAddress)
        text += QStringLiteral(", dst %1").arg(packet.destination);
    return text;
}

bool PcapngWriter::put(const QByteArray& block)
{
    if (m_device->write(block) == block.size())
        return true;
    m_error = QStringLiteral("Could not write the capture file: %1").arg(m_device->errorString());
    return false;
}

} // namespace QRV16
