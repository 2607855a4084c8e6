// SPDX-License-Identifier: MIT
// Received bytes as a plot reads them: every element's value, and the
// search for a tag at any depth, with and without the demo definitions.

#include "fuzz/demotable.h"
#include "qrv16/messagecollector.h"
#include "qrv16/plotvalue.h"

#include <QVector>

#include <cstdint>

using namespace QRV16;

static void walk(const Message& m, Message::Iterator it, int depth, QVector<int>* tags)
{
    for (; !it.atEnd(); ++it) {
        const int tag = it.tag();
        if (tag < 0)
            break;
        if (tags->size() < 16 && !tags->contains(tag))
            tags->append(tag);
        PlotValue value;
        value.read(it);
        bool ok = false;
        const Message::Iterator inner = it.getIterator(&ok);
        if (ok && isNestedTag(tag) && depth < 20)
            walk(m, inner, depth + 1, tags);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    MessageCollector collector;
    collector.append(bytes);
    while (collector.hasMessage()) {
        const Message m = collector.nextMessage();
        QVector<int> tags;
        walk(m, m.topLevelIterator(), 0, &tags);
        // A tag that is not there walks the whole message.
        tags.append(0x1FFF);
        for (int tag : tags) {
            PlotValue value;
            value.find(m, 0, m.size(), tag, nullptr);
            value.find(m, 0, m.size(), tag, demoTable());
        }
    }
    return 0;
}
