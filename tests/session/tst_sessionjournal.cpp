#include "data/journal.h"
#include "session/sessioncheck.h"
#include "session/sessionrepair.h"
#include "sessionfixture.h"

#include <QtTest>

namespace {

QStringList journalFiles(const QString &folder)
{
    return QDir(folder + QStringLiteral("/journal")).entryList(QDir::Files);
}

bool isGone(const QString &folder)
{
    for (int i = 0; i < 4000 && !journalFiles(folder).isEmpty(); ++i)
        QThread::msleep(5);
    return journalFiles(folder).isEmpty();
}

QVector<SamplePoint> allOf(const norvexData &store)
{
    QVector<SamplePoint> all;
    store.samplesInRange(0, ~quint64(0), all);
    return all;
}

} // namespace

class TestSessionJournal : public QObject
{
    Q_OBJECT

private slots:
    void killedBeforeTheFirstSave_data();
    void killedBeforeTheFirstSave();
    void killedAfterASave();
    void renamedFolders_data();
    void renamedFolders();
    void damagedFileThatCannotBeRenamed();
    void aCheckTellsOfTheJournal();
    void savedWhileItIsRead();
    void killedBetweenBlockAndIndex();
    void whatCannotBeRead_data();
    void whatCannotBeRead();
    void anIndexThatCannotBeOpened_data();
    void anIndexThatCannotBeOpened();
    void aFileInThePlaceOfTheJournal();
    void readOnlySeesTheJournal();
    void cleanEndLeavesNoJournal();
    void lookingLeavesNoJournal();
    void failedSaveKeepsTheJournal();
    void removedSensor();

private:
    QTemporaryDir m_folder;
    int m_number = 0;
    QString fresh() { return m_folder.filePath(QString::number(++m_number)); }
};

void TestSessionJournal::killedBeforeTheFirstSave_data()
{
    QTest::addColumn<bool>("create");
    QTest::newRow("loaded") << false;
    QTest::newRow("begun again") << true;
}

void TestSessionJournal::killedBeforeTheFirstSave()
{
    const QString folder = fresh();
    const QString killed = fresh();
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QStringLiteral("127.0.0.1"), 80);
    store->setTimeLine({true, 77, 1000});
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    QVERIFY(copySession(folder, killed));

    QFETCH(bool, create);
    SessionError error;
    const auto reader = Session::loadReadOnly(killed, &error);
    QVERIFY2(reader, qPrintable(error.text));
    QCOMPARE(allOf(*reader->store(QStringLiteral("S1"))), samplesFrom(0, 40));
    const auto again = create ? Session::create(killed, &error) : Session::load(killed, &error);
    QVERIFY2(again, qPrintable(error.text));
    QVERIFY(again->store(QStringLiteral("S1")));
    QCOMPARE(again->chambers(), QStringList(QStringLiteral("PM1")));
    QCOMPARE(allOf(*again->store(QStringLiteral("S1"))), samplesFrom(0, 40));
    QCOMPARE(again->store(QStringLiteral("S1"))->timeLine().baseUs, qint64(77));
    QVERIFY(!again->hasUnsavedData());
}

void TestSessionJournal::killedAfterASave()
{
    const QString folder = fresh();
    const QString killed = fresh();
    const auto session = Session::create(folder, nullptr);
    const auto first = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(first->addSamples(samplesFrom(0, 40)));
    QVERIFY(session->save());
    QVERIFY(first->addSamples(samplesFrom(40, 40)));
    // One that no session file names yet.
    const auto second = session->addSensor(QStringLiteral("S2"), QStringLiteral("PM2"), QString(), 80);
    QVERIFY(second->addSamples(samplesFrom(7, 3)));
    QVERIFY(settle(*second));
    QVERIFY(copySession(folder, killed));

    auto again = Session::load(killed, nullptr);
    QVERIFY(again);
    QCOMPARE(again->sensors().size(), 2);
    QCOMPARE(allOf(*again->store(QStringLiteral("S1"))), samplesFrom(0, 40) + samplesFrom(40, 40));
    QCOMPARE(allOf(*again->store(QStringLiteral("S2"))), samplesFrom(7, 3));
    QVERIFY(again->loadProblems().isEmpty());
    again.reset();
    QVERIFY(journalFiles(killed).isEmpty());
    again = Session::load(killed, nullptr);
    QCOMPARE(again->sensors().size(), 2);
    QCOMPARE(allOf(*again->store(QStringLiteral("S1"))), samplesFrom(0, 40) + samplesFrom(40, 40));
}

