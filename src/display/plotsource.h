#pragma once

#include "data/eventrecord.h"
#include "display/timerange.h"

#include <QVector>

/// What a plot reads of one sensor: its samples in stretches (the blocks of a store), its events and its runs.
/// stretches(), revision() and the counts are cheap and are asked in the GUI thread; the others may read files and are
/// called from pool threads, several at a time.
class PlotSource
{
public:
    struct Stretch
    {
        quintptr key = 0;  // the same for the life of the stretch
        quint64 first = 0; // true minimum and maximum of the times
        quint64 last = 0;
        int count = 0; // 0 while it is not known
    };

    virtual ~PlotSource() = default;

    /// Rises with every change of what is below.
    virtual quint64 revision() const = 0;
    virtual QVector<Stretch> stretches() const = 0;
    virtual int eventCount() const = 0;
    virtual int runCount() const = 0;

    /// The samples of a stretch with from <= time < to, in time order. Leaves in memory what was there before, no more.
    /// False when they cannot be read now.
    virtual bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const = 0;
    virtual QVector<EventRecord> events(const TimeRange &range) const = 0;
    virtual QVector<RunRecord> runs(const TimeRange &range) const = 0;
};
