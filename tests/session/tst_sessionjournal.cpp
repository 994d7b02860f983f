#include "data/journal.h"
#include "sessionfixture.h"

#include <QtTest>

namespace {

QStringList journalFiles(const QString &folder)
{
    return QDir(folder + QStringLiteral("/journal")).entryList(QDir::Files);
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
    for (int i = 0; i < 200 && !journalFiles(folder).isEmpty(); ++i)
        QTest::qWait(5);
    QVERIFY(journalFiles(folder).isEmpty());
}

void TestSessionJournal::removedSensor()
{
    const QString folder = fresh();
    auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samplesFrom(0, 40)));
    QVERIFY(settle(*store));
    QVERIFY(session->removeSensor(QStringLiteral("S1")));
    for (int i = 0; i < 200 && !journalFiles(folder).isEmpty(); ++i)
        QTest::qWait(5);
    const QString killed = fresh();
    QVERIFY(copySession(folder, killed));
    QVERIFY2(Session::load(killed, nullptr)->sensors().isEmpty(), "the journal does not bring it back");
    session.reset();
    QVERIFY2(store->addSamples(samplesFrom(40, 1)), "its log is gone with the session");
}

QTEST_GUILESS_MAIN(TestSessionJournal)
#include "tst_sessionjournal.moc"
