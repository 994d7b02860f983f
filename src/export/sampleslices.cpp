#include "export/sampleslices.h"

#include "data/abstractnorvexdata.h"

#include <limits>

namespace {

constexpr quint64 firstSlice = 60ULL * 1000000;
constexpr quint64 largestSlice = 600ULL * 1000000;
constexpr int samplesPerSlice = 100000;
constexpr int readAttempts = 5; // each waits for a block's lock

quint64 saturatedSum(quint64 a, quint64 b)
{
    return a > std::numeric_limits<quint64>::max() - b ? std::numeric_limits<quint64>::max() : a + b;
}

} // namespace

SampleSlices::SampleSlices(const abstractNorvexData &data, quint64 from, quint64 to)
    : m_data(data), m_begin(qMax(from, data.firstTime())), m_end(qMin(to, saturatedSum(data.lastTime(), 1))),
      m_at(m_begin), m_width(firstSlice)
{}

bool SampleSlices::next()
{
    if (m_at >= m_end)
        return false;
    const quint64 to = qMin(saturatedSum(m_at, m_width), m_end);
    if (!read(to))
        m_isIncomplete = true;
    const quint64 next = m_samples.isEmpty() ? m_data.nextSampleTime(to) : to;
    if (next > to)
        m_width = firstSlice;
    else if (m_samples.isEmpty())
        m_width = saturatedSum(m_width, m_width); // a gap of unknown length
    else
        m_width = qMin(largestSlice, m_samples.size() > samplesPerSlice ? m_width / 2 + 1 : m_width * 2);
    m_at = qMax(next, to);
    return true;
}

double SampleSlices::done() const
{
    return m_at >= m_end ? 1 : static_cast<double>(m_at - m_begin) / static_cast<double>(m_end - m_begin);
}

bool SampleSlices::read(quint64 to)
{
    for (int attempt = 0; attempt < readAttempts; ++attempt) {
        m_samples.clear();
        if (m_data.samplesInRange(m_at, to, m_samples))
            return true;
    }
    return false;
}
