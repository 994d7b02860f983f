#pragma once

#include "display/plotsource.h"

#include <memory>

/// The part of another source around a range: only the stretches that reach into it are there, so a plot of one run
/// reads no more than that run. Runs are those of the whole source, which keep their numbers. Any thread.
class RangeSource : public PlotSource
{
public:
    RangeSource(std::shared_ptr<const PlotSource> source, const TimeRange &range)
        : m_source(std::move(source)), m_range(range)
    {}

    quint64 revision() const override { return m_source->revision(); }
    QVector<Stretch> stretches() const override;
    int eventCount() const override { return m_source->eventCount(); }
    int runCount() const override { return m_source->runCount(); }
    bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const override
    {
        return m_source->readSamples(key, from, to, out);
    }
    QVector<EventRecord> events(const TimeRange &range) const override;
    QVector<RunRecord> runs(const TimeRange &range) const override { return m_source->runs(range); }

private:
    const std::shared_ptr<const PlotSource> m_source;
    const TimeRange m_range;
};

/// The waveform of one event: a single stretch that never changes. Its marks are its first and last point and its peak.
/// Any thread.
class WaveformSource : public PlotSource
{
public:
    WaveformSource(quint64 peak, QVector<SamplePoint> waveform);

    quint64 revision() const override { return 1; }
    QVector<Stretch> stretches() const override;
    int eventCount() const override { return m_snapshots.size(); }
    int runCount() const override { return 0; }
    bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const override;
    QVector<EventRecord> events(const TimeRange &range) const override;
    QVector<RunRecord> runs(const TimeRange &) const override { return {}; }

private:
    QVector<SamplePoint> m_samples;
    QVector<EventRecord> m_snapshots;
};
