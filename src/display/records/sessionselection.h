#pragma once

#include "data/norvexdata.h"
#include "display/records/timerange.h"

#include <QObject>
#include <QString>

/// What is chosen, the same in every view of a session: a sensor, a period, a run or an event. A view that the user
/// chooses in calls a setter; all views, that one as well, follow the signals. Setting what is already set says
/// nothing, so views that answer each other end. GUI thread; owned by the session form.
class SessionSelection : public QObject
{
    Q_OBJECT

public:
    explicit SessionSelection(QObject *parent = nullptr) : QObject(parent) {}

    /// Serial of the sensor that the selected run or event belongs to; empty: none is selected.
    const QString &sensor() const { return m_sensor; }
    /// Start of the selected run, µs since the epoch; 0: none.
    quint64 run() const { return m_run; }
    /// Time of the selected event, µs since the epoch; 0: none. Its type code tells two of one time apart.
    quint64 event() const { return m_event; }
    int eventCode() const { return m_eventCode; }
    const TimeRange &period() const { return m_period; }

    void selectRun(const QString &sensor, quint64 start)
    {
        if (sensor == m_sensor && start == m_run)
            return;
        m_sensor = sensor;
        m_run = start;
        emit runSelected(sensor, start);
    }
    void selectEvent(const QString &sensor, quint64 time, int typeCode)
    {
        if (sensor == m_sensor && time == m_event && typeCode == m_eventCode)
            return;
        m_sensor = sensor;
        m_event = time;
        m_eventCode = typeCode;
        emit eventSelected(sensor, time, typeCode);
    }
    void selectPeriod(const TimeRange &period)
    {
        if (period.from == m_period.from && period.to == m_period.to)
            return;
        m_period = period;
        emit periodSelected(period);
    }

signals:
    void runSelected(const QString &sensor, quint64 start);
    void eventSelected(const QString &sensor, quint64 time, int typeCode);
    void periodSelected(const TimeRange &period);

private:
    QString m_sensor;
    quint64 m_run = 0;
    quint64 m_event = 0;
    int m_eventCode = -1;
    TimeRange m_period;
};
