#pragma once

#include <qwt_plot_intervalcurve.h>

/// Lowest and highest value over time as one filled shape, which ends where data are missing and begins again after
/// it: where the step is over three times the usual one. Owned by its plot; GUI thread.
class OverviewCurve : public QwtPlotIntervalCurve
{
public:
    OverviewCurve() { setStyle(Tube); }

protected:
    void drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas, int from,
                    int to) const override;

private:
    double longestStep() const;
};
