#include "data/blockfile.h"
#include "data/datablock.h"
#include "data/rfondetector.h"
#include "data/worker.h"

#include <QSet>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>
#include <vector>

namespace {

constexpr quint64 period = 1000;
constexpr int pageSize = 20;
constexpr int pages = 400;

/// Pages overlap by one sample, and every third page swaps two: the block must refuse and find its way.
QVector<SamplePoint> page(int number)
{
    QVector<SamplePoint> list(pageSize);
    for (int i = 0; i < pageSize; ++i) {
        list[i].time = period * static_cast<quint64>(number * (pageSize - 1) + i + 1);
        list[i].voltage = number % 2 == 0 ? 100 : 0;
    }
    if (number % 3 == 0)
        std::swap(list[3], list[11]);
    return list;
}

constexpr int expectedCount = pages * (pageSize - 1) + 1;

bool isWithin(const QVector<SamplePoint> &list, quint64 from, quint64 to)
{
    QSet<quint64> times;
    for (const SamplePoint &sample : list) {
        if (sample.time < from || sample.time >= to || times.contains(sample.time))
            return false;
        times.insert(sample.time);
    }
    return true;
}

} // namespace

/// Everything that reaches a block in a running program, at once: the download, the saving thread, two windows and the
/// unloading of idle blocks. Run with the thread sanitizer, it shows what a lock forgot.
class tst_DataBlockThreads : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }
    void cleanupTestCase() { qInstallMessageHandler(nullptr); }
    void everythingAtOnce();
    void twoSaversOfOneBlock();
};

void tst_DataBlockThreads::everythingAtOnce()
{
    const QTemporaryDir folder;
    dataBlock block;
    rfOnDetector detector;
    detector.setThreshold(50);
    detector.setConfirmationTime(1);
    std::atomic<bool> done{false};
    std::atomic<int> refused{0};
    std::atomic<int> wrong{0};
    std::atomic<int> saves{0};
    std::atomic<int> unloads{0};
    std::atomic<int> runs{0};
    {
        std::vector<std::unique_ptr<Worker>> others;
        others.push_back(std::make_unique<Worker>([&] {
            while (!done)
                saves += block.toFile(folder.path(), QStringLiteral("b")) ? 1 : 0;
        }));
        others.push_back(std::make_unique<Worker>([&] {
            while (!done) {
                unloads += block.unload() ? 1 : 0;
                QThread::usleep(500);
            }
        }));
        for (int reader = 0; reader < 2; ++reader) {
            others.push_back(std::make_unique<Worker>([&] {
                for (quint64 n = 0; !done; ++n) {
                    const quint64 from = n * 7919 % (period * expectedCount);
                    const quint64 to = from + 200 * period;
                    QVector<SamplePoint> out;
                    if (block.searchRange(out, from, to) && !isWithin(out, from, to))
                        ++wrong;
                    block.contains(from);
                    if (block.maximumTime() > period * expectedCount || block.count() > expectedCount)
                        ++wrong;
                    runs += detector.takeSummaries().size();
                }
            }));
        }
        for (int number = 0; number < pages;) {
            if (block.insert(page(number), &detector))
                ++number;
            else
                ++refused;
            if (number % 10 == 0)
                QThread::usleep(200);
        }
        while (saves == 0 || unloads == 0)
            QThread::usleep(200);
        done = true;
    }
    QCOMPARE(wrong.load(), 0);
    QCOMPARE(block.count(), expectedCount);
    QVERIFY(runs + detector.takeSummaries().size() > 0);
    QVERIFY(block.toFile(folder.path(), QStringLiteral("b")));
    QVERIFY(block.unload());
    const blockfile::Content content = blockfile::readFile(folder.filePath(QStringLiteral("b")));
    QVERIFY(content.complete);
    QCOMPARE(content.samples.size(), expectedCount);
    QVERIFY(isWithin(content.samples, period, period * (expectedCount + 1)));
}

void tst_DataBlockThreads::twoSaversOfOneBlock()
{
    const QTemporaryDir folder;
    dataBlock block;
    QVERIFY(block.insert(page(0), nullptr));
    for (int round = 1; round <= 30; ++round) {
        Worker one([&] { block.toFile(folder.path(), QStringLiteral("b")); });
        Worker two([&] { block.unload(); });
        block.insert(page(round), nullptr);
        one.join();
        two.join();
        // Whoever was last, what is not in memory is on disk.
        const int onDisk = blockfile::readFile(folder.filePath(QStringLiteral("b"))).samples.size();
        QVERIFY(block.isModified() || onDisk == block.count());
        QVERIFY(block.isLoaded() || onDisk == block.count());
    }
    QCOMPARE(block.count(), 31 * (pageSize - 1) + 1);
}

QTEST_GUILESS_MAIN(tst_DataBlockThreads)
#include "tst_datablock_threads.moc"
