// SPDX-License-Identifier: MIT
#pragma once

// Definitions shared by the text notation tests, read with the definition
// file reader from an inline document.

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <QtTest>

#include <memory>

inline const char* fixtureDefinitions()
{
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="Count" id="0x1001"/>
  <tag name="Mode" id="0x1002" display="4x">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="On" id="1"/>
      <enum id="2"/>
      <enum name="Big" id="0xFFFFFFFF"/>
      <enum name="Minus" id="-2"/>
    </enums>
  </tag>
  <tag name="depth" id="0x1003"/>
  <tag name="Mask" id="0x1004" display="x"/>
  <tag name="Level" id="0x1005" display="4u"/>
  <tag name="Offset" id="0x1007" display="4d"/>
  <tag name="Perms" id="0x1008" display="o"/>
  <tag name="Pins" id="0x1009" display="8y"/>
  <tag name="Payload" id="0x0001"/>
  <tag name="Enabled" id="0x2001"/>
  <tag name="Name" id="0x3001"/>
  <tag name="Secret" id="0x3002" secure="true"/>
  <tag name="Day" id="0x4001"/>
  <tag name="Clock" id="0x5001"/>
  <tag name="Stamp" id="0x6001"/>
  <tag name="Flags" id="0x7001">
    <bits>
      <bit name="Ready" id="0"/>
      <bit name="Fault" id="3"/>
      <bit name="Top" id="63"/>
    </bits>
  </tag>
  <tag name="Raw" id="0x7002"/>
  <tag name="Host" id="0x9001"/>
  <tag name="Group" id="0xC001"/>
  <tag name="Query" id="0xD001"/>
  <tag name="Reply" id="0xE001"/>
  <tag name="Status" id="0xF001"/>
  <tag name="Origin" id="0x8001"/>
  <tag name="Area" id="0x8101"/>
  <tag name="Extent" id="0x8201"/>
  <tag name="BEEF" id="0x1006"/>
  <tag name="Count2" id="0x3005"/>
</qrv16>
)";
}

struct Fixture
{
    std::unique_ptr<QRV16::Item> root;
    std::unique_ptr<QRV16::TagDataLut> lut;

    Fixture()
    {
        QRV16::Parser parser;
        if (!parser.parse(QByteArray(fixtureDefinitions())))
            qFatal("fixture: %s", qPrintable(parser.formatError()));
        root.reset(parser.takeRoot());
        lut = std::make_unique<QRV16::TagDataLut>(root.get());
    }
};

inline QByteArray hexBytes(const QString& text)
{
    return QByteArray::fromHex(text.toLatin1());
}

inline QString spacedHex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}
