#pragma once

#include "data/samplepoint.h"
#include "display/records/timerange.h"

#include <QVector>

/// What a plot reads of one sensor: its samples in stretches, the blocks of a store. stretches() and revision() are
/// cheap and are asked in the GUI thread; readSamples() may read files and is called from pool threads, several at a
/// time.
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

    /// The samples of a stretch with from <= time < to, in time order. Leaves in memory what was there before, no more.
    /// False when they cannot be read now.
    virtual bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const = 0;
};
