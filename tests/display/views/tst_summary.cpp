#include "data/runsteps.h"
#include "data/runtracker.h"
#include "display/look/theme.h"
#include "display/views/summarymodel.h"

#include <QTest>

#include <cmath>

namespace {

constexpr quint64 second = 1000000;
constexpr quint64 start = 1709290800 * second;

SummaryRow rowOf(int number, double seconds, double voltage, const QString &recipe = QStringLiteral("Poly"))
{
    SummaryRow row;
    row.serial = QStringLiteral("SN1");
    row.number = number;
    row.run.start = start + quint64(number) * 100 * second;
    row.run.end = row.run.start + quint64(seconds * 1e6);
    row.run.meanVoltage = voltage;
    row.run.recipe.setRecipeName(recipe);
    row.counts = {number % 3, 0};
    row.total = number % 3;
    return row;
}

/// Follows a recipe with steps of 10, 20 and 5 s at 100, 200 and 300 V, RF on for `seconds`.
RunRecord trackedRun(int seconds, int steps = 3)
{
    Recipe recipe;
    recipe.initDefault(steps);
    const int durations[] = {10, 20, 5};
    for (int i = 0; i < steps; ++i)
        recipe.setDuration(i, durations[i]);
    RunTracker tracker;
    tracker.setRecipe(recipe);
    tracker.setConfirmationTime(3 * second);
    RunRecord run;
    for (int i = 0; i < 600 && run.end == 0; ++i) {
        const double at = i * 0.1 - 1;
        SamplePoint sample;
        sample.time = start + quint64(i) * 100000;
        if (at >= 0 && at < seconds)
            sample.voltage = at < 10 ? 100 : at < 30 ? 200 : 300;
        const RunTracker::Outcome outcome = tracker.step(sample);
        for (const RunSummary &summary : outcome.finished)
            run = {summary.start, summary.end, 0, 0, summary.stepMeans, summary.recipe};
    }
    return run;
}

int voltageOf(const RunRecord &run, int step)
{
    const SamplePoint *mean = meanOfStep(run, step);
    return mean ? int(std::lround(mean->voltage / 10)) * 10 : -1; // a step takes one sample of the next
}

} // namespace

class TestSummary : public QObject
{
    Q_OBJECT

private slots:
    void scores_data();
    void scores();
    void stepMeansBelongToTheirSteps_data();
    void stepMeansBelongToTheirSteps();
    void steps();
    void sortsMarksAndCopies();
    void totals();
};

void TestSummary::scores_data()
{
    QTest::addColumn<QVector<double>>("values");
    QTest::addColumn<int>("marked"); // the only one, -1 for none
    QTest::newRow("one far off") << QVector<double>{10, 11, 9, 10, 12, 30} << 5;
    QTest::newRow("equal but one") << QVector<double>{7, 7, 7, 7, 7, 9, 7, 7} << 5;
    QTest::newRow("all equal") << QVector<double>{7, 7, 7, 7, 7, 7} << -1;
    QTest::newRow("mostly nothing") << QVector<double>{0, 0, 0, 0, 0, 0, 12} << 6;
    QTest::newRow("too few to tell") << QVector<double>{1, 1, 1, 90} << -1;
    QTest::newRow("jitter of a sample") << QVector<double>{60, 60, 60, 60, 60, 60.02, 60} << -1;
    QTest::newRow("missing values") << QVector<double>{10, NAN, 11, 9, 10, 12, 30, NAN} << 6;
    QTest::newRow("wide family") << QVector<double>{10, 20, 30, 40, 50, 60} << -1;
}

void TestSummary::scores()
{
    QFETCH(QVector<double>, values);
    QFETCH(int, marked);
    // Another group of quite other values has no say.
    QVector<int> groups(values.size());
    QVector<double> all = values;
    for (int i = 0; i < 9; ++i) {
        all.append(1e6 + i);
        groups.append(1);
    }
    const QVector<double> scores = robustScores(all, groups);
    for (int i = 0; i < scores.size(); ++i)
        QCOMPARE(isOutOfFamily(scores[i]), i == marked);
    if (marked >= 0)
        QVERIFY(scores[marked] > 0);
}

void TestSummary::stepMeansBelongToTheirSteps_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("steps");
    QTest::addColumn<QVector<int>>("voltages"); // -1: not kept
    QTest::newRow("to its end") << 40 << 3 << QVector<int>{100, -1, 300};
    QTest::newRow("broken off in the last step") << 31 << 3 << QVector<int>{100, 200, -1};
    QTest::newRow("broken off in the second step") << 20 << 3 << QVector<int>{100, -1, -1};
    QTest::newRow("one step") << 15 << 1 << QVector<int>{100};
    QTest::newRow("no recipe") << 15 << 0 << QVector<int>{};
}

