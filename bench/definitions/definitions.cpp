// Reading and writing definition files of 10,000 tags, beside 1,000.

#include "bench/korvbench.h"

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "writers/writerxml.h"

#include <memory>

using namespace QRV16;

namespace {

// Tags with three named bits and four enum values each.
QByteArray generate(int tags)
{
    QByteArray doc = "<?xml version=\"1.0\"?>\n<qrv16>\n";
    for (int t = 0; t < tags; ++t) {
        doc += "  <tag name=\"Tag" + QByteArray::number(t) + "\" id=\"" +
               QByteArray::number(0x1000 + t % 0x1000 + (t / 0x1000) * 0x1000 % 0x10000) +
               "\" display=\"x\" comment=\"generated\">\n    <bits>\n";
        for (int b = 0; b < 3; ++b)
            doc += "      <bit name=\"Bit" + QByteArray::number(b) + "\" id=\"" + QByteArray::number(b) +
                   "\"/>\n";
        doc += "    </bits>\n    <enums>\n";
        for (int e = 0; e < 4; ++e)
            doc += "      <enum name=\"Value" + QByteArray::number(e) + "\" id=\"" +
                   QByteArray::number(e) + "\"/>\n";
        doc += "    </enums>\n  </tag>\n";
    }
    return doc + "</qrv16>\n";
}

void BM_Read(benchmark::State& state)
{
    const QByteArray doc = generate(int(state.range(0)));
    for (auto _ : state) {
        Parser parser;
        if (!parser.parse(doc))
            state.SkipWithError("parse failed");
        std::unique_ptr<Item> root(parser.takeRoot());
        benchmark::DoNotOptimize(root.get());
    }
    state.SetBytesProcessed(state.iterations() * doc.size());
    state.counters["tags/s"] =
        benchmark::Counter(double(state.iterations() * state.range(0)), benchmark::Counter::kIsRate);
}

void BM_Write(benchmark::State& state)
{
    Parser parser;
    parser.parse(generate(int(state.range(0))));
    std::unique_ptr<Item> root(parser.takeRoot());
    qint64 bytes = 0;
    for (auto _ : state) {
        const QByteArray out = WriterXml().encode(root.get());
        bytes = out.size();
        benchmark::DoNotOptimize(out.constData());
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["tags/s"] =
        benchmark::Counter(double(state.iterations() * state.range(0)), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(BM_Read)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

KORV_BENCH_MAIN("BM_Read/1000")
