#pragma once

#include <QtGlobal>

/// Where "now" comes from. Passed by reference to whatever needs the time, so that tests move the clock instead of
/// sleeping. Implementations may be called from any thread.
class Clock
{
public:
    virtual ~Clock() = default;

    /// Milliseconds since the Unix epoch, UTC.
    virtual qint64 utcMs() const = 0;

    /// Milliseconds of a clock that never goes backwards; only differences mean anything.
    virtual qint64 steadyMs() const = 0;
};

/// The computer's own clocks.
const Clock &systemClock();
