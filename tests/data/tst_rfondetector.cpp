#include "data/rfondetector.h"
#include "data/runsearch.h"
#include "data/runtracker.h"
#include "data/samples.h"
#include "data/worker.h"

#include <QtTest>

#include <atomic>

namespace {

/// A recipe with steps of these durations in seconds: "5 2 0".
Recipe recipe(const char *durations)
{
    Recipe result;
    result.setRecipeName(QStringLiteral("test"));
    for (const QByteArray &seconds : QByteArray(durations).split(' ')) {
        if (seconds.isEmpty())
            continue;
        result.addStep();
        result.setDuration(result.numberOfSteps() - 1, seconds.toInt());
        result.setRfonoffSwitchTime(result.numberOfSteps() - 1, 250);
    }
    return result;
}

RunTracker tracker(float threshold = 10, double confirmationSeconds = 2)
{
    RunTracker result;
    result.setThreshold(threshold);
    result.setConfirmationTime(static_cast<quint64>(confirmationSeconds * 1e6));
    return result;
}

struct Followed
{
    QStringList lines;
    QVector<RunSummary> runs;
};

Followed follow(RunTracker &tracker, const QVector<SamplePoint> &list)
{
    Followed result;
    for (const SamplePoint &sample : list) {
        const RunTracker::Outcome outcome = tracker.step(sample);
        result.lines += outcome.lines;
        result.runs += outcome.finished;
    }
    return result;
}

/// Runs as "start-end" in seconds, separated by blanks.
QString runsOf(const QVector<RunSummary> &runs)
{
    QStringList texts;
    for (const RunSummary &run : runs)
        texts.append(QStringLiteral("%1-%2")
                         .arg(static_cast<double>(run.start) * 1e-6)
                         .arg(static_cast<double>(run.end) * 1e-6));
    return texts.join(QLatin1Char(' '));
}

QString meanVoltages(const QVector<SamplePoint> &means)
{
    QStringList texts;
    for (const SamplePoint &mean : means)
        texts.append(QString::number(mean.voltage));
    return texts.join(QLatin1Char(' '));
}

/// Samples from..to (excluded) every `step` seconds at one voltage.
QString span(double from, double to, double step, double volts)
{
    QStringList items;
    for (int i = 0; from + i * step < to - 1e-9; ++i)
        items.append(QStringLiteral("%1:%2").arg(from + i * step).arg(volts));
    return items.join(QLatin1Char(' ')) + QLatin1Char(' ');
}

} // namespace

class tst_RfOnDetector : public QObject
{
    Q_OBJECT

private slots:
    void runs_data();
    void runs();
    void logLines();
    void olderSamplesAreRefused();
    void thresholdsCompareInTwoPrecisions();
    void recipeSteps_data();
    void recipeSteps();
    void recipeLines();
    void aRecipeEndsWithItsRun();
    void meansAreThoseOfTheSteps();
    void anInterruptionCountsInTheMeans();
    void aRecipeSetDuringARunIsForTheNext();
    void meansOfAnEarlierRunAreGone();
    void restartDropsAnOpenRun();
    void currentStepAndState();
    void summariesAreTakenOnce();
    void summariesAreTakenByAnotherThread();
    void detectorLogsItsLines();
    void runSearch_data();
    void runSearch();
    void runSearchMeans();
};

