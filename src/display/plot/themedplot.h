#pragma once

#include "display/plot/timeaxis.h"
#include "display/plot/valueaxis.h"

#include <qwt_plot.h>

class QwtPlotCanvas;
class QwtPlotGrid;
class TickDraw;
class Theme;

/// A plot in the colours of the theme whose ticks and labels are decided by our own axes: one of time or another
/// quantity below, one or two of values beside. Charts and figures attach their items to it. GUI thread.
class ThemedPlot : public QwtPlot
{
    Q_OBJECT

public:
    /// `sides`: the axes of values, of yLeft and yRight.
    explicit ThemedPlot(const QVector<int> &sides, QWidget *parent = nullptr);
    ~ThemedPlot() override;

    void applyTheme(const Theme &theme);
    void setTimeAxis(const TimeAxis &axis, const TimeRange &range);
    void setValueAxis(int side, const ValueSpan &span, const QString &name, const QString &unit);

    QwtPlotCanvas *plotCanvas() const { return m_canvas; }
    /// The time under a point of the canvas.
    quint64 timeAt(double x) const;

protected:
    void changeEvent(QEvent *event) override;
    /// After a change of the font, and once by the constructor of the class that adds to it.
    virtual void applyFonts();

    void setTicks(int axis, const ValueSpan &span, const ValueTicks &ticks, const QString &name);
    QwtPlotGrid *lines() const { return m_lines; }

private:
    void setTitleOf(int axis, const QString &text);

    const QVector<int> m_sides;
    QwtPlotCanvas *m_canvas;
    QwtPlotGrid *m_lines;
    TickDraw *m_draws[axisCnt] = {}; // by axis
};
