#include "base/clock.h"
#include "data/blockfile.h"
#include "data/datablock.h"
#include "data/samples.h"
#include "data/samplesink.h"
#include "data/worker.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>

namespace {

quint64 at(double seconds)
{
    return static_cast<quint64>(seconds * 1e6 + 0.5);
}

QString found(dataBlock &block, double from, double to)
{
    QVector<SamplePoint> out;
    return block.searchData(out, at(from), at(to)) ? timesOf(out) : QStringLiteral("false");
}

/// The whole list, whatever the first and last times say.
QString listOf(dataBlock &block)
{
    QVector<SamplePoint> out;
    block.searchRange(out, 0, std::numeric_limits<quint64>::max());
    return timesOf(out);
}

class Collector final : public SampleSink
{
public:
    void process(const SamplePoint &sample, const void *) override { taken.append(sample); }
    QVector<SamplePoint> taken;
};

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

class tst_DataBlock : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void insertKeepsTheOrderGiven_data();
    void insertKeepsTheOrderGiven();
    void everyAcceptedSampleReachesTheSink();
    void duplicatesStillMarkTheBlock();
    void searchRanges_data();
    void searchRanges();
    void searchAppends();
    void lateSamplesAreFoundByTheTrueRange();
    void containsExactTimes();
    void saveAndReloadSorts();
    void savingWritesNothingWithoutAChange();
    void aFailedSaveKeepsEverything_data();
    void aFailedSaveKeepsEverything();
    void unloadDropsOnlyWhatIsSaved();
    void unloadedBlocksComeBack_data();
    void unloadedBlocksComeBack();
    void aBlockThatCannotBeReloadedStaysAsItIs();
    void aFileThatCannotBeOpenedLeavesAnEmptyBlock();
    void shortFilesGiveWhatTheyHold();
    void aDamagedFileIsNeverWrittenOver();
    void describedBlocksAnswerWithoutReading();
    void searchRunsLeavesTheBlockLoaded();
    void clearForgetsEverything();
    void accessTimes();
    void aBusyBlockRefusesAfterTheWait_data();
    void aBusyBlockRefusesAfterTheWait();
    void anInsertDuringASaveIsNotTakenForSaved();
    void ordering();

private:
    QString path(const char *name) const { return m_folder->filePath(QLatin1String(name)); }
    bool writeBytes(const char *name, const QByteArray &bytes) const;
    QByteArray bytesOf(const char *name) const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_DataBlock::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void tst_DataBlock::cleanup()
{
    m_folder.reset();
}

bool tst_DataBlock::writeBytes(const char *name, const QByteArray &bytes) const
{
    QFile file(path(name));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray tst_DataBlock::bytesOf(const char *name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
}

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

void tst_DataBlock::saveAndReloadSorts()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1:10 3:30 2:20"), nullptr));
    QCOMPARE(block.lastTime(), at(2));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QCOMPARE(bytesOf("b"), blockfile::encodeBlock(samples("1:10 3:30 2:20")));

    dataBlock other;
    QVERIFY(other.fromFile(m_folder->path(), path("b")));
    QCOMPARE(listOf(other), QStringLiteral("1 2 3"));
    QCOMPARE(other.firstTime(), at(1));
    QCOMPARE(other.lastTime(), at(3));
    QCOMPARE(other.count(), 3);
    QCOMPARE(other.folder(), m_folder->path());
    QCOMPARE(other.fileName(), QStringLiteral("b"));
    QCOMPARE(other.loadedName(), QStringLiteral("b"));
    QVERIFY(other.isLoaded() && !other.isModified() && !other.isDamaged());

    QVERIFY(block.unload());
    QCOMPARE(listOf(block), QStringLiteral("1 2 3"));
    QCOMPARE(block.lastTime(), at(3));
    QVERIFY(block.insert(samples("3 2.5"), nullptr));
    QCOMPARE(listOf(block), QStringLiteral("1 2 3 2.5"));
}

void tst_DataBlock::savingWritesNothingWithoutAChange()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(writeBytes("b", "mark"));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QCOMPARE(bytesOf("b"), QByteArray("mark"));

    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("c"))); // another name is written, and remembered
    QCOMPARE(bytesOf("c"), blockfile::encodeBlock(samples("1 2")));
    QCOMPARE(block.fileName(), QStringLiteral("c"));

    QVERIFY(block.insert(samples("3"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("c")));
    QCOMPARE(bytesOf("c"), blockfile::encodeBlock(samples("1 2 3")));
}

