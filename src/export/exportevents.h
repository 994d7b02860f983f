#pragma once

#include "data/eventrecord.h"

#include <QMap>
#include <QString>
#include <QVector>

struct ExportRequest;
class abstractNorvexData;

/// The end of what is fetched: the request's, or just past the newest sample for one that includes it.
quint64 exportFetchEnd(const abstractNorvexData &data, const ExportRequest &request);

/// The events of one export. One list, restricted to what the event filter shows, serves the acceptance check, the
/// counters, the columns and the rows. A plain value; events that belong together keep their order in time.
class ExportEvents
{
public:
    /// The overlap of one type's events with runs, counted by binary search.
    class Overlaps
    {
    public:
        Overlaps() = default;
        explicit Overlaps(const QVector<EventRecord> &events);
        /// From the start and the end of each event, in any order.
        Overlaps(QVector<quint64> starts, QVector<quint64> ends);
        /// Events that start not after the run's end and end not before its start.
        int count(const RunRecord &run) const;

    private:
        QVector<quint64> m_starts; // sorted
        QVector<quint64> m_ends;   // sorted
    };

    ExportEvents() = default;
    ExportEvents(const abstractNorvexData &data, const ExportRequest &request);

    int count() const { return m_count; }
    /// By name in UTF-16 order; every name that the filter knows and shows is there, perhaps without events.
    const QMap<QString, QVector<EventRecord>> &byType() const { return m_byType; }

private:
    QMap<QString, QVector<EventRecord>> m_byType;
    int m_count = 0;
};
