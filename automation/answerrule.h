// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// One automatic answer: when a message received on `channel` matches the
// pattern `when`, send `answer` on that channel after `delay` ms, at most
// `limit` times (0: no limit). A rule with `every` > 0 has no pattern and
// sends its answer every `every` ms instead.
struct AnswerRule
{
    enum { AnyChannel = 0 };

    QString name;
    QString when;
    QString answer;
    int channel = AnyChannel;
    int delay = 0;
    int limit = 0;
    int every = 0;
    bool enabled = true;

    bool isPeriodic() const { return every > 0; }
    bool operator==(const AnswerRule& o) const
    {
        return name == o.name && when == o.when && answer == o.answer && channel == o.channel &&
               delay == o.delay && limit == o.limit && every == o.every && enabled == o.enabled;
    }
    bool operator!=(const AnswerRule& o) const { return !(*this == o); }
};
