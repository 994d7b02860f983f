#include "display/overlay/overlayseries.h"

#include "data/norvexdata.h"
#include "data/valuetype.h"

#include <algorithm>

namespace {

constexpr quint64 piece = 10000; // samples read at once, about

std::shared_ptr<SeriesBlock> newSeries()
{
    return std::make_shared<SeriesBlock>(QVector<int>{Voltage, Current});
}

/// Samples of one time are one; the rest has to be in order already.
void append(SeriesBlock &series, QVector<SamplePoint> &samples, quint64 start)
{
    for (SamplePoint &sample : samples) {
        sample.time = overlayOrigin + sample.time - start;
        series.append(&sample, 1);
    }
}

std::shared_ptr<SeriesBlock> finished(std::shared_ptr<SeriesBlock> series)
{
    if (series->count() == 0)
        return nullptr;
    series->squeeze();
    return series;
}

/// How long a stretch may be to hold about one piece.
quint64 pieceLength(const norvexData &store, const TimeRange &range)
{
    quint64 samples = 0;
    for (const auto &block : store.blocks()) {
        if (block->minimumTime() < range.to && block->maximumTime() >= range.from)
            samples += quint64(std::max(0, block->count()));
    }
    return std::max<quint64>(1, range.length() / (1 + samples / piece));
}

} // namespace

std::shared_ptr<SeriesBlock> readRunSeries(const norvexData &store, const TimeRange &range,
                                           const std::atomic<bool> &cancelled)
{
    auto series = newSeries();
    const quint64 length = pieceLength(store, range);
    QVector<SamplePoint> samples;
    for (quint64 from = range.from; from < range.to && !cancelled; from += length) {
        samples.clear();
        if (!store.samplesInRange(from, std::min(range.to, from + length), samples))
            return nullptr;
        append(*series, samples, range.from);
    }
    return cancelled ? nullptr : finished(std::move(series));
}

std::shared_ptr<SeriesBlock> readEventSeries(const norvexData &store, const EventKey &event)
{
    auto series = newSeries();
    QVector<SamplePoint> samples = store.waveform(event);
    if (!samples.isEmpty() && samples.first().time + overlayOrigin < event.time)
        return nullptr; // nothing to do with this event
    append(*series, samples, event.time);
    return finished(std::move(series));
}
