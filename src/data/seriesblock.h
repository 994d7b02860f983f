#pragma once

#include "data/pixelcolumns.h"
#include "data/sampletimes.h"

#include <QVector>

struct SamplePoint;

/// What a statistics readout needs of one quantity over a range.
struct SeriesStatistics
{
    int samples = 0;
    ValueRange values;
    double sum = 0;
    double sumOfSquares = 0; // of the deviation from `shift`
    double shift = 0;
    bool complete = true; // false: samples were released, sum and squares lack them

    double mean() const;
    double deviation() const;
    void merge(const SeriesStatistics &other);
};

/// The drawing side of a block of samples: its times and a pyramid for each quantity on display. It outlives the
/// block's stay in memory. About 4.6 bytes a sample and quantity, plus 4 for the times; a seventh of that after
/// releaseSamples(). A plain value without locks: built on a pool thread, then owned by one cache.
class SeriesBlock
{
public:
    explicit SeriesBlock(const QVector<int> &quantities = {});

    /// Takes samples in order of time; false at the first that is not later than the one before.
    bool append(const SamplePoint *samples, int count);

    int count() const { return m_times.count(); }
    quint64 first() const { return m_times.first(); }
    quint64 last() const { return m_times.last(); }
    bool hasQuantity(int quantity) const { return find(quantity) != nullptr; }
    void dropQuantity(int quantity);
    const SampleTimes &times() const { return m_times; }
    const MinMaxPyramid *pyramid(int quantity) const { return find(quantity); }

    /// Merges the samples of the grid's range into `columns`, which has the grid's width. When samples are released, a
    /// bucket of 16 samples belongs to the column of its first one.
    void columns(int quantity, const ColumnGrid &grid, PixelColumns &columns) const;
    /// The last sample before a time, or the first one at or after it, as a column of its own; empty when there is none or
    /// it is released.
    PixelColumn neighbour(int quantity, quint64 time, bool before) const;
    /// Whether the buckets are so long that released samples would show at this grid.
    bool needsSamples(const ColumnGrid &grid) const;
    /// The index of the sample nearest to a time, -1 when there is none or it is released.
    int nearest(quint64 time) const;
    ValueRange extremes(int quantity, quint64 from, quint64 to) const;
    SeriesStatistics statistics(int quantity, quint64 from, quint64 to) const;

    bool hasSamples() const { return m_times.hasSamples(); }
    void releaseSamples();
    void squeeze();
    qint64 memory() const;

private:
    struct Entry
    {
        int quantity;
        MinMaxPyramid pyramid;
    };
    const MinMaxPyramid *find(int quantity) const;
    PixelColumn column(const MinMaxPyramid &pyramid, int begin, int end) const;

    SampleTimes m_times;
    std::vector<Entry> m_entries;
};
