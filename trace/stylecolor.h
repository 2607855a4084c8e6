// SPDX-License-Identifier: MIT
#pragma once

// The trace colours: every trace line names one of them. Channel 2's six
// colours follow channel 1's in the same order.
enum StyleColor : int {
    ColorNone = -1, // separators and the root: painted with no colour of their own
    ColorBackground = 0,
    ColorText,
    ColorError,
    ColorRawRx1,
    ColorRawTx1,
    ColorHexRx1,
    ColorHexTx1,
    ColorMessageRx1,
    ColorMessageTx1,
    ColorRawRx2,
    ColorRawTx2,
    ColorHexRx2,
    ColorHexTx2,
    ColorMessageRx2,
    ColorMessageTx2,
    StyleColorCount
};

// What a line's colour says of its direction: bytes or a message a channel
// received or sent; status lines have none.
enum LineDirection : int { NoDirection = 0, Received, Sent };

constexpr LineDirection colorDirection(StyleColor color)
{
    if (color < ColorRawRx1 || color > ColorMessageTx2)
        return NoDirection;
    // Each channel's colours alternate received, sent.
    return (color - ColorRawRx1) % 2 == 0 ? Received : Sent;
}

// The colour of channel `channel` (1 or 2) that corresponds to a channel-1 colour.
constexpr StyleColor channelColor(StyleColor channel1Color, int channel)
{
    return channel == 2 ? StyleColor(channel1Color + (ColorRawRx2 - ColorRawRx1)) : channel1Color;
}
