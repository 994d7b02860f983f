#include "data/storeimporter.h"

#include "base/coretext.h"
#include "base/safefile.h"
#include "data/eventfile.h"
#include "data/storefiles.h"
#include "data/storesaver.h"

#include <algorithm>

namespace {

constexpr int samplesPerBlock = 10000;
constexpr int tries = 25; // of asking blocks that another thread holds; each waits its bounded time

bool isEarlier(const SamplePoint &a, const SamplePoint &b)
{
    return a.time < b.time;
}

} // namespace

StoreImporter::StoreImporter(norvexData &store, const QString &sessionFolder)
    : m_store(store), m_sessionFolder(sessionFolder),
      m_folderPath(storefiles::sensorPath(sessionFolder, store.folderName()))
{}

bool StoreImporter::fail(const QString &reason)
{
    if (m_reason.isEmpty())
        m_reason = reason;
    return false;
}

/// The first save makes the folder the store's own, so that block and event files can be named and found in it.
bool StoreImporter::begin()
{
    if (!m_reason.isEmpty())
        return false;
    if (m_numbers)
        return true;
    bool known = false;
    {
        const QMutexLocker locker(&m_store.m_dataLock);
        known = m_store.m_folderPath == m_folderPath;
    }
    if (!known && !m_store.save(m_sessionFolder))
        return fail(CoreText::tr("the sensor folder %1 cannot be written").arg(m_folderPath));
    m_numbers = std::make_unique<FileNumbers>(m_folderPath);
    return true;
}

bool StoreImporter::takeSamples(const SamplePoint *samples, int count)
{
    for (int i = 0; i < count; ++i) {
        m_waiting.append(samples[i]);
        if (m_waiting.size() >= samplesPerBlock && !flush())
            return false;
    }
    return m_reason.isEmpty();
}

bool StoreImporter::dropKnown(QVector<SamplePoint> &samples)
{
    const int before = samples.size();
    for (int i = 0; i < tries; ++i) {
        if (m_store.dropKnown(samples, m_store.blocks(), nullptr)) {
            m_knownSamples += static_cast<quint64>(before - samples.size());
            m_store.limitLoadedBlocks(m_store.blocks());
            return true;
        }
    }
    m_cannotRead = true;
    return fail(CoreText::tr("what the store holds already cannot be read"));
}

bool StoreImporter::flush()
{
    QVector<SamplePoint> samples = m_waiting;
    m_waiting.clear();
    if (!begin())
        return false;
    std::stable_sort(samples.begin(), samples.end(), isEarlier);
    if (samples.isEmpty() || !dropKnown(samples) || samples.isEmpty())
        return m_reason.isEmpty();
    BlockPieces pieces(m_folderPath, *m_numbers);
    const QMutexLocker saving(&m_store.m_saveLock); // a save takes its numbers under it
    if (!pieces.add(samples.constData(), samples.size()) || !pieces.finish())
        return fail(pieces.reason());
    for (const BlockPiece &piece : pieces.written())
        adopt(piece);
    m_addedSamples += static_cast<quint64>(samples.size());
    return true;
}

/// Blocks stay in the order of their times. One that comes last is closed, so that a recording goes on in its own.
void StoreImporter::adopt(const BlockPiece &piece)
{
    auto block = std::make_shared<dataBlock>(m_store.m_clock);
    block->describe(m_folderPath, piece.name, piece.firstTime, piece.lastTime, static_cast<int>(piece.count));
    const QMutexLocker locker(&m_store.m_dataLock);
    m_store.widenTimes(*block);
    auto &blocks = m_store.m_blocks;
    const auto place = std::upper_bound(blocks.begin(), blocks.end(), piece.firstTime,
                                        [](quint64 time, const auto &other) { return time < other->minimumTime(); });
    m_store.m_closeNewestBlock = m_store.m_closeNewestBlock || place == blocks.end();
    blocks.insert(place, block);
    ++m_store.m_changes;
    ++m_store.m_revision;
}

bool StoreImporter::takeEvent(const EventRecord &event)
{
    if (!begin())
        return false;
    EventSummary summary = summaryOf(event);
    const QMutexLocker saving(&m_store.m_saveLock);
    {
        const QMutexLocker locker(&m_store.m_dataLock);
        if (m_store.m_events.find(keyOf(summary)) >= 0) {
            ++m_knownEvents;
            return true;
        }
    }
    const QString name = m_numbers->nextEvent();
    QString reason;
    if (!writeFileSafely(m_folderPath + QLatin1Char('/') + name, eventfile::encode(event), &reason))
        return fail(reason);
    SaveState &state = *m_store.m_saveState;
    state.lastEventNumber = std::max(state.lastEventNumber, eventfile::numberOf(name));
    summary.setFileName(name);
    const QMutexLocker locker(&m_store.m_dataLock);
    if (!m_store.m_events.addStored(summary)) { // recorded in this moment; the next opening finds the file's double
        ++m_knownEvents;
        return true;
    }
    ++m_addedEvents;
    ++m_store.m_changes;
    ++m_store.m_revision;
    return true;
}

bool StoreImporter::finish()
{
    if (!flush())
        return false;
    return m_store.save(m_sessionFolder) || fail(CoreText::tr("the index of %1 cannot be written").arg(m_folderPath));
}
