#pragma once

#include "display/plotsource.h"

#include <QMap>
#include <QMutex>

#include <algorithm>
#include <atomic>

/// A plot source in memory that a test fills, breaks and watches. readSamples() counts its calls.
class MemorySource : public PlotSource
{
public:
    /// Puts samples into the stretch with this key, in the order given.
    void add(quintptr key, const QVector<SamplePoint> &samples)
    {
        const QMutexLocker locker(&m_lock);
        QVector<SamplePoint> &stretch = m_stretches[key];
        if (stretch.isEmpty() && std::is_sorted(samples.begin(), samples.end(), earlier)) {
            stretch = samples;
            ++m_revision;
            return;
        }
        for (const SamplePoint &sample : samples)
            stretch.insert(std::upper_bound(stretch.begin(), stretch.end(), sample, earlier), sample);
        ++m_revision;
    }
    void addEvent(const EventRecord &event)
    {
        const QMutexLocker locker(&m_lock);
        m_events.append(event);
        ++m_revision;
    }
    void addRun(const RunRecord &run)
    {
        const QMutexLocker locker(&m_lock);
        m_runs.append(run);
        ++m_revision;
    }
    void removeAll()
    {
        const QMutexLocker locker(&m_lock);
        m_stretches.clear();
        ++m_revision;
    }

    quint64 revision() const override { return m_revision; }
    QVector<Stretch> stretches() const override
    {
        const QMutexLocker locker(&m_lock);
        QVector<Stretch> result;
        for (auto it = m_stretches.begin(); it != m_stretches.end(); ++it)
            result.append({it.key(), it->first().time, it->last().time, hideCounts ? 0 : it->size()});
        return result;
    }
    int eventCount() const override
    {
        const QMutexLocker locker(&m_lock);
        return m_events.size();
    }
    int runCount() const override
    {
        const QMutexLocker locker(&m_lock);
        return m_runs.size();
    }
    bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const override
    {
        ++reads;
        const QMutexLocker locker(&m_lock);
        if (failures > 0) {
            --failures;
            return false;
        }
        for (const SamplePoint &sample : m_stretches.value(key))
            if (sample.time >= from && sample.time < to)
                out.append(sample);
        samplesRead += out.size();
        return true;
    }
    QVector<EventRecord> events(const TimeRange &range) const override
    {
        ++eventReads;
        const QMutexLocker locker(&m_lock);
        QVector<EventRecord> result;
        std::copy_if(m_events.begin(), m_events.end(), std::back_inserter(result),
                     [range](const EventRecord &event) { return range.contains(event.time); });
        return result;
    }
    QVector<RunRecord> runs(const TimeRange &) const override
    {
        const QMutexLocker locker(&m_lock);
        return m_runs;
    }

    static bool earlier(const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; }

    mutable std::atomic<int> reads{0};
    mutable std::atomic<int> samplesRead{0};
    mutable std::atomic<int> eventReads{0};
    mutable std::atomic<int> failures{0};
    std::atomic<bool> hideCounts{false};

private:
    mutable QMutex m_lock; // guards the rest
    QMap<quintptr, QVector<SamplePoint>> m_stretches;
    QVector<EventRecord> m_events;
    QVector<RunRecord> m_runs;
    std::atomic<quint64> m_revision{1};
};

inline SamplePoint sampleAt(quint64 time, double voltage, double current = 1.0)
{
    SamplePoint sample;
    sample.time = time;
    sample.voltage = voltage;
    sample.currentReal = current;
    return sample;
}

inline QVector<SamplePoint> evenSamples(quint64 from, int count, quint64 step, double voltage = 100)
{
    QVector<SamplePoint> samples;
    samples.reserve(count);
    for (int i = 0; i < count; ++i)
        samples.append(sampleAt(from + quint64(i) * step, voltage + i % 7));
    return samples;
}
