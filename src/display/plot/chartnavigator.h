#pragma once

#include "display/plot/plotinteraction.h"
#include "display/plot/plotview.h"

#include <QElapsedTimer>
#include <QObject>

class ChartPlot;
class PlotOverlay;
class QKeyEvent;
class Theme;

/// Moves the view of a chart with mouse and keys as the time-series plot does: the wheel zooms at the pointer or over
/// an axis, dragging pans, a rubber band zooms, Home shows everything, Alt+Left and Alt+Right go through the history.
/// It keeps the view and the layer that moves with the mouse. Child of the chart; GUI thread.
class ChartNavigator : public QObject
{
    Q_OBJECT

public:
    /// `valueAxis`: the left axis can be zoomed as well.
    ChartNavigator(ChartPlot *plot, const Theme &theme, bool valueAxis, QObject *parent);

    PlotView view;

    PlotOverlay *overlay() const { return m_overlay; }
    PlotInteraction *interaction() const { return m_interaction; }
    void showWhole();
    void show(const TimeRange &range);
    /// True when the key meant something here.
    bool pressKey(const QKeyEvent *event);

signals:
    void viewChanged();
    void clicked(const QPointF &point);
    void doubleClicked(const QPointF &point);
    void hovered(const QPointF &point);
    void left();

private:
    qint64 now() const { return m_time.elapsed(); }
    void zoom(PlotInteraction::Place place, double anchorX, double anchorY, double factor);
    void pan(PlotInteraction::Place place, double right, double up);
    void zoomToBand(const QRectF &band);

    ChartPlot *const m_plot;
    PlotInteraction *m_interaction;
    PlotOverlay *m_overlay;
    const bool m_valueAxis;
    QElapsedTimer m_time;
};
