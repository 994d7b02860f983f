#include "base/jobprogress.h"
#include "data/eventtypelist.h"
#include "events/eventmatching.h"

#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <random>

namespace {

eventType type(const char *name, double magnitude, qint32 duration, qint32 direction)
{
    eventType result;
    result.name = QLatin1String(name);
    result.magnitude = magnitude;
    result.duration = duration;
    result.direction = direction;
    return result;
}

/// Events kept in memory by time; waveforms come as from a file.
class Events final : public abstractNorvexData
{
public:
    QVector<EventRecord> events;
    QHash<EventKey, QVector<SamplePoint>> waveforms;
    mutable int read = 0;
    mutable int largestPiece = 0;

    void add(quint64 time, int code, const QVector<double> &voltages)
    {
        EventRecord event;
        event.time = time;
        event.typeCode = code;
        QVector<SamplePoint> waveform(voltages.size());
        for (int i = 0; i < voltages.size(); ++i) {
            waveform[i].time = time + quint64(i);
            waveform[i].voltage = voltages.at(i);
        }
        event.snapshot2 = waveform.first();
        event.snapshot1 = *std::max_element(waveform.begin(), waveform.end(), [&](const auto &a, const auto &b) {
            return std::abs(a.voltage - voltages.first()) < std::abs(b.voltage - voltages.first());
        });
        events.append(event);
        waveforms.insert(keyOf(event), waveform);
    }

    QString sensorSerial() const override { return {}; }
    QString chamberSerial() const override { return {}; }
    quint64 firstTime() const override { return events.isEmpty() ? 0 : events.first().time; }
    quint64 lastTime() const override { return events.isEmpty() ? 0 : events.last().time; }
    bool samplesInRange(quint64, quint64, QVector<SamplePoint> &) const override { return true; }
    QVector<RunRecord> runsInRange(quint64, quint64) const override { return {}; }
    QVector<EventRecord> eventsInRange(quint64 from, quint64 to) const override
    {
        const auto before = [](const EventRecord &event, quint64 time) { return event.time < time; };
        const auto first = std::lower_bound(events.begin(), events.end(), from, before);
        const auto last = std::lower_bound(events.begin(), events.end(), to, before);
        QVector<EventRecord> found;
        std::copy(first, std::max(first, last), std::back_inserter(found));
        largestPiece = std::max(largestPiece, found.size());
        return found;
    }
    QVector<SamplePoint> waveform(const EventKey &event) const override
    {
        ++read;
        return waveforms.value(event);
    }
};

QVector<double> pulse(double base, double height, int length)
{
    QVector<double> voltages(40, base);
    std::fill_n(voltages.begin() + 10, length, base + height);
    return voltages;
}

} // namespace

class tst_EventMatching : public QObject
{
    Q_OBJECT

private slots:
    void namesAndCounts();
    void snapshotsNeverHideAMatch();
    void piecesFollowTheDensity();
    void aCancelledOneSaysSo();
    void onlyTheLastJobArrivesAndReadsWhatIsNew();
};

void tst_EventMatching::namesAndCounts()
{
    Events data;
    data.add(1000, eventtype::E11, pulse(100, 50, 20));
    data.add(2000, eventtype::E22, pulse(100, -50, 20));
    data.add(3000, eventtype::E22, pulse(100, 50, 3)); // too short
    data.add(4000, eventtype::Snapshot, pulse(100, 0, 20));
    data.events.last().named = true;
    data.events.last().name = QStringLiteral("mine");
    const QVector<eventType> types{eventType::builtIn(QStringLiteral("E11")), type("up", 40, 10, eventType::Superior),
                                   type("any", 30, 10, eventType::Either)};
    JobProgress progress;
    const EventMatches found = matchEvents(data, types, progress);
    QCOMPARE(found.names.size(), 2);
    QCOMPARE(found.names.value({1000, eventtype::E11}), QStringLiteral("up"));
    QCOMPARE(found.names.value({2000, eventtype::E22}), QStringLiteral("any"));
    QCOMPARE(found.counts.value(QStringLiteral("E22")), 1);
    QCOMPARE(found.counts.value(QStringLiteral("mine")), 1);
    QCOMPARE(found.counts.size(), 4);
    QCOMPARE(progress.done(), progress.total());
    QCOMPARE(data.read, 3); // the flat one was not asked for
}

