// SPDX-License-Identifier: MIT
// Definition files: any bytes end in a tree or a positioned error.

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <cstdint>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QRV16::Parser parser;
    if (parser.parse(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)))) {
        std::unique_ptr<QRV16::Item> root(parser.takeRoot());
        QRV16::TagDataLut lut(root.get());
    } else {
        parser.formatError();
    }
    return 0;
}
