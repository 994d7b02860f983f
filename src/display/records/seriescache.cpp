#include "display/records/seriescache.h"

#include "data/samplepoint.h"

#include <QMutex>
#include <QSet>
#include <QThreadPool>

#include <algorithm>
#include <cmath>

namespace {
constexpr int jobsAtOnce = 2;
constexpr qint64 firstRetryMs = 500;
constexpr qint64 lastRetryMs = 30000;
} // namespace

struct SeriesCache::Entry
{
    PlotSource::Stretch stretch;
    SeriesBlock block;
    bool known = false;   // read at least once
    bool running = false; // a job is under way
    bool stale = false;   // a sample came late: read the whole again
    int seenCount = 0;    // of the stretch when it was read
    int failures = 0;
    qint64 retryAtMs = 0;
    quint64 neededAt = 0;

    bool overlaps(quint64 from, quint64 to) const { return stretch.first < to && stretch.last >= from; }
};

struct SeriesCache::Result
{
    PlotSource::Stretch stretch; // as it was when the job began
    Job job = Job::None;
    bool ok = false;
    bool inOrder = true;
    SeriesBlock block;            // Whole
    QVector<SamplePoint> samples; // Tail
};

/// Where jobs leave their results; outlives the cache as long as a job runs.
struct SeriesCache::Mailbox
{
    QMutex lock; // guards both
    SeriesCache *receiver = nullptr;
    std::vector<std::unique_ptr<Result>> results;

    void post(std::unique_ptr<Result> result)
    {
        const QMutexLocker locker(&lock);
        if (!receiver)
            return;
        results.push_back(std::move(result));
        if (results.size() == 1)
            QMetaObject::invokeMethod(
                receiver, [this] { receiver->takeResults(); }, Qt::QueuedConnection);
    }
};

SeriesCache::SeriesCache(std::shared_ptr<const PlotSource> source, QThreadPool *pool, QObject *parent)
    : QObject(parent), m_source(std::move(source)), m_pool(pool), m_mailbox(std::make_shared<Mailbox>())
{
    m_mailbox->receiver = this;
    m_age.start();
}

SeriesCache::~SeriesCache()
{
    const QMutexLocker locker(&m_mailbox->lock);
    m_mailbox->receiver = nullptr;
    m_mailbox->results.clear();
}

void SeriesCache::setQuantities(const QVector<int> &quantities)
{
    for (const int old : qAsConst(m_quantities))
        if (!quantities.contains(old))
            for (auto &entry : m_entries)
                entry.second->block.dropQuantity(old);
    m_quantities = quantities;
    m_idle = false;
    count();
}

void SeriesCache::setBudget(qint64 bytes)
{
    m_budget = bytes;
    releaseBeyondBudget();
}

void SeriesCache::refresh(const ColumnGrid &view)
{
    ++m_tick;
    const bool moved = view.from() != m_view.from() || view.to() != m_view.to() || view.width() != m_view.width();
    m_view = view;
    const quint64 revision = m_source->revision();
    if (revision != m_seenRevision) {
        m_seenRevision = revision;
        lookAtSource();
    } else if (m_idle && !moved) {
        return;
    }
    for (Entry *entry : m_order)
        if (entry->overlaps(view.from(), view.to()) && entry->block.needsSamples(view))
            entry->neededAt = m_tick;
    pump();
}

void SeriesCache::lookAtSource()
{
    const QVector<PlotSource::Stretch> stretches = m_source->stretches();
    bool reorder = false;
    std::size_t present = 0;
    for (const PlotSource::Stretch &stretch : stretches) {
        if (stretch.last == 0)
            continue;
        ++present;
        std::unique_ptr<Entry> &entry = m_entries[stretch.key];
        if (!entry) {
            entry = std::make_unique<Entry>();
            reorder = true;
        }
        reorder = reorder || entry->stretch.first != stretch.first;
        entry->stretch = stretch;
    }
    if (present != m_entries.size()) {
        QSet<quintptr> keys;
        for (const PlotSource::Stretch &stretch : stretches)
            keys.insert(stretch.key);
        for (auto it = m_entries.begin(); it != m_entries.end();)
            it = keys.contains(it->first) ? std::next(it) : m_entries.erase(it);
        reorder = true;
    }
    if (reorder) {
        m_order.clear();
        for (const auto &entry : m_entries)
            m_order.push_back(entry.second.get());
        std::sort(m_order.begin(), m_order.end(),
                  [](const Entry *a, const Entry *b) { return a->stretch.first < b->stretch.first; });
    }
    count();
}