void tst_RfOnDetector::runs_data()
{
    QTest::addColumn<QString>("samples");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QString &list, const char *expected) {
        QTest::newRow(name) << list << QString::fromLatin1(expected);
    };
    row("one run", QStringLiteral("1:0 2:50 3:50 4:0 5:0 6:0"), "1.9-4");
    row("interruption inside the confirmation time",
        span(0.5, 1, 0.5, 0) + span(1, 10, 0.5, 50) + span(10, 11, 0.5, 0) + span(11, 20, 0.5, 50) +
            span(20, 30, 0.5, 0),
        "0.9-20");
    row("never below before", QStringLiteral("1:50 2:50 3:50"), "");
    row("starts above, then a run", QStringLiteral("1:50 2:0 3:50 4:0 9:0"), "2.9-4");
    row("at the threshold is on", QStringLiteral("1:9.99 2:10 3:9.99 5:0"), "1.9-3");
    row("confirmed exactly at the time", QStringLiteral("1:0 2:50 3:0 5:0"), "1.9-3");
    row("just before the time", QStringLiteral("1:0 2:50 3:0 4.999999:0"), "");
    row("back just before the time", QStringLiteral("1:0 2:50 3:0 4.999999:50 6:0 8:0"), "1.9-6");
    row("on again when the time is over", QStringLiteral("1:0 2:50 3:0 5:50 6:0 8:0"), "1.9-3 4.9-6");
    row("several", QStringLiteral("1:0 2:50 3:0 6:0 7:50 8:0 11:0 12:50 13:0 16:0"), "1.9-3 6.9-8 11.9-13");
    row("still open", QStringLiteral("1:0 2:50 3:50"), "");
    row("starts before 0.1 s", QStringLiteral("0.01:0 0.05:50 1:0 4:0"), "0-1");
    row("long pause in the data", QStringLiteral("1:0 2:50 1000:0 5000:0"), "1.9-1000");
}

void tst_RfOnDetector::runs()
{
    QFETCH(QString, samples);
    QFETCH(QString, expected);
    RunTracker tracker = ::tracker();
    const Followed result = follow(tracker, ::samples(samples));
    QCOMPARE(runsOf(result.runs), expected);
    for (const RunSummary &run : result.runs)
        QVERIFY(run.stepMeans.isEmpty()); // no recipe
}

void tst_RfOnDetector::logLines()
{
    RunTracker tracker = ::tracker(10, 1.5);
    const Followed result = follow(tracker, samples("1:0 2:50 3:0 6:50 7:0 9:0"));
    const QStringList expected{
        QStringLiteral("//////////// RF ON detected. Run started ////////////"),
        QStringLiteral("//////////// RF OFF. Waiting confimation time = 1500 msec ////////////"),
        QStringLiteral("*** RfOn: Recipe finished ***"),
        QStringLiteral("///// New RF_ON event #1 found and enqueued: (tStart=1900000,tEnd=3000000) /////"),
        QStringLiteral("////// RF just On after confirmation time. Another run started //////"),
        QStringLiteral("//////////// RF OFF. Waiting confimation time = 1500 msec ////////////"),
        QStringLiteral("*** RfOn: Recipe finished ***"),
        QStringLiteral("///// New RF_ON event #2 found and enqueued: (tStart=5900000,tEnd=7000000) /////"),
        QStringLiteral("////// RF still OFF after confirmation time //////"),
    };
    QCOMPARE(result.lines, expected);
}

void tst_RfOnDetector::olderSamplesAreRefused()
{
    RunTracker tracker = ::tracker();
    const Followed result = follow(tracker, samples("0:0 2:0 2:50 1:50 3:0"));
    const QStringList expected{
        QStringLiteral("WARNING: Current sample at tIn = 0us is OLDER than last sample processed at tLast= 0us;"),
        QStringLiteral(
            "WARNING: Current sample at tIn = 2000000us is OLDER than last sample processed at tLast= 2000000us;"),
        QStringLiteral(
            "WARNING: Current sample at tIn = 1000000us is OLDER than last sample processed at tLast= 2000000us;"),
    };
    QCOMPARE(result.lines, expected);
    QCOMPARE(tracker.state(), RunTracker::State::Off);
}

void tst_RfOnDetector::thresholdsCompareInTwoPrecisions()
{
    // 0.1 lies below the single-precision 0.1, which is 0.100000001490...
    RunTracker tracker = ::tracker(0.1F);
    follow(tracker, samples("1:0.1"));
    QCOMPARE(tracker.state(), RunTracker::State::Off); // in double precision it is below
    follow(tracker, samples("2:0.1"));
    QCOMPARE(tracker.state(), RunTracker::State::On); // in single precision it is not
    follow(tracker, samples("3:0.1"));
    QCOMPARE(tracker.state(), RunTracker::State::On);
    follow(tracker, samples("4:0 5:0.1"));
    QCOMPARE(tracker.state(), RunTracker::State::OffPending);
    QCOMPARE(runsOf(follow(tracker, samples("6:0.1")).runs), QStringLiteral("1.9-4"));
    QCOMPARE(tracker.state(), RunTracker::State::Off);
}

