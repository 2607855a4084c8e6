// SPDX-License-Identifier: MIT
#include "python/errors.h"

#include <QStringList>

namespace korvpy {

namespace {

// Owned by the module, which outlives every call that raises them.
PyObject* baseError = nullptr;
PyObject* definitionsError = nullptr;
PyObject* parseError = nullptr;
PyObject* messageError = nullptr;
PyObject* frameError = nullptr;

PyObject* newType(py::module_& m, const char* name, PyObject* base, const char* doc)
{
    const std::string qualified = std::string("korv.") + name;
    PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, base, nullptr);
    if (!type)
        throw py::error_already_set();
    m.add_object(name, py::reinterpret_borrow<py::object>(type));
    return type;
}

[[noreturn]] void raise(PyObject* type, const QString& message, const py::dict& attributes)
{
    py::object error = py::reinterpret_borrow<py::object>(type)(toPy(message));
    for (auto item : attributes)
        py::setattr(error, item.first, item.second);
    PyErr_SetObject(type, error.ptr());
    throw py::error_already_set();
}

} // namespace

py::str toPy(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    return py::str(utf8.constData(), size_t(utf8.size()));
}

QString toQString(py::handle text)
{
    Py_ssize_t size = 0;
    const char* utf8 = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
    if (!utf8)
        throw py::error_already_set();
    return QString::fromUtf8(utf8, size);
}

void registerErrors(py::module_& m)
{
    baseError = newType(m, "Error", PyExc_ValueError, "Base of korv's errors; a ValueError.");
    definitionsError = newType(m, "DefinitionsError", baseError,
                               "A definitions file that cannot be read; `file`, `line` and `column` say where.");
    parseError = newType(m, "ParseError", baseError,
                         "Text in the notation, or a pattern, that does not parse; `line`, `column`, "
                         "`end_line` and `end_column` (from 1, end inclusive) mark the faulty span of `text`.");
    messageError = newType(m, "MessageError", baseError,
                           "Bytes that are no message, or a value that its element cannot hold.");
    frameError = newType(m, "FrameError", baseError, "Bytes that are no BiS frame, or a frame that cannot be sent.");
}

void raiseDefinitionsError(const QString& message, const QString& file, qint64 line, qint64 column)
{
    py::dict attributes;
    attributes["message"] = toPy(message);
    attributes["file"] = toPy(file);
    attributes["line"] = line;
    attributes["column"] = column;
    const QString where = line > 0 ? QStringLiteral("%1:%2:%3: ").arg(file).arg(line).arg(column)
                                   : QStringLiteral("%1: ").arg(file);
    raise(definitionsError, where + message, attributes);
}

void raiseParseError(const QString& message, const QString& text, int line, int column, int endLine, int endColumn)
{
    py::dict attributes;
    attributes["message"] = toPy(message);
    attributes["text"] = toPy(text);
    attributes["line"] = line;
    attributes["column"] = column;
    attributes["end_line"] = endLine;
    attributes["end_column"] = endColumn;
    // As korv encode prints it: the position, the line and a marker under
    // the faulty span.
    const QString faulty = text.split(QLatin1Char('\n')).value(line - 1);
    const int width = endLine == line ? qMax(1, endColumn - column + 1) : qMax(1, int(faulty.size()) - column + 1);
    QString marker(qMax(0, column - 1), QLatin1Char(' '));
    for (int i = 0; i < column - 1 && i < faulty.size(); ++i) {
        if (faulty.at(i) == QLatin1Char('\t'))
            marker[i] = QLatin1Char('\t');
    }
    raise(parseError,
          QStringLiteral("%1:%2: error: %3\n  %4\n  %5")
              .arg(line)
              .arg(column)
              .arg(message, faulty, marker + QLatin1Char('^') + QString(width - 1, QLatin1Char('~'))),
          attributes);
}

void raiseMessageError(const QString& message)
{
    raise(messageError, message, py::dict());
}

void raiseFrameError(const QString& message)
{
    raise(frameError, message, py::dict());
}

void raiseValueError(const QString& message)
{
    PyErr_SetString(PyExc_ValueError, message.toUtf8().constData());
    throw py::error_already_set();
}

void raiseTypeError(const QString& message)
{
    PyErr_SetString(PyExc_TypeError, message.toUtf8().constData());
    throw py::error_already_set();
}

} // namespace korvpy
