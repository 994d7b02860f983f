#include "base/platform.h"
#include "compare.h"
#include "data/indexfile.h"
#include "data/norvexdata.h"
#include "data/storefiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

const QByteArray folder = "S1234-Chamber A";

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

QByteArray index(int blocks, int count)
{
    QByteArray out;
    indexfile::appendHeader(out, {QStringLiteral("S1234"), QStringLiteral("Chamber A"), true, {}});
    indexfile::appendBlockStart(out, blocks);
    for (int i = 0; i < blocks; ++i) {
        const quint64 first = 1700000000000000ULL + static_cast<quint64>(i) * 20000000;
        indexfile::appendBlock(out, folder, QStringLiteral("block_%1.norvexdata").arg(i + 1), first, first + 19998000);
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

void openedOurs(benchmark::State &state)
{
    const QByteArray bytes = index(10000, 100000);
    for (auto _ : state) {
        const IndexContent content = indexfile::read(bytes);
        if (content.blocks.size() != 10000 || content.events.size() != 100000)
            state.SkipWithError("not all was read");
    }
}

SnapshotSummary snapshotAt(const QStringList &fields, int at)
{
    return {fields.at(at).toULongLong(), fields.at(at + 1).toDouble(), fields.at(at + 2).toDouble(),
            fields.at(at + 3).toDouble(), fields.at(at + 4).toDouble()};
}

void openedStream(benchmark::State &state)
{
    QByteArray bytes = index(10000, 100000);
    for (auto _ : state) {
        std::vector<EventSummary> list;
        QVector<IndexBlock> blocks;
        QTextStream stream(&bytes, QIODevice::ReadOnly);
        stream.setCodec("UTF-8");
        QString line;
        while (stream.readLineInto(&line)) {
            const QStringList fields = line.split(QLatin1Char(';'));
            if (fields.first() == QLatin1String("block")) {
                blocks.append(
                    {fields.at(1), fields.at(2), fields.at(3).toULongLong(), fields.at(4).toULongLong(), true});
            } else if (fields.first() == QLatin1String("Event")) {
                EventSummary entry;
                entry.setFileName(fields.at(2));
                entry.time = fields.at(3).toULongLong();
                entry.typeCode = eventtype::code(fields.at(4));
                entry.snapshot2 = snapshotAt(fields, 7);
                entry.snapshot1 = snapshotAt(fields, 12);
                entry.snapshot3 = snapshotAt(fields, 17);
                list.push_back(entry);
            }
        }
        if (blocks.size() != 10000 || list.size() != 100000)
            state.SkipWithError("not all was read");
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
    bench::compare("open an index of 10,000 blocks and 100,000 events", 8, "QTextStream and split", openedOurs,
                   openedStream);
    bench::growth("open a store, by blocks", 100, openGrowth);
    return bench::run(argc, argv);
}
