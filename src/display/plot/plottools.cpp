#include "display/plot/arcplotdisplayprivate.h"
#include "display/plot/axisrangedialog.h"
#include "display/plot/banditem.h"
#include "display/plot/plotreadout.h"

#include <QCoreApplication>
#include <QMenu>
#include <QToolTip>
#include <qwt_plot_canvas.h>

#include <cmath>

using Place = PlotInteraction::Place;

namespace {
constexpr double keyZoom = 0.7;
constexpr double keyPan = 0.1;
constexpr double pagePan = 0.9;
constexpr double reachPixels = 30;
constexpr double grabPixels = 5;
} // namespace

void arcPlotDisplay::Private::connectTools()
{
    connect(interaction, &PlotInteraction::zoomed, this, &Private::zoom);
    connect(interaction, &PlotInteraction::panned, this, &Private::pan);
    connect(interaction, &PlotInteraction::bandMoved, this,
            [this](const QRectF &band) { overlay->setRubberBand(band); });
    connect(interaction, &PlotInteraction::bandCancelled, this, [this] { overlay->setRubberBand(std::nullopt); });
    connect(interaction, &PlotInteraction::bandFinished, this, &Private::zoomToBand);
    connect(interaction, &PlotInteraction::hovered, this, &Private::hover);
    connect(interaction, &PlotInteraction::left, this, &Private::leave);
    connect(interaction, &PlotInteraction::clicked, this, &Private::click);
    connect(interaction, &PlotInteraction::doubleClicked, this, &Private::doubleClick);
    connect(interaction, &PlotInteraction::menuRequested, this, &Private::contextMenu);
    connect(legend, &LegendBar::toggled, this, &Private::toggleCurve);
    connect(cursors, &CursorPanel::removeChosen, this, &Private::removeCursors);
    connect(toolBar, &PlotToolBar::quantitiesChosen, q, &arcPlotDisplay::setQuantities);
    connect(toolBar, &PlotToolBar::spanChosen, q, &arcPlotDisplay::setSpan);
    connect(toolBar, &PlotToolBar::followChosen, q, &arcPlotDisplay::setFollowing);
    connect(toolBar, &PlotToolBar::timeModeChosen, q, &arcPlotDisplay::setTimeMode);
    connect(toolBar, &PlotToolBar::backChosen, q, &arcPlotDisplay::zoomBack);
    connect(toolBar, &PlotToolBar::forwardChosen, q, &arcPlotDisplay::zoomForward);
    connect(toolBar, &PlotToolBar::zoomByDragChosen, this, [this](bool zooms) { interaction->setZoomByDrag(zooms); });
}

void arcPlotDisplay::Private::viewChanged()
{
    redrawSoon();
    toolBar->show(model);
}

void arcPlotDisplay::Private::zoom(Place place, double anchorX, double anchorY, double factor)
{
    if (place == Place::LeftAxis || place == Place::RightAxis)
        model.view.zoomValues(place == Place::LeftAxis ? PlotView::Left : PlotView::Right, anchorY, factor, now());
    else
        model.view.zoomTime(anchorX, factor, now());
    viewChanged();
}

void arcPlotDisplay::Private::pan(Place place, double right, double up)
{
    if (place != Place::LeftAxis && place != Place::RightAxis && right != 0)
        model.view.panTime(-right, now());
    // A canvas is dragged sideways; up and down only where the axis has been zoomed.
    for (const auto axis : {PlotView::Left, PlotView::Right}) {
        const bool own = place == (axis == PlotView::Left ? Place::LeftAxis : Place::RightAxis);
        if (up != 0 && (own || (place == Place::Canvas && !model.view.isAutomatic(axis))))
            model.view.panValues(axis, -up, now());
    }
    viewChanged();
}

