#include "display/markcache.h"
#include "display/memorysource.h"

#include <QTest>
#include <QThreadPool>

class TestMarkCache : public QObject
{
    Q_OBJECT

private slots:
    void newEventsAreAddedInOrder();
    void lateEventsAreFound();
    void rulesAreAppliedToAll();
    void runsAreNumberedByStart();
    void endsWhileReading();

private:
    QThreadPool m_pool;
};

namespace {

constexpr quint64 second = 1000000;
constexpr quint64 start = 1700000000 * second;

EventRecord eventAt(quint64 time, int code = 0)
{
    EventRecord event;
    event.time = time;
    event.typeCode = code;
    return event;
}

bool sorted(const QVector<EventMark> &marks)
{
    return std::is_sorted(marks.begin(), marks.end(),
                          [](const EventMark &a, const EventMark &b) { return a.time < b.time; });
}

} // namespace

void TestMarkCache::newEventsAreAddedInOrder()
{
    auto source = std::make_shared<MemorySource>();
    MarkCache cache(source, &m_pool);
    for (int page = 0; page < 4; ++page) {
        for (int i = 0; i < 50; ++i)
            source->addEvent(eventAt(start + quint64(page * 100 + (i * 7) % 50) * second, i % 5));
        cache.refresh();
        QTRY_COMPARE(cache.events().size(), (page + 1) * 50);
        QVERIFY(sorted(cache.events()));
    }
    QCOMPARE(source->eventReads.load(), 4);
    cache.refresh();
    m_pool.waitForDone();
    QCOMPARE(source->eventReads.load(), 4); // nothing changed, nothing read
}

void TestMarkCache::lateEventsAreFound()
{
    auto source = std::make_shared<MemorySource>();
    MarkCache cache(source, &m_pool);
    source->addEvent(eventAt(start + 1000 * second));
    cache.refresh();
    QTRY_COMPARE(cache.events().size(), 1);
    source->addEvent(eventAt(start + 10 * second)); // long before what is known
    QTRY_VERIFY((cache.refresh(), cache.events().size() == 2));
    QVERIFY(sorted(cache.events()));
}

void TestMarkCache::rulesAreAppliedToAll()
{
    auto source = std::make_shared<MemorySource>();
    for (int i = 0; i < 10; ++i)
        source->addEvent(eventAt(start + quint64(i) * second, i));
    EventRecord named = eventAt(start + 20 * second, 9);
    named.named = true;
    named.name = QStringLiteral("mine");
    named.isOverridden = true;
    named.overrideCode = 3;
    source->addEvent(named);
    MarkCache cache(source, &m_pool);
    cache.refresh();
    QTRY_COMPARE(cache.shownEvents(), 11);
    QCOMPARE(cache.events().last().name, QStringLiteral("mine"));
    QCOMPARE(cache.events().last().code, 3);
    QCOMPARE(cache.events().last().typeCode, 9);
    cache.setRules([](const EventRecord &event) { return event.effectiveCode() < 4; },
                   [](const EventRecord &event) { return event.named ? QColor(Qt::red) : QColor(); });
    cache.refresh();
    QTRY_COMPARE(cache.shownEvents(), 5);
    QCOMPARE(cache.events().size(), 11);
    QCOMPARE(cache.events().last().colour, QColor(Qt::red));
    QVERIFY(!cache.events().first().colour.isValid());
}

void TestMarkCache::runsAreNumberedByStart()
{
    auto source = std::make_shared<MemorySource>();
    for (const quint64 at : {300, 100, 200}) {
        RunRecord run;
        run.start = start + at * second;
        run.end = run.start + 50 * second;
        run.meanVoltage = double(at);
        source->addRun(run);
    }
    MarkCache cache(source, &m_pool);
    cache.refresh();
    QTRY_COMPARE(cache.runs().size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(cache.runs()[i].number, i + 1);
        QCOMPARE(cache.runs()[i].meanVoltage, 100.0 * (i + 1));
    }
}

void TestMarkCache::endsWhileReading()
{
    auto source = std::make_shared<MemorySource>();
    for (int i = 0; i < 1000; ++i)
        source->addEvent(eventAt(start + quint64(i) * second));
    for (int i = 0; i < 20; ++i) {
        MarkCache cache(source, &m_pool);
        cache.refresh();
    }
    m_pool.waitForDone();
    QCoreApplication::processEvents();
}

QTEST_GUILESS_MAIN(TestMarkCache)
#include "tst_markcache.moc"
