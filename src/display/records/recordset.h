#pragma once

#include "data/eventrecord.h"
#include "data/eventtypelist.h"
#include "display/records/timerange.h"
#include "events/eventtype.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>
#include <memory>

class PlotSource;
class TypeNumbers;
class norvexData;

/// A step of the recipe that a run followed.
struct RunStep
{
    QString name;
    TimeRange range;
};

/// A stored run or a stretch found by a search, with what happened in it.
struct RunRow
{
    RunRecord record;
    int number = 0;      // from 1, by start
    QVector<int> counts; // events that overlap it, by the number of their type

    int count(int type) const { return counts.value(type); }
};

/// A stored event reduced to what lists, charts and plots show.
struct EventRow
{
    quint64 time = 0;
    quint64 end = 0;
    quint64 peak = 0;      // of the largest deviation
    qint32 typeCode = 0;   // with the time, the key of the event
    qint32 own = 0;        // number of the name it has of its own
    qint32 type = 0;       // number of the name it is shown under
    qint32 run = -1;       // position among the runs; -1: outside all of them
    qint32 step = -1;      // of that run's recipe
    bool measured = false; // base and amplitude are known
    bool compared = false; // with the types of the user
    double base = 0;       // V, the first sample of the waveform
    double amplitude = 0;  // V, the largest deviation from it

    friend bool operator<(const EventRow &a, const EventRow &b)
    {
        return a.time != b.time ? a.time < b.time : a.typeCode < b.typeCode;
    }
};

/// The runs and events of one sensor by time, with the names they are shown under: what every list, chart and plot of
/// a session looks at. A value; once made it is shared between threads and never changed.
struct RecordSet
{
    QVector<RunRow> runs;
    QVector<EventRow> events;
    QStringList typeNames = eventtype::names(); // by number
    QVector<eventType> userTypes;               // that the events are compared with, in this order
    int compared = 0;                           // how many events have been

    const QString &nameOf(const EventRow &event) const { return typeNames.at(event.type); }
    /// How many events there are of each type, and how many runs.
    QVector<int> counts() const;
    /// Numbers the runs, finds the run and step of every event, and counts the events of every run as exports do.
    void link();
    /// Position of the run with this start, of the event with this key; -1 when there is none.
    int findRun(quint64 start) const;
    int findEvent(quint64 time, qint32 typeCode) const;
    /// The first event at or after a time.
    int firstEvent(quint64 time) const;
};

/// The steps by their nominal durations, from the first sample with RF on to the end of the run.
QVector<RunStep> stepsOf(const RunRecord &run);
/// Its own name, else "Step 3".
QString stepName(const RunRecord &run, int step);

/// How a store is read: what is known of it already, and under which names its events are shown.
struct RecordReading
{
    std::shared_ptr<TypeNumbers> numbers;         // none: of this reading alone
    std::shared_ptr<const RecordSet> known;       // is read on from; may be missing
    bool again = false;                           // what is known only spares comparing
    QVector<eventType> userTypes;                 // of the user, enabled; the first that matches names an event
    qint64 patienceMs = 24 * 3600 * qint64(1000); // for comparing; what is left goes by its own name meanwhile
};

/// Records that are at hand.
RecordSet recordsOf(const QVector<EventRecord> &events, const QVector<RunRecord> &runs);
/// What the store holds. May read many files: for pool threads.
RecordSet readRecords(const norvexData &store, const RecordReading &reading, const std::atomic<bool> &cancelled);

/// The events of `after` beyond those of `before`; false when one of these has gone or is shown under another name.
bool addedEvents(const RecordSet &before, const RecordSet &after, QVector<EventRow> &added);

/// Hands the samples of a range to `take` in pieces, by time; ends early when it says false. False when a piece could
/// not be read. Leaves in memory what was there before.
bool walkSamples(const PlotSource &source, const TimeRange &range,
                 const std::function<bool(const QVector<SamplePoint> &)> &take);