void arcPlotDisplay::Private::zoomToBand(const QRectF &band)
{
    overlay->setRubberBand(std::nullopt);
    const QRectF canvas = figure->plotCanvas()->rect();
    const bool wide = band.width() >= 6;
    const bool tall = band.height() >= 12 && band.height() < canvas.height() * 0.9;
    TimeRange range;
    if (wide)
        range = {figure->timeAt(band.left()), figure->timeAt(band.right())};
    ValueSpan spans[2];
    for (const auto axis : {PlotView::Left, PlotView::Right})
        spans[axis] = {figure->valueAt(axis, band.bottom()), figure->valueAt(axis, band.top())};
    model.view.zoomTo(range, tall ? &spans[0] : nullptr, tall && model.hasAxis(PlotView::Right) ? &spans[1] : nullptr,
                      now());
    viewChanged();
}

const EventRow *arcPlotDisplay::Private::eventOf(const MarkerItem::Marker *marker, const PlotSensor **sensor) const
{
    if (!marker || marker->sensor >= int(model.sensors.size()))
        return nullptr;
    *sensor = model.sensors[std::size_t(marker->sensor)].get();
    const RecordSet &records = *(*sensor)->records;
    if (marker->event < records.events.size() && records.events.at(marker->event).time == marker->time)
        return &records.events.at(marker->event);
    const int found = records.firstEvent(marker->time);
    return found < records.events.size() && records.events.at(found).time == marker->time ? &records.events.at(found)
                                                                                          : nullptr;
}

const RunRow *arcPlotDisplay::Private::runAt(const QPointF &point, const PlotSensor **sensor) const
{
    const quint64 time = figure->timeAt(point.x());
    for (const auto &candidate : model.sensors) {
        if (!candidate->visible)
            continue;
        for (const RunRow &run : candidate->records->runs) {
            if (time >= run.record.start && time <= run.record.end) {
                *sensor = candidate.get();
                return &run;
            }
        }
    }
    return nullptr;
}

void arcPlotDisplay::Private::hover(const QPointF &point)
{
    pointer = point;
    if (model.view.data().isEmpty())
        return;
    const QwtScaleMap map = figure->canvasMap(QwtPlot::xBottom);
    const QRectF canvas = figure->plotCanvas()->contentsRect();
    const PlotSensor *sensor = nullptr;
    const quint64 time = figure->timeAt(point.x());
    const auto perPixel = double(model.view.visible().length()) / std::max(1.0, canvas.width());
    CrosshairReadout readout = crosshairReadout(model, time, quint64(reachPixels * perPixel) + 1);
    if (const EventRow *event = eventOf(figure->markers().at(point, map, canvas), &sensor)) {
        QToolTip::showText(figure->plotCanvas()->mapToGlobal(point.toPoint()), eventText(model, *sensor, *event),
                           figure->plotCanvas());
    } else if (QToolTip::isVisible()) {
        QToolTip::hideText();
    }
    QVector<PlotOverlay::Row> rows;
    for (const ReadoutRow &row : qAsConst(readout.rows)) {
        const int quantity = model.quantities[row.axis];
        quint64 sampleTime = 0;
        float value = 0;
        const bool dot = row.sensor->series->nearest(quantity, time, quint64(2 * perPixel) + 1, sampleTime, value);
        rows.append({theme.curvePen(row.sensor->colour, row.sensor->number, row.axis == PlotView::Right).color(),
                     row.name, row.value, dot ? figure->yOf(row.axis, double(value)) : 0.0, dot});
    }
    overlay->setCrosshair(point, readout.moment, rows);
}

void arcPlotDisplay::Private::leave()
{
    pointer.reset();
    overlay->setCrosshair(std::nullopt);
}

void arcPlotDisplay::Private::click(const QPointF &point)
{
    const PlotSensor *sensor = nullptr;
    const auto *marker =
        figure->markers().at(point, figure->canvasMap(QwtPlot::xBottom), figure->plotCanvas()->contentsRect());
    if (const EventRow *event = eventOf(marker, &sensor))
        emit q->eventActivated(sensor->serial, event->time, event->typeCode);
}