SeriesCache::Job SeriesCache::needed(const Entry &entry, const ColumnGrid *view) const
{
    if (entry.running || m_age.elapsed() < entry.retryAtMs)
        return Job::None;
    if (!entry.known || entry.stale)
        return Job::Whole;
    for (const int quantity : m_quantities)
        if (!entry.block.hasQuantity(quantity))
            return Job::Whole;
    if (entry.stretch.count > 0 && entry.stretch.count != entry.seenCount) {
        const bool onlyNewer = entry.block.hasSamples() && entry.block.count() > 0 &&
                               entry.stretch.last > entry.block.last() && entry.stretch.count > entry.seenCount;
        return onlyNewer ? Job::Tail : Job::Whole;
    }
    if (view && !entry.block.hasSamples() && entry.block.count() > 0 && entry.block.needsSamples(*view))
        return Job::Whole;
    return Job::None;
}

void SeriesCache::pump()
{
    // The visible first, then the newest.
    for (const bool visible : {true, false}) {
        for (auto it = m_order.rbegin(); it != m_order.rend(); ++it) {
            if (m_running >= jobsAtOnce)
                return;
            Entry &entry = **it;
            if (entry.overlaps(m_view.from(), m_view.to()) != visible)
                continue;
            const Job job = needed(entry, visible ? &m_view : nullptr);
            if (job != Job::None)
                start(entry, job);
        }
    }
    m_idle = std::none_of(m_order.begin(), m_order.end(), [](const Entry *entry) { return entry->failures > 0; });
}

void SeriesCache::start(Entry &entry, Job job)
{
    entry.running = true;
    ++m_running;
    const PlotSource::Stretch stretch = entry.stretch;
    const quint64 from = job == Job::Tail ? entry.block.last() + 1 : 0;
    m_pool->start([source = m_source, mailbox = m_mailbox, quantities = m_quantities, stretch, from, job] {
        auto result = std::make_unique<Result>();
        result->stretch = stretch;
        result->job = job;
        QVector<SamplePoint> samples;
        result->ok = source->readSamples(stretch.key, from, stretch.last + 1, samples);
        if (result->ok && job == Job::Whole) {
            result->block = SeriesBlock(quantities);
            result->inOrder = result->block.append(samples.constData(), samples.size());
            result->block.squeeze();
        } else {
            result->samples = std::move(samples);
        }
        mailbox->post(std::move(result));
    });
}

void SeriesCache::takeResults()
{
    std::vector<std::unique_ptr<Result>> results;
    {
        const QMutexLocker locker(&m_mailbox->lock);
        results.swap(m_mailbox->results);
    }
    for (auto &result : results)
        apply(*result);
    releaseBeyondBudget();
    count();
    pump();
    if (!results.empty())
        emit changed();
}

void SeriesCache::apply(Result &result)
{
    --m_running;
    m_idle = false;
    const auto found = m_entries.find(result.stretch.key);
    if (found == m_entries.end())
        return;
    Entry &entry = *found->second;
    entry.running = false;
    if (!result.ok) {
        const qint64 wait = std::min(lastRetryMs, firstRetryMs << std::min(entry.failures, 6));
        ++entry.failures;
        entry.retryAtMs = m_age.elapsed() + wait;
        return;
    }
    entry.failures = 0;
    entry.retryAtMs = 0;
    if (result.job == Job::Whole) {
        entry.block = std::move(result.block);
        entry.known = true;
        entry.stale = false;
        entry.neededAt = m_tick;
        // A stretch that did not know its count before it was read knows it now.
        entry.seenCount = std::max(result.stretch.count, entry.block.count());
        return;
    }
    const int expected = result.stretch.count - entry.seenCount;
    const bool taken = entry.block.append(result.samples.constData(), result.samples.size());
    entry.stale = !taken || result.samples.size() != expected;
    entry.seenCount = result.stretch.count;
}

