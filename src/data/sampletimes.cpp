#include "data/sampletimes.h"

#include "data/minmaxpyramid.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {
constexpr int fanOut = MinMaxPyramid::fanOut;
constexpr int fewestSteps = 4;
} // namespace

bool SampleTimes::append(quint64 time)
{
    if (!m_hasSamples || (m_count > 0 && time <= m_last))
        return false;
    if (m_count == 0)
        m_base = time;
    const quint64 offset = time - m_base;
    if (m_wide.empty() && offset > std::numeric_limits<quint32>::max()) {
        m_wide.assign(m_offsets.begin(), m_offsets.end());
        m_offsets = {};
    }
    if (m_wide.empty() && (m_count == 0 || !m_offsets.empty()))
        m_offsets.push_back(quint32(offset));
    else
        m_wide.push_back(offset);
    m_last = time;
    if (++m_count % stretch == 0)
        m_medians.push_back(medianOf(m_count - stretch, m_count));
    return true;
}

quint64 SampleTimes::medianOf(int begin, int end) const
{
    std::array<quint64, stretch> steps;
    const int from = std::max(begin, 1);
    const int number = std::min(end - from, stretch);
    if (number < fewestSteps)
        return 0;
    for (int i = 0; i < number; ++i)
        steps[std::size_t(i)] = rawAt(from + i) - rawAt(from + i - 1);
    const auto middle = steps.begin() + number / 2;
    std::nth_element(steps.begin(), middle, steps.begin() + number);
    return *middle;
}

quint64 SampleTimes::usualStep(int index) const
{
    const std::size_t own = std::size_t(std::max(index, 0) / stretch);
    if (own < m_medians.size())
        return m_medians[own];
    // The newest stretch grows: what came just before speaks for it, too.
    if (m_hasSamples && m_count >= fewestSteps)
        return medianOf(std::max(0, m_count - stretch), m_count);
    return m_medians.empty() ? 0 : m_medians.back();
}

quint64 SampleTimes::at(int index) const
{
    if (m_hasSamples)
        return rawAt(index);
    return index == m_count - 1 ? m_last : m_bucketFirst[std::size_t(index / fanOut)];
}

quint64 SampleTimes::endAt(int index) const
{
    return m_hasSamples ? rawAt(index) : m_bucketLast[std::size_t(index / fanOut)];
}

int SampleTimes::lowerBound(quint64 time, int begin) const
{
    if (m_count == 0 || time > m_last)
        return m_count;
    if (time <= m_base)
        return begin;
    if (!m_hasSamples) {
        const auto from = m_bucketFirst.begin() + std::min(begin, m_count - 1) / fanOut;
        const auto found = std::lower_bound(from, m_bucketFirst.end(), time);
        return std::min(m_count, std::max(begin, int(found - m_bucketFirst.begin()) * fanOut));
    }
    // The answer is usually near: double the stride first.
    int low = begin;
    int stride = fanOut;
    while (low + stride < m_count && rawAt(low + stride) < time) {
        low += stride;
        stride *= 2;
    }
    int high = std::min(low + stride, m_count);
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (rawAt(middle) < time)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

void SampleTimes::releaseSamples()
{
    if (!m_hasSamples)
        return;
    if (m_count % stretch)
        m_medians.push_back(usualStep(m_count - 1));
    for (int i = 0; i < m_count; i += fanOut) {
        m_bucketFirst.push_back(rawAt(i));
        m_bucketLast.push_back(rawAt(std::min(i + fanOut, m_count) - 1));
    }
    m_hasSamples = false;
    m_offsets = {};
    m_wide = {};
    squeeze();
}

void SampleTimes::squeeze()
{
    m_offsets.shrink_to_fit();
    m_wide.shrink_to_fit();
    m_medians.shrink_to_fit();
    m_bucketFirst.shrink_to_fit();
    m_bucketLast.shrink_to_fit();
}

qint64 SampleTimes::memory() const
{
    return qint64(sizeof(*this) + m_offsets.capacity() * sizeof(quint32) +
                  (m_wide.capacity() + m_medians.capacity() + m_bucketFirst.capacity() + m_bucketLast.capacity()) *
                      sizeof(quint64));
}
