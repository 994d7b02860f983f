#include "data/blockfile.h"
#include "data/blockfixture.h"
#include "data/worker.h"

#include <QDir>

/// A block and its file: saving, loading, leaving memory and coming back.
class tst_DataBlockFiles : public BlockTest
{
    Q_OBJECT

private slots:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

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
    void anInsertDuringASaveIsNotTakenForSaved();
};

void tst_DataBlockFiles::saveAndReloadSorts()
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

void tst_DataBlockFiles::savingWritesNothingWithoutAChange()
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

void tst_DataBlockFiles::aFailedSaveKeepsEverything_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing folder") << QStringLiteral("none/b");
    QTest::newRow("a folder") << QStringLiteral("folder");
    QTest::newRow("a symbolic link") << QStringLiteral("link");
}

void tst_DataBlockFiles::aFailedSaveKeepsEverything()
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

void tst_DataBlockFiles::unloadDropsOnlyWhatIsSaved()
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

void tst_DataBlockFiles::unloadedBlocksComeBack_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation : {"search", "insert", "runs", "save", "contains"})
        QTest::newRow(operation) << QString::fromLatin1(operation);
}

void tst_DataBlockFiles::unloadedBlocksComeBack()
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

void tst_DataBlockFiles::aBlockThatCannotBeReloadedStaysAsItIs()
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

void tst_DataBlockFiles::aFileThatCannotBeOpenedLeavesAnEmptyBlock()
{
    dataBlock block;
    QVERIFY(block.insert(samples("1 2"), nullptr));
    QVERIFY(!block.fromFile(m_folder->path(), path("none")));
    QVERIFY(block.isLoaded() && !block.isModified() && block.isDamaged());
    QCOMPARE(block.count(), 0);
    QCOMPARE(listOf(block), QString());
    QVERIFY(block.fileName().isEmpty());
}

void tst_DataBlockFiles::shortFilesGiveWhatTheyHold()
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

void tst_DataBlockFiles::aDamagedFileIsNeverWrittenOver()
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

void tst_DataBlockFiles::describedBlocksAnswerWithoutReading()
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

void tst_DataBlockFiles::anInsertDuringASaveIsNotTakenForSaved()
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

QTEST_GUILESS_MAIN(tst_DataBlockFiles)
#include "tst_datablock_files.moc"
