#include "data/norvexdata.h"
#include "sensor/arcsensor.h"
#include "sensor/fakepeer.h"
#include "simulator/sensorsimulator.h"

#include <QtTest>

#include <algorithm>
#include <atomic>
#include <map>
#include <set>

namespace {

constexpr int patience = 20000;

LinkTimings quick()
{
    LinkTimings timings;
    timings.retryWait = 10;
    timings.pollPeriod = 5;
    timings.replyTimeout = 100;
    timings.dispatchInterval = 1;
    return timings;
}

/// The time of sensor and recorder alike; it stands still until a test moves it.
class SharedClock final : public Clock
{
public:
    qint64 utcMs() const override { return 1'700'000'000'000 + m_ms; }
    qint64 steadyMs() const override { return m_ms; }
    void advance(qint64 ms) { m_ms += ms; }

private:
    std::atomic<qint64> m_ms{0};
};

SimulatorOptions slowSensor()
{
    SimulatorOptions options;
    options.rate = 1; // what matters is made beforehand
    options.arcsPerMinute = 0;
    return options;
}

/// What a sensor generated against what a store holds. Values identify a sample, since its time is the sensor's own.
QString compare(const LedgerSnapshot &ledger, const norvexData &store)
{
    struct Fate
    {
        int generated = 0;
        int cleared = 0;
        int stored = 0;
    };
    std::map<quint32, Fate> fates;
    for (const LedgerEntry &entry : ledger.samples) {
        ++fates[entry.checksum].generated;
        fates[entry.checksum].cleared += entry.cleared ? 1 : 0;
    }
    QVector<SamplePoint> samples;
    if (!store.samplesInRange(0, ~quint64(0), samples))
        return QStringLiteral("a block could not be read");
    for (const SamplePoint &sample : samples)
        ++fates[sampleChecksum(sample)].stored;
    int lost = 0;
    int doubled = 0;
    for (const auto &[checksum, fate] : fates) {
        lost += std::max(fate.cleared - fate.stored, 0);
        doubled += std::max(fate.stored - fate.generated, 0);
    }
    const qint64 base = store.timeLine().baseUs;
    int misplaced = 0;
    if (ledger.restartsMs.isEmpty()) {
        std::set<qint64> times;
        for (const LedgerEntry &entry : ledger.samples)
            times.insert(base + entry.time * 1000);
        for (const LedgerEntry &entry : ledger.events)
            times.insert(base + entry.time);
        for (const SamplePoint &sample : qAsConst(samples))
            misplaced += times.count(qint64(sample.time)) == 0 ? 1 : 0;
        const QVector<EventRecord> events = store.storedEvents(0, ~quint64(0));
        for (const EventRecord &event : events)
            misplaced += times.count(qint64(event.time)) == 0 ? 1 : 0;
    }
    const bool inOrder = std::is_sorted(samples.begin(), samples.end(),
                                        [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
    return lost == 0 && doubled == 0 && misplaced == 0 && inOrder
               ? QString()
               : QStringLiteral("%1 lost, %2 doubled or changed of %3, %4 at another time%5")
                     .arg(lost)
                     .arg(doubled)
                     .arg(samples.size())
                     .arg(misplaced)
                     .arg(inOrder ? QString() : QStringLiteral(", not in order"));
}

int clearedEvents(const LedgerSnapshot &ledger)
{
    return int(
        std::count_if(ledger.events.begin(), ledger.events.end(), [](const LedgerEntry &e) { return e.cleared; }));
}

int clearedSamples(const LedgerSnapshot &ledger)
{
    return int(
        std::count_if(ledger.samples.begin(), ledger.samples.end(), [](const LedgerEntry &e) { return e.cleared; }));
}

std::shared_ptr<norvexData> makeStore()
{
    auto store = std::make_shared<norvexData>();
    store->setSensorSerial(QStringLiteral("NVX-SIM-0001"));
    store->setFolderName(QStringLiteral("sensor"));
    return store;
}

} // namespace

/// The real connection against the simulated sensor, over real sockets, with the sensor's own ledger as the judge.
class TestNoLoss : public QObject
{
    Q_OBJECT

private slots:
    void faults_data();
    void faults();
    void oneRequestAtATime();
    void restarts_data();
    void restarts();
    void switchedOffAndOn();
    void storeReplaced();
    void fullEventMemory();
};

void TestNoLoss::faults_data()
{
    QTest::addColumn<QByteArray>("plan");
    for (const char *plan : {"",
                             "all@*=chunked",
                             "all@*=no-length",
                             "all@*=lf-only",
                             "data@3=hang",
                             "data@3=reset",
                             "data@2-3=close-body",
                             "data@3=reset-body:700",
                             "data@3=cut",
                             "data@3=cut:2500",
                             "data@3-5=cut:2500",
                             "data@2=missing-chunks",
                             "data@2=bad-chunks",
                             "data@2=negative-length",
                             "data@2=double-length",
                             "data@2=short-length",
                             "data@2=huge-length",
                             "data@2=endless-body",
                             "data@2=drip-body",
                             "data@2=gzip",
                             "data@2=empty",
                             "data@2=garbage",
                             "data@2=unequal-columns",
                             "data@2-8=missing-column",
                             "data@2=missing-column:Time_ms",
                             "data@2=404",
                             "data@2=500",
                             "events@4=reset",
                             "events@4=500",
                             "events@2-4=empty",
                             "events@2-7=cut:40",
                             "events@2-7=deep-json",
                             "events@2-7=duplicate-keys",
                             "frame@1=shrink",
                             "frame@1=big-count",
                             "frame@1=negative-count",
                             "frame@1=deep-json",
                             "frame@1=duplicate-keys",
                             "frame@1=garbage",
                             "frame@2=404",
                             "clear@1=hang-after",
                             "clear@1=close-after",
                             "clear@1=reset-after",
                             "clear@1=close",
                             "clear@1=reset",
                             "clear@1=hang",
                             "clear@1=delay:150",
                             "clear@1=500",
                             "clear@1=garbage",
                             "clear@1=cut:20",
                             "status@1=404",
                             "data@3=500;status@2+=cut",
                             "config@*=500",
                             "recipe@*=hang",
                             "info@1=reset",
                             "all@5%=reset",
                             "all@/31=delay:150",
                             "all@10%=close-after"})
        QTest::newRow(*plan ? plan : "no fault") << QByteArray(plan);
}

void TestNoLoss::faults()
{
    QFETCH(QByteArray, plan);
    SensorSimulator sensor(slowSensor());
    QString error;
    QVERIFY2(sensor.start(&error), qPrintable(error));
    sensor.preload(107, 13);
    QVERIFY2(sensor.setFaultPlan(QString::fromLatin1(plan), &error), qPrintable(error));
    const auto store = makeStore();
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick());
    link.setStore(store);
    QVERIFY(waitUntil([&] { return sensor.storedSamples() < 7; }, patience));
    link.stop();
    const LedgerSnapshot ledger = sensor.ledger();
    QCOMPARE(compare(ledger, *store), QString());
    QVERIFY(clearedSamples(ledger) >= 100);
    QVERIFY2(store->eventCount() >= clearedEvents(ledger), "an event was lost");
    QVERIFY(store->eventCount() <= ledger.events.size());
}

// A window that repaints keeps replies waiting while the worker goes on; a second chain of requests that began in such
// a moment would take each page twice and skip every other.
void TestNoLoss::oneRequestAtATime()
{
    SensorSimulator sensor(slowSensor());
    QVERIFY(sensor.start());
    sensor.preload(407, 13);
    const auto store = makeStore();
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick());
    link.setStore(store);
    int turn = 0;
    const auto stall = [&] { QThread::msleep(ulong(++turn % 5 * 4)); };
    connect(&link, &arcSensor::statusUpdate, &link, stall);
    connect(&link, &arcSensor::configUpdated, &link, stall);
    int records = 0;
    connect(&link, &arcSensor::downloadStatus, &link, [&] {
        ++records;
        stall();
        if (records % 3 == 0)
            link.triggerSnapshot();
    });
    bool cleared = false;
    connect(&link, &arcSensor::stateChange, &link, [&](int state) {
        if (state == 1 && records > 0)
            cleared = true;
    });
    QVERIFY(waitUntil([&] { return cleared && sensor.storedSamples() < 7; }, patience));
    link.stop();
    QCOMPARE(records, 21 + 13);
    QCOMPARE(compare(sensor.ledger(), *store), QString());
}

