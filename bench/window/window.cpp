// SPDX-License-Identifier: MIT
// The main window at scale, offscreen with the view shown and auto scroll
// on: channel 1 listens on loopback and a peer thread writes to it. Reports
// the CPU per received line at three trace sizes, the event-loop latency and
// resident memory under a 20,000 message/s flood at the line limit, and a
// replay of a 1,000,000-line log; filtering and finding at the line limit,
// the flood again with a filter set, and a plot of two tags at the line
// limit: its redraw, and the flood while it follows. The replay runs alone
// and with a live line every millisecond, which waits behind the block.

#include "bench/korvbench.h"

#include "app/mainwindow.h"
#include "trace/channel.h"
#include "trace/replayer.h"
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/widgets/plotdock.h"
#include "trace/widgets/traceview.h"

#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "qrv16/message.h"
#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "qrv16/types.h"
#include "tests/support/serversettings.h"

#include <QApplication>
#include <QChartView>
#include <QLineSeries>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QScrollBar>
#include <QSettings>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <QWindow>

#include <arpa/inet.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int Burst = 1000;
constexpr int FloodRate = 20000; // messages per second
constexpr int FloodSeconds = 10;

const char typicalText[] =
    "StatusReport=(StationName=\"PS-4 north basin\" Pumps=(PumpId=1 PumpMode=2 Running=true "
    "FlowRate=1240 Pressure=2150 Temperature=412 MotorCurrent=8450 RunHours=9120345) WellLevel=183 "
    "FirmwareVersion=33619975 ResultCode=Ok PumpId=2 FlowRate=900 Pressure=2000 Temperature=400 "
    "MotorCurrent=8000 Running=false)";

double processCpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

double residentMiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? double(fields.at(1).toLongLong()) * double(sysconf(_SC_PAGESIZE)) /
                                   (1024.0 * 1024.0)
                             : 0;
}

// Sleeps in the event loop between events: a busy loop would be counted as
// the window's CPU.
bool spinUntil(const std::function<bool()>& done, int timeoutMs = 120000)
{
    QTimer heartbeat;
    heartbeat.start(20);
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void settle()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t at = std::min(values.size() - 1, size_t(p * double(values.size())));
    return values[at];
}

// The window with channel 1 listening and a peer socket connected to it.
struct Rig
{
    QTemporaryDir dir;
    std::unique_ptr<MainWindow> window;
    int peer = -1;
    QByteArray small;   // 5 bytes
    QByteArray typical; // 20 elements
    double emptyMiB = 0;
    qint64 appended = 0; // channel 1's lines

