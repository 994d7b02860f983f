#include "data/eventfile.h"
#include "storefixture.h"

#include <QtTest>

#include <limits>

namespace {

constexpr quint64 start = 1700000000000000ULL;

/// Remembers what it is given; durable when told.
class FakeLog : public DurableLog
{
public:
    void append(const QString &folder, Record type, const QByteArray &payload) override
    {
        entries.append(QStringLiteral("%1 %2 %3").arg(folder).arg(int(type)).arg(payload.size()));
    }
    void whenDurable(QObject *, std::function<void(bool)> done) override { waiting = std::move(done); }

    QStringList entries;
    std::function<void(bool)> waiting;
};

QString blockSizes(const norvexData &store)
{
    QStringList sizes;
    for (const auto &block : store.blocks())
        sizes.append(QString::number(block->count()));
    return sizes.join(QLatin1Char(' '));
}

QString runsOf(const norvexData &store)
{
    QStringList texts;
    for (const RunRecord &run : store.runsInRange(0, ~quint64(0))) {
        texts.append(QStringLiteral("%1-%2 %3 V %4 A %5 steps")
                         .arg(double(run.start) * 1e-6)
                         .arg(double(run.end) * 1e-6)
                         .arg(run.meanVoltage)
                         .arg(run.meanCurrent)
                         .arg(run.stepMeans.size()));
    }
    return texts.join(QStringLiteral(", "));
}

SensorConfiguration threshold(double volts, quint32 switchOffMs)
{
    SensorConfiguration configuration;
    configuration.signalBaseThreshold = volts;
    configuration.minSwitchOffLength = switchOffMs;
    return configuration;
}

QVector<SamplePoint> withCurrent(QVector<SamplePoint> list, double amperes)
{
    for (SamplePoint &sample : list)
        sample.currentReal = sample.voltage > 0 ? amperes : 0;
    return list;
}

} // namespace

class TestNorvexData : public QObject
{
    Q_OBJECT

private slots:
    void nextSampleTimeSkipsGaps();
    void rollsOver();
    void duplicates_data();
    void duplicates();
    void craftedTimesShareNoHash();
    void blocksComeWithSamples();
    void newTimeLine();
    void rangesComeInTimeOrder();
    void events();
    void typeCodesAreNormalised_data();
    void typeCodesAreNormalised();
    void snapshots();
    void runs();
    void runMeansLeaveTheTailOut();
    void detectorSettings_data();
    void detectorSettings();
    void durableLog();
    void revisionRises();
};

void TestNorvexData::nextSampleTimeSkipsGaps()
{
    norvexData store;
    QCOMPARE(store.nextSampleTime(7), quint64(7));
    store.setTimeLine({true, 1000, 0});
    QVERIFY(store.addSamples(samples("10 20")));
    store.setTimeLine({true, 5000, 0});
    QVERIFY(store.addSamples(samples("900 901")));
    QCOMPARE(store.blockCount(), 2);
    for (const auto &[from, next] : {std::pair(0, 10), std::pair(15, 15), std::pair(21, 900), std::pair(902, 902)})
        QCOMPARE(store.nextSampleTime(quint64(from) * 1000000), quint64(next) * 1000000);
}

void TestNorvexData::rollsOver()
{
    norvexData store;
    QVERIFY(store.addSamples(row(start, 25000)));
    QCOMPARE(blockSizes(store), QStringLiteral("10000 10000 5000"));
    QCOMPARE(store.sampleCount(), quint64(25000));
    QCOMPARE(store.firstTime(), start);
    QCOMPARE(store.lastTime(), start + 24999000);
    QVERIFY(store.addSamples(row(start + 25000000, 20)));
    QCOMPARE(blockSizes(store), QStringLiteral("10000 10000 5020"));
}

// An index whose times all share one hash would take hours to open.
void TestNorvexData::craftedTimesShareNoHash()
{
    QSet<uint> hashes;
    for (quint64 i = 0; i < 10000; ++i)
        hashes << qHash(EventKey{i << 32 | i, int(i % 3)}, 7) << qHash(EventKey{i << 40, 0}, 7);
    QVERIFY(hashes.size() > 19900);
}

