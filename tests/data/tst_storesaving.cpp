#include "base/platform.h"
#include "data/eventfile.h"
#include "storefixture.h"

#include <QtTest>

namespace {

constexpr quint64 start = 1700000000000000ULL;

QByteArray linesWith(const QByteArray &text, const char *keyword)
{
    QByteArray lines;
    for (const QByteArray &line : text.split('\n')) {
        if (line.startsWith(keyword))
            lines += line + '\n';
    }
    return lines;
}

QStringList blockNames(const norvexData &store)
{
    QStringList names;
    for (const auto &block : store.blocks())
        names.append(block->fileName());
    return names;
}

} // namespace

class TestStoreSaving : public QObject
{
    Q_OBJECT

private slots:
    void filesOfASmallStore();
    void nothingLaterThanCaptured();
    void emptyStore();
    void roundTrip();
    void nothingUnsavedAfterASave();
    void linesAreKept();
    void missingFolder();
    void namesAreKeptAndNotReused();
    void eventNumbersAreNotReused();
    void waveformsLeaveMemory();
    void blockThatCannotBeWritten();
    void eventThatCannotBeWritten();
    void eventWhoseNameIsNotSynced();
    void configurationThatCannotBeWritten();
    void indexThatCannotBeWritten_data();
    void indexThatCannotBeWritten();
    void changedDuringASave();
    void otherFolder();
    void idleBlocksLeaveMemory();
    void readersLeaveFewBlocksLoaded();
};

void TestStoreSaving::filesOfASmallStore()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    store->setChamberSerial(QStringLiteral("Cham;ber"));
    QVERIFY(store->addSamples(row(start, 10001)));
    QVERIFY(store->addEvent(arcAt(start + 5, eventtype::E21)));
    const LogLines lines;
    QVERIFY(store->save(folder.session()));
    QCOMPARE(folder.names().join(QLatin1Char(' ')),
             QStringLiteral("Event_1.norvexevent block_1.norvexdata block_2.norvexdata config_last.norvexconfig "
                            "index.dat"));
    QCOMPARE(contentOf(folder.index()),
             QByteArray("Arc detect data file ;V1.0.0\nSensor Serial ;S1\nChamber Serial;Cham_ber\n"
                        "Configuration Data;OK\nEnd Block Config;\nBlock Data;2\n"
                        "block;S1-Default;block_1.norvexdata;1700000000000000;1700000009999000\n"
                        "block;S1-Default;block_2.norvexdata;1700000010000000;1700000010000000\n"
                        "End Blocks;\nEvent Data;1\n"
                        "Event;S1-Default;Event_1.norvexevent;1700000000000005;E21;0;3;1700000000000005;0;100;0;0;"
                        "1700000000000007;0;20;0;0;1700000000000009;0;90;0;0\nEnd Events;\n"));
    QCOMPARE(lines.all(), QStringList(QStringLiteral("--------------- Updating ") + folder.index() +
                                      QStringLiteral("------------------")));
    QCOMPARE(contentOf(folder.file(QStringLiteral("block_2.norvexdata"))).size(), 12 + 196);
}

/// Nothing that comes while a save begins gets to the disk before the time line it is on.
void TestStoreSaving::nothingLaterThanCaptured()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QStringList before;
    QVERIFY(store->save(folder.session(), [&] {
        before = folder.names();
        store->setTimeLine({true, 1, 1});
        return store->addEvent(arcAt(start)) && store->addSamples(row(start, 5));
    }));
    QCOMPARE(before, QStringList());
    QVERIFY(!folder.names().join(QLatin1Char(' ')).contains(QRegularExpression(QStringLiteral("Event|block"))));
    QVERIFY(store->hasUnsavedData());
    QVERIFY(store->save(folder.session()));
    QCOMPARE(everything(*folder.load()), row(start, 5));
}

void TestStoreSaving::emptyStore()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->hasUnsavedData());
    QVERIFY(store->save(folder.session()));
    QVERIFY(contentOf(folder.index()).endsWith("Block Data;0\nEnd Blocks;\nEvent Data;0\nEnd Events;\n"));
    QVERIFY(!store->hasUnsavedData());
}

