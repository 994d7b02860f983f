#pragma once

#include <QVector>
#include <QtGlobal>

#include <cmath>
#include <limits>

/// The samples of one stretch of time, summed up for several quantities. A plain value. What is not a finite number is
/// left out; extremes and mean of nothing are not numbers.
class SampleBin
{
public:
    struct Values
    {
        double low = std::numeric_limits<double>::quiet_NaN();
        double high = std::numeric_limits<double>::quiet_NaN();
        double sum = 0;
        qint64 count = 0;

        void add(double value)
        {
            if (!std::isfinite(value))
                return;
            low = count == 0 || value < low ? value : low;
            high = count == 0 || value > high ? value : high;
            sum += value;
            ++count;
        }
        /// Never beyond the extremes, whatever the sum was rounded to.
        double mean() const { return count == 0 ? low : std::fmin(std::fmax(sum / double(count), low), high); }
    };

    explicit SampleBin(int quantities) : m_values(quantities) {}

    void clear()
    {
        m_values.fill({});
        m_count = 0;
    }
    void add(quint64 start, const QVector<double> &values)
    {
        m_start = start;
        ++m_count;
        for (int i = 0; i < values.size(); ++i)
            m_values[i].add(values.at(i));
    }
    quint64 start() const { return m_start; }
    qint64 count() const { return m_count; }
    const Values &values(int quantity) const { return m_values.at(quantity); }

private:
    QVector<Values> m_values;
    quint64 m_start = 0;
    qint64 m_count = 0;
};
