#include "display/plot/plotreadout.h"

#include <QCoreApplication>

#include <cmath>

namespace {

template <typename Visit>
void forEachCurve(const PlotModel &model, Visit visit)
{
    for (const auto &sensor : model.sensors)
        for (const auto axis : {PlotView::Left, PlotView::Right})
            if (model.hasAxis(axis) && sensor->shows(axis))
                visit(*sensor, axis, model.quantities[axis]);
}

QString curveName(const PlotModel &model, const PlotSensor &sensor, int quantity)
{
    const QString name = PlotModel::quantityName(quantity);
    return model.sensors.size() > 1 ? sensor.label + QStringLiteral(" ") + name : name;
}

QString inverseText(quint64 length)
{
    return valueText(1e6 / double(length), QStringLiteral("Hz"));
}

quint64 distance(quint64 a, quint64 b)
{
    return a > b ? a - b : b - a;
}

} // namespace

CrosshairReadout crosshairReadout(const PlotModel &model, quint64 time, quint64 reach)
{
    CrosshairReadout result;
    result.moment = model.timeAxis.moment(time);
    forEachCurve(model, [&](const PlotSensor &sensor, PlotView::Axis axis, int quantity) {
        const QString unit = PlotModel::quantityUnit(quantity);
        quint64 sampleTime = 0;
        float value = 0;
        QString text = QCoreApplication::translate("plotreadout", "no data");
        if (sensor.series->nearest(quantity, time, reach, sampleTime, value)) {
            text = valueText(double(value), unit);
        } else {
            const ValueRange range =
                sensor.series->extremes(quantity, {time - std::min(time, reach / 2), time + reach / 2});
            if (!range.isEmpty())
                text = valueText(double(range.low), unit) + QStringLiteral(" … ") + valueText(double(range.high), unit);
        }
        result.rows.append({&sensor, axis, curveName(model, sensor, quantity), text});
    });
    return result;
}

CursorReadout cursorReadout(const PlotModel &model)
{
    CursorReadout result;
    for (int i = 0; i < 2; ++i)
        if (model.cursors[i])
            result.moments[i] = model.timeAxis.moment(*model.cursors[i]);
    const std::optional<TimeRange> range = model.cursorRange();
    if (range)
        result.summary =
            QStringLiteral("Δt %1, 1/Δt %2").arg(preciseDuration(range->length()), inverseText(range->length()));
    result.columns = QStringList{
        QCoreApplication::translate("plotreadout", "Curve"),   QCoreApplication::translate("plotreadout", "At 1"),
        QCoreApplication::translate("plotreadout", "At 2"),    QStringLiteral("Δ"),
        QCoreApplication::translate("plotreadout", "Minimum"), QCoreApplication::translate("plotreadout", "Maximum"),
        QCoreApplication::translate("plotreadout", "Mean"),    QStringLiteral("σ"),
        QCoreApplication::translate("plotreadout", "Samples")};
    const quint64 reach = std::max<quint64>(model.view.visible().length() / 50, 1);
    forEachCurve(model, [&](const PlotSensor &sensor, PlotView::Axis axis, int quantity) {
        const QString unit = PlotModel::quantityUnit(quantity);
        const QString none = QStringLiteral("–");
        QStringList cells{curveName(model, sensor, quantity)};
        double values[2] = {NAN, NAN};
        for (int i = 0; i < 2; ++i) {
            quint64 time = 0;
            float value = 0;
            if (model.cursors[i] && sensor.series->nearest(quantity, *model.cursors[i], reach, time, value))
                values[i] = double(value);
            cells.append(std::isnan(values[i]) ? none : valueText(values[i], unit));
        }
        const double difference = values[1] - values[0];
        cells.append(std::isnan(difference) ? none : valueText(difference, unit));
        const SeriesStatistics s = range ? sensor.series->statistics(quantity, *range) : SeriesStatistics();
        const bool any = !s.values.isEmpty();
        const bool counted = any && s.complete && s.samples > 0;
        cells.append(any ? valueText(double(s.values.low), unit) : none);
        cells.append(any ? valueText(double(s.values.high), unit) : none);
        cells.append(counted ? valueText(s.mean(), unit) : none);
        cells.append(counted ? valueText(s.deviation(), unit) : none);
        cells.append(counted ? QString::number(s.samples) : none);
        result.rows.append({&sensor, axis, cells});
    });
    return result;
}

QString CursorReadout::toText() const
{
    QString text;
    for (int i = 0; i < 2; ++i)
        if (!moments[i].isEmpty())
            text += QCoreApplication::translate("plotreadout", "Cursor %1\t%2\n").arg(i + 1).arg(moments[i]);
    if (!summary.isEmpty())
        text += summary + QLatin1Char('\n');
    text += columns.join(QLatin1Char('\t')) + QLatin1Char('\n');
    for (const Row &row : rows)
        text += row.cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
    return text;
}

EmptyState emptyState(const PlotModel &model)
{
    if (model.sensors.empty())
        return {QCoreApplication::translate(
                    "plotreadout", "No sensor in this session yet.\nConnect to a sensor and its data appear here."),
                QCoreApplication::translate("plotreadout", "Connect To Sensor")};
    bool anyVisible = false;
    bool anyCurve = false;
    bool connected = false;
    for (const auto &sensor : model.sensors) {
        anyVisible = anyVisible || sensor->visible;
        connected = connected || (sensor->visible && sensor->connected);
        for (const auto axis : {PlotView::Left, PlotView::Right})
            anyCurve = anyCurve || (model.hasAxis(axis) && sensor->shows(axis));
    }
    if (!anyVisible)
        return {QCoreApplication::translate(
                    "plotreadout", "No sensor is switched on for display.\nSwitch one on with the button on its card."),
                QCoreApplication::translate("plotreadout", "Show All Sensors")};
    if (model.view.data().isEmpty())
        return {connected ? QCoreApplication::translate(
                                "plotreadout",
                                "No data yet.\nThe first samples appear here as soon as the sensor sends them.")
                          : QCoreApplication::translate(
                                "plotreadout", "No data yet: no sensor is connected.\nThe card of a sensor says why."),
                QString()};
    if (!anyCurve)
        return {QCoreApplication::translate("plotreadout",
                                            "Every curve is hidden.\nClick an entry of the legend to show it again."),
                QCoreApplication::translate("plotreadout", "Show All Curves")};
    return {};
}

QString eventText(const PlotModel &model, const PlotSensor &sensor, const EventRow &event)
{
    QString text = QStringLiteral("%1, %2\n%3")
                       .arg(sensor.records->nameOf(event), sensor.label, model.timeAxis.moment(event.time));
    if (event.end > event.time)
        text += QCoreApplication::translate("plotreadout", "\nlasts %1")
                    .arg(preciseDuration(distance(event.end, event.time)));
    return text;
}

QString runText(const PlotModel &model, const PlotSensor &sensor, const RunRow &run)
{
    return QCoreApplication::translate("plotreadout", "Run %1, %2\n%3\nlasts %4, mean %5")
        .arg(run.number)
        .arg(sensor.label, model.timeAxis.moment(run.record.start),
             durationText(distance(run.record.end, run.record.start)),
             valueText(run.record.meanVoltage, QStringLiteral("V")));
}
