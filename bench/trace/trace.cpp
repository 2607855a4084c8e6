// SPDX-License-Identifier: MIT
// The trace model at scale: message lines appended to a capped model, in
// time order and out of order, and the memory of a full model.

#include "bench/korvbench.h"

#include "trace/tracemodel.h"
#include "trace/tracepcapngexport.h"
#include "trace/traceplotter.h"

#include "qrv16/item.h"
#include "qrv16/message.h"
#include "qrv16/messagewriter.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryFile>

#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

using namespace QRV16;

namespace {

constexpr int TotalLines = 1000000;

struct Demo
{
    std::unique_ptr<Item> root;
    std::unique_ptr<TagDataLut> lut;
    Message typical;

    Demo()
    {
        QRV16::pinTimeZone(); // as main() does
        Parser parser;
        if (!parser.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")))
            qFatal("%s", qPrintable(parser.formatError()));
        root.reset(parser.takeRoot());
        lut = std::make_unique<TagDataLut>(root.get());
        buildTypical();
    }

    int tag(const char* name) const
    {
        const int code = lut->tagNumber(QString::fromLatin1(name));
        if (code < 0)
            qFatal("demo.qrvdef has no tag %s", name);
        return code;
    }

    // A status report of 20 elements with one nested list of pump values.
    void buildTypical()
    {
        typical.beginMessage(tag("StatusReport"));
        typical.appendString(tag("StationName"), QStringLiteral("PS-4 north basin"));
        typical.appendDateTime(tag("Timestamp"), QDateTime(QDate(2026, 11, 22), QTime(19, 30, 15)));
        typical.beginMessage(tag("Pumps"));
        typical.appendInt(tag("PumpId"), 1);
        typical.appendInt(tag("PumpMode"), 2);
        typical.appendBool(tag("Running"), true);
        typical.appendInt(tag("FlowRate"), 1240);
        typical.appendInt(tag("Pressure"), 2150);
        typical.appendInt(tag("Temperature"), 412);
        typical.appendInt(tag("MotorCurrent"), 8450);
        typical.appendInt64(tag("RunHours"), 9120345);
        typical.endMessage();
        typical.appendInt(tag("WellLevel"), 183);
        typical.appendInt64(tag("Alarms"), 0x5);
        typical.appendInt64(tag("Valves"), 0x3);
        typical.appendBool(tag("DryRunProtection"), true);
        typical.appendBool(tag("RemoteControl"), false);
        typical.appendInt(tag("FirmwareVersion"), 0x02010007);
        typical.appendIPAddress(tag("IpAddress"), IPv4(0xC0A80114));
        typical.appendInt(tag("ResultCode"), 0);
        typical.endMessage();
    }
};

const Demo& demo()
{
    static const Demo d;
    return d;
}

int elementCount(Message::Iterator it)
{
    int n = 0;
    for (; !it.atEnd(); ++it) {
        ++n;
        if (isNestedTag(it.tag()))
            n += elementCount(it.getIterator());
    }
    return n;
}

// Up to 1.5 s late, so that most lines are sorted in past earlier ones.
qint64 lateness(quint32& seed)
{
    seed = seed * 1664525u + 1013904223u;
    return qint64(seed >> 8) % 1500;
}

void appendLines(benchmark::State& state, bool outOfOrder)
{
    const Demo& d = demo();
    const int cap = int(state.range(0));
    const qint64 start = QDateTime(QDate(2026, 11, 22), QTime(8, 0)).toMSecsSinceEpoch();
    for (auto _ : state) {
        state.PauseTiming();
        auto model = std::make_unique<TraceModel>();
        model->setTags(d.lut.get());
        model->setLimit(cap);
        quint32 seed = 1;
        state.ResumeTiming();
        for (int i = 0; i < TotalLines; ++i) {
            qint64 ms = start + i;
            if (outOfOrder)
                ms -= lateness(seed);
            model->append(QStringLiteral("1"), d.typical, ColorMessageRx1,
                          QDateTime::fromMSecsSinceEpoch(ms), 1, 2);
        }
        state.PauseTiming();
        model->flush();
        if (model->lineCount() != cap)
            state.SkipWithError("the model does not hold its limit");
        model.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * TotalLines);
    state.counters["lines/s"] =
        benchmark::Counter(double(state.iterations()) * TotalLines, benchmark::Counter::kIsRate);
}

void BM_AppendInOrder(benchmark::State& state)
{
    appendLines(state, false);
}

void BM_AppendOutOfOrder(benchmark::State& state)
{
    appendLines(state, true);
}

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    // Files in /proc have no size: read until the end instead of asking atEnd().
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

// A model filled to its limit with message lines. Runs first, so that no
// memory freed by another benchmark is reused and hidden from the count.
void BM_FullModelMemory(benchmark::State& state)
{
    const Demo& d = demo();
    const qint64 start = QDateTime(QDate(2026, 11, 22), QTime(8, 0)).toMSecsSinceEpoch();
    double residentMiB = 0;
    double heapMiB = 0;
    for (auto _ : state) {
        const long before = residentKiB();
        const size_t heapBefore = mallinfo2().uordblks;
        auto model = std::make_unique<TraceModel>();
        model->setTags(d.lut.get());
        for (int i = 0; i < TraceModel::DefaultLimit; ++i)
            model->append(QStringLiteral("1"), d.typical, ColorMessageRx1,
                          QDateTime::fromMSecsSinceEpoch(start + i), 1, 2);
        residentMiB = double(residentKiB() - before) / 1024.0;
        heapMiB = double(mallinfo2().uordblks - heapBefore) / (1024.0 * 1024.0);
        if (model->lineCount() != TraceModel::DefaultLimit)
            state.SkipWithError("the model does not hold 100,000 lines");
        state.PauseTiming();
        model.reset();
        state.ResumeTiming();
    }
    state.counters["resident_MiB"] = residentMiB;
    state.counters["heap_MiB"] = heapMiB;
    state.counters["elements"] = elementCount(d.typical.topLevelIterator());
    state.counters["bytes/msg"] = d.typical.size();
    state.counters["chars/line"] =
        double(MessageWriter(d.lut.get()).toText(d.typical).size());
}

// A trace at its limit of typical message lines, received, or sent and
// received in turn.
void fill(TraceModel& model, int lines, bool bothDirections)
{
    const Demo& d = demo();
    const qint64 start = QDateTime(QDate(2026, 11, 22), QTime(8, 0)).toMSecsSinceEpoch();
    model.setTags(d.lut.get());
    model.setLimit(lines);
    for (int i = 0; i < lines; ++i)
        model.append(QStringLiteral("1"), d.typical, bothDirections && i % 2 == 0 ? ColorMessageTx1 : ColorMessageRx1,
                     QDateTime::fromMSecsSinceEpoch(start + i), 1, 2);
    model.flush();
}

// "Export..." as pcapng of a trace full of message lines, into a file.
void BM_PcapngExport(benchmark::State& state)
{
    const int lines = int(state.range(0));
    TraceModel model;
    fill(model, lines, true);
    qint64 size = 0;
    for (auto _ : state) {
        QTemporaryFile file;
        if (!file.open()) {
            state.SkipWithError("no temporary file");
            break;
        }
        QString error;
        if (TracePcapngExport::write(&model, &file, &error) != lines)
            state.SkipWithError(qPrintable(error));
        size = file.size();
    }
    state.SetBytesProcessed(state.iterations() * size);
    state.counters["lines/s"] = benchmark::Counter(double(state.iterations()) * lines, benchmark::Counter::kIsRate);
    state.counters["MB"] = double(size) / 1e6;
}

// A tag asked for in the plot collects its points from every line.
void BM_PlotAddTag(benchmark::State& state)
{
    const Demo& d = demo();
    const int lines = int(state.range(0));
    TraceModel model;
    fill(model, lines, false);
    qint64 longest = 0;
    int slices = 0;
    for (auto _ : state) {
        TracePlotter plotter(&model);
        plotter.setTags(d.lut.get());
        QElapsedTimer slice;
        slice.start();
        if (!plotter.addTag(d.tag("WellLevel")))
            state.SkipWithError("WellLevel cannot be plotted");
        longest = std::max(longest, slice.nsecsElapsed());
        // The rest comes in slices of the event loop.
        while (plotter.isCollecting()) {
            slice.restart();
            QCoreApplication::processEvents();
            longest = std::max(longest, slice.nsecsElapsed());
            ++slices;
        }
        if (plotter.pointCount(0) != lines)
            state.SkipWithError("points missing");
    }
    state.counters["lines/s"] = benchmark::Counter(double(state.iterations()) * lines, benchmark::Counter::kIsRate);
    state.counters["longest_slice_ms"] = double(longest) / 1e6;
    state.counters["slices"] = slices;
}

// The baseline: copying as many bytes as the capture holds.
void BM_PcapngExportMemcpy(benchmark::State& state)
{
    const Demo& d = demo();
    // A packet is the message, its pcapng block and its bus header.
    const size_t size = size_t(state.range(0)) * size_t(d.typical.size() + 64);
    std::vector<char> from(size, 'x');
    std::vector<char> to(size);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), size);
        benchmark::DoNotOptimize(to.data());
    }
    state.SetBytesProcessed(state.iterations() * qint64(size));
}

} // namespace

BENCHMARK(BM_FullModelMemory)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppendInOrder)->Arg(1000)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppendOutOfOrder)->Arg(1000)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PcapngExport)->Arg(100000)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotAddTag)->Arg(100000)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PcapngExportMemcpy)->Arg(1000000)->Unit(benchmark::kMillisecond);
KORV_BENCH_BESIDE("BM_PcapngExport/1000000/iterations:1", "BM_PcapngExport/100000/iterations:1")
KORV_BENCH_BESIDE("BM_PcapngExport/1000000/iterations:1", "BM_PcapngExportMemcpy/1000000")

// The model's batch timer needs an application object.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    return korvbench::run(argc, argv, "BM_AppendInOrder/1000/iterations:1");
}