void TestStoreSaving::roundTrip()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    store->setChamberSerial(QStringLiteral("PM-\u00e4"));
    SensorConfiguration configuration;
    configuration.signalBaseThreshold = 33.5;
    configuration.pulseOnMax = 4294967295U;
    store->setConfiguration(configuration);
    Recipe recipe;
    recipe.initDefault(3);
    recipe.setRecipeName(QStringLiteral("Etch; End Blocks"));
    store->setRecipe(recipe);
    QVERIFY(store->addSamples(row(start, 12000, 1000, 7.25)));
    QVERIFY(store->addEvent(arcAt(start + 7)));
    QVERIFY(store->save(folder.session()));

    LoadOutcome outcome = LoadOutcome::Failed;
    const LogLines lines;
    const auto again = folder.load(&outcome);
    QCOMPARE(outcome, LoadOutcome::Loaded);
    QCOMPARE(lines.all().first(), QStringLiteral("================ Loading %1 =================").arg(folder.index()));
    QVERIFY(lines.hasLineWith(QStringLiteral("========== %1 Loaded successfully! Time elapsed: ").arg(folder.index())));
    QCOMPARE(again->sensorSerial(), QStringLiteral("S1"));
    QCOMPARE(again->chamberSerial(), QStringLiteral("PM-\u00e4"));
    QVERIFY(again->configuration() == configuration);
    QVERIFY(again->recipe() == recipe);
    for (const auto &block : again->blocks())
        QVERIFY2(!block->isLoaded(), "a load opens no block");
    QCOMPARE(again->sampleCount(), quint64(12000));
    QCOMPARE(again->firstTime(), start);
    QCOMPARE(again->lastTime(), start + 11999000);
    QCOMPARE(everything(*again), row(start, 12000, 1000, 7.25));
    const QVector<EventRecord> events = again->eventsInRange(start, start + 100);
    QCOMPARE(events.size(), 1);
    QCOMPARE(events[0].filePath, folder.file(QStringLiteral("Event_1.norvexevent")));
    QCOMPARE(again->waveform(keyOf(events[0])), arcAt(start + 7).samples);
    QVERIFY(!again->hasUnsavedData());

    // What goes on being recorded joins the newest block, and nothing is taken twice.
    QVERIFY(again->addSamples(row(start + 11990000, 20, 1000, 7.25)));
    QVERIFY(!again->addEvent(arcAt(start + 7)));
    QCOMPARE(again->blockCount(), 2);
    QVERIFY(again->save(folder.session()));
    QCOMPARE(everything(*folder.load()), row(start, 12010, 1000, 7.25));
}

void TestStoreSaving::nothingUnsavedAfterASave()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->save(folder.session()));
    const QVector<std::function<void()>> changes{
        [&] { QVERIFY(store->addSamples(row(start, 1))); },
        [&] { QVERIFY(store->addSamples(row(start, 1))); }, // a duplicate marks its block
        [&] { QVERIFY(store->addEvent(arcAt(start))); },
        [&] {
            store->setRecipe([] {
                Recipe recipe;
                recipe.initDefault(1);
                return recipe;
            }());
        },
        [&] {
            store->setConfiguration([] {
                SensorConfiguration c;
                c.refreshRate = 7;
                return c;
            }());
        },
        [&] { store->setChamberSerial(QStringLiteral("other")); },
        [&] {
            store->setTimeLine({true, 5, 5});
        },
    };
    for (const auto &change : changes) {
        QVERIFY(!store->hasUnsavedData());
        change();
        QVERIFY(store->hasUnsavedData());
        QVERIFY(store->save(folder.session()));
    }
    QVERIFY(!store->hasUnsavedData());
}

void TestStoreSaving::linesAreKept()
{
    // Composing only what changed gives the same file as composing all of it.
    const SensorFolder folder;
    const auto store = folder.newStore();
    for (quint64 i = 0; i < 5; ++i) {
        QVERIFY(store->addSamples(row(start + i * 10000000, 10000)));
        QVERIFY(store->addEvent(arcAt(start + i)));
        QVERIFY(store->save(folder.session()));
    }
    const QByteArray index = contentOf(folder.index());
    QCOMPARE(linesWith(index, "block;").count('\n'), 5);
    QCOMPARE(linesWith(index, "Event;").count('\n'), 5);
    const auto again = folder.load();
    QVERIFY(again->save(folder.session()));
    QCOMPARE(contentOf(folder.index()), index);
}

