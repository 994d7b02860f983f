#include "display/markcache.h"

#include <QMutex>
#include <QThreadPool>

#include <algorithm>

namespace {

constexpr quint64 lateness = 10000000; // events closer to the newest may still come in any order

bool earlier(const EventMark &a, const EventMark &b)
{
    return a.time != b.time ? a.time < b.time : a.typeCode < b.typeCode;
}

EventMark markOf(const EventRecord &event, const MarkCache::Filter &filter, const MarkCache::Colours &colours)
{
    EventMark mark;
    mark.time = event.time;
    mark.end = event.endTime();
    mark.typeCode = event.typeCode;
    mark.code = event.effectiveCode();
    if (event.named)
        mark.name = event.name;
    if (colours)
        mark.colour = colours(event);
    mark.shown = !filter || filter(event);
    return mark;
}

} // namespace

struct MarkCache::Result
{
    quint64 from = 0;
    int events = 0;
    int runs = 0;
    QVector<EventMark> eventMarks;
    QVector<RunMark> runMarks;
};

struct MarkCache::Mailbox
{
    QMutex lock; // guards both
    MarkCache *receiver = nullptr;
    std::unique_ptr<Result> result;
};

MarkCache::MarkCache(std::shared_ptr<const PlotSource> source, QThreadPool *pool, QObject *parent)
    : QObject(parent), m_source(std::move(source)), m_pool(pool), m_mailbox(std::make_shared<Mailbox>())
{
    m_mailbox->receiver = this;
}

MarkCache::~MarkCache()
{
    const QMutexLocker locker(&m_mailbox->lock);
    m_mailbox->receiver = nullptr;
}

void MarkCache::setRules(Filter filter, Colours colours)
{
    m_filter = std::move(filter);
    m_colours = std::move(colours);
    m_all = true;
}

void MarkCache::refresh()
{
    if (m_running)
        return;
    const bool changed = m_source->eventCount() != m_seenEvents || m_source->runCount() != m_seenRuns;
    if (!changed && !m_all)
        return;
    quint64 from = 0;
    if (!m_all && !m_events.isEmpty())
        from = m_events.last().time - std::min(m_events.last().time, lateness);
    m_all = false;
    start(from);
}

void MarkCache::start(quint64 from)
{
    m_running = true;
    auto prepared = std::make_shared<Result>();
    prepared->from = from;
    prepared->events = m_source->eventCount();
    prepared->runs = m_source->runCount();
    m_pool->start([source = m_source, mailbox = m_mailbox, filter = m_filter, colours = m_colours, prepared] {
        auto result = std::make_unique<Result>(*prepared);
        const QVector<EventRecord> events = source->events({result->from, ~quint64(0)});
        for (const EventRecord &event : events)
            result->eventMarks.append(markOf(event, filter, colours));
        std::sort(result->eventMarks.begin(), result->eventMarks.end(), earlier);
        const QVector<RunRecord> runs = source->runs({0, ~quint64(0)});
        for (const RunRecord &run : runs)
            result->runMarks.append({run.start, run.end, 0, run.meanVoltage});
        std::sort(result->runMarks.begin(), result->runMarks.end(),
                  [](const RunMark &a, const RunMark &b) { return a.from < b.from; });
        for (int i = 0; i < result->runMarks.size(); ++i)
            result->runMarks[i].number = i + 1;
        const QMutexLocker locker(&mailbox->lock);
        if (!mailbox->receiver)
            return;
        mailbox->result = std::move(result);
        QMetaObject::invokeMethod(
            mailbox->receiver, [mailbox] { mailbox->receiver->takeResult(); }, Qt::QueuedConnection);
    });
}

void MarkCache::takeResult()
{
    std::unique_ptr<Result> result;
    {
        const QMutexLocker locker(&m_mailbox->lock);
        result = std::move(m_mailbox->result);
    }
    m_running = false;
    if (!result)
        return;
    m_runs = std::move(result->runMarks);
    m_seenEvents = result->events;
    m_seenRuns = result->runs;
    merge(std::move(result->eventMarks), result->from);
    // Fewer than there were to be: some came late, before what was read.
    if (result->from > 0 && m_events.size() < result->events)
        m_all = true;
    m_shown = int(std::count_if(m_events.begin(), m_events.end(), [](const EventMark &mark) { return mark.shown; }));
    emit changed();
}

void MarkCache::merge(QVector<EventMark> &&fresh, quint64 from)
{
    const auto cut = std::lower_bound(m_events.begin(), m_events.end(), from,
                                      [](const EventMark &mark, quint64 time) { return mark.time < time; });
    m_events.erase(cut, m_events.end());
    m_events += fresh;
}