void TestSessionJournal::renamedFolders_data()
{
    QTest::addColumn<QStringList>("names"); // of the folders of S1 and S2
    QTest::addColumn<bool>("serials");      // the journal names them
    const QString one = QStringLiteral("S1-PM1");
    const QString two = QStringLiteral("S2-PM1");
    const QString other = QStringLiteral("etcher");
    QTest::newRow("one") << QStringList{other, two} << true;
    QTest::newRow("exchanged") << QStringList{two, one} << true;
    QTest::newRow("journal without serials") << QStringList{one, other} << false;
}

/// The first save took the records away that told of the sensors.
void TestSessionJournal::renamedFolders()
{
    QFETCH(QStringList, names);
    QFETCH(bool, serials);
    const QString folder = fresh();
    const QString killed = fresh();
    const auto session = Session::create(folder, nullptr);
    for (int i = 1; i <= 2; ++i)
        QVERIFY(session->addSensor(QStringLiteral("S%1").arg(i), QStringLiteral("PM1"), {}, 80)
                    ->addSamples(samplesFrom(i, 40)));
    QVERIFY(session->save());
    QVERIFY(isGone(folder));
    for (int i = 1; i <= 2; ++i) {
        const auto store = session->store(QStringLiteral("S%1").arg(i));
        QVERIFY(store->addSamples(samplesFrom(100 * i, 40)));
        QVERIFY(settle(*store));
    }
    QVERIFY(copySession(folder, killed));
    if (!serials) {
        QVERIFY(QDir(killed + QStringLiteral("/journal")).removeRecursively());
        Journal journal(killed);
        for (int i = 1; i <= 2; ++i) {
            QByteArray payload(40 * sampleRecordSize(SamplePoint::currentVersion), 0);
            encodeSamples(samplesFrom(100 * i, 40).constData(), 40, reinterpret_cast<uchar *>(payload.data()));
            journal.append(QStringLiteral("S%1-PM1").arg(i), DurableLog::Record::Samples, payload);
        }
    }
    for (int i = 1; i <= 2; ++i)
        QVERIFY(QFile::rename(killed + QStringLiteral("/S%1-PM1").arg(i), killed + QStringLiteral("/%1").arg(i)));
    for (int i = 1; i <= 2; ++i)
        QVERIFY(QFile::rename(killed + QStringLiteral("/%1").arg(i), killed + QLatin1Char('/') + names[i - 1]));

    auto again = Session::load(killed, nullptr);
    QCOMPARE(again->sensors().size(), 2);
    for (int i = 1; i <= 2; ++i) {
        const auto store = again->store(QStringLiteral("S%1").arg(i));
        QCOMPARE(store->folderName(), names[i - 1]);
        QCOMPARE(allOf(*store), samplesFrom(i, 40) + samplesFrom(100 * i, 40));
    }
    again.reset();
    QCOMPARE(journalFiles(killed), QStringList());
}

void TestSessionJournal::damagedFileThatCannotBeRenamed()
{
    const QString folder = fresh();
    const auto session = Session::create(folder, nullptr);
    QVERIFY(session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), {}, 80)->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*session->store(QStringLiteral("S1"))));
    const QString broken = fresh();
    QVERIFY(copySession(folder, broken));
    const QString name = broken + QStringLiteral("/journal/00000001.norvexjournal");
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(12) && file.write("other") == 5);
    file.close();
    QVERIFY(QDir().mkpath(name + QStringLiteral(".kept/in the way")));
    const auto again = Session::load(broken, nullptr);
    QVERIFY(again->addSensor(QStringLiteral("S2"), QStringLiteral("PM1"), {}, 80)->addSamples(samplesFrom(0, 40)));
    QVERIFY(again->save());
    QTest::qWait(20);
    QVERIFY2(QFile::exists(name), "nothing that could not be taken is removed");
}

void TestSessionJournal::aCheckTellsOfTheJournal()
{
    const QString unsaved = fresh();
    const auto recording = Session::create(unsaved, nullptr);
    QVERIFY(recording->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), {}, 80)->addSamples(samplesFrom(0, 40)));
    QTRY_VERIFY_WITH_TIMEOUT(checkSession(unsaved).journalRecords > 0, 20000);
    QVERIFY2(!checkSession(unsaved).isDamaged(), "the first save writes the session file");

    const QString folder = fresh();
    QVERIFY(Session::create(folder, nullptr)->save());
    QVERIFY(!checkSession(folder).isDamaged());
    const QString journal = folder + QStringLiteral("/journal");
    QVERIFY(QFile::link(journal, journal)); // the system cannot list it
    QVERIFY(checkSession(folder).isDamaged());
    QVERIFY(QFile::remove(journal));

    const QString name = QStringLiteral("/journal/00000003.norvexjournal.kept");
    QVERIFY(QDir().mkpath(journal));
    QVERIFY(QFile::copy(folder + QStringLiteral("/index.norvex_session"), folder + name));
    const SessionCheck check = checkSession(folder);
    QVERIFY(check.isDamaged());
    QVERIFY2(check.problems.join(QLatin1Char(' ')).contains(QStringLiteral("00000003.norvexjournal.kept")),
             qPrintable(check.problems.join(QLatin1Char(' '))));
    const SessionRepair repair = repairSession(folder);
    QVERIFY2(repair.outcome == SessionRepair::Outcome::Repaired, qPrintable(repair.reason));
    QVERIFY(QFile::exists(repair.asideFolder + name));
    QVERIFY(!checkSession(folder).isDamaged());
}