void TestStoreSaving::missingFolder()
{
    const QTemporaryDir session;
    norvexData store;
    store.setFolderName(QStringLiteral("gone"));
    QVERIFY(store.addSamples(row(start, 1)));
    const LogLines lines;
    QVERIFY(!store.save(session.path()));
    QCOMPARE(lines.all().first(),
             QStringLiteral("--------------- Updating %1/gone/index.dat------------------").arg(session.path()));
    QVERIFY(QDir(session.path()).isEmpty());
    QVERIFY(store.hasUnsavedData());
}

void TestStoreSaving::namesAreKeptAndNotReused()
{
    const SensorFolder folder;
    QVERIFY(writeFile(folder.file(QStringLiteral("block_2.norvexdata")), "somebody else's"));
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 25000)));
    QVERIFY(store->save(folder.session()));
    QCOMPARE(blockNames(*store).join(QLatin1Char(' ')),
             QStringLiteral("block_1.norvexdata block_3.norvexdata block_4.norvexdata"));
    QCOMPARE(contentOf(folder.file(QStringLiteral("block_2.norvexdata"))), QByteArray("somebody else's"));
}

void TestStoreSaving::eventNumbersAreNotReused()
{
    const SensorFolder folder;
    QVERIFY(writeFile(folder.file(QStringLiteral("Event_41.norvexevent")), "x"));
    const auto store = folder.newStore();
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(QFile::exists(folder.file(QStringLiteral("Event_42.norvexevent"))));
    QVERIFY(QFile::remove(folder.file(QStringLiteral("Event_42.norvexevent"))));
    QVERIFY(store->addEvent(arcAt(start + 1)));
    QVERIFY(store->save(folder.session()));
    QVERIFY(!QFile::exists(folder.file(QStringLiteral("Event_42.norvexevent"))));
    QVERIFY(QFile::exists(folder.file(QStringLiteral("Event_43.norvexevent"))));
    const auto again = folder.load();
    QVERIFY(again->addEvent(arcAt(start + 2)));
    QVERIFY(again->save(folder.session()));
    QVERIFY(QFile::exists(folder.file(QStringLiteral("Event_44.norvexevent"))));
}

void TestStoreSaving::waveformsLeaveMemory()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    const EventRecord event = arcAt(start);
    QVERIFY(store->addEvent(event));
    QVERIFY(store->eventsInRange(start, start + 1)[0].loaded);
    QVERIFY(store->save(folder.session()));
    const EventRecord saved = store->eventsInRange(start, start + 1)[0];
    QVERIFY(saved.isSaved());
    QVERIFY(!saved.loaded);
    QVERIFY(saved.samples.isEmpty());
    QCOMPARE(store->waveform(keyOf(event)), event.samples);
    QVERIFY(QFile::remove(saved.filePath));
    QVERIFY(store->waveform(keyOf(event)).isEmpty());
}

void TestStoreSaving::blockThatCannotBeWritten()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 10000)));
    QVERIFY(store->save(folder.session()));
    const QByteArray before = contentOf(folder.file(QStringLiteral("block_1.norvexdata")));
    // A link where a file of the session should be is not followed.
    const QString second = folder.file(QStringLiteral("block_2.norvexdata"));
    QVERIFY(QFile::link(folder.file(QStringLiteral("nowhere")), second));
    QVERIFY(store->addSamples(row(start + 10000000, 5)));
    const LogLines lines;
    QVERIFY(!store->save(folder.session()));
    QVERIFY(lines.hasLineWith(QStringLiteral("UNABLE TO SAVE TO ") + second));
    QVERIFY(store->hasUnsavedData());
    QCOMPARE(linesWith(contentOf(folder.index()), "Block Data"), QByteArray("Block Data;1\n"));
    QCOMPARE(linesWith(contentOf(folder.index()), "block;"),
             QByteArray("block;S1-Default;block_1.norvexdata;1700000000000000;1700000009999000\n"));
    QVERIFY(!QFile::exists(folder.backup()));
    QCOMPARE(contentOf(folder.file(QStringLiteral("block_1.norvexdata"))), before);

    QVERIFY(QFile::remove(second));
    QVERIFY(store->save(folder.session()));
    QVERIFY(!store->hasUnsavedData());
    QCOMPARE(everything(*folder.load()), row(start, 10005));

    // The first save after a load has no line of its own to keep: it still says what the file holds.
    const auto again = folder.load();
    QVERIFY(again->addSamples(row(start + 10005000, 5)));
    QVERIFY(QFile::rename(second, second + QStringLiteral(".moved")));
    QVERIFY(QFile::link(second + QStringLiteral(".moved"), second));
    QVERIFY(!again->save(folder.session()));
    QVERIFY(linesWith(contentOf(folder.index()), "block;")
                .contains("block_2.norvexdata;1700000010000000;1700000010004000\n"));
}

