#pragma once

#include "data/pixelcolumns.h"

#include <QVector>

#include <vector>

/// One curve on the common grid of an overlay: its value in each column, NaN where it has none.
struct ResampledCurve
{
    std::vector<float> middle;
    std::vector<float> low;
    std::vector<float> high;
};

/// Columns without a sample of their own take what lies on the line between their neighbours; across a gap in the data
/// and outside the curve they stay empty. `before` and `after` are the samples next to the grid.
ResampledCurve resampled(const PixelColumns &columns, const ColumnGrid &grid, const PixelColumn &before = {},
                         const PixelColumn &after = {});

/// What the curves of an overlay have in common, column by column. Empty columns are NaN.
struct OverlayBand
{
    std::vector<float> median;
    std::vector<float> low;
    std::vector<float> high;

    bool isEmpty() const { return median.empty(); }
};

/// The median of the curves and their least and greatest values.
OverlayBand bandOf(const std::vector<ResampledCurve> &curves, int width);
/// Root of the mean square distance of each curve from the median, over the columns that both have; NaN without any.
QVector<double> distancesFromMedian(const std::vector<ResampledCurve> &curves, const OverlayBand &band);
