// SPDX-License-Identifier: MIT
// Typed text against demo.qrvdef's names. Whatever parses, prints in every
// layout and reads back to a fixed point; a mismatch aborts.

#include "fuzz/demotable.h"
#include "qrv16/messageparser.h"
#include "tests/qrv16/notationproperty.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace QRV16;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    MessageParser parser(demoTable());
    const QList<Message> messages = parser.parseList(text);
    for (const Message& m : messages) {
        // A payload past 65,533 bytes wraps its length: no message to print.
        if (!m.isValid())
            continue;
        const QString failure = NotationProperty::checkEveryLayout(m, demoTable(), false);
        if (!failure.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(failure));
            std::abort();
        }
    }
    if (parser.hasError())
        parser.errorColumnEnd();
    return 0;
}
