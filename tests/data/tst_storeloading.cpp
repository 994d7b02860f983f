#include "storefixture.h"

#include <QtTest>

namespace {

constexpr quint64 start = 1700000000000000ULL;

bool copyFolder(const QString &from, const QString &to)
{
    QDir().mkpath(to);
    const QFileInfoList files = QDir(from).entryInfoList(QDir::Files | QDir::Hidden);
    return std::all_of(files.begin(), files.end(), [&](const QFileInfo &file) {
        return QFile::copy(file.filePath(), to + QLatin1Char('/') + file.fileName());
    });
}

QMap<QString, QByteArray> everyFile(const QString &path)
{
    QMap<QString, QByteArray> files;
    for (const QString &name : QDir(path).entryList(QDir::Files | QDir::Hidden))
        files.insert(name, contentOf(path + QLatin1Char('/') + name));
    return files;
}

} // namespace

class TestStoreLoading : public QObject
{
    Q_OBJECT

private slots:
    void interruptedSaves_data();
    void interruptedSaves();
    void rebuild();
    void rebuildFromDamagedFiles();
    void backupThatCannotBeRestored();
    void indexThatIsNone();
    void pipeForAnIndex();
    void missingBlocks();
    void linesWithoutTimes();
    void staleFolderNames();
    void anEventListedTwiceCountsOnce();
    void hostileLines();
    void eventsInAnyOrder();
    void leftoversAreRemoved();
    void damagedBlockIsNotWrittenOver();
    void lostBlockDoesNotStopTheRecording();
    void readOnlyChangesNothing_data();
    void readOnlyChangesNothing();
    void noFolder();
    void reconcileTwice();
};

void TestStoreLoading::interruptedSaves_data()
{
    QTest::addColumn<int>("step");
    QTest::newRow("while the backup is copied") << 0;
    QTest::newRow("backup made") << 1;
    QTest::newRow("first block written") << 2;
    QTest::newRow("all blocks written") << 3;
    QTest::newRow("event written") << 4;
    QTest::newRow("index emptied") << 5;
    QTest::newRow("index half written") << 6;
    QTest::newRow("index written, backup still there") << 7;
    QTest::newRow("saved") << 8;
}

/// Builds the folder a crash leaves at each step of a save that rewrites a block, adds one and adds an event.
void TestStoreLoading::interruptedSaves()
{
    QFETCH(int, step);
    const SensorFolder before;
    const auto store = before.newStore();
    QVERIFY(store->addSamples(row(start, 9000)));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(before.session()));
    const SensorFolder crashed;
    QVERIFY(copyFolder(before.path(), crashed.path()));
    QVERIFY(store->addSamples(row(start + 9000000, 3000)));
    QVERIFY(store->addEvent(arcAt(start + 1)));
    QVERIFY(store->save(before.session()));

    const auto take = [&](const char *name) {
        const QString fileName = QString::fromLatin1(name);
        QFile::remove(crashed.file(fileName));
        QVERIFY(QFile::copy(before.file(fileName), crashed.file(fileName)));
    };
    const QByteArray oldIndex = contentOf(crashed.index());
    const QByteArray newIndex = contentOf(before.index());
    if (step == 0)
        QVERIFY(writeFile(crashed.backup() + QStringLiteral(".tmp"), oldIndex.left(30)));
    if (step >= 1 && step < 8)
        QVERIFY(QFile::copy(crashed.index(), crashed.backup()));
    if (step >= 2)
        take("block_1.norvexdata");
    if (step >= 3)
        take("block_2.norvexdata");
    if (step >= 4)
        take("Event_2.norvexevent");
    if (step >= 5)
        QVERIFY(writeFile(crashed.index(), step == 5 ? QByteArray() : step == 6 ? newIndex.left(200) : newIndex));

    LoadOutcome outcome = LoadOutcome::Failed;
    const auto loaded = crashed.load(&outcome);
    QCOMPARE(outcome, LoadOutcome::Loaded);
    QVERIFY(!QFile::exists(crashed.backup()));
    QVERIFY(!QFile::exists(crashed.backup() + QStringLiteral(".tmp")));
    const int expected = step < 2 ? 9000 : step < 3 ? 10000 : 12000;
    QCOMPARE(everything(*loaded), row(start, expected));
    QCOMPARE(loaded->eventCount(), step < 4 ? 1 : 2);

    // The sensor or the journal gives the rest again; nothing is lost and nothing doubled, now and after a save.
    QVERIFY(loaded->addSamples(row(start + 8990000, 3010)));
    loaded->addEvent(arcAt(start));
    loaded->addEvent(arcAt(start + 1));
    QVERIFY(loaded->save(crashed.session()));
    const auto again = crashed.load();
    QCOMPARE(everything(*again), row(start, 12000));
    QCOMPARE(again->eventCount(), 2);
}

