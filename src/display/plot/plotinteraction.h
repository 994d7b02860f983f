#pragma once

#include <QObject>
#include <QPoint>
#include <QRectF>

class QMouseEvent;
class QWheelEvent;
class QWidget;
class QwtPlot;

/// Turns the mouse on a plot's canvas and axes into what it means: zooms, pans, rubber bands, double clicks. It
/// changes nothing itself. Dragging pans, with Shift or the right button it draws a rubber band; zoomByDrag() swaps the
/// two. Child of the display; GUI thread.
class PlotInteraction : public QObject
{
    Q_OBJECT

public:
    enum class Place { Canvas, TimeAxis, LeftAxis, RightAxis };

    PlotInteraction(QwtPlot *figure, QObject *parent);

    void setZoomByDrag(bool zooms) { m_zoomByDrag = zooms; }
    bool zoomsByDrag() const { return m_zoomByDrag; }

signals:
    /// `anchor` is the pointer's place along the axis, 0 to 1 from the left or the bottom.
    void zoomed(PlotInteraction::Place place, double anchorX, double anchorY, double factor);
    /// Parts of the canvas' width and height the content moved to the right and up.
    void panned(PlotInteraction::Place place, double right, double up);
    void bandMoved(const QRectF &band);
    void bandFinished(const QRectF &band);
    void bandCancelled();
    void hovered(const QPointF &point);
    void left();
    void clicked(const QPointF &point);
    void doubleClicked(PlotInteraction::Place place, const QPointF &point);
    void menuRequested(const QPointF &point, const QPoint &global);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    enum class Drag { None, Pending, Pan, Band };

    Place placeOf(const QObject *widget) const;
    QPointF onCanvas(const QWidget *widget, const QPointF &point) const;
    bool wheel(QWidget *widget, QWheelEvent *event);
    bool press(QWidget *widget, QMouseEvent *event);
    bool move(QWidget *widget, QMouseEvent *event);
    bool release(QWidget *widget, QMouseEvent *event);
    void setShape();

    QwtPlot *const m_figure;
    Drag m_drag = Drag::None;
    bool m_bandWanted = false;
    bool m_zoomByDrag = false;
    Place m_place = Place::Canvas;
    QPointF m_start;
    QPointF m_last;
};
