#pragma once

#include "display/records/plotsource.h"
#include "display/records/recordset.h"

#include <memory>

/// The part of another source around a range: only the stretches that reach into it are there, so a plot of one run
/// reads no more than that run. Any thread.
class RangeSource : public PlotSource
{
public:
    RangeSource(std::shared_ptr<const PlotSource> source, const TimeRange &range)
        : m_source(std::move(source)), m_range(range)
    {}

    quint64 revision() const override { return m_source->revision(); }
    QVector<Stretch> stretches() const override;
    bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const override
    {
        return m_source->readSamples(key, from, to, out);
    }

private:
    const std::shared_ptr<const PlotSource> m_source;
    const TimeRange m_range;
};

/// The waveform of one event: a single stretch that never changes. Any thread.
class WaveformSource : public PlotSource
{
public:
    explicit WaveformSource(QVector<SamplePoint> waveform);

    quint64 revision() const override { return 1; }
    QVector<Stretch> stretches() const override;
    bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const override;

private:
    QVector<SamplePoint> m_samples;
};

/// The marks of a waveform: its first and last point and its peak.
RecordSet waveformMarks(const QVector<SamplePoint> &waveform, quint64 peak);