void TestStoreLoading::rebuild()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 25000)));
    QVERIFY(store->addEvent(arcAt(start)));
    EventRecord named = arcAt(start + 3);
    named.named = true;
    named.name = QStringLiteral("mine");
    QVERIFY(store->addEvent(named));
    SensorConfiguration configuration;
    configuration.refreshRate = 77;
    store->setConfiguration(configuration);
    QVERIFY(store->save(folder.session()));
    const QByteArray index = contentOf(folder.index());
    QVERIFY(QFile::remove(folder.index()));

    const LogLines lines;
    const auto again = folder.newStore();
    QCOMPARE(again->load(folder.session()), LoadOutcome::Recreated);
    QVERIFY(lines.hasLineWith(
        QStringLiteral("========== %1 not found! Recreating the file. Time elapsed: ").arg(folder.index())));
    QVERIFY(!again->hasUnsavedData());
    QCOMPARE(contentOf(folder.index()), index);
    QCOMPARE(everything(*again), row(start, 25000));
    QCOMPARE(again->eventCount(), 2);
    QCOMPARE(again->configuration().refreshRate, 77);
}

void TestStoreLoading::rebuildFromDamagedFiles()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 15000)));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(QFile::remove(folder.index()));
    const QString block = folder.file(QStringLiteral("block_1.norvexdata"));
    const QByteArray cut = contentOf(block).left(12 + 196 * 4000 + 5);
    QVERIFY(writeFile(block, cut));
    QVERIFY(writeFile(folder.file(QStringLiteral("Event_1.norvexevent")), "short"));
    QVERIFY(writeFile(folder.file(QStringLiteral("block_9.norvexdata")), ""));

    const auto again = folder.newStore();
    QCOMPARE(again->load(folder.session()), LoadOutcome::Recreated);
    // What can be read of the cut file is kept in a block of its own; the file stays for whoever repairs it.
    QVector<SamplePoint> expected = row(start, 4000) + row(start + 10000000, 5000);
    QCOMPARE(everything(*again), expected);
    QCOMPARE(again->eventCount(), 0);
    QCOMPARE(contentOf(block), cut);
    QCOMPARE(contentOf(folder.file(QStringLiteral("Event_1.norvexevent"))), QByteArray("short"));
    QCOMPARE(everything(*folder.load()), expected);
}

void TestStoreLoading::backupThatCannotBeRestored()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 50)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(QDir().mkpath(folder.backup() + QStringLiteral("/inside")));
    LoadOutcome outcome = LoadOutcome::Failed;
    const auto again = folder.load(&outcome);
    QCOMPARE(outcome, LoadOutcome::RestoreFailed);
    QCOMPARE(everything(*again), row(start, 50));
    QVERIFY(QFile::remove(folder.index())); // it was kept
    QVERIFY(everything(*folder.load(&outcome)) == row(start, 50));
    QCOMPARE(outcome, LoadOutcome::RestoreFailed);
    QVERIFY(!QFile::exists(folder.index())); // whoever repairs it finds what there was
    QVERIFY(again->save(folder.session()));
    QVERIFY(!QFile::exists(folder.backup())); // it would undo this save
    QCOMPARE(everything(*folder.load(&outcome)), row(start, 50));
    QCOMPARE(outcome, LoadOutcome::Loaded);
}

void TestStoreLoading::indexThatIsNone()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 50)));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(writeFile(folder.index(), QByteArray("\x01\0\xff;", 4)));
    for (const LoadMode mode : {LoadMode::ReadOnly, LoadMode::Normal}) {
        norvexData again;
        again.setFolderName(folder.name());
        QCOMPARE(again.load(folder.session(), mode), LoadOutcome::CutIndex);
        if (mode == LoadMode::Normal)
            again.reconcile();
        QCOMPARE(everything(again), row(start, 50));
        QCOMPARE(again.eventCount(), 1);
    }
}

// Nobody writes into it: whoever opens it waits for ever.
void TestStoreLoading::pipeForAnIndex()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 50)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(QFile::remove(folder.index()));
    if (QProcess::execute(QStringLiteral("mkfifo"), {folder.index()}) != 0)
        QSKIP("there are no pipes here");
    norvexData again;
    again.setFolderName(folder.name());
    QCOMPARE(again.load(folder.session()), LoadOutcome::Recreated);
    QVERIFY(!again.save(folder.session()));
    QCOMPARE(everything(again).size(), 50);
}

