#include "base/platform.h"
#include "base/safefile.h"
#include "compare.h"
#include "data/blockfile.h"
#include "data/eventfile.h"
#include "data/indexfile.h"
#include "data/norvexdata.h"
#include "data/storefiles.h"
#include "fileopens.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <memory>

namespace {

const QByteArray folder = "S1234-Chamber A";
constexpr quint64 blockLength = 19998000; // us

EventSummary event(int i)
{
    const double d = i;
    EventSummary summary;
    summary.time = 1700000000000000ULL + static_cast<quint64>(i) * 12345;
    summary.typeCode = i % eventtype::RfOn;
    summary.fileNumber = i + 1;
    summary.snapshot1 = {summary.time + 400, 0, 101.5 + d * 0.01, -2.25 + d * 1e-4, 0.125};
    summary.snapshot2 = {summary.time, 0, 250.75 - d * 1e-3, 1.5, 1.0 / (d + 1)};
    summary.snapshot3 = {summary.time + 999, 0, 249.0625, 1.25 + d * 1e-5, -0.5};
    return summary;
}

std::vector<EventSummary> events(int count)
{
    std::vector<EventSummary> list;
    for (int i = 0; i < count; ++i)
        list.push_back(event(i));
    return list;
}

void appendLines(QByteArray &out, const std::vector<EventSummary> &list)
{
    for (const EventSummary &entry : list)
        indexfile::appendEvent(out, folder, entry);
}

QString blockName(int i)
{
    return QStringLiteral("block_%1.norvexdata").arg(i + 1);
}

quint64 firstTime(int block)
{
    return 1700000000000000ULL + static_cast<quint64>(block) * 20000000;
}

QByteArray index(int blocks, int count)
{
    QByteArray out;
    indexfile::appendHeader(out, {QStringLiteral("S1234"), QStringLiteral("Chamber A"), true, {}});
    indexfile::appendBlockStart(out, blocks);
    for (int i = 0; i < blocks; ++i) {
        indexfile::appendBlock(out, folder, blockName(i), firstTime(i), firstTime(i) + blockLength);
    }
    indexfile::appendBlockEnd(out);
    indexfile::appendEventStart(out, count);
    appendLines(out, events(count));
    indexfile::appendEventEnd(out);
    return out;
}

void streamSnapshot(QTextStream &stream, const SnapshotSummary &snapshot)
{
    stream << ';' << snapshot.time << ';' << snapshot.frequency << ';' << snapshot.voltage << ';'
           << snapshot.currentReal << ';' << snapshot.currentImaginary;
}

void streamLines(QTextStream &stream, const std::vector<EventSummary> &list)
{
    const QString folderName = QString::fromLatin1(folder);
    for (const EventSummary &entry : list) {
        stream << "Event;" << folderName << ';' << entry.fileName() << ';' << entry.time << ';'
               << eventtype::name(entry.typeCode) << ';' << 0 << ';' << entry.effectiveCode();
        streamSnapshot(stream, entry.snapshot2);
        streamSnapshot(stream, entry.snapshot1);
        streamSnapshot(stream, entry.snapshot3);
        stream << '\n';
    }
}

void linesOurs(benchmark::State &state)
{
    const auto list = events(10000);
    for (auto _ : state) {
        QByteArray out;
        appendLines(out, list);
        benchmark::DoNotOptimize(out.constData());
    }
}

void linesStream(benchmark::State &state)
{
    const auto list = events(10000);
    QByteArray expected;
    appendLines(expected, list);
    QByteArray same;
    for (auto _ : state) {
        QByteArray out;
        QTextStream stream(&out, QIODevice::WriteOnly);
        stream.setCodec("UTF-8");
        streamLines(stream, list);
        stream.flush();
        same = out;
    }
    if (same != expected)
        state.SkipWithError("the lines differ");
}

void savedOurs(benchmark::State &state)
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("index.dat"));
    const auto list = events(100000);
    const std::vector<EventSummary> fresh(list.end() - 1000, list.end());
    QByteArray kept;
    appendLines(kept, {list.begin(), list.end() - 1000});
    for (auto _ : state) {
        QByteArray added;
        appendLines(added, fresh);
        if (!storefiles::overwrite(path, {kept, added}))
            state.SkipWithError("cannot write");
    }
}

void savedRaw(benchmark::State &state)
{
    const QTemporaryDir dir;
    QByteArray bytes;
    appendLines(bytes, events(100000));
    for (auto _ : state) {
        QFile file(dir.filePath(QStringLiteral("index.dat")));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered) ||
            file.write(bytes) != bytes.size() || !platform::syncFile(file))
            state.SkipWithError("cannot write");
    }
}

