// SPDX-License-Identifier: MIT
#include "automation/sequencerunner.h"

#include "automation/messageport.h"

#include "qrv16/messageparser.h"

namespace {

// Unclaimed messages kept per port; a busy link must not grow memory.
constexpr size_t MaxArrived = 256;
// Messages named in a failed expect's result, not to flood the trace.
constexpr int MaxMisses = 2;

} // namespace

SequenceRunner::SequenceRunner(QObject* parent) : QObject(parent)
{
    connect(m_clock, &SequenceClock::timeout, this, &SequenceRunner::onTimer);
}

SequenceRunner::~SequenceRunner() = default;

void SequenceRunner::setClock(SequenceClock* clock)
{
    disconnect(m_clock, nullptr, this, nullptr);
    m_clock->stop();
    m_clock = clock ? clock : &m_ownClock;
    connect(m_clock, &SequenceClock::timeout, this, &SequenceRunner::onTimer);
}

void SequenceRunner::setPorts(MessagePort* one, MessagePort* two)
{
    MessagePort* ports[2] = {one, two};
    for (int i = 0; i < 2; ++i) {
        if (m_ports[i])
            disconnect(m_ports[i], nullptr, this, nullptr);
        m_ports[i] = ports[i];
        m_arrived[i].clear();
        if (ports[i]) {
            connect(ports[i], &MessagePort::received, this,
                    [this, i](const QRV16::Message& message) { onReceived(i, message); });
        }
    }
    m_checked = 0;
}

void SequenceRunner::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    // Patterns may hold on to the old table; steps keep their indexes.
    if (m_state != Idle)
        compile();
}

void SequenceRunner::start(const Sequence& sequence)
{
    if (m_state != Idle)
        finish(true);
    m_sequence = sequence;
    compile();
    m_summary = Summary();
    m_summary.name = sequence.name;
    m_index = 0;
    m_frames.clear();
    m_paused = 0;
    for (auto& arrived : m_arrived)
        arrived.clear();
    m_started = m_clock->now();
    m_phase = Advance;
    setState(Running);
    m_clock->start(0);
}

void SequenceRunner::compile()
{
    const QVector<SequenceStep>& steps = m_sequence.steps;
    const int count = steps.size();
    m_partner = QVector<int>(count, -1);
    m_patterns = QVector<QRV16::MessagePattern>(count);
    m_sends = QVector<QList<QRV16::Message>>(count);
    m_problems = QVector<QString>(count);
    QVector<int> open;
    for (int i = 0; i < count; ++i) {
        const SequenceStep& step = steps.at(i);
        switch (step.kind) {
        case SequenceStep::Repeat:
            open.append(i);
            break;
        case SequenceStep::End:
            if (!open.isEmpty()) {
                m_partner[i] = open.last();
                m_partner[open.takeLast()] = i;
            }
            break;
        case SequenceStep::Send:
            m_problems[i] = readSend(step, m_tags, &m_sends[i]);
            break;
        case SequenceStep::Expect:
            m_problems[i] = readExpect(step, m_tags, &m_patterns[i]);
            break;
        default:
            break;
        }
    }
    // A repeat left open runs to the end of the sequence.
    for (int i : open)
        m_partner[i] = count;
}

QString SequenceRunner::readSend(const SequenceStep& step, const QRV16::TagDataLut* tags,
                                 QList<QRV16::Message>* messages)
{
    if (step.text.trimmed().isEmpty())
        return tr("nothing to send");
    QRV16::MessageParser parser(tags);
    *messages = parser.parseList(step.text);
    if (!parser.hasError())
        return QString();
    return tr("%1 at column %2 of \"%3\"").arg(parser.errorMessage()).arg(parser.errorStart() + 1).arg(step.text);
}

QString SequenceRunner::readExpect(const SequenceStep& step, const QRV16::TagDataLut* tags,
                                   QRV16::MessagePattern* pattern)
{
    if (pattern->parse(step.text, tags))
        return QString();
    return tr("%1 at column %2 of \"%3\"")
        .arg(pattern->errorMessage())
        .arg(pattern->errorStart() + 1)
        .arg(step.text);
}

