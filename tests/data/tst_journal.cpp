#include "data/journal.h"
#include "data/journalreplay.h"
#include "storefixture.h"

#include <QSignalSpy>
#include <QtTest>

namespace {

constexpr quint64 start = 1700000000000000ULL;
constexpr Journal::Timings quick{5, 5};

QStringList journalNames(const QString &session)
{
    return QDir(session + QStringLiteral("/journal")).entryList(QDir::Files, QDir::Name);
}

/// A session of one sensor as it is on disk at a moment: what a kill at that moment leaves.
class Copy
{
public:
    explicit Copy(const QString &session)
    {
        for (const QString &sub : {SensorFolder::name(), QStringLiteral("journal")}) {
            QDir().mkpath(path(sub));
            for (const QFileInfo &file :
                 QDir(session + QLatin1Char('/') + sub).entryInfoList(QDir::Files | QDir::Hidden))
                QFile::copy(file.filePath(), path(sub + QLatin1Char('/') + file.fileName()));
        }
    }
    QString session() const { return m_folder.path(); }

    /// The sensor as a restart finds it.
    std::unique_ptr<norvexData> restart(ReplayReport *report = nullptr, LoadMode mode = LoadMode::Normal) const
    {
        auto store = std::make_unique<norvexData>();
        store->setFolderName(SensorFolder::name());
        store->load(session(), mode);
        store->reconcile();
        const ReplayReport found = replayJournal(session(), [&](const JournalSensor &sensor) {
            return sensor.folder == SensorFolder::name() ? store.get() : nullptr;
        });
        if (mode == LoadMode::Normal)
            tidyJournal(session(), found);
        if (report)
            *report = found;
        return store;
    }

private:
    QString path(const QString &sub) const { return m_folder.filePath(sub); }
    QTemporaryDir m_folder;
};

/// Waits for what the store took to be durable.
bool settle(norvexData &store)
{
    QObject context;
    int answer = -1;
    store.whenDurable(&context, [&](bool ok) { answer = ok ? 1 : 0; });
    QElapsedTimer timer;
    timer.start();
    while (answer < 0 && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
    return answer == 1;
}

bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < 5000)
        QTest::qWait(2);
    return condition();
}

} // namespace

class TestJournal : public QObject
{
    Q_OBJECT

private slots:
    void durableMeansOnDisk();
    void everythingComesBack();
    void killsAroundASave();
    void replayTwice();
    void restartsGoOn();
    void requestsAreAnsweredOnce();
    void aSaveAnswersOnlyWhatItCovers();
    void deadContextIsNotCalled();
    void failingAndBack();
    void aSaveHelpsWhileFailing();
    void whatADiskTakesNotIsBounded();
    void leavesNobodyWaiting();
    void everyCutOfTheNewest();
    void damageIsReportedAndKept_data();
    void damageIsReportedAndKept();
    void unknownSensors();
    void newSensors();
    void readOnly();
};

void TestJournal::durableMeansOnDisk()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    Journal journal(folder.session(), quick);
    store->setDurableLog(&journal);
    for (quint64 page = 0; page < 20; ++page) {
        QVERIFY(store->addSamples(row(start + page * 20000, 20)));
        QVERIFY(settle(*store));
        const Copy killed(folder.session());
        QCOMPARE(killed.restart()->sampleCount(), (page + 1) * 20);
    }
    QCOMPARE(journalNames(folder.session()).size(), 1);
    store->setDurableLog(nullptr);
}