constexpr int storedBlocks = 10000;
constexpr int storedEvents = 100000;

/// A sensor folder as a long recording leaves it, with a file for every line of its index. Its index is a minute newer
/// than they are.
class SensorFolder
{
public:
    SensorFolder()
    {
        QDir(m_session.path()).mkdir(name());
        QVector<SamplePoint> samples(2);
        for (int i = 0; i < storedBlocks; ++i) {
            samples[0].time = firstTime(i);
            samples[1].time = firstTime(i) + blockLength;
            write(blockName(i), blockfile::encodeBlock(samples));
        }
        for (int i = 0; i < storedEvents; ++i)
            write(eventfile::fileName(i + 1), {});
        write(QStringLiteral("index.dat"), index(storedBlocks, storedEvents));
        QFile file(indexPath());
        m_good = m_good && file.open(QIODevice::ReadWrite) &&
                 file.setFileTime(QDateTime::currentDateTime().addSecs(60), QFileDevice::FileModificationTime);
    }
    static QString name() { return QString::fromLatin1(folder); }
    QString session() const { return m_session.path(); }
    QString indexPath() const { return path(QStringLiteral("index.dat")); }
    bool isGood() const { return m_good; }

private:
    QString path(const QString &file) const { return m_session.filePath(name() + QLatin1Char('/') + file); }
    void write(const QString &fileName, const QByteArray &bytes)
    {
        QFile file(path(fileName));
        m_good = m_good && file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    QTemporaryDir m_session;
    bool m_good = true;
};

const SensorFolder &sensorFolder()
{
    static const SensorFolder made;
    return made;
}

std::unique_ptr<norvexData> opened(benchmark::State &state, LoadMode mode)
{
    auto store = std::make_unique<norvexData>();
    store->setFolderName(SensorFolder::name());
    const bool isWhole = sensorFolder().isGood() &&
                         store->load(sensorFolder().session(), mode) == LoadOutcome::Loaded &&
                         store->blockCount() == storedBlocks && store->eventCount() == storedEvents;
    if (!isWhole)
        state.SkipWithError("not all was read");
    return store;
}

/// As a session opens it: the folder is looked through afterwards, by the reconciliation.
void openedOurs(benchmark::State &state)
{
    sensorFolder();
    for (auto _ : state) {
        auto store = opened(state, LoadMode::ReadOnly);
        state.PauseTiming(); // how it ends is no part of it
        store.reset();
        state.ResumeTiming();
    }
}

void reconciledOurs(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const auto store = opened(state, LoadMode::ReadOnly);
        state.ResumeTiming();
        if (store->reconcile().changedSomething())
            state.SkipWithError("there was something new");
    }
}

/// What is newer than the index, asked of every file of the folder.
void reconciledPlainly(benchmark::State &state)
{
    for (auto _ : state) {
        const QFileInfo written(sensorFolder().indexPath());
        const QFileInfoList files = written.dir().entryInfoList(QDir::Files | QDir::Hidden);
        const auto isNewer = [&](const QFileInfo &file) { return file.lastModified() > written.lastModified(); };
        if (files.size() != storedBlocks + storedEvents + 1 || std::any_of(files.begin(), files.end(), isNewer))
            state.SkipWithError("the folder is another");
    }
}

int blockFilesOpened(const std::function<void()> &work)
{
    sensorFolder(); // its making opens every one of them
    fileopens::counted = ".norvexdata";
    fileopens::count = 0;
    work();
    fileopens::counted = nullptr;
    return fileopens::count;
}

/// Opening and mending a folder, with everything that belongs to the store itself.
double openedByLoad(benchmark::State &state)
{
    return blockFilesOpened([&] { opened(state, LoadMode::Normal); });
}

double openedByReconciliation(benchmark::State &state)
{
    const auto store = opened(state, LoadMode::Normal);
    const int files = blockFilesOpened([&] { store->reconcile(); });
    if (files == 0) // those whose clock may have been wrong
        state.SkipWithError("the counter sees nothing");
    return files;
}

SnapshotSummary snapshotAt(const QStringList &fields, int at)
{
    return {fields.at(at).toULongLong(), fields.at(at + 1).toDouble(), fields.at(at + 2).toDouble(),
            fields.at(at + 3).toDouble(), fields.at(at + 4).toDouble()};
}

/// The index as it is read line by line.
struct PlainIndex
{
    QVector<IndexBlock> blocks;
    std::vector<EventSummary> events;