void tst_RfOnDetector::recipeSteps_data()
{
    QTest::addColumn<QByteArray>("durations");
    QTest::addColumn<QString>("samples");
    QTest::addColumn<QString>("means");
    const auto row = [](const char *name, const char *durations, const char *list, const char *means) {
        QTest::newRow(name) << QByteArray(durations) << QString::fromLatin1(list) << QString::fromLatin1(means);
    };
    // A step's samples are those before the one that ends it, and that one.
    row("three steps to the end", "2 2 2", "1:0 2:10 3:30 4:20 5:40 6:60 7:90 8:30 9:60 10:0 15:0", "0 20 60");
    row("one step", "2", "1:0 2:10 3:30 4:50 5:99 6:0 9:0", "30");
    row("ended early", "2 100 2", "1:0 2:10 3:30 4:20 5:40 6:0 9:0", "0 20 0");
    row("two steps", "1 1", "1:0 2:10 3:20 4:60 5:0 9:0", "0 60");
    row("steps of no time", "0 0 0", "1:0 2:10 3:20 4:30 5:40 6:0 9:0", "0 15 40");
    row("negative durations are none", "-5 -5 -5", "1:0 2:10 3:20 4:30 5:40 6:0 9:0", "0 15 40");
    row("boundary while off", "3 1 1", "1:0 2:10 4:2 5:2 5.5:2 6:2", "0 10 0");
    row("nothing since the step began", "2 1 1", "1:0 2:10 3:0 4:0 4.5:0 5:0", "0 10 0");
}

void tst_RfOnDetector::recipeSteps()
{
    QFETCH(QByteArray, durations);
    QFETCH(QString, samples);
    QFETCH(QString, means);
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe(durations.constData()));
    const Followed result = follow(tracker, ::samples(samples));
    QCOMPARE(result.runs.size(), 1);
    QCOMPARE(meanVoltages(result.runs.constFirst().stepMeans), means);
    QVERIFY(result.runs.constFirst().recipe == recipe(durations.constData()));
}

void tst_RfOnDetector::recipeLines()
{
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe("2 1 5"));
    const Followed result = follow(tracker, samples("1:0 2:50 3:50 4.25:50 5:50 5.5:50 9:0 12:0"));
    const QStringList expected{
        QStringLiteral("//////////// RF ON detected. Run started ////////////"),
        QStringLiteral("*** RfOn: Recipe cycle started. Running step 1 ***"),
        QStringLiteral("*** RfOn: Changed to step 2 after T=2.25s ***"),
        QStringLiteral("*** RfOn: Changed to step 3 after T=3.5s ***"), // counted from 4.25, not from 4
        QStringLiteral("//////////// RF OFF. Waiting confimation time = 2000 msec ////////////"),
        QStringLiteral("*** RfOn: Recipe finished ***"),
        QStringLiteral("///// New RF_ON event #1 found and enqueued: (tStart=1900000,tEnd=9000000) /////"),
        QStringLiteral("////// RF still OFF after confirmation time //////"),
    };
    QCOMPARE(result.lines, expected);
}

void tst_RfOnDetector::aRecipeEndsWithItsRun()
{
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe("1 1"));
    follow(tracker, samples("1:0 2:50"));
    QCOMPARE(tracker.recipeState(), RunTracker::RecipeState::Running);
    QCOMPARE(tracker.stepSwitchTime(), quint64(250000));
    follow(tracker, samples("3:50 4:50"));
    QCOMPARE(tracker.recipeState(), RunTracker::RecipeState::Finished);
    QVERIFY(follow(tracker, samples("5:50 6:50")).lines.isEmpty());
    follow(tracker, samples("7:0 10:0 11:50"));
    QCOMPARE(tracker.recipeState(), RunTracker::RecipeState::Running);
}

