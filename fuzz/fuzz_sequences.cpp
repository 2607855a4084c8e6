// SPDX-License-Identifier: MIT
// Sequence files: any bytes end in sequences or a positioned error; the
// steps' texts and patterns parse or fail with a position; what is read is
// written back and read again unchanged.

#include "automation/sequenceparser.h"
#include "automation/sequencewriter.h"
#include "fuzz/demotable.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagepattern.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SequenceParser parser;
    if (!parser.parse(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)))) {
        parser.formatError();
        return 0;
    }
    const QRV16::TagDataLut* lut = demoTable();
    for (const Sequence& sequence : parser.sequences()) {
        for (const SequenceStep& step : sequence.steps) {
            if (step.kind == SequenceStep::Expect) {
                QRV16::MessagePattern pattern;
                if (!pattern.parse(step.text, lut) &&
                    (pattern.errorStart() < 0 || pattern.errorStart() + pattern.errorLength() > step.text.size()))
                    std::abort();
            } else if (step.kind == SequenceStep::Send) {
                QRV16::MessageParser(lut).parseList(step.text);
            }
            step.toText();
        }
    }
    SequenceParser again;
    if (!again.parse(SequenceWriter().encode(parser.sequences())) || again.sequences() != parser.sequences())
        std::abort();
    return 0;
}
