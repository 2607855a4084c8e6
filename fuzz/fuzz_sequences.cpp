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
#include <cstdio>
#include <cstdlib>

// The pattern whose error lies outside its text.
[[noreturn]] void fail(const QString& text, const QRV16::MessagePattern& pattern)
{
    std::fprintf(stderr, "error at %d+%d of %lld characters: %s\n", pattern.errorStart(), pattern.errorLength(),
                 static_cast<long long>(text.size()), qPrintable(text));
    std::abort();
}

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
                    fail(step.text, pattern);
            } else if (step.kind == SequenceStep::Send) {
                QRV16::MessageParser(lut).parseList(step.text);
            }
            step.toText();
        }
    }
    const QByteArray written = SequenceWriter().encode(parser.sequences());
    SequenceParser again;
    if (!again.parse(written) || again.sequences() != parser.sequences()) {
        std::fprintf(stderr, "written:\n%s\n%s\n", written.constData(), qPrintable(again.formatError()));
        std::abort();
    }
    return 0;
}
