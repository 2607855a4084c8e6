// SPDX-License-Identifier: MIT
#include "python/values.h"

#include "python/byteview.h"
#include "python/element.h"
#include "python/errors.h"
#include "python/message.h"
#include "python/tables.h"
#include "qrv16/ipv4.h"
#include "qrv16/types.h"

#include <datetime.h>

#include <QDate>

#include <cstring>

namespace korvpy {

using QRV16::DataType;

namespace {

// ipaddress.IPv4Address, and its slot for the number when it has one.
PyObject* ipv4Type = nullptr;
PyObject* ipSlotName = nullptr;
bool ipSlotFast = false;

constexpr qint64 secondsPerDay = 24 * 3600;
const QDate epoch1990(1990, 1, 1);

inline unsigned readU16(const char* p)
{
    return unsigned(uchar(p[0])) | unsigned(uchar(p[1])) << 8;
}

inline quint32 readU32(const char* p)
{
    return quint32(readU16(p)) | quint32(readU16(p + 2)) << 16;
}

inline quint64 readLE(const char* p, int size)
{
    quint64 v = 0;
    for (int i = size - 1; i >= 0; --i)
        v = v << 8 | uchar(p[i]);
    return v;
}

inline char* putLE(char* p, quint64 v, int bytes)
{
    for (int i = 0; i < bytes; ++i, v >>= 8)
        *p++ = char(v & 0xFF);
    return p;
}

inline bool fits16(long long v)
{
    return v >= -32768 && v <= 32767;
}

[[noreturn]] void badPayload(const QRV16::Message::Iterator& it, const Source& source, const QString& what)
{
    raiseMessageError(QStringLiteral("%1 at byte %2: %3")
                          .arg(describeTag(it.tag(), source.tables.get()))
                          .arg(it.position())
                          .arg(what));
}

py::object newAddress(quint32 address)
{
    if (ipSlotFast) {
        // The constructor checks a number we know to be good; its slot
        // takes it directly, at a third of the cost.
        PyTypeObject* type = reinterpret_cast<PyTypeObject*>(ipv4Type);
        py::object object = py::reinterpret_steal<py::object>(type->tp_alloc(type, 0));
        if (!object)
            throw py::error_already_set();
        py::object number = py::reinterpret_steal<py::object>(PyLong_FromUnsignedLong(address));
        if (PyObject_SetAttr(object.ptr(), ipSlotName, number.ptr()) < 0)
            throw py::error_already_set();
        return object;
    }
    return py::reinterpret_borrow<py::object>(ipv4Type)(address);
}

py::object dateOf(const QRV16::Message::Iterator& it, const Source& source, qint64 days)
{
    if (days <= 0)
        return py::none();
    const QDate date = epoch1990.addDays(days);
    if (!date.isValid() || date.year() > 9999)
        badPayload(it, source, QStringLiteral("day %1 after 1990-01-01 is past the year 9999").arg(days));
    return py::reinterpret_steal<py::object>(PyDate_FromDate(date.year(), date.month(), date.day()));
}

py::object pairOf(const QRV16::Message::Iterator& it, const Source& source, const char* p, int size, int count)
{
    py::tuple t(count);
    if (size == 0) {
        for (int i = 0; i < count; ++i)
            t[size_t(i)] = py::int_(0);
        return std::move(t);
    }
    if (size == 2 * count) {
        for (int i = 0; i < count; ++i)
            t[size_t(i)] = py::int_(int(qint16(readU16(p + 2 * i))));
        return std::move(t);
    }
    if (size == 4 * count) {
        for (int i = 0; i < count; ++i)
            t[size_t(i)] = py::int_(qint32(readU32(p + 4 * i)));
        return std::move(t);
    }
    badPayload(it, source, QStringLiteral("%1 bytes, where %2 or %3 hold its numbers").arg(size).arg(2 * count).arg(4 * count));
}

} // namespace

void initValues()
{
    PyDateTime_IMPORT;
    if (!PyDateTimeAPI)
        throw py::error_already_set();
    py::object type = py::module_::import("ipaddress").attr("IPv4Address");
    ipv4Type = type.release().ptr();
    ipSlotName = PyUnicode_InternFromString("_ip");
    // The slot is checked once, not assumed: a later Python may lose it.
    const py::object probe = py::reinterpret_borrow<py::object>(ipv4Type)(0xC0A80114u);
    py::object slots = py::getattr(py::reinterpret_borrow<py::object>(ipv4Type), "__slots__", py::none());
    ipSlotFast = !slots.is_none() && py::bool_(slots.attr("__contains__")("_ip")) &&
                 py::int_(probe.attr("_ip")).cast<long long>() == 0xC0A80114;
}

const char* typeName(int tag)
{
    switch (QRV16::dataType(unsigned(tag))) {
    case DataType::Binary: return "Binary";
    case DataType::Integer: return "Integer";
    case DataType::Bool: return "Bool";
    case DataType::String: return "String";
    case DataType::Date: return "Date";
    case DataType::Time: return "Time";
    case DataType::DateTime: return "DateTime";
    case DataType::BitArray: return "BitArray";
    case DataType::NetworkAddress: return "NetworkAddress";
    case DataType::List: return "List";
    case DataType::Request: return "Request";
    case DataType::Answer: return "Answer";
    case DataType::Message: return "Message";
    case DataType::ExtPoint: return "ExtPoint";
    case DataType::ExtRect: return "ExtRect";
    case DataType::ExtSize: return "ExtSize";
    }
    return "Unknown";
}

QString describeTag(int tag, const Tables* tables)
{
    const QString code = QRV16::tag2hex(unsigned(tag));
    const QRV16::TagData* data = tables ? tables->lut().tagData(unsigned(tag)) : nullptr;
    if (data && !data->name.isEmpty())
        return QStringLiteral("%1 (%2)").arg(data->name, code);
    return code;
}

QRV16::Message::Iterator childIterator(const QRV16::Message::Iterator& element)
{
    // The library walks any payload asked to; only nested types hold elements.
    if (!QRV16::isNestedTag(element.tag()))
        return QRV16::Message::Iterator();
    bool ok = false;
    QRV16::Message::Iterator children = element.getIterator(&ok);
    // An empty nested element has no children and no range to walk.
    if (!ok)
        return QRV16::Message::Iterator();
    return children;
}

py::list readChildren(const Source& source, const QRV16::Message::Iterator& element, Nesting nesting, int depth)
{
    // A message of 64 KiB can nest 16,000 levels: deeper than the notation
    // reads is refused rather than walked on the stack.
    if (depth >= MaxDepth)
        badPayload(element, source, QStringLiteral("nested deeper than %1 levels").arg(MaxDepth));
    py::list list;
    QRV16::Message::Iterator it = childIterator(element);
    if (!it.isValid())
        return list;
    const int end = it.end();
    while (!it.atEnd()) {
        switch (nesting) {
        case Nesting::Elements:
            list.append(py::cast(Element(source, it.position(), end)));
            break;
        case Nesting::Values:
            list.append(readValue(source, it, nesting, depth + 1));
            break;
        case Nesting::Items: {
            py::object key = source.tables->key(it.tag());
            list.append(py::make_tuple(std::move(key), readValue(source, it, nesting, depth + 1)));
            break;
        }
        }
        const int at = it.position();
        ++it;
        if (it.position() < 0)
            badPayload(QRV16::Message::Iterator(source.message.get(), at, end), source,
                       QStringLiteral("its length runs past the end of the element that holds it"));
    }
    return list;
}

py::object readValue(const Source& source, const QRV16::Message::Iterator& it, Nesting nesting, int depth)
{
    const int tag = it.tag();
    int size = 0;
    const char* p = it.getData(&size);
    if (!p)
        badPayload(it, source, QStringLiteral("its length runs past the end of the message"));
    switch (QRV16::dataType(unsigned(tag))) {
    case DataType::Integer:
        if (size == 0)
            badPayload(it, source, QStringLiteral("an Integer needs at least one byte"));
        // As the library's getters: up to four bytes an int, more a long long.
        if (size <= 4)
            return py::reinterpret_steal<py::object>(PyLong_FromLong(qint32(quint32(readLE(p, size)))));
        return py::reinterpret_steal<py::object>(PyLong_FromLongLong(qint64(readLE(p, size > 8 ? 8 : size))));
    case DataType::Bool:
        if (size != 1)
            badPayload(it, source, QStringLiteral("a Bool holds 1 byte, not %1").arg(size));
        return py::bool_(p[0] != 0);
    case DataType::String:
        return py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(p, size, "replace"));
    case DataType::Binary:
        return py::bytes(p, size_t(size));
    case DataType::Date:
        if (size == 0)
            badPayload(it, source, QStringLiteral("a Date needs at least one byte"));
        return dateOf(it, source, qint32(quint32(readLE(p, size > 4 ? 4 : size))));
    case DataType::Time: {
        if (size == 0)
            badPayload(it, source, QStringLiteral("a Time needs at least one byte"));
        const qint64 s = qint64(quint32(readLE(p, size > 4 ? 4 : size))) % secondsPerDay;
        return py::reinterpret_steal<py::object>(PyTime_FromTime(int(s / 3600), int(s / 60 % 60), int(s % 60), 0));
    }
    case DataType::DateTime: {
        if (size < 8)
            badPayload(it, source, QStringLiteral("a DateTime holds 8 or 10 bytes, not %1").arg(size));
        const qint64 days = qint32(readU32(p));
        const qint64 ms = (qint64(readU32(p + 4)) * 1000 + (size >= 10 ? readU16(p + 8) : 0)) % (secondsPerDay * 1000);
        if (days <= 0)
            return py::none();
        const QDate date = epoch1990.addDays(days);
        if (date.year() > 9999)
            badPayload(it, source, QStringLiteral("day %1 after 1990-01-01 is past the year 9999").arg(days));
        const qint64 s = ms / 1000;
        return py::reinterpret_steal<py::object>(PyDateTime_FromDateAndTime(
            date.year(), date.month(), date.day(), int(s / 3600), int(s / 60 % 60), int(s % 60), int(ms % 1000) * 1000));
    }
    case DataType::BitArray: {
        py::set bits;
        const Tables* tables = source.tables.get();
        for (int byte = 0; byte < size; ++byte) {
            unsigned b = uchar(p[byte]);
            for (int bit = 0; b; ++bit, b >>= 1) {
                if (!(b & 1))
                    continue;
                const quint32 number = quint32(byte * 8 + bit);
                py::object name = tables->bitName(tag, number);
                bits.add(name.is_none() ? py::object(py::int_(number)) : name);
            }
        }
        return std::move(bits);
    }
    case DataType::NetworkAddress:
        if (size == 0)
            return newAddress(0);
        if (size != 4)
            badPayload(it, source, QStringLiteral("an address holds 4 bytes, not %1").arg(size));
        return newAddress(quint32(uchar(p[0])) << 24 | quint32(uchar(p[1])) << 16 | quint32(uchar(p[2])) << 8 | uchar(p[3]));
    case DataType::ExtPoint:
    case DataType::ExtSize:
        return pairOf(it, source, p, size, 2);
    case DataType::ExtRect:
        return pairOf(it, source, p, size, 4);
    case DataType::List:
    case DataType::Request:
    case DataType::Answer:
    case DataType::Message:
        return readChildren(source, it, nesting, depth);
    }
    return py::bytes(p, size_t(size));
}