    Rig()
    {
        QStandardPaths::setTestModeEnabled(true);
        QSettings().clear();
        window = std::make_unique<MainWindow>();
        window->resize(1100, 720);
        window->show();
        // Past the deferred start-up, which connects both channels.
        QElapsedTimer wait;
        wait.start();
        spinUntil([&] { return wait.elapsed() > 400; });
        if (!window->loadDefinitionFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")))
            qFatal("no definitions");
        QRV16::MessageParser parser(window->tags());
        small = parser.parse(QStringLiteral("PumpId=7")).bytes();
        typical = parser.parse(QString::fromLatin1(typicalText)).bytes();
        if (parser.hasError() || small.size() != 5)
            qFatal("messages: %s", qPrintable(parser.errorMessage()));

        Channel* channel = window->channel(1);
        channel->setSettings(korvtest::loopbackServer());
        channel->connect();
        const auto* listener = qobject_cast<const QTcpServer*>(channel->connection()->connection());
        if (!listener || !listener->isListening())
            qFatal("channel 1 does not listen");
        peer = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(listener->serverPort());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(peer, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            qFatal("peer cannot connect");
        if (!spinUntil([&] { return channel->connection()->isConnected(); }, 10000))
            qFatal("channel 1 not connected");
        QObject::connect(
            window->traceModel(), &TraceModel::appended, window.get(),
            [this](const QModelIndex& index) {
                if (index.siblingAtColumn(TraceModel::SourceColumn).data().toString() ==
                    QLatin1String("1"))
                    ++appended;
            });
        window->traceModel()->clear();
        settle();
        emptyMiB = residentMiB();
    }

    ~Rig()
    {
        if (peer >= 0)
            ::close(peer);
    }

    TraceModel* model() const { return window->traceModel(); }

    // Fills the trace with `lines` lines of `message`, as received.
    void fill(int lines, const QByteArray& message)
    {
        model()->clear();
        const QRV16::Message msg(message);
        for (int i = 0; i < lines; ++i)
            model()->append(QStringLiteral("1"), msg, ColorMessageRx1, QDateTime(), -1, -1);
        model()->flush();
        settle();
    }

    // Waits until `count` more lines of channel 1 are in the view.
    bool arrive(qint64 target)
    {
        const bool ok =
            spinUntil([&] { return appended >= target && model()->pendingCount() == 0; });
        settle();
        return ok;
    }

    void writeAll(const QByteArray& bytes) const
    {
        qsizetype done = 0;
        while (done < bytes.size()) {
            const ssize_t n = ::write(peer, bytes.constData() + done, size_t(bytes.size() - done));
            if (n <= 0)
                return;
            done += n;
        }
    }
};

Rig& rig()
{
    static int argc = 1;
    static char name[] = "bench_window";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QRV16::pinTimeZone(); // as main() does
        QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
        QCoreApplication::setApplicationName(QStringLiteral("korvgui-bench"));
        return new QApplication(argc, argv);
    }();
    Q_UNUSED(app);
    // Never destroyed, like the application: the window must not outlive it.
    static Rig* r = new Rig;
    return *r;
}

void BM_ReceiveLine(benchmark::State& state)
{
    Rig& r = rig();
    const QByteArray& message = state.range(1) ? r.typical : r.small;
    const QByteArray burst = message.repeated(Burst);
    double cpu = 0;
    int batches = 0;
    const auto counting =
        QObject::connect(r.model(), &QAbstractItemModel::rowsInserted, [&batches] { ++batches; });
    const int limit = r.model()->limit();
    r.model()->setLimit(qMax(limit, int(state.range(0))));
    for (auto _ : state) {
        // Each burst lands on a trace of the size measured.
        state.PauseTiming();
        r.fill(int(state.range(0)), message);
        batches = 0;
        state.ResumeTiming();
        const qint64 target = r.appended + Burst;
        const double before = processCpuSeconds();
        std::thread peer([&] { r.writeAll(burst); });
        const bool ok = r.arrive(target);
        peer.join();
        cpu += processCpuSeconds() - before;
        if (!ok) {
            state.SkipWithError("lines lost");
            return;
        }
    }
    QObject::disconnect(counting);
    state.counters["cpu_us/line"] = cpu * 1e6 / (double(state.iterations()) * Burst);
    state.counters["batches"] = batches; // of the last burst
    state.counters["bytes"] = double(message.size());
    state.counters["lines"] = double(r.model()->lineCount());
    r.model()->clear();
    r.model()->setLimit(limit);
    state.SetLabel(state.range(1) ? "20 elements" : "5 bytes");
}

// One flood at the line limit; the event-loop latency as a 10 ms timer's
// lateness.
struct FloodResult
{
    std::vector<double> lateness;
    double receivedPerSecond = 0;
};

FloodResult flood(Rig& r, const QByteArray& slotBytes = QByteArray())
{
    FloodResult result;
    QElapsedTimer clock;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    tick.setInterval(10);
    qint64 last = 0;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        result.lateness.push_back(double(now - last) / 1e6 - 10.0);
        last = now;
    });
    std::atomic<bool> done{false};
    const qint64 start = r.appended;
    // 20 messages per millisecond, on an absolute schedule.
    const QByteArray slot = slotBytes.isEmpty() ? r.typical.repeated(FloodRate / 1000) : slotBytes;
    clock.start();
    last = clock.nsecsElapsed();
    tick.start();
    std::thread peer([&] {
        const auto begin = std::chrono::steady_clock::now();
        for (int ms = 0; ms < FloodSeconds * 1000; ++ms) {
            std::this_thread::sleep_until(begin + std::chrono::milliseconds(ms));
            r.writeAll(slot);
        }
        done = true;
    });
    spinUntil([&] { return done.load(); });
    peer.join();
    tick.stop();
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    result.receivedPerSecond = double(r.appended - start) / seconds;
    // Whatever is still on its way arrives before the next measurement.
    r.arrive(start + qint64(FloodRate) * FloodSeconds);
    return result;
}

