// SPDX-License-Identifier: MIT
#include "trace/tracepcapngexport.h"

#include "qrv16/pcapngwriter.h"
#include "trace/traceitem.h"
#include "trace/tracemodel.h"

#include <QCoreApplication>

using QRV16::PcapngWriter;

namespace {

// Channel, direction and kind of a line by its colour; false for lines
// that are not traffic.
bool classify(StyleColor color, PcapngWriter::Packet* packet)
{
    int offset = color - ColorRawRx1;
    const int perChannel = ColorRawRx2 - ColorRawRx1;
    if (offset < 0 || offset >= 2 * perChannel)
        return false;
    packet->channel = offset < perChannel ? 1 : 2;
    offset %= perChannel;
    packet->direction = offset % 2 ? PcapngWriter::Sent : PcapngWriter::Received;
    switch (offset / 2) {
    case 0:
        packet->kind = PcapngWriter::RawBytes;
        return true;
    case 2:
        packet->kind = PcapngWriter::MessageBytes;
        return true;
    default:
        return false; // hex dumps
    }
}

} // namespace

int TracePcapngExport::write(const TraceModel* model, QIODevice* device, QString* error)
{
    PcapngWriter writer;
    const QString application =
        QCoreApplication::applicationName() + QLatin1Char(' ') + QCoreApplication::applicationVersion();
    if (!writer.begin(device, application.trimmed())) {
        *error = writer.errorString();
        return -1;
    }
    int count = 0;
    for (int row = 0; row < model->lineCount(); ++row) {
        const QModelIndex index = model->index(row, 0);
        const TraceModel::Line line = model->line(index);
        PcapngWriter::Packet packet;
        if (!line.valid || !classify(line.color, &packet))
            continue;
        if (packet.kind == PcapngWriter::MessageBytes) {
            if (!line.hasMessage)
                continue;
            const TraceItem::MessageRange& range = line.message;
            packet.data = QByteArray(range.bytes.constData() + range.start, range.end - range.start);
        } else {
            packet.data = QByteArray::fromHex(index.siblingAtColumn(TraceModel::TextColumn).data().toString().toLatin1());
        }
        packet.time = line.time();
        if (line.src >= 0)
            packet.source = quint32(line.src);
        if (line.dst >= 0)
            packet.destination = quint32(line.dst);
        if (!writer.write(packet)) {
            *error = writer.errorString();
            return -1;
        }
        ++count;
    }
    return count;
}