void arcPlotDisplay::Private::doubleClick(Place place, const QPointF &point)
{
    if (place == Place::TimeAxis)
        return editTime();
    if (place == Place::LeftAxis || place == Place::RightAxis)
        return editAxis(place == Place::LeftAxis ? PlotView::Left : PlotView::Right);
    const PlotSensor *sensor = nullptr;
    const auto *marker =
        figure->markers().at(point, figure->canvasMap(QwtPlot::xBottom), figure->plotCanvas()->contentsRect());
    if (const EventRow *event = eventOf(marker, &sensor)) {
        emit q->eventActivated(sensor->serial, event->time, event->typeCode);
        emit q->yieldView();
        return;
    }
    if (const RunRow *run = runAt(point, &sensor)) {
        const TimeRange chosen{run->record.start, run->record.end};
        const quint64 margin = chosen.length() / 20 + 1;
        const QString serial = sensor->serial;
        model.view.setVisible({chosen.from - std::min(chosen.from, margin), chosen.to + margin}, now());
        viewChanged();
        emit q->timeFrameSelected(chosen.from, chosen.to);
        emit q->runActivated(serial, chosen.from);
        return;
    }
    for (const auto axis : {PlotView::Left, PlotView::Right})
        if (!model.view.isAutomatic(axis))
            model.view.setAutomatic(axis, now());
    viewChanged();
}

void arcPlotDisplay::Private::editAxis(PlotView::Axis axis)
{
    const int quantity = model.quantities[axis];
    auto *dialog = new ValueRangeDialog(PlotModel::quantityName(quantity), PlotModel::quantityUnit(quantity),
                                        model.view.values(axis), q);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &ValueRangeDialog::chosen, this, [this, axis](const ValueSpan &span) {
        model.view.setValues(axis, span, now());
        viewChanged();
    });
    connect(dialog, &ValueRangeDialog::automaticChosen, this, [this, axis] {
        model.view.setAutomatic(axis, now());
        viewChanged();
    });
    dialog->open();
}

void arcPlotDisplay::Private::editTime()
{
    auto *dialog = new TimeRangeDialog(model.timeAxis, model.view.visible(), q);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &TimeRangeDialog::chosen, this, [this](const TimeRange &range) {
        model.view.setVisible(range, now());
        viewChanged();
    });
    dialog->open();
}

void arcPlotDisplay::Private::contextMenu(const QPointF &point, const QPoint &global)
{
    auto *menu = new QMenu(q);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const quint64 time = figure->timeAt(point.x());
    const auto add = [this, menu](const QString &text, auto slot) { return menu->addAction(text, this, slot); };
    if (!model.home)
        add(QCoreApplication::translate("plottools", "Follow newest data\tL"), [this] {
            q->jumpToLive();
        })->setEnabled(!model.view.isFollowing());
    add(QCoreApplication::translate("plottools", "Whole range\tHome"), [this] { q->showWholeRange(); });
    add(QCoreApplication::translate("plottools", "Zoom back\tAlt+Left"), [this] {
        q->zoomBack();
    })->setEnabled(model.view.canGoBack());
    add(QCoreApplication::translate("plottools", "Zoom forward\tAlt+Right"), [this] {
        q->zoomForward();
    })->setEnabled(model.view.canGoForward());
    add(QCoreApplication::translate("plottools", "Fit value axes to the data"), [this] {
        for (const auto axis : {PlotView::Left, PlotView::Right})
            model.view.setAutomatic(axis, now());
        viewChanged();
    });
    menu->addSeparator();
    add(QCoreApplication::translate("plottools", "Place cursor 1 here\t1"), [this, time] { placeCursor(0, time); });
    add(QCoreApplication::translate("plottools", "Place cursor 2 here\t2"), [this, time] { placeCursor(1, time); });
    add(QCoreApplication::translate("plottools", "Remove cursors\tEsc"), [this] {
        removeCursors();
    })->setEnabled(model.cursors[0] || model.cursors[1]);
    add(QCoreApplication::translate("plottools", "Zoom to cursors"), [this] {
        if (const auto range = model.cursorRange())
            q->setVisibleRange(*range);
    })->setEnabled(model.cursorRange().has_value());
    menu->addSeparator();
    add(QCoreApplication::translate("plottools", "Copy picture\tCtrl+C"), [this] { q->copyToClipboard(); });
    menu->popup(global);
}

