#pragma once

#include "data/seriesblock.h"
#include "display/records/timerange.h"

#include <atomic>
#include <memory>

struct EventKey;
class norvexData;

/// Overlaid curves count time from their start or trigger; this moment stands for it, so that what lies before can be
/// told with the unsigned times of samples.
constexpr quint64 overlayOrigin = 1000000000000; // us

/// The samples of a stretch of a store, voltage and current, moved so that `start` lies at overlayOrigin. Read in
/// pieces, so that a long run is never in memory whole. nullptr when there is no sample, when they cannot be read or
/// when cancelled. Any thread.
std::shared_ptr<SeriesBlock> readRunSeries(const norvexData &store, const TimeRange &range,
                                           const std::atomic<bool> &cancelled);
/// The same of an event's waveform.
std::shared_ptr<SeriesBlock> readEventSeries(const norvexData &store, const EventKey &event);
