#include "display/runlistmodel.h"

namespace {

/// The types that are counted, in the order of their columns: a run holds no run.
const QVector<int> &countedTypes()
{
    using namespace eventtype;
    static const QVector<int> types{E11, E12, E13, E21, E22, E23, E31, E32, E33, PulseEvent, Snapshot, NotAnEvent};
    return types;
}

QVector<RecordModel::Column> columns()
{
    QVector<RecordModel::Column> list{
        {QStringLiteral("#"), QStringLiteral("Number of the run, by start"), true, 4},
        {QStringLiteral("Start"), QString(), false, 16, true},
        {QStringLiteral("Duration [s]"), QString(), true, 9},
        {QStringLiteral("Mean V [V]"), QStringLiteral("Mean voltage of its samples"), true, 8},
        {QStringLiteral("Mean I [A]"), QStringLiteral("Mean current of its samples"), true, 8},
        {QStringLiteral("Recipe"), QString(), false, 14},
        {QStringLiteral("Sensor"), QString(), false, 16},
        {QStringLiteral("Events"), QStringLiteral("All events in the run"), true, 6},
    };
    for (const int code : countedTypes())
        list.append({eventtype::name(code), QStringLiteral("Events of type %1").arg(eventtype::name(code)), true, 5});
    return list;
}

QString dashForZero(int count)
{
    return count ? QString::number(count) : QStringLiteral("–");
}

} // namespace

RunListModel::RunListModel(QObject *parent) : RecordModel(columns(), Start, Qt::AscendingOrder, parent) {}

const RunRow *RunListModel::run(int at) const
{
    return at >= 0 && at < rowCount() ? &row(place(at)) : nullptr;
}

QString RunListModel::sensorLabel(int at) const
{
    return at >= 0 && at < rowCount() ? sensorOf(place(at)).view.label : QString();
}

QString RunListModel::cell(const Place &place, int column) const
{
    const RunRow &run = row(place);
    switch (column) {
    case Number:
        return QString::number(run.number);
    case Start:
        return timeAxis().moment(run.record.start);
    case Duration:
        return QString::number(double(run.record.end - run.record.start) * 1e-6, 'f', 3);
    case MeanVoltage:
        return QString::number(run.record.meanVoltage, 'f', 2);
    case MeanCurrent:
        return QString::number(run.record.meanCurrent, 'f', 3);
    case RecipeName:
        return run.record.recipe.recipeName();
    case Sensor:
        return sensorOf(place).view.label;
    case Events:
        return dashForZero(run.events());
    default:
        return dashForZero(run.counts[std::size_t(countedTypes().at(column - FirstType))]);
    }
}

int RunListModel::compare(const Place &left, const Place &right, int column) const
{
    const RunRow &a = row(left);
    const RunRow &b = row(right);
    switch (column) {
    case Number:
        return order(a.number, b.number);
    case Start:
        return order(a.record.start, b.record.start);
    case Duration:
        return order(a.record.end - a.record.start, b.record.end - b.record.start);
    case MeanVoltage:
        return order(a.record.meanVoltage, b.record.meanVoltage);
    case MeanCurrent:
        return order(a.record.meanCurrent, b.record.meanCurrent);
    case RecipeName:
        return a.record.recipe.recipeName().compare(b.record.recipe.recipeName(), Qt::CaseInsensitive);
    case Sensor:
        return order(sensorOf(left).view.label, sensorOf(right).view.label);
    case Events:
        return order(a.events(), b.events());
    default: {
        const auto code = std::size_t(countedTypes().at(column - FirstType));
        return order(a.counts[code], b.counts[code]);
    }
    }
}
