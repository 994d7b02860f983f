#include "data/eventlist.h"

#include <algorithm>

bool EventList::add(const Record &record)
{
    if (!append(summaryOf(*record)))
        return false;
    m_records.emplace(size() - 1, record);
    return true;
}

bool EventList::addStored(const EventSummary &summary)
{
    return append(summary);
}

int EventList::addStored(std::vector<EventSummary> &&summaries)
{
    const std::size_t before = m_summaries.size();
    const std::size_t given = summaries.size();
    if (before == 0)
        m_summaries = std::move(summaries);
    else
        m_summaries.insert(m_summaries.end(), summaries.begin(), summaries.end());
    m_positions.reserve(m_summaries.size());
    m_events.reserve(static_cast<int>(m_summaries.size()));
    std::size_t kept = before;
    for (std::size_t i = before; i < m_summaries.size(); ++i) {
        if (!note(m_summaries[i], static_cast<int>(kept)))
            continue;
        if (kept != i)
            m_summaries[kept] = std::move(m_summaries[i]);
        ++kept;
    }
    m_summaries.resize(kept);
    for (QVector<ByTime> *order : {&m_events, &m_runs}) {
        if (!std::is_sorted(order->cbegin(), order->cend(), isEarlier))
            std::stable_sort(order->begin(), order->end(), isEarlier);
    }
    return static_cast<int>(before + given - kept);
}

bool EventList::append(const EventSummary &summary)
{
    if (!note(summary, size()))
        return false;
    m_summaries.push_back(summary);
    QVector<ByTime> &order = orderOf(summary);
    const auto last = order.end() - 1;
    std::rotate(std::upper_bound(order.begin(), last, *last, isEarlier), last, order.end());
    return true;
}

/// Puts the event's place behind all others in the order of times, wherever its time belongs. False for one that is
/// held already.
bool EventList::note(const EventSummary &summary, int position)
{
    if (!m_positions.insert(keyOf(summary), position))
        return false;
    orderOf(summary).append({summary.time, position});
    m_highestFileNumber = std::max(m_highestFileNumber, summary.fileNumber);
    return true;
}

EventList::Record EventList::recordAt(int position) const
{
    const auto found = m_records.find(position);
    return found == m_records.end() ? nullptr : found->second;
}

void EventList::markSaved(int position, const QString &fileName)
{
    EventSummary &summary = m_summaries[static_cast<std::size_t>(position)];
    summary.setFileName(fileName);
    m_highestFileNumber = std::max(m_highestFileNumber, summary.fileNumber);
    m_records.erase(position);
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
        if (at(place.position).endTime() >= from)
            positions.append(place.position);
    }
    return positions;
}

QVector<EventList::Unsaved> EventList::unsaved() const
{
    QVector<Unsaved> list;
    list.reserve(static_cast<int>(m_records.size()));
    for (const auto &record : m_records)
        list.append(record);
    return list;
}
