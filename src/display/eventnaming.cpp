#include "display/eventnaming.h"

#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "events/eventfilter.h"
#include "events/eventmatching.h"
#include "events/eventtypenames.h"

namespace {

constexpr qint64 lookPeriodMs = 3000;

} // namespace

EventNaming::EventNaming(::eventFilter &filter, const eventTypeNames &dictionary, QObject *parent)
    : QObject(parent), m_filter(filter), m_dictionary(dictionary)
{
    m_sinceLook.start();
    connect(&m_dictionary, &eventTypeNames::dictionaryUpdated, this, &EventNaming::restart);
}

EventNaming::~EventNaming() = default;

void EventNaming::addSensor(const std::shared_ptr<norvexData> &store)
{
    Sensor &sensor = m_sensors[store];
    sensor.job = std::make_unique<EventMatchJob>();
    connect(sensor.job.get(), &EventMatchJob::finished, this, [this, store](const EventMatches &matches) {
        const auto at = m_sensors.find(store);
        if (at == m_sensors.end() || matches.cancelled)
            return;
        at->second.names = matches.names;
        at->second.counts = matches.counts;
        addUp();
    });
    connect(sensor.job.get(), &EventMatchJob::progress, this, [this](qint64 done, qint64 total) {
        if (total > 0 && m_dictionary.userTypeCount() > 0)
            emit activity(tr("Matching event types: %1 %").arg(qBound<qint64>(0, done * 100 / total, 100)));
    });
    start(store, sensor);
}

void EventNaming::removeSensor(const std::shared_ptr<norvexData> &store)
{
    m_sensors.erase(store);
    addUp();
}

void EventNaming::refresh()
{
    if (m_sinceLook.elapsed() < lookPeriodMs)
        return;
    m_sinceLook.start();
    for (auto &[store, sensor] : m_sensors) {
        if (store->eventCount() != sensor.seenEvents && !sensor.job->isRunning())
            start(store, sensor);
    }
}

void EventNaming::restart()
{
    for (auto &[store, sensor] : m_sensors)
        start(store, sensor);
}

void EventNaming::start(const std::shared_ptr<norvexData> &store, Sensor &sensor)
{
    sensor.seenEvents = store->eventCount();
    QVector<eventType> types;
    const QVector<eventType> enabled = m_filter.enabledTypes();
    for (const eventType &type : enabled) {
        if (type.direction != eventType::None)
            types.append(type);
    }
    sensor.job->start(store, types);
}

QString EventNaming::nameOf(const EventRecord &event) const
{
    const EventKey key = keyOf(event);
    for (const auto &[store, sensor] : m_sensors) {
        const auto name = sensor.names.constFind(key);
        if (name != sensor.names.cend())
            return *name;
    }
    return eventtype::name(event.effectiveCode());
}

void EventNaming::addUp()
{
    m_counts.clear();
    for (const auto &[store, sensor] : m_sensors) {
        for (auto it = sensor.counts.cbegin(); it != sensor.counts.cend(); ++it)
            m_counts[it.key()] += it.value();
    }
    emit activity(QString());
    emit changed();
}
