#include "display/plot/timeaxis.h"
#include "display/plot/valueaxis.h"

#include <QDateTime>
#include <QTest>

#include <cmath>

class TestTimeAxis : public QObject
{
    Q_OBJECT

private slots:
    void labels_data();
    void labels();
    void everySpanHasFewDistinctTicksThatFit_data();
    void everySpanHasFewDistinctTicksThatFit();
    void clockChangePrintsNoHourTwice();
    void moments();
    void durations_data();
    void durations();
    void values_data();
    void values();
    void valueTicksAreRoundAndFew();
    void automaticSpans();
};

namespace {

quint64 at(const char *iso)
{
    return quint64(QDateTime::fromString(QLatin1String(iso), Qt::ISODateWithMs).toMSecsSinceEpoch()) * 1000;
}

const QTimeZone berlin("Europe/Berlin");
int eightPerCharacter(const QString &text)
{
    return text.size() * 8;
}

} // namespace

void TestTimeAxis::labels_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<quint64>("from");
    QTest::addColumn<quint64>("length");
    QTest::addColumn<QStringList>("labels");
    QTest::addColumn<QString>("title");
    const quint64 noon = at("2024-03-01T12:00:00.000Z");
    const int utc = int(TimeMode::Utc);
    const int local = int(TimeMode::Local);
    const int elapsed = int(TimeMode::Elapsed);
    const auto list = [](const char *text) { return QString::fromUtf8(text).split(QLatin1Char(',')); };
    QTest::newRow("five minutes") << utc << noon << quint64(300000000) << list("12:00,12:01,12:02,12:03,12:04,12:05")
                                  << QStringLiteral("Fri 1 Mar 2024, time in UTC");
    QTest::newRow("local") << local << noon << quint64(300000000) << list("13:00,13:01,13:02,13:03,13:04,13:05")
                           << QStringLiteral("Fri 1 Mar 2024, time in Europe/Berlin, UTC+1");
    QTest::newRow("elapsed") << elapsed << noon + 60000000 << quint64(300000000)
                             << list("0:01:00,0:02:00,0:03:00,0:04:00,0:05:00,0:06:00")
                             << QStringLiteral("Elapsed time since 1 Mar 2024 12:00:00 UTC (h:min:s)");
    QTest::newRow("tenths") << utc << noon << quint64(1500000)
                            << list("12:00:00.0,12:00:00.2,12:00:00.4,12:00:00.6,12:00:00.8,12:00:01.0,12:00:01.2,"
                                    "12:00:01.4")
                            << QStringLiteral("Fri 1 Mar 2024, time in UTC");
    QTest::newRow("over midnight") << utc << at("2024-02-29T21:00:00.000Z") << quint64(6 * 3600) * 1000000
                                   << list("21:00,22:00,23:00,1 Mar,01:00,02:00,03:00")
                                   << QStringLiteral("29 Feb 2024 to 1 Mar 2024, time in UTC");
    QTest::newRow("local days begin at local midnight")
        << local << at("2024-03-28T23:00:00.000Z") << quint64(4 * 24 * 3600 - 3600) * 1000000
        << list("29 Mar,30 Mar,31 Mar,1 Apr,2 Apr")
        << QStringLiteral("29 Mar 2024 to 2 Apr 2024, time in Europe/Berlin, UTC+1 then UTC+2");
    QTest::newRow("a year") << utc << at("2023-12-01T00:00:00.000Z") << quint64(366) * 24 * 3600 * 1000000
                            << list("Jan 2024,Mar 2024,May 2024,Jul 2024,Sep 2024,Nov 2024")
                            << QStringLiteral("Time in UTC");
    QTest::newRow("microseconds") << utc << noon + 123456 << quint64(1000) << list("0,200,400,600,800")
                                  << QStringLiteral("µs after 2024-03-01 12:00:00.123600 UTC");
    QTest::newRow("two microseconds") << local << noon + 5 << quint64(2) << list("0,1,2")
                                      << QStringLiteral("µs after 2024-03-01 13:00:00.000005 UTC+1");
}

void TestTimeAxis::labels()
{
    QFETCH(int, mode);
    QFETCH(quint64, from);
    QFETCH(quint64, length);
    QFETCH(QStringList, labels);
    QFETCH(QString, title);
    TimeAxis axis(TimeMode(mode), berlin);
    axis.setOrigin(at("2024-03-01T12:00:00.000Z"));
    const TimeTicks ticks = axis.ticks({from, from + length});
    QCOMPARE(ticks.labels, labels);
    QCOMPARE(ticks.title, title);
    QCOMPARE(ticks.major.size(), labels.size());
}

