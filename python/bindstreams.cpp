// SPDX-License-Identifier: MIT
// What reads a stream: korv.Collector for messages, korv.BiSFrameReader
// for BiS frames, and korv.BiSFrame.

#include "bis/bisframe.h"
#include "bis/bisframereader.h"
#include "python/bindings.h"
#include "python/byteview.h"
#include "python/errors.h"
#include "python/message.h"
#include "python/tables.h"
#include "qrv16/messagecollector.h"

#include <deque>

namespace korvpy {

namespace {

// Cuts received bytes into messages by their length fields.
struct Collector
{
    std::shared_ptr<const Tables> tables;
    QRV16::MessageCollector collector;
    qint64 garbage = 0;
};

// Frames found in a byte stream, and what was wrong between them.
struct FrameReader
{
    static constexpr int KeptErrors = 100;

    // Takes what the reader found: frames wait to be iterated, problems
    // are listed at once.
    void take()
    {
        while (reader.hasResult()) {
            BiSFrameReader::Result result = reader.takeResult();
            if (result.ok) {
                frames.push_back(std::move(result.frame));
                continue;
            }
            ++errorCount;
            errors.push_back(QStringLiteral("byte %1: %2").arg(result.offset).arg(result.error));
            if (int(errors.size()) > KeptErrors)
                errors.pop_front();
        }
    }

    BiSFrameReader reader;
    std::deque<BiSFrame> frames;
    std::deque<QString> errors;
    qint64 errorCount = 0;
};

long long checkedNumber(py::handle value, long long low, long long high, const char* what)
{
    if (!PyLong_Check(value.ptr()) || PyBool_Check(value.ptr()))
        raiseTypeError(QStringLiteral("%1 is an int, not %2")
                           .arg(QLatin1String(what), QString::fromUtf8(Py_TYPE(value.ptr())->tp_name)));
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow || v < low || v > high)
        raiseValueError(QStringLiteral("%1 is %2 to %3, not %4")
                            .arg(QLatin1String(what))
                            .arg(low)
                            .arg(high)
                            .arg(toQString(py::str(value))));
    return v;
}

void setAddressMode(BiSFrame& f, py::handle mode)
{
    f.addressMode = mode.is_none() ? BiSFrame::AutoAddressMode : int(checkedNumber(mode, 0, 3, "address_mode"));
}

py::bytes encodeFrame(const BiSFrame& f)
{
    QString error;
    const QByteArray bytes = f.encode(&error);
    if (bytes.isEmpty())
        raiseFrameError(error);
    return py::bytes(bytes.constData(), size_t(bytes.size()));
}

QString describe(const BiSFrame& f)
{
    return QStringLiteral("%1 type %2 seq %3 dst %4 src %5, %6 bytes")
        .arg(f.kind == BiSFrame::Answer ? QStringLiteral("answer") : QStringLiteral("query"))
        .arg(f.type)
        .arg(f.sequence)
        .arg(f.destination)
        .arg(f.source)
        .arg(f.payload.size());
}

} // namespace

