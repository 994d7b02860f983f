#include "base/jobprogress.h"
#include "data/blockfile.h"
#include "session/sessionimport.h"
#include "session/sessionrepair.h"
#include "sessionfixture.h"

#include <QtTest>

namespace {

QVector<SamplePoint> allOf(const norvexData &store)
{
    QVector<SamplePoint> all;
    if (!store.samplesInRange(0, ~quint64(0), all))
        all.clear();
    return all;
}

EventRecord eventAt(int second, int code)
{
    EventRecord event;
    event.samples = samplesFrom(second, 5);
    event.time = event.samples.constFirst().time;
    event.typeCode = code;
    return event;
}

} // namespace

class TestSessionImport : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void oldFormat_data();
    void oldFormat();
    void anotherSession();
    void besideARecording();
    void unsavedSource_data();
    void unsavedSource();
    void damagedSource();
    void goesAwayOnTheWay_data();
    void goesAwayOnTheWay();
    void table();
    void nothingToImport();
    void recoveredFolder();
    void recoveredSensorFolder();

private:
    QString path(const char *name) const { return m_folder->filePath(QLatin1String(name)); }
    /// Closed again, with one sensor, "S1-PM1": samples from second 0 and two events.
    QString source(int samples);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Session> m_session;
    std::shared_ptr<norvexData> m_store;
};

void TestSessionImport::init()
{
    m_session.reset();
    m_folder = std::make_unique<QTemporaryDir>();
    m_session = Session::create(path("target"), nullptr);
    m_store = m_session->addSensor(QStringLiteral("S9"), QStringLiteral("PM9"), QStringLiteral("10.0.0.9"), 8080);
}

