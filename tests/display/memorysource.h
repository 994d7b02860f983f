#pragma once

#include "display/records/plotsource.h"

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
    /// Something else changed than samples.
    void touch() { ++m_revision; }
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
    static bool earlier(const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; }

    mutable std::atomic<int> reads{0};
    mutable std::atomic<int> samplesRead{0};
    mutable std::atomic<int> failures{0};
    std::atomic<bool> hideCounts{false};

private:
    mutable QMutex m_lock; // guards the rest
    QMap<quintptr, QVector<SamplePoint>> m_stretches;
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