namespace {

[[noreturn]] void wrongType(int tag, const Tables* tables, const char* wanted, py::handle value)
{
    raiseTypeError(QStringLiteral("%1, a %2, takes %3, not %4")
                       .arg(describeTag(tag, tables), QString::fromLatin1(typeName(tag)), QString::fromLatin1(wanted),
                            QString::fromUtf8(Py_TYPE(value.ptr())->tp_name)));
}

[[noreturn]] void wrongValue(int tag, const Tables* tables, const QString& what)
{
    raiseValueError(QStringLiteral("%1: %2").arg(describeTag(tag, tables), what));
}

// The day count of a date; dates before 1990-01-02 have none.
qint64 daysOf(int tag, const Tables* tables, int year, int month, int day)
{
    const qint64 days = epoch1990.daysTo(QDate(year, month, day));
    if (days <= 0)
        wrongValue(tag, tables, QStringLiteral("dates start at 1990-01-02 (None sends no date)"));
    if (days > 0xFFFFFFFFLL)
        wrongValue(tag, tables, QStringLiteral("the date is too late"));
    return days;
}

long long integerOf(int tag, const Tables* tables, py::handle value)
{
    if (PyUnicode_Check(value.ptr())) {
        const QString name = toQString(value);
        const QRV16::TagData* data = tables->lut().tagData(unsigned(tag));
        const QRV16::ItemData* e = data ? data->enums.byName(QStringView(name)) : nullptr;
        if (!e)
            wrongValue(tag, tables, QStringLiteral("no enum value named \"%1\"").arg(name));
        return qint64(e->id);
    }
    if (!PyLong_Check(value.ptr()) || PyBool_Check(value.ptr()))
        wrongType(tag, tables, "an int or an enum name", value);
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow)
        wrongValue(tag, tables, QStringLiteral("%1 does not fit 64 bits").arg(toQString(py::str(value))));
    return v;
}

