#include "base/clock.h"
#include "data/blockfixture.h"
#include "data/worker.h"

namespace {

class FakeClock final : public Clock
{
public:
    qint64 utcMs() const override { return now; }
    qint64 steadyMs() const override { return now; }
    qint64 now = 1000;
};

/// A sink that keeps the block locked inside an insert until it is let go.
class Gate final : public SampleSink
{
public:
    void process(const SamplePoint &, const void *) override
    {
        entered.release();
        open.acquire();
    }
    QSemaphore entered;
    QSemaphore open;
};

} // namespace

class tst_DataBlock : public BlockTest
{
    Q_OBJECT

private slots:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void insertKeepsTheOrderGiven_data();
    void insertKeepsTheOrderGiven();
    void everyAcceptedSampleReachesTheSink();
    void duplicatesStillMarkTheBlock();
    void searchRanges_data();
    void searchRanges();
    void searchAppends();
    void lateSamplesAreFoundByTheTrueRange();
    void containsExactTimes();
    void searchRunsLeavesTheBlockLoaded();
    void clearForgetsEverything();
    void accessTimes();
    void aBusyBlockRefusesAfterTheWait_data();
    void aBusyBlockRefusesAfterTheWait();
    void ordering();
};

void tst_DataBlock::insertKeepsTheOrderGiven_data()
{
    QTest::addColumn<QStringList>("pages");
    QTest::addColumn<QString>("list");
    QTest::addColumn<double>("first");
    QTest::addColumn<double>("last");
    QTest::addColumn<double>("minimum");
    QTest::addColumn<double>("maximum");
    const auto row = [](const char *name, const char *pages, const char *list, double first, double last,
                        double minimum, double maximum) {
        QTest::newRow(name) << QString::fromLatin1(pages).split(QLatin1Char('|')) << QString::fromLatin1(list) << first
                            << last << minimum << maximum;
    };
    row("in order", "1 2|3", "1 2 3", 1, 3, 1, 3);
    row("late", "1 3 2", "1 3 2", 1, 2, 1, 3);
    row("late twice", "1 3 2 3", "1 3 2", 1, 2, 1, 3);
    row("late, then on", "1 3 2|4 3 2 1|5", "1 3 2 4 5", 1, 5, 1, 5);
    row("before the first", "5|1", "5 1", 5, 1, 1, 5);
    row("between last and maximum", "1 9 2|5 5|9 2", "1 9 2 5", 1, 5, 1, 9);
    row("all the same", "4 4 4|4", "4", 4, 4, 4, 4);
    row("page again", "1 2 3|1 2 3|4", "1 2 3 4", 1, 4, 1, 4);
    row("time 0", "0 0 2 0 1", "0 2 1", 0, 1, 0, 2);
}

void tst_DataBlock::insertKeepsTheOrderGiven()
{
    QFETCH(QStringList, pages);
    QFETCH(QString, list);
    QFETCH(double, first);
    QFETCH(double, last);
    QFETCH(double, minimum);
    QFETCH(double, maximum);
    dataBlock block;
    for (const QString &page : pages)
        QVERIFY(block.insert(samples(page), nullptr));
    QCOMPARE(listOf(block), list);
    QCOMPARE(block.count(), list.split(QLatin1Char(' ')).size());
    QCOMPARE(block.firstTime(), at(first));
    QCOMPARE(block.lastTime(), at(last));
    QCOMPARE(block.minimumTime(), at(minimum));
    QCOMPARE(block.maximumTime(), at(maximum));
    QVERIFY(block.isModified());
}

void tst_DataBlock::everyAcceptedSampleReachesTheSink()
{
    dataBlock block;
    Collector sink;
    QVERIFY(block.insert(samples("1:10 3:30 2:20 3:99"), &sink));
    QVERIFY(block.insert(samples("2:99 4:40"), &sink));
    QCOMPARE(timesOf(sink.taken), QStringLiteral("1 3 2 4"));
    QCOMPARE(sink.taken.at(2).voltage, 20.0);
}

