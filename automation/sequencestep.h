// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// One step of a sequence. `Repeat` and `End` are the marks around steps
// run `times` times; the list stays flat so steps can be moved freely
// across the marks.
struct SequenceStep
{
    enum Kind { Send, Wait, Expect, Repeat, End, Stop };

    Kind kind = Send;
    int channel = 1;  // Send, Expect
    QString text;     // the message text to send, or the pattern to expect
    int ms = 0;       // Wait: how long; Expect: within how long
    int times = 1;    // Repeat

    static SequenceStep send(int channel, const QString& text);
    static SequenceStep wait(int ms);
    static SequenceStep expect(int channel, const QString& pattern, int within);
    static SequenceStep repeat(int times);
    static SequenceStep end();
    static SequenceStep stop();

    // One line for lists: "Send on 1: GetStatus", "Wait 100 ms", ...
    QString toText() const;

    bool operator==(const SequenceStep& o) const
    {
        return kind == o.kind && channel == o.channel && text == o.text && ms == o.ms && times == o.times;
    }
    bool operator!=(const SequenceStep& o) const { return !(*this == o); }
};
