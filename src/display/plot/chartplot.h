#pragma once

#include "display/plot/themedplot.h"

/// A plot with one axis below and one on the left, to which charts attach their items. GUI thread.
class ChartPlot : public ThemedPlot
{
    Q_OBJECT

public:
    explicit ChartPlot(QWidget *parent = nullptr);

    /// `offset` is taken off the values that the axis says: a plot may count from a base.
    void setBottomAxis(const ValueSpan &span, double offset, const QString &name, const QString &unit);
    void setLeftAxis(const ValueSpan &span, const QString &name, const QString &unit)
    {
        setValueAxis(yLeft, span, name, unit);
    }

    QwtScaleMap xMap() const { return canvasMap(xBottom); }
    QwtScaleMap yMap() const { return canvasMap(yLeft); }
};