void TestNorvexData::duplicates_data()
{
    QTest::addColumn<int>("held");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("total");
    QTest::newRow("the newest again") << 100 << 99 << 1 << 100;
    QTest::newRow("overlapping page") << 100 << 90 << 20 << 110;
    QTest::newRow("inside an older block") << 15000 << 100 << 20 << 15000;
    QTest::newRow("the last of an older block") << 15000 << 9999 << 1 << 15000;
    QTest::newRow("over both blocks and beyond") << 15000 << 9990 << 5020 << 15010;
    QTest::newRow("page goes on into a new block") << 9990 << 9980 << 40 << 10020;
    QTest::newRow("all of it again") << 25000 << 0 << 25000 << 25000;
    QTest::newRow("at a full block") << 10000 << 9990 << 20 << 10010;
}

void TestNorvexData::duplicates()
{
    QFETCH(int, held);
    QFETCH(int, from);
    QFETCH(int, count);
    QFETCH(int, total);
    norvexData store;
    QVERIFY(store.addSamples(row(start, held)));
    QVERIFY(store.addSamples(row(start + static_cast<quint64>(from) * 1000, count)));
    QCOMPARE(everything(store), row(start, total));
}

void TestNorvexData::blocksComeWithSamples()
{
    norvexData store;
    QVERIFY(store.addSamples({}));
    QCOMPARE(store.blockCount(), 0);
    QCOMPARE(store.firstTime(), quint64(0));
    QVERIFY(store.addSamples(samples("1 3 2 3")));
    QCOMPARE(store.blockCount(), 1);
    QCOMPARE(store.lastTime(), quint64(3000000));
    QCOMPARE(timesOf(everything(store)), QStringLiteral("1 2 3"));
}

void TestNorvexData::newTimeLine()
{
    norvexData store;
    store.setConfiguration(threshold(20, 1000));
    store.setTimeLine({true, 0, 5000});
    QVERIFY(store.addSamples(samples("10:0 11:50 12:50")));
    QVERIFY(store.isInsideRun());
    store.setTimeLine({true, 0, 9000});
    QVERIFY(store.addSamples(samples("13:50")));
    QCOMPARE(store.blockCount(), 1);
    store.setTimeLine({true, -8000000, 100});
    QVERIFY(!store.isInsideRun());
    // Earlier than what is stored: the sensor's clock began anew.
    QVERIFY(store.addSamples(samples("5:0 6:50 7:0 9:0")));
    QCOMPARE(blockSizes(store), QStringLiteral("4 4"));
    QCOMPARE(store.takeFinishedRuns(), 1);
    QCOMPARE(runsOf(store), QStringLiteral("5.9-7 50 V 0 A 0 steps"));
    QCOMPARE(store.timeLine().baseUs, qint64(-8000000));
    // A damaged file may say anything; sums with these would overflow.
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    for (const SensorTimeLine &line : {SensorTimeLine{true, most, 1}, {true, -most, 1}, {true, 1, most}, {true, 1, -1}})
        store.setTimeLine(line);
    QCOMPARE(store.timeLine().baseUs, qint64(-8000000));
}

void TestNorvexData::rangesComeInTimeOrder()
{
    norvexData store;
    store.setTimeLine({true, 1, 1});
    QVERIFY(store.addSamples(samples("10 30 20")));
    store.setTimeLine({true, 2, 1});
    QVERIFY(store.addSamples(samples("15 25 35")));
    QVector<SamplePoint> out;
    QVERIFY(store.samplesInRange(15000000, 35000000, out));
    QCOMPARE(timesOf(out), QStringLiteral("15 20 25 30"));
    out.clear();
    QVERIFY(store.samplesInRange(40000000, 50000000, out));
    QVERIFY(out.isEmpty());
}

