#include "base/platform.h"
#include "compare.h"
#include "data/journal.h"
#include "data/samplepoint.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <ctime>

namespace {

// 64 sensors at 1,000 samples/s, in pages of 20.
constexpr int sensors = 64;
constexpr int pagesPerSecond = sensors * 50;
constexpr int clearsPerSecond = sensors / 2; // one for each 2,000 samples
constexpr int ticksPerSecond = 100;
constexpr int seconds = 2;
constexpr int pageBytes = 20 * sampleRecordSize(SamplePoint::currentVersion);

double cpuMs()
{
    return 1000.0 * double(std::clock()) / CLOCKS_PER_SEC;
}

/// Calls `work` so many times in so many seconds, as pages come in.
template <class Work>
void atPace(int calls, Work work)
{
    QEventLoop loop;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    int left = calls;
    QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
        work(calls - left);
        if (--left == 0)
            loop.quit();
    });
    timer.start(1000 / ticksPerSecond);
    loop.exec();
}

void waitUntilDurable(Journal &journal)
{
    QEventLoop loop;
    journal.whenDurable(&loop, [&](bool) { loop.quit(); });
    loop.exec();
}

double journalCpu(const QByteArray &page)
{
    const QTemporaryDir folder;
    Journal journal(folder.path());
    const double before = cpuMs();
    atPace(seconds * ticksPerSecond, [&](int tick) {
        for (int i = 0; i < pagesPerSecond / ticksPerSecond; ++i)
            journal.append(QStringLiteral("S%1-PM").arg(i), DurableLog::Record::Samples, page);
        if (tick % (ticksPerSecond / clearsPerSecond) == 0)
            journal.whenDurable(&journal, [](bool) {});
    });
    waitUntilDurable(journal);
    return cpuMs() - before;
}

/// The bytes themselves, with the syncs that the clears ask for.
double rawCpu(const QByteArray &page)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("raw")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return 0;
    QByteArray waiting;
    const double before = cpuMs();
    atPace(seconds * ticksPerSecond, [&](int tick) {
        for (int i = 0; i < pagesPerSecond / ticksPerSecond; ++i)
            waiting += page;
        if (tick % (ticksPerSecond / clearsPerSecond) != 0)
            return;
        file.write(waiting);
        platform::syncFile(file);
        waiting.clear();
    });
    return cpuMs() - before;
}

/// Milliseconds a second besides those of the bytes.
double extraCpu()
{
    const QByteArray page(pageBytes, 's');
    const double raw = rawCpu(page);
    return std::max(0.0, journalCpu(page) - raw) / seconds;
}

void journalPage(benchmark::State &state)
{
    const QTemporaryDir folder;
    Journal journal(folder.path());
    const QByteArray page(pageBytes, 's');
    waitUntilDurable(journal);
    for (auto _ : state) {
        journal.append(QStringLiteral("S1-PM"), DurableLog::Record::Samples, page);
        waitUntilDurable(journal);
    }
}

/// The sync that may be under way, and the one that the page waits for.
void twoSyncs(benchmark::State &state)
{
    const QTemporaryDir folder;
    const QByteArray page(pageBytes, 's');
    QFile file(folder.filePath(QStringLiteral("raw")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return state.SkipWithError("cannot write");
    for (auto _ : state) {
        for (int i = 0; i < 2; ++i) {
            if (file.write(page) != page.size() || !platform::syncFile(file))
                return state.SkipWithError("cannot write");
        }
    }
}

/// Clears of all sensors while their pages come: how long the slowest waits for its answer.
double slowestClearMs()
{
    const QTemporaryDir folder;
    Journal journal(folder.path());
    const QByteArray page(pageBytes, 's');
    waitUntilDurable(journal);
    double slowest = 0;
    atPace(seconds * ticksPerSecond, [&](int) {
        for (int i = 0; i < pagesPerSecond / ticksPerSecond; ++i)
            journal.append(QStringLiteral("S%1-PM").arg(i), DurableLog::Record::Samples, page);
        QElapsedTimer clock;
        clock.start();
        journal.whenDurable(
            &journal, [&slowest, clock](bool) { slowest = std::max(slowest, double(clock.nsecsElapsed()) / 1e6); });
    });
    waitUntilDurable(journal);
    return slowest;
}

/// Two syncs of the same bytes, the slowest pair of as many.
double slowestSyncsMs()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("raw")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return 0;
    const QByteArray bytes(pageBytes * pagesPerSecond / ticksPerSecond, 's');
    double slowest = 0;
    double last = 0;
    for (int i = 0; i < seconds * ticksPerSecond; ++i) {
        QElapsedTimer clock;
        clock.start();
        file.write(bytes);
        platform::syncFile(file);
        const double took = double(clock.nsecsElapsed()) / 1e6;
        slowest = std::max(slowest, last + took);
        last = took;
    }
    return slowest;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    bench::atMost("journal besides its bytes, CPU of 1 s of 64 sensors at 1,000 samples/s", 50, "ms",
                  [](benchmark::State &) { return extraCpu(); });
    bench::compare("clear waits for the journal", 1, "the sync under way and its own", journalPage, twoSyncs);
    bench::compareAmounts(
        "slowest of 200 clears, 64 sensors at 1,000 samples/s", 0.5, "ms", "the sync under way and its own",
        [](benchmark::State &) { return slowestClearMs(); }, [](benchmark::State &) { return slowestSyncsMs(); });
    return bench::run(argc, argv);
}
