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
        const TraceItem* item = model->index2item(model->index(row, 0));
        PcapngWriter::Packet packet;
        if (!item || !classify(item->color(), &packet))
            continue;
        if (packet.kind == PcapngWriter::MessageBytes) {
            const TraceItem::MessageRange* range = item->message();
            if (!range)
                continue;
            packet.data = range->bytes.mid(range->start, range->end - range->start);
        } else {
            packet.data = QByteArray::fromHex(item->text().toLatin1());
        }
        packet.time = item->time();
        if (item->src() >= 0)
            packet.source = quint32(item->src());
        if (item->dst() >= 0)
            packet.destination = quint32(item->dst());
        if (!writer.write(packet)) {
            *error = writer.errorString();
            return -1;
        }
        ++count;
    }
    return count;
}
