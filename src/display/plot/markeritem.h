#pragma once

#include "display/look/theme.h"

#include <QVector>
#include <qwt_plot_item.h>

class QPainter;

/// Draws a marker shape of the given size around a point.
void drawMarker(QPainter *painter, MarkerShape shape, const QPointF &centre, double size);

/// Events as markers in a lane along the top edge, shaped by class. Markers of one class that would lie on top of each
/// other are drawn once; where there are too many for shapes, the lane becomes a bar code of their classes, so a
/// hundred thousand cost no more than fill it. Owned by its plot.
class MarkerItem : public QwtPlotItem
{
public:
    struct Marker
    {
        quint64 time = 0;
        QColor colour;
        MarkerShape shape = MarkerShape::Circle;
        int kind = 0; // what may be drawn once
        int severity = 0;
        int sensor = 0; // index in the model
        int event = 0;  // index in the sensor's marks
    };

    MarkerItem();

    int rtti() const override { return QwtPlotItem::Rtti_PlotUserItem + 3; }
    /// In order of time.
    void setMarkers(QVector<Marker> markers) { m_markers = std::move(markers); }
    const QVector<Marker> &markers() const { return m_markers; }
    void setOutline(const QPen &pen) { m_outline = pen; }
    void setSize(double size) { m_size = size; }
    double laneHeight() const { return m_size + 6; }
    /// The marker nearest to a point of the canvas, nullptr when none is close.
    const Marker *at(const QPointF &point, const QwtScaleMap &xMap, const QRectF &canvas) const;

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const override;

private:
    void drawShapes(QPainter *painter, const QwtScaleMap &xMap, const QRectF &canvas) const;
    void drawCrowd(QPainter *painter, const QwtScaleMap &xMap, const QRectF &canvas) const;

    QVector<Marker> m_markers;
    QPen m_outline;
    double m_size = 10;
};