void TestJournal::everythingComesBack()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    Recipe recipe;
    recipe.initDefault(2);
    SensorConfiguration configuration;
    configuration.signalBaseThreshold = 12;
    configuration.minSwitchOffLength = 1000;
    configuration.signalLock = '1';
    {
        Journal journal(folder.session(), quick);
        store->setDurableLog(&journal);
        store->setTimeLine({true, 1234, 99});
        store->setRecipe(recipe);
        store->setConfiguration(configuration);
        QVERIFY(store->addSamples(samples("1:0 2:50 3:50 4:0 5:0")));
        QCOMPARE(store->takeFinishedRuns(), 1);
        QVERIFY(store->addEvent(arcAt(start, eventtype::E22)));
        store->setDurableLog(nullptr);
    } // the destructor writes what is left
    const Copy killed(folder.session());
    ReplayReport report;
    const auto again = killed.restart(&report);
    QCOMPARE(report.addedSamples, quint64(5));
    QCOMPARE(report.addedEvents, 2);
    QVERIFY(report.problems.isEmpty());
    QCOMPARE(everything(*again), everything(*store));
    QVERIFY(again->recipe() == recipe);
    QVERIFY(again->configuration() == configuration);
    QCOMPARE(again->timeLine().baseUs, qint64(1234));
    QCOMPARE(again->timeLine().uptimeMs, qint64(99));
    QCOMPARE(again->runCount(), 1);
    QVERIFY(again->runsInRange(0, ~quint64(0))[0].recipe == recipe);
    QCOMPARE(again->waveform({start, eventtype::E22}), arcAt(start).samples);
}

void TestJournal::killsAroundASave()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    Journal journal(folder.session(), quick);
    store->setDurableLog(&journal);
    int expected = 0;
    const auto record = [&](int count) {
        QVERIFY(store->addSamples(row(start + static_cast<quint64>(expected) * 1000, count)));
        expected += count;
        QVERIFY(settle(*store));
    };
    const auto killHere = [&] {
        const Copy killed(folder.session());
        ReplayReport report;
        const auto again = killed.restart(&report);
        QCOMPARE(everything(*again), row(start, expected));
        QVERIFY(report.problems.isEmpty());
    };
    for (int round = 0; round < 3; ++round) {
        record(6000);
        killHere();
        const qint64 generation = journal.rotate();
        killHere();
        record(50);
        killHere();
        QVERIFY(store->save(folder.session()));
        killHere();
        record(50);
        journal.commit(generation);
        killHere();
        QVERIFY(waitFor([&] { return journalNames(folder.session()).size() == 1; }));
        killHere();
    }
    const qint64 generation = journal.rotate();
    QVERIFY(store->save(folder.session()));
    journal.commit(generation);
    QVERIFY(waitFor([&] { return journalNames(folder.session()).isEmpty(); }));
    killHere();
    store->setDurableLog(nullptr);
}

void TestJournal::replayTwice()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    {
        Journal journal(folder.session(), quick);
        store->setDurableLog(&journal);
        QVERIFY(store->addSamples(row(start, 11000)));
        QVERIFY(store->addEvent(arcAt(start)));
        store->setDurableLog(nullptr);
    }
    const Copy killed(folder.session());
    const auto first = killed.restart();
    QVERIFY(first->save(killed.session()));
    ReplayReport report;
    const auto second = killed.restart(&report);
    QVERIFY(report.entries > 0);
    QCOMPARE(report.addedSamples, quint64(0));
    QCOMPARE(report.addedEvents, 0);
    QCOMPARE(everything(*second), row(start, 11000));
    QCOMPARE(second->eventCount(), 1);
}

void TestJournal::restartsGoOn()
{
    const SensorFolder folder;
    for (quint64 run = 0; run < 3; ++run) {
        const auto store = folder.newStore();
        Journal journal(folder.session(), quick);
        store->setDurableLog(&journal);
        QVERIFY(store->addSamples(row(start + run * 100000, 100)));
        store->setDurableLog(nullptr);
    }
    QCOMPARE(journalNames(folder.session()).join(QLatin1Char(' ')),
             QStringLiteral("00000001.norvexjournal 00000002.norvexjournal 00000003.norvexjournal"));
    const Copy killed(folder.session());
    const QStringList files = journalNames(killed.session());
    const auto again = killed.restart();
    QCOMPARE(everything(*again), row(start, 300));
    {
        // The folder could not be listed when it was replayed: what nobody has seen is not saved.
        Journal unseen(killed.session(), quick);
        unseen.commit(unseen.rotate());
    }
    QCOMPARE(journalNames(killed.session()), files);
    Journal journal(killed.session(), quick, nullptr, files);
    const qint64 generation = journal.rotate();
    QVERIFY(again->save(killed.session()));
    journal.commit(generation);
    QVERIFY(waitFor([&] { return journalNames(killed.session()).isEmpty(); }));
    QCOMPARE(everything(*killed.restart()), row(start, 300));
}

