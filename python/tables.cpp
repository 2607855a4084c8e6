// SPDX-License-Identifier: MIT
#include "python/tables.h"

#include "python/errors.h"
#include "qrv16/parser.h"

namespace korvpy {

namespace {

// The warnings of the reader, one per entry.
QStringList splitWarnings(const QString& text)
{
    QStringList list;
    for (const QString& part : text.split(QStringLiteral("\nWarning: "), Qt::SkipEmptyParts)) {
        QString entry = part.trimmed();
        if (!entry.startsWith(QLatin1String("Warning: ")))
            entry.prepend(QLatin1String("Warning: "));
        list << entry;
    }
    return list;
}

} // namespace

Tables::Tables()
    : m_root(std::make_unique<QRV16::Item>()), m_lut(std::make_unique<QRV16::TagDataLut>(m_root.get()))
{
}

Tables::Tables(const QByteArray& data, const QString& name) : m_name(name)
{
    QRV16::Parser parser;
    if (!parser.parse(data, name)) {
        QString message = parser.errorString();
        // The reader prefixes the token it stopped at: "(StartElement) ...".
        if (message.startsWith(QLatin1Char('('))) {
            const int close = int(message.indexOf(QLatin1String(") ")));
            if (close > 0)
                message = message.mid(close + 2);
        }
        raiseDefinitionsError(message, name, parser.lineNumber(), parser.columnNumber());
    }
    m_warnings = splitWarnings(parser.warnings());
    m_root.reset(parser.takeRoot());
    m_lut = std::make_unique<QRV16::TagDataLut>(m_root.get());
    for (int i = 0; i < m_root->childCount(); ++i) {
        const QRV16::Item* child = m_root->child(i);
        // Blank lines and comments are items too, without an id.
        if (child->data().type == QRV16::ItemType::Tag && child->data().hasId) {
            m_items << child;
            // The first of two with one code is the one the table knows.
            if (!m_itemOf.contains(int(child->data().id)))
                m_itemOf.insert(int(child->data().id), child);
        }
    }
}

const QRV16::Item* Tables::item(int code) const
{
    return m_itemOf.value(code, nullptr);
}

int Tables::resolve(py::handle tag) const
{
    if (PyLong_Check(tag.ptr()) && !PyBool_Check(tag.ptr())) {
        int overflow = 0;
        const long long code = PyLong_AsLongLongAndOverflow(tag.ptr(), &overflow);
        if (overflow || code < 0 || code > 0xFFFF)
            raiseValueError(QStringLiteral("a tag code is 0 to 0xFFFF, not %1").arg(toQString(py::str(tag))));
        return int(code);
    }
    if (!PyUnicode_Check(tag.ptr()))
        raiseTypeError(QStringLiteral("a tag is a name (str) or a code (int), not %1")
                           .arg(QString::fromUtf8(Py_TYPE(tag.ptr())->tp_name)));
    PyObject* known = PyDict_GetItemWithError(m_codes.ptr(), tag.ptr());
    if (known)
        return int(PyLong_AsLong(known));
    if (PyErr_Occurred())
        throw py::error_already_set();
    const QString name = toQString(tag);
    const QRV16::TagData* data = m_lut->tagData(QStringView(name));
    if (!data) {
        const QString where = m_name.isEmpty() ? QStringLiteral("without definitions") : QStringLiteral("in ") + m_name;
        PyErr_SetObject(PyExc_KeyError,
                        toPy(QStringLiteral("no tag named \"%1\" %2").arg(name, where)).ptr());
        throw py::error_already_set();
    }
    const int code = int(data->id);
    m_codes[tag] = py::int_(code);
    return code;
}

Tables::Names& Tables::names(int code) const
{
    auto it = m_names.find(code);
    if (it != m_names.end())
        return it->second;
    Names n;
    const QRV16::TagData* data = m_lut->tagData(unsigned(code));
    n.name = data && !data->name.isEmpty() ? py::object(toPy(data->name)) : py::object(py::none());
    return m_names.emplace(code, std::move(n)).first->second;
}

py::object Tables::tagName(int code) const
{
    return names(code).name;
}

py::object Tables::key(int code) const
{
    const py::object& name = names(code).name;
    return name.is_none() ? py::object(py::int_(code)) : name;
}

py::object Tables::enumName(int code, quint32 value) const
{
    Names& n = names(code);
    auto it = n.enums.find(value);
    if (it != n.enums.end())
        return it->second;
    const QRV16::TagData* data = m_lut->tagData(unsigned(code));
    const QRV16::ItemData* e = data ? data->enums.byNumber(value) : nullptr;
    // Only names are kept: received values are any number.
    if (!e || e->name.isEmpty())
        return py::none();
    return n.enums.emplace(value, toPy(e->name)).first->second;
}

py::object Tables::bitName(int code, quint32 bit) const
{
    Names& n = names(code);
    auto it = n.bits.find(bit);
    if (it != n.bits.end())
        return it->second;
    const QRV16::TagData* data = m_lut->tagData(unsigned(code));
    const QRV16::ItemData* b = data ? data->bits.byNumber(bit) : nullptr;
    if (!b || b->name.isEmpty())
        return py::none();
    return n.bits.emplace(bit, toPy(b->name)).first->second;
}

std::shared_ptr<Tables> definitionsOf(py::handle defs)
{
    if (!py::isinstance<Tables>(defs))
        raiseTypeError(QStringLiteral("defs is a korv.Definitions or None, not %1")
                           .arg(QString::fromUtf8(Py_TYPE(defs.ptr())->tp_name)));
    return defs.cast<std::shared_ptr<Tables>>();
}

} // namespace korvpy
