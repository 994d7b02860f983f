#include "display/views/histogramitem.h"

#include <QPainter>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>

namespace {
constexpr double narrow = 4;    // pixels; thinner bars have no gap and nothing beside them
constexpr double widestGap = 6; // between bars
constexpr double besideShare = 0.3;
} // namespace

QVector<HistogramBar> histogramBars(const EventHistogram &histogram, const QVector<int> &stacked, int beside,
                                    const TimeRange &range, int pixels)
{
    QVector<HistogramBar> bars;
    if (range.isEmpty())
        return bars;
    const double scale = std::max(1, pixels) / double(range.length());
    const auto columnOf = [&](quint64 time) { return std::floor((double(time) - double(range.from)) * scale); };
    double column = 0;
    for (int i = histogram.firstAfter(range.from); i < histogram.barCount() && histogram.bar(i).from < range.to; ++i) {
        HistogramBar bar{histogram.bar(i), i, 0, beside < 0 ? 0 : histogram.count(i, beside)};
        for (const int series : stacked)
            bar.stack += histogram.count(i, series);
        if (bar.stack == 0 && bar.beside == 0)
            continue;
        const double begins = columnOf(bar.range.from);
        if (bars.isEmpty() || begins > column) {
            bars.append(bar);
            column = begins;
            continue;
        }
        HistogramBar &last = bars.last();
        last.range.to = bar.range.to;
        last.beside = std::max(last.beside, bar.beside);
        if (bar.stack > last.stack) {
            last.stack = bar.stack;
            last.index = bar.index;
        }
    }
    return bars;
}

HistogramItem::HistogramItem()
{
    setZ(20);
    setItemAttribute(QwtPlotItem::Legend, false);
    setItemAttribute(QwtPlotItem::AutoScale, false);
}

void HistogramItem::setBars(const EventHistogram *histogram, const QVector<HistogramSeries> &stacked,
                            const HistogramSeries &beside, const QVector<HistogramBar> &bars)
{
    m_histogram = histogram;
    m_stacked = stacked;
    m_beside = beside;
    m_bars = bars;
}

void HistogramItem::setSelection(const TimeRange &range, const QPen &pen, const QBrush &brush)
{
    m_selection = range;
    m_selectionPen = pen;
    m_selectionBrush = brush;
}

void HistogramItem::draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                         const QRectF &canvas) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    if (!m_selection.isEmpty()) {
        const double left = std::max(canvas.left(), xMap.transform(double(m_selection.from)));
        const double right = std::min(canvas.right(), xMap.transform(double(m_selection.to)));
        if (right >= left) {
            const QRectF band(left, canvas.top(), std::max(1.0, right - left), canvas.height());
            painter->fillRect(band, m_selectionBrush);
            painter->setPen(m_selectionPen);
            painter->drawLine(band.topLeft(), band.bottomLeft());
            painter->drawLine(band.topRight(), band.bottomRight());
        }
    }
    painter->setPen(Qt::NoPen);
    for (const HistogramBar &bar : m_bars)
        drawBar(painter, bar, xMap, yMap);
    painter->restore();
}

void HistogramItem::drawBar(QPainter *painter, const HistogramBar &bar, const QwtScaleMap &xMap,
                            const QwtScaleMap &yMap) const
{
    double left = xMap.transform(double(bar.range.from));
    double right = xMap.transform(double(bar.range.to));
    const double width = right - left;
    const bool thin = width < narrow;
    if (thin) {
        right = std::max(right, left + 1);
    } else {
        const double gap = std::min(widestGap, width * 0.15) / 2;
        left += gap;
        right -= gap;
    }
    const double floor = yMap.transform(0);
    const bool hasBeside = m_beside.shown && m_beside.number >= 0;
    double besideLeft = right;
    if (hasBeside && !thin)
        besideLeft = right - (right - left) * besideShare;
    quint32 sum = 0;
    double bottom = floor;
    for (const HistogramSeries &series : m_stacked) {
        const quint32 count = m_histogram->count(bar.index, series.number);
        if (count == 0 || !series.shown)
            continue;
        sum += count;
        const double top = yMap.transform(double(sum));
        painter->fillRect(QRectF(left, top, besideLeft - left - (hasBeside && !thin ? 1 : 0), bottom - top),
                          series.colour);
        bottom = top;
    }
    if (!hasBeside || bar.beside == 0)
        return;
    const double top = yMap.transform(double(bar.beside));
    if (thin)
        painter->fillRect(QRectF(left, top - 1, right - left, 2), m_beside.colour); // its height alone
    else
        painter->fillRect(QRectF(besideLeft, top, right - besideLeft, floor - top), m_beside.colour);
}
