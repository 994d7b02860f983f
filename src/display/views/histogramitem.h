#pragma once

#include "display/views/eventhistogram.h"

#include <QColor>
#include <QPen>
#include <QVector>
#include <qwt_plot_item.h>

/// A series of a histogram as it is drawn.
struct HistogramSeries
{
    int number = 0; // in the histogram
    QString name;
    QColor colour;
    bool shown = true;
};

/// One bar on the screen: a period, or the highest of those that share a pixel column.
struct HistogramBar
{
    TimeRange range;
    int index = 0;      // of the highest stack
    quint32 stack = 0;  // events of the series that are stacked
    quint32 beside = 0; // of the series beside, the most of any of these periods
};

/// What to draw of a range that is `pixels` wide: no two bars begin in the same pixel column. `stacked` are numbers of
/// series, `beside` is one or -1.
QVector<HistogramBar> histogramBars(const EventHistogram &histogram, const QVector<int> &stacked, int beside,
                                    const TimeRange &range, int pixels);

/// The bars of a histogram: series stacked on each other, one of them beside. Owned by its plot; GUI thread.
class HistogramItem : public QwtPlotItem
{
public:
    HistogramItem();

    int rtti() const override { return QwtPlotItem::Rtti_PlotUserItem + 20; }
    void setBars(const EventHistogram *histogram, const QVector<HistogramSeries> &stacked,
                 const HistogramSeries &beside, const QVector<HistogramBar> &bars);
    void setSelection(const TimeRange &range, const QPen &pen, const QBrush &brush);

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const override;

private:
    void drawBar(QPainter *painter, const HistogramBar &bar, const QwtScaleMap &xMap, const QwtScaleMap &yMap) const;

    const EventHistogram *m_histogram = nullptr;
    QVector<HistogramSeries> m_stacked;
    HistogramSeries m_beside;
    QVector<HistogramBar> m_bars;
    TimeRange m_selection;
    QPen m_selectionPen;
    QBrush m_selectionBrush;
};
