// SPDX-License-Identifier: MIT
// Received bytes: every reader, the collector and the text writer. What the
// writer prints of a valid message reads back, with and without the demo
// definitions, in every layout, and what it reads back to is a fixed point;
// a mismatch aborts.

#include "fuzz/demotable.h"
#include "qrv16/messagecollector.h"
#include "tests/qrv16/notationproperty.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

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

static void checkNotation(const Message& m)
{
    const QString failure = NotationProperty::checkEveryLayout(m, demoTable(), false);
    if (!failure.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(failure));
        std::abort();
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
        if (m.isValid())
            checkNotation(m);
        else
            m.toText(nullptr, MultiLine);
    }
    return 0;
}