void BM_Flood(benchmark::State& state)
{
    Rig& r = rig();
    const int lines = int(state.range(0));
    r.model()->setLimit(lines);
    r.fill(lines, r.typical);
    for (auto _ : state) {
        const FloodResult first = flood(r);
        const double afterFirst = residentMiB();
        const FloodResult second = flood(r);
        const double afterSecond = residentMiB();
        state.counters["p50_ms"] = percentile(first.lateness, 0.50);
        state.counters["p99_ms"] = percentile(first.lateness, 0.99);
        state.counters["max_ms"] = percentile(first.lateness, 1.0);
        state.counters["rx_msg/s"] = first.receivedPerSecond;
        state.counters["p99_2nd_ms"] = percentile(second.lateness, 0.99);
        state.counters["empty_MiB"] = r.emptyMiB;
        state.counters["full_MiB"] = afterFirst;
        state.counters["KiB/line"] = (afterFirst - r.emptyMiB) * 1024.0 / lines;
        state.counters["2nd_flood_%"] =
            (afterSecond - afterFirst) * 100.0 / (afterFirst - r.emptyMiB);
    }
    r.model()->clear();
    r.model()->setLimit(TraceModel::DefaultLimit);
}

double msSince(const QElapsedTimer& clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

// The longest gap between two ticks of a 10 ms timer: how long the event
// loop was held.
struct GapMeter
{
    GapMeter()
    {
        tick.setTimerType(Qt::PreciseTimer);
        tick.setInterval(10);
        QObject::connect(&tick, &QTimer::timeout, [this] {
            const qint64 now = clock.nsecsElapsed();
            longest = std::max(longest, double(now - last) / 1e6);
            last = now;
        });
        clock.start();
        last = clock.nsecsElapsed();
        tick.start();
    }

    QTimer tick;
    QElapsedTimer clock;
    qint64 last = 0;
    double longest = 0;
};

// A full trace of N lines: a filter that keeps half of them applied and
// cleared, and a find that reads every line because nothing matches; each
// until its bar is done, with the longest hold of the event loop meanwhile.
void BM_FilterAndFind(benchmark::State& state)
{
    Rig& r = rig();
    const int lines = int(state.range(0));
    const int limit = r.model()->limit();
    r.model()->setLimit(std::max(limit, lines));
    // Every other line a cooler pump, which the filter drops.
    const QRV16::Message hot(r.typical);
    const QRV16::Message cool(QRV16::MessageParser(r.window->tags())
                                  .parse(QString::fromLatin1(typicalText)
                                             .replace(QLatin1String("Temperature=412"), QLatin1String("Temperature=390"))
                                             .replace(QLatin1String("Temperature=400"), QLatin1String("Temperature=380"))));
    r.model()->clear();
    for (int i = 0; i < lines; ++i)
        r.model()->append(QStringLiteral("1"), i % 2 ? cool : hot, ColorMessageRx1, QDateTime(), -1, -1);
    r.model()->flush();
    settle();
    auto* filterBar = r.window->findChild<FilterBar*>();
    auto* findBar = r.window->findChild<FindBar*>();
    auto* view = r.window->findChild<TraceView*>();
    if (!filterBar || !findBar || !view) {
        state.SkipWithError("no bars");
        return;
    }
    std::vector<double> apply, clear, find;
    double gap = 0;
    int shown = 0;
    const auto timed = [&gap](std::vector<double>* times, const std::function<void()>& start,
                              const std::function<bool()>& busy) {
        GapMeter meter;
        QElapsedTimer clock;
        clock.start();
        start();
        spinUntil([&] { return !busy(); }, 600000);
        settle();
        times->push_back(msSince(clock));
        gap = std::max(gap, meter.longest);
    };
    for (auto _ : state) {
        timed(&apply, [&] { filterBar->setExpression(QStringLiteral("Temperature>405 and not PumpMode=Service")); },
              [&] { return filterBar->isBusy(); });
        shown = view->model()->rowCount();
        timed(&clear, [&] { filterBar->clear(); }, [&] { return filterBar->isBusy(); });
        timed(&find, [&] { findBar->setText(QStringLiteral("no such text %1").arg(apply.size())); },
              [&] { return findBar->isBusy(); });
        findBar->setText(QString());
    }
    state.counters["apply_ms"] = percentile(apply, 1.0);
    state.counters["clear_ms"] = percentile(clear, 1.0);
    state.counters["find_ms"] = percentile(find, 1.0);
    state.counters["max_gap_ms"] = gap;
    state.counters["shown"] = shown;
    state.counters["lines"] = double(r.model()->rowCount());
    r.model()->clear();
    r.model()->setLimit(limit);
    settle();
}

// The flood at the limit with a filter that lets every message through, so
// that every arriving line is tested and shown.
void BM_FloodFiltered(benchmark::State& state)
{
    Rig& r = rig();
    r.fill(TraceModel::DefaultLimit, r.typical);
    auto* filterBar = r.window->findChild<FilterBar*>();
    filterBar->setExpression(QStringLiteral("Temperature>405 and (PumpMode=2 or ResultCode=Ok)"));
    spinUntil([&] { return !filterBar->isBusy(); });
    settle();
    auto* view = r.window->findChild<TraceView*>();
    for (auto _ : state) {
        const FloodResult result = flood(r);
        state.counters["p50_ms"] = percentile(result.lateness, 0.50);
        state.counters["p99_ms"] = percentile(result.lateness, 0.99);
        state.counters["max_ms"] = percentile(result.lateness, 1.0);
        state.counters["rx_msg/s"] = result.receivedPerSecond;
        state.counters["shown"] = double(view->model()->rowCount());
    }
    filterBar->clear();
    settle();
}

// Repaints of the trace, for the longest gap between two.
class PaintClock : public QObject
{
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            const qint64 now = clock.elapsed();
            if (last >= 0)
                longest = std::max(longest, now - last);
            last = now;
            ++paints;
        }
        return false;
    }

    QElapsedTimer clock;
    qint64 last = -1;
    qint64 longest = 0;
    int paints = 0;
};

