#include "display/records/storesource.h"

#include "data/norvexdata.h"

#include <algorithm>

StoreSource::StoreSource(std::shared_ptr<norvexData> store) : m_store(std::move(store)) {}

StoreSource::~StoreSource() = default;

quint64 StoreSource::revision() const
{
    return m_store->revision();
}

QVector<PlotSource::Stretch> StoreSource::stretches() const
{
    QVector<Stretch> result;
    const QVector<std::shared_ptr<dataBlock>> blocks = m_store->blocks();
    result.reserve(blocks.size());
    for (const auto &block : blocks)
        result.append({quintptr(block.get()), block->minimumTime(), block->maximumTime(), block->count()});
    return result;
}

bool StoreSource::readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const
{
    const QVector<std::shared_ptr<dataBlock>> blocks = m_store->blocks();
    const auto found =
        std::find_if(blocks.begin(), blocks.end(), [key](const auto &block) { return quintptr(block.get()) == key; });
    if (found == blocks.end())
        return false;
    dataBlock &block = **found;
    const bool wasLoaded = block.isLoaded();
    if (!block.searchRange(out, from, to)) {
        // Outside its true range there is nothing to read, which is no failure.
        return from > block.maximumTime() || to <= block.minimumTime();
    }
    if (!wasLoaded)
        block.unload();
    const auto earlier = [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; };
    if (!std::is_sorted(out.begin(), out.end(), earlier))
        std::stable_sort(out.begin(), out.end(), earlier);
    return true;
}
