#pragma once

#include "data/eventrecord.h"
#include "data/eventtypelist.h"
#include "display/timerange.h"

#include <QString>
#include <QVector>

#include <array>
#include <atomic>
#include <functional>

class PlotSource;
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
    int number = 0;                                    // from 1, by start
    std::array<int, eventtype::builtInCount> counts{}; // events by effective code

    int events() const;
};

/// A stored event reduced to what lists show.
struct EventRow
{
    quint64 time = 0;
    quint64 end = 0;
    quint64 peak = 0;     // of the largest deviation
    qint32 typeCode = 0;  // with the time, the key of the event
    qint32 code = 0;      // effective
    double base = 0;      // V, the first sample of the waveform
    double amplitude = 0; // V, the largest deviation from it
    int run = -1;         // position among the runs; -1: outside all of them
    int step = -1;        // of that run's recipe
    QString name;         // of a user-defined type

    QString typeName() const { return name.isEmpty() ? eventtype::name(code) : name; }
    friend bool operator<(const EventRow &a, const EventRow &b)
    {
        return a.time != b.time ? a.time < b.time : a.typeCode < b.typeCode;
    }
};

/// The runs and events of one sensor by time. A value; once made it is shared between threads and never changed.
struct RecordSet
{
    QVector<RunRow> runs;
    QVector<EventRow> events;

    /// Finds the run and step of every event, and counts the events of every run.
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

/// What the store holds, read on from `known` when that is given. May read many files: for pool threads.
RecordSet readRecords(const norvexData &store, const RecordSet *known, const std::atomic<bool> &cancelled);

/// Hands the samples of a range to `take` in pieces, by time; ends early when it says false. False when a piece could
/// not be read. Leaves in memory what was there before.
bool walkSamples(const PlotSource &source, const TimeRange &range,
                 const std::function<bool(const QVector<SamplePoint> &)> &take);