void BM_ReplayLog(benchmark::State& state)
{
    Rig& r = rig();
    // The log is written once per size and streamed by the replay: memory
    // may grow only by what the trace keeps.
    const qint64 lines = state.range(1);
    const QString path = r.dir.filePath(QStringLiteral("replay%1.csv").arg(lines));
    if (!QFileInfo::exists(path)) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write the log");
        QByteArray text;
        const QDateTime start(QDate(2026, 11, 22), QTime(8, 0));
        for (qint64 i = 0; i < lines; ++i) {
            text += start.addMSecs(i).toString(Qt::ISODateWithMs).toLatin1() +
                    ",\"1\",\"PumpId=" + QByteArray::number(i % 1000) + "\",7,,\n";
            if (text.size() > (1 << 20)) {
                file.write(text);
                text.clear();
            }
        }
        file.write(text);
    }
    auto* view = r.window->findChild<TraceView*>();
    const bool traffic = state.range(0) != 0;
    for (auto _ : state) {
        r.model()->clear();
        settle();
        int live = 0;
        QTimer liveLines;
        liveLines.setInterval(1);
        QObject::connect(&liveLines, &QTimer::timeout,
                         [&] { r.window->message(QStringLiteral("live %1").arg(live++)); });
        if (traffic)
            liveLines.start();
        PaintClock paints;
        view->viewport()->installEventFilter(&paints);
        bool finished = false;
        const auto connection = QObject::connect(r.window->replayer(), &Replayer::finished,
                                                 [&finished] { finished = true; });
        QElapsedTimer clock;
        clock.start();
        const double cpuBefore = processCpuSeconds();
        paints.clock.start();
        const double before = residentMiB();
        if (!r.window->replayLog(path)) {
            state.SkipWithError("replay did not start");
            return;
        }
        spinUntil([&] { return finished; }, 600000);
        const double seconds = double(clock.nsecsElapsed()) / 1e9;
        liveLines.stop();
        view->viewport()->removeEventFilter(&paints);
        QObject::disconnect(connection);
        state.counters["live_lines"] = live;
        state.counters["lines/s"] = double(lines) / seconds;
        // Lines per second of CPU: the machine may be shared.
        state.counters["lines/cpu_s"] = double(lines) / (processCpuSeconds() - cpuBefore);
        state.counters["max_paint_gap_ms"] = double(paints.longest);
        state.counters["paints"] = paints.paints;
        state.counters["rss_growth_MiB"] = residentMiB() - before;
    }
}