/// The save comes between the index and the journal.
void TestSessionJournal::savedWhileItIsRead()
{
    const QString folder = fresh();
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(session->save());
    QVERIFY(store->addSamples(samplesFrom(40, 10000))); // goes on in a second block
    EventRecord event;
    event.time = store->lastTime();
    event.typeCode = eventtype::E11;
    QVERIFY(store->addEvent(event));
    QVERIFY(settle(*store));
    static std::function<void()> save;
    save = [&] { QVERIFY(session->save() && isGone(folder)); };
    const auto previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &line) {
        if (save && line.contains(QStringLiteral("Loaded successfully!")))
            std::exchange(save, nullptr)();
    });
    const auto reader = Session::loadReadOnly(folder, nullptr);
    qInstallMessageHandler(previous);
    QVERIFY2(!save, "the save came");
    const auto read = reader->store(QStringLiteral("S1"));
    QCOMPARE(allOf(*read), samplesFrom(0, 40) + samplesFrom(40, 10000));
    QCOMPARE(read->eventCount(), 1);
    QCOMPARE(reader->loadProblems(), QStringList());
}

/// What a block holds already and the journal still has is there once, also for one who only reads.
void TestSessionJournal::killedBetweenBlockAndIndex()
{
    const QString folder = fresh();
    const QString killed = fresh();
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 9990)));
    QVERIFY(session->save());
    QVERIFY(store->addSamples(samplesFrom(9990, 20)));
    QVERIFY(settle(*store));
    QVERIFY(copySession(folder, killed));
    QVERIFY(session->save());
    const QString block = QStringLiteral("/S1-PM1/block_1.norvexdata");
    QVERIFY(QFile::remove(killed + block) && QFile::copy(folder + block, killed + block));
    QFile index(killed + QStringLiteral("/S1-PM1/index.dat"));
    QVERIFY(index.open(QIODevice::ReadWrite));
    QVERIFY(index.setFileTime(QDateTime::currentDateTime().addSecs(-10), QFileDevice::FileModificationTime));

    const auto reader = Session::loadReadOnly(killed, nullptr);
    QVERIFY(reader);
    QCOMPARE(allOf(*reader->store(QStringLiteral("S1"))), samplesFrom(0, 9990) + samplesFrom(9990, 20));
}

void TestSessionJournal::whatCannotBeRead_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"index.norvex_session", "S2-PM1", "S2-PM1/config_last.norvexconfig", "S2-PM1/block_1.norvexdata"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

/// A disk that does not give a file now may do so soon: nobody records into the session meanwhile, and everything stays
/// as it was, in the folders of the other sensors too.
void TestSessionJournal::whatCannotBeRead()
{
    const QString folder = fresh();
    const QString broken = fresh();
    const auto session = Session::create(folder, nullptr);
    for (const QString &serial : {QStringLiteral("S1"), QStringLiteral("S2")})
        QVERIFY(session->addSensor(serial, QStringLiteral("PM1"), {}, 80)->addSamples(samplesFrom(0, 40)));
    QVERIFY(session->save());
    const auto store = session->store(QStringLiteral("S2"));
    QVERIFY(store->addSamples(samplesFrom(40, 40)));
    QVERIFY(settle(*store));
    QVERIFY(copySession(folder, broken));
    // Things that a load puts in order: an interrupted save, a leftover, a torn journal.
    QVERIFY(
        QFile::copy(broken + QStringLiteral("/S1-PM1/index.dat"), broken + QStringLiteral("/S1-PM1/index.dat.bakup")));
    for (const QString &name :
         {QStringLiteral("/S1-PM1/a.norvex-tmp"), QStringLiteral("/journal/00000009.norvexjournal")}) {
        QFile file(broken + name);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("torn") == 4);
    }

    QFETCH(QString, name);
    const QString path = broken + QLatin1Char('/') + name;
    const QString away = path + QStringLiteral(".away");
    const bool wasThere = QFile::rename(path, away);
    QVERIFY(QFile::link(path, path)); // the system cannot say what this is
    const QStringList before = filesBelow(broken);
    SessionError error;
    QVERIFY(!Session::load(broken, &error));
    QCOMPARE(int(error.kind), int(SessionError::Unreadable));
    QVERIFY2(error.text.contains(path), qPrintable(error.text));
    QCOMPARE(filesBelow(broken), before);

    QVERIFY(QFile::remove(path));
    QVERIFY(!wasThere || QFile::rename(away, path));
    auto again = Session::load(broken, &error);
    QVERIFY2(again, qPrintable(error.text));
    QCOMPARE(allOf(*again->store(QStringLiteral("S1"))), samplesFrom(0, 40));
    QCOMPARE(allOf(*again->store(QStringLiteral("S2"))), samplesFrom(0, 40) + samplesFrom(40, 40));
    again.reset();
    QCOMPARE(journalFiles(broken), QStringList());
}

