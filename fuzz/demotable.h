// SPDX-License-Identifier: MIT
#pragma once

// The names of examples/demo.qrvdef, loaded once for the fuzzers.

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

inline const QRV16::TagDataLut* demoTable()
{
    static std::unique_ptr<QRV16::Item> root;
    static std::unique_ptr<QRV16::TagDataLut> lut;
    if (!lut) {
        QRV16::Parser parser;
        if (!parser.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef"))) {
            std::fprintf(stderr, "%s\n", qPrintable(parser.formatError()));
            std::abort();
        }
        root.reset(parser.takeRoot());
        lut = std::make_unique<QRV16::TagDataLut>(root.get());
    }
    return lut.get();
}