void TestJournal::requestsAreAnsweredOnce()
{
    const SensorFolder folder;
    Journal journal(folder.session(), quick);
    QVector<int> answers(200, 0);
    QObject context;
    for (int i = 0; i < answers.size(); ++i) {
        journal.append(QStringLiteral("S1"), DurableLog::Record::Recipe, QByteArray(i, 'x'));
        journal.whenDurable(&context, [&answers, i](bool ok) { answers[i] += ok ? 1 : 100; });
    }
    QVERIFY2(!answers.contains(1), "never before it returns to the event loop");
    QVERIFY(waitFor([&] { return !answers.contains(0); }));
    QTest::qWait(20);
    QCOMPARE(answers, QVector<int>(200, 1));
}

void TestJournal::aSaveAnswersOnlyWhatItCovers()
{
    const SensorFolder folder;
    Journal journal(folder.session(), {60000, 5});
    QVector<bool> answers;
    for (int i = 0; i < 50; ++i) {
        journal.append(SensorFolder::name(), DurableLog::Record::Recipe, "{}");
        journal.whenDurable(this, [&](bool ok) { answers.append(ok); });
        journal.commit(-1); // of nothing
    }
    QVERIFY(waitFor([&] { return answers.size() == 50; }));
    QVERIFY2(!answers.contains(false), "nobody hears no while the disk works");
}

void TestJournal::deadContextIsNotCalled()
{
    const SensorFolder folder;
    Journal journal(folder.session(), quick);
    bool called = false;
    bool other = false;
    auto context = std::make_unique<QObject>();
    journal.append(QStringLiteral("S1"), DurableLog::Record::Recipe, "x");
    journal.whenDurable(context.get(), [&](bool) { called = true; });
    context.reset();
    journal.whenDurable(this, [&](bool) { other = true; });
    QVERIFY(waitFor([&] { return other; }));
    QVERIFY(!called);
}

void TestJournal::failingAndBack()
{
    const SensorFolder folder;
    const QString obstacle = folder.session() + QStringLiteral("/journal");
    QVERIFY(writeFile(obstacle, "in the way"));
    const auto store = folder.newStore();
    Journal journal(folder.session(), quick);
    QSignalSpy failed(&journal, &Journal::failed);
    QSignalSpy recovered(&journal, &Journal::recovered);
    store->setDurableLog(&journal);
    const LogLines lines;
    QVERIFY(store->addSamples(row(start, 100)));
    QVERIFY(!settle(*store));
    QVERIFY(waitFor([&] { return failed.count() == 1; }));
    QVERIFY(journal.isFailing());
    QVERIFY(!journal.error().isEmpty());
    QVERIFY(store->addSamples(row(start + 100000, 100)));
    QVERIFY(!settle(*store));

    QVERIFY(QFile::remove(obstacle));
    QVERIFY(waitFor([&] { return recovered.count() == 1; }));
    QVERIFY(settle(*store));
    QCOMPARE(failed.count(), 1);
    QVERIFY(lines.hasLineWith(QStringLiteral("Journal: is written again")));
    const Copy killed(folder.session());
    QCOMPARE(everything(*killed.restart()), row(start, 200));
    store->setDurableLog(nullptr);
}

void TestJournal::aSaveHelpsWhileFailing()
{
    const SensorFolder folder;
    QVERIFY(writeFile(folder.session() + QStringLiteral("/journal"), "in the way"));
    const auto store = folder.newStore();
    Journal journal(folder.session(), {5, 60000});
    store->setDurableLog(&journal);
    QVERIFY(store->addSamples(row(start, 100)));
    QVERIFY(!settle(*store));
    const qint64 generation = journal.rotate();
    QVERIFY(store->save(folder.session()));
    journal.commit(generation);
    QVERIFY(settle(*store));
    store->setDurableLog(nullptr);
}

