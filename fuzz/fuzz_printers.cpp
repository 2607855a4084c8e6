// SPDX-License-Identifier: MIT
// Trace printers: any bytes, cut anywhere, print without leaving their
// buffers, and every line reads back as plain text with its colour runs.

#include "connection/ansitext.h"
#include "connection/bistrace.h"
#include "connection/ltd16trace.h"
#include "connection/ltdtrace.h"

#include <cstdint>
#include <cstdlib>

namespace {

template <typename Printer>
void run(Printer& printer, const uint8_t* data, size_t size)
{
    QObject::connect(&printer, &Printer::trace, [](const QString& line) {
        QList<AnsiText::Run> runs;
        const QString plain = AnsiText::parse(line, &runs);
        qsizetype covered = 0;
        for (const AnsiText::Run& run : runs)
            covered += run.length;
        if (covered != plain.size())
            std::abort();
    });
    // The first byte chooses where the input is cut in two.
    const size_t cut = size ? data[0] % (size + 1) : 0;
    printer.receive(data, unsigned(cut));
    printer.receive(data + cut, unsigned(size - cut));
    printer.reset();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    BiSTrace bis;
    run(bis, data, size);
    LTDTrace ltd;
    run(ltd, data, size);
    LTD16Trace ltd16;
    run(ltd16, data, size);
    return 0;
}
