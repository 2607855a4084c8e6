// SPDX-License-Identifier: MIT
#pragma once

// The parts of the korv module, each adding its classes to it.

#include <pybind11/pybind11.h>

namespace korvpy {

namespace py = pybind11;

void bindDefinitions(py::module_& m);
void bindMessages(py::module_& m);
void bindStreams(py::module_& m);

} // namespace korvpy