void bindStreams(py::module_& m)
{
    py::class_<Collector>(m, "Collector",
                          "Cuts received bytes into messages by their length fields: feed() what arrives, in "
                          "pieces of any size, and iterate the messages that are complete. A length too short "
                          "for a tag is garbage: it is counted and skipped, never raised.")
        .def(py::init([](py::handle defs) {
                 Collector c;
                 c.tables = defs.is_none() ? std::make_shared<Tables>() : definitionsOf(defs);
                 return c;
             }),
             py::arg("defs") = py::none())
        .def(
            "feed",
            [](Collector& c, py::handle data) {
                const ByteView bytes(data);
                c.collector.append(bytes.data(), unsigned(bytes.size()));
            },
            py::arg("data"), "Adds received bytes.")
        .def("__iter__", [](Collector& c) -> Collector& { return c; }, py::return_value_policy::reference_internal)
        .def(
            "__next__",
            [](Collector& c) {
                while (c.collector.hasMessage()) {
                    const QRV16::Message message = c.collector.nextMessage();
                    if (message.isValid())
                        return Message::wrap(message, c.tables);
                    c.garbage += message.size();
                }
                throw py::stop_iteration();
            },
            "The next complete message.")
        .def_property_readonly("pending", [](const Collector& c) { return c.collector.pending(); },
                               "Bytes received that are not a whole message yet.")
        .def_readonly("garbage", &Collector::garbage, "Bytes skipped because their length field was too short.")
        .def(
            "reset", [](Collector& c) { c.collector.reset(); },
            "Forgets the bytes held, as after a lost byte: the next byte fed starts a message.");

    py::class_<BiSFrame>(m, "BiSFrame",
                         "One BiS bus frame: a query (answer=False) or an answer, its frame type, sequence "
                         "number, destination and source addresses and payload. bytes(frame) gives it as "
                         "it travels, markers, stuffing and CRC included.")
        .def(py::init([](py::handle payload, bool answer, py::handle type, py::handle seq, py::handle dst,
                         py::handle src, py::handle addressMode) {
                 BiSFrame f;
                 f.payload = ByteView(payload).copy();
                 f.kind = answer ? BiSFrame::Answer : BiSFrame::Query;
                 f.type = int(checkedNumber(type, 0, BiSFrame::MaxType, "type"));
                 f.sequence = int(checkedNumber(seq, 0, 255, "seq"));
                 f.destination = quint32(checkedNumber(dst, 0, 0xFFFFFFFFLL, "dst"));
                 f.source = quint32(checkedNumber(src, 0, 0xFFFFFFFFLL, "src"));
                 setAddressMode(f, addressMode);
                 return f;
             }),
             py::arg("payload") = py::bytes(), py::kw_only(), py::arg("answer") = false, py::arg("type") = 34,
             py::arg("seq") = 0, py::arg("dst") = 0, py::arg("src") = 0, py::arg("address_mode") = py::none())
        .def_property(
            "payload", [](const BiSFrame& f) { return py::bytes(f.payload.constData(), size_t(f.payload.size())); },
            [](BiSFrame& f, py::handle v) { f.payload = ByteView(v).copy(); })
        .def_property(
            "answer", [](const BiSFrame& f) { return f.kind == BiSFrame::Answer; },
            [](BiSFrame& f, bool v) { f.kind = v ? BiSFrame::Answer : BiSFrame::Query; })
        .def_property(
            "type", [](const BiSFrame& f) { return f.type; },
            [](BiSFrame& f, py::handle v) { f.type = int(checkedNumber(v, 0, BiSFrame::MaxType, "type")); })
        .def_property(
            "seq", [](const BiSFrame& f) { return f.sequence; },
            [](BiSFrame& f, py::handle v) { f.sequence = int(checkedNumber(v, 0, 255, "seq")); })
        .def_property(
            "dst", [](const BiSFrame& f) { return f.destination; },
            [](BiSFrame& f, py::handle v) { f.destination = quint32(checkedNumber(v, 0, 0xFFFFFFFFLL, "dst")); })
        .def_property(
            "src", [](const BiSFrame& f) { return f.source; },
            [](BiSFrame& f, py::handle v) { f.source = quint32(checkedNumber(v, 0, 0xFFFFFFFFLL, "src")); })
        .def_property(
            "address_mode",
            [](const BiSFrame& f) -> py::object {
                if (f.addressMode == BiSFrame::AutoAddressMode)
                    return py::none();
                return py::int_(f.addressMode);
            },
            &setAddressMode,
            "0 (no addresses), 1, 2 or 3 (1-, 2- or 4-byte addresses); None picks the narrowest that holds both.")
        .def_property_readonly("crc", &BiSFrame::crc, "The CRC-16 the frame carries.")
        .def("encode", &encodeFrame, "The frame as it travels; FrameError when a field cannot be sent.")
        .def("__bytes__", &encodeFrame)
        .def_static(
            "decode",
            [](py::handle data) {
                const ByteView bytes(data);
                BiSFrame f;
                QString error;
                if (!BiSFrameReader::readOne(bytes.view(), &f, &error))
                    raiseFrameError(error);
                return f;
            },
            py::arg("data"), "Exactly one frame with a good CRC; FrameError saying what is wrong otherwise.")
        .def("__eq__", [](const BiSFrame& a, const BiSFrame& b) { return a == b; })
        .def("__repr__", [](const BiSFrame& f) { return toPy(QStringLiteral("<korv.BiSFrame %1>").arg(describe(f))); });

    py::class_<FrameReader>(m, "BiSFrameReader",
                            "Finds BiS frames in a byte stream as a bus monitor does: feed() what arrives and "
                            "iterate the frames with a good CRC. Bytes between frames, bad CRCs and frames cut "
                            "short are skipped and listed in errors; reading goes on at the next start marker.")
        .def(py::init<>())
        .def(
            "feed",
            [](FrameReader& r, py::handle data) {
                const ByteView bytes(data);
                r.reader.append(bytes.view());
                r.take();
            },
            py::arg("data"), "Adds received bytes.")
        .def("__iter__", [](FrameReader& r) -> FrameReader& { return r; }, py::return_value_policy::reference_internal)
        .def(
            "__next__",
            [](FrameReader& r) {
                if (r.frames.empty())
                    throw py::stop_iteration();
                BiSFrame f = std::move(r.frames.front());
                r.frames.pop_front();
                return f;
            },
            "The next good frame.")
        .def_property_readonly(
            "errors",
            [](const FrameReader& r) {
                py::list list;
                for (const QString& e : r.errors)
                    list.append(toPy(e));
                return list;
            },
            "What was skipped, as \"byte N: what\" (N counted from the first byte fed), the last 100.")
        .def_readonly("error_count", &FrameReader::errorCount, "How many problems were skipped in all.")
        .def_property_readonly("position", [](const FrameReader& r) { return r.reader.position(); },
                               "Bytes fed so far.")
        .def(
            "reset",
            [](FrameReader& r) {
                r.reader.reset();
                r.frames.clear();
                r.errors.clear();
            },
            "Forgets a half-read frame and what was not iterated yet.");
}

} // namespace korvpy
