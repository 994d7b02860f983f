#include "display/overlay/overlayband.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr float none = std::numeric_limits<float>::quiet_NaN();

double middleOf(const ColumnGrid &grid, int column)
{
    return double(grid.from()) + (column + 0.5) * double(grid.to() - grid.from()) / grid.width();
}

/// Fills the columns between two neighbours that have values.
void bridge(ResampledCurve &curve, const ColumnGrid &grid, const PixelColumn &left, int leftColumn,
            const PixelColumn &right, int rightColumn)
{
    if (left.isEmpty() || right.isEmpty() || isGap(left, right))
        return;
    const auto from = double(left.lastTime);
    const double length = std::max(1.0, double(right.firstTime) - from);
    for (int column = leftColumn + 1; column < rightColumn; ++column) {
        const double share = std::clamp((middleOf(grid, column) - from) / length, 0.0, 1.0);
        const auto value = float(double(left.last) + (double(right.first) - double(left.last)) * share);
        const auto at = std::size_t(column);
        curve.middle[at] = curve.low[at] = curve.high[at] = value;
    }
}

float medianOf(std::vector<float> &values)
{
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2)
        return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

} // namespace

ResampledCurve resampled(const PixelColumns &columns, const ColumnGrid &grid, const PixelColumn &before,
                         const PixelColumn &after)
{
    const auto width = std::size_t(grid.width());
    ResampledCurve curve{std::vector<float>(width, none), std::vector<float>(width, none),
                         std::vector<float>(width, none)};
    const PixelColumn *last = &before;
    int lastColumn = -1;
    for (int column = 0; column < grid.width(); ++column) {
        const PixelColumn &own = columns[std::size_t(column)];
        if (own.isEmpty())
            continue;
        const auto at = std::size_t(column);
        curve.low[at] = own.values.low;
        curve.high[at] = own.values.high;
        curve.middle[at] = own.values.low / 2 + own.values.high / 2;
        bridge(curve, grid, *last, lastColumn, own, column);
        last = &own;
        lastColumn = column;
    }
    bridge(curve, grid, *last, lastColumn, after, grid.width());
    return curve;
}

OverlayBand bandOf(const std::vector<ResampledCurve> &curves, int width)
{
    const auto size = std::size_t(std::max(0, width));
    OverlayBand band{std::vector<float>(size, none), std::vector<float>(size, none), std::vector<float>(size, none)};
    std::vector<float> values;
    for (std::size_t column = 0; column < size; ++column) {
        values.clear();
        ValueRange range;
        for (const ResampledCurve &curve : curves) {
            if (std::isnan(curve.middle[column]))
                continue;
            values.push_back(curve.middle[column]);
            range.add(curve.low[column]);
            range.add(curve.high[column]);
        }
        if (values.empty())
            continue;
        band.median[column] = medianOf(values);
        band.low[column] = range.low;
        band.high[column] = range.high;
    }
    return band;
}

QVector<double> distancesFromMedian(const std::vector<ResampledCurve> &curves, const OverlayBand &band)
{
    QVector<double> distances;
    for (const ResampledCurve &curve : curves) {
        double sum = 0;
        int count = 0;
        for (std::size_t column = 0; column < band.median.size(); ++column) {
            const auto distance = double(curve.middle[column]) - double(band.median[column]);
            if (std::isnan(distance))
                continue;
            sum += distance * distance;
            ++count;
        }
        distances.append(count > 0 ? std::sqrt(sum / count) : std::numeric_limits<double>::quiet_NaN());
    }
    return distances;
}
