#pragma once

#include <QtGlobal>

#include <vector>

/// The times of consecutive samples, four bytes each, with what a drawing needs to know of them: where a time lies, and
/// the usual step there, so that a gap can be told from slow sampling. The companion of MinMaxPyramid and released
/// together with it; a released one answers by whole buckets. A plain value, no locks.
class SampleTimes
{
public:
    /// False, and nothing is taken, for a time that is not later than the last one or after a release.
    bool append(quint64 time);

    int count() const { return m_count; }
    quint64 first() const { return m_base; }
    quint64 last() const { return m_last; }
    /// The time of a sample; when released, of the first sample of its bucket (the last sample is always exact).
    quint64 at(int index) const;
    /// Released: the time of the last sample of the bucket; else at(index).
    quint64 endAt(int index) const;
    /// The first sample at or after `time`, searched from `begin`; count() when there is none. Released: the first of
    /// the bucket that begins at or after it.
    int lowerBound(quint64 time, int begin = 0) const;

    /// Median of the steps between the samples around `index`, 0 when there are too few to tell.
    quint64 usualStep(int index) const;
    /// A longer step than this is a gap in the data.
    static quint64 gapLimit(quint64 usualStep) { return usualStep * 3; }

    bool hasSamples() const { return m_hasSamples; }
    void releaseSamples();
    void squeeze();
    qint64 memory() const;

private:
    static constexpr int stretch = 256; // samples that share a median

    quint64 rawAt(int index) const
    {
        return m_base + (m_wide.empty() ? m_offsets[std::size_t(index)] : m_wide[std::size_t(index)]);
    }
    quint64 medianOf(int begin, int end) const;

    quint64 m_base = 0;
    quint64 m_last = 0;
    int m_count = 0;
    bool m_hasSamples = true;
    std::vector<quint32> m_offsets;     // from m_base, while they fit
    std::vector<quint64> m_wide;        // else
    std::vector<quint64> m_medians;     // of complete stretches; after a release of all
    std::vector<quint64> m_bucketFirst; // after a release
    std::vector<quint64> m_bucketLast;
};
