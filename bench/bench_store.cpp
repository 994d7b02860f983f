#include "compare.h"
#include "data/norvexdata.h"

#include <QDir>
#include <QTemporaryDir>

#include <utility>

// How a sensor's store grows: the time of ten and a hundred times the work.

namespace {

constexpr int blockSize = 10000;
constexpr int pageSize = 20;
constexpr quint64 start = 1700000000000000;

QVector<SamplePoint> samplesAt(quint64 first, int count)
{
    QVector<SamplePoint> samples(count);
    for (int i = 0; i < count; ++i) {
        samples[i].time = first + 1000 * static_cast<quint64>(i);
        samples[i].voltage = 200 + i % 17;
    }
    return samples;
}

/// Pages as they are downloaded; `late`: every second one comes after its successor.
void insertPages(benchmark::State &state, bool late)
{
    const auto pages = static_cast<int>(state.range(0)) / pageSize;
    QVector<QVector<SamplePoint>> list;
    for (int i = 0; i < pages; ++i)
        list.append(samplesAt(start + static_cast<quint64>(i) * pageSize * 1000, pageSize));
    for (int i = 0; late && i + 1 < pages; i += 2)
        std::swap(list[i], list[i + 1]);
    for (auto _ : state) {
        norvexData store;
        for (const QVector<SamplePoint> &page : std::as_const(list))
            store.addSamples(page);
        if (store.sampleCount() != quint64(pages) * pageSize)
            state.SkipWithError("samples are missing");
    }
}

/// A save of so many blocks that have all changed.
void saveBlocks(benchmark::State &state)
{
    const QTemporaryDir folder;
    norvexData store;
    store.setFolderName(QStringLiteral("S"));
    QDir(folder.path()).mkdir(QStringLiteral("S"));
    for (quint64 i = 0; i < quint64(state.range(0)); ++i)
        store.addSamples(samplesAt(start + i * blockSize * 1000, blockSize));
    for (auto _ : state) {
        state.PauseTiming();
        for (const auto &block : store.blocks())
            block->insert(samplesAt(block->firstTime(), 1), nullptr); // known, but marks it
        state.ResumeTiming();
        if (!store.save(folder.path()))
            state.SkipWithError("cannot save");
    }
}

/// The save of one page more in a store that holds so many events already.
void savePage(benchmark::State &state)
{
    const QTemporaryDir folder;
    norvexData store;
    store.setFolderName(QStringLiteral("S"));
    QDir(folder.path()).mkdir(QStringLiteral("S"));
    for (int i = 0; i < state.range(0); ++i) {
        EventRecord event;
        event.time = start + static_cast<quint64>(i) * 1000;
        event.typeCode = i % 9;
        store.addEvent(event);
    }
    if (!store.save(folder.path()))
        state.SkipWithError("cannot save");
    quint64 time = start;
    for (auto _ : state) {
        store.addSamples(samplesAt(time, pageSize));
        time += pageSize * 1000;
        if (!store.save(folder.path()))
            state.SkipWithError("cannot save");
    }
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    bench::growth("insert samples in order", 10000, [](benchmark::State &state) { insertPages(state, false); });
    bench::growth("insert samples, every second page late", 10000,
                  [](benchmark::State &state) { insertPages(state, true); });
    bench::growth("save changed blocks", 1, saveBlocks);
    bench::growth("save one page more, by events there", 100, savePage);
    return bench::run(argc, argv);
}
