#pragma once

#include <QtGlobal>

#include <limits>
#include <vector>

/// Least and greatest of some values; empty (low > high) when there was none.
struct ValueRange
{
    float low = std::numeric_limits<float>::infinity();
    float high = -std::numeric_limits<float>::infinity();

    bool isEmpty() const { return !(low <= high); }
    void add(float value)
    {
        low = value < low ? value : low;
        high = value > high ? value : high;
    }
    void add(const ValueRange &other)
    {
        low = other.low < low ? other.low : low;
        high = other.high > high ? other.high : high;
    }
};

/// One quantity of consecutive samples, and above it levels of buckets with their least and greatest value: 16 samples
/// a bucket, then 256, 4096 and so on. Any range of samples is answered exactly from at most 30 entries a level.
///
/// Values are kept in single precision. Rounding keeps the order, so an extreme is exactly the rounded true extreme. A
/// value that is not finite counts as missing. The values themselves can be released to save memory; ranges are then
/// made of whole buckets, each belonging to where its first sample is. A plain value, no locks.
class MinMaxPyramid
{
public:
    static constexpr int fanOut = 16;

    /// Only while the values are held.
    void append(double value);
    int count() const { return m_count; }
    /// The extremes of samples begin <= i < end.
    ValueRange range(int begin, int end) const;
    /// One value, NaN when missing or released.
    float value(int index) const;

    bool hasValues() const { return m_hasValues; }
    void releaseValues();
    /// Gives back memory reserved for growth.
    void squeeze();
    qint64 memory() const;

private:
    void closeBucket(std::size_t level);

    std::vector<float> m_values;
    std::vector<std::vector<ValueRange>> m_levels; // complete buckets; after a release the last one may be partial
    int m_count = 0;
    bool m_hasValues = true;
};