void TestStoreLoading::missingBlocks()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 15000)));
    QVERIFY(store->save(folder.session()));
    QByteArray index = contentOf(folder.index());
    index.replace("Block Data;2", "Block Data;3");
    QVERIFY(writeFile(folder.index(), index));
    const LogLines lines;
    LoadOutcome outcome = LoadOutcome::Failed;
    const auto again = folder.load(&outcome);
    QCOMPARE(outcome, LoadOutcome::MissingBlocks);
    QVERIFY(lines.hasLineWith(QStringLiteral("========== %1 Loaded, but some files where missing from the index file. "
                                             "Time elapsed: ")
                                  .arg(folder.index())));
    QCOMPARE(everything(*again), row(start, 15000));
}

void TestStoreLoading::linesWithoutTimes()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 50)));
    QVERIFY(store->save(folder.session()));
    QByteArray index = contentOf(folder.index());
    index.replace(";1700000000000000;1700000000049000", ";1700000000000000");
    QVERIFY(writeFile(folder.index(), index));
    norvexData again;
    again.setFolderName(folder.name());
    QCOMPARE(again.load(folder.session()), LoadOutcome::Loaded);
    QCOMPARE(again.lastTime(), start + 49000);
    QCOMPARE(again.sampleCount(), quint64(50));
}

void TestStoreLoading::staleFolderNames()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 50)));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(QDir(folder.session()).rename(folder.name(), QStringLiteral("renamed")));
    norvexData again;
    again.setFolderName(QStringLiteral("renamed"));
    QCOMPARE(again.load(folder.session()), LoadOutcome::Loaded);
    QCOMPARE(everything(again), row(start, 50));
    QCOMPARE(again.waveform({start, eventtype::E11}), arcAt(start).samples);
}

void TestStoreLoading::eventsInAnyOrder()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    for (const quint64 second : {3, 1, 2, 1})
        store->addEvent(arcAt(start + second * 1000000));
    QVERIFY(store->save(folder.session()));
    norvexData again;
    again.setFolderName(folder.name());
    QCOMPARE(again.load(folder.session()), LoadOutcome::Loaded);
    QVERIFY(again.addEvent(arcAt(start)));
    QVector<quint64> seconds;
    for (const EventRecord &event : again.storedEvents(0, ~quint64(0)))
        seconds += (event.time - start) / 1000000;
    QCOMPARE(seconds, QVector<quint64>({0, 1, 2, 3}));
}

/// Those behind it are still found under their own keys.
void TestStoreLoading::anEventListedTwiceCountsOnce()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVector<EventRecord> events;
    for (int i = 0; i < 100; ++i) {
        events.append(arcAt(start + quint64(i) * 1000000));
        store->addEvent(events.constLast());
    }
    QVERIFY(store->save(folder.session()));
    QByteArray index = contentOf(folder.index());
    const int at = index.lastIndexOf('\n', index.indexOf(";Event_2.")) + 1;
    const QByteArray second = index.mid(at, index.indexOf('\n', at) + 1 - at);
    index.replace(second, second + second + second);
    QVERIFY(writeFile(folder.index(), index));
    const LogLines lines;
    norvexData again;
    again.setFolderName(folder.name());
    QCOMPARE(again.load(folder.session()), LoadOutcome::Loaded);
    QVERIFY(lines.hasLineWith(QStringLiteral("2 events listed twice")));
    QCOMPARE(again.eventCount(), events.size());
    for (const EventRecord &event : qAsConst(events)) {
        QVERIFY(!again.addEvent(event));
        QCOMPARE(again.waveform(keyOf(event)).value(0).time, event.samples.constFirst().time);
    }
}

void TestStoreLoading::hostileLines()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 50)));
    QVERIFY(store->save(folder.session()));
    QByteArray index = contentOf(folder.index());
    index.replace("End Blocks;", "block;S1-Default;../../etc/passwd;1;2\nblock;S1-Default;block_1.norvexdata;1;2\n"
                                 "block;..;block_7.norvexdata;1700000000000000;1700000000049000\nblock;\nEnd Blocks;");
    QVERIFY(writeFile(folder.index(), index));
    const LogLines lines;
    norvexData again;
    again.setFolderName(folder.name());
    QCOMPARE(again.load(folder.session()), LoadOutcome::Loaded);
    QVERIFY(lines.hasLineWith(QStringLiteral("outside the folder")));
    QVERIFY(lines.hasLineWith(QStringLiteral("listed twice")));
    for (const auto &block : again.blocks())
        QCOMPARE(block->folder(), folder.path());
    QCOMPARE(again.firstTime(), start);
}

void TestStoreLoading::leftoversAreRemoved()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->save(folder.session()));
    const QStringList before = folder.names();
    const QString leftover = folder.file(QStringLiteral("block_1.norvexdata.123-4.norvex-tmp"));
    QVERIFY(writeFile(leftover, "x"));
    QVERIFY(writeFile(folder.backup() + QStringLiteral(".tmp"), "x"));
    folder.load(nullptr, LoadMode::ReadOnly);
    QVERIFY(QFile::exists(leftover));
    folder.load();
    QCOMPARE(folder.names(), before);
}

