// SPDX-License-Identifier: MIT
#include "automation/sequenceclock.h"

SequenceClock::SequenceClock(QObject* parent) : QObject(parent)
{
    m_elapsed.start();
    m_timer.setSingleShot(true);
    // Waits are measured; the default coarse timer may be 5 % late.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SequenceClock::timeout);
}

qint64 SequenceClock::now() const
{
    return m_elapsed.elapsed();
}

void SequenceClock::start(int ms)
{
    m_timer.start(ms);
}

void SequenceClock::stop()
{
    m_timer.stop();
}

int SequenceClock::remaining() const
{
    return m_timer.isActive() ? m_timer.remainingTime() : -1;
}
