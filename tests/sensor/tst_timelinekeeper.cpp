#include "sensor/downloadplan.h"
#include "sensor/timelinekeeper.h"

#include <QtTest>

#include <map>
#include <random>

namespace {

constexpr qint64 hostMs = 1'700'000'000'000; // at the start of a test

struct Measured
{
    qint64 raw; // ms of a sample, us of an event
    int value;  // its own among all
};

/// A sensor with its memory, and a download of it as a connection makes it, without a network. All clocks are whole
/// multiples of the sensor's interval, so that times of samples meet wherever they can.
class Bench
{
public:
    explicit Bench(unsigned seed) : m_random(seed) { connectAnew(); }

    bool oneIn(int n) { return int(m_random() % unsigned(n)) == 0; }
    int below(int n) { return int(m_random() % unsigned(n)); }

    void measure(int samples)
    {
        for (int i = 0; i < samples; ++i) {
            m_nowMs += interval;
            m_memory.append({m_nowMs - m_startedMs, ++m_values});
            if (oneIn(10))
                m_events.append({(m_nowMs - m_startedMs) * 1000 - below(interval * 1000), ++m_values});
        }
    }

    void restart(bool keepsMemory)
    {
        measure(1); // two starts with one sample each would have the same time in a row, which falls nowhere
        m_startedMs = m_nowMs;
        if (keepsMemory)
            return;
        m_memory.clear();
        m_events.clear();
    }

    void connectAnew()
    {
        m_keeper.disconnected();
        m_plan.connected();
        m_plan.setHasStore(true);
        m_askedUptimeMs = m_nowMs - m_startedMs;
        measure(below(5)); // until the configuration comes
        m_candidate = {true, hostMs + m_nowMs, oneIn(6) ? -1 : m_nowMs - m_startedMs};
    }

    /// At most so many pages and events of the next frame; cleared when it is whole.
    void download(int steps)
    {
        m_plan.dropFrame();
        m_plan.frameArrived(m_memory.size(), m_events.size());
        for (; steps > 0; --steps) {
            const DownloadStep step = m_plan.next();
            if (step.ask == DownloadStep::Event)
                takeEvent(int(step.index));
            else if (step.ask == DownloadStep::Data)
                takePage(int(step.index), int(step.limit));
            else if (step.ask == DownloadStep::MakeDurable)
                m_plan.durable(true);
            else if (step.ask == DownloadStep::Clear)
                return clear(int(step.index) + 1);
            else
                return;
        }
    }

    /// What was cleared and is not there, and what is there more than once.
    QString problem() const
    {
        std::map<int, int> stored;
        QVector<SamplePoint> samples;
        m_store.samplesInRange(0, ~quint64(0), samples);
        for (const SamplePoint &sample : samples)
            ++stored[int(sample.voltage)];
        const QVector<EventRecord> events = m_store.storedEvents(0, ~quint64(0));
        for (const EventRecord &event : events)
            ++stored[int(event.samples.first().voltage)];
        int lost = 0;
        for (const auto &[value, times] : m_cleared)
            lost += stored.count(value) == 0 ? times : 0;
        int doubled = 0;
        for (const auto &[value, times] : stored)
            doubled += times - 1;
        return lost + doubled == 0 && !m_cleared.empty()
                   ? QString()
                   : QStringLiteral("%1 lost, %2 doubled of %3").arg(lost).arg(doubled).arg(m_cleared.size());
    }

private:
    static constexpr int interval = 20;

    TimeLineKeeper::Outside outside()
    {
        TimeLineKeeper::Outside outside;
        outside.last = m_store.timeLine();
        outside.lastTime = m_store.lastTime();
        outside.nowUtcMs = hostMs + m_nowMs;
        outside.candidate = m_candidate;
        outside.recognise = [this](const QVector<SamplePoint> &some) { return m_look.recognise(m_store, some); };
        outside.isEventStored = [this](qint64 time) {
            const QVector<EventRecord> events = m_store.storedEvents(quint64(time), quint64(time) + 1);
            return !events.isEmpty() && int(events.first().samples.first().voltage) == m_event.value;
        };
        return outside;
    }

    /// A connection ends when the sensor says that it has restarted.
    void askStatus()
    {
        const qint64 uptimeMs = m_nowMs - m_startedMs;
        const bool restarted = uptimeMs < m_askedUptimeMs;
        m_askedUptimeMs = uptimeMs;
        if (restarted)
            connectAnew();
    }

    void takePage(int index, int limit)
    {
        const qint64 base = m_keeper.line().known ? m_keeper.line().baseUs : m_store.timeLine().baseUs;
        QVector<SamplePoint> points;
        for (int i = index; i < qMin(index + limit, m_memory.size()); ++i) {
            SamplePoint point;
            point.time = quint64(base + m_memory.at(i).raw * 1000);
            point.voltage = m_memory.at(i).value;
            points.append(point);
        }
        const int count = m_keeper.place(points, base, index == 0, outside());
        if (count == TimeLineKeeper::askStatus)
            return askStatus();
        m_store.setTimeLine(m_keeper.line());
        points.resize(count);
        if (!m_store.addSamples(points))
            return;
        m_keeper.stored(points);
        m_plan.pageStored(count, points.first().time);
    }