// A number of a point, size or rectangle.
int coordinateOf(int tag, const Tables* tables, py::handle value)
{
    if (!PyLong_Check(value.ptr()) || PyBool_Check(value.ptr()))
        wrongType(tag, tables, "a tuple of ints", value);
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow || v < INT_MIN || v > INT_MAX)
        wrongValue(tag, tables, QStringLiteral("%1 does not fit 32 bits").arg(toQString(py::str(value))));
    return int(v);
}

int coordinatesOf(int tag, const Tables* tables, py::handle value, int count, char* out)
{
    if (!PyTuple_Check(value.ptr()) && !PyList_Check(value.ptr()))
        wrongType(tag, tables, count == 2 ? "a tuple of 2 ints" : "a tuple of 4 ints (x, y, width, height)", value);
    py::sequence seq = py::reinterpret_borrow<py::sequence>(value);
    if (int(seq.size()) != count)
        wrongValue(tag, tables, QStringLiteral("%1 numbers, not %2").arg(count).arg(seq.size()));
    int v[4] = {};
    bool narrow = true;
    for (int i = 0; i < count; ++i) {
        v[i] = coordinateOf(tag, tables, seq[size_t(i)]);
        narrow = narrow && fits16(v[i]);
    }
    const int width = narrow ? 2 : 4;
    for (int i = 0; i < count; ++i)
        out = putLE(out, quint32(v[i]), width);
    return count * width;
}

