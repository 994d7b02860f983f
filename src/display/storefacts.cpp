#include "display/storefacts.h"

#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "events/eventmatching.h"

#include <QHash>
#include <QMutex>
#include <QThreadPool>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>

namespace {

constexpr quint64 lateness = 10000000; // events closer to the newest may still come in any order
constexpr quint64 endOfTime = std::numeric_limits<quint64>::max();
constexpr quint64 firstSlice = 3600000000; // us
constexpr int fullSlice = 20000;           // events

} // namespace

TypeNumbers::TypeNumbers() : m_names(eventtype::names()) {}

int TypeNumbers::numberOf(const QString &name)
{
    int number = m_names.indexOf(name);
    if (number < 0) {
        number = m_names.size();
        m_names.append(name);
    }
    return number;
}

struct StoreFacts::Result
{
    quint64 from = 0;
    bool complete = false;
    int eventCount = 0;
    int runCount = 0;
    QVector<EventFact> events; // type: the code of a built-in one, else its place in `names` beyond those
    QStringList names;
    QVector<RunRecord> runs;
};

struct StoreFacts::Mailbox
{
    QMutex lock; // guards both below
    StoreFacts *receiver = nullptr;
    std::unique_ptr<Result> result;
    std::atomic<bool> cancelled{false};
};

/// One reading, on a pool thread.
struct StoreFacts::Job
{
    std::shared_ptr<norvexData> store;
    std::shared_ptr<Mailbox> mailbox;
    QVector<eventType> userTypes;
    Result result;
    QHash<QString, int> places;

    int typeOf(const EventRecord &event)
    {
        QString name;
        if (!userTypes.isEmpty() && canMatch(event, userTypes))
            name = eventtype::firstMatch(userTypes,
                                         event.samples.isEmpty() ? store->waveform(keyOf(event)) : event.samples);
        if (name.isEmpty() && !event.named && event.effectiveCode() >= 0 &&
            event.effectiveCode() < eventtype::builtInCount)
            return event.effectiveCode();
        if (name.isEmpty())
            name = StoreFacts::typeName(event);
        const auto known = places.constFind(name);
        if (known != places.constEnd())
            return *known;
        result.names.append(name);
        return places[name] = eventtype::builtInCount + result.names.size() - 1;
    }

    int read(quint64 from, quint64 to)
    {
        const QVector<EventRecord> events = store->eventsInRange(from, to);
        for (const EventRecord &event : events) {
            if (mailbox->cancelled)
                return 0;
            result.events.append({event.time, event.endTime(), event.typeCode, typeOf(event)});
        }
        return events.size();
    }

    /// In slices, so that a long list of whole events is never in memory at once.
    void readEvents()
    {
        const quint64 first = std::max(result.from, store->firstTime());
        const quint64 last = store->lastTime();
        read(result.from, first);
        quint64 slice = firstSlice;
        quint64 from = first;
        while (from < last && !mailbox->cancelled) {
            const quint64 to = last - from < slice ? last : from + slice;
            const int count = read(from, to);
            from = to;
            slice = count > fullSlice ? slice / 2 + 1 : count < fullSlice / 4 ? slice * 2 : slice;
        }
        read(std::max(from, first), endOfTime);
        std::sort(result.events.begin(), result.events.end());
    }

    void run()
    {
        readEvents();
        result.runs = store->runsInRange(0, endOfTime);
        std::stable_sort(result.runs.begin(), result.runs.end(),
                         [](const RunRecord &a, const RunRecord &b) { return a.start < b.start; });
        const QMutexLocker locker(&mailbox->lock);
        if (!mailbox->receiver)
            return;
        mailbox->result = std::make_unique<Result>(std::move(result));
        QMetaObject::invokeMethod(
            mailbox->receiver, [box = mailbox] { box->receiver->takeResult(); }, Qt::QueuedConnection);
    }
};

StoreFacts::StoreFacts(std::shared_ptr<norvexData> store, TypeNumbers &types, QThreadPool *pool, QObject *parent)
    : QObject(parent), m_store(std::move(store)), m_types(types), m_pool(pool), m_mailbox(std::make_shared<Mailbox>())
{
    m_mailbox->receiver = this;
}

StoreFacts::~StoreFacts()
{
    m_mailbox->cancelled = true;
    const QMutexLocker locker(&m_mailbox->lock);
    m_mailbox->receiver = nullptr;
}

QString StoreFacts::typeName(const EventRecord &event)
{
    if (event.named && !event.name.isEmpty())
        return event.name;
    const QString name = eventtype::name(event.effectiveCode());
    return name.isEmpty() ? QStringLiteral("unknown") : name;
}

void StoreFacts::setUserTypes(const QVector<eventType> &types)
{
    if (types == m_userTypes)
        return;
    m_userTypes = types;
    m_all = true;
}

void StoreFacts::refresh()
{
    if (m_running)
        return;
    if (!m_all && m_store->eventCount() == m_seenEvents && m_store->runCount() == m_seenRuns)
        return;
    quint64 from = 0;
    if (!m_all && !m_events.isEmpty())
        from = m_events.last().time - std::min(m_events.last().time, lateness);
    m_all = false;
    start(from);
}

void StoreFacts::start(quint64 from)
{
    m_running = true;
    auto job = std::make_shared<Job>();
    job->store = m_store;
    job->mailbox = m_mailbox;
    job->userTypes = m_userTypes;
    job->result.from = from;
    // Before the reading: what comes meanwhile is read again.
    job->result.eventCount = m_store->eventCount();
    job->result.runCount = m_store->runCount();
    m_pool->start([job] { job->run(); });
}

void StoreFacts::takeResult()
{
    std::unique_ptr<Result> result;
    {
        const QMutexLocker locker(&m_mailbox->lock);
        result = std::move(m_mailbox->result);
    }
    m_running = false;
    if (!result)
        return;
    for (EventFact &event : result->events) {
        if (event.type >= eventtype::builtInCount)
            event.type = m_types.numberOf(result->names.at(event.type - eventtype::builtInCount));
    }
    m_seenEvents = result->eventCount;
    m_seenRuns = result->runCount;
    m_read = true;
    const bool runsDiffer = result->runs.size() != m_runs.size();
    m_runs = std::move(result->runs);
    merge(*result);
    if (runsDiffer)
        emit runsChanged();
    emit readFinished();
}

void StoreFacts::merge(Result &result)
{
    if (result.from == 0) {
        m_events = std::move(result.events);
        emit eventsReset();
        return;
    }
    const auto cut = std::lower_bound(m_events.begin(), m_events.end(), EventFact{result.from, 0, -1, 0});
    QVector<EventFact> added;
    std::set_difference(result.events.begin(), result.events.end(), cut, m_events.end(), std::back_inserter(added));
    // Fewer than there were to be: some came late, before what was read.
    m_all = m_events.size() + added.size() < result.eventCount;
    const auto kept = int(cut - m_events.begin());
    m_events.resize(kept);
    m_events += result.events;
    if (!added.isEmpty())
        emit eventsAdded(added);
}