QString TestSessionImport::source(int samples)
{
    const auto session = Session::create(path("source"), nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    SensorConfiguration configuration;
    configuration.signalBaseThreshold = 77;
    store->setConfiguration(configuration);
    store->addSamples(samplesFrom(0, samples));
    store->addEvent(eventAt(1, 3));
    store->addEvent(eventAt(2, eventtype::RfOn));
    session->save();
    return path("source/S1-PM1");
}

void TestSessionImport::oldFormat_data()
{
    QTest::addColumn<QString>("golden");
    for (const char *name : {"version1", "version2", "version3", "version4"})
        QTest::newRow(name) << QStringLiteral(NORVEX_TEST_DATA "/blocks/%1.norvexdata").arg(QLatin1String(name));
}

/// What the records of a golden file hold is checked by the tests of the block file; here it must come through whole
/// and be in a file of the current version in the end.
void TestSessionImport::oldFormat()
{
    QFETCH(QString, golden);
    const QVector<SamplePoint> expected = blockfile::readFile(golden).samples;
    QCOMPARE(expected.size(), 3);
    QVERIFY(QDir().mkpath(path("old")));
    QVERIFY(QFile::copy(golden, path("old/block_1.norvexdata")));
    const QStringList before = filesBelow(path("old"));
    const ImportOutcome outcome = importSensorFolder(path("old"), *m_store, m_session->path());
    QVERIFY2(outcome.kind == ImportOutcome::Kind::Done, qPrintable(outcome.reason));
    QVERIFY(!outcome.hadIndex);
    QCOMPARE(outcome.problems, QStringList());
    QCOMPARE(outcome.samples, quint64(3));
    QCOMPARE(filesBelow(path("old")), before);
    QVERIFY(allOf(*m_store) == expected);
    const blockfile::Content saved = blockfile::readFile(path("target/S9-PM9/block_1.norvexdata"));
    QCOMPARE(saved.version, 4);
    QVERIFY(saved.complete && saved.samples == expected);
}

void TestSessionImport::anotherSession()
{
    const QString from = source(25000);
    const QStringList before = filesBelow(path("source"));
    QCOMPARE(sensorFoldersOf(path("source")), QStringList{from});
    QCOMPARE(proposedNames(from).sensor, QStringLiteral("S1"));
    QCOMPARE(proposedNames(from).chamber, QStringLiteral("PM1"));
    JobProgress progress;
    const ImportOutcome first = importSensorFolder(from, *m_store, m_session->path(), &progress);
    QVERIFY2(first.kind == ImportOutcome::Kind::Done, qPrintable(first.reason));
    QCOMPARE(progress.done(), progress.total());
    QCOMPARE(first.samples, quint64(25000));
    QCOMPARE(first.events, 2);
    QCOMPARE(first.problems, QStringList());
    QCOMPARE(filesBelow(path("source")), before);
    QCOMPARE(m_store->configuration().signalBaseThreshold, 77.0);
    const ImportOutcome second = importSensorFolder(from, *m_store, m_session->path());
    QCOMPARE(second.samples, quint64(0));
    QCOMPARE(second.knownSamples, quint64(25000));
    QCOMPARE(second.knownEvents, 2);
    QVERIFY(m_session->save());

    const auto read = Session::loadReadOnly(path("target"), nullptr)->store(QStringLiteral("S9"));
    QVERIFY(allOf(*read) == samplesFrom(0, 25000));
    QCOMPARE(read->eventCount(), 1);
    QCOMPARE(read->runCount(), 1);
    QCOMPARE(read->waveform(keyOf(eventAt(1, 3))).size(), 5);
}

/// Files of the same names are in both folders, times overlap, and what is recorded comes after and before.
void TestSessionImport::besideARecording()
{
    QCOMPARE(m_session->sensorForImport(QStringLiteral("S9"), QStringLiteral("other")), m_store);
    QCOMPARE(m_store->chamberSerial(), QStringLiteral("PM9")); // a known sensor stays as it is
    QCOMPARE(m_session->sensors().constFirst().address, QStringLiteral("10.0.0.9"));
    QCOMPARE(m_session->sensors().constFirst().port, quint16(8080));
    const QString from = source(100);
    QVERIFY(m_store->addSamples(samplesFrom(50, 100)));
    QVERIFY(m_store->addEvent(eventAt(60, 3)));
    QVERIFY(m_session->save());
    QVERIFY(m_store->addSamples(samplesFrom(150, 10)));
    const ImportOutcome outcome = importSensorFolder(from, *m_store, m_session->path());
    QCOMPARE(outcome.samples, quint64(50));
    QCOMPARE(outcome.knownSamples, quint64(50));
    QVERIFY(m_store->addSamples(samplesFrom(155, 10)));
    QVERIFY(m_store->addEvent(eventAt(70, 4)));
    QVERIFY(m_session->save());
    m_session.reset();
    const auto read = Session::loadReadOnly(path("target"), nullptr)->store(QStringLiteral("S9"));
    QCOMPARE(allOf(*read).size(), 165);
    QCOMPARE(read->sampleCount(), quint64(165));
    QCOMPARE(read->eventCount(), 3);
    QCOMPARE(read->waveform(keyOf(eventAt(60, 3))).constFirst().time, eventAt(60, 3).time);
}

void TestSessionImport::unsavedSource_data()
{
    QTest::addColumn<bool>("savedOnce");
    QTest::newRow("since the last save") << true;
    QTest::newRow("never saved") << false;
}

/// What a killed program left in its journal only.
void TestSessionImport::unsavedSource()
{
    QFETCH(bool, savedOnce);
    {
        const auto session = Session::create(path("live"), nullptr);
        const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
        QVERIFY(store->addSamples(samplesFrom(0, 100)));
        QVERIFY(!savedOnce || session->save());
        QVERIFY(store->addSamples(samplesFrom(100, 50)));
        QVERIFY(store->addEvent(eventAt(1, 3)));
        SensorConfiguration configuration;
        configuration.signalBaseThreshold = 78;
        store->setConfiguration(configuration);
        QVERIFY(settle(*store));
        QVERIFY(copySession(path("live"), path("source")));
    }
    const QStringList before = filesBelow(path("source"));
    QCOMPARE(sensorFoldersOf(path("source")), QStringList{path("source/S1-PM1")});
    QCOMPARE(sensorFoldersOf(path("source/S1-PM1")), QStringList{path("source/S1-PM1")});
    QCOMPARE(proposedNames(path("source/S1-PM1")).chamber, QStringLiteral("PM1"));
    JobProgress progress;
    const ImportOutcome outcome = importSensorFolder(path("source/S1-PM1"), *m_store, m_session->path(), &progress);
    QVERIFY2(outcome.kind == ImportOutcome::Kind::Done, qPrintable(outcome.reason));
    QCOMPARE(progress.done(), progress.total());
    QCOMPARE(outcome.samples, quint64(150));
    QCOMPARE(outcome.events, 1);
    QCOMPARE(outcome.problems, QStringList());
    QCOMPARE(filesBelow(path("source")), before);
    QCOMPARE(allOf(*m_store).size(), 150);
    QCOMPARE(m_store->configuration().signalBaseThreshold, 78.0);
    for (const auto &block : m_store->blocks()) // what was unsaved lies in a block of its own
        QVERIFY(!savedOnce || block->count() == 50 || block->count() == 100);
}

void TestSessionImport::damagedSource()
{
    const QString from = source(100);
    QVERIFY(QFile::resize(from + QStringLiteral("/block_1.norvexdata"), 12 + 196 * 40 + 7));
    QVERIFY(QFile::remove(from + QStringLiteral("/Event_1.norvexevent")));
    const ImportOutcome outcome = importSensorFolder(from, *m_store, m_session->path());
    QVERIFY(outcome.kind == ImportOutcome::Kind::Done);
    QCOMPARE(outcome.samples, quint64(40));
    QCOMPARE(outcome.events, 2); // one of them as the index tells it
    QCOMPARE(outcome.problems.size(), 2);
}

void TestSessionImport::goesAwayOnTheWay_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("the source") << QStringLiteral("source/S1-PM1");
    QTest::newRow("the target") << QStringLiteral("target/S9-PM9");
}

