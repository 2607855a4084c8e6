// SPDX-License-Identifier: MIT
// Answer files: any bytes end in rules or a positioned error; the rules'
// patterns and value copies parse or fail with a position; what is read
// is written back and read again unchanged.

#include "automation/answerparser.h"
#include "automation/answerwriter.h"
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
    AnswerParser parser;
    if (!parser.parse(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)))) {
        parser.formatError();
        return 0;
    }
    const QRV16::TagDataLut* lut = demoTable();
    static const QRV16::Message request =
        QRV16::MessageParser(lut).parse(QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service)"));
    for (const AnswerRule& rule : parser.rules()) {
        QRV16::MessagePattern pattern;
        if (pattern.parse(rule.when, lut))
            pattern.matches(request);
        else if (pattern.errorStart() < 0 || pattern.errorStart() + pattern.errorLength() > rule.when.size())
            fail(rule.when, pattern);
        QRV16::MessagePattern::substitute(rule.answer, request, lut);
    }
    const QByteArray written = AnswerWriter().encode(parser.rules());
    AnswerParser again;
    if (!again.parse(written) || again.rules() != parser.rules()) {
        std::fprintf(stderr, "written:\n%s\n%s\n", written.constData(), qPrintable(again.formatError()));
        std::abort();
    }
    return 0;
}
