#pragma once

#include "data/samplepoint.h"

#include <array>

/// Field-wise sums of samples and their mean. Nothing overflows below four thousand million samples, whatever their
/// values; further ones are left out.
class SampleSums
{
public:
    void clear() { *this = SampleSums(); }
    void add(const SamplePoint &sample);
    void add(const SampleSums &other);
    quint32 count() const { return m_count; }
    /// Every field divided by the count, whole numbers towards zero; all zeros without a sample.
    SamplePoint mean() const;

private:
    void addTime(quint64 high, quint64 low);

    quint32 m_count = 0;
    quint64 m_timeHigh = 0; // the sum of times has 96 bits: times of today overflow 64 after 10,851 samples
    quint64 m_timeLow = 0;  // its lower 32
    std::array<double, 17> m_reals{};
    std::array<qint64, 13> m_integers{};
};