void TestJournal::whatADiskTakesNotIsBounded()
{
    const SensorFolder folder;
    const QString obstacle = folder.session() + QStringLiteral("/journal");
    QVERIFY(writeFile(obstacle, "in the way"));
    constexpr int piece = 700 * 1024; // more than is written at once, in the end
    Journal journal(folder.session(), {5, 5, 3 * piece});
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(journal.takesMore(), i < 3);
        journal.append(folder.name(), DurableLog::Record::Recipe, QByteArray(piece, char('a' + i)));
        QTest::qWait(10);
    }
    QVERIFY(QFile::remove(obstacle));
    QVERIFY(waitFor([&] { return journal.takesMore(); }));
    const QByteArray bytes = contentOf(folder.session() + QStringLiteral("/journal/00000001.norvexjournal"));
    for (int i = 0; i < 4; ++i)
        QCOMPARE(bytes.mid(bytes.indexOf(QByteArray(1000, char('a' + i))), piece), QByteArray(piece, char('a' + i)));
}

void TestJournal::leavesNobodyWaiting()
{
    const SensorFolder folder;
    QVERIFY(writeFile(folder.session() + QStringLiteral("/journal"), "in the way"));
    auto journal = std::make_unique<Journal>(folder.session(), Journal::Timings{60000, 60000});
    QVector<bool> answers;
    journal->append(folder.name(), DurableLog::Record::Recipe, "{}");
    journal->whenDurable(this, [&](bool ok) { answers.append(ok); });
    journal.reset();
    QVERIFY(waitFor([&] { return !answers.isEmpty(); }));
    QCOMPARE(answers, QVector<bool>{false});
}

void TestJournal::everyCutOfTheNewest()
{
    const SensorFolder folder;
    {
        Journal journal(folder.session(), quick);
        for (int i = 0; i < 3; ++i)
            journal.append(folder.name(), DurableLog::Record::Recipe, QByteArray(10, 'x'));
    }
    const QString name = folder.session() + QStringLiteral("/journal/00000001.norvexjournal");
    const QByteArray whole = contentOf(name);
    const LogLines lines;
    norvexData store;
    const auto storeOf = [&](const JournalSensor &) { return &store; };
    for (int length = 0; length <= whole.size(); ++length) {
        QVERIFY(writeFile(name, whole.left(length)));
        const ReplayReport first = replayJournal(folder.session(), storeOf);
        QVERIFY2(first.problems.isEmpty(), qPrintable(first.problems.join(QLatin1Char(' '))));
        QVERIFY(first.entries <= 3);
        QVERIFY(length < whole.size() || first.entries == 3);
        // The torn end is gone: later, when the file is not the newest any more, it is whole.
        QCOMPARE(replayJournal(folder.session(), storeOf).entries, first.entries);
        const int size = contentOf(name).size();
        QVERIFY(size <= length && (size == length || (size - journalfile::headerSize) % 30 == 0 || size == 0));
    }
}

void TestJournal::damageIsReportedAndKept_data()
{
    QTest::addColumn<int>("file");
    QTest::addColumn<int>("offset"); // where a bit flips; -1: the last byte is cut off
    QTest::addColumn<int>("entries");
    QTest::newRow("header of an older file") << 1 << 20 << 3;
    QTest::newRow("header of the newest file") << 2 << 20 << 3;
    QTest::newRow("first record of the newest file") << 2 << 60 << 5;
    QTest::newRow("last record of an older file") << 1 << 40 + 2 * 30 + 5 << 5;
    QTest::newRow("end of an older file") << 1 << -1 << 5;
    QTest::newRow("length in the middle") << 1 << 40 + 30 << 4;
}

