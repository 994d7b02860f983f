#include "display/records/sessionrecords.h"

#include "data/norvexdata.h"

#include <algorithm>

namespace {
constexpr qint64 restMs = 200; // at least, between two readings of a sensor
constexpr qint64 longestRest = 2000;
constexpr qint64 restFactor = 10;   // of the time that a reading took
constexpr qint64 patienceMs = 1000; // for comparing events, until what is known is shown
} // namespace

SessionRecords::SessionRecords(QObject *parent) : QObject(parent), m_tasks(this)
{
    m_clock.start();
    m_later.setSingleShot(true);
    m_later.setInterval(int(restMs));
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

bool SessionRecords::isUpToDate() const
{
    for (int i = 0; i < m_sensors.size(); ++i)
        if (m_sensors.at(i).view.on && (m_seen[std::size_t(i)].running || hasNews(i)))
            return false;
    return true;
}

QHash<QString, int> SessionRecords::counts() const
{
    QHash<QString, int> counts;
    for (const Sensor &sensor : m_sensors) {
        if (!sensor.view.on)
            continue;
        const QVector<int> own = sensor.records->counts();
        for (int type = 0; type < own.size(); ++type)
            if (own.at(type) > 0)
                counts[sensor.records->typeNames.at(type)] += own.at(type);
    }
    return counts;
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
    emit eventsReset();
    emit changed();
    refresh();
}

void SessionRecords::setUserTypes(const QVector<eventType> &types)
{
    if (types == m_userTypes)
        return;
    m_userTypes = types;
    refresh();
}

void SessionRecords::readAgain()
{
    for (Seen &seen : m_seen)
        seen.again = true;
    refresh();
}

bool SessionRecords::hasNews(int index) const
{
    const Sensor &sensor = m_sensors.at(index);
    const Seen &seen = m_seen[std::size_t(index)];
    return sensor.view.store->eventCount() != seen.events || sensor.view.store->runCount() != seen.runs || seen.again ||
           sensor.records->userTypes != m_userTypes || sensor.records->compared < sensor.records->events.size();
}

void SessionRecords::refresh()
{
    for (int i = 0; i < m_sensors.size(); ++i) {
        const Sensor &sensor = m_sensors.at(i);
        const Seen &seen = m_seen[std::size_t(i)];
        if (!sensor.view.on || seen.running || !hasNews(i))
            continue;
        const bool ordered = seen.again || sensor.records->userTypes != m_userTypes ||
                             sensor.records->compared < sensor.records->events.size();
        const qint64 rest = std::clamp(seen.tookMs * restFactor, restMs, longestRest);
        if (!sensor.known || ordered || m_clock.elapsed() - seen.readAt >= rest)
            start(i);
        else if (!m_later.isActive())
            m_later.start();
    }
}

void SessionRecords::start(int index)
{
    Seen &seen = m_seen[std::size_t(index)];
    const Sensor &sensor = m_sensors.at(index);
    Seen now;
    now.events = sensor.view.store->eventCount();
    now.runs = sensor.view.store->runCount();
    now.readAt = m_clock.elapsed();
    RecordReading reading;
    reading.numbers = m_numbers;
    reading.known = sensor.records;
    reading.again = seen.again;
    reading.userTypes = m_userTypes;
    reading.patienceMs = patienceMs;
    seen.running = true;
    seen.again = false;
    m_tasks.start(
        [store = sensor.view.store, reading](const std::atomic<bool> &cancelled) {
            QElapsedTimer clock;
            clock.start();
            Outcome outcome;
            outcome.set = readRecords(*store, reading, cancelled);
            outcome.onlyMore = addedEvents(*reading.known, outcome.set, outcome.added);
            outcome.tookMs = clock.elapsed();
            return outcome;
        },
        [this, serial = sensor.view.serial, store = sensor.view.store, now,
         whole = reading.again](Outcome &&outcome) mutable {
            // Fewer than there were to be: some came late, before what was known.
            now.again = !whole && (outcome.set.events.size() < now.events || outcome.set.runs.size() < now.runs);
            now.tookMs = outcome.tookMs;
            take(serial, store, now, std::move(outcome));
        });
}

void SessionRecords::take(const QString &serial, const std::shared_ptr<norvexData> &store, const Seen &seen,
                          Outcome &&outcome)
{
    const int index = indexOf(serial);
    if (index < 0 || m_sensors.at(index).view.store != store)
        return;
    const bool asked = m_seen[std::size_t(index)].again; // meanwhile
    m_seen[std::size_t(index)] = seen;
    m_seen[std::size_t(index)].again = seen.again || asked;
    Sensor &sensor = m_sensors[index];
    sensor.records = std::make_shared<const RecordSet>(std::move(outcome.set));
    sensor.known = true;
    if (sensor.view.on && !outcome.onlyMore)
        emit eventsReset();
    else if (sensor.view.on && !outcome.added.isEmpty())
        emit eventsAdded(outcome.added);
    emit changed();
    tellActivity();
    refresh();
}

void SessionRecords::tellActivity()
{
    int events = 0;
    int compared = 0;
    for (const Sensor &sensor : qAsConst(m_sensors)) {
        if (!sensor.view.on)
            continue;
        events += sensor.records->events.size();
        compared += sensor.records->compared;
    }
    if (compared == events && !m_told)
        return;
    m_told = compared < events;
    emit activity(m_told ? tr("Matching event types: %1 %").arg(qint64(compared) * 100 / events) : QString());
}
