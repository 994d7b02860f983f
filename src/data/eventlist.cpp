#include "data/eventlist.h"

#include <algorithm>

bool EventList::add(std::shared_ptr<const EventRecord> record)
{
    Entry entry{summaryOf(*record), nullptr};
    entry.record = std::move(record);
    return insert(std::move(entry));
}

bool EventList::addStored(const EventSummary &summary)
{
    return insert({summary, nullptr});
}

int EventList::addStored(const std::vector<EventSummary> &summaries)
{
    int refused = 0;
    m_positions.reserve(size() + static_cast<int>(summaries.size()));
    for (const EventSummary &summary : summaries)
        refused += append({summary, nullptr}) ? 0 : 1;
    for (QVector<ByTime> *order : {&m_events, &m_runs}) {
        if (!std::is_sorted(order->cbegin(), order->cend(), isEarlier))
            std::stable_sort(order->begin(), order->end(), isEarlier);
    }
    return refused;
}

bool EventList::insert(Entry entry)
{
    QVector<ByTime> &order = entry.summary.isRun() ? m_runs : m_events;
    if (!append(std::move(entry)))
        return false;
    const auto last = order.end() - 1;
    std::rotate(std::upper_bound(order.begin(), last, *last, isEarlier), last, order.end());
    return true;
}

/// Behind all others, wherever its time belongs.
bool EventList::append(Entry entry)
{
    const EventKey key = keyOf(entry.summary);
    if (m_positions.contains(key))
        return false;
    const ByTime place{key.time, size()};
    (entry.summary.isRun() ? m_runs : m_events).append(place);
    m_positions.insert(key, place.position);
    m_unsaved += entry.record ? 1 : 0;
    m_highestFileNumber = std::max(m_highestFileNumber, entry.summary.fileNumber);
    m_entries.push_back(std::move(entry));
    return true;
}

void EventList::markSaved(int position, const QString &fileName)
{
    Entry &entry = m_entries[static_cast<std::size_t>(position)];
    entry.summary.setFileName(fileName);
    m_highestFileNumber = std::max(m_highestFileNumber, entry.summary.fileNumber);
    if (!entry.record)
        return;
    entry.record.reset();
    --m_unsaved;
    while (m_firstUnsaved < size() && !at(m_firstUnsaved).record)
        ++m_firstUnsaved;
}

QVector<int> EventList::eventsInRange(quint64 from, quint64 to) const
{
    const auto earlier = [](const ByTime &place, quint64 time) { return place.time < time; };
    QVector<int> positions;
    const auto end = std::lower_bound(m_events.begin(), m_events.end(), to, earlier);
    for (auto it = std::lower_bound(m_events.begin(), m_events.end(), from, earlier); it < end; ++it)
        positions.append(it->position);
    return positions;
}

QVector<int> EventList::runsInRange(quint64 from, quint64 to) const
{
    QVector<int> positions;
    for (const ByTime &place : m_runs) {
        if (place.time >= to)
            break;
        if (at(place.position).summary.endTime() >= from)
            positions.append(place.position);
    }
    return positions;
}

QVector<EventList::Unsaved> EventList::unsaved() const
{
    QVector<Unsaved> list;
    for (int i = m_firstUnsaved; i < size() && list.size() < m_unsaved; ++i) {
        if (at(i).record)
            list.append({i, at(i).record});
    }
    return list;
}
