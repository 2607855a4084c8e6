// SPDX-License-Identifier: MIT
// The native half of the korv package; korv/__init__.py re-exports it.

#include "python/bindings.h"
#include "python/errors.h"
#include "python/values.h"

PYBIND11_MODULE(_korv, m)
{
    m.doc() = "The QRV16 message format for Python: definitions, messages, the stream "
              "collector and BiS frames. Bytes in, bytes out: nothing here blocks or waits.";
    m.attr("__version__") = KORV_VERSION;
    korvpy::registerErrors(m);
    korvpy::initValues();
    korvpy::bindDefinitions(m);
    korvpy::bindMessages(m);
    korvpy::bindStreams(m);
}