QString SequenceRunner::stepProblem(const SequenceStep& step, const QRV16::TagDataLut* tags)
{
    switch (step.kind) {
    case SequenceStep::Send: {
        QList<QRV16::Message> messages;
        return readSend(step, tags, &messages);
    }
    case SequenceStep::Expect: {
        QRV16::MessagePattern pattern;
        return readExpect(step, tags, &pattern);
    }
    default:
        return QString();
    }
}

void SequenceRunner::pause()
{
    if (m_state != Running)
        return;
    m_remaining = qMax(0, m_clock->remaining());
    m_clock->stop();
    m_pausedAt = m_clock->now();
    setState(Paused);
}

void SequenceRunner::resume()
{
    if (m_state != Paused)
        return;
    m_paused += m_clock->now() - m_pausedAt;
    setState(Running);
    // What arrived while paused may be what the expect waits for.
    if (m_phase == Expecting && scan())
        return;
    m_clock->start(m_remaining);
}

void SequenceRunner::stop()
{
    if (m_state != Idle)
        finish(true);
}

QString SequenceRunner::summaryText(const Summary& summary)
{
    QString text = tr("Sequence \"%1\": %2 steps, %3 passed, %4 failed, %5 ms")
                       .arg(summary.name)
                       .arg(summary.steps)
                       .arg(summary.passes)
                       .arg(summary.fails)
                       .arg(summary.durationMs);
    if (summary.errors > 0)
        text += summary.errors == 1 ? tr(", 1 error") : tr(", %1 errors").arg(summary.errors);
    if (summary.stopped)
        text += tr(", stopped");
    return text;
}

qint64 SequenceRunner::runTime() const
{
    const qint64 now = m_clock->now();
    const qint64 paused = m_state == Paused ? m_paused + now - m_pausedAt : m_paused;
    return now - m_started - paused;
}

void SequenceRunner::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    Q_EMIT stateChanged(state);
}

MessagePort* SequenceRunner::port(int channel, QString* error) const
{
    MessagePort* port = channel == 1 || channel == 2 ? m_ports[channel - 1].data() : nullptr;
    if (!port)
        *error = tr("there is no channel %1").arg(channel);
    else if (!port->isConnected())
        *error = tr("channel %1 is not connected").arg(channel);
    else
        return port;
    return nullptr;
}

QString SequenceRunner::describe(const QRV16::Message& message) const
{
    return message.toText(m_tags);
}

void SequenceRunner::onTimer()
{
    switch (m_phase) {
    case Advance:
        runStep();
        break;
    case Waiting:
        next();
        break;
    case Expecting:
        expectTimedOut();
        break;
    }
}

void SequenceRunner::next()
{
    ++m_index;
    m_phase = Advance;
    m_clock->start(0);
}

void SequenceRunner::closeRepeat()
{
    Frame& frame = m_frames.last();
    if (--frame.left > 0) {
        m_index = frame.repeat + 1;
    } else {
        m_index = m_partner.at(frame.repeat) + 1;
        m_frames.removeLast();
    }
    m_phase = Advance;
    m_clock->start(0);
}

void SequenceRunner::runStep()
{
    const int count = m_sequence.steps.size();
    if (m_index >= count) {
        // Repeats left open end with the sequence.
        if (!m_frames.isEmpty() && m_partner.at(m_frames.last().repeat) >= count)
            closeRepeat();
        else
            finish(false);
        return;
    }
    const SequenceStep& step = m_sequence.steps.at(m_index);
    Q_EMIT stepStarted(m_index);
    if (m_state != Running)
        return; // a slot paused or stopped the run
    m_stepStart = runTime();
    switch (step.kind) {
    case SequenceStep::Send: {
        ++m_summary.steps;
        if (!m_problems.at(m_index).isEmpty())
            return error(m_problems.at(m_index));
        QString problem;
        MessagePort* target = port(step.channel, &problem);
        if (!target)
            return error(problem);
        for (const QRV16::Message& message : m_sends.at(m_index))
            target->sendMessage(message, tr("Sent by sequence \"%1\", step %2").arg(m_sequence.name).arg(m_index + 1));
        next();
        break;
    }
    case SequenceStep::Wait:
        ++m_summary.steps;
        m_phase = Waiting;
        m_clock->start(step.ms);
        break;
    case SequenceStep::Expect:
        ++m_summary.steps;
        beginExpect();
        break;
    case SequenceStep::Repeat:
        if (step.times <= 0) {
            m_index = m_partner.at(m_index);
            next();
        } else {
            m_frames.append({m_index, step.times});
            next();
        }
        break;
    case SequenceStep::End:
        if (!m_frames.isEmpty() && m_frames.last().repeat == m_partner.at(m_index))
            closeRepeat();
        else
            next();
        break;
    case SequenceStep::Stop:
        ++m_summary.steps;
        finish(false);
        break;
    }
}