void TestSummary::stepMeansBelongToTheirSteps()
{
    QFETCH(int, seconds);
    QFETCH(int, steps);
    QFETCH(QVector<int>, voltages);
    const RunRecord run = trackedRun(seconds, steps);
    QVERIFY(run.end > run.start);
    for (int step = 0; step < voltages.size(); ++step)
        QCOMPARE(voltageOf(run, step), voltages[step]);
    QCOMPARE(voltageOf(run, steps), -1);
    QCOMPARE(voltageOf(run, -1), -1);
}

void TestSummary::steps()
{
    RunRecord other = trackedRun(40);
    other.stepMeans[1].voltage = 110;
    const QVector<StepStatistics> steps = statisticsOfSteps({trackedRun(40), other, trackedRun(31), RunRecord()});
    QCOMPARE(steps.size(), 3);
    QCOMPARE(steps[0].voltage.count, 3);
    QVERIFY(std::abs(steps[0].voltage.mean() - (100 + 110 + 100) / 3.0) < 2);
    QVERIFY(std::abs(steps[0].voltage.high - 110) < 1e-9);
    QCOMPARE(steps[1].voltage.count, 1); // only the run that was broken off kept it
    QCOMPARE(steps[2].step, 2);
}

void TestSummary::sortsMarksAndCopies()
{
    const Theme theme(Theme::Kind::Light);
    SummaryModel model(theme);
    QVector<SummaryRow> rows;
    for (int i = 1; i <= 12; ++i)
        rows.append(rowOf(i, 60, i == 4 ? 900 : 400 + i));
    rows.append(rowOf(13, 5, 400, QStringLiteral("Clean"))); // alone with its recipe
    model.setRows(rows, {QStringLiteral("SN1 Etch")}, {QStringLiteral("E11"), QStringLiteral("my type")});
    QCOMPARE(model.markedCount(), 1);
    QCOMPARE(model.headerData(model.totalColumn(), Qt::Horizontal).toString(), QStringLiteral("Total"));

    const QPersistentModelIndex odd = model.index(3, SummaryModel::Run);
    model.sort(SummaryModel::MeanVoltage, Qt::DescendingOrder);
    QCOMPARE(odd.row(), 0); // a selection goes with its row
    QVERIFY(model.isMarked(0, SummaryModel::MeanVoltage));
    QVERIFY(!model.isMarked(0, SummaryModel::Duration));
    QVERIFY(model.data(model.index(0, SummaryModel::MeanVoltage), Qt::ToolTipRole)
                .toString()
                .contains(QStringLiteral("Poly")));
    model.sort(model.totalColumn(), Qt::AscendingOrder);
    QVector<int> numbers;
    for (int row = 0; row < model.rowCount(); ++row)
        numbers.append(model.row(row).number);
    QCOMPARE(numbers, (QVector<int>{3, 6, 9, 12, 1, 4, 7, 10, 13, 2, 5, 8, 11})); // equal ones keep their order
    QCOMPARE(model.find(QStringLiteral("SN1"), rows[3].run.start), 5);
    QCOMPARE(model.find(QStringLiteral("SN2"), rows[3].run.start), -1);

    const QStringList lines = model.toText({5}).split(QLatin1Char('\n'));
    QCOMPARE(lines[0].split(QLatin1Char('\t')).size(), model.columnCount());
    const QStringList cells = lines[1].split(QLatin1Char('\t'));
    QCOMPARE(cells[SummaryModel::MeanVoltage], QStringLiteral("900"));
    QCOMPARE(cells[SummaryModel::Duration], QStringLiteral("60"));
    QCOMPARE(cells[SummaryModel::Start], QStringLiteral("2024-03-01 11:06:40.000000 UTC"));
}

void TestSummary::totals()
{
    const Theme theme(Theme::Kind::Light);
    SummaryModel model(theme);
    const SummaryTotals totals(model);
    QVERIFY(totals.data(totals.index(1, SummaryModel::MeanVoltage)).toString().isEmpty());
    model.setRows({rowOf(1, 10, 100), rowOf(2, 20, 300)}, {QString()}, {QStringLiteral("E11"), QStringLiteral("E12")});
    const auto text = [&](int row, int column) { return totals.data(totals.index(row, column)).toString(); };
    QCOMPARE(text(0, SummaryModel::Start), QStringLiteral("2 runs"));
    QCOMPARE(text(0, SummaryModel::Duration), QStringLiteral("30.000000 s"));
    QCOMPARE(text(0, SummaryModel::MeanVoltage), QString()); // a sum of means says nothing
    QCOMPARE(text(1, SummaryModel::MeanVoltage), QStringLiteral("200.00 V"));
    QCOMPARE(text(2, SummaryModel::MeanVoltage), QStringLiteral("100.00 V"));
    QCOMPARE(text(3, SummaryModel::MeanVoltage), QStringLiteral("300.00 V"));
    QCOMPARE(text(0, model.totalColumn()), QStringLiteral("3"));
    QCOMPARE(text(1, SummaryModel::FirstType), QStringLiteral("1.50"));
    QCOMPARE(text(3, SummaryModel::RecipeName), QString());
}

QTEST_MAIN(TestSummary)
#include "tst_summary.moc"
