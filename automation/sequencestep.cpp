// SPDX-License-Identifier: MIT
#include "automation/sequencestep.h"

#include <QCoreApplication>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("SequenceStep", text);
}

} // namespace

SequenceStep SequenceStep::send(int channel, const QString& text)
{
    SequenceStep step;
    step.kind = Send;
    step.channel = channel;
    step.text = text;
    return step;
}

SequenceStep SequenceStep::wait(int ms)
{
    SequenceStep step;
    step.kind = Wait;
    step.ms = ms;
    return step;
}

SequenceStep SequenceStep::expect(int channel, const QString& pattern, int within)
{
    SequenceStep step;
    step.kind = Expect;
    step.channel = channel;
    step.text = pattern;
    step.ms = within;
    return step;
}

SequenceStep SequenceStep::repeat(int times)
{
    SequenceStep step;
    step.kind = Repeat;
    step.times = times;
    return step;
}

SequenceStep SequenceStep::end()
{
    SequenceStep step;
    step.kind = End;
    return step;
}

SequenceStep SequenceStep::stop()
{
    SequenceStep step;
    step.kind = Stop;
    return step;
}

QString SequenceStep::toText() const
{
    switch (kind) {
    case Send:
        return tr("Send on %1: %2").arg(channel).arg(text);
    case Wait:
        return tr("Wait %1 ms").arg(ms);
    case Expect:
        return tr("Expect on %1 within %2 ms: %3").arg(channel).arg(ms).arg(text);
    case Repeat:
        return tr("Repeat %1 times").arg(times);
    case End:
        return tr("End of repeat");
    case Stop:
        return tr("Stop");
    }
    return QString();
}