void appendBits(QRV16::Message& message, int tag, py::handle value, const Tables* tables)
{
    if (PyLong_Check(value.ptr()) && !PyBool_Check(value.ptr())) {
        const long long v = integerOf(tag, tables, value);
        if (v < 0)
            wrongValue(tag, tables, QStringLiteral("a bit mask is not negative"));
        // As the notation writes a number: its bytes, at least one.
        char buf[8];
        int n = 8;
        putLE(buf, quint64(v), 8);
        while (n > 1 && buf[n - 1] == 0)
            --n;
        message.appendData(tag, buf, n);
        return;
    }
    if (!PyAnySet_Check(value.ptr()) && !PyList_Check(value.ptr()) && !PyTuple_Check(value.ptr()))
        wrongType(tag, tables, "a set of bit names or numbers, or an int mask", value);
    QByteArray bytes(1, '\0');
    const QRV16::TagData* data = tables->lut().tagData(unsigned(tag));
    for (py::handle bit : py::reinterpret_borrow<py::iterable>(value)) {
        long long number = -1;
        if (PyUnicode_Check(bit.ptr())) {
            const QString name = toQString(bit);
            const QRV16::ItemData* b = data ? data->bits.byName(QStringView(name)) : nullptr;
            if (!b)
                wrongValue(tag, tables, QStringLiteral("no bit named \"%1\"").arg(name));
            number = qint64(b->id);
        } else if (PyLong_Check(bit.ptr()) && !PyBool_Check(bit.ptr())) {
            int overflow = 0;
            number = PyLong_AsLongLongAndOverflow(bit.ptr(), &overflow);
            if (overflow)
                number = -1;
        } else {
            wrongType(tag, tables, "bit names or numbers", bit);
        }
        if (number < 0 || number >= 8LL * MaxPayload)
            wrongValue(tag, tables, QStringLiteral("bit %1 is not within 0..%2").arg(toQString(py::str(bit))).arg(8 * MaxPayload - 1));
        const qsizetype byte = qsizetype(number / 8);
        if (byte >= bytes.size())
            bytes.resize(byte + 1, '\0');
        bytes[byte] = char(uchar(bytes[byte]) | (1u << (number % 8)));
    }
    message.appendData(tag, bytes.constData(), int(bytes.size()));
}