void TestNoLoss::restarts_data()
{
    QTest::addColumn<int>("upMs");  // between two restarts
    QTest::addColumn<int>("keeps"); // its memory over every so many restarts, 0: never
    QTest::newRow("memory lost and kept") << 9000 << 2;
    QTest::newRow("memory kept") << 9000 << 1;
    QTest::newRow("memory lost, soon again") << 1200 << 0;
    QTest::newRow("memory kept, soon again") << 1200 << 1;
}

// All clocks tick together here, so the times of one start would meet those of another wherever they overlap.
void TestNoLoss::restarts()
{
    QFETCH(int, upMs);
    QFETCH(int, keeps);
    SharedClock clock;
    SimulatorOptions options;
    options.rate = 10;
    options.clock = &clock;
    SensorSimulator sensor(options);
    QVERIFY(sensor.start());
    const auto store = makeStore();
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick(), clock);
    link.setStore(store);
    for (int round = 0; round < 6; ++round) {
        clock.advance(upMs);
        const qint64 asked = sensor.requestCount();
        // At another moment of the frame each time, with the memory lost or kept.
        QVERIFY(waitUntil([&] { return sensor.requestCount() > asked + 2 + 2 * round; }, patience));
        sensor.reboot(keeps > 0 && round % keeps == 0);
    }
    clock.advance(5000);
    QVERIFY(waitUntil([&] { return link.state() > 0 && sensor.storedSamples() < 7; }, patience));
    link.stop();
    QCOMPARE(compare(sensor.ledger(), *store), QString());
}

