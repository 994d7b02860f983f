#pragma once

#include "data/abstractnorvexdata.h"
#include "events/eventtype.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QString>
#include <QVector>

#include <map>
#include <memory>

class EventMatchJob;
class eventFilter;
class eventTypeNames;
class norvexData;

/// The names that events are shown under, as they are known at one time. A value; any thread may hold one.
class EventNames
{
public:
    QString of(const EventRecord &event) const;

private:
    friend class EventNaming;
    QVector<QHash<EventKey, QString>> m_matched; // of each sensor, the events that match a type of the user
};

/// Under which name every stored event is shown: that of the first enabled type of the user that its waveform matches,
/// else its own; and how many there are of each. Stores are gone through on a thread of their own, again when events
/// came, the enabled types changed or other sensors are shown. GUI thread; filter and dictionary must outlive it.
class EventNaming : public QObject
{
    Q_OBJECT

public:
    EventNaming(::eventFilter &filter, const eventTypeNames &dictionary, QObject *parent = nullptr);
    ~EventNaming() override;

    void addSensor(const std::shared_ptr<norvexData> &store);
    void removeSensor(const std::shared_ptr<norvexData> &store);
    /// Looks whether events came; cheap, and at most once in a few seconds.
    void refresh();
    /// Everything is gone through again: the types or the stored codes changed.
    void restart();

    /// For whoever names events in another thread, too.
    EventNames names() const;
    /// By the names the events are shown under, of all sensors.
    const QHash<QString, int> &counts() const { return m_counts; }

signals:
    void changed();
    /// "Matching event types: 42 %", empty when nothing is going on.
    void activity(const QString &text);

private:
    struct Sensor
    {
        std::unique_ptr<EventMatchJob> job;
        int seenEvents = -1;
        QHash<EventKey, QString> names;
        QHash<QString, int> counts;
    };

    QVector<eventType> userTypes() const;
    void filterChanged();
    void start(const std::shared_ptr<norvexData> &store, Sensor &sensor);
    void addUp();

    ::eventFilter &m_filter;
    const eventTypeNames &m_dictionary;
    std::map<std::shared_ptr<norvexData>, Sensor> m_sensors;
    QVector<eventType> m_types; // that the events are compared with
    QHash<QString, int> m_counts;
    QElapsedTimer m_sinceLook;
};
