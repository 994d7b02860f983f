#pragma once

#include "data/norvexdata.h"

#include <QtGlobal>

/// What a connection knows of its sensor's clock before the first sample: taken once per connect, when the sensor's
/// configuration has arrived or is known to be unavailable.
struct TimeBaseCandidate
{
    bool known = false;
    qint64 utcMs = 0;     // of the host, when the uptime was read
    qint64 uptimeMs = -1; // as the sensor said it, -1 when it did not
    qint64 waitMs = 0;    // from asking until it was read: it may be so much older
};

namespace timebase {

/// What a sensor says of its uptime as far as it can be reckoned with; -1, as of one that says nothing, for the rest.
qint64 usableUptimeMs(qint64 saidMs);

/// Sensor times at or past this are counted from the epoch already (the first second of 2000).
constexpr qint64 absoluteUs = 946'684'800'000'000;

/// What a sensor may be before our clock: its uptime came late to us.
constexpr qint64 allowedLeadUs = 5'000'000;

/// Whether the sensor has started anew since its time line was last confirmed. When that cannot be told it has: a page
/// that is stored twice is better than one that is taken for old.
bool hasRestarted(const SensorTimeLine &last, const TimeBaseCandidate &candidate, qint64 newestRawUs);

/// Whether a sensor that has been up as long as it says must have measured this before it started.
bool isBeforeStart(const TimeBaseCandidate &candidate, qint64 newestRawUs, qint64 nowUtcMs);

/// The time line of a connection, from the newest raw time of its first page or event. A sensor that kept running keeps
/// its base exactly, so that what is downloaded again gets the very same times.
SensorTimeLine settle(const SensorTimeLine &last, const TimeBaseCandidate &candidate, qint64 newestRawUs,
                      qint64 nowUtcMs);

} // namespace timebase