void tst_EventMatching::snapshotsNeverHideAMatch()
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> volts(-300, 300);
    int matched = 0;
    int spared = 0;
    for (int round = 0; round < 2000; ++round) {
        Events data;
        QVector<double> voltages;
        for (int i = 0; i < 40; ++i)
            voltages.append(volts(random) * (round % 3 == 0 ? 0.1 : 1));
        data.add(1000, eventtype::E11, voltages);
        const QVector<eventType> types{type("t", std::abs(volts(random)) * 4, int(random() % 3), int(random() % 3))};
        const bool matches = types.first().matches(data.waveforms.begin().value());
        matched += matches;
        if (!canMatch(data.events.first(), types)) {
            ++spared;
            QVERIFY(!matches);
        }
    }
    QVERIFY(matched > 100 && spared > 100);
    EventRecord bare; // read from a list without snapshots
    QVERIFY(canMatch(bare, {type("t", 1e9, 0, eventType::Either)}));
    QVERIFY(!canMatch(bare, {eventType::builtIn(QStringLiteral("E11"))}));
}

void tst_EventMatching::piecesFollowTheDensity()
{
    constexpr quint64 day = 86400ULL * 1000000;
    Events data;
    QVector<double> flat(4, 1.0);
    for (quint64 i = 0; i < 100; ++i) // silence for months, then 60,000 events in six minutes
        data.add((i + 1) * day, eventtype::E11, flat);
    for (quint64 i = 0; i < 60000; ++i)
        data.add(200 * day + i * 6000, eventtype::E12, flat);
    JobProgress progress;
    const EventMatches found = matchEvents(data, {type("big", 10, 0, eventType::Either)}, progress);
    QCOMPARE(found.counts.value(QStringLiteral("E11")), 100);
    QCOMPARE(found.counts.value(QStringLiteral("E12")), 60000);
    QCOMPARE(data.read, 0);
}

void tst_EventMatching::aCancelledOneSaysSo()
{
    Events data;
    data.add(1000, eventtype::E11, pulse(100, 50, 20));
    JobProgress progress;
    progress.cancel();
    const EventMatches found = matchEvents(data, {type("t", 1, 0, eventType::Either)}, progress);
    QVERIFY(found.cancelled);
    QCOMPARE(data.read, 0);
}

void tst_EventMatching::onlyTheLastJobArrivesAndReadsWhatIsNew()
{
    auto data = std::make_shared<Events>();
    data->add(1000, eventtype::E11, pulse(100, 50, 20));
    EventMatchJob job;
    QVector<EventMatches> arrived;
    connect(&job, &EventMatchJob::finished, this, [&](const EventMatches &found) { arrived.append(found); });
    job.start(std::make_shared<Events>(), {type("first", 1, 0, eventType::Either)});
    job.start(data, {type("second", 1, 0, eventType::Either)});
    QVERIFY(job.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), 1, 20000);
    QVERIFY(!job.isRunning());
    QCOMPARE(arrived.first().names.value({1000, eventtype::E11}), QStringLiteral("second"));
    QCOMPARE(data->read, 1);
    data->add(2000, eventtype::E11, pulse(100, 50, 20)); // the next pass reads only the new one
    job.start(data, {type("second", 1, 0, eventType::Either)});
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), 2, 20000);
    QCOMPARE(arrived.last().names.size(), 2);
    QCOMPARE(data->read, 2);
    job.start(data, {});
    job.cancel();
    job.start(data, {type("third", 1, 0, eventType::Either)});
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), 3, 20000);
    QCOMPARE(arrived.last().names.value({1000, eventtype::E11}), QStringLiteral("third"));
}

QTEST_GUILESS_MAIN(tst_EventMatching)
#include "tst_eventmatching.moc"
