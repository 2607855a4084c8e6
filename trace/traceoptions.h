// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>

// What the trace shows and how: the nine display options of the window's
// toggles. A value; the trace model, the channels and the plot each keep a
// copy and are handed a new one when a toggle changes.
class TraceOptions
{
public:
    enum Flag {
        AutoScroll,
        RelativeTime,
        HungarianNotation,
        TraceRaw,
        TraceMessageBytes,
        Decode,
        HideDuplicates,
        LinkChannels,
        Pause,
        FlagCount
    };

    // The options of a first start: auto scroll, decoding and linked
    // channels on, the rest off.
    constexpr TraceOptions() = default;

    constexpr bool test(Flag flag) const { return m_bits & bit(flag); }
    constexpr void set(Flag flag, bool on) { m_bits = on ? m_bits | bit(flag) : m_bits & ~bit(flag); }
    // A copy with one flag changed.
    constexpr TraceOptions with(Flag flag, bool on = true) const
    {
        TraceOptions changed = *this;
        changed.set(flag, on);
        return changed;
    }

    constexpr bool operator==(const TraceOptions& o) const { return m_bits == o.m_bits; }
    constexpr bool operator!=(const TraceOptions& o) const { return m_bits != o.m_bits; }

private:
    static constexpr unsigned bit(Flag flag) { return 1u << unsigned(flag); }

    unsigned m_bits = bit(AutoScroll) | bit(Decode) | bit(LinkChannels);
};

Q_DECLARE_METATYPE(TraceOptions)
