#include "export/overviewcurve.h"

#include <QPainter>
#include <qwt_scale_map.h>

#include <algorithm>
#include <limits>
#include <vector>

double OverviewCurve::longestStep() const
{
    std::vector<double> steps;
    for (std::size_t i = 1; i < dataSize(); ++i)
        steps.push_back(sample(int(i)).value - sample(int(i) - 1).value);
    if (steps.empty())
        return std::numeric_limits<double>::max();
    const auto middle = steps.begin() + std::ptrdiff_t(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return 3.5 * *middle; // half a column of rounding
}

void OverviewCurve::drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                               const QRectF &canvas, int from, int to) const
{
    if (to < 0)
        to = int(dataSize()) - 1;
    const double longest = longestStep();
    int first = from;
    for (int i = from; i <= to; ++i) {
        if (i < to && sample(i + 1).value - sample(i).value <= longest)
            continue;
        QwtPlotIntervalCurve::drawSeries(painter, xMap, yMap, canvas, first, i);
        if (first == i) { // a shape of one column has no width
            const QwtIntervalSample alone = sample(i);
            const double x = xMap.transform(alone.value);
            painter->setPen(pen());
            painter->drawLine(QPointF(x, yMap.transform(alone.interval.minValue())),
                              QPointF(x, yMap.transform(alone.interval.maxValue())));
        }
        first = i + 1;
    }
}