void TestNorvexData::events()
{
    norvexData store;
    QVERIFY(store.addEvent(arcAt(start + 20, eventtype::E11)));
    QVERIFY(store.addEvent(arcAt(start + 10, eventtype::E33)));
    QVERIFY2(store.addEvent(arcAt(start + 20, eventtype::E12)), "another type at the same time");
    QVERIFY(!store.addEvent(arcAt(start + 20, eventtype::E11)));
    QCOMPARE(store.eventCount(), 3);
    QCOMPARE(store.runCount(), 0);
    const QVector<EventRecord> all = store.eventsInRange(0, ~quint64(0));
    QCOMPARE(all.size(), 3);
    QCOMPARE(all[0].typeCode, qint32(eventtype::E33));
    QCOMPARE(all[1].typeCode, qint32(eventtype::E11));
    QVERIFY(!all[0].isSaved());
    QCOMPARE(store.eventsInRange(start + 10, start + 20).size(), 1);
    QCOMPARE(store.eventsInRange(start + 11, start + 21).size(), 2);
    QCOMPARE(store.waveform({start + 10, eventtype::E33}), arcAt(start + 10).samples);
    QVERIFY(store.waveform({start + 10, eventtype::E12}).isEmpty());
}

void TestNorvexData::typeCodesAreNormalised_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("stored");
    QTest::newRow("known") << 3 << "E11" << 3;
    QTest::newRow("last") << 11 << "" << 11;
    QTest::newRow("-1 with a name") << -1 << "E_PE" << 10;
    QTest::newRow("13 with a name") << 13 << "E12" << 1;
    QTest::newRow("300 without") << 300 << "what" << 9;
}

void TestNorvexData::typeCodesAreNormalised()
{
    QFETCH(int, code);
    QFETCH(QString, name);
    QFETCH(int, stored);
    const LogLines lines;
    norvexData store;
    EventRecord event = arcAt(start, code);
    event.name = name;
    QVERIFY(store.addEvent(event));
    const QVector<EventRecord> all = store.eventsInRange(start, start + 1);
    QCOMPARE(all.size(), 1);
    QCOMPARE(all[0].typeCode, stored);
    QVERIFY(all[0].name.isEmpty());
    QCOMPARE(lines.all().size(), code == stored ? 0 : 1);
}

void TestNorvexData::snapshots()
{
    norvexData store;
    QVERIFY(store.addEvent(arcAt(start)));
    EventRecord bare;
    bare.time = start + 100;
    bare.typeCode = eventtype::Snapshot;
    QVERIFY(store.addEvent(bare));
    const QVector<EventRecord> all = store.eventsInRange(start, start + 200);
    QCOMPARE(all.size(), 2);
    QCOMPARE(all[0].snapshot2.time, start);
    QCOMPARE(all[0].snapshot2.voltage, 100.0);
    QCOMPARE(all[0].snapshot1.time, start + 2);
    QCOMPARE(all[0].snapshot1.voltage, 20.0);
    QCOMPARE(all[0].snapshot3.time, start + 4);
    QCOMPARE(all[0].snapshot3.voltage, 90.0);
    for (const SamplePoint &snapshot : {all[1].snapshot1, all[1].snapshot2, all[1].snapshot3}) {
        SamplePoint expected;
        expected.time = start + 100;
        QCOMPARE(snapshot, expected);
    }
}

void TestNorvexData::runs()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    Recipe recipe;
    recipe.initDefault(2);
    store->setRecipe(recipe);
    store->setConfiguration(threshold(20, 2000));
    QVERIFY(store->addSamples(withCurrent(samples("9:0 10:40 11:60 12:0 13:80 14:0 15:0"), 3)));
    QCOMPARE(store->takeFinishedRuns(), 0);
    QVERIFY(store->isInsideRun());
    QVERIFY(store->addSamples(samples("16:0 17:0")));
    QVERIFY(!store->isInsideRun());
    QCOMPARE(store->takeFinishedRuns(), 1);
    QCOMPARE(store->takeFinishedRuns(), 0);
    const QString expected = QStringLiteral("9.9-14 45 V 2.25 A 2 steps");
    QCOMPARE(runsOf(*store), expected);
    QCOMPARE(store->runCount(), 1);
    QCOMPARE(store->eventCount(), 0);
    QVERIFY(store->eventsInRange(0, ~quint64(0)).isEmpty());

    QVERIFY(store->save(folder.session()));
    QCOMPARE(runsOf(*store), expected);
    const auto again = folder.load();
    QCOMPARE(runsOf(*again), expected);
    const QVector<RunRecord> loaded = again->runsInRange(0, ~quint64(0));
    QVERIFY(loaded[0].recipe == recipe);
    QCOMPARE(again->runsInRange(14000001, 20000000).size(), 0);
    QCOMPARE(again->runsInRange(14000000, 20000000).size(), 1);
    QCOMPARE(again->runsInRange(0, 9900000).size(), 0);
}

