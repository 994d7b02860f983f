#include "base/platform.h"
#include "base/safefile.h"
#include "compare.h"
#include "data/blockfile.h"
#include "data/datablock.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr int blockSize = 10000;
constexpr int pageSize = 20;
constexpr quint64 period = 2000;

QVector<SamplePoint> makeSamples(int count)
{
    QVector<SamplePoint> list(count);
    for (int i = 0; i < count; ++i) {
        SamplePoint &sample = list[i];
        sample.time = 1700000000000000ULL + period * static_cast<quint64>(i);
        sample.voltage = 100.0 + i % 17;
        sample.currentReal = 0.5 * i;
        sample.eventCounts[0] = i % 3;
    }
    return list;
}

/// Every second sample is late by three.
QVector<SamplePoint> halfLate(QVector<SamplePoint> list)
{
    for (int i = 3; i < list.size(); i += 2)
        std::swap(list[i].time, list[i - 3].time);
    return list;
}

QVector<QVector<SamplePoint>> pagesOf(const QVector<SamplePoint> &list)
{
    QVector<QVector<SamplePoint>> pages;
    for (int i = 0; i < list.size(); i += pageSize)
        pages.append(list.mid(i, pageSize));
    return pages;
}

class File
{
public:
    QString path(const char *name) const { return m_folder.filePath(QString::fromLatin1(name)); }
    QString folder() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
};

void writeBytes(benchmark::State &state, const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || file.write(bytes) != bytes.size())
        state.SkipWithError("cannot write");
}

void writeBlock(benchmark::State &state)
{
    const File file;
    const QVector<SamplePoint> samples = makeSamples(blockSize);
    for (auto _ : state)
        writeBytes(state, file.path("block"), blockfile::encodeBlock(samples));
}

void writeRaw(benchmark::State &state)
{
    const File file;
    const QByteArray bytes = blockfile::encodeBlock(makeSamples(blockSize));
    for (auto _ : state)
        writeBytes(state, file.path("raw"), bytes);
}

void saveBlock(benchmark::State &state)
{
    const File file;
    dataBlock block;
    block.insert(makeSamples(blockSize), nullptr);
    const QVector<SamplePoint> again = makeSamples(1); // marks the block modified
    for (auto _ : state) {
        block.insert(again, nullptr);
        if (!block.toFile(file.folder(), QStringLiteral("block")))
            state.SkipWithError("cannot save");
    }
}

void writeSyncRename(benchmark::State &state)
{
    const File file;
    const QByteArray bytes = blockfile::encodeBlock(makeSamples(blockSize));
    for (auto _ : state) {
        QFile temporary(file.path("raw.tmp"));
        if (!temporary.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || temporary.write(bytes) != bytes.size() ||
            !platform::syncFile(temporary))
            state.SkipWithError("cannot write");
        temporary.close();
        if (!platform::replaceFile(file.path("raw.tmp"), file.path("raw")) || !platform::syncFolder(file.folder()))
            state.SkipWithError("cannot rename");
    }
}

void readBlock(benchmark::State &state)
{
    const File file;
    writeFileSafely(file.path("block"), blockfile::encodeBlock(makeSamples(blockSize)));
    for (auto _ : state) {
        const blockfile::Content content = blockfile::readFile(file.path("block"));
        if (content.samples.size() != blockSize)
            state.SkipWithError("cannot read");
        benchmark::DoNotOptimize(content.samples.constData());
    }
}

void readRaw(benchmark::State &state)
{
    const File file;
    writeFileSafely(file.path("block"), blockfile::encodeBlock(makeSamples(blockSize)));
    for (auto _ : state) {
        QFile raw(file.path("block"));
        if (!raw.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            state.SkipWithError("cannot open");
        const QByteArray bytes = raw.readAll();
        benchmark::DoNotOptimize(bytes.constData());
    }
}

void insertPages(benchmark::State &state, const QVector<SamplePoint> &samples)
{
    const QVector<QVector<SamplePoint>> pages = pagesOf(samples);
    for (auto _ : state) {
        dataBlock block;
        for (const QVector<SamplePoint> &page : pages)
            block.insert(page, nullptr);
        if (block.count() != samples.size())
            state.SkipWithError("samples are missing");
    }
}

void pushBack(benchmark::State &state, const QVector<SamplePoint> &samples)
{
    const QVector<QVector<SamplePoint>> pages = pagesOf(samples);
    for (auto _ : state) {
        std::vector<SamplePoint> list;
        for (const QVector<SamplePoint> &page : pages) {
            for (const SamplePoint &sample : page)
                list.push_back(sample);
        }
        benchmark::DoNotOptimize(list.data());
    }
}

void searchBlock(benchmark::State &state)
{
    const QVector<SamplePoint> samples = makeSamples(1000000);
    dataBlock block;
    block.insert(samples, nullptr);
    int first = 0;
    for (auto _ : state) {
        first = (first + 7919) % 990000;
        QVector<SamplePoint> out;
        block.searchData(out, samples.at(first).time, samples.at(first + 1000).time);
        if (out.size() != 1000)
            state.SkipWithError("wrong result");
        benchmark::DoNotOptimize(out.constData());
    }
}

void copyResult(benchmark::State &state)
{
    const QVector<SamplePoint> samples = makeSamples(1000000);
    int first = 0;
    for (auto _ : state) {
        first = (first + 7919) % 990000;
        const std::unique_ptr<char[]> out(new char[1000 * sizeof(SamplePoint)]);
        std::memcpy(out.get(), samples.constData() + first, 1000 * sizeof(SamplePoint));
        benchmark::DoNotOptimize(out.get());
    }
}

} // namespace

int main(int argc, char **argv)
{
    bench::compare("write a block of 10,000 samples", 0.85, "raw write", writeBlock, writeRaw);
    bench::compare("save it so that it lasts", 0.85, "write, sync, rename", saveBlock, writeSyncRename);
    bench::compare("read it", 0.75, "raw read", readBlock, readRaw);
    bench::compare(
        "insert 10,000 samples in order", 0.8, "push_back",
        [](benchmark::State &state) { insertPages(state, makeSamples(blockSize)); },
        [](benchmark::State &state) { pushBack(state, makeSamples(blockSize)); });
    bench::compare(
        "insert 10,000 samples, every second late", 0.8, "push_back",
        [](benchmark::State &state) { insertPages(state, halfLate(makeSamples(blockSize))); },
        [](benchmark::State &state) { pushBack(state, halfLate(makeSamples(blockSize))); });
    bench::compare("find 1,000 of 1,000,000 samples", 0.8, "memcpy of the result", searchBlock, copyResult);
    return bench::run(argc, argv);
}
