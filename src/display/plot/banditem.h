#pragma once

#include "display/records/timerange.h"

#include <QBrush>
#include <QPen>
#include <QString>
#include <QVector>
#include <qwt_plot_item.h>

/// Stretches of time drawn behind the curves over the whole height: runs with their numbers, lost connections, data
/// still being read. Owned by its plot.
class BandItem : public QwtPlotItem
{
public:
    struct Band
    {
        TimeRange range;
        QBrush brush;
        QPen edge;     // of both sides; Qt::NoPen for none
        QString label; // left out when it does not fit
        QColor ink;
        QColor key;  // of a square before the label; invalid for none
        int row = 0; // of the label, from the top
    };

    BandItem();

    int rtti() const override { return QwtPlotItem::Rtti_PlotUserItem + 2; }
    void setBands(QVector<Band> bands) { m_bands = std::move(bands); }
    const QVector<Band> &bands() const { return m_bands; }
    /// Height left free above the labels, for the markers.
    void setTopMargin(double pixels) { m_topMargin = pixels; }

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const override;

private:
    static QRectF areaOf(const Band &band, const QwtScaleMap &xMap, const QRectF &canvas);
    void fill(QPainter *painter, const QwtScaleMap &xMap, const QRectF &canvas) const;

    QVector<Band> m_bands;
    double m_topMargin = 0;
};
