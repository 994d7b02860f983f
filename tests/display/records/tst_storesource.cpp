#include "data/norvexdata.h"
#include "data/valuetype.h"
#include "display/memorysource.h"
#include "display/records/seriescache.h"
#include "display/records/storesource.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

/// The plot's caches over a real store, with its blocks out of memory.
class TestStoreSource : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void readingLeavesBlocksUnloaded();
    void zoomedOutViewsLoadNothing();
    void newSamplesArrive();

private:
    int loadedBlocks() const;

    QTemporaryDir m_folder;
    std::shared_ptr<norvexData> m_store;
    QThreadPool m_pool;
};

namespace {
constexpr quint64 step = 100000;
constexpr quint64 start = 1700000000000000;
constexpr int count = 45000;
const ColumnGrid whole(start, start + count * step, 1000);
} // namespace

void TestStoreSource::initTestCase()
{
    QVERIFY(m_folder.isValid());
    m_store = std::make_shared<norvexData>();
    m_store->setSensorSerial(QStringLiteral("S1"));
    m_store->setChamberSerial(QStringLiteral("C1"));
    m_store->setFolderName(QStringLiteral("S1-C1"));
    QVERIFY(m_store->addSamples(evenSamples(start, count, step, 300)));
    QVERIFY(m_store->addSamples({sampleAt(start + count * step, 5000)}));
    QVERIFY(QDir(m_folder.path()).mkdir(m_store->folderName()));
    QVERIFY(m_store->save(m_folder.path()));
    m_store->unloadIdleBlocks(true);
    QVERIFY(m_store->blocks().size() >= 4);
    QCOMPARE(loadedBlocks(), 1); // the newest
}

int TestStoreSource::loadedBlocks() const
{
    const auto blocks = m_store->blocks();
    return int(std::count_if(blocks.begin(), blocks.end(), [](const auto &block) { return block->isLoaded(); }));
}

void TestStoreSource::readingLeavesBlocksUnloaded()
{
    const StoreSource source(m_store);
    const QVector<PlotSource::Stretch> stretches = source.stretches();
    QCOMPARE(stretches.size(), m_store->blocks().size());
    int read = 0;
    for (const PlotSource::Stretch &stretch : stretches) {
        QVector<SamplePoint> samples;
        QVERIFY(source.readSamples(stretch.key, 0, stretch.last + 1, samples));
        QCOMPARE(samples.size(), stretch.count);
        QCOMPARE(samples.first().time, stretch.first);
        QCOMPARE(samples.last().time, stretch.last);
        read += samples.size();
        QCOMPARE(loadedBlocks(), 1);
    }
    QCOMPARE(read, count + 1);
    QVector<SamplePoint> samples;
    QVERIFY(!source.readSamples(12345, 0, ~quint64(0), samples));
}

void TestStoreSource::zoomedOutViewsLoadNothing()
{
    const auto source = std::make_shared<StoreSource>(m_store);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage, Current});
    cache.refresh(whole);
    QTRY_COMPARE(cache.stretchesRead(), m_store->blocks().size());
    QTRY_COMPARE(loadedBlocks(), 1);
    QVector<qint64> accesses;
    for (const auto &block : m_store->blocks())
        accesses.append(block->lastAccessMs());
    QTest::qWait(5);
    for (int i = 0; i < 50; ++i) {
        const ColumnGrid grid(start + quint64(i) * 1000 * step, whole.to() + quint64(i) * 1000 * step, 1000);
        cache.refresh(grid);
        cache.columns(Voltage, grid);
    }
    m_pool.waitForDone();
    QCOMPARE(loadedBlocks(), 1);
    const auto blocks = m_store->blocks();
    for (int i = 0; i < blocks.size(); ++i)
        QCOMPARE(blocks[i]->lastAccessMs(), accesses[i]);
}

void TestStoreSource::newSamplesArrive()
{
    const auto source = std::make_shared<StoreSource>(m_store);
    SeriesCache cache(source, &m_pool);
    cache.setQuantities({Voltage});
    cache.refresh(whole);
    QTRY_COMPARE(cache.stretchesRead(), m_store->blocks().size());
    QVERIFY(m_store->addSamples(evenSamples(start + (count + 1) * step, 100, step, 7000)));
    QTRY_VERIFY((cache.refresh(whole), cache.range().to == start + (count + 100) * step + 1));
    const TimeRange all{start, start + 2 * count * step};
    QTRY_COMPARE(cache.extremes(Voltage, all).high, 7006.0F);
}

QTEST_GUILESS_MAIN(TestStoreSource)
#include "tst_storesource.moc"