/// Once the first block was read and is about to be stored. What came back later is imported by a second try.
void TestSessionImport::goesAwayOnTheWay()
{
    QFETCH(QString, folder);
    const QString from = source(25000);
    const QStringList before = filesBelow(path("source"));
    static QString leaving;
    leaving = m_folder->filePath(folder);
    const auto previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &line) {
        if (line.contains(QStringLiteral("Updating")) && QFileInfo(leaving).isDir())
            QDir().rename(leaving, leaving + QStringLiteral(".away"));
    });
    const ImportOutcome outcome = importSensorFolder(from, *m_store, m_session->path());
    qInstallMessageHandler(previous);
    QVERIFY(outcome.kind == ImportOutcome::Kind::Failed);
    QVERIFY2(outcome.reason.contains(leaving), qPrintable(outcome.reason));
    QVERIFY(!QFileInfo::exists(leaving));
    QVERIFY(QDir().rename(leaving + QStringLiteral(".away"), leaving));
    QCOMPARE(filesBelow(path("source")), before);
    const ImportOutcome again = importSensorFolder(from, *m_store, m_session->path());
    QVERIFY2(again.kind == ImportOutcome::Kind::Done, qPrintable(again.reason));
    QCOMPARE(again.samples + again.knownSamples, quint64(25000));
    QCOMPARE(allOf(*m_store), samplesFrom(0, 25000));
}