void tst_RfOnDetector::meansAreThoseOfTheSteps()
{
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe("2 100"));
    QVector<SamplePoint> list = samples("1:0 2:20 3:20 4:20 5:0 8:0");
    for (SamplePoint &sample : list) {
        const SamplePoint other = distinctSample(static_cast<int>(sample.time / 1000000));
        sample.currentReal = other.currentReal;
        sample.eventCounts = other.eventCounts;
        sample.slot2OnTime = other.slot2OnTime;
    }
    const Followed result = follow(tracker, list);
    const SamplePoint mean = result.runs.value(0).stepMeans.value(1);
    QCOMPARE(mean.time, quint64(3000000));
    QCOMPARE(mean.currentReal, distinctSample(3).currentReal);
    QCOMPARE(mean.eventCounts[9], distinctSample(3).eventCounts[9]);
    QCOMPARE(mean.slot2OnTime, distinctSample(3).slot2OnTime);
}

void tst_RfOnDetector::anInterruptionCountsInTheMeans()
{
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe("4 100"));
    const Followed result = follow(tracker, samples("1:0 2:20 3:2 4:4 4.5:20 6:19 7:0 9:0"));
    QCOMPARE(meanVoltages(result.runs.value(0).stepMeans), QStringLiteral("0 13")); // (20+2+4+20+19)/5
}

void tst_RfOnDetector::aRecipeSetDuringARunIsForTheNext()
{
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe("1"));
    follow(tracker, samples("1:0 2:50"));
    tracker.setRecipe(recipe("1 1 1 1"));
    Followed result = follow(tracker, samples("3:50 4:50 5:50 6:50 7:0 10:0"));
    QCOMPARE(result.runs.value(0).recipe.numberOfSteps(), 1);
    QCOMPARE(result.runs.value(0).stepMeans.size(), 1);
    result = follow(tracker, samples("11:50 12:0 15:0"));
    QCOMPARE(result.runs.value(0).recipe.numberOfSteps(), 4);
    QCOMPARE(result.runs.value(0).stepMeans.size(), 4);
}

void tst_RfOnDetector::meansOfAnEarlierRunAreGone()
{
    RunTracker tracker = ::tracker();
    tracker.setRecipe(recipe("1 1 1"));
    QCOMPARE(meanVoltages(follow(tracker, samples("1:0 2:10 3:20 4:30 5:40 6:0 9:0")).runs.value(0).stepMeans),
             QStringLiteral("0 15 40"));
    QCOMPARE(meanVoltages(follow(tracker, samples("11:10 11.5:10 12:10 12.3:0 14.5:0")).runs.value(0).stepMeans),
             QStringLiteral("0 10 0"));
    tracker.setRecipe(Recipe());
    const Followed result = follow(tracker, samples("21:10 22:0 25:0"));
    QCOMPARE(result.runs.size(), 1);
    QVERIFY(result.runs.constFirst().stepMeans.isEmpty());
}

void tst_RfOnDetector::restartDropsAnOpenRun()
{
    RunTracker tracker = ::tracker();
    follow(tracker, samples("1:0 2:50 3:50"));
    QVERIFY(tracker.isInsideRun());
    tracker.restart();
    QVERIFY(!tracker.isInsideRun());
    QCOMPARE(tracker.state(), RunTracker::State::Initial);
    // The new time line begins earlier and on.
    const Followed result = follow(tracker, samples("0.5:50 1:0 2:50 3:0 6:0"));
    QCOMPARE(runsOf(result.runs), QStringLiteral("1.9-3"));
    QVERIFY(result.lines.contains(
        QStringLiteral("///// New RF_ON event #1 found and enqueued: (tStart=1900000,tEnd=3000000) /////")));
}

void tst_RfOnDetector::currentStepAndState()
{
    RunTracker tracker = ::tracker();
    QCOMPARE(tracker.currentStep(), -1);
    follow(tracker, samples("1:0 2:50"));
    QVERIFY(tracker.isInsideRun());
    QCOMPARE(tracker.currentStep(), -1); // no recipe
    follow(tracker, samples("3:0"));
    QVERIFY(tracker.isInsideRun()); // not confirmed yet
    follow(tracker, samples("6:0"));
    QVERIFY(!tracker.isInsideRun());
    tracker.setRecipe(recipe("2 2"));
    follow(tracker, samples("7:50"));
    QCOMPARE(tracker.currentStep(), 0);
    follow(tracker, samples("8:50 9:50"));
    QCOMPARE(tracker.currentStep(), 1);
    follow(tracker, samples("12:50 13:50"));
    QCOMPARE(tracker.currentStep(), 1);
    follow(tracker, samples("14:0 17:0"));
    QCOMPARE(tracker.currentStep(), -1);
}