void TestTimeAxis::everySpanHasFewDistinctTicksThatFit_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("UTC") << int(TimeMode::Utc);
    QTest::newRow("local") << int(TimeMode::Local);
    QTest::newRow("elapsed") << int(TimeMode::Elapsed);
}

void TestTimeAxis::everySpanHasFewDistinctTicksThatFit()
{
    QFETCH(int, mode);
    TimeAxis axis(TimeMode(mode), berlin);
    axis.setOrigin(at("2024-01-05T03:04:05.678Z"));
    for (double length = 2; length < 1.5e15; length *= 1.37) {
        for (const char *where : {"2024-03-30T22:13:07.123Z", "2024-10-26T23:59:59.999Z", "1999-12-31T23:00:00.001Z"}) {
            for (const int width : {60, 240, 1200}) {
                const TimeRange range{at(where) + 17, at(where) + 17 + quint64(length)};
                const TimeTicks ticks = axis.fittingTicks(range, width, eightPerCharacter);
                const QByteArray what = QStringLiteral("%1 us at %2: %3")
                                            .arg(range.length())
                                            .arg(QLatin1String(where), ticks.labels.join(QLatin1Char('|')))
                                            .toUtf8();
                QVERIFY2(ticks.major.size() <= TimeAxis::mostTicks, what.constData());
                QVERIFY2(width < 1200 || ticks.major.size() >= 2 || length > 6e14, what.constData());
                QCOMPARE(ticks.labels.size(), ticks.major.size());
                // Only the hours of different days may read the same.
                QVERIFY2(length > 86400e6 ||
                             QSet<QString>(ticks.labels.begin(), ticks.labels.end()).size() == ticks.labels.size(),
                         what.constData());
                for (int i = 0; i < ticks.major.size(); ++i)
                    QVERIFY2(ticks.major[i] >= range.from && ticks.major[i] <= range.to, what.constData());
                for (int i = 1; i < ticks.major.size(); ++i) {
                    const double pixels = double(ticks.major[i] - ticks.major[i - 1]) * width / length;
                    const int room = (eightPerCharacter(ticks.labels[i]) + eightPerCharacter(ticks.labels[i - 1])) / 2;
                    QVERIFY2(pixels >= room, what.constData());
                }
            }
        }
    }
}

void TestTimeAxis::clockChangePrintsNoHourTwice()
{
    const TimeAxis axis(TimeMode::Local, berlin);
    const quint64 from = at("2024-10-26T23:30:00.000Z"); // 01:30 summer time
    const TimeTicks ticks = axis.ticks({from, from + quint64(4) * 3600 * 1000000});
    QVERIFY(ticks.labels.contains(QStringLiteral("02:00 (+2)")));
    QVERIFY(ticks.labels.contains(QStringLiteral("02:00 (+1)")));
    QCOMPARE(ticks.title, QStringLiteral("Sun 27 Oct 2024, time in Europe/Berlin, UTC+2 then UTC+1"));
}

void TestTimeAxis::moments()
{
    const quint64 time = at("2024-07-01T12:00:00.123Z") + 4;
    QCOMPARE(TimeAxis(TimeMode::Utc).moment(time), QStringLiteral("2024-07-01 12:00:00.123004 UTC"));
    QCOMPARE(TimeAxis(TimeMode::Local, berlin).moment(time), QStringLiteral("2024-07-01 14:00:00.123004 UTC+2"));
    TimeAxis elapsed(TimeMode::Elapsed);
    elapsed.setOrigin(time - 90000001);
    QCOMPARE(elapsed.moment(time), QStringLiteral("0:01:30.000001"));
    QCOMPARE(elapsed.moment(time - 90000002), QStringLiteral("-0:00:00.000001"));
    QCOMPARE(TimeAxis::offsetText(-12600), QStringLiteral("UTC-3:30"));
}

void TestTimeAxis::durations_data()
{
    QTest::addColumn<quint64>("length");
    QTest::addColumn<QString>("rough");
    QTest::addColumn<QString>("precise");
    QTest::newRow("us") << quint64(15) << QStringLiteral("15 µs") << QStringLiteral("15 µs");
    QTest::newRow("ms") << quint64(250001) << QStringLiteral("250 ms") << QStringLiteral("250.001 ms");
    QTest::newRow("s") << quint64(14000002) << QStringLiteral("14 s") << QStringLiteral("14.000002 s");
    QTest::newRow("min") << quint64(200500000) << QStringLiteral("3 min 20 s") << QStringLiteral("3 min 20.500 s");
    QTest::newRow("h") << quint64(7500000000) << QStringLiteral("2 h 5 min") << QStringLiteral("2 h 5 min 0.000 s");
    QTest::newRow("d") << quint64(356400000000) << QStringLiteral("4 d 3 h") << QStringLiteral("4 d 3 h 0 min 0.000 s");
}

