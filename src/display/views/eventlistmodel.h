#pragma once

#include "display/views/recordmodel.h"

#include <QHash>
#include <QIcon>
#include <QSet>

#include <functional>

/// The events of the sensors that are switched on, those of enabled types. GUI thread; owned by the events view.
class EventListModel : public RecordModel
{
    Q_OBJECT

public:
    enum Column { Type, Time, Amplitude, Percent, Length, Run, Step, Sensor };

    /// What stands for a type beside its name; kept until forgetIcons().
    using Icon = std::function<QIcon(const QString &type)>;

    EventListModel(Icon icon, QObject *parent);

    /// Names of types that are not shown.
    void setHiddenTypes(const QSet<QString> &names);
    /// nullptr out of range.
    const EventRow *eventAt(int row) const;
    /// Under which it is shown.
    QString typeName(int row) const;
    /// Icons of another theme or scale.
    void forgetIcons();

protected:
    int count(const SessionRecords::Sensor &sensor) const override { return sensor.records->events.size(); }
    bool accepts(const Place &place) const override;
    TimeRange range(const Place &place) const override { return {row(place).time, row(place).end}; }
    qint32 typeCode(const Place &place) const override { return row(place).typeCode; }
    const QString &typeName(const Place &place) const { return records(place).nameOf(row(place)); }
    QString cell(const Place &place, int column) const override;
    QVariant decoration(const Place &place, int column) const override;
    int compare(const Place &a, const Place &b, int column) const override;

private:
    const EventRow &row(const Place &place) const { return records(place).events.at(place.index); }
    static double percent(const EventRow &event);

    const Icon m_icon;
    QSet<QString> m_hiddenNames;
    mutable QHash<QString, QIcon> m_icons;
};
