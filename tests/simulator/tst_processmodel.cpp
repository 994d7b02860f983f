#include "data/eventtypelist.h"
#include "simulator/processmodel.h"

#include <QTest>

#include <cmath>

namespace {

struct Recording
{
    QVector<SamplePoint> samples;
    QVector<SimulatedEvent> events;
};

Recording record(ProcessModel model, int count)
{
    Recording result;
    for (int i = 0; i < count; ++i)
        result.samples.append(model.nextSample(result.events));
    return result;
}

bool same(const Recording &a, const Recording &b)
{
    if (a.samples != b.samples || a.events.size() != b.events.size())
        return false;
    for (int i = 0; i < a.events.size(); ++i) {
        if (a.events[i].timeUs != b.events[i].timeUs || a.events[i].waveform.raw != b.events[i].waveform.raw)
            return false;
    }
    return true;
}

ProcessSettings settings(quint64 seed = 1, int rate = 50)
{
    ProcessSettings s;
    s.seed = seed;
    s.rate = rate;
    return s;
}

/// "0.4 s off, 3.1 s on, ..." as lengths in samples, the sign telling on from off.
QVector<int> stretches(const QVector<SamplePoint> &samples, double threshold)
{
    QVector<int> result;
    for (const SamplePoint &sample : samples) {
        const int sign = sample.voltage >= threshold ? 1 : -1;
        if (result.isEmpty() || (result.last() > 0) != (sign > 0))
            result.append(0);
        result.last() += sign;
    }
    return result;
}

/// What a detector measures on a waveform: the class levels follow from it.
ArcShape measured(const RawWaveform &waveform)
{
    const int points = waveform.points();
    const auto voltage = [&](int i) { return double(waveform.raw[3 * i]) * double(waveform.voltageScale); };
    double base = 0;
    for (int i = 0; i < points / 10; ++i)
        base += voltage(i) / (points / 10);
    double largest = 0;
    for (int i = 0; i < points; ++i)
        largest = std::max(largest, std::fabs(voltage(i) - base));
    ArcShape shape{0, 100 * largest / std::fabs(base)};
    for (int i = 0; i < points; ++i)
        shape.lengthUs += std::fabs(voltage(i) - base) >= largest / 2 ? 1 : 0;
    return shape;
}

} // namespace

class tst_ProcessModel : public QObject
{
    Q_OBJECT

private slots:
    void sameSeedSameData()
    {
        const Recording first = record(ProcessModel(settings(7)), 3000);
        QVERIFY(same(first, record(ProcessModel(settings(7)), 3000)));
        QVERIFY(!same(first, record(ProcessModel(settings(8)), 3000)));
    }

    void copyContinuesTheSequence()
    {
        ProcessModel model(settings(3));
        QVector<SimulatedEvent> events;
        for (int i = 0; i < 700; ++i)
            model.nextSample(events);
        const ProcessModel copy = model;
        QVERIFY(same(record(copy, 500), record(model, 500)));
    }

    void runsFollowTheBuiltInRecipe()
    {
        // 1 s off, 9 s on, about 5 s off. Short interruptions may cut a run, so only count what lasts.
        const Recording recording = record(ProcessModel(settings(1, 50)), 50 * 14);
        const QVector<int> lengths = stretches(recording.samples, 20);
        QVERIFY(lengths.size() >= 3);
        QVERIFY2(std::abs(lengths.first() + 50) <= 2, qPrintable(QString::number(lengths.first())));
        int longest = 0;
        for (int length : lengths)
            longest = std::max(longest, length);
        QVERIFY(longest > 50 * 4);
        QVERIFY(lengths.last() < -50 * 3);
        QVERIFY(!recording.events.isEmpty());
    }

    void uploadedRecipeIsFollowed()
    {
        Recipe recipe;
        recipe.initDefault(2);
        recipe.setDuration(0, 3);
        recipe.setDuration(1, 2);
        recipe.setPulseEnabled(1, true);
        recipe.setPulseFrequency(1, 200);
        ProcessSettings s = settings(5, 100);
        s.arcsPerMinute = 0;
        ProcessModel model(s);
        model.setRecipe(recipe);
        const Recording recording = record(model, 900);
        // Sample k is taken at 10 * k ms: RF from 1 s, the pulsed step from 4 s to 6 s.
        const auto &samples = recording.samples;
        QVERIFY(samples[98].voltage < 5);
        QVERIFY(samples[250].voltage > 100 && samples[250].numberOfPulses == 0);
        QCOMPARE(samples[500].numberOfPulses, 2);
        QVERIFY(std::fabs(samples[500].pulsePeriod - 5000) < 5);
        QVERIFY(samples[500].voltage > 50);
        QVERIFY(samples[610].voltage < 5);
        QVERIFY(recording.events.isEmpty());
    }