void TestStoreSaving::eventThatCannotBeWritten()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->save(folder.session()));
    const QString first = folder.file(QStringLiteral("Event_1.norvexevent"));
    QVERIFY(QFile::link(folder.file(QStringLiteral("nowhere")), first));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->addEvent(arcAt(start + 1)));
    QVERIFY(!store->save(folder.session()));
    QVERIFY(store->hasUnsavedData());
    QCOMPARE(linesWith(contentOf(folder.index()), "Event Data"), QByteArray("Event Data;1\n"));
    QVERIFY(linesWith(contentOf(folder.index()), "Event;").contains("Event_2.norvexevent;1700000000000001;"));
    QVERIFY(QFile::remove(first));
    QVERIFY(store->save(folder.session()));
    QCOMPARE(linesWith(contentOf(folder.index()), "Event;").count('\n'), 2);
    QVERIFY(linesWith(contentOf(folder.index()), "Event;").contains("Event_3.norvexevent;1700000000000000;"));
    QCOMPARE(folder.load()->eventCount(), 2);
}

/// An event is saved when the name of its file is on disk, too: what a lost name takes along is written again.
void TestStoreSaving::eventWhoseNameIsNotSynced()
{
    if (platform::syncFolder(QStringLiteral("/nowhere/at/all")))
        QSKIP("names need no sync here");
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->save(folder.session()));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->addEvent(arcAt(start + 1)));
    // While the save says that the second one cannot be written, the folder goes away.
    QVERIFY(QFile::link(folder.file(QStringLiteral("nowhere")), folder.file(QStringLiteral("Event_2.norvexevent"))));
    static QString path;
    path = folder.path();
    const auto previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &line) {
        if (line.contains(QLatin1String("Event_2")))
            QDir().rename(path, path + QStringLiteral(".away"));
    });
    const bool saved = store->save(folder.session());
    qInstallMessageHandler(previous);
    QVERIFY(!saved);
    QVERIFY(QDir().rename(path + QStringLiteral(".away"), path));
    QFile::remove(folder.file(QStringLiteral("Event_1.norvexevent")));
    QVERIFY(store->save(folder.session()));
    QCOMPARE(folder.load()->waveform({start, eventtype::E11}), arcAt(start).samples);
}

void TestStoreSaving::configurationThatCannotBeWritten()
{
    const SensorFolder folder;
    QVERIFY(QDir().mkdir(folder.file(QStringLiteral("config_last.norvexconfig"))));
    const auto store = folder.newStore();
    QVERIFY2(!store->save(folder.session()), "the journal must keep what is in no other file");
    QVERIFY(store->hasUnsavedData());
    QCOMPARE(linesWith(contentOf(folder.index()), "Configuration"), QByteArray("Configuration Data;Error\n"));
    QVERIFY(QDir().rmdir(folder.file(QStringLiteral("config_last.norvexconfig"))));
    QVERIFY(store->save(folder.session()));
    QCOMPARE(linesWith(contentOf(folder.index()), "Configuration"), QByteArray("Configuration Data;OK\n"));
    QVERIFY(!store->hasUnsavedData());
}

void TestStoreSaving::indexThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("index is a folder") << "index.dat";
    QTest::newRow("backup is a folder") << "index.dat.bakup";
    QTest::newRow("its copy is a folder") << "index.dat.bakup.tmp";
}