void tst_DataBlock::aFailedSaveKeepsEverything_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing folder") << QStringLiteral("none/b");
    QTest::newRow("a folder") << QStringLiteral("folder");
    QTest::newRow("a symbolic link") << QStringLiteral("link");
}

void tst_DataBlock::aFailedSaveKeepsEverything()
{
    QFETCH(QString, name);
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder")));
    QVERIFY(writeBytes("target", "untouched"));
    QVERIFY(QFile::link(path("target"), path("link")));
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("UNABLE TO SAVE TO %1/%2").arg(m_folder->path(), name)));
    QVERIFY(!block.toFile(m_folder->path(), name));
    QVERIFY(block.isModified());
    QVERIFY(block.fileName().isEmpty());
    QVERIFY(!block.unload());
    QCOMPARE(listOf(block), QStringLiteral("1 2"));
    QCOMPARE(bytesOf("target"), QByteArray("untouched"));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
}

void tst_DataBlock::unloadDropsOnlyWhatIsSaved()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(!block.unload()); // never saved
    QVERIFY(block.isLoaded());

    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.insert(samples("3"), nullptr));
    QVERIFY(block.unload());
    QVERIFY(!block.isLoaded() && !block.isModified());
    QCOMPARE(bytesOf("b"), blockfile::encodeBlock(samples("1 2 3")));
    QVERIFY(block.unload());
    QCOMPARE(block.count(), 3);
    QCOMPARE(block.firstTime(), at(1));
    QCOMPARE(block.lastTime(), at(3));

    QVERIFY(block.insert(samples("4"), nullptr));
    QVERIFY(QFile::remove(path("b")));
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("b")));
    QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("UNABLE TO SAVE TO ") + path("b")));
    QVERIFY(!block.unload());
    QVERIFY(block.isLoaded() && block.isModified());
    QCOMPARE(listOf(block), QStringLiteral("1 2 3 4"));
}

void tst_DataBlock::unloadedBlocksComeBack_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation : {"search", "insert", "runs", "save", "contains"})
        QTest::newRow(operation) << QString::fromLatin1(operation);
}

void tst_DataBlock::unloadedBlocksComeBack()
{
    QFETCH(QString, operation);
    dataBlock block;
    QVERIFY(block.insert(samples("1:0 2:100 3:0"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.unload());
    QVERIFY(!block.isLoaded());
    if (operation == QLatin1String("search")) {
        QCOMPARE(found(block, 2, 9), QStringLiteral("2 3"));
    } else if (operation == QLatin1String("insert")) {
        QVERIFY(block.insert(samples("2 4"), nullptr));
        QCOMPARE(listOf(block), QStringLiteral("1 2 3 4"));
    } else if (operation == QLatin1String("runs")) {
        QVector<RunStretch> runs;
        QVERIFY(block.searchRFONEvents(runs, 50));
        QCOMPARE(runs.size(), 1);
    } else if (operation == QLatin1String("save")) {
        QVERIFY(block.toFile(m_folder->path(), QStringLiteral("c")));
        QCOMPARE(bytesOf("c"), bytesOf("b"));
    } else {
        QVERIFY(block.contains(at(3)));
    }
    QVERIFY(block.isLoaded());
}

void tst_DataBlock::aBlockThatCannotBeReloadedStaysAsItIs()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.unload());
    QVERIFY(QFile::rename(path("b"), path("hidden")));

    QVector<SamplePoint> out;
    QVector<RunStretch> runs;
    Collector sink;
    QVERIFY(!block.searchData(out, 0, at(9)));
    QVERIFY(!block.insert(samples("3"), &sink));
    QVERIFY(!block.searchRFONEvents(runs, 0));
    QVERIFY(!block.toFile(m_folder->path(), QStringLiteral("c")));
    QVERIFY(sink.taken.isEmpty());
    QVERIFY(!block.isLoaded() && !block.isModified() && !block.isDamaged());
    QCOMPARE(block.fileName(), QStringLiteral("b"));
    QVERIFY(!QFile::exists(path("c")));

    QVERIFY(QFile::rename(path("hidden"), path("b")));
    QVERIFY(block.insert(samples("3"), &sink));
    QCOMPARE(listOf(block), QStringLiteral("1 2 3"));
}