    bool read(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            return false;
        QTextStream stream(&file);
        stream.setCodec("UTF-8");
        QString line;
        while (stream.readLineInto(&line)) {
            const QStringList fields = line.split(QLatin1Char(';'));
            if (fields.first() == QLatin1String("block"))
                blocks.append(
                    {fields.at(1), fields.at(2), fields.at(3).toULongLong(), fields.at(4).toULongLong(), true});
            else if (fields.first() == QLatin1String("Event"))
                events.push_back(eventOf(fields));
        }
        return blocks.size() == storedBlocks && int(events.size()) == storedEvents;
    }

    static EventSummary eventOf(const QStringList &fields)
    {
        EventSummary entry;
        entry.setFileName(fields.at(2));
        entry.time = fields.at(3).toULongLong();
        entry.typeCode = eventtype::code(fields.at(4));
        entry.snapshot2 = snapshotAt(fields, 7);
        entry.snapshot1 = snapshotAt(fields, 12);
        entry.snapshot3 = snapshotAt(fields, 17);
        return entry;
    }
};

void readOurs(benchmark::State &state)
{
    const QString path = sensorFolder().indexPath();
    for (auto _ : state) {
        QByteArray bytes;
        auto content = std::make_unique<IndexContent>();
        if (readWholeFile(path, bytes, indexfile::maximumSize))
            *content = indexfile::read(bytes);
        if (content->blocks.size() != storedBlocks || int(content->events.size()) != storedEvents)
            state.SkipWithError("not all was read");
        state.PauseTiming(); // how it ends is no part of it
        content.reset();
        state.ResumeTiming();
    }
}

void readPlainly(benchmark::State &state)
{
    const QString path = sensorFolder().indexPath();
    for (auto _ : state) {
        auto index = std::make_unique<PlainIndex>();
        if (!index->read(path))
            state.SkipWithError("not all was read");
        state.PauseTiming();
        index.reset();
        state.ResumeTiming();
    }
}

/// What a store knows when it is open: the samples of each block by the size of its file, and each event by its key.
struct PlainStore
{
    PlainIndex index;
    QVector<int> counts;
    QHash<EventKey, int> positions;

    bool open(const QString &path)
    {
        if (!index.read(path))
            return false;
        const QDir place = QFileInfo(path).dir();
        for (const IndexBlock &block : qAsConst(index.blocks)) {
            const QFileInfo file(place.filePath(block.file));
            counts.append(file.exists() ? blockfile::countFromSize(file.size()) : 0);
        }
        for (std::size_t i = 0; i < index.events.size(); ++i)
            positions.insert(keyOf(index.events[i]), int(i));
        return positions.size() == storedEvents && !counts.contains(0);
    }
};

void openedPlainly(benchmark::State &state)
{
    const QString path = sensorFolder().indexPath();
    for (auto _ : state) {
        auto store = std::make_unique<PlainStore>();
        if (!store->open(path))
            state.SkipWithError("not all was read");
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
}

/// Opens a store of so many blocks and ten times as many events; the block files are not there and not asked for.
void openGrowth(benchmark::State &state)
{
    const QTemporaryDir dir;
    QDir(dir.path()).mkdir(QStringLiteral("S"));
    QFile file(dir.filePath(QStringLiteral("S/index.dat")));
    const auto blocks = static_cast<int>(state.range(0));
    if (!file.open(QIODevice::WriteOnly) || file.write(index(blocks, blocks * 10)) <= 0)
        return state.SkipWithError("cannot write");
    file.close();
    for (auto _ : state) {
        norvexData store;
        store.setFolderName(QStringLiteral("S"));
        if (store.load(dir.path()) != LoadOutcome::Loaded)
            state.SkipWithError("cannot load");
    }
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    bench::compare("index lines of 10,000 events", 5, "QTextStream", linesOurs, linesStream);
    bench::compare("index of 100,000 events with 1 % new lines, synced", 0.9, "raw write", savedOurs, savedRaw);
    bench::compare("read an index of 10,000 blocks and 100,000 events", 8, "QTextStream and split", readOurs,
                   readPlainly);
    bench::compare("open the store of that index", 8, "the same, QFileInfo and QHash", openedOurs, openedPlainly);
    bench::atMost("block files opened for it", 0, "files", openedByLoad, 1);
    bench::atMost("block files opened by its reconciliation, nothing newer", 2, "files", openedByReconciliation, 1);
    bench::compare("reconcile that store with its folder", 1, "QFileInfo of each file", reconciledOurs,
                   reconciledPlainly);
    bench::growth("open a store, by blocks", 100, openGrowth);
    return bench::run(argc, argv);
}