void TestNorvexData::runMeansLeaveTheTailOut()
{
    // The second run begins with the sample that ends the confirmation of the first.
    norvexData store;
    store.setConfiguration(threshold(20, 2000));
    QVERIFY(store.addSamples(samples("1:0 2:40 3:0 5:60 6:80 7:0 10:0")));
    QCOMPARE(store.takeFinishedRuns(), 2);
    QCOMPARE(runsOf(store), QStringLiteral("1.9-3 40 V 0 A 0 steps, 4.9-7 70 V 0 A 0 steps"));
}

void TestNorvexData::detectorSettings_data()
{
    QTest::addColumn<int>("configuredMs");
    QTest::addColumn<int>("recipeMs");
    QTest::addColumn<bool>("oneRun");
    QTest::newRow("configuration, long enough") << 1500 << 0 << true;
    QTest::newRow("configuration, too short") << 500 << 5000 << false;
    QTest::newRow("recipe") << 0 << 1500 << true;
    QTest::newRow("recipe, too short") << 0 << 500 << false;
    QTest::newRow("neither: 3 s") << 0 << 0 << true;
}

void TestNorvexData::detectorSettings()
{
    QFETCH(int, configuredMs);
    QFETCH(int, recipeMs);
    QFETCH(bool, oneRun);
    norvexData store;
    Recipe recipe;
    recipe.initDefault(1);
    recipe.setRfonoffSwitchTime(0, recipeMs);
    store.setRecipe(recipe);
    store.setConfiguration(threshold(60, static_cast<quint32>(configuredMs)));
    // 50 V is off; RF is off for a second between the two.
    QVERIFY(store.addSamples(samples("1:50 2:70 3:50 4:70 5:50 6:50 7:50 8:50 9:50")));
    QCOMPARE(store.takeFinishedRuns(), oneRun ? 1 : 2);
}

void TestNorvexData::durableLog()
{
    norvexData store;
    store.setFolderName(QStringLiteral("S1"));
    bool durable = false;
    store.whenDurable(this, [&](bool ok) { durable = ok; });
    QVERIFY(durable);

    FakeLog log;
    store.setDurableLog(&log);
    QVERIFY(store.addSamples(row(start, 3)));
    QVERIFY(store.addSamples(row(start, 2)));
    QVERIFY(store.addSamples(row(start, 5)));
    const EventRecord event = arcAt(start);
    QVERIFY(store.addEvent(event));
    QVERIFY(!store.addEvent(event));
    store.setTimeLine({true, 7, 8});
    store.setConfiguration(threshold(20, 1));
    store.setConfiguration(threshold(20, 1));
    QCOMPARE(log.entries.size(), 6);
    QVERIFY(log.entries.takeFirst().startsWith(QStringLiteral("S1 6 "))); // who it is
    QCOMPARE(log.entries[0], QStringLiteral("S1 1 %1").arg(3 * 196));
    QVERIFY(log.entries[1].startsWith(QStringLiteral("S1 1 ")));
    QCOMPARE(log.entries[2], QStringLiteral("S1 2 %1").arg(eventfile::encode(event).size()));
    QCOMPARE(log.entries[3], QStringLiteral("S1 5 16"));
    bool told = false;
    store.whenDurable(this, [&](bool ok) { told = ok; });
    QVERIFY(!told);
    log.waiting(true);
    QVERIFY(told);
}

void TestNorvexData::revisionRises()
{
    norvexData store;
    quint64 last = store.revision();
    QVERIFY(store.addSamples(row(start, 3)));
    QVERIFY(store.revision() > last);
    last = store.revision();
    QVERIFY(store.addEvent(arcAt(start)));
    QVERIFY(store.revision() > last);
    last = store.revision();
    QVERIFY(!store.addEvent(arcAt(start)));
    QCOMPARE(store.revision(), last);
}

QTEST_GUILESS_MAIN(TestNorvexData)
#include "tst_norvexdata.moc"
