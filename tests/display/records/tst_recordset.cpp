#include "data/runsearch.h"
#include "data/valuetype.h"
#include "display/chamberstore.h"
#include "display/records/runanalysis.h"
#include "display/records/storesource.h"
#include "display/records/typenumbers.h"
#include "display/views/eventlistmodel.h"
#include "display/views/runlistmodel.h"

#include <QtTest>

#include <numeric>

using namespace chamber;

namespace {

const std::atomic<bool> goOn{false};

QVector<SamplePoint> samplesOf(const norvexData &store, quint64 from = 0, quint64 to = ~quint64(0))
{
    QVector<SamplePoint> samples;
    store.samplesInRange(from, to, samples);
    return samples;
}

QVector<SessionRecords::Sensor> sensorsOf(const std::shared_ptr<norvexData> &store)
{
    const auto records = std::make_shared<const RecordSet>(readRecords(*store, {}, goOn));
    return {{{store->sensorSerial(), QStringLiteral("SN1 Etch"), store, Qt::red, true}, records, true}};
}

EventRecord eventAt(quint64 time, int code)
{
    EventRecord event;
    event.time = time;
    event.typeCode = code;
    return event;
}

int eventsIn(const RunRow &run)
{
    return std::accumulate(run.counts.begin(), run.counts.end(), 0);
}

QString brief(const RecordSet &set)
{
    QString text;
    for (const RunRow &run : set.runs)
        text += QStringLiteral("run %1 %2 %3\n").arg(run.number).arg(run.record.start).arg(eventsIn(run));
    for (const EventRow &event : set.events)
        text += QStringLiteral("%1 %2 run %3 step %4\n")
                    .arg(event.time)
                    .arg(set.nameOf(event))
                    .arg(event.run)
                    .arg(event.step);
    return text;
}

} // namespace

class TestRecordSet : public QObject
{
    Q_OBJECT

private slots:
    void countsAreThoseOfTheStore();
    void readingOnGivesTheSame();
    void typesOfTheUserNameEvents();
    void stepMeansAreThoseOfTheSamples();
    void searchGoesAcrossBlocks_data();
    void searchGoesAcrossBlocks();
    void searchIsCancelled();
    void runList();
    void eventList();
    void rowsThatComeAreInserted();
};

void TestRecordSet::countsAreThoseOfTheStore()
{
    const auto data = store(7);
    const RecordSet set = readRecords(*data, {}, goOn);
    QCOMPARE(set.runs.size(), data->runCount());
    QCOMPARE(set.runs.size(), 7);
    QCOMPARE(set.events.size(), data->eventCount());
    for (const RunRow &run : set.runs) {
        QVector<int> counts(eventtype::builtInCount);
        const auto inside = data->eventsInRange(run.record.start, run.record.end + 1);
        for (const EventRecord &event : inside)
            ++counts[event.effectiveCode()];
        QCOMPARE(run.counts, counts);
        QVERIFY(eventsIn(run) > 0);
    }
    const int first = set.findEvent(set.events.first().time, 5);
    QCOMPARE(set.events.at(first).step, 1);
    QCOMPARE(set.events.at(first).amplitude, -120.0);
    QCOMPARE(set.events.at(first).end - set.events.at(first).time, quint64(199));
    const auto snapshot =
        std::find_if(set.events.begin(), set.events.end(), [](const EventRow &e) { return e.type == 11; });
    QCOMPARE(snapshot->run, 2);
    QCOMPARE(snapshot->step, -1); // the recipe is over by then
}

void TestRecordSet::readingOnGivesTheSame()
{
    const auto data = store(12);
    const RecordSet before = readRecords(*data, {}, goOn);
    data->addEvent(eventAt(data->lastTime(), 3));
    data->addEvent(eventAt(data->lastTime() - 5 * second, 2));
    RecordReading on;
    on.known = std::make_shared<const RecordSet>(before);
    const RecordSet after = readRecords(*data, on, goOn);
    QCOMPARE(brief(after), brief(readRecords(*data, {}, goOn)));
    QVector<EventRow> added;
    QVERIFY(addedEvents(before, after, added));
    QCOMPARE(added.size(), 2);
    QVERIFY(!addedEvents(after, before, added));
}