void tst_RfOnDetector::summariesAreTakenOnce()
{
    rfOnDetector detector;
    detector.setThreshold(10);
    detector.setConfirmationTime(2000000);
    detector.setRecipe(recipe("1"));
    for (const SamplePoint &sample : samples("1:0 2:50 3:0 6:0 7:50 8:0 11:0"))
        detector.process(sample);
    QCOMPARE(runsOf(detector.takeSummaries()), QStringLiteral("1.9-3 6.9-8"));
    QVERIFY(detector.takeSummaries().isEmpty());
    QVERIFY(!detector.isInsideRun());
}

void tst_RfOnDetector::summariesAreTakenByAnotherThread()
{
    constexpr int runs = 3000;
    const auto previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    rfOnDetector detector;
    detector.setThreshold(10);
    detector.setConfirmationTime(0);
    std::atomic<bool> done{false};
    int taken = 0;
    {
        const Worker taking([&] {
            while (!done)
                taken += detector.takeSummaries().size();
        });
        SamplePoint sample;
        for (int i = 0; i <= 3 * runs; ++i) { // off, on, off
            ++sample.time;
            sample.voltage = i % 3 == 1 ? 50 : 0;
            detector.process(sample);
        }
        done = true;
    }
    qInstallMessageHandler(previous);
    QCOMPARE(taken + detector.takeSummaries().size(), runs);
}

void tst_RfOnDetector::detectorLogsItsLines()
{
    rfOnDetector detector;
    detector.setThreshold(10);
    QTest::ignoreMessage(QtInfoMsg, "//////////// RF ON detected. Run started ////////////");
    QTest::ignoreMessage(QtInfoMsg,
                         "WARNING: Current sample at tIn = 2000000us is OLDER than last sample processed at tLast= "
                         "2000000us;");
    for (const SamplePoint &sample : samples("1:0 2:50 2:0"))
        detector.process(sample);
    QVERIFY(detector.isInsideRun());
    detector.restart();
    QVERIFY(!detector.isInsideRun());
}

void tst_RfOnDetector::runSearch_data()
{
    QTest::addColumn<QString>("samples");
    QTest::addColumn<QString>("stretches");
    const auto row = [](const char *name, const char *list, const char *stretches) {
        QTest::newRow(name) << QString::fromLatin1(list) << QString::fromLatin1(stretches);
    };
    row("none", "1:0 2:9 3:0", "");
    row("one", "1:0 2:10 3:20 4:0 5:0", "2-4");
    row("at the start", "1:50 2:0", "1-2");
    row("open at the end", "1:0 2:50 3:50", "");
    row("two", "1:50 2:0 3:50 4:9.9", "1-2 3-4");
    row("list order", "5:50 3:0", "5-3");
    row("empty", "", "");
}

void tst_RfOnDetector::runSearch()
{
    QFETCH(QString, samples);
    QFETCH(QString, stretches);
    QVector<RunStretch> found;
    searchRuns(::samples(samples), 10, found);
    QStringList texts;
    for (const RunStretch &stretch : found)
        texts.append(QStringLiteral("%1-%2").arg(stretch.start / 1000000).arg(stretch.end / 1000000));
    QCOMPARE(texts.join(QLatin1Char(' ')), stretches);
}

void tst_RfOnDetector::runSearchMeans()
{
    QVector<SamplePoint> list = samples("1:0 2:10 3:20 4:6 5:30 6:0");
    for (SamplePoint &sample : list) {
        sample.currentReal = 3 * sample.voltage;
        sample.currentImaginary = -4 * sample.voltage;
    }
    QVector<RunStretch> found{RunStretch()};
    searchRuns(list, 10, found);
    QCOMPARE(found.size(), 3);               // appended
    QCOMPARE(found.at(1).meanVoltage, 12.0); // with the closing sample
    QCOMPARE(found.at(1).meanCurrent, 60.0);
    QCOMPARE(found.at(2).meanVoltage, 15.0);
}

QTEST_GUILESS_MAIN(tst_RfOnDetector)
#include "tst_rfondetector.moc"