    void recipeAsksForSnapshots()
    {
        Recipe recipe;
        recipe.initDefault(1);
        recipe.setDuration(0, 5);
        recipe.setSnapshotEnabled(0, true);
        recipe.setSnapshotDelay(0, 500000);
        recipe.setSnapshotNumber(0, 6);
        ProcessSettings s = settings(5, 20);
        s.arcsPerMinute = 0;
        ProcessModel model(s);
        model.setRecipe(recipe);
        const Recording recording = record(model, 20 * 7);
        // One run from 1 s to 6 s, the first second of the step skipped: snapshots from 2.5 s on, every half second.
        QCOMPARE(recording.events.size(), 6);
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(int(recording.events[i].typeCode), int(eventtype::Snapshot));
            QVERIFY(std::abs(recording.events[i].timeUs - (2500000 + i * 500000)) <= 50000);
        }
    }

    void countersCountTheEventsOfTheirInterval()
    {
        ProcessSettings s = settings(11, 20);
        s.arcsPerMinute = 1200;
        const Recording recording = record(ProcessModel(s), 1200);
        QVERIFY(recording.events.size() > 100);
        quint64 from = 0;
        int event = 0;
        for (const SamplePoint &sample : recording.samples) {
            std::array<qint32, 10> counts{};
            for (; event < recording.events.size() && quint64(recording.events[event].timeUs) <= sample.time; ++event) {
                QVERIFY(quint64(recording.events[event].timeUs) > from);
                const int position = eventtype::countIndex(recording.events[event].typeCode);
                if (position >= 0)
                    ++counts[std::size_t(position)];
            }
            QCOMPARE(sample.eventCounts, counts);
            from = sample.time;
        }
        QCOMPARE(event, recording.events.size());
    }

    void waveformBelongsToItsClass_data()
    {
        QTest::addColumn<int>("typeCode");
        for (int code = eventtype::E11; code <= eventtype::E33; ++code)
            QTest::newRow(qPrintable(eventtype::name(code))) << code;
    }

    void waveformBelongsToItsClass()
    {
        QFETCH(int, typeCode);
        const double lengths[] = {0, 50, 100, 500};
        const double amplitudes[] = {10, 20, 50, 100};
        ProcessModel model(settings(quint64(typeCode) + 1));
        for (int i = 0; i < 20; ++i) {
            QVector<SimulatedEvent> events;
            model.nextSampleWith({typeCode}, events);
            QCOMPARE(events.size(), 1);
            QCOMPARE(events[0].waveform.points(), 1000);
            const ArcShape shape = measured(events[0].waveform);
            const int length = typeCode / 3;
            const int amplitude = typeCode % 3;
            QVERIFY2(shape.lengthUs > lengths[length] && shape.lengthUs <= lengths[length + 1],
                     qPrintable(QStringLiteral("length %1").arg(shape.lengthUs)));
            // Noise only makes it larger; drawn well inside the class, it stays clear of the lower border.
            const double border = amplitudes[amplitude];
            const double next = amplitudes[amplitude + 1];
            QVERIFY2(shape.amplitudePercent >= border + 0.2 * (next - border) && shape.amplitudePercent < next,
                     qPrintable(QStringLiteral("amplitude %1").arg(shape.amplitudePercent)));
        }
    }

    void sampleTimesAreWholeAndRise_data()
    {
        QTest::addColumn<int>("rate");
        for (int rate : {1, 3, 50, 300, 999, 1000})
            QTest::newRow(qPrintable(QString::number(rate))) << rate;
    }

    void sampleTimesAreWholeAndRise()
    {
        QFETCH(int, rate);
        const Recording recording = record(ProcessModel(settings(1, rate)), rate * 3);
        for (int i = 1; i < recording.samples.size(); ++i)
            QVERIFY(recording.samples[i].time >= recording.samples[i - 1].time + 1000);
        QCOMPARE(recording.samples.last().time, quint64(3000000));
    }

    void singleSlotSensorMeasuresNoSecondSlot()
    {
        ProcessSettings s = settings(2, 100);
        s.singleSlot = true;
        s.arcsPerMinute = 600;
        const Recording recording = record(ProcessModel(s), 1000);
        bool pulsed = false;
        for (const SamplePoint &sample : recording.samples) {
            pulsed = pulsed || sample.slot1OnTime > 0;
            QCOMPARE(sample.slot2OnTime, 0);
            QCOMPARE(sample.slot2VoltageAvg, 0.0);
            QVERIFY(sample.eventCounts == (std::array<qint32, 10>{}));
        }
        QVERIFY(pulsed);
        QVERIFY(!recording.events.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_ProcessModel)
#include "tst_processmodel.moc"
