#include "base/log.h"
#include "data/eventfile.h"
#include "data/norvexdata.h"
#include "data/storefiles.h"
#include "data/storeloader.h"
#include "data/storesaver.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr qint64 idleMs = 60000;
constexpr int eventsPerPiece = 500;

} // namespace

bool norvexData::samplesInRange(quint64 from, quint64 to, QVector<SamplePoint> &out) const
{
    const int start = out.size();
    const Blocks list = blocks();
    bool complete = true;
    const int most = blocksToKeep();
    int visited = 0;
    for (const auto &block : list) {
        if (block->minimumTime() >= to || block->maximumTime() < from)
            continue;
        complete = block->searchRange(out, from, to) && !block->isDamaged() && complete;
        if (++visited % most == 0)
            limitLoadedBlocks(list);
    }
    if (visited > 1)
        limitLoadedBlocks(list);
    const auto earlier = [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; };
    if (!std::is_sorted(out.constBegin() + start, out.constEnd(), earlier))
        std::stable_sort(out.begin() + start, out.end(), earlier);
    return complete;
}

quint64 norvexData::nextSampleTime(quint64 from) const
{
    quint64 next = std::numeric_limits<quint64>::max();
    for (const auto &block : blocks()) {
        if (block->count() > 0 && block->maximumTime() >= from)
            next = qMin(next, qMax(from, block->minimumTime()));
    }
    return next == std::numeric_limits<quint64>::max() ? from : next;
}

/// Lets go of the blocks read longest ago when readers have brought too many into memory.
void norvexData::limitLoadedBlocks(const Blocks &blocks) const
{
    const int most = blocksToKeep();
    Blocks loaded;
    for (int i = 0; i + 1 < blocks.size(); ++i) {
        if (blocks[i]->isLoaded() && !blocks[i]->isModified())
            loaded.append(blocks[i]);
    }
    if (loaded.size() <= most)
        return;
    std::sort(loaded.begin(), loaded.end(),
              [](const auto &a, const auto &b) { return a->lastAccessMs() < b->lastAccessMs(); });
    for (int i = 0; i < loaded.size() - most; ++i)
        loaded[i]->unload();
}

QVector<EventRecord> norvexData::storedEvents(quint64 from, quint64 to) const
{
    QVector<int> positions;
    QString folder;
    {
        const QMutexLocker locker(&m_dataLock);
        positions = m_events.eventsInRange(from, to);
        folder = m_folderPath;
    }
    // In pieces, so that a long list never keeps a recording thread waiting.
    QVector<EventRecord> events;
    events.reserve(positions.size());
    std::vector<std::pair<EventSummary, EventList::Record>> entries;
    for (int first = 0; first < positions.size(); first += eventsPerPiece) {
        entries.clear();
        {
            const QMutexLocker locker(&m_dataLock);
            for (int i = first; i < std::min(first + eventsPerPiece, positions.size()); ++i)
                entries.emplace_back(m_events.at(positions.at(i)), m_events.recordAt(positions.at(i)));
        }
        for (const auto &[summary, record] : entries)
            events.append(record ? *record : recordOf(summary, folder));
    }
    return events;
}

QVector<EventRecord> norvexData::eventsInRange(quint64 from, quint64 to) const
{
    QVector<EventRecord> events = storedEvents(from, to);
    std::shared_ptr<const EventCodes> codes;
    {
        const QMutexLocker locker(&m_dataLock);
        codes = m_reanalysis;
    }
    if (!codes)
        return events;
    for (EventRecord &event : events) {
        const auto code = codes->constFind(keyOf(event));
        if (code == codes->constEnd() || code.value() == event.effectiveCode())
            continue;
        event.isOverridden = true;
        event.overrideCode = code.value();
    }
    return events;
}

void norvexData::setReanalysis(std::shared_ptr<const EventCodes> codes)
{
    const QMutexLocker locker(&m_dataLock);
    m_reanalysis = std::move(codes);
    ++m_revision;
}

bool norvexData::showsReanalysis() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_reanalysis != nullptr;
}