void SequenceRunner::error(const QString& text)
{
    ++m_summary.errors;
    const int step = m_index;
    m_phase = Advance;
    ++m_index;
    Q_EMIT message(tr("Sequence \"%1\", step %2: %3").arg(m_sequence.name).arg(step + 1).arg(text), step);
    proceed(!m_sequence.continueOnFail);
}

void SequenceRunner::proceed(bool endRun)
{
    // A slot may have stopped or paused the run while hearing of the step.
    if (m_state == Idle)
        return;
    if (endRun) {
        finish(false);
        return;
    }
    m_remaining = 0;
    if (m_state == Running)
        m_clock->start(0);
}

void SequenceRunner::beginExpect()
{
    const SequenceStep& step = m_sequence.steps.at(m_index);
    if (!m_problems.at(m_index).isEmpty())
        return error(m_problems.at(m_index));
    QString problem;
    if (!port(step.channel, &problem))
        return error(problem);
    m_phase = Expecting;
    m_checked = 0;
    m_misses.clear();
    m_missCount = 0;
    if (scan())
        return;
    m_clock->start(step.ms);
}

bool SequenceRunner::scan()
{
    std::deque<QRV16::Message>& arrived = m_arrived[m_sequence.steps.at(m_index).channel - 1];
    const QRV16::MessagePattern& pattern = m_patterns.at(m_index);
    for (; m_checked < arrived.size(); ++m_checked) {
        if (pattern.matches(arrived[m_checked])) {
            const QRV16::Message match = arrived[m_checked];
            arrived.erase(arrived.begin(), arrived.begin() + qsizetype(m_checked) + 1);
            pass(match);
            return true;
        }
        if (m_misses.size() < MaxMisses)
            m_misses.append(describe(arrived[m_checked]));
        ++m_missCount;
    }
    return false;
}

void SequenceRunner::pass(const QRV16::Message& message)
{
    m_clock->stop();
    ++m_summary.passes;
    const int step = m_index;
    // Past the expect before anyone hears of it: nothing may pass it twice.
    m_phase = Advance;
    ++m_index;
    // Copies: a slot may start another sequence.
    const QString pattern = m_sequence.steps.at(step).text;
    Q_EMIT expectFinished(step, true, pattern, describe(message), runTime() - m_stepStart);
    proceed(false);
}

void SequenceRunner::expectTimedOut()
{
    const int step = m_index;
    const SequenceStep expect = m_sequence.steps.at(step);
    m_arrived[expect.channel - 1].clear();
    QString arrived;
    if (m_missCount == 0) {
        arrived = tr("nothing within %1 ms").arg(expect.ms);
    } else {
        arrived = m_misses.join(QStringLiteral("; "));
        if (m_missCount > m_misses.size())
            arrived += tr(" and %1 more").arg(m_missCount - m_misses.size());
    }
    ++m_summary.fails;
    m_phase = Advance;
    ++m_index;
    Q_EMIT expectFinished(step, false, expect.text, arrived, runTime() - m_stepStart);
    proceed(!m_sequence.continueOnFail);
}

void SequenceRunner::finish(bool stopped)
{
    m_clock->stop();
    m_summary.stopped = stopped;
    m_summary.durationMs = runTime();
    m_frames.clear();
    setState(Idle);
    const Summary summary = m_summary;
    Q_EMIT finished(summary, summaryText(summary));
}

void SequenceRunner::onReceived(int port, const QRV16::Message& message)
{
    if (m_state == Idle)
        return;
    std::deque<QRV16::Message>& arrived = m_arrived[port];
    arrived.push_back(message);
    const bool mine = m_phase == Expecting && m_sequence.steps.at(m_index).channel - 1 == port;
    if (arrived.size() > MaxArrived) {
        arrived.pop_front();
        if (mine && m_checked > 0)
            --m_checked;
    }
    if (mine && m_state == Running)
        scan();
}
