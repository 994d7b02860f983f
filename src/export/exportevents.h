#pragma once

#include "data/eventrecord.h"

#include <QMap>
#include <QString>
#include <QVector>

struct ExportRequest;
struct eventType;
class abstractNorvexData;

/// A stretch of time that is offered for an export, us since the epoch.
struct ExportRange
{
    quint64 from = 0;
    quint64 to = 0;
};
/// From the first sample or event to the last, cut to the milliseconds that users choose and headers start with; an
/// event may be later than the newest sample. Both 0 while there is nothing.
ExportRange wholeRecording(const abstractNorvexData &data);

/// The first of the user's types that an event matches, empty when none does. Reads its waveform when the voltages in
/// the record leave it possible; the record does not keep it, many of them would fill the memory.
QString userTypeOf(const abstractNorvexData &data, const QVector<eventType> &types, const EventRecord &event);

/// The end of what is fetched: the request's, or the end of its millisecond for a request that includes it.
quint64 exportFetchEnd(const ExportRequest &request);

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
