// SPDX-License-Identifier: MIT
#pragma once

#include "automation/sequence.h"
#include "automation/sequenceclock.h"

#include "qrv16/message.h"
#include "qrv16/messagepattern.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVector>

#include <deque>

class MessagePort;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// Runs one sequence at a time over two message ports. Every step is taken
// from the event loop (waits and expects are timers), so a run never
// blocks its caller; results come as signals:
//   stepStarted      each step as it begins, also the repeat marks
//   expectFinished   each expect, passed or failed (one test case each)
//   message          a step that cannot run: a send text or pattern that
//                    does not parse, a port missing or not connected
//   finished         once per run, with its summary and summary line
// A failed expect or a step in error ends the run unless the sequence
// continues on failure. An expect takes the first matching message that
// arrived on its port since the previous expect there took one, so a
// reply that overtakes the step is still seen.
class SequenceRunner : public QObject
{
    Q_OBJECT

public:
    enum State { Idle, Running, Paused };
    Q_ENUM(State)

    struct Summary
    {
        QString name;    // the sequence's
        int steps = 0;   // sends, waits, expects and stops taken, repeats counted
        int passes = 0;  // expects passed
        int fails = 0;   // expects failed
        int errors = 0;  // steps that could not run
        qint64 durationMs = 0; // pauses not counted
        bool stopped = false;  // by stop(), before the end
        bool passed() const { return fails == 0 && errors == 0 && !stopped; }
    };

    explicit SequenceRunner(QObject* parent = nullptr);
    ~SequenceRunner() override;

    // Not owned; ports 1 and 2. A missing port is an error when a step names it.
    void setPorts(MessagePort* one, MessagePort* two);
    // Not owned; null for the runner's own. Set while idle.
    void setClock(SequenceClock* clock);
    // Used for send texts, patterns and the texts of messages in results.
    void setTags(const QRV16::TagDataLut* tags);
    // Why a send or expect step cannot run with these tables, empty when it can.
    static QString stepProblem(const SequenceStep& step, const QRV16::TagDataLut* tags);

    // Stops a run under way, then starts this one at the next event-loop turn.
    void start(const Sequence& sequence);
    void pause();
    void resume();
    void stop();

    State state() const { return m_state; }
    bool isRunning() const { return m_state != Idle; }
    const Sequence& sequence() const { return m_sequence; }
    // The step under way, -1 when idle.
    int currentStep() const { return m_state == Idle ? -1 : m_index; }

    // "Sequence "NAME": 12 steps, 4 passed, 1 failed, 2350 ms[, 1 error][, stopped]"
    static QString summaryText(const Summary& summary);

Q_SIGNALS:
    void stepStarted(int step);
    // `arrived`: for a failure, what arrived on the port instead, or
    // "nothing within N ms"; for a pass, the matching message.
    void expectFinished(int step, bool passed, const QString& pattern, const QString& arrived, qint64 elapsedMs);
    // `step`: the step that could not run.
    void message(const QString& text, int step);
    void stateChanged(SequenceRunner::State state);
    void finished(const SequenceRunner::Summary& summary, const QString& line);

private:
    static QString readSend(const SequenceStep& step, const QRV16::TagDataLut* tags, QList<QRV16::Message>* messages);
    static QString readExpect(const SequenceStep& step, const QRV16::TagDataLut* tags,
                              QRV16::MessagePattern* pattern);
    enum Phase { Advance, Waiting, Expecting };
    struct Frame
    {
        int repeat; // index of the Repeat mark
        int left;   // passes still to run, this one included
    };

    void compile();
    void onTimer();
    void runStep();
    void closeRepeat();
    void next();
    void error(const QString& text);
    void proceed(bool endRun);
    void beginExpect();
    bool scan();
    void pass(const QRV16::Message& message);
    void expectTimedOut();
    void finish(bool stopped);
    void setState(State state);
    void onReceived(int port, const QRV16::Message& message);
    MessagePort* port(int channel, QString* error) const;
    qint64 runTime() const;
    QString describe(const QRV16::Message& message) const;

    QPointer<MessagePort> m_ports[2];
    const QRV16::TagDataLut* m_tags = nullptr;

    Sequence m_sequence;
    QVector<int> m_partner; // Repeat -> its End (or the step count), End -> its Repeat or -1
    QVector<QRV16::MessagePattern> m_patterns;
    QVector<QList<QRV16::Message>> m_sends;
    QVector<QString> m_problems; // per step, why it cannot run

    State m_state = Idle;
    Phase m_phase = Advance;
    int m_index = 0;
    QVector<Frame> m_frames;
    SequenceClock m_ownClock;
    SequenceClock* m_clock = &m_ownClock;
    int m_remaining = 0; // of the timer, while paused
    Summary m_summary;

    qint64 m_started = 0;
    qint64 m_pausedAt = 0;
    qint64 m_paused = 0;
    qint64 m_stepStart = 0;

    // Received and not yet taken by an expect, per port; `m_checked` of
    // the expect's port have been tried by the expect under way.
    std::deque<QRV16::Message> m_arrived[2];
    size_t m_checked = 0;
    QStringList m_misses;
    int m_missCount = 0;
};
