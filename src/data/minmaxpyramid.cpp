#include "data/minmaxpyramid.h"

#include <cmath>

namespace {

template <typename Entry>
ValueRange rangeOf(const std::vector<Entry> &entries, int begin, int end)
{
    ValueRange result;
    for (int i = begin; i < end; ++i)
        result.add(entries[std::size_t(i)]);
    return result;
}

/// Takes the unaligned ends of [begin, end) from `entries` and leaves the aligned middle.
template <typename Entry>
void takeEnds(const std::vector<Entry> &entries, int &begin, int &end, ValueRange &result)
{
    constexpr int fanOut = MinMaxPyramid::fanOut;
    while (begin < end && begin % fanOut)
        result.add(entries[std::size_t(begin++)]);
    while (begin < end && end % fanOut)
        result.add(entries[std::size_t(--end)]);
}

} // namespace

void MinMaxPyramid::append(double value)
{
    if (!m_hasValues)
        return;
    const auto narrow = float(value);
    m_values.push_back(std::isfinite(narrow) ? narrow : std::numeric_limits<float>::quiet_NaN());
    if (++m_count % fanOut == 0)
        closeBucket(0);
}

void MinMaxPyramid::closeBucket(std::size_t level)
{
    if (level == m_levels.size())
        m_levels.emplace_back();
    std::vector<ValueRange> &buckets = m_levels[level];
    const int index = int(buckets.size()) * fanOut;
    buckets.push_back(level == 0 ? rangeOf(m_values, index, index + fanOut)
                                 : rangeOf(m_levels[level - 1], index, index + fanOut));
    if (buckets.size() % fanOut == 0)
        closeBucket(level + 1);
}

ValueRange MinMaxPyramid::range(int begin, int end) const
{
    ValueRange result;
    begin = begin < 0 ? 0 : begin;
    end = end > m_count ? m_count : end;
    if (m_hasValues) {
        takeEnds(m_values, begin, end, result);
        begin /= fanOut;
        end /= fanOut;
    } else {
        begin = (begin + fanOut - 1) / fanOut;
        end = (end + fanOut - 1) / fanOut;
    }
    for (const auto &buckets : m_levels) {
        if (begin >= end)
            break;
        takeEnds(buckets, begin, end, result);
        begin /= fanOut;
        end /= fanOut;
    }
    return result;
}

float MinMaxPyramid::value(int index) const
{
    return m_hasValues && index >= 0 && index < m_count ? m_values[std::size_t(index)]
                                                        : std::numeric_limits<float>::quiet_NaN();
}

void MinMaxPyramid::releaseValues()
{
    if (!m_hasValues)
        return;
    if (m_count % fanOut) {
        if (m_levels.empty())
            m_levels.emplace_back();
        m_levels[0].push_back(rangeOf(m_values, m_count - m_count % fanOut, m_count));
    }
    m_hasValues = false;
    m_values = {};
    squeeze();
}

void MinMaxPyramid::squeeze()
{
    m_values.shrink_to_fit();
    m_levels.shrink_to_fit();
    for (auto &buckets : m_levels)
        buckets.shrink_to_fit();
}

qint64 MinMaxPyramid::memory() const
{
    std::size_t bytes = sizeof(*this) + m_values.capacity() * sizeof(float);
    for (const auto &buckets : m_levels)
        bytes += sizeof(buckets) + buckets.capacity() * sizeof(ValueRange);
    return qint64(bytes);
}
