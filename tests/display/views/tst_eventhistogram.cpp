#include "display/views/eventhistogram.h"
#include "display/views/histogramitem.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>

using Periods = CalendarPeriods;

namespace {

constexpr quint64 second = 1000000;
constexpr quint64 hour = 3600 * second;

quint64 utc(const char *text)
{
    QDateTime time = QDateTime::fromString(QLatin1String(text), QStringLiteral("yyyy-MM-dd HH:mm"));
    time.setTimeSpec(Qt::UTC);
    return quint64(time.toMSecsSinceEpoch()) * 1000;
}

} // namespace

class TestEventHistogram : public QObject
{
    Q_OBJECT

private slots:
    void periods_data();
    void periods();
    void hoursOfClockChangeDays();
    void periodsLeaveNothingOut_data();
    void periodsLeaveNothingOut();
    void anyOrderCountsTheSame();
    void barsKeepTheHighest();
};

void TestEventHistogram::periods_data()
{
    QTest::addColumn<int>("period");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<quint64>("time");
    QTest::addColumn<quint64>("from");
    QTest::addColumn<quint64>("hours");
    QTest::addColumn<QString>("text");
    const int local = int(TimeMode::Local);
    const QByteArray berlin = "Europe/Berlin";
    QTest::newRow("a day of UTC") << int(Periods::Day) << int(TimeMode::Utc) << berlin << utc("2024-10-27 12:00")
                                  << utc("2024-10-27 00:00") << quint64(24) << "Sun 27 Oct 2024, UTC";
    QTest::newRow("autumn day") << int(Periods::Day) << local << berlin << utc("2024-10-27 12:00")
                                << utc("2024-10-26 22:00") << quint64(25) << "Sun 27 Oct 2024, UTC+2";
    QTest::newRow("spring day") << int(Periods::Day) << local << berlin << utc("2024-03-31 21:59")
                                << utc("2024-03-30 23:00") << quint64(23) << "Sun 31 Mar 2024, UTC+1";
    QTest::newRow("the day after") << int(Periods::Day) << local << berlin << utc("2024-03-31 22:00")
                                   << utc("2024-03-31 22:00") << quint64(24) << "Mon 1 Apr 2024, UTC+2";
    QTest::newRow("autumn week") << int(Periods::Week) << local << berlin << utc("2024-10-27 22:30")
                                 << utc("2024-10-20 22:00") << quint64(169) << "Week from Mon 21 Oct 2024, UTC+2";
    QTest::newRow("week of UTC") << int(Periods::Week) << int(TimeMode::Utc) << berlin << utc("2024-10-27 23:59")
                                 << utc("2024-10-21 00:00") << quint64(168) << "Week from Mon 21 Oct 2024, UTC";
    QTest::newRow("a day without midnight")
        << int(Periods::Day) << local << QByteArray("America/Sao_Paulo") << utc("2018-11-04 12:00")
        << utc("2018-11-04 03:00") << quint64(23) << "Sun 4 Nov 2018, UTC-2";
    QTest::newRow("elapsed hour") << int(Periods::Hour) << int(TimeMode::Elapsed) << berlin << utc("2024-10-27 12:20")
                                  << utc("2024-10-27 11:30") << quint64(1) << "2 h to 3 h elapsed";
}

void TestEventHistogram::periods()
{
    QFETCH(int, period);
    QFETCH(int, mode);
    QFETCH(QByteArray, zone);
    QFETCH(quint64, time);
    QFETCH(quint64, from);
    QFETCH(quint64, hours);
    QFETCH(QString, text);
    const Periods periods(Periods::Period(period), TimeMode(mode), QTimeZone(zone), utc("2024-10-27 09:30"));
    const TimeRange range = periods.at(time);
    QCOMPARE(range.from, from);
    QCOMPARE(range.length(), hours * hour);
    QCOMPARE(periods.text(range), text);
}

void TestEventHistogram::hoursOfClockChangeDays()
{
    const Periods hours(Periods::Hour, TimeMode::Local, QTimeZone("Europe/Berlin"));
    EventHistogram autumn(hours);
    for (quint64 t = utc("2024-10-26 22:00"); t < utc("2024-10-27 23:00"); t += 600 * second)
        autumn.add({t, 0});
    QCOMPARE(autumn.barCount(), 25);
    QStringList texts;
    for (int i = 0; i < autumn.barCount(); ++i) {
        QCOMPARE(autumn.count(i, 0), 6U);
        texts.append(hours.text(autumn.bar(i)));
    }
    // The hour that comes twice is two bars that can be told apart.
    QCOMPARE(texts[2], QStringLiteral("Sun 27 Oct 2024 02:00 to 03:00, UTC+2"));
    QCOMPARE(texts[3], QStringLiteral("Sun 27 Oct 2024 02:00 to 03:00, UTC+1"));
    QCOMPARE(texts.removeDuplicates(), 0);
    QCOMPARE(hours.text(hours.at(utc("2024-03-31 01:10"))), QStringLiteral("Sun 31 Mar 2024 03:00 to 04:00, UTC+2"));
}

