#pragma once

#include "base/clock.h"

#include <QElapsedTimer>

/// A clock that runs faster than the computer's, from the moment it is made.
class FastClock final : public Clock
{
public:
    explicit FastClock(double factor) : m_factor(factor), m_startUtcMs(systemClock().utcMs()) { m_timer.start(); }
    qint64 utcMs() const override { return m_startUtcMs + steadyMs(); }
    qint64 steadyMs() const override { return qint64(double(m_timer.nsecsElapsed()) / 1e6 * m_factor); }

private:
    const double m_factor;
    const qint64 m_startUtcMs;
    QElapsedTimer m_timer;
};
