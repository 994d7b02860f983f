#pragma once

#include "data/minmaxpyramid.h"

#include <vector>

/// How a stretch of time is cut into the pixel columns of an axis: column c holds the times t with
/// from + c * length / width <= t < from + (c + 1) * length / width, computed in whole numbers.
class ColumnGrid
{
public:
    static constexpr int maximumWidth = 8192;
    static constexpr quint64 maximumLength = 50ULL * 366 * 24 * 3600 * 1000000; // keeps the products in 64 bits

    ColumnGrid(quint64 from, quint64 to, int width)
        : m_from(from), m_length(to <= from                  ? 1
                                 : to - from > maximumLength ? maximumLength
                                                             : to - from),
          m_width(width < 1              ? 1
                  : width > maximumWidth ? maximumWidth
                                         : width)
    {}

    quint64 from() const { return m_from; }
    quint64 to() const { return m_from + m_length; }
    int width() const { return m_width; }
    /// The column of a time inside from..to.
    int columnOf(quint64 time) const { return int((time - m_from) * quint64(m_width) / m_length); }
    /// The first time of a column.
    quint64 start(int column) const
    {
        return m_from + (quint64(column) * m_length + quint64(m_width) - 1) / quint64(m_width);
    }

private:
    quint64 m_from;
    quint64 m_length;
    int m_width;
};

/// What the samples of one pixel column look like: enough to draw the same picture as all of them would.
struct PixelColumn
{
    quint64 firstTime = 0;
    quint64 lastTime = 0;
    quint64 usualStep = 0; // between samples here
    ValueRange values;
    float first = 0; // the values of the first and the last sample that has one
    float last = 0;
    int samples = 0; // 0: the column is empty

    bool isEmpty() const { return values.isEmpty(); }
    void merge(const PixelColumn &other);
};

using PixelColumns = std::vector<PixelColumn>;

/// Whether the data between two neighbouring columns with content are missing.
bool isGap(const PixelColumn &before, const PixelColumn &after);
