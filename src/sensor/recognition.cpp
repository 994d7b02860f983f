#include "sensor/recognition.h"

#include "base/pathlook.h"
#include "data/norvexdata.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int mostBlocks = 4; // of up to 2 MB each

/// What is stored at one time. False when that cannot be read now but later: what was in a block whose file is damaged
/// or gone nobody can tell any more, and waiting for it would end the recording.
bool readAt(const norvexData &store, quint64 time, QVector<SamplePoint> &stored)
{
    bool ok = true;
    for (const auto &block : store.blocks()) {
        if (time < block->minimumTime() || time > block->maximumTime() || block->searchRange(stored, time, time + 1))
            continue;
        const QString file = block->folder() + QLatin1Char('/') + block->fileName();
        ok = ok && !block->isLoaded() && !pathlook::mayHoldFile(file);
    }
    return ok;
}

QVector<std::shared_ptr<dataBlock>> unloadedBlocks(const norvexData &store)
{
    QVector<std::shared_ptr<dataBlock>> blocks = store.blocks();
    const auto isLoaded = [](const auto &block) { return block->isLoaded(); };
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), isLoaded), blocks.end());
    return blocks;
}

} // namespace

BlockLook::~BlockLook()
{
    release();
}

/// Asks for each time alone: the times of a page need not be anywhere near each other.
Recognition BlockLook::recognise(const norvexData &store, const QVector<SamplePoint> &points)
{
    m_looked = true;
    const QVector<std::shared_ptr<dataBlock>> unloaded = unloadedBlocks(store);
    Recognition found;
    SamplePoint like; // the values of the first that is the same
    for (const SamplePoint &point : points) {
        QVector<SamplePoint> stored;
        found.ok = readAt(store, point.time, stored) && found.ok;
        if (stored.isEmpty())
            continue;
        if (!stored.contains(point)) {
            ++found.other;
            continue;
        }
        SamplePoint values = point;
        values.time = like.time;
        if (found.same++ == 0)
            like = values;
        found.telling = found.telling || values != like;
    }
    // One alone cannot differ from others; it is no level when anything was measured.
    found.telling = found.telling || (points.size() == 1 && found.same == 1 && like.voltage != 0);
    for (const auto &block : unloaded) {
        if (found.same == 0 && block->isLoaded())
            m_read.append(block);
    }
    while (m_read.size() > mostBlocks)
        drop(*m_read.takeFirst());
    return found;
}

void BlockLook::pageDone(bool isLaterThanAll)
{
    if (!std::exchange(m_looked, false) || isLaterThanAll)
        release();
}

void BlockLook::release()
{
    const auto blocks = std::exchange(m_read, {});
    for (const auto &block : blocks)
        drop(*block);
}

void BlockLook::drop(dataBlock &block)
{
    if (block.isLoaded() && !block.isModified())
        block.unload();
}
