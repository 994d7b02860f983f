#include "display/sessionfacts.h"

#include "display/sessionview.h"
#include "export/exportevents.h"

#include <algorithm>

SessionFacts::SessionFacts(QObject *parent) : QObject(parent)
{
    m_pool.setMaxThreadCount(1); // files are read in order, and other readers have work, too
}

SessionFacts::~SessionFacts()
{
    qDeleteAll(m_stores); // before the pool waits for their readings
}

StoreFacts *SessionFacts::of(const std::shared_ptr<norvexData> &store)
{
    StoreFacts *&facts = m_stores[store.get()];
    if (!facts) {
        facts = new StoreFacts(store, m_types, &m_pool);
        facts->setUserTypes(m_userTypes);
    }
    return facts;
}

void SessionFacts::retain(const QVector<ViewSensor> &sensors)
{
    for (auto it = m_stores.begin(); it != m_stores.end();) {
        const bool wanted = std::any_of(sensors.begin(), sensors.end(),
                                        [&](const ViewSensor &sensor) { return sensor.store.get() == it.key(); });
        if (wanted) {
            ++it;
            continue;
        }
        (*it)->deleteLater();
        it = m_stores.erase(it);
    }
}

void SessionFacts::setUserTypes(const QVector<eventType> &types)
{
    m_userTypes = types;
    for (StoreFacts *facts : qAsConst(m_stores))
        facts->setUserTypes(types);
}

void SessionFacts::refresh()
{
    for (StoreFacts *facts : qAsConst(m_stores))
        facts->refresh();
}

QVector<QVector<int>> eventsInRuns(const QVector<RunRecord> &runs, const QVector<EventFact> &events, int types)
{
    QVector<QVector<quint64>> starts(types);
    QVector<QVector<quint64>> ends(types);
    for (const EventFact &event : events) {
        starts[event.type].append(event.time);
        ends[event.type].append(event.end);
    }
    QVector<QVector<int>> counts(runs.size(), QVector<int>(types));
    for (int type = 0; type < types; ++type) {
        const ExportEvents::Overlaps overlaps(std::move(starts[type]), std::move(ends[type]));
        for (int run = 0; run < runs.size(); ++run)
            counts[run][type] = overlaps.count(runs[run]);
    }
    return counts;
}
