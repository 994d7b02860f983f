#include "display/plot/plotmodel.h"

#include "data/derivedvalues.h"

#include <algorithm>

namespace {
constexpr int mostLosses = 1000; // remembered for a sensor, of the newest
}

void PlotSensor::setRecords(std::shared_ptr<const RecordSet> shown, const EventLooks &look)
{
    records = std::move(shown);
    looks.clear();
    if (look)
        for (const QString &name : records->typeNames)
            looks.append(look(name));
}

void PlotSensor::setConnected(bool up, quint64 lastSample)
{
    const bool open = !losses.isEmpty() && losses.last().to == 0;
    if (connected && !up && lastSample > 0 && !open)
        losses.append({lastSample, 0});
    connected = up;
    if (losses.size() > mostLosses)
        losses.removeFirst();
}

void PlotSensor::closeLoss(int quantity)
{
    if (losses.isEmpty() || losses.last().to != 0)
        return;
    TimeRange &loss = losses.last();
    const PixelColumn after = series->neighbour(quantity, loss.from + 1, false);
    if (after.isEmpty())
        return;
    loss.to = after.firstTime;
    if (!isGap(series->neighbour(quantity, loss.from + 1, true), after))
        losses.removeLast(); // the sensor kept its samples and sent them later
}

PlotSensor *PlotModel::sensor(const QString &serial) const
{
    for (const auto &sensor : sensors)
        if (sensor->serial == serial)
            return sensor.get();
    return nullptr;
}

QVector<int> PlotModel::shownQuantities() const
{
    QVector<int> result;
    for (const int quantity : quantities)
        if (quantity != noQuantity && !result.contains(quantity))
            result.append(quantity);
    return result;
}

TimeRange PlotModel::dataRange() const
{
    TimeRange result;
    for (const auto &sensor : sensors) {
        const TimeRange range = sensor->series->range();
        if (!sensor->visible || range.isEmpty())
            continue;
        result.from = result.isEmpty() ? range.from : std::min(result.from, range.from);
        result.to = std::max(result.to, range.to);
    }
    return result;
}

bool PlotModel::update()
{
    const TimeRange before = view.visible();
    const ValueSpan spansBefore[2] = {view.values(PlotView::Left), view.values(PlotView::Right)};
    const TimeRange data = dataRange();
    view.setData(data);
    timeAxis.setOrigin(origin ? origin : data.from);
    for (const auto &sensor : sensors)
        sensor->closeLoss(quantities[PlotView::Left]);
    for (const auto axis : {PlotView::Left, PlotView::Right}) {
        ValueRange extremes;
        for (const auto &sensor : sensors)
            if (hasAxis(axis) && sensor->shows(axis))
                extremes.add(sensor->series->extremes(quantities[axis], view.visible()));
        if (!extremes.isEmpty())
            view.setExtremes(axis, double(extremes.low), double(extremes.high));
    }
    return view.visible() != before || view.values(PlotView::Left) != spansBefore[0] ||
           view.values(PlotView::Right) != spansBefore[1];
}

std::optional<TimeRange> PlotModel::cursorRange() const
{
    if (!cursors[0] || !cursors[1] || *cursors[0] == *cursors[1])
        return std::nullopt;
    return TimeRange{std::min(*cursors[0], *cursors[1]), std::max(*cursors[0], *cursors[1])};
}

QString PlotModel::quantityName(int quantity)
{
    return ::quantityName(quantity);
}

QString PlotModel::quantityUnit(int quantity)
{
    return ::quantityUnit(quantity);
}

quint64 PlotModel::neighbourMark(quint64 time, bool forward) const
{
    quint64 best = 0;
    const auto consider = [&best, time, forward](quint64 candidate) {
        if (forward ? candidate <= time : candidate >= time)
            return;
        if (best == 0 || (forward ? candidate < best : candidate > best))
            best = candidate;
    };
    for (const auto &sensor : sensors) {
        if (!sensor->visible)
            continue;
        for (const EventRow &event : sensor->records->events)
            if (sensor->lookOf(event).shown)
                consider(event.time);
        for (const RunRow &run : sensor->records->runs)
            consider(run.record.start);
    }
    return best;
}
