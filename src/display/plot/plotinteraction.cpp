#include "display/plot/plotinteraction.h"

#include <QApplication>
#include <QMouseEvent>
#include <QWheelEvent>
#include <qwt_plot.h>
#include <qwt_scale_widget.h>

#include <cmath>

namespace {
constexpr double wheelStep = 0.8;
constexpr double smallestBand = 6; // pixels
} // namespace

PlotInteraction::PlotInteraction(QwtPlot *figure, QObject *parent) : QObject(parent), m_figure(figure)
{
    figure->canvas()->setMouseTracking(true);
    figure->canvas()->installEventFilter(this);
    for (const int axis : {int(QwtPlot::xBottom), int(QwtPlot::yLeft), int(QwtPlot::yRight)})
        figure->axisWidget(axis)->installEventFilter(this);
    setShape();
}

PlotInteraction::Place PlotInteraction::placeOf(const QObject *widget) const
{
    if (widget == m_figure->axisWidget(QwtPlot::xBottom))
        return Place::TimeAxis;
    if (widget == m_figure->axisWidget(QwtPlot::yLeft))
        return Place::LeftAxis;
    return widget == m_figure->axisWidget(QwtPlot::yRight) ? Place::RightAxis : Place::Canvas;
}

QPointF PlotInteraction::onCanvas(const QWidget *widget, const QPointF &point) const
{
    const QWidget *canvas = m_figure->canvas();
    return widget == canvas ? point
                            : point + QPointF(widget->mapTo(m_figure, QPoint()) - canvas->mapTo(m_figure, QPoint()));
}

bool PlotInteraction::eventFilter(QObject *watched, QEvent *event)
{
    auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget)
        return false;
    switch (event->type()) {
    case QEvent::Wheel:
        return wheel(widget, static_cast<QWheelEvent *>(event));
    case QEvent::MouseButtonPress:
        return press(widget, static_cast<QMouseEvent *>(event));
    case QEvent::MouseMove:
        return move(widget, static_cast<QMouseEvent *>(event));
    case QEvent::MouseButtonRelease:
        return release(widget, static_cast<QMouseEvent *>(event));
    case QEvent::MouseButtonDblClick: {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() != Qt::LeftButton)
            return false;
        m_drag = Drag::None;
        emit doubleClicked(placeOf(widget), onCanvas(widget, mouse->localPos()));
        return true;
    }
    case QEvent::Leave:
        if (placeOf(widget) == Place::Canvas)
            emit left();
        return false;
    default:
        return false;
    }
}

bool PlotInteraction::wheel(QWidget *widget, QWheelEvent *event)
{
    const QPoint angle = event->angleDelta();
    const double steps = (angle.y() ? angle.y() : angle.x()) / 120.0;
    if (steps == 0)
        return true;
    const QWidget *canvas = m_figure->canvas();
    const QPointF point = onCanvas(widget, event->position());
    const Place place = placeOf(widget);
    // Sideways, or with Shift: pan.
    if (place != Place::LeftAxis && place != Place::RightAxis &&
        (event->modifiers() & Qt::ShiftModifier || std::abs(angle.x()) > std::abs(angle.y()))) {
        emit panned(Place::TimeAxis, steps * 0.1, 0);
        return true;
    }
    emit zoomed(place, point.x() / std::max(1, canvas->width()), 1 - point.y() / std::max(1, canvas->height()),
                std::pow(wheelStep, steps));
    return true;
}

bool PlotInteraction::press(QWidget *widget, QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton)
        return false;
    m_place = placeOf(widget);
    m_start = m_last = onCanvas(widget, event->localPos());
    m_drag = Drag::Pending;
    const bool other = event->button() == Qt::RightButton || event->modifiers() & Qt::ShiftModifier;
    m_bandWanted = m_place == Place::Canvas && other != m_zoomByDrag;
    if (auto *focus = m_figure->parentWidget())
        focus->setFocus(Qt::MouseFocusReason);
    return true;
}

bool PlotInteraction::move(QWidget *widget, QMouseEvent *event)
{
    const QPointF point = onCanvas(widget, event->localPos());
    const QWidget *canvas = m_figure->canvas();
    if (m_drag == Drag::Pending && (point - m_start).manhattanLength() >= QApplication::startDragDistance()) {
        m_drag = m_bandWanted ? Drag::Band : Drag::Pan;
        setShape();
    }
    if (m_drag == Drag::Band) {
        emit bandMoved(QRectF(m_start, point).normalized() & QRectF(canvas->rect()));
    } else if (m_drag == Drag::Pan) {
        const QPointF moved = point - m_last;
        m_last = point;
        emit panned(m_place, moved.x() / std::max(1, canvas->width()), -moved.y() / std::max(1, canvas->height()));
    }
    if (m_place == Place::Canvas || m_drag == Drag::None) {
        if (placeOf(widget) == Place::Canvas)
            emit hovered(point);
    }
    return true;
}

bool PlotInteraction::release(QWidget *widget, QMouseEvent *event)
{
    const QPointF point = onCanvas(widget, event->localPos());
    const Drag ended = m_drag;
    m_drag = Drag::None;
    setShape();
    if (ended == Drag::Band) {
        const QRectF band = QRectF(m_start, point).normalized() & QRectF(m_figure->canvas()->rect());
        if (band.width() >= smallestBand || band.height() >= smallestBand)
            emit bandFinished(band);
        else
            emit bandCancelled();
    } else if (ended == Drag::Pending && m_place == Place::Canvas) {
        if (event->button() == Qt::RightButton)
            emit menuRequested(point, event->globalPos());
        else
            emit clicked(point);
    }
    return ended != Drag::None;
}

void PlotInteraction::setShape()
{
    QWidget *canvas = m_figure->canvas();
    canvas->setCursor(m_drag == Drag::Pan ? Qt::ClosedHandCursor : Qt::CrossCursor);
    m_figure->axisWidget(QwtPlot::xBottom)->setCursor(Qt::SizeHorCursor);
    m_figure->axisWidget(QwtPlot::yLeft)->setCursor(Qt::SizeVerCursor);
    m_figure->axisWidget(QwtPlot::yRight)->setCursor(Qt::SizeVerCursor);
}