void TestNoLoss::switchedOffAndOn()
{
    SensorSimulator sensor(slowSensor());
    QVERIFY(sensor.start());
    const auto store = makeStore();
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick());
    link.setStore(store);
    for (int round = 0; round < 5; ++round) {
        sensor.preload(90, 5);
        const qint64 asked = sensor.requestCount();
        QVERIFY(waitUntil([&] { return sensor.requestCount() > asked + 3 + 2 * round; }, patience));
        sensor.setPower(false);
        QVERIFY(waitUntil([&] { return link.state() == 0; }, patience));
        sensor.setPower(true);
    }
    QVERIFY(waitUntil([&] { return sensor.storedSamples() < 7; }, patience));
    link.stop();
    const LedgerSnapshot ledger = sensor.ledger();
    QCOMPARE(compare(ledger, *store), QString());
    QCOMPARE(store->eventCount(), clearedEvents(ledger));
}

// A recorder that ends in the middle of a frame and starts again: what the sensor still holds comes once.
void TestNoLoss::storeReplaced()
{
    QTemporaryDir folder;
    SensorSimulator sensor(slowSensor());
    QVERIFY(sensor.start());
    sensor.preload(150, 5);
    SensorTimeLine line;
    {
        const auto store = makeStore();
        arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick());
        link.setStore(store);
        QVERIFY(waitUntil([&] { return store->sampleCount() >= 60; }, patience));
        link.stop();
        QVERIFY(QDir(folder.path()).mkdir(store->folderName()));
        QVERIFY(store->save(folder.path()));
        line = store->timeLine();
    }
    const auto store = makeStore();
    store->load(folder.path());
    store->setTimeLine(line);
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick());
    link.setStore(store);
    QVERIFY(waitUntil([&] { return sensor.storedSamples() < 7; }, patience));
    link.stop();
    QCOMPARE(compare(sensor.ledger(), *store), QString());
    QCOMPARE(store->eventCount(), clearedEvents(sensor.ledger()));
}

// New events drive the oldest out while they are downloaded, and all others get another index.
void TestNoLoss::fullEventMemory()
{
    SimulatorOptions options = slowSensor();
    options.eventCapacity = 150;
    SensorSimulator sensor(options);
    QVERIFY(sensor.start());
    sensor.preload(200, 200);
    const auto store = makeStore();
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick());
    link.setStore(store);
    int requests = 0;
    connect(&link, &arcSensor::downloadStatus, &link, [&] {
        if (++requests % 8 == 0 && requests < 130)
            sensor.preload(1, 1);
    });
    QVERIFY(waitUntil([&] { return requests > 130 && sensor.storedSamples() < 7; }, patience));
    link.stop();
    const LedgerSnapshot ledger = sensor.ledger();
    QCOMPARE(compare(ledger, *store), QString());
    QVERIFY(clearedEvents(ledger) > 100);
    int missed = 0;
    for (const LedgerEntry &event : ledger.events) {
        const quint64 time = quint64(store->timeLine().baseUs + event.time);
        missed += event.cleared && store->storedEvents(time, time + 1).isEmpty();
    }
    QCOMPARE(missed, 0);
}

QTEST_GUILESS_MAIN(TestNoLoss)
#include "tst_noloss.moc"
