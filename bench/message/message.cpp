// Building and walking a typical message, beside a memcpy of its bytes.

#include "qrv16/message.h"
#include "qrv16/types.h"

#include "bench/korvbench.h"

#include <cstring>

using QRV16::Message;

namespace {

const QDateTime stamp(QDate(2026, 11, 22), QTime(19, 30, 15, 250));
const QString pumpName = QStringLiteral("Pump station 4, north basin");
const QString operatorName = QStringLiteral("J. Lindqvist");

QBitArray statusBits()
{
    QBitArray bits(24);
    for (int i = 0; i < 24; i += 3)
        bits.setBit(i);
    return bits;
}

// A Message tag with 20 elements: integers, strings, a nested list, a
// date-time, an address and a bit array.
Message buildTypical(int reserve)
{
    static const QBitArray bits = statusBits();
    Message m;
    if (reserve > 0)
        m.reserve(reserve);
    m.beginMessage(0xF001);
    m.appendInt(0x1001, 42);
    m.appendInt(0x1002, 1500);
    m.appendInt(0x1003, -20);
    m.appendInt(0x1004, 0x123456);
    m.appendString(0x3001, pumpName);
    m.appendString(0x3002, operatorName);
    m.appendDateTime(0x6001, stamp);
    IPv4 address(0xC0A80114);
    m.appendIPAddress(0x9001, address);
    m.appendBitArray(0x7001, bits);
    m.appendBool(0x2001, true);
    m.beginMessage(0xC001);
    m.appendInt(0x1010, 1);
    m.appendInt(0x1011, 2);
    m.appendInt(0x1012, 3);
    m.endMessage();
    m.appendInt(0x1005, 7);
    m.appendInt(0x1006, 65535);
    m.appendString(0x3003, QStringLiteral("ok"));
    m.appendInt(0x1007, 0);
    m.appendInt(0x1008, 99999);
    m.appendBool(0x2002, false);
    m.appendInt(0x1009, 12);
    m.endMessage();
    return m;
}

int typicalSize()
{
    static const int size = buildTypical(0).size();
    return size;
}

// Reads every value; returns a checksum so nothing is optimised away.
long long walk(const Message::Iterator& range)
{
    long long sum = 0;
    for (Message::Iterator it = range; !it.atEnd(); ++it) {
        switch (QRV16::dataType(unsigned(it.tag()))) {
        case QRV16::DataType::Integer: sum += it.getInt(); break;
        case QRV16::DataType::String: sum += it.getString().size(); break;
        case QRV16::DataType::Bool: sum += it.getBool(); break;
        case QRV16::DataType::DateTime: sum += it.getDateTime().time().msec(); break;
        case QRV16::DataType::NetworkAddress: sum += it.getIPAddress().toInt(); break;
        case QRV16::DataType::BitArray: sum += it.getBitArray().count(true); break;
        case QRV16::DataType::List: sum += walk(it.getIterator()); break;
        default: break;
        }
    }
    return sum;
}

void setRates(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * typicalSize());
    state.counters["msgs/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["bytes"] = typicalSize();
}

void BM_Build(benchmark::State& state)
{
    const int reserve = typicalSize();
    for (auto _ : state) {
        Message m = buildTypical(reserve);
        benchmark::DoNotOptimize(m.bytes().constData());
    }
    setRates(state);
}

void BM_BuildGrowing(benchmark::State& state)
{
    for (auto _ : state) {
        Message m = buildTypical(0);
        benchmark::DoNotOptimize(m.bytes().constData());
    }
    setRates(state);
}

void BM_Walk(benchmark::State& state)
{
    const Message m = buildTypical(0);
    for (auto _ : state)
        benchmark::DoNotOptimize(walk(m.iterator()));
    setRates(state);
}

void BM_WalkOnly(benchmark::State& state)
{
    // Header hopping alone, no decoding: the iterator's own cost.
    const Message m = buildTypical(0);
    for (auto _ : state) {
        int n = 0;
        for (Message::Iterator it = m.iterator(); !it.atEnd(); ++it)
            n += it.tag();
        benchmark::DoNotOptimize(n);
    }
    setRates(state);
}

void BM_Memcpy(benchmark::State& state)
{
    const Message m = buildTypical(0);
    QByteArray target(m.size(), '\0');
    for (auto _ : state) {
        std::memcpy(target.data(), m.bytes().constData(), size_t(m.size()));
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    setRates(state);
}

} // namespace

BENCHMARK(BM_Memcpy);
BENCHMARK(BM_Build);
BENCHMARK(BM_BuildGrowing);
BENCHMARK(BM_Walk);
BENCHMARK(BM_WalkOnly);

KORV_BENCH_MAIN("BM_Memcpy")
