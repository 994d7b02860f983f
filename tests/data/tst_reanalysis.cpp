#include "base/jobprogress.h"
#include "data/indexfile.h"
#include "data/reanalysis.h"
#include "storefixture.h"

#include <QtTest>

Q_DECLARE_METATYPE(SamplePoint)

namespace {

constexpr quint64 start = 1700000000000000ULL;

/// 100 samples a microsecond apart at `base` volts, of which `count` from the 50th on deviate by `deviation`.
QVector<SamplePoint> waveform(double base, double deviation, int count)
{
    QVector<SamplePoint> samples = row(start, 100, 1, base);
    for (int i = 50; i < 50 + count; ++i)
        samples[i].voltage = base + deviation;
    return samples;
}

EventRecord eventWith(quint64 time, qint32 code, const QVector<SamplePoint> &samples)
{
    EventRecord event;
    event.time = time;
    event.typeCode = code;
    event.samples = samples;
    return event;
}

} // namespace

class TestReanalysis : public QObject
{
    Q_OBJECT

private slots:
    void classes_data();
    void classes();
    void wholeStore();
    void cancelled();
};

void TestReanalysis::classes_data()
{
    QTest::addColumn<QVector<SamplePoint>>("samples");
    QTest::addColumn<QString>("name");
    // Defaults: at least 10, 20, 50 % and at most 50, 100, 500 us.
    QTest::newRow("short and small") << waveform(200, -20, 10) << "E11";
    QTest::newRow("just below the least") << waveform(200, -19.9, 10) << "NOTANEVENT";
    QTest::newRow("short and middle") << waveform(200, 40, 10) << "E12";
    QTest::newRow("short and large") << waveform(200, -150, 50) << "E13";
    QTest::newRow("negative base") << waveform(-200, 150, 10) << "E13";
    QTest::newRow("base of zero") << waveform(0, 1, 10) << "E13";
    QTest::newRow("flat") << waveform(200, 0, 10) << "NOTANEVENT";
    QTest::newRow("one sample") << waveform(200, 0, 0).mid(0, 1) << "NOTANEVENT";
    QTest::newRow("no samples") << QVector<SamplePoint>() << "NOTANEVENT";
    QVector<SamplePoint> slow = waveform(200, -150, 40);
    for (int i = 0; i < slow.size(); ++i)
        slow[i].time = start + quint64(i) * 2;
    QTest::newRow("80 us") << slow << "E23";
    for (int i = 0; i < slow.size(); ++i)
        slow[i].time = start + quint64(i) * 12;
    QTest::newRow("480 us") << slow << "E33";
    for (int i = 0; i < slow.size(); ++i)
        slow[i].time = start + quint64(i) * 13;
    QTest::newRow("520 us") << slow << "NOTANEVENT";
    QVector<SamplePoint> broken = waveform(200, -150, 10);
    broken[70].voltage = qQNaN();
    broken[71].time = 0;
    QTest::newRow("values that are none") << broken << "E13";
}

void TestReanalysis::classes()
{
    QFETCH(QVector<SamplePoint>, samples);
    const qint32 code = reanalysis::classOf(reanalysis::shapeOf(samples), SensorConfiguration());
    QTEST(eventtype::name(code), "name");
}

void TestReanalysis::wholeStore()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addSamples(row(start, 10)));
    QVERIFY(store->addEvent(eventWith(start, eventtype::E33, waveform(200, -150, 10))));    // becomes E13
    QVERIFY(store->addEvent(eventWith(start + 1, eventtype::E11, waveform(200, -20, 10)))); // stays
    QVERIFY(store->addEvent(eventWith(start + 2, eventtype::E22, {})));                     // cannot be looked at
    QVERIFY(store->addEvent(eventWith(start + 3, eventtype::PulseEvent, waveform(200, -150, 10))));
    QVERIFY(store->save(folder.session()));
    QVERIFY(store->addEvent(eventWith(start + 4, eventtype::E12, waveform(200, 1, 10)))); // in memory: no event
    const SensorConfiguration live = store->configuration();
    const QByteArray index = contentOf(folder.index());
    SensorConfiguration other;
    other.event1MinAmplitude = 9;

    JobProgress progress;
    const reanalysis::Outcome outcome = reanalysis::run(*store, folder.session(), other, &progress);
    QVERIFY2(outcome.kind == reanalysis::Outcome::Kind::Done, qPrintable(outcome.reason));
    QCOMPARE(progress.done(), qint64(4));
    QCOMPARE(outcome.events, 4);
    QCOMPARE(outcome.withoutWaveform, 1);
    const QMap<QPair<qint32, qint32>, int> transitions{{{eventtype::E33, eventtype::E13}, 1},
                                                       {{eventtype::E11, eventtype::E11}, 1},
                                                       {{eventtype::E22, eventtype::E22}, 1},
                                                       {{eventtype::E12, eventtype::NotAnEvent}, 1}};
    QCOMPARE(outcome.transitions, transitions);

    // The display shows the one or the other; waveforms are found in both, and what is stored is as before.
    store->setReanalysis(reanalysis::read(*store, folder.session()));
    QVERIFY(store->showsReanalysis());
    const QVector<EventRecord> shown = store->eventsInRange(0, start + 100);
    QCOMPARE(shown.size(), 5);
    QCOMPARE(shown[0].effectiveCode(), qint32(eventtype::E13));
    QCOMPARE(shown[4].effectiveCode(), qint32(eventtype::E12)); // was not stored yet
    QCOMPARE(store->waveform(keyOf(shown[0])).size(), 100);
    QCOMPARE(store->storedEvents(0, start + 100)[0].effectiveCode(), qint32(eventtype::E33));
    QCOMPARE(reanalysis::run(*store, folder.session(), other).transitions, transitions);
    store->setReanalysis(nullptr);
    QCOMPARE(store->eventsInRange(0, start + 100)[0].effectiveCode(), qint32(eventtype::E33));
    QCOMPARE(store->configuration(), live);
    QCOMPARE(contentOf(folder.index()), index);

    // The file is a whole index, with the configuration that was used.
    const IndexContent content = indexfile::read(contentOf(folder.file(reanalysis::fileName())));
    QVERIFY(content.complete && content.problems.isEmpty());
    QCOMPARE(content.sensorSerial, QStringLiteral("S1"));
    QCOMPARE(content.blocks.size(), 1);
    QVERIFY(content.configurationText.contains("Event1 Min Amplitude;9\n"));
}

void TestReanalysis::cancelled()
{
    const SensorFolder folder;
    const auto store = folder.newStore();
    QVERIFY(store->addEvent(eventWith(start, eventtype::E33, waveform(200, -150, 10))));
    JobProgress progress;
    progress.cancel();
    const auto outcome = reanalysis::run(*store, folder.session(), SensorConfiguration(), &progress);
    QVERIFY(outcome.kind == reanalysis::Outcome::Kind::Cancelled);
    QVERIFY(!QFile::exists(folder.file(reanalysis::fileName())));
    QString reason;
    QVERIFY(!reanalysis::read(*store, folder.session(), &reason));
    QVERIFY(!reason.isEmpty());
}

QTEST_GUILESS_MAIN(TestReanalysis)
#include "tst_reanalysis.moc"
