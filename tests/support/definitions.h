// SPDX-License-Identifier: MIT
#pragma once

// The lookup table of a test's definitions: from a literal, or from the
// pump-station definitions in examples/. Definitions that do not read end
// the test program, since nothing after them would mean anything.

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <QtTest>

#include <memory>

// Three tags of a pump station: a request, a number and a string.
inline const char pumpDefinitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="GetStatus" id="0xD001"/>
  <tag name="PumpId" id="0x1001"/>
  <tag name="StationName" id="0x3001"/>
</qrv16>
)";

inline std::unique_ptr<QRV16::TagDataLut> tagsOf(QRV16::Parser& parser, bool ok)
{
    if (!ok)
        qFatal("%s", qPrintable(parser.formatError()));
    std::unique_ptr<QRV16::Item> root(parser.takeRoot());
    return std::make_unique<QRV16::TagDataLut>(root.get());
}

inline std::unique_ptr<QRV16::TagDataLut> tagsOf(const QByteArray& xml)
{
    QRV16::Parser parser;
    const bool ok = parser.parse(xml);
    return tagsOf(parser, ok);
}

inline std::unique_ptr<QRV16::TagDataLut> demoTags()
{
    QRV16::Parser parser;
    const bool ok = parser.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef"));
    return tagsOf(parser, ok);
}
