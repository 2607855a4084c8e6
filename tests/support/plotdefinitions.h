// SPDX-License-Identifier: MIT
#pragma once

// Definitions with an element of every type, some that can be plotted
// and some that cannot.

inline const char plotDefinitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="Reply" id="0xE001"/>
  <tag name="Inner" id="0xC001"/>
  <tag name="Temperature" id="0x1001"/>
  <tag name="PumpMode" id="0x1002">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="Auto" id="1"/>
      <enum name="Service" id="5"/>
    </enums>
  </tag>
  <tag name="Running" id="0x2001"/>
  <tag name="Name" id="0x3001"/>
  <tag name="Key" id="0x1003" secure="true"/>
  <tag name="Day" id="0x4001"/>
  <tag name="Clock" id="0x5001"/>
  <tag name="Stamp" id="0x6001"/>
  <tag name="Flags" id="0x7001">
    <bits>
      <bit name="Ready" id="0"/>
      <bit name="Fault" id="3"/>
    </bits>
  </tag>
  <tag name="Where" id="0x8001"/>
</qrv16>
)";
