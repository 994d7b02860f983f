#pragma once

#include "display/pooltasks.h"
#include "display/recordset.h"
#include "display/sessionview.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <memory>
#include <vector>

/// The runs and events of all sensors of a session, for the views that list them. Read on a pool thread when the counts
/// of a store changed, at most once a second; what was read is replaced as a whole, so a list that holds it may go on
/// using it. GUI thread; owned by the views of the session.
class SessionRecords : public QObject
{
    Q_OBJECT

public:
    struct Sensor
    {
        ViewSensor view;
        std::shared_ptr<const RecordSet> records; // never null
        bool known = false;                       // read at least once
    };

    explicit SessionRecords(QObject *parent = nullptr);

    void setSensors(const QVector<ViewSensor> &sensors);
    /// Looks whether there is something new, and starts to read it.
    void refresh();

    const QVector<Sensor> &sensors() const { return m_sensors; }
    int indexOf(const QString &serial) const;
    /// Something is being read for the first time.
    bool isReading() const;

signals:
    /// Of the records or the sensors.
    void changed();

private:
    struct Seen
    {
        int events = -1;
        int runs = -1;
        bool running = false;
        qint64 readAt = 0; // of m_clock, ms
    };

    void start(int index);
    void take(const QString &serial, const std::shared_ptr<norvexData> &store, const Seen &seen, RecordSet &&set);

    QVector<Sensor> m_sensors;
    std::vector<Seen> m_seen; // as m_sensors
    QElapsedTimer m_clock;
    QTimer m_later; // looks again at what came too soon after a reading
    PoolTasks m_tasks;
};
