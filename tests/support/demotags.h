// SPDX-License-Identifier: MIT
#pragma once

// The lookup table of the pump-station definitions in examples/.

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <QtTest>

#include <memory>

inline std::unique_ptr<QRV16::TagDataLut> demoTags()
{
    QRV16::Parser definitions;
    if (!definitions.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")))
        qFatal("%s", qPrintable(definitions.formatError()));
    std::unique_ptr<QRV16::Item> root(definitions.takeRoot());
    return std::make_unique<QRV16::TagDataLut>(root.get());
}
