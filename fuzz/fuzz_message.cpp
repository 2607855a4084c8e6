// Received bytes: every reader, the collector and the text writer; what the
// writer prints of a valid message must read back without a crash.

#include "qrv16/messagecollector.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagewriter.h"

#include <cstdint>

using namespace QRV16;

static void walk(Message::Iterator it, int depth)
{
    for (; !it.atEnd(); ++it) {
        bool ok;
        it.get(&ok);
        it.getIPAddress(&ok);
        it.getInt64(&ok);
        it.getIntList(&ok, 3);
        it.getMessage(&ok);
        const Message::Iterator inner = it.getIterator(&ok);
        if (ok && depth < 20)
            walk(inner, depth + 1);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    MessageCollector collector;
    collector.append(bytes);
    while (collector.hasMessage()) {
        const Message m = collector.nextMessage();
        walk(m.topLevelIterator(), 0);
        const QString text = m.toText(nullptr, MultiLine);
        if (m.isValid()) {
            MessageParser parser;
            parser.parse(m.toText());
        }
    }
    return 0;
}
