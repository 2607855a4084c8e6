// SPDX-License-Identifier: MIT
// Bytes from a BiS bus, whatever they are, through both readers: the bus
// monitor's frame reader and the framing of a link's master or slave. Cut
// anywhere, each gives the same frames; the monitor accounts for every
// byte once; a frame it reads encodes back to a frame that reads the same.
// A mismatch aborts.

#include "bis/bisframereader.h"
#include "connection/bisprotocol.h"

#include <QList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

// What the monitor reports, with the noise it reports at the end of each
// call joined again where a cut split it.
QList<BiSFrameReader::Result> monitor(QByteArrayView input, qsizetype cut)
{
    BiSFrameReader reader;
    QList<BiSFrameReader::Result> results;
    const auto take = [&] {
        while (reader.hasResult()) {
            BiSFrameReader::Result r = reader.takeResult();
            if (!results.isEmpty()) {
                BiSFrameReader::Result& last = results.last();
                if (last.offset + last.size != r.offset)
                    fail("the monitor skipped or repeated bytes");
                const bool noise = !r.ok && r.frame.payload.isEmpty() && r.error.endsWith(QLatin1String("outside a frame"));
                const bool lastNoise =
                    !last.ok && last.frame.payload.isEmpty() && last.error.endsWith(QLatin1String("outside a frame"));
                if (noise && lastNoise) {
                    last.size += r.size;
                    continue;
                }
            } else if (r.offset != 0) {
                fail("the monitor skipped the first bytes");
            }
            results << r;
        }
    };
    reader.append(input.first(cut));
    take();
    reader.append(input.sliced(cut));
    take();
    if (reader.position() != input.size())
        fail("the monitor lost count of the bytes");
    if (!results.isEmpty() && results.last().offset + results.last().size > input.size())
        fail("a result reaches past the bytes read");
    return results;
}

bool same(const QList<BiSFrameReader::Result>& a, const QList<BiSFrameReader::Result>& b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        const BiSFrameReader::Result& x = a.at(i);
        const BiSFrameReader::Result& y = b.at(i);
        if (x.ok != y.ok || x.offset != y.offset || x.size != y.size || (x.ok && x.frame != y.frame))
            return false;
    }
    return true;
}

// A master or slave that records what it delivers and transmits.
class Recorder : public BiSProtocol
{
public:
    QList<QByteArray> events;

protected:
    void dataReceived(unsigned src, unsigned type, const void* data, unsigned len) override
    {
        if (len > MaxPayload)
            fail("a block longer than a frame holds");
        events << QByteArray::number(src) + ' ' + QByteArray::number(type) + ' '
                      + QByteArray(static_cast<const char*>(data), int(len));
    }
    bool transmitFrame(const void* data, unsigned len) override
    {
        if (len > BufferSize)
            fail("a frame longer than the buffer");
        events << "tx " + QByteArray(static_cast<const char*>(data), int(len));
        return true;
    }
    void trace(const char*, ...) const override {}
};

QList<QByteArray> link(bool slave, quint32 address, QByteArrayView input, qsizetype cut)
{
    Recorder r;
    r.setMode(slave ? BiSProtocol::Slave : BiSProtocol::Master);
    r.setOwnAddress(slave ? address : 0);
    if (!slave) {
        BiSProtocol::Packet query;
        query.destination = address;
        query.type = 34;
        query.data = "?";
        query.len = 1;
        r.send(query);
    }
    r.receive(input.data(), unsigned(cut));
    r.receive(input.data() + cut, unsigned(input.size() - cut));
    return r.events;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    // The first byte chooses the cut and the role, the second the address
    // of the slave or of the master's peer.
    const bool slave = data[0] & 1;
    const quint32 address = data[1] < 0x80 ? data[1] : quint32(data[1]) << 9;
    const QByteArrayView input(reinterpret_cast<const char*>(data + 2), qsizetype(size - 2));
    const qsizetype cut = qsizetype(data[0] >> 1) % (input.size() + 1);

    const QList<BiSFrameReader::Result> whole = monitor(input, 0);
    if (!same(whole, monitor(input, cut)))
        fail("the monitor reads differently when the bytes are cut");
    for (const BiSFrameReader::Result& r : whole) {
        if (!r.ok)
            continue;
        QString error;
        const QByteArray bytes = r.frame.encode(&error);
        BiSFrame again;
        if (bytes.isEmpty() || !BiSFrameReader::readOne(bytes, &again, &error) || again != r.frame)
            fail("a frame read does not encode to itself");
    }

    if (link(slave, address, input, 0) != link(slave, address, input, cut))
        fail("the link's framing reads differently when the bytes are cut");
    return 0;
}
