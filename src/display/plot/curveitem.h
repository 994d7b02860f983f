#pragma once

#include "data/pixelcolumns.h"

#include <QPen>
#include <qwt_plot_item.h>

/// A curve drawn from pixel columns. Many samples a pixel become one bar from the least to the greatest value, joined
/// to its neighbours as a line through every sample would be; few become a smooth line with a break at every gap and a
/// dot for a sample that stands alone. Owned by its plot; GUI thread.
class CurveItem : public QwtPlotItem
{
public:
    CurveItem();

    int rtti() const override { return QwtPlotItem::Rtti_PlotUserItem + 1; }
    void setPen(const QPen &pen) { m_pen = pen; }
    const QPen &pen() const { return m_pen; }
    /// `before` and `after` are the samples next to the grid on either side, empty when there is none.
    void setColumns(PixelColumns columns, const ColumnGrid &grid, const PixelColumn &before = {},
                    const PixelColumn &after = {});
    const PixelColumns &columns() const { return m_columns; }

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const override;

private:
    void drawBars(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const;
    void thinByDashes(QVector<QRectF> &bars) const;
    void drawLine(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const;

    QPen m_pen;
    PixelColumns m_columns;
    ColumnGrid m_grid{0, 1, 1};
    PixelColumn m_before;
    PixelColumn m_after;
    qint64 m_samples = 0;
};
