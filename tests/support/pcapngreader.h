// SPDX-License-Identifier: MIT
#pragma once

// Reads pcapng files back in the tests, independently of the writer.

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QtEndian>

namespace PcapngReader {

struct Block
{
    quint32 type = 0;
    QByteArray body; // between the two length fields
};

// Reads the blocks back as any pcapng reader would, checking the framing.
inline QList<Block> readBlocks(const QByteArray& file, QString* error)
{
    QList<Block> blocks;
    qsizetype pos = 0;
    while (pos < file.size()) {
        if (file.size() - pos < 12) {
            *error = QStringLiteral("short block at %1").arg(pos);
            return {};
        }
        const quint32 type = qFromLittleEndian<quint32>(file.constData() + pos);
        const quint32 length = qFromLittleEndian<quint32>(file.constData() + pos + 4);
        if (length % 4 || length < 12 || pos + length > file.size()) {
            *error = QStringLiteral("bad length %1 at %2").arg(length).arg(pos);
            return {};
        }
        if (qFromLittleEndian<quint32>(file.constData() + pos + length - 4) != length) {
            *error = QStringLiteral("trailing length differs at %1").arg(pos);
            return {};
        }
        blocks.append({type, file.mid(pos + 8, length - 12)});
        pos += length;
    }
    return blocks;
}

// Options from `pos` in a block body: code to value.
inline QMap<quint16, QByteArray> readOptions(const QByteArray& body, qsizetype pos)
{
    QMap<quint16, QByteArray> options;
    while (pos + 4 <= body.size()) {
        const quint16 code = qFromLittleEndian<quint16>(body.constData() + pos);
        const quint16 length = qFromLittleEndian<quint16>(body.constData() + pos + 2);
        if (code == 0)
            break;
        options.insert(code, body.mid(pos + 4, length));
        pos += 4 + ((length + 3) & ~3);
    }
    return options;
}

// The enhanced packet blocks: time in microseconds, data, comment.
struct Packet
{
    quint64 usecs = 0;
    QByteArray data;
    QString comment;
};

inline QList<Packet> readPackets(const QByteArray& file, QString* error)
{
    QList<Packet> packets;
    for (const Block& b : readBlocks(file, error)) {
        if (b.type != 6 || b.body.size() < 20)
            continue;
        Packet p;
        p.usecs = quint64(qFromLittleEndian<quint32>(b.body.constData() + 4)) << 32 |
                  qFromLittleEndian<quint32>(b.body.constData() + 8);
        const quint32 captured = qFromLittleEndian<quint32>(b.body.constData() + 12);
        p.data = b.body.mid(20, captured);
        p.comment = QString::fromUtf8(readOptions(b.body, 20 + ((captured + 3) & ~3u)).value(1));
        packets.append(p);
    }
    return packets;
}

} // namespace PcapngReader
