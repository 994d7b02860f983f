#pragma once

#include "display/timeaxis.h"
#include "display/valueaxis.h"

#include <qwt_plot.h>

class QwtPlotCanvas;
class QwtPlotGrid;
class TickDraw;
class Theme;

/// A plot with one axis below and one on the left, in the colours of the theme, whose ticks and labels are decided by
/// our own axes. Charts attach their items to it. GUI thread.
class ChartPlot : public QwtPlot
{
    Q_OBJECT

public:
    explicit ChartPlot(QWidget *parent = nullptr);
    ~ChartPlot() override;

    void applyTheme(const Theme &theme);
    void setTimeAxis(const TimeAxis &axis, const TimeRange &range);
    /// `offset` is taken off the values that the axis says: a plot may count from a base.
    void setBottomAxis(const ValueSpan &span, double offset, const QString &name, const QString &unit);
    void setLeftAxis(const ValueSpan &span, const QString &name, const QString &unit);

    QwtPlotCanvas *plotCanvas() const { return m_canvas; }
    QwtScaleMap xMap() const { return canvasMap(xBottom); }
    QwtScaleMap yMap() const { return canvasMap(yLeft); }
    /// The time under a point of the canvas.
    quint64 timeAt(double x) const;

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyFonts();
    void setTitleOf(int axis, const QString &text);

    QwtPlotCanvas *m_canvas;
    QwtPlotGrid *m_grid;
    TickDraw *m_bottom;
    TickDraw *m_left;
};
