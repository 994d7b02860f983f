#include "sensor/timebase.h"

#include <algorithm>

namespace timebase {
namespace {

constexpr qint64 arrivalJitterMs = 1500;
constexpr qint64 largestUptimeMs = 4'600'000'000'000'000;
constexpr qint64 largestRawUs = 4'600'000'000'000'000'000; // leaves room to add and subtract

} // namespace

qint64 usableUptimeMs(qint64 saidMs)
{
    return saidMs < 0 || saidMs > largestUptimeMs ? -1 : saidMs;
}

bool hasRestarted(const SensorTimeLine &last, const TimeBaseCandidate &candidate, qint64 newestRawUs)
{
    if (!last.known || candidate.uptimeMs < 0 || candidate.uptimeMs < last.uptimeMs)
        return true;
    // A base of epoch size belongs to times counted from the start, any other to times counted from the epoch.
    const bool countsFromStart = last.baseUs >= absoluteUs;
    if (countsFromStart == (newestRawUs >= absoluteUs))
        return true;
    if (!countsFromStart)
        return false;
    // A sensor that was off for a while can be past its old uptime again. It then started later than its base by at
    // least that uptime; half of it leaves room for clocks that drift. On a busy computer a reply can lie there for
    // seconds, which are no part of that.
    const qint64 startedMs = candidate.utcMs - candidate.waitMs - candidate.uptimeMs;
    return startedMs - last.baseUs / 1000 > std::max(last.uptimeMs / 2, arrivalJitterMs);
}

bool isBeforeStart(const TimeBaseCandidate &candidate, qint64 newestRawUs, qint64 nowUtcMs)
{
    const qint64 upMs = candidate.uptimeMs + candidate.waitMs + nowUtcMs - candidate.utcMs;
    return candidate.uptimeMs >= 0 && newestRawUs < absoluteUs && newestRawUs / 1000 - upMs > arrivalJitterMs;
}

SensorTimeLine settle(const SensorTimeLine &last, const TimeBaseCandidate &candidate, qint64 newestRawUs,
                      qint64 nowUtcMs)
{
    newestRawUs = std::clamp(newestRawUs, -largestRawUs, largestRawUs);
    const qint64 uptimeMs = std::max<qint64>(candidate.uptimeMs, 0);
    if (!hasRestarted(last, candidate, newestRawUs))
        return {true, last.baseUs, uptimeMs};
    const qint64 nowUs = nowUtcMs * 1000;
    qint64 base = 0;
    if (newestRawUs < absoluteUs)
        base = candidate.uptimeMs < 0 ? nowUs - newestRawUs : (candidate.utcMs - candidate.uptimeMs) * 1000;
    if (newestRawUs - nowUs > allowedLeadUs - base)
        base = nowUs - newestRawUs;
    return {true, base, uptimeMs};
}

} // namespace timebase
