#include "sensor/timebase.h"

#include <QtTest>

namespace {

constexpr qint64 ms = 1000;
constexpr qint64 second = 1'000'000;
constexpr qint64 hour = 3600 * second;
/// The moment of the tests, UTC.
constexpr qint64 now = 1'700'000'000 * second;

SensorTimeLine line(qint64 baseUs, qint64 uptimeUs)
{
    return {true, baseUs, uptimeUs / ms};
}

} // namespace

class TestTimeBase : public QObject
{
    Q_OBJECT

private slots:
    void settled_data();
    void settled();
    void reconnectsKeepTimes();
};

void TestTimeBase::settled_data()
{
    QTest::addColumn<bool>("known");
    QTest::addColumn<qint64>("oldBase");
    QTest::addColumn<qint64>("oldUptime"); // us
    QTest::addColumn<qint64>("uptime");    // us, at `now`; negative: not known
    QTest::addColumn<qint64>("newestRaw");
    QTest::addColumn<qint64>("base");
    const auto row = [](const char *name, bool known, qint64 oldBase, qint64 oldUptime, qint64 uptime, qint64 newestRaw,
                        qint64 base) {
        QTest::newRow(name) << known << oldBase << oldUptime << uptime << newestRaw << base;
    };
    constexpr qint64 start = now - hour; // of a sensor that is up for an hour

    row("first time", false, 0, 0, hour, hour - second, start);
    row("first time, absolute clock", false, 0, 0, hour, now - second, 0);
    row("first time, a long backlog", false, 0, 0, hour, second, start);
    row("first time, times ahead of the uptime", false, 0, 0, hour, hour + 20 * second, now - hour - 20 * second);
    row("first time, just within the allowance", false, 0, 0, hour, hour + 5 * second, start);
    row("first time, just past the allowance", false, 0, 0, hour, hour + 5 * second + 1, now - hour - 5 * second - 1);
    row("absolute clock far ahead", false, 0, 0, hour, now + hour, -hour);
    row("no uptime", false, 0, 0, -1, 40 * second, now - 40 * second);
    row("no uptime, absolute clock", false, 0, 0, -1, now - second, 0);

    row("same run, clocks off by a little", true, start + 7 * ms, hour / 2, hour, hour, start + 7 * ms);
    row("same run, same uptime", true, start + 7 * ms, hour, hour, hour, start + 7 * ms);
    row("same run, ten minutes of drift", true, start - 600 * second, hour / 2, hour, hour, start - 600 * second);
    row("same run, absolute clock", true, 0, hour / 2, hour, now, 0);
    row("same run, a corrected absolute clock", true, -hour, hour / 2, hour, now + hour, -hour);
    row("restarted: the uptime fell", true, now - 9 * hour, 8 * hour, hour, hour, start);
    row("restarted: absolute clock", true, 0, 8 * hour, hour, now, 0);
    row("restarted long ago: past the old uptime again", true, now - 9 * hour, hour / 2, hour, hour, start);
    row("restarted at once: past the old uptime again", true, now - 8 * second, 2 * second, 4 * second, 4 * second,
        now - 4 * second);
    row("no uptime any more", true, start + 7 * ms, hour / 2, -1, hour, start);
    row("the clock became absolute", true, start + 7 * ms, hour / 2, hour, now - second, 0);
    row("the clock was lost", true, 0, hour / 2, hour, hour, start);
}

void TestTimeBase::settled()
{
    QFETCH(bool, known);
    QFETCH(qint64, oldBase);
    QFETCH(qint64, oldUptime);
    QFETCH(qint64, uptime);
    QFETCH(qint64, newestRaw);
    QFETCH(qint64, base);
    const SensorTimeLine last = known ? line(oldBase, oldUptime) : SensorTimeLine();
    const TimeBaseCandidate candidate{true, now / ms, uptime < 0 ? -1 : uptime / ms};
    const SensorTimeLine settled = timebase::settle(last, candidate, newestRaw, now / ms);
    QVERIFY(settled.known);
    QCOMPARE(settled.baseUs, base);
    QCOMPARE(settled.uptimeMs, qMax<qint64>(uptime / ms, 0));
}

// Over hours of reconnecting with replies that are late by different times the samples keep their times.
void TestTimeBase::reconnectsKeepTimes()
{
    for (const bool busy : {false, true}) { // a busy computer looks at a reply seconds after it has come
        SensorTimeLine last;
        qint64 base = 0;
        for (int i = 1; i <= 100; ++i) {
            const qint64 uptime = i * (busy ? 1 : 300) * second;
            const qint64 lateMs = busy ? (i * 3700) % 9000 : (i * 37) % 900;
            const TimeBaseCandidate candidate{true, (now + uptime) / ms + lateMs, uptime / ms, busy ? lateMs + 20 : 0};
            QVERIFY(!timebase::isBeforeStart(candidate, uptime + lateMs * ms, candidate.utcMs));
            last = timebase::settle(last, candidate, uptime - second, candidate.utcMs);
            base = i == 1 ? last.baseUs : base;
            QCOMPARE(last.baseUs, base);
        }
    }
}

QTEST_APPLESS_MAIN(TestTimeBase)
#include "tst_timebase.moc"
