// SPDX-License-Identifier: MIT
// The text notation with demo.qrvdef's tables, and the stream collector;
// printing and parsing beside protobuf's text format on the same content.

#include "bench/korvbench.h"

#include "qrv16/item.h"
#include "qrv16/messagecollector.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagewriter.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <cstring>
#include <memory>

#ifdef KORV_HAVE_PROTOBUF
#include "typical.pb.h"

#include <google/protobuf/text_format.h>
#endif

using namespace QRV16;

namespace {

struct Demo
{
    std::unique_ptr<Item> root;
    std::unique_ptr<TagDataLut> lut;
    Message typical;
    QString text;

    Demo()
    {
        // As main() pins it: unpinned, every local time asks the C library
        // to stat the zone file.
        if (qEnvironmentVariableIsEmpty("TZ"))
            qputenv("TZ", ":/etc/localtime");
        Parser parser;
        if (!parser.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")))
            qFatal("%s", qPrintable(parser.formatError()));
        root.reset(parser.takeRoot());
        lut = std::make_unique<TagDataLut>(root.get());
        buildTypical();
        text = MessageWriter(lut.get()).toText(typical);
    }

    // A Message tag with 20 elements of the demo's tags: integers (some with
    // enum names), strings, a nested list, a date-time, an address, bits.
    void buildTypical()
    {
        QList<const TagData*> byType[256];
        const TagData* outer = nullptr;
        const TagData* list = nullptr;
        for (int i = 0; i < root->childCount(); ++i) {
            const TagData* t = lut->tagData(unsigned(root->child(i)->data().id));
            if (!t || t->secure)
                continue;
            const int type = int(dataType(unsigned(t->id)));
            byType[type] << t;
            if (type == int(DataType::Message) && !outer)
                outer = t;
            if (type == int(DataType::List) && !list)
                list = t;
        }
        auto pick = [&](DataType type, int n) {
            const QList<const TagData*>& l = byType[int(type)];
            if (l.isEmpty())
                qFatal("demo.qrvdef has no tag of type %d", int(type));
            return int(l.at(n % l.size())->id);
        };
        typical.beginMessage(outer ? int(outer->id) : 0xF001);
        for (int i = 0; i < 8; ++i)
            typical.appendInt(pick(DataType::Integer, i), i < 4 ? i : 1000 * i);
        typical.appendString(pick(DataType::String, 0), QStringLiteral("north basin pump 4"));
        typical.appendString(pick(DataType::String, 1), QStringLiteral("J. Lindqvist"));
        typical.appendString(pick(DataType::String, 2), QStringLiteral("ok"));
        typical.appendDateTime(pick(DataType::DateTime, 0),
                               QDateTime(QDate(2026, 11, 22), QTime(19, 30, 15, 250)));
        typical.appendIPAddress(pick(DataType::NetworkAddress, 0), IPv4(0xC0A80114));
        typical.appendInt64(pick(DataType::BitArray, 0), 0x0B);
        typical.appendBool(pick(DataType::Bool, 0), true);
        typical.beginMessage(list ? int(list->id) : 0xC001);
        for (int i = 0; i < 3; ++i)
            typical.appendInt(pick(DataType::Integer, i), i);
        typical.endMessage();
        typical.appendBool(pick(DataType::Bool, 1), false);
        typical.appendInt(pick(DataType::Integer, 9), 12);
        typical.appendDate(pick(DataType::Date, 0), QDate(2026, 1, 1));
        typical.appendTime(pick(DataType::Time, 0), QTime(6, 30));
        typical.endMessage();
    }
};

const Demo& demo()
{
    static const Demo d;
    return d;
}

void rates(benchmark::State& state, qint64 bytes)
{
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["msgs/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_WriteText(benchmark::State& state)
{
    const Demo& d = demo();
    const MessageWriter writer(d.lut.get());
    for (auto _ : state)
        benchmark::DoNotOptimize(writer.toText(d.typical));
    rates(state, d.typical.size());
    state.counters["chars"] = double(d.text.size());
}

void BM_ParseText(benchmark::State& state)
{
    const Demo& d = demo();
    MessageParser parser(d.lut.get());
    if (parser.parse(d.text).bytes() != d.typical.bytes())
        state.SkipWithError("the typical message does not read back");
    for (auto _ : state)
        benchmark::DoNotOptimize(parser.parse(d.text));
    rates(state, d.typical.size());
}

#ifdef KORV_HAVE_PROTOBUF

// The content of Demo::typical as a proto3 message.
korvbench::DemoTypical demoProto()
{
    korvbench::DemoTypical t;
    t.set_i0(0);
    t.set_i1(1);
    t.set_i2(2);
    t.set_i3(3);
    t.set_i4(4000);
    t.set_i5(5000);
    t.set_i6(6000);
    t.set_i7(7000);
    t.set_place("north basin pump 4");
    t.set_operator_name("J. Lindqvist");
    t.set_state("ok");
    t.set_stamp_ms(QDateTime(QDate(2026, 11, 22), QTime(19, 30, 15, 250), Qt::UTC)
                       .toMSecsSinceEpoch());
    t.set_address(0xC0A80114);
    t.set_bits(0x0B);
    t.set_running(true);
    korvbench::Triple* list = t.mutable_list();
    list->set_first(0);
    list->set_second(1);
    list->set_third(2);
    t.set_alarm(false);
    t.set_hours(12);
    t.set_date_days(dateToDaysSince1990(QDate(2026, 1, 1)));
    t.set_time_s(6 * 3600 + 30 * 60);
    return t;
}

void BM_ProtoPrintText(benchmark::State& state)
{
    const korvbench::DemoTypical t = demoProto();
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    std::string text;
    for (auto _ : state) {
        text.clear();
        printer.PrintToString(t, &text);
        benchmark::DoNotOptimize(text.data());
    }
    rates(state, qint64(t.ByteSizeLong()));
    state.counters["chars"] = double(text.size());
}

void BM_ProtoParseText(benchmark::State& state)
{
    const korvbench::DemoTypical t = demoProto();
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    std::string text;
    printer.PrintToString(t, &text);
    korvbench::DemoTypical back;
    if (!google::protobuf::TextFormat::ParseFromString(text, &back) ||
        back.SerializeAsString() != t.SerializeAsString())
        state.SkipWithError("the proto3 message does not read back");
    for (auto _ : state) {
        korvbench::DemoTypical parsed;
        benchmark::DoNotOptimize(google::protobuf::TextFormat::ParseFromString(text, &parsed));
    }
    rates(state, qint64(t.ByteSizeLong()));
}

BENCHMARK(BM_ProtoPrintText);
BENCHMARK(BM_ProtoParseText);

#endif

// Messages of 22 bytes: 3,000 of them fill about 64 KiB.
QByteArray smallMessages(int count)
{
    QByteArray stream;
    for (int i = 0; i < count; ++i) {
        Message m;
        m.beginMessage(0xF001);
        m.appendInt(0x1001, i & 0x7F);
        m.appendInt(0x1002, i & 3);
        m.appendInt(0x1003, 0x12345600 | (i & 0xFF));
        m.endMessage();
        stream += m.bytes();
    }
    return stream;
}

void BM_CollectorChunk(benchmark::State& state)
{
    const QByteArray chunk = smallMessages(int(state.range(0)));
    int messages = 0;
    for (auto _ : state) {
        MessageCollector c;
        c.append(chunk);
        messages = 0;
        while (c.hasMessage()) {
            benchmark::DoNotOptimize(c.nextMessage());
            ++messages;
        }
    }
    state.SetBytesProcessed(state.iterations() * chunk.size());
    state.counters["messages"] = messages;
    state.counters["KiB"] = double(chunk.size()) / 1024;
}

void BM_MemcpyChunk(benchmark::State& state)
{
    const QByteArray chunk = smallMessages(int(state.range(0)));
    QByteArray target(chunk.size(), '\0');
    for (auto _ : state) {
        std::memcpy(target.data(), chunk.constData(), size_t(chunk.size()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * chunk.size());
}

} // namespace

KORV_BENCH_COMPARE("BM_WriteText", "BM_ProtoPrintText")
KORV_BENCH_COMPARE("BM_ParseText", "BM_ProtoParseText")

BENCHMARK(BM_WriteText);
BENCHMARK(BM_ParseText);
BENCHMARK(BM_MemcpyChunk)->Arg(3000);
BENCHMARK(BM_CollectorChunk)->Arg(3000)->Arg(30000);

KORV_BENCH_MAIN("BM_CollectorChunk/3000")
