#pragma once

#include "data/eventsummary.h"

#include <QHash>
#include <QVector>

#include <memory>
#include <utility>
#include <vector>

/// The events of one sensor in detection order, with a way to them by time and by key. An event that has no file yet is
/// held whole, every other one as its summary. Grows only; positions stay. Not thread-safe: its store guards it.
class EventList
{
public:
    struct Entry
    {
        EventSummary summary;
        std::shared_ptr<const EventRecord> record; // until its file is written
    };
    using Unsaved = std::pair<int, std::shared_ptr<const EventRecord>>;

    /// False, and nothing added, for an event whose time and type are held already.
    bool add(std::shared_ptr<const EventRecord> record);
    bool addStored(const EventSummary &summary);
    /// Many at once, in whatever order of time. Returns how many were held already.
    int addStored(const std::vector<EventSummary> &summaries);
    /// The event's file is written: the record leaves memory.
    void markSaved(int position, const QString &fileName);

    int size() const { return static_cast<int>(m_entries.size()); }
    int runCount() const { return m_runs.size(); }
    int eventCount() const { return size() - runCount(); }
    const Entry &at(int position) const { return m_entries[static_cast<std::size_t>(position)]; }
    int find(const EventKey &key) const { return m_positions.value(key, -1); }

    /// By time, runs excluded.
    QVector<int> eventsInRange(quint64 from, quint64 to) const;
    /// Runs that overlap from <= t < to, by start.
    QVector<int> runsInRange(quint64 from, quint64 to) const;
    QVector<Unsaved> unsaved() const;
    bool hasUnsaved() const { return m_unsaved > 0; }
    qint32 highestFileNumber() const { return m_highestFileNumber; }

private:
    struct ByTime
    {
        quint64 time;
        int position;
    };
    static bool isEarlier(const ByTime &a, const ByTime &b) { return a.time < b.time; }
    bool insert(Entry entry);
    bool append(Entry entry);

    std::vector<Entry> m_entries;
    QHash<EventKey, int> m_positions;
    QVector<ByTime> m_events; // by time; events of the same time in detection order
    QVector<ByTime> m_runs;
    int m_firstUnsaved = 0; // every entry before it has its file
    int m_unsaved = 0;
    qint32 m_highestFileNumber = 0;
};