void tst_DataBlock::aFileThatCannotBeOpenedLeavesAnEmptyBlock()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(!block.fromFile(m_folder->path(), path("none")));
    QVERIFY(block.isLoaded() && !block.isModified() && block.isDamaged());
    QCOMPARE(block.count(), 0);
    QCOMPARE(listOf(block), QString());
    QVERIFY(block.fileName().isEmpty());
}

void tst_DataBlock::shortFilesGiveWhatTheyHold()
{
    const QByteArray bytes = blockfile::encodeBlock(samples("1 3 2 4"));
    QVERIFY(writeBytes("b", bytes.left(bytes.size() - 1)));
    dataBlock block;
    QVERIFY(!block.fromFile(m_folder->path(), path("b")));
    QCOMPARE(listOf(block), QStringLiteral("1 2 3"));
    QCOMPARE(block.lastTime(), at(3));
    QCOMPARE(block.fileName(), QStringLiteral("b"));
    QVERIFY(block.isLoaded() && block.isDamaged() && !block.isModified());

    dataBlock listed;
    listed.describe(m_folder->path(), QStringLiteral("b"), at(1), at(4));
    QCOMPARE(found(listed, 0, 9), QStringLiteral("1 2 3"));
    QVERIFY(listed.isDamaged());
}

void tst_DataBlock::aDamagedFileIsNeverWrittenOver()
{
    const QByteArray bytes = blockfile::encodeBlock(samples("1 2 3")).left(300);
    QVERIFY(writeBytes("b", bytes));
    dataBlock block;
    QVERIFY(!block.fromFile(m_folder->path(), path("b")));
    QVERIFY(!block.insert(samples("9"), nullptr));
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b"))); // nothing to write
    QVERIFY(writeBytes("other", "other"));
    QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("UNABLE TO SAVE TO ") + path("other")));
    QVERIFY(!block.toFile(m_folder->path(), QStringLiteral("other")));
    QCOMPARE(bytesOf("b"), bytes);
    QCOMPARE(bytesOf("other"), QByteArray("other"));

    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("free")));
    QCOMPARE(bytesOf("free"), blockfile::encodeBlock(samples("1")));
    QVERIFY(!block.isDamaged());

    dataBlock unreadable;
    QVERIFY(!unreadable.fromFile(m_folder->path(), path("none")));
    QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("UNABLE TO SAVE TO ") + path("b")));
    QVERIFY(!unreadable.toFile(m_folder->path(), QStringLiteral("b")));
    QCOMPARE(bytesOf("b"), bytes);
}

void tst_DataBlock::describedBlocksAnswerWithoutReading()
{
    dataBlock block;
    block.describe(m_folder->path(), QStringLiteral("b"), at(10), at(20));
    QVERIFY(!block.isLoaded() && !block.isModified());
    QCOMPARE(block.firstTime(), at(10));
    QCOMPARE(block.maximumTime(), at(20));
    QCOMPARE(found(block, 0, 9), QStringLiteral("false"));
    bool ok = false;
    QVERIFY(!block.contains(at(21), &ok) && ok);
    QVERIFY(block.toFile(m_folder->path(), QStringLiteral("b")));
    QVERIFY(block.unload());
    QCOMPARE(found(block, 0, 15), QStringLiteral("false")); // the file is not there
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

void tst_DataBlock::anInsertDuringASaveIsNotTakenForSaved()
{
    dataBlock block;
    QVector<SamplePoint> page = samples("1");
    for (int round = 0; round < 20; ++round) {
        bool saved = false;
        {
            const Worker saving([&] { saved = block.toFile(m_folder->path(), QStringLiteral("b")); });
            for (int i = 0; i < 50; ++i) {
                page[0].time += 1000;
                QVERIFY(block.insert(page, nullptr));
            }
        }
        QVERIFY(saved);
        const int onDisk = blockfile::readFile(path("b")).samples.size();
        QVERIFY(onDisk == block.count() || block.isModified());
    }
    QVERIFY(block.unload());
    QCOMPARE(blockfile::readFile(path("b")).samples.size(), 1000);
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
