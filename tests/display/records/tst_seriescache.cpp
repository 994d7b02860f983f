#include "data/valuetype.h"
#include "display/memorysource.h"
#include "display/records/seriescache.h"

#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

class TestSeriesCache : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryStretchOnce();
    void appendsOnlyWhatIsNew();
    void lateSamplesAreSeen();
    void aStretchThatDidNotKnowItsCountIsReadOnce();
    void newQuantityIsReadBehindTheOldOne();
    void failuresAreTriedAgain();
    void budgetReleasesAndTheZoomBringsBack();
    void vanishedStretchesAreForgotten();
    void endsWhileReading();

private:
    QThreadPool m_pool;
};

namespace {

constexpr quint64 start = 1700000000000000;
constexpr quint64 step = 100000;
constexpr quint64 blockLength = 1000 * step;

std::shared_ptr<MemorySource> sourceOf(int stretches)
{
    auto source = std::make_shared<MemorySource>();
    for (int i = 0; i < stretches; ++i)
        source->add(quintptr(i + 1), evenSamples(start + quint64(i) * blockLength, 1000, step, 100.0 * (i + 1)));
    return source;
}

ColumnGrid wholeGrid(int stretches)
{
    return ColumnGrid(start, start + quint64(stretches) * blockLength, 100);
}

int samplesIn(const SeriesCache &cache, const ColumnGrid &grid, int quantity = Voltage)
{
    int count = 0;
    for (const PixelColumn &column : cache.columns(quantity, grid))
        count += column.samples;
    return count;
}

} // namespace

void TestSeriesCache::readsEveryStretchOnce()
{
    const auto source = sourceOf(12);
    SeriesCache cache(source, &m_pool);
    QSignalSpy progress(&cache, &SeriesCache::progress);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(12);
    cache.refresh(grid);
    QCOMPARE(cache.unread({grid.from(), grid.to()}).size(), 1);
    QTRY_COMPARE(cache.stretchesRead(), 12);
    QCOMPARE(samplesIn(cache, grid), 12000);
    QCOMPARE(progress.last().at(0).toInt(), 12);
    QVERIFY(cache.unread({grid.from(), grid.to()}).isEmpty());
    const ValueRange extremes = cache.extremes(Voltage, {grid.from(), grid.to()});
    QCOMPARE(extremes.low, 100.0F);
    QCOMPARE(extremes.high, 1206.0F);
    // Whatever is looked at now, nothing is read again.
    for (int i = 0; i < 20; ++i) {
        cache.refresh(ColumnGrid(start, start + step * quint64(i + 1) * 97, 1200));
        QTest::qWait(1);
    }
    QCOMPARE(source->reads.load(), 12);
}

void TestSeriesCache::appendsOnlyWhatIsNew()
{
    const auto source = sourceOf(2);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(3);
    cache.refresh(grid);
    QTRY_COMPARE(cache.stretchesRead(), 2);
    source->samplesRead = 0;
    for (int page = 0; page < 3; ++page) {
        source->add(2, evenSamples(start + 2 * blockLength + quint64(page) * 10 * step, 10, step, 900));
        cache.refresh(grid);
        QTRY_COMPARE(samplesIn(cache, grid), 2000 + (page + 1) * 10);
    }
    QCOMPARE(source->samplesRead.load(), 30);
}

void TestSeriesCache::lateSamplesAreSeen()
{
    const auto source = sourceOf(1);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(2);
    cache.refresh(grid);
    QTRY_COMPARE(samplesIn(cache, grid), 1000);
    // Into the middle, alone and together with a new one.
    source->add(1, {sampleAt(start + 50 * step + 7, 5000)});
    cache.refresh(grid);
    QTRY_COMPARE(samplesIn(cache, grid), 1001);
    source->add(1, {sampleAt(start + 60 * step + 7, 6000), sampleAt(start + blockLength + 7, 1)});
    QTRY_VERIFY((cache.refresh(grid), samplesIn(cache, grid) == 1003));
    QCOMPARE(cache.extremes(Voltage, {grid.from(), grid.to()}).high, 6000.0F);
}