void TestStoreLoading::damagedBlockIsNotWrittenOver()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 500)));
    QVERIFY(store->save(folder.session()));
    const QString block = folder.file(QStringLiteral("block_1.norvexdata"));
    const QByteArray cut = contentOf(block).left(12 + 196 * 400);
    QVERIFY(writeFile(block, cut));
    const auto again = folder.load();
    // The sensor still has the last 100 and gives them again.
    QVERIFY(again->addSamples(row(start + 390000, 150)));
    QVERIFY(again->save(folder.session()));
    QCOMPARE(contentOf(block), cut);
    QVector<SamplePoint> all;
    QVERIFY2(!again->samplesInRange(0, ~quint64(0), all), "whoever reads is told of the damaged file");
    QCOMPARE(all, row(start, 540));
    all.clear();
    QVERIFY(!folder.load()->samplesInRange(0, ~quint64(0), all));
    QCOMPARE(all, row(start, 540));
}

void TestStoreLoading::lostBlockDoesNotStopTheRecording()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 500)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(QFile::remove(folder.file(QStringLiteral("block_1.norvexdata"))));
    const auto again = folder.load();
    QVERIFY(again->addSamples(row(start + 490000, 20)));
    QVERIFY(again->addSamples(row(start + 510000, 20)));
    QVERIFY(again->save(folder.session()));
    QVector<SamplePoint> out;
    QVERIFY2(!again->samplesInRange(0, start + 490000, out), "the reader is told that something is missing");
    out.clear();
    again->samplesInRange(start + 490000, ~quint64(0), out);
    QCOMPARE(out, row(start + 490000, 40));
}

void TestStoreLoading::readOnlyChangesNothing_data()
{
    QTest::addColumn<bool>("withBackup");
    QTest::addColumn<bool>("withIndex");
    QTest::newRow("as saved") << false << true;
    QTest::newRow("interrupted save") << true << true;
    QTest::newRow("no index") << false << false;
}

void TestStoreLoading::readOnlyChangesNothing()
{
    QFETCH(bool, withBackup);
    QFETCH(bool, withIndex);
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 500)));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(folder.session()));
    if (withBackup) {
        QVERIFY(QFile::copy(folder.index(), folder.backup()));
        QVERIFY(writeFile(folder.index(), "Arc detect"));
    }
    if (!withIndex)
        QVERIFY(QFile::remove(folder.index()));
    const auto before = everyFile(folder.path());
    const auto again = folder.load(nullptr, LoadMode::ReadOnly);
    QCOMPARE(everything(*again), row(start, 500));
    QCOMPARE(again->eventCount(), 1);
    QCOMPARE(everyFile(folder.path()), before);
}

void TestStoreLoading::noFolder()
{
    const QTemporaryDir session;
    norvexData store;
    store.setFolderName(QStringLiteral("gone"));
    QCOMPARE(store.load(session.path()), LoadOutcome::Failed);
    QVERIFY(QDir(session.path()).isEmpty());
}

void TestStoreLoading::reconcileTwice()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 500)));
    QVERIFY(store->save(folder.session()));
    // A copy somebody left in the folder holds nothing new; a file with older samples does.
    QVERIFY(QFile::copy(folder.file(QStringLiteral("block_1.norvexdata")),
                        folder.file(QStringLiteral("copy of block_1.norvexdata"))));
    const SensorFolder other;
    const auto older = other.newStore();
    QVERIFY(older->addSamples(row(start - 1000000, 100)));
    QVERIFY(older->save(other.session()));
    QVERIFY(QFile::copy(other.file(QStringLiteral("block_1.norvexdata")),
                        folder.file(QStringLiteral("block_5.norvexdata"))));
    norvexData again;
    again.setFolderName(folder.name());
    QCOMPARE(again.load(folder.session()), LoadOutcome::Loaded);
    const ReconcileReport first = again.reconcile();
    QCOMPARE(first.addedBlocks, 1);
    QCOMPARE(first.addedSamples, 0);
    QVERIFY(!again.reconcile().changedSomething());
    QCOMPARE(everything(again), row(start - 1000000, 100) + row(start, 500));
    QCOMPARE(again.firstTime(), start - 1000000);
    QVERIFY(again.save(folder.session()));
    QVERIFY(QFileInfo::exists(folder.file(QStringLiteral("block_5.norvexdata"))));
}

QTEST_GUILESS_MAIN(TestStoreLoading)
#include "tst_storeloading.moc"
