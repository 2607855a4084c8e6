// SPDX-License-Identifier: MIT
// korv.Message and korv.Element, which read alike.

#include "python/bindings.h"
#include "python/byteview.h"
#include "python/element.h"
#include "python/errors.h"
#include "python/message.h"
#include "python/tables.h"

namespace korvpy {

namespace {

// Without definitions: tags by code. Never freed, so that no Python object
// it holds is released after the interpreter has gone.
const std::shared_ptr<Tables>& noDefinitions()
{
    static const auto* tables = new std::shared_ptr<Tables>(std::make_shared<Tables>());
    return *tables;
}

std::shared_ptr<const Tables> tablesOf(py::handle defs)
{
    if (defs.is_none())
        return noDefinitions();
    return definitionsOf(defs);
}

py::bytes toBytes(const QRV16::Message& message)
{
    return py::bytes(message.bytes().constData(), size_t(message.size()));
}

// The reading half, the same on a Message (through its top element) and on
// an Element.
template <typename Class, typename Top>
void addReading(py::class_<Class>& cls, Top top)
{
    cls.def_property_readonly("tag", [top](const Class& c) { return top(c).tag(); }, "The tag code.")
        .def_property_readonly("name", [top](const Class& c) { return top(c).name(); }, "The tag's name, or None.")
        .def_property_readonly("type", [top](const Class& c) { return top(c).type(); },
                               "The data type: \"Integer\", \"String\", \"Message\", ...")
        .def_property_readonly("value", [top](const Class& c) { return top(c).value(); },
                               "The value as Python has it: int, bool, str, bytes, datetime.date, time or "
                               "datetime, ipaddress.IPv4Address, a set of bit names (numbers for bits without "
                               "one), a tuple (x, y), (width, height) or (x, y, width, height), or for a nested "
                               "element the list of its Elements. MessageError when the bytes do not fit the type.")
        .def_property_readonly("enum", [top](const Class& c) { return top(c).enumName(); },
                               "The enum name of an Integer's value, else None.")
        .def_property_readonly("raw", [top](const Class& c) { return top(c).raw(); }, "The payload's bytes.")
        .def_property_readonly("text", [top](const Class& c) { return toPy(top(c).valueText()); },
                               "The value in the text notation (\"Auto\", \"Ready|Fault\").")
        .def("__iter__", [top](const Class& c) { return py::iter(top(c).children()); },
             "The Elements of a nested element, in order.")
        .def("__len__", [top](const Class& c) { return top(c).childCount(); }, "How many elements it holds.")
        .def("__getitem__", [top](const Class& c, py::handle tag) { return top(c).child(tag).value(); },
             py::arg("tag"), "The value of the first element with this name or code; KeyError when there is none.")
        .def(
            "get",
            [top](const Class& c, py::handle tag, py::handle fallback) {
                const Element e = top(c);
                return e.hasChild(tag) ? e.child(tag).value() : py::reinterpret_borrow<py::object>(fallback);
            },
            py::arg("tag"), py::arg("default") = py::none(), "The value of the first element with this tag, or default.")
        .def("__contains__", [top](const Class& c, py::handle tag) { return top(c).hasChild(tag); }, py::arg("tag"))
        .def("element", [top](const Class& c, py::handle tag) { return top(c).child(tag); }, py::arg("tag"),
             "The first Element with this tag among the children; KeyError when there is none.")
        .def("find", [top](const Class& c, py::handle tag) { return top(c).find(tag); }, py::arg("tag"),
             "The first Element with this tag at any depth below, depth first; None when there is none.")
        .def("values", [top](const Class& c) { return top(c).values(); },
             "The children's values, nested ones as lists of values.")
        .def("items", [top](const Class& c) { return top(c).items(); },
             "The children as (name, value) pairs (the code where a tag has no name), nested ones as lists "
             "of pairs; Message(tag, items) builds the same message again.")
        .def("__str__", [top](const Class& c) { return toPy(top(c).text()); }, "The text notation, one line.")
        .def("__bytes__", [top](const Class& c) { return toBytes(top(c).bytes()); }, "The bytes, as they travel.");
}

} // namespace

void bindMessages(py::module_& m)
{
    py::class_<Element> element(m, "Element",
                                "One element of a message: its tag, name, type and value, and for a nested "
                                "element the elements it holds.");
    addReading(element, [](const Element& e) -> const Element& { return e; });
    element.def_property_readonly("offset", &Element::offset, "Where it starts in the message's bytes.")
        .def("__repr__", [](const Element& e) { return toPy(QStringLiteral("<korv.Element %1>").arg(e.text())); })
        .def("__eq__", [](const Element& a, const Element& b) { return a.bytes() == b.bytes(); })
        .def("__hash__", [](const Element& e) { return qHash(e.bytes().bytes()); });

    py::class_<Message> message(m, "Message",
                                "One message. Message(data, defs=...) reads received bytes; Message(tag, items, "
                                "defs=...) starts one of a nested tag and append() adds its elements; Message() "
                                "takes a single element with append().");
    message
        .def(py::init([](py::handle data, py::handle items, py::handle defs) {
                 const std::shared_ptr<const Tables> tables = tablesOf(defs);
                 if (data.is_none() || PyUnicode_Check(data.ptr()) ||
                     (PyLong_Check(data.ptr()) && !PyBool_Check(data.ptr()))) {
                     Message built(tables, data.is_none() ? -1 : tables->resolve(data));
                     if (!items.is_none())
                         built.extend(items);
                     return built;
                 }
                 if (!items.is_none())
                     raiseTypeError(QStringLiteral("items go with a tag, not with received bytes"));
                 if (!PyObject_CheckBuffer(data.ptr()))
                     raiseTypeError(QStringLiteral("Message takes bytes, a tag (name or code) or nothing, not %1")
                                        .arg(QString::fromUtf8(Py_TYPE(data.ptr())->tp_name)));
                 const ByteView bytes(data);
                 return Message::read(bytes.copy(), tables);
             }),
             py::arg("data") = py::none(), py::arg("items") = py::none(), py::kw_only(), py::arg("defs") = py::none())
        .def(
            "append",
            [](Message& self, py::handle tag, py::handle value) -> Message& {
                if (value.is_none() && (py::isinstance<Message>(tag) || py::isinstance<Element>(tag))) {
                    self.appendElement(py::isinstance<Message>(tag) ? tag.cast<const Message&>().closed()
                                                                    : tag.cast<const Element&>().bytes());
                } else {
                    self.append(tag, value);
                }
                return self;
            },
            py::arg("tag"), py::arg("value") = py::none(), py::return_value_policy::reference_internal,
            "Appends an element of this tag (name or code) holding the value, in the types that value gives "
            "back (nested: a list of (tag, value) pairs, Elements or Messages), or a whole Message or "
            "Element as it is. Returns the message, so appends chain. TypeError or ValueError when the "
            "value does not fit the tag; the message is then unchanged.")
        .def(
            "extend", [](Message& self, py::handle items) -> Message& {
                self.extend(items);
                return self;
            },
            py::arg("items"), py::return_value_policy::reference_internal,
            "Appends (tag, value) pairs, as items() gives them.")
        .def_property_readonly("defs", [](const Message& self) { return self.tables(); },
                               "The Definitions that name it.")
        .def("__repr__", [](const Message& self) {
            if (self.closed().isEmpty())
                return toPy(QStringLiteral("<korv.Message (empty)>"));
            return toPy(QStringLiteral("<korv.Message %1>").arg(self.top().text()));
        })
        .def("__eq__",
             [](const Message& a, py::handle b) {
                 if (py::isinstance<Message>(b))
                     return a.closed() == b.cast<const Message&>().closed();
                 if (PyBytes_Check(b.ptr()) || PyByteArray_Check(b.ptr()) || PyMemoryView_Check(b.ptr())) {
                     const ByteView bytes(b);
                     return a.closed().bytes() == bytes.view();
                 }
                 return false;
             });
    addReading(message, [](const Message& self) { return self.top(); });
}

} // namespace korvpy