    void takeEvent(int index)
    {
        m_event = m_events.at(index);
        const TimeLineKeeper::EventPlace place = m_keeper.placeEvent(m_event.raw, outside());
        if (place.outcome == TimeLineKeeper::EventPlace::AskStatus)
            return askStatus();
        if (m_keeper.line().known)
            m_store.setTimeLine(m_keeper.line());
        EventRecord event;
        event.time = quint64(m_event.raw + place.baseUs);
        event.loaded = true;
        event.samples.resize(1);
        event.samples[0].voltage = m_event.value;
        if (place.outcome == TimeLineKeeper::EventPlace::On)
            m_store.addEvent(event);
        m_plan.eventTaken(event.time, quint64(m_event.raw));
    }

    /// As sensors do: events up to the first that is later than the last sample.
    void clear(int count)
    {
        const qint64 lastUs = m_memory.at(count - 1).raw * 1000;
        while (count-- > 0)
            ++m_cleared[m_memory.takeFirst().value];
        while (!m_events.isEmpty() && m_events.constFirst().raw <= lastUs)
            ++m_cleared[m_events.takeFirst().value];
    }

    std::mt19937 m_random;
    norvexData m_store;
    BlockLook m_look;
    TimeLineKeeper m_keeper;
    TimeBaseCandidate m_candidate;
    qint64 m_nowMs = 1'000'000;
    qint64 m_startedMs = 1'000'000;
    qint64 m_askedUptimeMs = 0;
    DownloadPlan m_plan;
    QVector<Measured> m_memory;
    QVector<Measured> m_events;
    Measured m_event{}; // that is being placed
    int m_values = 0;
    std::map<int, int> m_cleared;
};

} // namespace

class TestTimeLineKeeper : public QObject
{
    Q_OBJECT

private slots:
    void restartsLoseAndDoubleNothing_data();
    void restartsLoseAndDoubleNothing();
    void lostBlocksHoldNothingUp();
    void blocksLookedIntoLeaveMemory();
    void unknownUptimeGoesOn_data();
    void unknownUptimeGoesOn();
    void leftoverEventsPlaceNoSamples();
};

void TestTimeLineKeeper::restartsLoseAndDoubleNothing_data()
{
    QTest::addColumn<bool>("keepsMemory");
    QTest::addColumn<bool>("unseen"); // the connection goes on as if nothing had happened
    QTest::newRow("memory lost") << false << false;
    QTest::newRow("memory kept") << true << false;
    QTest::newRow("memory lost, unseen") << false << true;
    QTest::newRow("memory kept, unseen") << true << true;
}

// Frames are downloaded in part, again, and whole, between restarts that come soon or late.
void TestTimeLineKeeper::restartsLoseAndDoubleNothing()
{
    QFETCH(bool, keepsMemory);
    QFETCH(bool, unseen);
    for (unsigned seed = 1; seed <= 40; ++seed) {
        Bench bench(seed);
        for (int round = 0; round < 30; ++round) {
            bench.measure(1 + bench.below(bench.oneIn(3) ? 300 : 60));
            bench.download(bench.oneIn(2) ? 1000 : bench.below(8));
            if (bench.oneIn(3)) {
                bench.restart(keepsMemory);
                if (!unseen)
                    bench.connectAnew();
            } else if (bench.oneIn(4)) {
                bench.connectAnew();
            }
        }
        bench.measure(10);
        for (int i = 0; i < 5; ++i)
            bench.download(1000);
        QVERIFY2(bench.problem().isEmpty(), qPrintable(QStringLiteral("seed %1: %2").arg(seed).arg(bench.problem())));
    }
}

void TestTimeLineKeeper::unknownUptimeGoesOn_data()
{
    QTest::addColumn<int>("leadMs");
    QTest::addColumn<bool>("goesOn");
    QTest::newRow("behind our clock") << -200 << true;
    QTest::newRow("a little before it") << 300 << true;
    QTest::newRow("far before it") << 20000 << false;
    QTest::newRow("long ago") << -100000 << false;
}

/// A sensor that does not say its uptime goes on where it was, as far as that fits our clock.
void TestTimeLineKeeper::unknownUptimeGoesOn()
{
    QFETCH(int, leadMs);
    const qint64 rawMs = 500000;
    const qint64 base = (hostMs - rawMs + leadMs) * 1000;
    TimeLineKeeper::Outside outside;
    outside.last = {true, base, 1000};
    outside.lastTime = quint64(base + 1000);
    outside.nowUtcMs = hostMs;
    outside.candidate = {true, hostMs, -1};
    outside.recognise = [](const QVector<SamplePoint> &) { return Recognition(); };
    QVector<SamplePoint> points(1);
    points[0].time = quint64(base + rawMs * 1000);
    TimeLineKeeper keeper;
    QCOMPARE(keeper.place(points, base, true, outside), 1);
    QTEST(keeper.line().baseUs == base, "goesOn");
}