void TestSessionImport::table()
{
    QVERIFY(m_store->addSamples(samplesFrom(100, 5)));
    QFile file(path("t.csv"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (const SamplePoint &sample : samplesFrom(103, 5))
        file.write(QByteArray::number(sample.time) + ";500;1\n");
    file.close();
    const csvsamples::Preview preview = csvsamples::previewOf(path("t.csv"));
    const ImportOutcome outcome = importTable(path("t.csv"), preview.layout, *m_store, m_session->path());
    QVERIFY2(outcome.kind == ImportOutcome::Kind::Done, qPrintable(outcome.reason));
    QCOMPARE(outcome.samples, quint64(3));
    QCOMPARE(outcome.knownSamples, quint64(2));
    QCOMPARE(allOf(*m_store).size(), 8);
    QVERIFY(!m_store->isInsideRun()); // 500 V, but not from the sensor
    QCOMPARE(m_store->takeFinishedRuns(), 0);
}

void TestSessionImport::nothingToImport()
{
    QVERIFY(QDir().mkpath(path("empty")));
    QVERIFY(importSensorFolder(path("empty"), *m_store, m_session->path()).kind == ImportOutcome::Kind::NoData);
    QVERIFY(m_session->save());
    QVERIFY(importSensorFolder(path("target/S9-PM9"), *m_store, m_session->path()).kind == ImportOutcome::Kind::Failed);
    JobProgress progress;
    progress.cancel();
    QVERIFY(importSensorFolder(source(10), *m_store, m_session->path(), &progress).kind ==
            ImportOutcome::Kind::Cancelled);
}

/// Sensor folders alone, one of them without an index, become a session.
void TestSessionImport::recoveredFolder()
{
    source(100);
    QVERIFY(QFile::remove(path("source/index.norvex_session")));
    QVERIFY(QDir().mkpath(path("source/SN-07-Etch 1")));
    QVERIFY(QFile::copy(QStringLiteral(NORVEX_TEST_DATA "/blocks/version2.norvexdata"),
                        path("source/SN-07-Etch 1/block_5.norvexdata")));
    for (const char *folder : {"source/s1-pm1", "source/S8;a:b"}) { // what a session file cannot list
        QVERIFY(QDir().mkpath(path(folder)));
        QVERIFY(QFile::copy(QStringLiteral(NORVEX_TEST_DATA "/blocks/version1.norvexdata"),
                            path(folder) + QStringLiteral("/block_1.norvexdata")));
    }
    const SessionRepair repair = recoverSession(path("source"));
    QVERIFY2(repair.outcome == SessionRepair::Outcome::Repaired, qPrintable(repair.reason));
    const auto session = Session::load(path("source"), nullptr);
    QCOMPARE(session->sensors().size(), 4);
    for (const SensorEntry &entry : session->sensors())
        QVERIFY(!allOf(*entry.data).isEmpty());
    QCOMPARE(allOf(*session->store(QStringLiteral("S1"))).size(), 100);
    QCOMPARE(session->store(QStringLiteral("SN-07"))->chamberSerial(), QStringLiteral("Etch 1"));
    QCOMPARE(allOf(*session->store(QStringLiteral("SN-07"))).size(), 3);
    QVERIFY(recoverSession(path("source")).outcome == SessionRepair::Outcome::Locked);
    QVERIFY(QDir().mkpath(path("nothing")));
    QVERIFY(recoverSession(path("nothing")).outcome == SessionRepair::Outcome::NoData);
}

/// Block files in the chosen folder itself, and a sensor folder instead of its session.
void TestSessionImport::recoveredSensorFolder()
{
    QVERIFY(QDir().mkpath(path("bare")));
    QVERIFY(
        QFile::copy(QStringLiteral(NORVEX_TEST_DATA "/blocks/version1.norvexdata"), path("bare/block_5.norvexdata")));
    const SessionRepair bare = recoverSession(path("bare"));
    QVERIFY2(bare.outcome == SessionRepair::Outcome::Repaired, qPrintable(bare.reason));
    QVERIFY(QFile::exists(path("bare/block_5.norvexdata")));
    QCOMPARE(allOf(*Session::load(path("bare"), nullptr)->sensors().value(0).data).size(), 3);
    QVERIFY(recoverSession(path("bare")).outcome == SessionRepair::Outcome::Sound);

    const SessionRepair inside = recoverSession(source(100));
    QVERIFY(inside.outcome == SessionRepair::Outcome::Sound);
    QCOMPARE(inside.session, path("source"));
}

QTEST_GUILESS_MAIN(TestSessionImport)
#include "tst_sessionimport.moc"
