#include "data/samplesums.h"

#include "data/samplefields.h"

#include <cstddef>
#include <limits>
#include <type_traits>

namespace {

/// Pairs every field with its place among the sums: `real` and `integer` are called in the order of the fields.
template <typename Sample, typename Real, typename Integer>
void visitSums(Sample &sample, Real real, Integer integer)
{
    std::size_t reals = 0;
    std::size_t integers = 0;
    visitSampleFields([&](auto field) {
        auto &value = sample.*field;
        using Field = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Field, double>) {
            real(value, reals++);
        } else if constexpr (std::is_same_v<Field, qint32>) {
            integer(value, integers++);
        } else if constexpr (!std::is_same_v<Field, quint64>) { // the time is summed apart
            for (auto &element : value)
                integer(element, integers++);
        }
    });
    Q_ASSERT(reals == 17 && integers == 13);
}

} // namespace

void SampleSums::add(const SamplePoint &sample)
{
    if (m_count == std::numeric_limits<quint32>::max())
        return;
    ++m_count;
    addTime(sample.time >> 32, sample.time & 0xFFFFFFFFU);
    visitSums(
        sample, [this](double value, std::size_t i) { m_reals[i] += value; },
        [this](qint32 value, std::size_t i) { m_integers[i] += value; });
}

void SampleSums::add(const SampleSums &other)
{
    if (other.m_count > std::numeric_limits<quint32>::max() - m_count)
        return;
    m_count += other.m_count;
    addTime(other.m_timeHigh, other.m_timeLow);
    for (std::size_t i = 0; i < m_reals.size(); ++i)
        m_reals[i] += other.m_reals[i];
    for (std::size_t i = 0; i < m_integers.size(); ++i)
        m_integers[i] += other.m_integers[i];
}

SamplePoint SampleSums::mean() const
{
    SamplePoint mean;
    if (m_count == 0)
        return mean;
    const quint64 rest = m_timeHigh % m_count;
    mean.time = ((m_timeHigh / m_count) << 32) + ((rest << 32) + m_timeLow) / m_count;
    visitSums(
        mean, [this](double &value, std::size_t i) { value = m_reals[i] / m_count; },
        [this](qint32 &value, std::size_t i) { value = static_cast<qint32>(m_integers[i] / qint64(m_count)); });
    return mean;
}

void SampleSums::addTime(quint64 high, quint64 low)
{
    m_timeLow += low;
    m_timeHigh += high + (m_timeLow >> 32);
    m_timeLow &= 0xFFFFFFFFU;
}
