#include "display/views/eventhistogram.h"

#include <algorithm>

void EventHistogram::clear()
{
    m_bars.clear();
    m_counts.clear();
    m_totals.clear();
    m_series = 0;
    m_last = 0;
}

void EventHistogram::add(const CountedEvent *events, int count)
{
    for (const CountedEvent *event = events; event != events + count; ++event) {
        if (event->series < 0)
            continue;
        if (event->series >= m_series)
            addSeries(event->series);
        const std::size_t bar = barOf(event->time);
        ++m_counts[bar * std::size_t(m_series) + std::size_t(event->series)];
        ++m_totals[event->series];
    }
}

void EventHistogram::addSeries(int series)
{
    const auto before = std::size_t(m_series);
    m_series = series + 1;
    m_totals.resize(m_series);
    std::vector<quint32> counts(m_bars.size() * std::size_t(m_series));
    for (std::size_t bar = 0; bar < m_bars.size(); ++bar)
        std::copy_n(m_counts.begin() + std::ptrdiff_t(bar * before), before,
                    counts.begin() + std::ptrdiff_t(bar * std::size_t(m_series)));
    m_counts = std::move(counts);
}

std::size_t EventHistogram::barOf(quint64 time)
{
    if (m_last < m_bars.size() && m_bars[m_last].contains(time))
        return m_last;
    m_last = std::size_t(firstAfter(time));
    if (m_last < m_bars.size() && m_bars[m_last].contains(time))
        return m_last;
    m_bars.insert(m_bars.begin() + std::ptrdiff_t(m_last), m_periods.at(time));
    m_counts.insert(m_counts.begin() + std::ptrdiff_t(m_last * std::size_t(m_series)), std::size_t(m_series), 0);
    return m_last;
}

int EventHistogram::firstAfter(quint64 time) const
{
    if (!m_bars.empty() && m_bars.back().to <= time)
        return barCount();
    const auto found = std::upper_bound(m_bars.begin(), m_bars.end(), time,
                                        [](quint64 moment, const TimeRange &bar) { return moment < bar.to; });
    return int(found - m_bars.begin());
}

int EventHistogram::find(quint64 time) const
{
    const int index = firstAfter(time);
    return index < barCount() && bar(index).contains(time) ? index : -1;
}

TimeRange EventHistogram::range() const
{
    return m_bars.empty() ? TimeRange() : TimeRange{m_bars.front().from, m_bars.back().to};
}