// The two tags the plot benchmarks draw: an integer and an enum, both in
// the typical message.
PlotDock* plotTwoTags(Rig& r)
{
    r.window->plotTag(r.window->tags()->tagNumber(QStringLiteral("WellLevel")));
    r.window->plotTag(r.window->tags()->tagNumber(QStringLiteral("ResultCode")));
    settle();
    return r.window->plotDock();
}

// At the line limit, every line with both tags and the values moving: one
// redraw of the two curves, each view repainted.
void BM_PlotRedraw(benchmark::State& state)
{
    Rig& r = rig();
    static const char* const results[] = {"Ok", "Busy", "Denied"};
    std::vector<QRV16::Message> variants;
    QRV16::MessageParser parser(r.window->tags());
    for (int i = 0; i < 120; ++i)
        variants.push_back(parser.parse(QString::fromLatin1(typicalText)
                                            .replace(QLatin1String("WellLevel=183"),
                                                     QStringLiteral("WellLevel=%1").arg(150 + (i * 37) % 90))
                                            .replace(QLatin1String("ResultCode=Ok"),
                                                     QStringLiteral("ResultCode=%1").arg(QLatin1String(results[i / 40])))));
    r.model()->clear();
    for (int i = 0; i < TraceModel::DefaultLimit; ++i)
        r.model()->append(QStringLiteral("1"), variants[size_t(i % 120)], ColorMessageRx1, QDateTime(), -1, -1);
    r.model()->flush();
    settle();
    QElapsedTimer clock;
    clock.start();
    PlotDock* dock = plotTwoTags(r);
    const double collect = msSince(clock);
    if (!dock || dock->plotter()->tags().size() != 2) {
        state.SkipWithError("no plot");
        return;
    }
    std::vector<double> times;
    for (auto _ : state) {
        clock.restart();
        dock->redraw();
        for (QChartView* view : dock->views())
            view->viewport()->repaint();
        times.push_back(msSince(clock));
    }
    int drawn = 0;
    for (const auto* curve : dock->curves())
        drawn += int(curve->count());
    state.counters["redraw_p50_ms"] = percentile(times, 0.5);
    state.counters["redraw_max_ms"] = percentile(times, 1.0);
    state.counters["points"] = double(dock->plotter()->pointCount(0) + dock->plotter()->pointCount(1));
    state.counters["drawn"] = drawn;
    state.counters["add_tags_ms"] = collect;
    dock->plotter()->clearTags();
    settle();
}