void tst_DataBlock::duplicatesStillMarkTheBlock()
{
    dataBlock block;
    QVERIFY(!block.isModified());
    QVERIFY(block.insert({}, nullptr));
    QVERIFY(!block.isModified());
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(!block.isModified());
    QVERIFY(block.insert(samples("1"), nullptr));
    QVERIFY(block.isModified());
    QCOMPARE(block.count(), 2);
}

void tst_DataBlock::searchRanges_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<double>("from");
    QTest::addColumn<double>("to");
    QTest::addColumn<QString>("result");
    const auto row = [](const char *name, const char *list, double from, double to, const char *result) {
        QTest::newRow(name) << QString::fromLatin1(list) << from << to << QString::fromLatin1(result);
    };
    row("from in, to out", "1 2 3 4", 2, 4, "2 3");
    row("everything", "1 2 3 4", 0, 10, "1 2 3 4");
    row("to at the first", "1 2 3", 0, 1, "");
    row("before the first", "1 2 3", 0, 0.5, "false");
    row("from at the last", "1 2 3", 3, 9, "3");
    row("after the last", "1 2 3", 3.5, 9, "false");
    row("between samples", "1 2 3", 1.2, 1.8, "");
    row("backwards", "1 2 3", 3, 1, "");
    row("unsorted, list order", "1 4 2 5 3 9", 2, 5, "4 2 3");
    row("unsorted, to at the first", "5 1 3", 1, 5, "1 3");
    row("unsorted, to before the first", "5 1 3", 1, 4, "false");
    row("unsorted, hidden by the last time", "1 3 2", 3, 4, "false");
    row("empty block", "", 0, 9, "");
    row("empty block, later", "", 1, 9, "false");
}

void tst_DataBlock::searchRanges()
{
    QFETCH(QString, list);
    QFETCH(double, from);
    QFETCH(double, to);
    QFETCH(QString, result);
    dataBlock block;
    QVERIFY(block.insert(samples(list), nullptr));
    QCOMPARE(found(block, from, to), result);
}

void tst_DataBlock::searchAppends()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 2 3"), nullptr));
    QVector<SamplePoint> out = samples("9");
    QVERIFY(block.searchData(out, at(2), at(9)));
    QVERIFY(block.searchData(out, at(1), at(2)));
    QCOMPARE(timesOf(out), QStringLiteral("9 2 3 1"));
}

void tst_DataBlock::lateSamplesAreFoundByTheTrueRange()
{
    dataBlock block;
    QVERIFY(block.insert(samples("2 5 1 3"), nullptr));
    QCOMPARE(found(block, 4, 9), QStringLiteral("false"));
    QVector<SamplePoint> out;
    QVERIFY(block.searchRange(out, at(4), at(9)));
    QCOMPARE(timesOf(out), QStringLiteral("5"));
    QVERIFY(!block.searchRange(out, at(5.5), at(9)));
    QVERIFY(!block.searchRange(out, at(0), at(0.5)));
}

void tst_DataBlock::containsExactTimes()
{
    dataBlock block;
    QVERIFY(!block.contains(0));
    QVERIFY(block.insert(samples("2 4 6"), nullptr));
    bool ok = false;
    QVERIFY(block.contains(at(4), &ok) && ok);
    QVERIFY(!block.contains(at(5), &ok) && ok);
    QVERIFY(block.insert(samples("3"), nullptr));
    QVERIFY(block.contains(at(3)));
    QVERIFY(block.contains(at(6)));
    QVERIFY(!block.contains(at(5)));
    QVERIFY(!block.contains(at(7)));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.unload());
    QVERIFY(block.contains(at(3), &ok) && ok);
    QVERIFY(block.unload());
    QVERIFY(QFile::remove(path("b")));
    QVERIFY(!block.contains(at(3), &ok) && !ok);
}

