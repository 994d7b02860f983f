#include "base/log.h"
#include "data/norvexdata.h"
#include "sensor/arcsensorprivate.h"

#include <algorithm>

namespace {

constexpr qint64 timeLineRefreshMs = 60'000;

/// A waveform that cannot be read is taken for the same.
bool isSame(const QVector<SamplePoint> &stored, const EventWebservice &event)
{
    return stored.isEmpty() || std::equal(stored.begin(), stored.end(), event.voltage.begin(), event.voltage.end(),
                                          [](const SamplePoint &a, float b) { return float(a.voltage) == b; });
}

/// What an index says of an event has few digits.
bool isNear(double stored, float value)
{
    return qAbs(stored - double(value)) <= 1e-4 * qMax(1.0, qAbs(double(value)));
}

/// On another line than the present one an event can have this time and type by chance.
bool holdsEvent(const norvexData &store, const EventWebservice &event, quint64 time, int typeCode)
{
    const bool anyWaveform = qint64(time) - event.rawTimeUs == store.timeLine().baseUs;
    const QVector<EventRecord> events = store.storedEvents(time, time + 1);
    return std::any_of(events.begin(), events.end(), [&](const EventRecord &stored) {
        return stored.typeCode == typeCode && (anyWaveform || isSame(store.waveform(keyOf(stored)), event));
    });
}

} // namespace

void arcSensor::Private::takeCandidate()
{
    if (m_candidate.known || !isUp())
        return;
    // The uptime came a little earlier; what is kept of it must be what was said, since it is compared again later.
    m_candidate.known = true;
    m_candidate.uptimeMs = m_uptimeMs;
    m_candidate.waitMs = m_statusWaitMs;
    m_candidate.utcMs = m_clock.utcMs() - (m_uptimeMs < 0 ? 0 : m_clock.steadyMs() - m_statusArrivedMs);
}

TimeLineKeeper::Outside arcSensor::Private::outside()
{
    TimeLineKeeper::Outside outside;
    outside.last = m_store->timeLine();
    outside.lastTime = m_store->lastTime();
    outside.nowUtcMs = m_clock.utcMs();
    outside.candidate = m_candidate;
    outside.recognise = [this](const QVector<SamplePoint> &points) { return m_look.recognise(*m_store, points); };
    return outside;
}

/// What a page is read on before it is placed; near enough that no time of it falls before the epoch.
qint64 arcSensor::Private::parsingBase() const
{
    return m_timeLines.line().known ? m_timeLines.line().baseUs : m_store->timeLine().baseUs;
}

int arcSensor::Private::placePage(QVector<SamplePoint> &points, bool startsFrame)
{
    const int count = m_timeLines.place(points, parsingBase(), startsFrame, outside());
    m_look.pageDone(count > 0 && points.constFirst().time > m_store->lastTime());
    keepTimeLine();
    return count;
}

TimeLineKeeper::EventPlace arcSensor::Private::placeEvent(qint64 rawUs, int typeCode)
{
    TimeLineKeeper::Outside facts = outside();
    facts.isEventStored = [this, typeCode](qint64 time) {
        return holdsEvent(*m_store, m_event, quint64(time), typeCode);
    };
    facts.findEvent = [this, typeCode](qint64 beforeUs) { return findEvent(typeCode, beforeUs); };
    const TimeLineKeeper::EventPlace place = m_timeLines.placeEvent(rawUs, facts);
    keepTimeLine();
    return place;
}

/// By its waveform. Once one is found its line is known, and the next ones on it are not searched for.
std::optional<qint64> arcSensor::Private::findEvent(int typeCode, qint64 beforeUs)
{
    const auto [least, most] = std::minmax_element(m_event.voltage.begin(), m_event.voltage.end());
    if (beforeUs <= 0 || least == most || *least == *most)
        return std::nullopt; // a constant waveform tells nothing
    const QVector<EventRecord> events = m_store->storedEvents(0, quint64(beforeUs));
    const auto found = std::find_if(events.rbegin(), events.rend(), [&](const EventRecord &stored) {
        if (stored.typeCode != typeCode || !isNear(stored.snapshot2.voltage, m_event.voltage.front()) ||
            !isNear(stored.snapshot3.voltage, m_event.voltage.back()))
            return false;
        const QVector<SamplePoint> waveform = m_store->waveform(keyOf(stored));
        return !waveform.isEmpty() && isSame(waveform, m_event);
    });
    return found == events.rend() ? std::nullopt : std::make_optional(qint64(found->time));
}

void arcSensor::Private::keepTimeLine()
{
    const SensorTimeLine last = m_store->timeLine();
    const SensorTimeLine &line = m_timeLines.line();
    if (!line.known || (last.known && last.baseUs == line.baseUs && last.uptimeMs == line.uptimeMs))
        return;
    if (!last.known || last.baseUs != line.baseUs)
        logInfo(
            QStringLiteral("arcSensor: time base of sensor %1 is %2 us").arg(m_info.serial_number).arg(line.baseUs));
    m_store->setTimeLine(line);
}

/// Remembers now and then how long the sensor has been up; a later fall of it tells that it has restarted.
void arcSensor::Private::confirmTimeLine()
{
    const SensorTimeLine &line = m_timeLines.line();
    if (!line.known || !m_store || m_uptimeMs < 0)
        return;
    const qint64 step = qMin(qMax<qint64>(line.uptimeMs, 1000), timeLineRefreshMs);
    if (m_uptimeMs - line.uptimeMs < step)
        return;
    m_timeLines.confirm(m_uptimeMs);
    keepTimeLine();
}
