#pragma once

#include "display/records/pooltasks.h"
#include "display/records/recordset.h"
#include "display/records/sessionview.h"
#include "display/records/typenumbers.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <memory>
#include <vector>

/// The runs and events of all sensors of a session, for whatever shows them: lists, charts, overlays, plots and the
/// event filter. Read on a pool thread when the counts of a store changed; what was read is replaced as a whole, so
/// whoever holds it may go on using it. Events are compared with the enabled types of the user there, in slices: until
/// that is done they go by their own names. GUI thread; owned by the views of the session.
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
    /// The enabled types of the user, in the order in which they are tried.
    void setUserTypes(const QVector<eventType> &types);
    /// Looks whether there is something new, and starts to read it.
    void refresh();
    /// Everything is read again: stored codes changed.
    void readAgain();

    const QVector<Sensor> &sensors() const { return m_sensors; }
    int indexOf(const QString &serial) const;
    /// Something is being read for the first time.
    bool isReading() const;
    /// What is stored, and the names of all events, are as they are going to be shown.
    bool isUpToDate() const;
    /// The names that events are shown under, by number; they only become more.
    QStringList typeNames() const { return m_numbers->names(); }
    /// How many events of the displayed sensors there are of each name.
    QHash<QString, int> counts() const;

signals:
    /// Of the records or the sensors.
    void changed();
    /// Beside those that were there; changed() follows.
    void eventsAdded(const QVector<EventRow> &events);
    /// Events of a sensor were exchanged, or go by other names; changed() follows.
    void eventsReset();
    /// "Matching event types: 42 %", empty when nothing is going on.
    void activity(const QString &text);

private:
    struct Seen
    {
        int events = -1;
        int runs = -1;
        bool running = false;
        bool again = false; // to be read from the start
        qint64 readAt = 0;  // of m_clock, ms
        qint64 tookMs = 0;
    };
    struct Outcome
    {
        RecordSet set;
        QVector<EventRow> added;
        bool onlyMore = false;
        qint64 tookMs = 0;
    };

    bool hasNews(int index) const;
    void start(int index);
    void take(const QString &serial, const std::shared_ptr<norvexData> &store, const Seen &seen, Outcome &&outcome);
    void tellActivity();

    const std::shared_ptr<TypeNumbers> m_numbers = std::make_shared<TypeNumbers>();
    QVector<eventType> m_userTypes;
    QVector<Sensor> m_sensors;
    std::vector<Seen> m_seen; // as m_sensors
    QElapsedTimer m_clock;
    QTimer m_later;      // looks again at what came too soon after a reading
    bool m_told = false; // that something is going on
    PoolTasks m_tasks;
};
