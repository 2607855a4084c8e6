// SPDX-License-Identifier: MIT
#pragma once

// The longest time the event loop's thread spent working between two ticks
// of a short timer. Counted in the thread's CPU time: a busy machine that
// preempts the test is not a stall of the code under test, a busy loop in
// it is.

#include <QObject>
#include <QTimer>

#include <ctime>

namespace korvtest {

class StallMeter : public QObject
{
public:
    explicit StallMeter(int intervalMs = 2)
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(intervalMs);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            const qint64 now = threadCpuMs();
            longest = qMax(longest, now - m_last);
            m_last = now;
            ++ticks;
        });
        m_last = threadCpuMs();
        m_timer.start();
    }

    void stop() { m_timer.stop(); }

    qint64 longest = 0;
    int ticks = 0;

private:
    static qint64 threadCpuMs()
    {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return qint64(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
    }

    QTimer m_timer;
    qint64 m_last = 0;
};

} // namespace korvtest