void TestSeriesCache::aStretchThatDidNotKnowItsCountIsReadOnce()
{
    const auto source = sourceOf(3);
    source->hideCounts = true;
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(3);
    cache.refresh(grid);
    QTRY_COMPARE(cache.stretchesRead(), 3);
    source->hideCounts = false;
    source->touch();
    cache.refresh(grid);
    m_pool.waitForDone();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(source->reads.load(), 3);
}

void TestSeriesCache::newQuantityIsReadBehindTheOldOne()
{
    const auto source = sourceOf(3);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(3);
    cache.refresh(grid);
    QTRY_COMPARE(cache.stretchesRead(), 3);
    cache.setQuantities({Voltage, Current});
    cache.refresh(grid);
    QCOMPARE(samplesIn(cache, grid, Voltage), 3000); // stays in sight meanwhile
    QTRY_COMPARE(samplesIn(cache, grid, Current), 3000);
    QCOMPARE(source->reads.load(), 6);
    cache.setQuantities({Current});
    QCOMPARE(samplesIn(cache, grid, Voltage), 0);
    QCOMPARE(samplesIn(cache, grid, Current), 3000);
}

void TestSeriesCache::failuresAreTriedAgain()
{
    const auto source = sourceOf(2);
    source->failures = 2;
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(2);
    cache.refresh(grid);
    QTRY_COMPARE(source->reads.load(), 2);
    QCOMPARE(cache.stretchesRead(), 0);
    QTRY_VERIFY_WITH_TIMEOUT((cache.refresh(grid), cache.stretchesRead() == 2), 3000);
    QCOMPARE(source->reads.load(), 4); // not hammered
}

void TestSeriesCache::budgetReleasesAndTheZoomBringsBack()
{
    const auto source = sourceOf(10);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    cache.setBudget(3 * 1000 * 8);
    const ColumnGrid grid(start, start + 10 * blockLength, 20);
    cache.refresh(grid);
    QTRY_COMPARE(cache.stretchesRead(), 10);
    QVERIFY(cache.memory() < 10 * 1000 * 8);
    QCOMPARE(samplesIn(cache, grid), 10000);
    QCOMPARE(cache.extremes(Voltage, {grid.from(), grid.to()}).high, 1006.0F);
    const int reads = source->reads;

    // A view of single samples in the oldest stretch reads that one alone.
    const ColumnGrid close(start + 10 * step, start + 20 * step, 1000);
    quint64 time = 0;
    float value = 0;
    QVERIFY(!cache.nearest(Voltage, start + 12 * step + 5, step, time, value));
    cache.refresh(close);
    QTRY_VERIFY(cache.nearest(Voltage, start + 12 * step + 5, step, time, value));
    QCOMPARE(time, start + 12 * step);
    QCOMPARE(source->reads.load(), reads + 1);
    QVERIFY(!cache.statistics(Voltage, {grid.from(), grid.to()}).complete);
    QVERIFY(cache.statistics(Voltage, {close.from(), close.to()}).complete);
}

void TestSeriesCache::vanishedStretchesAreForgotten()
{
    const auto source = sourceOf(4);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    const ColumnGrid grid = wholeGrid(4);
    cache.refresh(grid);
    QTRY_COMPARE(cache.stretchesRead(), 4);
    source->removeAll();
    cache.refresh(grid);
    QCOMPARE(cache.stretchCount(), 0);
    QVERIFY(cache.range().isEmpty());
    QCOMPARE(samplesIn(cache, grid), 0);
}

void TestSeriesCache::endsWhileReading()
{
    for (int i = 0; i < 20; ++i) {
        const auto source = sourceOf(8);
        SeriesCache cache(source, &m_pool);
        cache.setQuantities({Voltage});
        cache.refresh(wholeGrid(8));
    }
    m_pool.waitForDone();
    QCoreApplication::processEvents();
}

QTEST_GUILESS_MAIN(TestSeriesCache)
#include "tst_seriescache.moc"