/// A sensor that has restarted may hold an event of before for long. At every reconnect it comes first.
void TestTimeLineKeeper::leftoverEventsPlaceNoSamples()
{
    constexpr qint64 leftoverUs = 50'000'000;
    const qint64 oldBase = (hostMs - 100'000) * 1000;
    TimeLineKeeper::Outside outside;
    outside.last = {true, oldBase, 60'000};
    outside.lastTime = quint64(oldBase + 60'000'000);
    outside.nowUtcMs = hostMs;
    outside.candidate = {true, hostMs, 10'000};
    outside.recognise = [](const QVector<SamplePoint> &) { return Recognition(); };
    outside.isEventStored = [&](qint64 time) { return time == oldBase + leftoverUs; };
    TimeLineKeeper keeper;
    const auto place = [&](quint64 rawUs) {
        QVector<SamplePoint> points(1);
        points[0].time = quint64(outside.last.baseUs) + rawUs;
        return keeper.place(points, outside.last.baseUs, true, outside);
    };
    QCOMPARE(place(9'000'000), 1);
    const SensorTimeLine line = keeper.line();
    QCOMPARE(line.baseUs / 1000, hostMs - 10'000);
    keeper.disconnected();
    outside.last = line;
    outside.lastTime = quint64(line.baseUs + 9'000'000);
    outside.nowUtcMs += 60'000;
    outside.candidate = {true, outside.nowUtcMs, 70'000};
    QVERIFY(keeper.placeEvent(leftoverUs, outside).outcome == TimeLineKeeper::EventPlace::Stored);
    QCOMPARE(place(69'000'000), 1);
    QCOMPARE(keeper.line().baseUs, line.baseUs);
}

// A block file that somebody deletes, or that gets damaged, must not end the recording at the next restart.
void TestTimeLineKeeper::lostBlocksHoldNothingUp()
{
    const QTemporaryDir session;
    norvexData store;
    store.setFolderName(QStringLiteral("S1-Default"));
    QVERIFY(QDir(session.path()).mkdir(store.folderName()));
    const auto points = [](quint64 from) {
        QVector<SamplePoint> row(3);
        for (int i = 0; i < row.size(); ++i) {
            row[i].time = from + quint64(i);
            row[i].voltage = double(from) + i;
        }
        return row;
    };
    for (const qint64 base : {1, 2, 3}) { // a block each
        store.setTimeLine({true, base, 0});
        QVERIFY(store.addSamples(points(quint64(base) * 1000)));
    }
    QVERIFY(store.save(session.path()));
    store.unloadIdleBlocks(true);
    const QString block = session.filePath(QStringLiteral("S1-Default/block_%1.norvexdata"));
    QVERIFY(QFile::remove(block.arg(1)));
    QVERIFY(QFile::resize(block.arg(2), QFileInfo(block.arg(2)).size() - 1));
    BlockLook look;
    for (const quint64 base : {1, 2, 3}) {
        const Recognition found = look.recognise(store, points(base * 1000));
        QVERIFY(found.ok);
        QCOMPARE(found.same, base == 1 ? 0 : int(base)); // of the damaged one two are left
    }
}

void TestTimeLineKeeper::blocksLookedIntoLeaveMemory()
{
    const QTemporaryDir session;
    norvexData store;
    store.setFolderName(QStringLiteral("S1-Default"));
    QVERIFY(QDir(session.path()).mkdir(store.folderName()));
    for (int base = 1; base <= 7; ++base) { // a block each
        QVector<SamplePoint> points(2);
        points[0].time = quint64(base) * 1000;
        points[1].time = points[0].time + 100;
        store.setTimeLine({true, base, 0});
        QVERIFY(store.addSamples(points));
    }
    QVERIFY(store.save(session.path()));
    store.unloadIdleBlocks(true);
    const auto blocks = store.blocks();
    const auto loaded = [&blocks] {
        return std::count_if(blocks.begin(), blocks.end() - 1, [](const auto &block) { return block->isLoaded(); });
    };
    QCOMPARE(loaded(), 0);
    const auto between = [](int base) {
        QVector<SamplePoint> points(1);
        points[0].time = quint64(base) * 1000 + 50;
        return points;
    };
    BlockLook look;
    for (int page = 0; page < 3; ++page) {
        look.recognise(store, between(2));
        look.pageDone();
        QCOMPARE(loaded(), 1); // the next page does not have to read it again
    }
    for (int base = 1; base <= 6; ++base)
        look.recognise(store, between(base));
    QCOMPARE(loaded(), 4);
    look.pageDone();
    look.pageDone(); // no look between
    QCOMPARE(loaded(), 0);
    look.recognise(store, between(2));
    look.pageDone(true);
    QCOMPARE(loaded(), 0);
}

QTEST_APPLESS_MAIN(TestTimeLineKeeper)
#include "tst_timelinekeeper.moc"
