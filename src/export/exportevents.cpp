#include "export/exportevents.h"

#include "data/abstractnorvexdata.h"
#include "data/eventtypelist.h"
#include "export/exportrequest.h"

#include <algorithm>
#include <limits>

namespace {

constexpr quint64 usPerMs = 1000;

/// The name under which an event is exported.
QString exportedType(const abstractNorvexData &data, const ExportRequest &request, const EventRecord &event)
{
    const EventKey key = keyOf(event);
    const bool isKnown = request.knownNames && request.knownNames->contains(key);
    const QString name = isKnown ? request.knownNames->value(key) : userTypeOf(data, request.userTypes, event);
    return name.isEmpty() ? eventtype::nameOf(event) : name;
}

bool isShown(const ExportRequest &request, const QString &type)
{
    return request.eventTypes.contains(type) ||
           (!eventtype::names().contains(type) && !request.disabledTypes.contains(type));
}

/// Events mostly come in order.
void sortTimes(QVector<quint64> &times)
{
    if (!std::is_sorted(times.constBegin(), times.constEnd()))
        std::sort(times.begin(), times.end());
}

int countOf(const QVector<quint64> &sorted, quint64 before)
{
    return static_cast<int>(std::lower_bound(sorted.begin(), sorted.end(), before) - sorted.begin());
}

} // namespace

QString userTypeOf(const abstractNorvexData &data, const QVector<eventType> &types, const EventRecord &event)
{
    const bool measured = event.snapshot1.time != 0 || event.snapshot2.time != 0;
    const double first = measured ? event.snapshot2.voltage : std::numeric_limits<double>::quiet_NaN();
    if (!eventtype::canMatch(types, first, event.snapshot1.voltage))
        return {};
    return eventtype::firstMatch(types, event.samples.isEmpty() ? data.waveform(keyOf(event)) : event.samples);
}

ExportRange wholeRecording(const abstractNorvexData &data)
{
    ExportRange whole{data.firstTime(), data.lastTime()};
    const QVector<EventRecord> events = data.eventsInRange(0, std::numeric_limits<quint64>::max());
    for (const EventRecord &event : events) {
        whole.from = whole.from == 0 ? event.time : qMin(whole.from, event.time);
        whole.to = qMax(whole.to, event.time);
    }
    return {whole.from / usPerMs * usPerMs, whole.to / usPerMs * usPerMs};
}

quint64 exportFetchEnd(const ExportRequest &request)
{
    if (!request.toIncluded)
        return request.to;
    const quint64 ms = request.to / usPerMs;
    return ms >= std::numeric_limits<quint64>::max() / usPerMs ? std::numeric_limits<quint64>::max()
                                                               : (ms + 1) * usPerMs;
}

ExportEvents::Overlaps::Overlaps(const QVector<EventRecord> &events)
{
    m_starts.reserve(events.size());
    m_ends.reserve(events.size());
    for (const EventRecord &event : events) {
        m_starts.append(event.time);
        m_ends.append(event.endTime());
    }
    sortTimes(m_starts);
    sortTimes(m_ends);
}

ExportEvents::Overlaps::Overlaps(QVector<quint64> starts, QVector<quint64> ends)
    : m_starts(std::move(starts)), m_ends(std::move(ends))
{
    sortTimes(m_starts);
    sortTimes(m_ends);
}

int ExportEvents::Overlaps::count(const RunRecord &run) const
{
    // What has ended before the run has also started before its end, as no event ends before it starts.
    const quint64 end = qMax(run.start, run.end);
    const int startedByEnd =
        static_cast<int>(std::upper_bound(m_starts.begin(), m_starts.end(), end) - m_starts.begin());
    return startedByEnd - countOf(m_ends, run.start);
}

ExportEvents::ExportEvents(const abstractNorvexData &data, const ExportRequest &request)
{
    for (const QString &type : request.eventTypes)
        m_byType.insert(type, {});
    QVector<EventRecord> events = data.eventsInRange(request.from, exportFetchEnd(request));
    for (EventRecord &event : events) {
        const QString type = exportedType(data, request, event);
        if (!isShown(request, type))
            continue;
        m_byType[type].append(std::move(event));
        ++m_count;
    }
}
