#include "data/seriesblock.h"

#include "data/derivedvalues.h"

#include <algorithm>
#include <cmath>

void PixelColumn::merge(const PixelColumn &other)
{
    if (other.isEmpty())
        return;
    if (isEmpty()) {
        *this = other;
        return;
    }
    if (other.firstTime < firstTime) {
        firstTime = other.firstTime;
        first = other.first;
    }
    if (other.lastTime > lastTime) {
        lastTime = other.lastTime;
        last = other.last;
    }
    usualStep = std::max(usualStep, other.usualStep);
    values.add(other.values);
    samples += other.samples;
}

bool isGap(const PixelColumn &before, const PixelColumn &after)
{
    const quint64 usual = std::max(before.usualStep, after.usualStep);
    return usual > 0 && after.firstTime > before.lastTime &&
           after.firstTime - before.lastTime > SampleTimes::gapLimit(usual);
}

double SeriesStatistics::mean() const
{
    return samples > 0 ? shift + sum / samples : 0.0;
}

double SeriesStatistics::deviation() const
{
    if (samples < 2)
        return 0.0;
    const double offset = sum / samples;
    return std::sqrt(std::max(0.0, sumOfSquares / samples - offset * offset));
}

void SeriesStatistics::merge(const SeriesStatistics &other)
{
    if (other.samples > 0 && samples > 0) {
        const double move = other.shift - shift;
        sumOfSquares += other.sumOfSquares + 2 * move * other.sum + move * move * other.samples;
        sum += other.sum + move * other.samples;
    } else if (other.samples > 0) {
        shift = other.shift;
        sum = other.sum;
        sumOfSquares = other.sumOfSquares;
    }
    samples += other.samples;
    values.add(other.values);
    complete = complete && other.complete;
}

SeriesBlock::SeriesBlock(const QVector<int> &quantities)
{
    m_entries.reserve(std::size_t(quantities.size()));
    for (const int quantity : quantities)
        if (!find(quantity))
            m_entries.push_back({quantity, MinMaxPyramid()});
}

const MinMaxPyramid *SeriesBlock::find(int quantity) const
{
    for (const Entry &entry : m_entries)
        if (entry.quantity == quantity)
            return &entry.pyramid;
    return nullptr;
}

void SeriesBlock::dropQuantity(int quantity)
{
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [quantity](const Entry &entry) { return entry.quantity == quantity; }),
                    m_entries.end());
}

bool SeriesBlock::append(const SamplePoint *samples, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!m_times.append(samples[i].time))
            return false;
        for (Entry &entry : m_entries)
            entry.pyramid.append(quantityValue(samples[i], entry.quantity));
    }
    return true;
}

PixelColumn SeriesBlock::column(const MinMaxPyramid &pyramid, int begin, int end) const
{
    PixelColumn result;
    result.values = pyramid.range(begin, end);
    if (result.values.isEmpty())
        return result;
    int from = begin;
    int to = end - 1;
    if (pyramid.hasValues()) {
        while (std::isnan(pyramid.value(from)))
            ++from;
        while (std::isnan(pyramid.value(to)))
            --to;
        result.first = pyramid.value(from);
        result.last = pyramid.value(to);
    } else {
        result.first = result.last = result.values.low / 2 + result.values.high / 2;
    }
    result.firstTime = m_times.at(from);
    result.lastTime = m_times.endAt(to);
    result.usualStep = m_times.usualStep(to);
    result.samples = end - begin;
    return result;
}

void SeriesBlock::columns(int quantity, const ColumnGrid &grid, PixelColumns &columns) const
{
    const MinMaxPyramid *pyramid = find(quantity);
    if (!pyramid || count() == 0 || first() >= grid.to() || last() < grid.from())
        return;
    int begin = m_times.lowerBound(grid.from());
    const int end = m_times.lowerBound(grid.to());
    while (begin < end) {
        const int index = grid.columnOf(m_times.at(begin));
        const int next =
            index + 1 < grid.width() ? std::min(end, m_times.lowerBound(grid.start(index + 1), begin)) : end;
        columns[std::size_t(index)].merge(column(*pyramid, begin, next));
        begin = next;
    }
}

PixelColumn SeriesBlock::neighbour(int quantity, quint64 time, bool before) const
{
    const MinMaxPyramid *pyramid = find(quantity);
    const int index = m_times.lowerBound(time) - (before ? 1 : 0);
    if (!pyramid || !pyramid->hasValues() || index < 0 || index >= count())
        return {};
    return column(*pyramid, index, index + 1);
}

bool SeriesBlock::needsSamples(const ColumnGrid &grid) const
{
    // A bucket longer than a quarter of a pixel would be seen.
    const quint64 pixel = (grid.to() - grid.from()) / quint64(grid.width());
    const quint64 bucket = count() > 0 ? (last() - first()) / quint64(count()) * MinMaxPyramid::fanOut : 0;
    return bucket * 4 > pixel;
}

int SeriesBlock::nearest(quint64 time) const
{
    if (!hasSamples() || count() == 0)
        return -1;
    const int after = m_times.lowerBound(time);
    if (after == 0)
        return 0;
    if (after == count())
        return after - 1;
    return m_times.at(after) - time < time - m_times.at(after - 1) ? after : after - 1;
}

ValueRange SeriesBlock::extremes(int quantity, quint64 from, quint64 to) const
{
    const MinMaxPyramid *pyramid = find(quantity);
    return pyramid ? pyramid->range(m_times.lowerBound(from), m_times.lowerBound(to)) : ValueRange();
}

SeriesStatistics SeriesBlock::statistics(int quantity, quint64 from, quint64 to) const
{
    SeriesStatistics result;
    const MinMaxPyramid *pyramid = find(quantity);
    if (!pyramid || count() == 0)
        return result;
    const int begin = m_times.lowerBound(from);
    const int end = m_times.lowerBound(to);
    result.values = pyramid->range(begin, end);
    if (begin >= end || !pyramid->hasValues()) {
        result.complete = begin >= end;
        return result;
    }
    for (int i = begin; i < end; ++i) {
        const auto value = double(pyramid->value(i));
        if (std::isnan(value))
            continue;
        if (result.samples++ == 0)
            result.shift = value;
        const double deviation = value - result.shift;
        result.sum += deviation;
        result.sumOfSquares += deviation * deviation;
    }
    return result;
}

void SeriesBlock::releaseSamples()
{
    m_times.releaseSamples();
    for (Entry &entry : m_entries)
        entry.pyramid.releaseValues();
}

void SeriesBlock::squeeze()
{
    m_times.squeeze();
    for (Entry &entry : m_entries)
        entry.pyramid.squeeze();
}

qint64 SeriesBlock::memory() const
{
    qint64 bytes = qint64(sizeof(*this)) + m_times.memory();
    for (const Entry &entry : m_entries)
        bytes += entry.pyramid.memory() + qint64(sizeof(int));
    return bytes;
}