void TestEventHistogram::periodsLeaveNothingOut_data()
{
    QTest::addColumn<QByteArray>("zone");
    // Whole and half hours of change, quarter-hour offsets, a skipped day, no change at all.
    for (const char *zone : {"Europe/Berlin", "Australia/Lord_Howe", "Asia/Kathmandu", "Pacific/Apia", "UTC"})
        QTest::newRow(zone) << QByteArray(zone);
}

void TestEventHistogram::periodsLeaveNothingOut()
{
    QFETCH(QByteArray, zone);
    QRandomGenerator random(7);
    for (const auto mode : {TimeMode::Utc, TimeMode::Local, TimeMode::Elapsed}) {
        for (const auto period : {Periods::Minute, Periods::Hour, Periods::Day, Periods::Week}) {
            const Periods periods(period, mode, QTimeZone(zone), utc("2024-04-05 13:37"));
            for (int i = 0; i < 40; ++i) {
                // Around the changes of the southern and the northern half, and anywhere.
                const char *near[] = {"2011-12-29 20:00", "2024-04-06 13:00", "2024-10-26 22:00", "1990-01-01 00:00"};
                const quint64 time = utc(near[i % 4]) + random.generate64() % (i % 4 == 3 ? 300000 * hour : 40 * hour);
                const TimeRange range = periods.at(time);
                QVERIFY(range.contains(time));
                QCOMPARE(periods.at(range.from), range);
                QCOMPARE(periods.at(range.to - 1), range);
                QCOMPARE(periods.after(range).from, range.to);
            }
        }
    }
}

void TestEventHistogram::anyOrderCountsTheSame()
{
    QRandomGenerator random(3);
    QVector<CountedEvent> events;
    for (int i = 0; i < 3000; ++i)
        events.append({utc("2024-01-01 00:00") + random.generate64() % (2000 * hour), int(random.bounded(16))});
    EventHistogram shuffled;
    for (const CountedEvent &event : qAsConst(events)) // series turn up late, bars in between
        shuffled.add(event);
    std::sort(events.begin(), events.end(),
              [](const CountedEvent &a, const CountedEvent &b) { return a.time < b.time; });
    EventHistogram ordered;
    ordered.add(events.constData(), events.size());
    QCOMPARE(shuffled.barCount(), ordered.barCount());
    QCOMPARE(shuffled.range(), ordered.range());
    quint64 sum = 0;
    for (int series = 0; series < 16; ++series) {
        const auto expected = std::count_if(events.begin(), events.end(),
                                            [series](const CountedEvent &event) { return event.series == series; });
        QCOMPARE(shuffled.total(series), quint64(expected));
        for (int bar = 0; bar < ordered.barCount(); ++bar) {
            QCOMPARE(shuffled.count(bar, series), ordered.count(bar, series));
            sum += shuffled.count(bar, series);
        }
    }
    QCOMPARE(sum, quint64(events.size()));
    QCOMPARE(ordered.find(events[1000].time), ordered.firstAfter(events[1000].time));
    QCOMPARE(ordered.find(utc("2030-01-01 00:00")), -1);
}

void TestEventHistogram::barsKeepTheHighest()
{
    EventHistogram histogram(Periods(Periods::Minute, TimeMode::Utc));
    const quint64 start = utc("2024-01-01 00:00");
    for (quint64 minute = 0; minute < 10000; ++minute)
        histogram.add({start + minute * 60 * second, int(minute % 3)});
    for (int i = 0; i < 50; ++i)
        histogram.add({start + 4321 * 60 * second, 1});
    const TimeRange all = histogram.range();
    const QVector<HistogramBar> few = histogramBars(histogram, {0, 1}, 2, all, 200);
    QVERIFY(few.size() <= 201);
    const auto most = [](const QVector<HistogramBar> &bars) {
        return std::max_element(bars.begin(), bars.end(),
                                [](const HistogramBar &a, const HistogramBar &b) { return a.stack < b.stack; })
            ->stack;
    };
    QCOMPARE(most(few), 51U); // 4321 % 3 is 1
    QCOMPARE(most(histogramBars(histogram, {0}, 2, all, 200)), 1U);
    // Wide enough for every bar: each is there once, and none that is hidden altogether.
    QCOMPARE(histogramBars(histogram, {0, 1}, 2, all, 20000).size(), 10000);
    QCOMPARE(histogramBars(histogram, {1}, -1, all, 20000).size(), 3333);
}

QTEST_GUILESS_MAIN(TestEventHistogram)
#include "tst_eventhistogram.moc"
