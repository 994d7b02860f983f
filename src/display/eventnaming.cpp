#include "display/eventnaming.h"

#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "events/eventfilter.h"
#include "events/eventmatching.h"
#include "events/eventtypenames.h"

namespace {

constexpr qint64 lookPeriodMs = 3000;

} // namespace

QString EventNames::of(const EventRecord &event) const
{
    const EventKey key = keyOf(event);
    for (const QHash<EventKey, QString> &names : m_matched) {
        const auto name = names.constFind(key);
        if (name != names.cend())
            return *name;
    }
    return event.named && !event.name.isEmpty() ? event.name : eventtype::name(event.effectiveCode());
}

EventNaming::EventNaming(::eventFilter &filter, const eventTypeNames &dictionary, QObject *parent)
    : QObject(parent), m_filter(filter), m_dictionary(dictionary), m_types(userTypes())
{
    m_sinceLook.start();
    // The filter tells of changes in the dictionary, too.
    connect(&m_filter, &::eventFilter::newFilter, this, &EventNaming::filterChanged);
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
    sensor.job->start(store, m_types);
}

QVector<eventType> EventNaming::userTypes() const
{
    QVector<eventType> types;
    for (const eventType &type : m_filter.enabledTypes()) {
        if (type.direction != eventType::None)
            types.append(type);
    }
    return types;
}

/// An event of a type that is no longer enabled goes by the next name that fits.
void EventNaming::filterChanged()
{
    const QVector<eventType> types = userTypes();
    if (types == m_types)
        return;
    m_types = types;
    restart();
}

EventNames EventNaming::names() const
{
    EventNames names;
    for (const auto &[store, sensor] : m_sensors) {
        if (!sensor.names.isEmpty())
            names.m_matched.append(sensor.names);
    }
    return names;
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
