// SPDX-License-Identifier: MIT
#pragma once

// The exceptions of the korv module: korv.Error (a ValueError) and its
// kinds, each raised with the position it is about as attributes.

#include <pybind11/pybind11.h>

#include <QString>

namespace korvpy {

namespace py = pybind11;

// Creates the exception types in the module; call once, first.
void registerErrors(py::module_& m);

// Raise the exception: they set the Python error and throw
// py::error_already_set, which pybind11 passes on to Python.
[[noreturn]] void raiseDefinitionsError(const QString& message, const QString& file, qint64 line, qint64 column);
[[noreturn]] void raiseParseError(const QString& message, const QString& text, int line, int column, int endLine,
                                  int endColumn);
[[noreturn]] void raiseMessageError(const QString& message);
[[noreturn]] void raiseFrameError(const QString& message);
[[noreturn]] void raiseValueError(const QString& message);
[[noreturn]] void raiseTypeError(const QString& message);

py::str toPy(const QString& text);
QString toQString(py::handle text);

} // namespace korvpy
