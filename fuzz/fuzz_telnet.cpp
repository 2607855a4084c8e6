// SPDX-License-Identifier: MIT
// Bytes from a remote port's far end, whatever they are. Cut anywhere, the
// decoder gives the same data, replies and answers; it never makes data
// out of nothing; and data it gives goes back on the wire and comes out
// the same. A mismatch aborts.

#include "connection/telnetcodec.h"

#include <cstdint>
#include <cstdlib>

namespace {

// A codec whose far end agreed to binary both ways and to COM-PORT-OPTION.
TelnetCodec agreed()
{
    TelnetCodec codec;
    codec.start();
    TelnetCodec::Output out;
    codec.decode(QByteArray::fromHex("fffd00fffb00fffd03fffb03fffd2c"), &out);
    return codec;
}

bool same(const TelnetCodec::Output& a, const TelnetCodec::Output& b)
{
    if (a.data != b.data || a.reply != b.reply || a.answers.size() != b.answers.size()
        || a.reports.size() != b.reports.size())
        return false;
    for (qsizetype i = 0; i < a.answers.size(); ++i) {
        const TelnetCodec::Answer& x = a.answers.at(i);
        const TelnetCodec::Answer& y = b.answers.at(i);
        if (x.command != y.command || x.value != y.value || x.text != y.text)
            return false;
    }
    for (qsizetype i = 0; i < a.reports.size(); ++i) {
        if (a.reports.at(i).problem != b.reports.at(i).problem || a.reports.at(i).detail != b.reports.at(i).detail)
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    // The first byte says whether the far end agreed to binary and where
    // the rest is cut in two.
    const bool binary = data[0] & 1;
    const QByteArrayView input(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));
    const qsizetype cut = qsizetype(data[0] >> 1) % input.size();

    TelnetCodec whole = binary ? agreed() : TelnetCodec();
    TelnetCodec::Output expected;
    whole.decode(input, &expected);

    TelnetCodec split = binary ? agreed() : TelnetCodec();
    TelnetCodec::Output got;
    split.decode(input.first(cut), &got);
    split.decode(input.sliced(cut), &got);
    if (!same(expected, got))
        std::abort();
    if (expected.data.size() > input.size())
        std::abort();

    TelnetCodec sender = agreed();
    TelnetCodec receiver = agreed();
    TelnetCodec::Output back;
    receiver.decode(sender.encode(expected.data), &back);
    if (back.data != expected.data || !back.reply.isEmpty() || !back.reports.isEmpty() || !back.answers.isEmpty())
        std::abort();
    return 0;
}
