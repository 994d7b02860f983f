#pragma once

#include "display/views/calendarperiods.h"

#include <QVector>

#include <vector>

/// One thing to count: when it was and the series that it belongs to.
struct CountedEvent
{
    quint64 time = 0;
    int series = 0;
};

/// How many events of each series there were in each calendar period. Periods without any take no room. Events may come
/// in any order, best in order of time; a million of them take a few hundredths of a second. A value without widgets.
class EventHistogram
{
public:
    explicit EventHistogram(const CalendarPeriods &periods = CalendarPeriods()) : m_periods(periods) {}

    const CalendarPeriods &periods() const { return m_periods; }
    void add(const CountedEvent &event) { add(&event, 1); }
    void add(const CountedEvent *events, int count);
    void clear();

    int barCount() const { return int(m_bars.size()); }
    int seriesCount() const { return m_series; }
    const TimeRange &bar(int index) const { return m_bars[std::size_t(index)]; }
    quint32 count(int bar, int series) const
    {
        return series < m_series ? m_counts[std::size_t(bar) * std::size_t(m_series) + std::size_t(series)] : 0;
    }
    /// Of a series in all periods.
    quint64 total(int series) const { return m_totals.value(series); }
    /// The bar of the period that a time belongs to, -1 when nothing was counted in it.
    int find(quint64 time) const;
    /// The first bar that ends after a time, barCount() when there is none.
    int firstAfter(quint64 time) const;
    /// From the first period to the last; empty without one.
    TimeRange range() const;

private:
    void addSeries(int series);
    std::size_t barOf(quint64 time);

    CalendarPeriods m_periods;
    std::vector<TimeRange> m_bars; // in order of time
    std::vector<quint32> m_counts; // m_series for each bar
    QVector<quint64> m_totals;
    int m_series = 0;
    std::size_t m_last = 0; // the bar that counted last
};
