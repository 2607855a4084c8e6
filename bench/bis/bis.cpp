// SPDX-License-Identifier: MIT
// BiS framing throughput with 1 KB payloads, beside a memcpy of the same
// kilobyte. "headroom" is how many times faster than the fastest serial
// line (460800 baud, 10 bits a byte: 46080 bytes/s) the work runs.

#include "connection/bisprotocol.h"

#include "bench/korvbench.h"

#include <QByteArray>

#include <chrono>
#include <cstring>
#include <vector>

namespace {

constexpr int PayloadSize = 1024;
constexpr double SerialBytesPerSecond = 460800.0 / 10;

// Every value once in each 256 bytes, so 4 in 256 are stuffed.
QByteArray payload()
{
    QByteArray data(PayloadSize, 0);
    for (int i = 0; i < PayloadSize; ++i)
        data[i] = char((i * 7) & 0xFF);
    return data;
}

class Sink : public BiSProtocol
{
public:
    // Points into the protocol's own buffer, as a port's write would.
    const void* lastFrame = nullptr;
    unsigned lastLength = 0;
    unsigned delivered = 0;

    QByteArray copyOfLastFrame() const
    {
        return QByteArray(static_cast<const char*>(lastFrame), int(lastLength));
    }

protected:
    bool transmitFrame(const void* data, unsigned len) override
    {
        lastFrame = data;
        lastLength = len;
        benchmark::DoNotOptimize(data);
        return true;
    }
    void dataReceived(unsigned, unsigned, const void* data, unsigned len) override
    {
        benchmark::DoNotOptimize(data);
        delivered += len;
    }
};

// Measures the loop's wall time itself, so that headroom is a plain ratio
// and not shown as a rate per second.
class Timing
{
public:
    Timing() : m_start(std::chrono::steady_clock::now()) {}

    void setCounters(benchmark::State& state) const
    {
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
        const double bytes = double(state.iterations()) * PayloadSize;
        state.SetBytesProcessed(int64_t(bytes));
        if (seconds > 0)
            state.counters["headroom"] = bytes / seconds / SerialBytesPerSecond;
    }

private:
    std::chrono::steady_clock::time_point m_start;
};

void BM_Memcpy(benchmark::State& state)
{
    const QByteArray data = payload();
    const std::vector<char> source(data.begin(), data.end());
    std::vector<char> target(PayloadSize);
    Timing timing;
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), PayloadSize);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    timing.setCounters(state);
}

// A query of the frame type the connection layer sends, to address 5.
BiSProtocol::Packet query(const QByteArray& data)
{
    BiSProtocol::Packet packet;
    packet.destination = 5;
    packet.type = 34;
    packet.data = data.constData();
    packet.len = unsigned(data.size());
    return packet;
}

void BM_Encode(benchmark::State& state)
{
    const QByteArray data = payload();
    Sink master;
    master.setMode(BiSProtocol::Master);
    const BiSProtocol::Packet packet = query(data);
    Timing timing;
    for (auto _ : state) {
        master.send(packet);
        master.dropPending();
    }
    timing.setCounters(state);
}

void BM_Decode(benchmark::State& state)
{
    // Two queries with different sequence numbers, so that each one is a
    // new block and is delivered.
    const QByteArray data = payload();
    Sink master;
    master.setMode(BiSProtocol::Master);
    const BiSProtocol::Packet packet = query(data);
    master.send(packet);
    const QByteArray first = master.copyOfLastFrame();
    master.dropPending();
    master.send(packet);
    const QByteArray second = master.copyOfLastFrame();

    Sink slave;
    slave.setMode(BiSProtocol::Slave);
    slave.setOwnAddress(5);
    bool odd = false;
    Timing timing;
    for (auto _ : state) {
        const QByteArray& frame = odd ? second : first;
        odd = !odd;
        slave.receive(frame.constData(), unsigned(frame.size()));
    }
    if (slave.delivered != state.iterations() * unsigned(PayloadSize))
        state.SkipWithError("frames were not delivered");
    timing.setCounters(state);
}

} // namespace

BENCHMARK(BM_Memcpy);
BENCHMARK(BM_Encode);
BENCHMARK(BM_Decode);

KORV_BENCH_MAIN("BM_Memcpy")