void TestRecordSet::typesOfTheUserNameEvents()
{
    const auto data = store(3); // three E23, 120 V below for 1 us, and a snapshot
    const auto named = [&data](const RecordReading &reading) { return readRecords(*data, reading, goOn); };
    eventType dip;
    dip.name = QStringLiteral("dip");
    dip.magnitude = 100;
    dip.direction = eventType::Inferior;
    RecordReading reading;
    reading.numbers = std::make_shared<TypeNumbers>();
    reading.userTypes = {dip};
    reading.patienceMs = 0; // no time to compare: own names meanwhile
    RecordSet set = named(reading);
    QCOMPARE(set.compared, 0);
    QCOMPARE(set.counts().value(5), 3);
    reading.known = std::make_shared<const RecordSet>(set);
    reading.patienceMs = 60000;
    set = named(reading);
    QCOMPARE(set.compared, set.events.size());
    const int number = set.typeNames.indexOf(dip.name);
    QCOMPARE(set.counts().value(number), 4); // the snapshot's waveform falls, too
    QCOMPARE(set.runs.first().count(number), 1);
    QCOMPARE(set.runs.first().count(5), 0);
    QVector<EventRow> added;
    QVERIFY(!addedEvents(*reading.known, set, added));
    // What was compared stays so when more comes; of a type that is tried no longer nothing stays.
    data->addEvent(eventAt(data->lastTime(), 3));
    reading.known = std::make_shared<const RecordSet>(set);
    set = named(reading);
    QCOMPARE(set.counts().value(number), 4);
    QCOMPARE(set.compared, set.events.size());
    reading.known = std::make_shared<const RecordSet>(set);
    reading.userTypes.clear();
    reading.patienceMs = 0;
    set = named(reading);
    QCOMPARE(set.counts().value(number), 0);
    QCOMPARE(set.counts().value(5), 3);
}

void TestRecordSet::stepMeansAreThoseOfTheSamples()
{
    const auto data = store(3);
    const RunRecord run = data->runsInRange(0, ~quint64(0)).at(1);
    const QVector<StepMeans> steps = stepMeans(StoreSource(data), run, goOn);
    QCOMPARE(steps.size(), 3);
    for (int i = 0; i < steps.size(); ++i) {
        const quint64 from = run.start + second / 10 + quint64(i) * 4 * second;
        const QVector<SamplePoint> samples = samplesOf(*data, from, from + 4 * second);
        double voltage = 0;
        for (const SamplePoint &sample : samples)
            voltage += sample.voltage;
        QCOMPARE(steps.at(i).samples, 40);
        QCOMPARE(steps.at(i).means.at(Voltage), voltage / samples.size());
        QVERIFY(qAbs(steps.at(i).means.at(Current) - 5.0) < 0.1);
    }
}

void TestRecordSet::searchGoesAcrossBlocks_data()
{
    QTest::addColumn<double>("threshold");
    QTest::newRow("all of a run") << 100.0;
    QTest::newRow("its peaks only") << 208.0;
    QTest::newRow("nothing") << 1000.0;
}

// A run of 1,200 s has 12,000 samples: it begins in one block and ends in the next.
void TestRecordSet::searchGoesAcrossBlocks()
{
    QFETCH(double, threshold);
    const auto data = store(2, 1200);
    QVERIFY(data->blockCount() > 1);
    QVector<RunStretch> expected;
    searchRuns(samplesOf(*data), threshold, expected);
    int pieces = 0;
    const SearchResult result = searchAgain(
        StoreSource(data), readRecords(*data, {}, goOn), threshold, [&pieces] { ++pieces; }, goOn);
    QVERIFY(result.complete);
    QCOMPARE(pieces, data->blockCount());
    QCOMPARE(result.records.runs.size(), expected.size());
    int events = 0;
    for (int i = 0; i < expected.size(); ++i) {
        const RunRecord &found = result.records.runs.at(i).record;
        QCOMPARE(found.start, expected.at(i).start);
        QCOMPARE(found.end, expected.at(i).end);
        QCOMPARE(found.meanVoltage, expected.at(i).meanVoltage);
        QCOMPARE(found.meanCurrent, expected.at(i).meanCurrent);
        events += eventsIn(result.records.runs.at(i));
    }
    if (threshold < 200)
        QCOMPARE(events, 2);
}