void TestTimeAxis::durations()
{
    QFETCH(quint64, length);
    QTEST(durationText(length), "rough");
    QTEST(preciseDuration(length), "precise");
}

void TestTimeAxis::values_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("text");
    const QString volt = QStringLiteral("V");
    QTest::newRow("kilo") << 1234.0 << volt << QStringLiteral("1.234 kV");
    QTest::newRow("plain") << 523.44 << volt << QStringLiteral("523.4 V");
    QTest::newRow("milli") << -0.0125 << volt << QStringLiteral("-12.50 mV");
    QTest::newRow("zero") << 0.0 << volt << QStringLiteral("0.000 V");
    QTest::newRow("mega") << 13560000.0 << QStringLiteral("Hz") << QStringLiteral("13.56 MHz");
    QTest::newRow("kept in microseconds") << 20.0 << QStringLiteral("µs") << QStringLiteral("20.00 µs");
    QTest::newRow("milliseconds") << 10000.0 << QStringLiteral("µs") << QStringLiteral("10.00 ms");
    QTest::newRow("no kiloseconds") << 5e9 << QStringLiteral("µs") << QStringLiteral("5000 s");
    QTest::newRow("per cent") << 1234.0 << QStringLiteral("%") << QStringLiteral("1234 %");
    QTest::newRow("count") << 17.0 << QString() << QStringLiteral("17");
    QTest::newRow("nothing") << std::nan("") << volt << QStringLiteral("no value");
    QTest::newRow("huge") << 1e25 << volt << QStringLiteral("1.000e+13 TV");
}

void TestTimeAxis::values()
{
    QFETCH(double, value);
    QFETCH(QString, unit);
    QTEST(valueText(value, unit), "text");
}

void TestTimeAxis::valueTicksAreRoundAndFew()
{
    for (double size = 1e-6; size < 1e9; size *= 3.3) {
        for (const double offset : {0.0, -0.5, 0.999, -3.0}) {
            const ValueSpan span{offset * size, offset * size + size};
            const ValueTicks ticks = valueTicks(span, QStringLiteral("V"), 8);
            QVERIFY(ticks.major.size() >= 3 && ticks.major.size() <= 8);
            QVERIFY(QSet<QString>(ticks.labels.begin(), ticks.labels.end()).size() == ticks.labels.size());
            for (const QString &label : ticks.labels)
                QVERIFY2(label.size() <= 9, qPrintable(label));
        }
    }
    const ValueTicks ticks = valueTicks({0.0, 1500.0}, QStringLiteral("V"), 8);
    QCOMPARE(ticks.unit, QStringLiteral("kV"));
    QCOMPARE(ticks.labels.first(), QStringLiteral("0.0"));
    QCOMPARE(ticks.labels.last(), QStringLiteral("1.4"));
    QVERIFY(valueTicks({1.0, 1.0}, QString(), 8).major.isEmpty());
    QVERIFY(valueTicks({0.0, INFINITY}, QString(), 8).major.isEmpty());
}

void TestTimeAxis::automaticSpans()
{
    const ValueSpan fromZero = automaticSpan(100, 520);
    QCOMPARE(fromZero.low, 0.0);
    QVERIFY(fromZero.high > 520 && fromZero.high < 700);
    const ValueSpan farFromZero = automaticSpan(1000, 1010);
    QVERIFY(farFromZero.low > 980 && farFromZero.high < 1020);
    QVERIFY(automaticSpan(5, 5).length() > 0);
    QVERIFY(automaticSpan(0, 0).length() > 0);
    // The axis stands still while the data fill it.
    QVERIFY(automaticSpan(110, 500, &fromZero) == fromZero);
    QVERIFY(automaticSpan(110, 5000, &fromZero) != fromZero);
    QVERIFY(automaticSpan(100, 110, &fromZero) != fromZero);
    // Nothing to show keeps what is there, nonsense becomes a drawable span.
    QVERIFY(automaticSpan(1, 0, &fromZero) == fromZero);
    QVERIFY(clampedSpan({NAN, 1}) == (ValueSpan{0.0, 1.0}));
    QVERIFY(clampedSpan({5, 5}).length() > 0);
    QVERIFY(clampedSpan({5, 2}).low < 5);
}

QTEST_GUILESS_MAIN(TestTimeAxis)
#include "tst_timeaxis.moc"
