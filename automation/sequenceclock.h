// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

// The time a sequence run keeps: a monotonic count of milliseconds and the
// one timer the runner waits on, both the event loop's. A test hands the
// runner a clock it moves by hand, so that a wait of 100 ms measures
// exactly that however busy the machine is.
class SequenceClock : public QObject
{
    Q_OBJECT

public:
    explicit SequenceClock(QObject* parent = nullptr);

    virtual qint64 now() const;
    // timeout() once, `ms` from now (0: at the next event-loop turn);
    // replaces the one pending.
    virtual void start(int ms);
    virtual void stop();
    // Milliseconds until timeout(), -1 when none is pending.
    virtual int remaining() const;

Q_SIGNALS:
    void timeout();

private:
    QElapsedTimer m_elapsed;
    QTimer m_timer;
};