void TestJournal::damageIsReportedAndKept()
{
    QFETCH(int, file);
    QFETCH(int, offset);
    QFETCH(int, entries);
    const SensorFolder folder;
    for (int i = 0; i < 2; ++i) {
        Journal journal(folder.session(), quick);
        for (int k = 0; k < 3; ++k)
            journal.append(folder.name(), DurableLog::Record::Recipe, QByteArray(10, 'x'));
    }
    const QString name = folder.session() + QStringLiteral("/journal/0000000%1.norvexjournal").arg(file);
    QByteArray bytes = contentOf(name);
    if (offset < 0)
        bytes.chop(1);
    else
        bytes[offset] = static_cast<char>(bytes.at(offset) ^ 64);
    QVERIFY(writeFile(name, bytes));
    norvexData store;
    const LogLines lines;
    const ReplayReport report = replayJournal(folder.session(), [&](const JournalSensor &) { return &store; });
    QCOMPARE(report.entries, entries);
    QCOMPARE(report.problems.size(), 1);
    QVERIFY(lines.hasLineWith(report.problems[0]));
    QCOMPARE(contentOf(name), bytes);
    tidyJournal(folder.session(), report);
    QCOMPARE(contentOf(name + QStringLiteral(".kept")), bytes);
    QVERIFY(!QFile::exists(name));
    // Neither replayed again nor removed, and its number is not used again.
    const ReplayReport again = replayJournal(folder.session(), [&](const JournalSensor &) { return &store; });
    QVERIFY(again.problems.isEmpty());
    Journal journal(folder.session(), quick, nullptr, again.replayed);
    journal.append(folder.name(), DurableLog::Record::Recipe, "x");
    QVERIFY(
        waitFor([&] { return QFile::exists(folder.session() + QStringLiteral("/journal/00000003.norvexjournal")); }));
    journal.commit(journal.rotate());
    QVERIFY(waitFor([&] { return journalNames(folder.session()).size() == 1; }));
    QCOMPARE(contentOf(name + QStringLiteral(".kept")), bytes);
}

void TestJournal::unknownSensors()
{
    const SensorFolder folder;
    {
        Journal journal(folder.session(), quick);
        journal.append(QStringLiteral("../elsewhere"), DurableLog::Record::Recipe, "x");
        journal.append(QStringLiteral("S9"), DurableLog::Record::Recipe, "x");
    }
    QStringList asked;
    const ReplayReport report = replayJournal(folder.session(), [&](const JournalSensor &sensor) -> norvexData * {
        asked.append(sensor.folder);
        return nullptr;
    });
    QCOMPARE(asked, QStringList(QStringLiteral("S9")));
    QCOMPARE(report.problems.size(), 1);
    tidyJournal(folder.session(), report);
    QCOMPARE(journalNames(folder.session()), QStringList(QStringLiteral("00000001.norvexjournal.kept")));
}

void TestJournal::newSensors()
{
    // A sensor that was added after the last save is on no list yet; its records say who it is.
    const SensorFolder folder;
    {
        const auto store = folder.newStore();
        store->setChamberSerial(QStringLiteral("PM1"));
        Journal journal(folder.session(), quick);
        store->setDurableLog(&journal);
        QVERIFY(store->addSamples(row(start, 10)));
        store->setDurableLog(nullptr);
    }
    // Its folder cannot be made just now: nothing that is saved takes the records away, and the next start has them.
    const QStringList files = journalNames(folder.session());
    const ReplayReport refused = replayJournal(folder.session(), [](const JournalSensor &) { return nullptr; });
    QCOMPARE(refused.replayed, QStringList());
    {
        Journal journal(folder.session(), quick, nullptr, refused.replayed);
        journal.commit(journal.rotate());
    }
    QCOMPARE(journalNames(folder.session()), files);

    norvexData made;
    QStringList asked;
    replayJournal(folder.session(), [&](const JournalSensor &sensor) {
        asked.append(sensor.folder + QLatin1Char('|') + sensor.serial + QLatin1Char('|') + sensor.chamber);
        return &made;
    });
    QCOMPARE(asked.first(), QStringLiteral("S1-Default|S1|PM1"));
    QCOMPARE(everything(made), row(start, 10));
}

void TestJournal::readOnly()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    Journal journal(folder.session(), quick);
    store->setDurableLog(&journal);
    QVERIFY(store->save(folder.session()));
    QVERIFY(store->addSamples(row(start, 10)));
    QVERIFY(settle(*store));
    const QString name = folder.session() + QStringLiteral("/journal/00000001.norvexjournal");
    const Copy live(folder.session());
    const QString copied = live.session() + QStringLiteral("/journal/00000001.norvexjournal");
    QVERIFY(writeFile(copied, contentOf(name) + "torn"));
    ReplayReport report;
    QCOMPARE(everything(*live.restart(&report, LoadMode::ReadOnly)), row(start, 10));
    QCOMPARE(contentOf(copied), contentOf(name) + "torn");
    store->setDurableLog(nullptr);
}

QTEST_GUILESS_MAIN(TestJournal)
#include "tst_journal.moc"
