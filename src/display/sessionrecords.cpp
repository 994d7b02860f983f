#include "display/sessionrecords.h"

#include "data/norvexdata.h"

#include <algorithm>

namespace {
constexpr int restMs = 1000; // between two readings of a sensor
}

SessionRecords::SessionRecords(QObject *parent) : QObject(parent), m_tasks(this)
{
    m_clock.start();
    m_later.setSingleShot(true);
    m_later.setInterval(restMs);
    connect(&m_later, &QTimer::timeout, this, &SessionRecords::refresh);
}

int SessionRecords::indexOf(const QString &serial) const
{
    for (int i = 0; i < m_sensors.size(); ++i)
        if (m_sensors.at(i).view.serial == serial)
            return i;
    return -1;
}

bool SessionRecords::isReading() const
{
    return std::any_of(m_sensors.begin(), m_sensors.end(), [](const Sensor &s) { return s.view.on && !s.known; });
}

void SessionRecords::setSensors(const QVector<ViewSensor> &sensors)
{
    QVector<Sensor> kept;
    std::vector<Seen> seen;
    for (const ViewSensor &view : sensors) {
        const int old = indexOf(view.serial);
        const bool same = old >= 0 && m_sensors.at(old).view.store == view.store;
        Sensor sensor = same ? m_sensors.at(old) : Sensor{view, std::make_shared<const RecordSet>(), false};
        sensor.view = view;
        kept.append(sensor);
        seen.push_back(same ? m_seen[std::size_t(old)] : Seen());
    }
    m_sensors = kept;
    m_seen = seen;
    emit changed();
}

void SessionRecords::refresh()
{
    for (int i = 0; i < m_sensors.size(); ++i) {
        const Seen &seen = m_seen[std::size_t(i)];
        const norvexData &store = *m_sensors.at(i).view.store;
        if (!m_sensors.at(i).view.on || seen.running ||
            (store.eventCount() == seen.events && store.runCount() == seen.runs))
            continue;
        if (!m_sensors.at(i).known || m_clock.elapsed() - seen.readAt >= restMs)
            start(i);
        else if (!m_later.isActive())
            m_later.start();
    }
}

void SessionRecords::start(int index)
{
    Seen &seen = m_seen[std::size_t(index)];
    seen.running = true;
    const Sensor &sensor = m_sensors.at(index);
    const Seen now{sensor.view.store->eventCount(), sensor.view.store->runCount(), false, m_clock.elapsed()};
    // Read on, unless something had come late, before what was known then.
    const bool late = sensor.records->events.size() < seen.events || sensor.records->runs.size() < seen.runs;
    const std::shared_ptr<const RecordSet> known = late ? nullptr : sensor.records;
    m_tasks.start([store = sensor.view.store,
                   known](const std::atomic<bool> &cancelled) { return readRecords(*store, known.get(), cancelled); },
                  [this, serial = sensor.view.serial, store = sensor.view.store, now](RecordSet &&set) {
                      take(serial, store, now, std::move(set));
                  });
}

void SessionRecords::take(const QString &serial, const std::shared_ptr<norvexData> &store, const Seen &seen,
                          RecordSet &&set)
{
    const int index = indexOf(serial);
    if (index < 0 || m_sensors.at(index).view.store != store)
        return;
    m_seen[std::size_t(index)] = seen;
    Sensor &sensor = m_sensors[index];
    sensor.records = std::make_shared<const RecordSet>(std::move(set));
    sensor.known = true;
    emit changed();
}
