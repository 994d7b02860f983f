#pragma once

#include "display/look/emptypage.h"
#include "display/plot/arcplotdisplay.h"
#include "display/plot/cursorpanel.h"
#include "display/plot/legendbar.h"
#include "display/plot/markeritem.h"
#include "display/plot/plotfigure.h"
#include "display/plot/plotinteraction.h"
#include "display/plot/plotmodel.h"
#include "display/plot/plotoverlay.h"
#include "display/plot/plottoolbar.h"

#include <QElapsedTimer>
#include <QTimer>

class QThreadPool;

/// The inside of arcPlotDisplay: the model, the widgets that show it and the tools that change it. arcplotdisplay.cpp
/// holds the public operations, plotrefresh.cpp looks for new data and draws, plottools.cpp answers mouse and keys.
class arcPlotDisplay::Private : public QObject
{
public:
    Private(arcPlotDisplay *display, Theme &theme);
    ~Private() override;

    // --- plotrefresh.cpp
    void tick();
    void refreshSources();
    void redrawSoon();
    void redraw();
    void updateOverlay();
    void fitHeight();
    void showEmptyState();
    void themeChanged();
    void pressEmptyButton();
    void adoptQuantities();
    QImage render(const QSize &size, qreal scale, Theme::Kind kind);

    // --- plottools.cpp
    void connectTools();
    void zoom(PlotInteraction::Place place, double anchorX, double anchorY, double factor);
    void pan(PlotInteraction::Place place, double right, double up);
    void zoomToBand(const QRectF &band);
    void hover(const QPointF &point);
    void leave();
    void click(const QPointF &point);
    void doubleClick(PlotInteraction::Place place, const QPointF &point);
    void contextMenu(const QPointF &point, const QPoint &global);
    void editAxis(PlotView::Axis axis);
    void editTime();
    void placeCursor(int number, std::optional<quint64> time = std::nullopt);
    bool removeCursors();
    void goToNeighbour(bool forward);
    void toggleCurve(const QString &serial, int axis);
    bool handleKey(int key, Qt::KeyboardModifiers modifiers);
    const EventRow *eventOf(const MarkerItem::Marker *marker, const PlotSensor **sensor) const;
    const RunRow *runAt(const QPointF &point, const PlotSensor **sensor) const;
    qint64 now() const { return clock.elapsed(); }
    /// After any change of the view by the user.
    void viewChanged();

    arcPlotDisplay *const q;
    Theme &theme;
    PlotModel model;
    QElapsedTimer clock;
    QTimer ticker;     // looks for new data while visible
    QTimer drawTimer;  // joins several changes into one frame
    QThreadPool *pool; // own, so that a long reading holds up nobody else
    bool dirty = true;
    qint64 lastRedraw = -1; // by the clock above; before the first
    unsigned int number = 0;
    TimeRange announcedRange;
    bool announcedFollowing = true;
    QString emptyText; // of the owner
    QString emptyButtonText;
    EventLooks looks;
    int nextNumber = 0;
    std::optional<QPointF> pointer;
    int draggedCursor = -1;

    PlotToolBar *toolBar;
    PlotFigure *figure;
    PlotOverlay *overlay;
    PlotInteraction *interaction;
    LegendBar *legend;
    CursorPanel *cursors;
    EmptyPage *empty;
};
