#include "base/platform.h"
#include "compare.h"
#include "data/journal.h"
#include "data/samplepoint.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

namespace {

// One second of 64 sensors at 1,000 samples/s, in pages of 20.
constexpr int pages = 64 * 50;
constexpr int pageBytes = 20 * sampleRecordSize(SamplePoint::currentVersion);

void journalSecond(benchmark::State &state)
{
    const QTemporaryDir folder;
    Journal journal(folder.path(), {500, 1000});
    const QByteArray page(pageBytes, 's');
    for (auto _ : state) {
        for (int i = 0; i < pages; ++i)
            journal.append(QStringLiteral("S%1-PM").arg(i % 64), DurableLog::Record::Samples, page);
        bool done = false;
        journal.whenDurable(&journal, [&](bool ok) {
            done = true;
            if (!ok)
                state.SkipWithError("cannot write");
        });
        while (!done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        state.PauseTiming();
        journal.commit(journal.rotate()); // the file goes, as after a save
        state.ResumeTiming();
    }
}

void rawSecond(benchmark::State &state)
{
    const QTemporaryDir folder;
    const QByteArray page(pageBytes, 's');
    int number = 0;
    for (auto _ : state) {
        QFile file(folder.filePath(QString::number(++number)));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return state.SkipWithError("cannot write");
        for (int i = 0; i < pages; i += 64) {
            const QByteArray bytes = page.repeated(64);
            if (file.write(bytes) != bytes.size())
                return state.SkipWithError("cannot write");
        }
        if (!platform::syncFile(file))
            return state.SkipWithError("cannot sync");
        state.PauseTiming();
        file.remove();
        state.ResumeTiming();
    }
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    // At most 50 ms a second, 5 % of a core, besides writing the same bytes, which takes a third of that.
    bench::compare("journal one second of 64 sensors at 1,000 samples/s", 0.25, "raw write and sync", journalSecond,
                   rawSecond);
    return bench::run(argc, argv);
}