QVector<RunRecord> norvexData::runsInRange(quint64 from, quint64 to) const
{
    QVector<RunRecord> runs;
    QVector<QPair<int, EventRecord>> unread; // place in runs, event
    QVector<int> positions;
    {
        const QMutexLocker locker(&m_dataLock);
        positions = m_events.runsInRange(from, to);
        for (const int position : std::as_const(positions)) {
            const EventList::Record record = m_events.recordAt(position);
            const EventRecord event = record ? *record : recordOf(m_events.at(position), m_folderPath);
            const bool known = record || m_runs.contains(position);
            if (!known)
                unread.append({runs.size(), event});
            runs.append(record ? runOf(event) : m_runs.value(position, runOf(event)));
        }
    }
    for (const auto &[place, event] : std::as_const(unread)) {
        EventRecord stored;
        if (eventfile::read(event.filePath, stored))
            runs[place] = runOf(stored);
        // Runs that follow the same recipe share it.
        if (place > 0 && runs[place].recipe == runs[place - 1].recipe)
            runs[place].recipe = runs[place - 1].recipe;
        const QMutexLocker locker(&m_dataLock);
        m_runs.insert(positions[place], runs[place]);
    }
    return runs;
}

QVector<SamplePoint> norvexData::waveform(const EventKey &key) const
{
    QString path;
    {
        const QMutexLocker locker(&m_dataLock);
        const int position = m_events.find(key);
        if (position < 0)
            return {};
        if (const EventList::Record record = m_events.recordAt(position))
            return record->samples;
        path = recordOf(m_events.at(position), m_folderPath).filePath;
    }
    EventRecord event;
    QString reason;
    if (!eventfile::read(path, event, &reason))
        logWarning(QStringLiteral("norvexData::waveform: %1: %2").arg(path, reason));
    return event.samples;
}

SensorConfiguration norvexData::configuration() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_configuration;
}

Recipe norvexData::recipe() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_recipe;
}

SensorTimeLine norvexData::timeLine() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_timeLine;
}

quint64 norvexData::sampleCount() const
{
    quint64 count = 0;
    for (const auto &block : blocks())
        count += static_cast<quint64>(block->count());
    return count;
}

int norvexData::blockCount() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_blocks.size();
}

int norvexData::eventCount() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_events.eventCount();
}

int norvexData::runCount() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_events.runCount();
}

QVector<std::shared_ptr<dataBlock>> norvexData::blocks() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_blocks;
}

bool norvexData::hasUnsavedData() const
{
    Blocks list;
    {
        const QMutexLocker locker(&m_dataLock);
        if (m_changes != m_savedChanges || m_events.hasUnsaved())
            return true;
        list = m_blocks;
    }
    return std::any_of(list.constBegin(), list.constEnd(), [](const auto &block) { return block->isModified(); });
}

bool norvexData::save(const QString &sessionFolder, const Captured &captured)
{
    const QMutexLocker saving(&m_saveLock);
    return StoreSaver(*this, *m_saveState, sessionFolder).save(captured);
}

LoadOutcome norvexData::load(const QString &sessionFolder, LoadMode mode, QString *unreadable)
{
    const LoadOutcome outcome = StoreLoader(*this, sessionFolder).load(unreadable);
    const bool mends = mode == LoadMode::Normal && outcome != LoadOutcome::Failed && outcome != LoadOutcome::Unreadable;
    return mends && !mendFolder(sessionFolder) ? LoadOutcome::RestoreFailed : outcome;
}

bool norvexData::mendFolder(const QString &sessionFolder)
{
    return StoreLoader(*this, sessionFolder).mend();
}

ReconcileReport norvexData::reconcile()
{
    return StoreReconciler(*this).run();
}

void norvexData::moveTo(const QString &sessionFolder)
{
    const QMutexLocker saving(&m_saveLock);
    const QString path = storefiles::sensorPath(sessionFolder, folderName());
    QString old;
    {
        const QMutexLocker locker(&m_dataLock);
        old = std::exchange(m_folderPath, path);
    }
    if (m_saveState->folderPath == old)
        m_saveState->folderPath = path; // what is known of the old files is true of their copies
    for (const auto &block : blocks()) {
        if (block->folder() == old)
            block->moveTo(path);
    }
}

void norvexData::unloadIdleBlocks(bool now)
{
    const Blocks list = blocks();
    const qint64 limit = m_clock.utcMs() - idleMs;
    for (int i = 0; i + 1 < list.size(); ++i) {
        dataBlock &block = *list[i];
        const bool wanted = block.wasRead() && block.lastAccessMs() > limit;
        if (block.isLoaded() && !block.isModified() && (now || !wanted))
            block.unload();
    }
    limitLoadedBlocks(list);
}
