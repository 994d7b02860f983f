#include "app/recordingrate.h"

namespace {
constexpr qint64 stepMs = 10000;
constexpr qint64 leastMs = 30000;
constexpr int mostSteps = 60;
constexpr double hourMs = 3600000;
} // namespace

void RecordingRate::note(qint64 ms, double bytes)
{
    if (ms < m_newest.ms || bytes < m_newest.bytes)
        m_seen.clear();
    m_newest = {ms, bytes};
    if (!m_seen.isEmpty() && ms - m_seen.last().ms < stepMs)
        return;
    m_seen.append(m_newest);
    if (m_seen.size() > mostSteps)
        m_seen.removeFirst();
}

double RecordingRate::bytesPerHour() const
{
    if (m_seen.isEmpty() || m_newest.ms - m_seen.first().ms < leastMs)
        return 0;
    return (m_newest.bytes - m_seen.first().bytes) / double(m_newest.ms - m_seen.first().ms) * hourMs;
}
