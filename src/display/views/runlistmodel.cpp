#include "display/views/runlistmodel.h"

#include <QCoreApplication>

#include <numeric>

namespace {

QVector<RecordModel::Column> columns(const QStringList &types)
{
    QVector<RecordModel::Column> list{
        {QStringLiteral("#"), QCoreApplication::translate("runlistmodel", "Number of the run, by start"), true, 4},
        {QCoreApplication::translate("runlistmodel", "Start"), QString(), false, 18, true},
        {QCoreApplication::translate("runlistmodel", "Duration [s]"), QString(), true, 9},
        {QCoreApplication::translate("runlistmodel", "Mean V [V]"),
         QCoreApplication::translate("runlistmodel", "Mean voltage of its samples"), true, 8},
        {QCoreApplication::translate("runlistmodel", "Mean I [A]"),
         QCoreApplication::translate("runlistmodel", "Mean current of its samples"), true, 8},
        {QCoreApplication::translate("runlistmodel", "Recipe"), QString(), false, 14},
        {QCoreApplication::translate("runlistmodel", "Sensor"), QString(), false, 16},
        {QCoreApplication::translate("runlistmodel", "Events"),
         QCoreApplication::translate("runlistmodel", "Events in the run, of the types that are shown"), true, 6},
    };
    for (const QString &type : types)
        list.append({type, QCoreApplication::translate("runlistmodel", "Events of type %1").arg(type.toHtmlEscaped()),
                     true, 5});
    return list;
}

QString dashForZero(int count)
{
    return count ? QString::number(count) : QStringLiteral("–");
}

} // namespace

RunListModel::RunListModel(QObject *parent) : RecordModel(columns({}), Start, Qt::AscendingOrder, parent) {}

void RunListModel::setTypes(const QVector<int> &types, const QStringList &names)
{
    if (types == m_types)
        return;
    m_types = types;
    QStringList titles;
    for (const int type : types)
        titles.append(names.at(type));
    setColumns(columns(titles));
}

int RunListModel::events(const RunRow &run) const
{
    return std::accumulate(m_types.begin(), m_types.end(), 0,
                           [&run](int sum, int type) { return sum + run.count(type); });
}

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
        return dashForZero(events(run));
    default:
        return dashForZero(run.count(m_types.value(column - FirstType)));
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
        return order(events(a), events(b));
    default:
        return order(a.count(m_types.value(column - FirstType)), b.count(m_types.value(column - FirstType)));
    }
}
