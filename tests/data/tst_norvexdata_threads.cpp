#include "data/journal.h"
#include "data/journalreplay.h"
#include "storefixture.h"

#include <QThread>
#include <QtTest>

#include <functional>

namespace {

constexpr quint64 start = 1700000000000000ULL;
constexpr int pageSize = 20;

class Worker final : public QThread
{
public:
    explicit Worker(std::function<void()> body) : m_body(std::move(body)) {}
    void run() override { m_body(); }

private:
    std::function<void()> m_body;
};

/// Samples that switch RF on and off, so that runs come and go.
QVector<SamplePoint> page(int number)
{
    QVector<SamplePoint> list = row(start + static_cast<quint64>(number) * pageSize * 1000, pageSize);
    for (SamplePoint &sample : list)
        sample.voltage = number % 7 < 4 ? 50 : 0;
    return list;
}

bool isRising(const QVector<SamplePoint> &list)
{
    for (int i = 1; i < list.size(); ++i) {
        if (list[i].time <= list[i - 1].time)
            return false;
    }
    return true;
}

} // namespace

class TestNorvexDataThreads : public QObject
{
    Q_OBJECT

private slots:
    void recordSaveReadAtOnce();
};

/// One thread records, one saves and unloads, two read, and the journal writes: whatever the order, a reader sees times
/// that only rise, and in the end everything is there once, in memory, on disk and after a replay.
void TestNorvexDataThreads::recordSaveReadAtOnce()
{
    constexpr int pages = 1500;
    const SensorFolder folder;
    const auto store = folder.newStore();
    SensorConfiguration configuration;
    configuration.minSwitchOffLength = 10;
    store->setConfiguration(configuration);
    Journal journal(folder.session(), {1, 5});
    store->setDurableLog(&journal);
    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    std::atomic<int> saves{0};

    Worker recording([&] {
        int refused = 0;
        for (int i = 0; i < pages && refused < 100; ++i) {
            const QVector<SamplePoint> again = i > 0 ? page(i - 1) + page(i) : page(i);
            while (!store->addSamples(i % 5 == 0 ? again : page(i)) && ++refused < 100)
                QThread::msleep(1);
            store->takeFinishedRuns();
            if (i % 3 == 0 && !store->addEvent(arcAt(start + static_cast<quint64>(i) * 100)))
                ++faults;
            if (i % 100 == 0)
                store->setChamberSerial(QString::number(i));
        }
        faults += refused >= 100 ? 1 : 0;
        done = true;
    });
    Worker saving([&] {
        while (!done) {
            const qint64 generation = journal.rotate();
            if (store->hasUnsavedData() && store->save(folder.session())) {
                journal.commit(generation);
                ++saves;
            }
            store->unloadIdleBlocks(true);
        }
    });
    const auto read = [&] {
        while (!done) {
            const quint64 last = store->lastTime();
            QVector<SamplePoint> list;
            if (store->samplesInRange(last > 3000000 ? last - 3000000 : 0, last + 1, list) && !isRising(list))
                ++faults;
            for (const EventRecord &event : store->eventsInRange(0, ~quint64(0)))
                faults += event.isSaved() || !event.samples.isEmpty() ? 0 : 1;
            if (store->eventCount() > 0 && store->waveform({start, eventtype::E11}).size() != 5)
                ++faults;
            store->runsInRange(0, ~quint64(0));
            store->sampleCount();
            store->recipe();
        }
    };
    Worker reading(read);
    Worker alsoReading(read);
    for (QThread *thread : {static_cast<QThread *>(&recording), static_cast<QThread *>(&saving),
                            static_cast<QThread *>(&reading), static_cast<QThread *>(&alsoReading)})
        thread->start();
    for (QThread *thread : {static_cast<QThread *>(&recording), static_cast<QThread *>(&saving),
                            static_cast<QThread *>(&reading), static_cast<QThread *>(&alsoReading)})
        thread->wait();
    store->setDurableLog(nullptr);

    QCOMPARE(faults.load(), 0);
    QVERIFY(saves > 0);
    QVector<SamplePoint> expected;
    for (int i = 0; i < pages; ++i)
        expected += page(i);
    QCOMPARE(everything(*store), expected);
    QCOMPARE(store->eventCount(), pages / 3);
    QVERIFY(store->save(folder.session()));
    QVERIFY(!store->hasUnsavedData());
    const auto again = folder.load();
    replayJournal(folder.session(), [&](const JournalSensor &) { return again.get(); });
    QCOMPARE(everything(*again), expected);
    QCOMPARE(again->eventCount(), pages / 3);
    QCOMPARE(again->runCount(), store->runCount());
    QVERIFY(again->runCount() > 100);
}

QTEST_GUILESS_MAIN(TestNorvexDataThreads)
#include "tst_norvexdata_threads.moc"