void arcPlotDisplay::Private::placeCursor(int cursorNumber, std::optional<quint64> time)
{
    if (model.view.data().isEmpty())
        return;
    const TimeRange visible = model.view.visible();
    if (!time && pointer)
        time = figure->timeAt(pointer->x());
    if (!time)
        time = visible.from + visible.length() * quint64(cursorNumber + 1) / 3;
    model.cursors[cursorNumber] = *time;
    updateOverlay();
    if (const auto range = model.cursorRange())
        emit q->timeFrameSelected(range->from, range->to);
}

bool arcPlotDisplay::Private::removeCursors()
{
    const bool any = model.cursors[0] || model.cursors[1];
    const bool choseFrame = model.cursorRange().has_value();
    model.cursors[0].reset();
    model.cursors[1].reset();
    updateOverlay();
    if (choseFrame)
        emit q->timeFrameSelected(0, 0);
    return any;
}

void arcPlotDisplay::Private::goToNeighbour(bool forward)
{
    if (model.home) {
        emit q->neighbourWanted(forward);
        return;
    }
    const TimeRange visible = model.view.visible();
    const quint64 middle = visible.from + visible.length() / 2;
    const quint64 target = model.neighbourMark(middle, forward);
    if (target == 0)
        return;
    const quint64 half = visible.length() / 2;
    model.view.setVisible({target - std::min(target, half), target - std::min(target, half) + visible.length()}, now());
    viewChanged();
}

void arcPlotDisplay::Private::toggleCurve(const QString &serial, int axis)
{
    if (PlotSensor *sensor = model.sensor(serial))
        sensor->axisHidden[axis] = !sensor->axisHidden[axis];
    redrawSoon();
}

bool arcPlotDisplay::Private::handleKey(int key, Qt::KeyboardModifiers modifiers)
{
    const bool shift = modifiers & Qt::ShiftModifier;
    const Qt::KeyboardModifiers others = modifiers & ~(Qt::ShiftModifier | Qt::KeypadModifier);
    if (others == Qt::AltModifier && (key == Qt::Key_Left || key == Qt::Key_Right)) {
        key == Qt::Key_Left ? q->zoomBack() : q->zoomForward();
        return true;
    }
    if (others == Qt::ControlModifier && key == Qt::Key_C) {
        q->copyToClipboard();
        return true;
    }
    if (others != Qt::NoModifier)
        return false;
    const double step = shift ? pagePan : keyPan;
    switch (key) {
    case Qt::Key_Space:
        q->setFollowing(!model.view.isFollowing());
        return true;
    case Qt::Key_L:
        q->jumpToLive();
        return true;
    case Qt::Key_Home:
        q->showWholeRange();
        return true;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        zoom(Place::Canvas, 0.5, 0.5, keyZoom);
        return true;
    case Qt::Key_Minus:
        zoom(Place::Canvas, 0.5, 0.5, 1 / keyZoom);
        return true;
    case Qt::Key_Left:
        pan(Place::TimeAxis, step, 0);
        return true;
    case Qt::Key_Right:
        pan(Place::TimeAxis, -step, 0);
        return true;
    case Qt::Key_1:
        placeCursor(0);
        return true;
    case Qt::Key_2:
        placeCursor(1);
        return true;
    case Qt::Key_N:
        goToNeighbour(true);
        return true;
    case Qt::Key_P:
        goToNeighbour(false);
        return true;
    case Qt::Key_Escape:
        overlay->setRubberBand(std::nullopt);
        if (!removeCursors())
            emit q->returnToNormalMode();
        return true;
    default:
        return false;
    }
}