// The flood at the line limit while the plot of two tags follows: Arg
// points a second reach the plot, the rest of the 20,000 messages a second
// lack both tags.
void BM_PlotFollow(benchmark::State& state)
{
    Rig& r = rig();
    const int perMs = FloodRate / 1000;
    const int plotted = int(state.range(0)) / 1000;
    const QByteArray without = QRV16::MessageParser(r.window->tags())
                                   .parse(QString::fromLatin1(typicalText)
                                              .remove(QLatin1String("WellLevel=183 "))
                                              .remove(QLatin1String("ResultCode=Ok ")))
                                   .bytes();
    const QByteArray slot = r.typical.repeated(plotted) + without.repeated(perMs - plotted);
    r.fill(TraceModel::DefaultLimit, r.typical);
    PlotDock* dock = plotTwoTags(r);
    if (!dock || dock->plotter()->tags().size() != 2) {
        state.SkipWithError("no plot");
        return;
    }
    for (auto _ : state) {
        const int before = dock->plotter()->pointCount(0);
        const FloodResult result = flood(r, slot);
        state.counters["p50_ms"] = percentile(result.lateness, 0.50);
        state.counters["p99_ms"] = percentile(result.lateness, 0.99);
        state.counters["max_ms"] = percentile(result.lateness, 1.0);
        state.counters["rx_msg/s"] = result.receivedPerSecond;
        state.counters["points"] = dock->plotter()->pointCount(0);
        state.counters["points_before"] = before;
    }
    dock->plotter()->clearTags();
    settle();
}

// Resident memory per line of a full trace, above the same window with an
// empty trace; the lines as received, the view shown and following.
void BM_MemoryPerLine(benchmark::State& state)
{
    Rig& r = rig();
    const int lines = int(state.range(0));
    const QByteArray& message = state.range(1) ? r.typical : r.small;
    const int limit = r.model()->limit();
    r.model()->setLimit(qMax(limit, lines));
    for (auto _ : state) {
        r.model()->clear();
        settle();
        malloc_trim(0);
        const double before = residentMiB();
        // Each line with bytes of its own, as received.
        for (int i = 0; i < lines; ++i) {
            const QRV16::Message msg(QByteArray(message.constData(), message.size()));
            r.model()->append(QStringLiteral("1"), msg, ColorMessageRx1, QDateTime(), -1, -1);
        }
        r.model()->flush();
        settle();
        const double after = residentMiB();
        state.counters["B/line"] = (after - before) * 1024.0 * 1024.0 / lines;
        state.counters["KiB/line"] = (after - before) * 1024.0 / lines;
        state.counters["MiB"] = after - before;
    }
    r.model()->clear();
    r.model()->setLimit(limit);
    settle();
    malloc_trim(0);
    state.SetLabel(state.range(1) ? "20 elements" : "5 bytes");
}

// From constructing the window to its being shown, and on to the
// definitions loaded by the deferred start (the last definitions file, as a
// restart finds it).
void BM_StartWindow(benchmark::State& state)
{
    rig();
    QSettings settings;
    settings.setValue(QStringLiteral("MainWindow/LastDefinitionsPath"),
                      QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef"));
    std::vector<double> shown, loaded;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        auto window = std::make_unique<MainWindow>();
        window->show();
        spinUntil([&] { return window->windowHandle() && window->windowHandle()->isExposed(); }, 10000);
        shown.push_back(msSince(clock));
        spinUntil([&] { return window->tags() != nullptr; }, 10000);
        loaded.push_back(msSince(clock));
        window.reset();
        settle();
    }
    settings.remove(QStringLiteral("MainWindow/LastDefinitionsPath"));
    state.counters["shown_ms"] = percentile(shown, 0.5);
    state.counters["loaded_ms"] = percentile(loaded, 0.5);
}

} // namespace

BENCHMARK(BM_StartWindow)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReceiveLine)
    ->Args({1000, 0})
    ->Args({10000, 0})
    ->Args({100000, 0})
    ->Args({1000000, 0})
    ->Args({1000, 1})
    ->Args({10000, 1})
    ->Args({100000, 1})
    ->Args({1000000, 1})
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemoryPerLine)
    ->Args({100000, 0})
    ->Args({100000, 1})
    ->Args({1000000, 0})
    ->Args({1000000, 1})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Flood)->Arg(TraceModel::DefaultLimit)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterAndFind)->Arg(TraceModel::DefaultLimit)->Arg(1000000)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FloodFiltered)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReplayLog)
    ->Args({0, 1000000})
    ->Args({1, 1000000})
    ->Args({0, 10000000})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotRedraw)->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotFollow)->Arg(1000)->Arg(20000)->Iterations(1)->Unit(benchmark::kMillisecond);

KORV_BENCH_MAIN("BM_ReceiveLine/1000/0/iterations:5")