void TestRecordSet::searchIsCancelled()
{
    const auto data = store(2, 1200);
    std::atomic<bool> cancelled{false};
    int pieces = 0;
    searchAgain(
        StoreSource(data), {}, 100,
        [&] {
            ++pieces;
            cancelled = true;
        },
        cancelled);
    QCOMPARE(pieces, 1);
}

void TestRecordSet::runList()
{
    const auto data = store(9);
    RunListModel model(nullptr);
    model.setSensors(sensorsOf(data));
    model.setTypes({5, 11}, eventtype::names());
    QCOMPARE(model.rowCount(), 9);
    QCOMPARE(model.text({2}).split(QLatin1Char('\n')).value(1).section(QLatin1Char('\t'), -3), // all, and of each type
             QStringLiteral("2\t1\t1"));
    const auto cell = [&](int row, int column) { return model.index(row, column).data().toString(); };
    const QVector<RunRecord> runs = data->runsInRange(0, ~quint64(0));
    for (int row = 0; row < runs.size(); ++row) {
        QCOMPARE(cell(row, RunListModel::MeanVoltage), QString::number(runs.at(row).meanVoltage, 'f', 2));
        QCOMPARE(cell(row, RunListModel::Duration),
                 QString::number(double(runs.at(row).end - runs.at(row).start) * 1e-6, 'f', 3));
        QCOMPARE(cell(row, RunListModel::RecipeName), QStringLiteral("Oxide"));
    }
    model.sort(RunListModel::MeanVoltage, Qt::DescendingOrder);
    QCOMPARE(model.run(0)->number, 5);
    QCOMPARE(model.run(8)->number, 1);
    model.setPeriod({runs.at(3).start + second, runs.at(4).start});
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(model.run(0)->number, 4);
    QCOMPARE(model.total(), 9);
    model.setPeriod({});
    model.setSearch(QStringLiteral("oxi etch"));
    QCOMPARE(model.rowCount(), 9);
    model.setSearch(QStringLiteral("nitride"));
    QCOMPARE(model.rowCount(), 0);
}

void TestRecordSet::eventList()
{
    const auto data = store(6);
    data->addEvent(eventAt(origin, 0)); // without a waveform, outside every run
    EventListModel model({}, nullptr);
    model.setSensors(sensorsOf(data));
    QCOMPARE(model.rowCount(), data->eventCount());
    QCOMPARE(model.text({1}).section(QLatin1Char('\n'), 1, 1),
             QStringLiteral("E23\t%1\t-120.0\t60.0\t199\t1\tStep 2\tSN1 Etch")
                 .arg(model.timeAxis().moment(model.eventAt(1)->time)));
    QCOMPARE(model.index(0, EventListModel::Run).data().toString(), QString());
    model.sort(EventListModel::Amplitude, Qt::AscendingOrder);
    QCOMPARE(model.eventAt(0)->typeCode, 0);
    model.setHiddenTypes({QStringLiteral("E23")});
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(model.rowOf({QStringLiteral("SN1"), origin, 0}), 0);
    model.setHiddenTypes({QStringLiteral("E23"), QStringLiteral("SNAP"), QStringLiteral("E11")});
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.total(), data->eventCount());
}

void TestRecordSet::rowsThatComeAreInserted()
{
    const auto data = store(6);
    EventListModel model({}, nullptr);
    model.setSensors(sensorsOf(data));
    model.sort(EventListModel::Time, Qt::DescendingOrder);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy inserts(&model, &QAbstractItemModel::rowsInserted);
    const QPersistentModelIndex kept(model.index(2, 0));
    const quint64 time = model.eventAt(2)->time;
    data->addEvent(eventAt(data->lastTime() + 1, 4));
    data->addEvent(eventAt(data->lastTime() + 2, 4));
    model.setSensors(sensorsOf(data));
    QCOMPARE(inserts.count(), 1);
    QCOMPARE(kept.row(), 4);
    QCOMPARE(model.eventAt(kept.row())->time, time);
    QVERIFY(resets.isEmpty());
    model.sort(EventListModel::Length, Qt::AscendingOrder);
    QCOMPARE(resets.count(), 1);
}

QTEST_MAIN(TestRecordSet)
#include "tst_recordset.moc"
