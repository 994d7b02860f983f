#pragma once

#include "display/views/recordmodel.h"

/// The runs of the sensors that are switched on, or the stretches that a search found instead. GUI thread; owned by the
/// runs view.
class RunListModel : public RecordModel
{
    Q_OBJECT

public:
    enum Column { Number, Start, Duration, MeanVoltage, MeanCurrent, RecipeName, Sensor, Events, FirstType };

    explicit RunListModel(QObject *parent);

    /// The event types that are counted, by number, a column for each.
    void setTypes(const QVector<int> &types, const QStringList &names);

    /// nullptr out of range.
    const RunRow *run(int row) const;
    QString sensorLabel(int row) const;

protected:
    int count(const SessionRecords::Sensor &sensor) const override { return sensor.records->runs.size(); }
    bool accepts(const Place &) const override { return true; }
    TimeRange range(const Place &place) const override { return {row(place).record.start, row(place).record.end}; }
    qint32 typeCode(const Place &) const override { return eventtype::RfOn; }
    QString cell(const Place &place, int column) const override;
    int compare(const Place &a, const Place &b, int column) const override;

private:
    const RunRow &row(const Place &place) const { return records(place).runs.at(place.index); }
    int events(const RunRow &run) const;

    QVector<int> m_types;
};