void TestStoreSaving::indexThatCannotBeWritten()
{
    QFETCH(QString, obstacle);
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 5)));
    QByteArray before;
    if (obstacle != QLatin1String("index.dat")) {
        QVERIFY(store->save(folder.session()));
        before = contentOf(folder.index());
    }
    QVERIFY(QDir().mkpath(folder.file(obstacle + QStringLiteral("/inside"))));
    QVERIFY(store->addSamples(row(start + 5000, 5)));
    QVERIFY(!store->save(folder.session()));
    QVERIFY(store->hasUnsavedData());
    QCOMPARE(contentOf(folder.index()), before);

    QVERIFY(QDir(folder.file(obstacle)).removeRecursively());
    QVERIFY(store->save(folder.session()));
    QVERIFY(!store->hasUnsavedData());
    QCOMPARE(everything(*folder.load()), row(start, 10));
}

void TestStoreSaving::changedDuringASave()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->save(folder.session(), [&] {
        store->setChamberSerial(QStringLiteral("new"));
        return true;
    }));
    QVERIFY(!contentOf(folder.index()).contains("Chamber Serial;new"));
    QVERIFY(store->hasUnsavedData());
    QVERIFY(store->save(folder.session()));
    QVERIFY(contentOf(folder.index()).contains("Chamber Serial;new"));
    QVERIFY(!store->hasUnsavedData());
}

void TestStoreSaving::otherFolder()
{
    const SensorFolder folder;
    const SensorFolder other;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 12000)));
    QVERIFY(store->addEvent(arcAt(start)));
    QVERIFY(store->save(folder.session()));
    store->unloadIdleBlocks(true);
    const QStringList before = folder.names();
    QVERIFY(store->addEvent(arcAt(start + 1)));
    QVERIFY(store->save(other.session()));
    QCOMPARE(folder.names(), before);
    const auto copied = other.load();
    QCOMPARE(everything(*copied), row(start, 12000));
    QCOMPARE(copied->eventCount(), 2);
    QCOMPARE(copied->waveform({start, eventtype::E11}), arcAt(start).samples);
    QCOMPARE(store->waveform({start, eventtype::E11}), arcAt(start).samples);
    QVERIFY(store->eventsInRange(start, start + 1)[0].filePath.startsWith(other.path()));
    QCOMPARE(folder.load()->eventCount(), 1);
}

void TestStoreSaving::idleBlocksLeaveMemory()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 25000)));
    const auto loaded = [&] {
        QString text;
        for (const auto &block : store->blocks())
            text += block->isLoaded() ? QLatin1Char('L') : QLatin1Char('-');
        return text;
    };
    store->unloadIdleBlocks(true);
    QCOMPARE(loaded(), QStringLiteral("LLL")); // not saved yet
    QVERIFY(store->save(folder.session()));
    store->unloadIdleBlocks();
    QCOMPARE(loaded(), QStringLiteral("--L")); // nobody has read them
    QCOMPARE(store->sampleCount(), quint64(25000));
    QCOMPARE(everything(*store), row(start, 25000));
    store->unloadIdleBlocks();
    QCOMPARE(loaded(), QStringLiteral("LLL")); // just read
    store->setBlocksToKeep(1);
    store->unloadIdleBlocks();
    QCOMPARE(loaded(), QStringLiteral("-LL"));
    store->unloadIdleBlocks(true);
    QCOMPARE(loaded(), QStringLiteral("--L"));
}

void TestStoreSaving::readersLeaveFewBlocksLoaded()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 300000)));
    QVERIFY(store->save(folder.session()));
    store->unloadIdleBlocks(true);
    QCOMPARE(everything(*store).size(), 300000);
    int loaded = 0;
    for (const auto &block : store->blocks())
        loaded += block->isLoaded() ? 1 : 0;
    QVERIFY2(loaded <= 20, qPrintable(QString::number(loaded)));

    // Nor does a recording, however fast it fills its blocks.
    QVERIFY(store->addSamples(row(start + 300000000, 300000)));
    QVERIFY(store->save(folder.session()));
    store->unloadIdleBlocks();
    loaded = 0;
    for (const auto &block : store->blocks())
        loaded += block->isLoaded() ? 1 : 0;
    QVERIFY2(loaded <= 20, qPrintable(QString::number(loaded)));
}

QTEST_GUILESS_MAIN(TestStoreSaving)
#include "tst_storesaving.moc"