void SeriesCache::releaseBeyondBudget()
{
    qint64 held = 0;
    std::vector<Entry *> holders;
    const qint64 sampleBytes = 4 + 4 * qint64(m_quantities.size());
    for (Entry *entry : m_order) {
        if (!entry->known || !entry->block.hasSamples())
            continue;
        held += entry->block.count() * sampleBytes;
        if (entry != m_order.back() && !entry->running)
            holders.push_back(entry);
    }
    if (held <= m_budget)
        return;
    std::stable_sort(holders.begin(), holders.end(),
                     [](const Entry *a, const Entry *b) { return a->neededAt < b->neededAt; });
    for (Entry *entry : holders) {
        if (held <= m_budget)
            return;
        held -= entry->block.count() * sampleBytes;
        entry->block.releaseSamples();
    }
}

void SeriesCache::count()
{
    m_read = int(std::count_if(m_order.begin(), m_order.end(), [](const Entry *entry) { return entry->known; }));
    // Live recording opens a new stretch now and then; that is no progress to show.
    const int missing = stretchCount() - m_read;
    if (m_announced != missing && (missing > 1 || m_announced > 0)) {
        m_announced = missing;
        emit progress(m_read, stretchCount());
    }
}

PixelColumns SeriesCache::columns(int quantity, const ColumnGrid &grid) const
{
    PixelColumns result;
    result.resize(std::size_t(grid.width()));
    for (const Entry *entry : m_order)
        if (entry->overlaps(grid.from(), grid.to()))
            entry->block.columns(quantity, grid, result);
    return result;
}

PixelColumn SeriesCache::neighbour(int quantity, quint64 time, bool before) const
{
    PixelColumn best;
    for (const Entry *entry : m_order) {
        if (before ? entry->stretch.first >= time : entry->stretch.last < time)
            continue;
        const PixelColumn found = entry->block.neighbour(quantity, time, before);
        if (!found.isEmpty() &&
            (best.isEmpty() || (before ? found.lastTime > best.lastTime : found.firstTime < best.firstTime)))
            best = found;
    }
    return best;
}

ValueRange SeriesCache::extremes(int quantity, const TimeRange &range) const
{
    ValueRange result;
    for (const Entry *entry : m_order)
        if (entry->overlaps(range.from, range.to))
            result.add(entry->block.extremes(quantity, range.from, range.to));
    return result;
}

SeriesStatistics SeriesCache::statistics(int quantity, const TimeRange &range) const
{
    SeriesStatistics result;
    for (const Entry *entry : m_order) {
        if (!entry->overlaps(range.from, range.to))
            continue;
        result.complete = result.complete && entry->known;
        result.merge(entry->block.statistics(quantity, range.from, range.to));
    }
    return result;
}

bool SeriesCache::nearest(int quantity, quint64 time, quint64 reach, quint64 &sampleTime, float &value) const
{
    bool found = false;
    quint64 best = reach;
    for (const Entry *entry : m_order) {
        if (!entry->overlaps(time < reach ? 0 : time - reach, time + reach + 1))
            continue;
        const int index = entry->block.nearest(time);
        const MinMaxPyramid *pyramid = entry->block.pyramid(quantity);
        if (index < 0 || !pyramid || std::isnan(pyramid->value(index)))
            continue;
        const quint64 there = entry->block.times().at(index);
        const quint64 distance = there > time ? there - time : time - there;
        if (distance > best)
            continue;
        best = distance;
        sampleTime = there;
        value = pyramid->value(index);
        found = true;
    }
    return found;
}

TimeRange SeriesCache::range() const
{
    TimeRange result;
    for (const Entry *entry : m_order) {
        result.from = result.isEmpty() ? entry->stretch.first : std::min(result.from, entry->stretch.first);
        result.to = std::max(result.to, entry->stretch.last + 1);
    }
    return result;
}

QVector<TimeRange> SeriesCache::unread(const TimeRange &range) const
{
    QVector<TimeRange> result;
    bool continues = false; // the stretch before waits, too
    for (const Entry *entry : m_order) {
        if (!entry->overlaps(range.from, range.to))
            continue;
        const TimeRange part{std::max(range.from, entry->stretch.first), std::min(range.to, entry->stretch.last + 1)};
        if (!entry->known && continues)
            result.last().to = std::max(result.last().to, part.to);
        else if (!entry->known)
            result.append(part);
        continues = !entry->known;
    }
    return result;
}

qint64 SeriesCache::memory() const
{
    qint64 bytes = qint64(sizeof(*this));
    for (const Entry *entry : m_order)
        bytes += qint64(sizeof(Entry)) + entry->block.memory();
    return bytes;
}