void TestSessionJournal::anIndexThatCannotBeOpened()
{
    QFETCH(QString, name);
    const QString folder = fresh();
    {
        const auto session = Session::create(folder, nullptr);
        const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
        QVERIFY(store->addSamples(samplesFrom(0, 40)));
        QVERIFY(session->save());
    }
    const QString path = folder + QStringLiteral("/S1-PM1/") + name;
    QVERIFY(!QFile::exists(path) || QFile::remove(path));
    QVERIFY(QFile::link(path, path)); // the system opens no such thing
    SessionError error;
    const auto session = Session::load(folder, &error);
    QVERIFY2(session, qPrintable(error.text));
    QCOMPARE(allOf(*session->store(QStringLiteral("S1"))), samplesFrom(0, 40));
    QVERIFY(QFile::remove(path));
    QVERIFY(session->store(QStringLiteral("S1"))->addSamples(samplesFrom(40, 40)));
    QVERIFY(session->save());
}

void TestSessionJournal::anIndexThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("index") << QStringLiteral("index.dat");
    QTest::newRow("backup") << QStringLiteral("index.dat.bakup");
}

void TestSessionJournal::aFileInThePlaceOfTheJournal()
{
    const QString folder = fresh();
    QVERIFY(Session::create(folder, nullptr)->save());
    QFile file(folder + QStringLiteral("/journal"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("in the way") > 0);
    file.close();
    SessionError error;
    const auto session = Session::load(folder, &error);
    QVERIFY2(session, qPrintable(error.text));
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    QVERIFY(QFile::exists(folder + QStringLiteral("/journal.kept")));
}

void TestSessionJournal::readOnlySeesTheJournal()
{
    const QString folder = fresh();
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(session->save());
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    const QStringList before = filesBelow(folder);
    const auto reader = Session::loadReadOnly(folder, nullptr);
    QCOMPARE(allOf(*reader->store(QStringLiteral("S1"))), samplesFrom(0, 40));
    QVERIFY(!reader->journal());
    QCOMPARE(filesBelow(folder), before);
}

void TestSessionJournal::cleanEndLeavesNoJournal()
{
    const QString folder = fresh();
    auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    QCOMPARE(journalFiles(folder).size(), 1);
    QVERIFY(session->save());
    session.reset();
    QVERIFY(journalFiles(folder).isEmpty());
    bool durable = false;
    store->whenDurable(this, [&](bool ok) { durable = ok; });
    QVERIFY2(durable, "a store that outlives its session has no log");
}

void TestSessionJournal::lookingLeavesNoJournal()
{
    const QString folder = fresh();
    auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(session->save());
    session.reset();
    const QStringList before = filesBelow(folder);
    session = Session::load(folder, nullptr);
    session.reset();
    QCOMPARE(filesBelow(folder), before);
}

void TestSessionJournal::failedSaveKeepsTheJournal()
{
    const QString folder = fresh();
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    const QString index = folder + QLatin1Char('/') + store->folderName() + QStringLiteral("/index.dat");
    QVERIFY(QDir().mkpath(index + QStringLiteral("/inside")));
    QVERIFY(!session->save());
    QTest::qWait(20);
    QCOMPARE(journalFiles(folder).size(), 1);
    QVERIFY(QDir(index).removeRecursively());
    QVERIFY(session->save());
    QVERIFY(isGone(folder));
}

void TestSessionJournal::removedSensor()
{
    const QString folder = fresh();
    auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    QVERIFY(session->removeSensor(QStringLiteral("S1")));
    QVERIFY(isGone(folder));
    const QString killed = fresh();
    QVERIFY(copySession(folder, killed));
    QVERIFY2(Session::load(killed, nullptr)->sensors().isEmpty(), "the journal does not bring it back");
    session.reset();
    QVERIFY2(store->addSamples(samplesFrom(40, 1)), "its log is gone with the session");
}

QTEST_GUILESS_MAIN(TestSessionJournal)
#include "tst_sessionjournal.moc"
