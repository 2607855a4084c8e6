// SPDX-License-Identifier: MIT
// korv.Definitions, korv.Tag and korv.Pattern.

#include "python/bindings.h"
#include "python/byteview.h"
#include "python/errors.h"
#include "python/message.h"
#include "python/tables.h"
#include "python/values.h"
#include "qrv16/messagecollector.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagepattern.h"
#include "qrv16/messagewriter.h"

#include <pybind11/stl.h>

namespace korvpy {

namespace {

// What a definitions file says about one tag.
struct TagInfo
{
    int code = 0;
    py::object name;
    std::string type;
    py::dict enums;
    py::dict bits;
    bool secure = false;
};

// A pattern read once and matched many times.
struct Pattern
{
    std::shared_ptr<const Tables> tables; // the pattern points into its table
    QRV16::MessagePattern pattern;
};

TagInfo tagInfo(const Tables& tables, int code)
{
    TagInfo info;
    info.code = code;
    info.type = typeName(code);
    info.name = tables.tagName(code);
    const QRV16::Item* item = tables.item(code);
    if (!item)
        return info;
    info.secure = item->data().secure;
    for (int i = 0; i < item->childCount(); ++i) {
        const QRV16::Item* container = item->child(i);
        const QRV16::ItemType type = container->data().type;
        if (type != QRV16::ItemType::Enums && type != QRV16::ItemType::Bits)
            continue;
        py::dict& target = type == QRV16::ItemType::Enums ? info.enums : info.bits;
        for (int j = 0; j < container->childCount(); ++j) {
            const QRV16::ItemData& d = container->child(j)->data();
            if ((d.type != QRV16::ItemType::Enum && d.type != QRV16::ItemType::Bit) || !d.hasId || d.name.isEmpty())
                continue;
            const py::str key = toPy(d.name);
            // The first of two names wins, as the lookup table has it.
            if (!target.contains(key))
                target[key] = type == QRV16::ItemType::Enums ? py::int_(qint64(d.id)) : py::int_(d.id);
        }
    }
    return info;
}

std::shared_ptr<Tables> readFile(py::handle path)
{
    // Python opens the file, so that its own errors (FileNotFoundError,
    // PermissionError) reach the caller as they are.
    const py::object name = py::module_::import("os").attr("fspath")(path);
    const py::object file = py::module_::import("io").attr("open")(name, "rb");
    py::bytes data;
    try {
        data = file.attr("read")();
    } catch (...) {
        file.attr("close")();
        throw;
    }
    file.attr("close")();
    const ByteView bytes(data);
    return std::make_shared<Tables>(bytes.copy(), toQString(py::str(name)));
}

QRV16::Message messageOf(py::handle message)
{
    if (py::isinstance<Message>(message))
        return message.cast<const Message&>().closed();
    if (py::isinstance<Element>(message))
        return message.cast<const Element&>().bytes();
    if (PyUnicode_Check(message.ptr()))
        raiseTypeError(QStringLiteral("give a Message or its bytes; Definitions.message(text) reads the notation"));
    const ByteView bytes(message);
    return Message::read(bytes.copy(), std::shared_ptr<const Tables>()).closed();
}

QList<QRV16::Message> parseText(const Tables& tables, const QString& text)
{
    QRV16::MessageParser parser(&tables.lut());
    const QList<QRV16::Message> messages = parser.parseList(text);
    if (parser.hasError())
        raiseParseError(parser.errorMessage(), text, parser.errorLineStart(), parser.errorColumnStart(),
                        parser.errorLineEnd(), parser.errorColumnEnd());
    return messages;
}

QString decode(const Tables& tables, py::handle data, bool multiLine, bool hungarian)
{
    const ByteView bytes(data);
    if (bytes.size() == 0)
        raiseMessageError(QStringLiteral("no bytes to decode"));
    QRV16::TextOptions options;
    if (multiLine)
        options |= QRV16::MultiLine;
    if (hungarian)
        options |= QRV16::Hungarian;
    const QRV16::MessageWriter writer(&tables.lut(), options);
    QRV16::MessageCollector collector;
    collector.append(bytes.data(), unsigned(bytes.size()));
    QStringList texts;
    qsizetype at = 0;
    while (collector.hasMessage()) {
        const QRV16::Message message = collector.nextMessage();
        if (!message.isValid())
            raiseMessageError(QStringLiteral("byte %1: length field %2 is too short for a tag")
                                  .arg(at)
                                  .arg(uchar(message.bytes().at(0)) | uchar(message.bytes().at(1)) << 8));
        texts << writer.toText(message);
        at += message.size();
    }
    if (collector.pending() > 0) {
        const QByteArrayView rest = bytes.view().sliced(at);
        if (rest.size() < 4)
            raiseMessageError(QStringLiteral("byte %1: %2 byte(s) left, too few for a message").arg(at).arg(rest.size()));
        raiseMessageError(QStringLiteral("byte %1: the message needs %2 bytes, %3 left")
                              .arg(at)
                              .arg(int(uchar(rest[0]) | uchar(rest[1]) << 8) + 2)
                              .arg(rest.size()));
    }
    return texts.join(QLatin1Char('\n'));
}

} // namespace

void bindDefinitions(py::module_& m)
{
    py::class_<TagInfo>(m, "Tag", "What the definitions say about one tag.")
        .def_readonly("code", &TagInfo::code, "The 16-bit tag code.")
        .def_readonly("name", &TagInfo::name, "Its name, or None.")
        .def_readonly("type", &TagInfo::type, "Its data type: \"Integer\", \"String\", \"Message\", ...")
        .def_readonly("enums", &TagInfo::enums, "Enum value names to their numbers.")
        .def_readonly("bits", &TagInfo::bits, "Bit names to their bit numbers (0 is the least significant).")
        .def_readonly("secure", &TagInfo::secure, "Whether its values are hidden in the trace.")
        .def("__repr__", [](const TagInfo& t) {
            return "<korv.Tag " + (t.name.is_none() ? std::string("?") : t.name.cast<std::string>()) + " " +
                   QRV16::tag2hex(unsigned(t.code)).toStdString() + " " + t.type + ">";
        });

    py::class_<Pattern>(m, "Pattern",
                        "A message pattern as answer rules and sequence expects use: \"*\", \"Tag\", "
                        "\"Tag=(Child=value Child=(...))\", or a filter expression (\"Temperature>700\").")
        .def_property_readonly("text", [](const Pattern& p) { return toPy(p.pattern.text()); }, "The pattern's text.")
        .def(
            "matches",
            [](const Pattern& p, py::handle message) { return p.pattern.matches(messageOf(message)); },
            py::arg("message"), "Whether the message (a Message, an Element or bytes) matches.")
        .def("__repr__", [](const Pattern& p) { return toPy(QStringLiteral("<korv.Pattern %1>").arg(p.pattern.text())); });

    py::class_<Tables, std::shared_ptr<Tables>>(m, "Definitions",
                                                "A tag definitions file (.qrvdef): names for tags, enum values "
                                                "and bits. Without a file, tags go by their codes.")
        .def(py::init([](py::handle path) {
                 if (path.is_none())
                     return std::make_shared<Tables>();
                 return readFile(path);
             }),
             py::arg("path") = py::none(),
             "Reads a definitions file; raises DefinitionsError (with file, line and column) when it cannot "
             "be read, OSError when it cannot be opened.")
        .def_static(
            "from_bytes",
            [](py::handle data, const std::string& name) {
                const ByteView bytes(data);
                return std::make_shared<Tables>(bytes.copy(), QString::fromStdString(name));
            },
            py::arg("data"), py::arg("name") = "<bytes>", "Reads definitions from the bytes of a file.")
        .def_property_readonly("name", [](const Tables& t) { return toPy(t.name()); }, "The file read, or \"\".")
        .def_property_readonly(
            "warnings",
            [](const Tables& t) {
                py::list list;
                for (const QString& w : t.warnings())
                    list.append(toPy(w));
                return list;
            },
            "The warnings of the file (a double tag code, ...), with line and column.")
        .def_property_readonly(
            "tags",
            [](const Tables& t) {
                py::list list;
                for (const QRV16::Item* item : t.tagItems())
                    list.append(py::cast(tagInfo(t, int(item->data().id))));
                return list;
            },
            "Every tag of the file, in its order.")
        .def(
            "tag", [](const Tables& t, py::handle tag) { return tagInfo(t, t.resolve(tag)); }, py::arg("tag"),
            "The tag of this name or code: its code, type, enum values and bits. KeyError for an unknown name.")
        .def(
            "encode",
            [](const Tables& t, const std::string& text) {
                QByteArray bytes;
                for (const QRV16::Message& message : parseText(t, QString::fromStdString(text)))
                    bytes += message.bytes();
                return py::bytes(bytes.constData(), size_t(bytes.size()));
            },
            py::arg("text"),
            "The bytes of one or more messages in the text notation. ParseError (with line and column) "
            "when the text does not parse.")
        .def(
            "decode",
            [](const Tables& t, py::handle data, bool multiLine, bool hungarian) {
                return toPy(decode(t, data, multiLine, hungarian));
            },
            py::arg("data"), py::kw_only(), py::arg("multi_line") = false, py::arg("hungarian") = false,
            "The text notation of one or more whole messages, one per line. MessageError when the bytes "
            "end inside a message.")
        .def(
            "message",
            [](const std::shared_ptr<Tables>& t, py::handle data) {
                if (PyUnicode_Check(data.ptr())) {
                    const QString text = toQString(data);
                    const QList<QRV16::Message> messages = parseText(*t, text);
                    if (messages.size() != 1)
                        raiseValueError(QStringLiteral("message() reads one message; the text holds %1")
                                            .arg(messages.size()));
                    return Message::wrap(messages.first(), t);
                }
                const ByteView bytes(data);
                return Message::read(bytes.copy(), t);
            },
            py::arg("data"),
            "A Message named by these definitions, from its bytes or from its text notation.")
        .def(
            "pattern",
            [](const std::shared_ptr<Tables>& t, const std::string& text) {
                Pattern p{t, {}};
                const QString qtext = QString::fromStdString(text);
                if (!p.pattern.parse(qtext, &t->lut())) {
                    const int column = p.pattern.errorStart() + 1;
                    raiseParseError(p.pattern.errorMessage(), qtext, 1, column, 1,
                                    column + qMax(1, p.pattern.errorLength()) - 1);
                }
                return p;
            },
            py::arg("text"), "Reads a pattern once, to match many messages. ParseError when it does not parse.")
        .def(
            "match",
            [](const std::shared_ptr<Tables>& t, const std::string& text, py::handle message) {
                QRV16::MessagePattern pattern;
                const QString qtext = QString::fromStdString(text);
                if (!pattern.parse(qtext, &t->lut())) {
                    const int column = pattern.errorStart() + 1;
                    raiseParseError(pattern.errorMessage(), qtext, 1, column, 1,
                                    column + qMax(1, pattern.errorLength()) - 1);
                }
                return pattern.matches(messageOf(message));
            },
            py::arg("pattern"), py::arg("message"),
            "Whether the message matches the pattern, as an answer rule or a sequence's expect would: "
            "defs.match(\"GetStatusReply=(ResultCode=Ok)\", reply).")
        .def("__repr__", [](const Tables& t) {
            return toPy(QStringLiteral("<korv.Definitions %1, %2 tags>")
                            .arg(t.name().isEmpty() ? QStringLiteral("(none)") : t.name())
                            .arg(t.tagItems().size()));
        });
}

} // namespace korvpy