void appendNested(QRV16::Message& message, int tag, py::handle value, const Tables* tables, int depth)
{
    if (depth >= MaxDepth)
        wrongValue(tag, tables, QStringLiteral("nested deeper than 99 levels"));
    if (!PyList_Check(value.ptr()) && !PyTuple_Check(value.ptr()))
        wrongType(tag, tables, "a list of (tag, value) pairs, Elements or Messages", value);
    // Built apart, so that a bad child leaves the message as it was.
    QRV16::Message nested;
    nested.beginMessage(tag);
    for (py::handle child : py::reinterpret_borrow<py::iterable>(value)) {
        if (py::isinstance<Message>(child)) {
            nested.appendMessage(child.cast<const Message&>().closed());
        } else if (py::isinstance<Element>(child)) {
            nested.appendMessage(child.cast<const Element&>().bytes());
        } else if (PyTuple_Check(child.ptr()) && PyTuple_GET_SIZE(child.ptr()) == 2) {
            const int childTag = tables->resolve(PyTuple_GET_ITEM(child.ptr(), 0));
            py::handle childValue = PyTuple_GET_ITEM(child.ptr(), 1);
            if (QRV16::isNestedTag(childTag))
                appendNested(nested, childTag, childValue, tables, depth + 1);
            else
                appendValue(nested, childTag, childValue, tables);
        } else {
            raiseTypeError(QStringLiteral("%1 holds (tag, value) pairs, Elements or Messages, not %2")
                               .arg(describeTag(tag, tables), QString::fromUtf8(Py_TYPE(child.ptr())->tp_name)));
        }
        if (nested.size() - 4 > MaxPayload)
            raiseMessageError(QStringLiteral("%1 would hold more than %2 bytes").arg(describeTag(tag, tables)).arg(MaxPayload));
    }
    nested.endMessage();
    message.appendMessage(nested);
}

} // namespace