void tst_DataBlock::searchRunsLeavesTheBlockLoaded()
{
    dataBlock block;
    QVERIFY(block.insert(samples("0:0 1:50 2:70 3:30 4:50 5:10 6:80"), nullptr));
    QVector<RunStretch> runs;
    QVERIFY(block.searchRFONEvents(runs, 50)); // never saved: nothing is tried
    QCOMPARE(runs.size(), 2);
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QTest::ignoreMessage(QtDebugMsg, "<<<<<<<<< dataBlock::unload: mutex try lock timed out >>>>>>>>>>");
    QVERIFY(block.searchRFONEvents(runs, 50));
    QVERIFY(block.isLoaded());
    QCOMPARE(runs.size(), 4);
}

void tst_DataBlock::clearForgetsEverything()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 3 2"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.unload());
    block.clear();
    QVERIFY(block.isLoaded() && !block.isModified());
    QCOMPARE(block.count(), 0);
    QCOMPARE(block.maximumTime(), quint64(0));
    QVERIFY(block.fileName().isEmpty() && block.loadedName().isEmpty());
    QVERIFY(block.insert(samples("1 1"), nullptr));
    QCOMPARE(listOf(block), QStringLiteral("1"));
}

void tst_DataBlock::accessTimes()
{
    FakeClock clock;
    dataBlock block(clock);
    QCOMPARE(block.lastAccessMs(), qint64(1000));
    clock.now = 2000;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QCOMPARE(block.lastAccessMs(), qint64(1000));
    QCOMPARE(found(block, 5, 6), QStringLiteral("false"));
    QCOMPARE(block.lastAccessMs(), qint64(1000));
    QCOMPARE(found(block, 0, 1), QString());
    QCOMPARE(block.lastAccessMs(), qint64(2000));
}

void tst_DataBlock::aBusyBlockRefusesAfterTheWait_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation : {"searchData", "insert", "toFile", "unload", "searchRFONEvents"})
        QTest::newRow(operation) << QString::fromLatin1(operation);
}

void tst_DataBlock::aBusyBlockRefusesAfterTheWait()
{
    QFETCH(QString, operation);
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.insert(samples("3"), nullptr));
    Gate gate;
    const Worker inserting([&] { block.insert(samples("4"), &gate); });
    gate.entered.acquire();

    QTest::ignoreMessage(
        QtDebugMsg,
        qPrintable(QStringLiteral("<<<<<<<<< dataBlock::%1: mutex try lock timed out >>>>>>>>>>").arg(operation)));
    QElapsedTimer timer;
    timer.start();
    bool result = true;
    QVector<SamplePoint> out;
    QVector<RunStretch> runs;
    Collector sink;
    if (operation == QLatin1String("searchData"))
        result = block.searchData(out, 0, at(9));
    else if (operation == QLatin1String("insert"))
        result = block.insert(samples("8 9"), &sink);
    else if (operation == QLatin1String("toFile"))
        result = block.toFile(m_folder->path(), QStringLiteral("c"));
    else if (operation == QLatin1String("unload"))
        result = block.unload();
    else
        result = block.searchRFONEvents(runs, 0);
    const qint64 waited = timer.elapsed();
    gate.open.release();

    QVERIFY(!result);
    QVERIFY2(waited >= 195 && waited < 2000, qPrintable(QString::number(waited)));
    QVERIFY(out.isEmpty() && runs.isEmpty() && sink.taken.isEmpty());
    QVERIFY(!QFile::exists(path("c")));
    QVERIFY(block.isLoaded() && block.isModified());
}

void tst_DataBlock::ordering()
{
    dataBlock a;
    dataBlock b;
    QVERIFY(a.insert(samples("5 1"), nullptr));
    QVERIFY(b.insert(samples("4 9"), nullptr));
    QVERIFY(b < a);
    QVERIFY(!(a < b));
}

QTEST_GUILESS_MAIN(tst_DataBlock)
#include "tst_datablock.moc"
