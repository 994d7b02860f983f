#include "display/plot/chartnavigator.h"

#include "display/plot/chartplot.h"
#include "display/plot/plotoverlay.h"

#include <QKeyEvent>
#include <qwt_plot_canvas.h>

using Place = PlotInteraction::Place;

namespace {
constexpr double keyZoom = 0.7;
constexpr double keyPan = 0.1;
constexpr double pagePan = 0.9;
} // namespace

ChartNavigator::ChartNavigator(ChartPlot *plot, const Theme &theme, bool valueAxis, QObject *parent)
    : QObject(parent), m_plot(plot), m_interaction(new PlotInteraction(plot, this)),
      m_overlay(new PlotOverlay(theme, plot->plotCanvas())), m_valueAxis(valueAxis)
{
    m_time.start();
    view.setSpan(0);
    connect(m_interaction, &PlotInteraction::zoomed, this, &ChartNavigator::zoom);
    connect(m_interaction, &PlotInteraction::panned, this, &ChartNavigator::pan);
    connect(m_interaction, &PlotInteraction::bandMoved, this,
            [this](const QRectF &band) { m_overlay->setRubberBand(band); });
    connect(m_interaction, &PlotInteraction::bandCancelled, this, [this] { m_overlay->setRubberBand(std::nullopt); });
    connect(m_interaction, &PlotInteraction::bandFinished, this, &ChartNavigator::zoomToBand);
    connect(m_interaction, &PlotInteraction::clicked, this, &ChartNavigator::clicked);
    connect(m_interaction, &PlotInteraction::hovered, this, &ChartNavigator::hovered);
    connect(m_interaction, &PlotInteraction::left, this, &ChartNavigator::left);
    connect(m_interaction, &PlotInteraction::doubleClicked, this, [this](Place place, const QPointF &point) {
        if (place == Place::Canvas) {
            emit doubleClicked(point);
        } else if (place == Place::LeftAxis) {
            view.setAutomatic(PlotView::Left, now());
            emit viewChanged();
        } else {
            showWhole();
        }
    });
}

void ChartNavigator::showWhole()
{
    view.showWhole();
    emit viewChanged();
}

void ChartNavigator::show(const TimeRange &range)
{
    view.setVisible(range, now());
    emit viewChanged();
}

void ChartNavigator::zoom(Place place, double anchorX, double anchorY, double factor)
{
    if (place == Place::LeftAxis && m_valueAxis)
        view.zoomValues(PlotView::Left, anchorY, factor, now());
    else if (place != Place::LeftAxis)
        view.zoomTime(anchorX, factor, now());
    emit viewChanged();
}

void ChartNavigator::pan(Place place, double right, double up)
{
    if (place != Place::LeftAxis && right != 0)
        view.panTime(-right, now());
    if (up != 0 && m_valueAxis && (place == Place::LeftAxis || !view.isAutomatic(PlotView::Left)))
        view.panValues(PlotView::Left, -up, now());
    emit viewChanged();
}

void ChartNavigator::zoomToBand(const QRectF &band)
{
    m_overlay->setRubberBand(std::nullopt);
    const bool wide = band.width() >= 6;
    const bool tall = m_valueAxis && band.height() >= 12 && band.height() < m_plot->plotCanvas()->height() * 0.9;
    TimeRange range;
    if (wide)
        range = {m_plot->timeAt(band.left()), m_plot->timeAt(band.right())};
    const QwtScaleMap values = m_plot->yMap();
    const ValueSpan span{values.invTransform(band.bottom()), values.invTransform(band.top())};
    view.zoomTo(range, tall ? &span : nullptr, nullptr, now());
    emit viewChanged();
}

bool ChartNavigator::pressKey(const QKeyEvent *event)
{
    const bool page = event->modifiers() & Qt::ShiftModifier;
    const bool history = event->modifiers() & Qt::AltModifier;
    switch (event->key()) {
    case Qt::Key_Home:
        view.showWhole();
        break;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        view.zoomTime(0.5, keyZoom, now());
        break;
    case Qt::Key_Minus:
        view.zoomTime(0.5, 1 / keyZoom, now());
        break;
    case Qt::Key_Left:
        if (history)
            view.goBack();
        else
            view.panTime(page ? -pagePan : -keyPan, now());
        break;
    case Qt::Key_Right:
        if (history)
            view.goForward();
        else
            view.panTime(page ? pagePan : keyPan, now());
        break;
    default:
        return false;
    }
    emit viewChanged();
    return true;
}
