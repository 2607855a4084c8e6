// SPDX-License-Identifier: MIT
// Building and walking a typical message, beside a memcpy of its bytes and
// protobuf's work on a proto3 message of the same content.

#include "qrv16/message.h"
#include "qrv16/types.h"

#include "bench/korvbench.h"

#include <QtEndian>

#include <cstring>

#ifdef KORV_HAVE_PROTOBUF
#include "typical.pb.h"
#endif

using QRV16::Message;

namespace {

// As main() pins it, before the first local time below: unpinned, every
// local time asks the C library to stat the zone file.
const bool zonePinned = [] {
    QRV16::pinTimeZone();
    return true;
}();

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

// The same sum through the zero-copy reads.
long long walkViews(const Message::Iterator& range)
{
    long long sum = 0;
    for (Message::Iterator it = range; !it.atEnd(); ++it) {
        switch (QRV16::dataType(unsigned(it.tag()))) {
        case QRV16::DataType::Integer: sum += it.getInt(); break;
        case QRV16::DataType::String: sum += it.getUtf8().size(); break;
        case QRV16::DataType::Bool: sum += it.getBool(); break;
        case QRV16::DataType::DateTime: sum += it.getMSecsOfDay() % 1000; break;
        case QRV16::DataType::NetworkAddress: {
            const QByteArrayView a = it.getPayload();
            if (a.size() == 4)
                sum += qFromBigEndian<quint32>(a.data());
            break;
        }
        case QRV16::DataType::BitArray: sum += qPopulationCount(it.getBits()); break;
        case QRV16::DataType::List: sum += walkViews(it.getIterator()); break;
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

// What a program pays that leaves TZ unset: the C library stat()s the zone
// file for every local date-time the getters make.
void BM_WalkUnpinned(benchmark::State& state)
{
    const Message m = buildTypical(0);
    const QByteArray zone = qgetenv("TZ");
    qunsetenv("TZ");
    for (auto _ : state)
        benchmark::DoNotOptimize(walk(m.iterator()));
    qputenv("TZ", zone);
    setRates(state);
}

void BM_WalkViews(benchmark::State& state)
{
    const Message m = buildTypical(0);
    if (walkViews(m.iterator()) != walk(m.iterator()))
        state.SkipWithError("the views read other values than the getters");
    for (auto _ : state)
        benchmark::DoNotOptimize(walkViews(m.iterator()));
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

#ifdef KORV_HAVE_PROTOBUF

// Sets every field, as buildTypical appends every element.
void fillProto(korvbench::Typical& t)
{
    static const std::string pump = pumpName.toStdString();
    static const std::string person = operatorName.toStdString();
    static const qint64 stampMs = stamp.toMSecsSinceEpoch();
    t.set_count(42);
    t.set_flow(1500);
    t.set_offset(-20);
    t.set_code(0x123456);
    t.set_pump_name(pump);
    t.set_operator_name(person);
    t.set_stamp_ms(stampMs);
    t.set_address(0xC0A80114);
    t.set_status_bits(0x249249);
    t.set_running(true);
    korvbench::Triple* list = t.mutable_list();
    list->set_first(1);
    list->set_second(2);
    list->set_third(3);
    t.set_level(7);
    t.set_limit(65535);
    t.set_state("ok");
    t.set_spare(0);
    t.set_total(99999);
    t.set_alarm(false);
    t.set_hours(12);
}

void BM_ProtoBuild(benchmark::State& state)
{
    // Set fields + serialize, as Build appends elements into its bytes.
    for (auto _ : state) {
        korvbench::Typical t;
        fillProto(t);
        std::string bytes = t.SerializeAsString();
        benchmark::DoNotOptimize(bytes.data());
    }
    setRates(state);
}

void BM_ProtoParseRead(benchmark::State& state)
{
    korvbench::Typical filled;
    fillProto(filled);
    const std::string bytes = filled.SerializeAsString();
    for (auto _ : state) {
        korvbench::Typical t;
        t.ParseFromString(bytes);
        long long sum = t.count() + t.flow() + t.offset() + t.code();
        sum += t.pump_name().size() + t.operator_name().size();
        sum += t.stamp_ms() % 1000 + t.address() + qPopulationCount(t.status_bits()) + t.running();
        sum += t.list().first() + t.list().second() + t.list().third();
        sum += t.level() + t.limit() + t.state().size() + t.spare() + t.total() + t.alarm();
        sum += t.hours();
        benchmark::DoNotOptimize(sum);
    }
    state.counters["proto bytes"] = double(bytes.size());
    setRates(state);
}

BENCHMARK(BM_ProtoBuild);
BENCHMARK(BM_ProtoParseRead);

#endif

} // namespace

KORV_BENCH_COMPARE("BM_Build", "BM_ProtoBuild")
KORV_BENCH_COMPARE("BM_Walk", "BM_ProtoParseRead")
KORV_BENCH_COMPARE("BM_WalkViews", "BM_ProtoParseRead")
KORV_BENCH_COMPARE("BM_WalkUnpinned", "BM_ProtoParseRead")

BENCHMARK(BM_Memcpy);
BENCHMARK(BM_Build);
BENCHMARK(BM_BuildGrowing);
BENCHMARK(BM_Walk);
BENCHMARK(BM_WalkUnpinned);
BENCHMARK(BM_WalkViews);
BENCHMARK(BM_WalkOnly);

KORV_BENCH_MAIN("BM_Memcpy")