void appendValue(QRV16::Message& message, int tag, py::handle value, const Tables* tables)
{
    char buf[16];
    PyObject* v = value.ptr();
    const bool none = value.is_none();
    switch (QRV16::dataType(unsigned(tag))) {
    case DataType::Integer: {
        const long long n = integerOf(tag, tables, value);
        if (n >= INT_MIN && n <= INT_MAX) {
            message.appendInt(tag, int(n));
        } else if (n > 0) {
            // Five bytes at least: four would read back as a negative int.
            int bytes = 8;
            putLE(buf, quint64(n), 8);
            while (bytes > 5 && buf[bytes - 1] == 0)
                --bytes;
            message.appendData(tag, buf, bytes);
        } else {
            message.appendInt64(tag, n);
        }
        return;
    }
    case DataType::Bool:
        if (!PyBool_Check(v))
            wrongType(tag, tables, "a bool", value);
        message.appendBool(tag, v == Py_True);
        return;
    case DataType::String: {
        if (!PyUnicode_Check(v))
            wrongType(tag, tables, "a str", value);
        Py_ssize_t size = 0;
        const char* utf8 = PyUnicode_AsUTF8AndSize(value.ptr(), &size);
        if (!utf8)
            throw py::error_already_set();
        if (size > MaxPayload)
            raiseMessageError(QStringLiteral("%1: %2 bytes of text, more than the %3 an element holds")
                                  .arg(describeTag(tag, tables)).arg(size).arg(MaxPayload));
        message.appendData(tag, utf8, int(size));
        return;
    }
    case DataType::Date:
        if (none) {
            message.appendInt(tag, 0);
            return;
        }
        if (!PyDate_Check(v) || PyDateTime_Check(v))
            wrongType(tag, tables, "a datetime.date or None", value);
        message.appendInt(tag, int(quint32(daysOf(tag, tables, PyDateTime_GET_YEAR(v), PyDateTime_GET_MONTH(v),
                                                  PyDateTime_GET_DAY(v)))));
        return;
    case DataType::Time:
        if (!PyTime_Check(v))
            wrongType(tag, tables, "a datetime.time", value);
        if (_PyDateTime_HAS_TZINFO(v))
            wrongValue(tag, tables, QStringLiteral("a Time is the wall clock: give a time without tzinfo"));
        message.appendInt(tag, PyDateTime_TIME_GET_HOUR(v) * 3600 + PyDateTime_TIME_GET_MINUTE(v) * 60 +
                                   PyDateTime_TIME_GET_SECOND(v));
        return;
    case DataType::DateTime: {
        if (none) {
            std::memset(buf, 0, 8);
            message.appendData(tag, buf, 8);
            return;
        }
        if (!PyDateTime_Check(v))
            wrongType(tag, tables, "a datetime.datetime or None", value);
        if (_PyDateTime_HAS_TZINFO(v))
            wrongValue(tag, tables, QStringLiteral("a DateTime is the wall clock: give a datetime without tzinfo"));
        const qint64 days = daysOf(tag, tables, PyDateTime_GET_YEAR(v), PyDateTime_GET_MONTH(v), PyDateTime_GET_DAY(v));
        const int seconds = PyDateTime_DATE_GET_HOUR(v) * 3600 + PyDateTime_DATE_GET_MINUTE(v) * 60 +
                            PyDateTime_DATE_GET_SECOND(v);
        const int ms = PyDateTime_DATE_GET_MICROSECOND(v) / 1000;
        putLE(putLE(putLE(buf, quint64(days), 4), quint64(seconds), 4), quint64(ms), 2);
        message.appendData(tag, buf, ms ? 10 : 8);
        return;
    }
    case DataType::BitArray:
        appendBits(message, tag, value, tables);
        return;
    case DataType::NetworkAddress: {
        if (none) {
            message.appendData(tag, nullptr, 0);
            return;
        }
        IPv4 address;
        if (PyUnicode_Check(v)) {
            if (!address.fromString(toQString(value)))
                wrongValue(tag, tables, QStringLiteral("\"%1\" is no IPv4 address").arg(toQString(value)));
        } else if (PyObject_IsInstance(value.ptr(), ipv4Type) == 1) {
            const py::object number = py::reinterpret_steal<py::object>(PyNumber_Long(v));
            if (!number)
                throw py::error_already_set();
            address.setInt(quint32(PyLong_AsUnsignedLong(number.ptr())));
        } else {
            wrongType(tag, tables, "an ipaddress.IPv4Address, a str or None", value);
        }
        message.appendIPAddress(tag, address);
        return;
    }
    case DataType::ExtPoint:
    case DataType::ExtSize:
        message.appendData(tag, buf, coordinatesOf(tag, tables, value, 2, buf));
        return;
    case DataType::ExtRect:
        message.appendData(tag, buf, coordinatesOf(tag, tables, value, 4, buf));
        return;
    case DataType::List:
    case DataType::Request:
    case DataType::Answer:
    case DataType::Message:
        appendNested(message, tag, value, tables, 0);
        return;
    case DataType::Binary:
        break;
    }
    // Binary, and types this library does not know: the bytes as given.
    if (!PyObject_CheckBuffer(v))
        wrongType(tag, tables, "bytes", value);
    const ByteView bytes(value);
    if (bytes.size() > MaxPayload)
        raiseMessageError(QStringLiteral("%1: %2 bytes, more than the %3 an element holds")
                              .arg(describeTag(tag, tables)).arg(bytes.size()).arg(MaxPayload));
    message.appendData(tag, bytes.data(), int(bytes.size()));
}

} // namespace korvpy
