#pragma once

#include "data/eventpositions.h"
#include "data/eventsummary.h"

#include <QVector>

#include <map>
#include <memory>
#include <utility>
#include <vector>

/// The events of one sensor in detection order, with a way to them by time and by key. An event that has no file yet is
/// held whole, every other one as its summary. Grows only; positions stay. Not thread-safe: its store guards it.
class EventList
{
public:
    using Record = std::shared_ptr<const EventRecord>;
    using Unsaved = std::pair<int, Record>;

    /// False, and nothing added, for an event whose time and type are held already.
    bool add(const Record &record);
    bool addStored(const EventSummary &summary);
    /// Many at once, in whatever order of time. Returns how many were held already.
    int addStored(std::vector<EventSummary> &&summaries);
    /// The event's file is written: the record leaves memory.
    void markSaved(int position, const QString &fileName);

    int size() const { return static_cast<int>(m_summaries.size()); }
    int runCount() const { return m_runs.size(); }
    int eventCount() const { return size() - runCount(); }
    const EventSummary &at(int position) const { return m_summaries[static_cast<std::size_t>(position)]; }
    /// The event itself while it has no file, else nullptr.
    Record recordAt(int position) const;
    int find(const EventKey &key) const { return m_positions.find(key); }

    /// By time, runs excluded.
    QVector<int> eventsInRange(quint64 from, quint64 to) const;
    /// Runs that overlap from <= t < to, by start.
    QVector<int> runsInRange(quint64 from, quint64 to) const;
    QVector<Unsaved> unsaved() const;
    bool hasUnsaved() const { return !m_records.empty(); }
    qint32 highestFileNumber() const { return m_highestFileNumber; }

private:
    struct ByTime
    {
        quint64 time;
        int position;
    };
    static bool isEarlier(const ByTime &a, const ByTime &b) { return a.time < b.time; }
    QVector<ByTime> &orderOf(const EventSummary &summary) { return summary.isRun() ? m_runs : m_events; }
    bool append(const EventSummary &summary);
    bool note(const EventSummary &summary, int position);

    std::vector<EventSummary> m_summaries;
    std::map<int, Record> m_records; // by position, until their files are written
    EventPositions m_positions;
    QVector<ByTime> m_events; // by time; events of the same time in detection order
    QVector<ByTime> m_runs;
    qint32 m_highestFileNumber = 0;
};
