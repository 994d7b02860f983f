#include "display/views/eventlistmodel.h"

#include <QCoreApplication>

#include <cmath>

namespace {

QVector<RecordModel::Column> columns()
{
    return {
        {QCoreApplication::translate("eventlistmodel", "Class"),
         QCoreApplication::translate("eventlistmodel", "Type of the event"), false, 11},
        {QCoreApplication::translate("eventlistmodel", "Time"),
         QCoreApplication::translate("eventlistmodel", "Start of its waveform"), false, 18, true},
        {QCoreApplication::translate("eventlistmodel", "Amplitude [V]"),
         QCoreApplication::translate("eventlistmodel", "Largest deviation from the voltage before it"), true, 9},
        {QStringLiteral("[%]"),
         QCoreApplication::translate("eventlistmodel", "Amplitude in percent of the voltage before it"), true, 6},
        {QCoreApplication::translate("eventlistmodel", "Length [µs]"),
         QCoreApplication::translate("eventlistmodel", "From the first to the last point of its waveform"), true, 8},
        {QCoreApplication::translate("eventlistmodel", "Run"),
         QCoreApplication::translate("eventlistmodel", "Number of the run it lies in"), true, 5},
        {QCoreApplication::translate("eventlistmodel", "Step"),
         QCoreApplication::translate("eventlistmodel", "Recipe step it lies in"), false, 10},
        {QCoreApplication::translate("eventlistmodel", "Sensor"), QString(), false, 18},
    };
}

} // namespace

EventListModel::EventListModel(Icon icon, QObject *parent)
    : RecordModel(columns(), Time, Qt::AscendingOrder, parent), m_icon(std::move(icon))
{}

void EventListModel::setHiddenTypes(const QSet<QString> &names)
{
    if (names == m_hiddenNames)
        return;
    m_hiddenNames = names;
    rebuild();
}

const EventRow *EventListModel::eventAt(int at) const
{
    return at >= 0 && at < rowCount() ? &row(place(at)) : nullptr;
}

QString EventListModel::typeName(int at) const
{
    return at >= 0 && at < rowCount() ? typeName(place(at)) : QString();
}

void EventListModel::forgetIcons()
{
    m_icons.clear();
    redraw();
}

bool EventListModel::accepts(const Place &place) const
{
    return m_hiddenNames.isEmpty() || !m_hiddenNames.contains(typeName(place));
}

double EventListModel::percent(const EventRow &event)
{
    return event.base != 0 ? 100 * std::abs(event.amplitude / event.base) : 0;
}

QString EventListModel::cell(const Place &place, int column) const
{
    const EventRow &event = row(place);
    switch (column) {
    case Type:
        return typeName(place);
    case Time:
        return timeAxis().moment(event.time);
    case Amplitude:
        return QString::number(event.amplitude, 'f', 1);
    case Percent:
        return event.base != 0 ? QString::number(percent(event), 'f', 1) : QString();
    case Length:
        return QString::number(event.end - event.time);
    case Run:
        return event.run >= 0 ? QString::number(event.run + 1) : QString();
    case Step:
        return event.step >= 0 ? stepName(records(place).runs.at(event.run).record, event.step) : QString();
    case Sensor:
        return sensorOf(place).view.label;
    default:
        return {};
    }
}

QVariant EventListModel::decoration(const Place &place, int column) const
{
    if (column != Type || !m_icon)
        return {};
    const QString name = typeName(place);
    auto icon = m_icons.find(name);
    if (icon == m_icons.end())
        icon = m_icons.insert(name, m_icon(name));
    return *icon;
}

int EventListModel::compare(const Place &left, const Place &right, int column) const
{
    const EventRow &a = row(left);
    const EventRow &b = row(right);
    switch (column) {
    case Type:
        return order(a.type, b.type); // built-in ones first
    case Amplitude:
        return order(std::abs(a.amplitude), std::abs(b.amplitude));
    case Percent:
        return order(percent(a), percent(b));
    case Length:
        return order(a.end - a.time, b.end - b.time);
    case Run:
        return order(a.run, b.run);
    case Step:
        return order(a.step, b.step);
    case Sensor:
        return order(sensorOf(left).view.label, sensorOf(right).view.label);
    default:
        return order(a.time, b.time);
    }
}
