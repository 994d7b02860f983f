#include "display/records/runstatistics.h"

#include "data/runsteps.h"
#include "data/valuetype.h"

#include <QHash>

#include <algorithm>
#include <cmath>

namespace {

constexpr int smallestFamily = 5;
constexpr double madToDeviation = 1.4826;
constexpr double meanDeviationToDeviation = 1.2533;
constexpr double leastSpread = 0.001; // of the median

double median(QVector<double> &values)
{
    const auto middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2)
        return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

} // namespace

void ValueStatistics::add(double value)
{
    if (!std::isfinite(value))
        return;
    low = count == 0 ? value : std::min(low, value);
    high = count == 0 ? value : std::max(high, value);
    sum += value;
    ++count;
}

QVector<double> robustScores(const QVector<double> &values, const QVector<int> &groups)
{
    QVector<double> scores(values.size());
    QHash<int, QVector<int>> families;
    for (int i = 0; i < values.size(); ++i) {
        if (std::isfinite(values[i]))
            families[groups[i]].append(i);
    }
    for (const QVector<int> &family : qAsConst(families)) {
        if (family.size() < smallestFamily)
            continue;
        QVector<double> work;
        for (const int i : family)
            work.append(values[i]);
        const double middle = median(work);
        double sum = 0;
        for (int k = 0; k < family.size(); ++k) {
            work[k] = std::abs(values[family[k]] - middle);
            sum += work[k];
        }
        double spread = madToDeviation * median(work);
        if (spread == 0) // more than half are equal
            spread = meanDeviationToDeviation * sum / family.size();
        spread = std::max(spread, leastSpread * std::abs(middle));
        if (spread == 0)
            continue;
        for (const int i : family)
            scores[i] = (values[i] - middle) / spread;
    }
    return scores;
}

QVector<StepStatistics> statisticsOfSteps(const QVector<RunRecord> &runs)
{
    QVector<StepStatistics> all;
    QVector<QString> recipes;
    for (const RunRecord &run : runs) {
        if (!run.stepMeans.isEmpty() && !recipes.contains(run.recipe.recipeName()))
            recipes.append(run.recipe.recipeName());
    }
    for (const QString &recipe : qAsConst(recipes)) {
        QVector<StepStatistics> steps;
        for (const RunRecord &run : runs) {
            if (run.recipe.recipeName() != recipe)
                continue;
            while (steps.size() < run.stepMeans.size())
                steps.append({recipe, steps.size(), run.recipe.stepName(steps.size()), {}, {}});
            for (int step = 0; step < run.stepMeans.size(); ++step) {
                if (const SamplePoint *mean = meanOfStep(run, step)) {
                    steps[step].voltage.add(mean->voltage);
                    steps[step].current.add(sampleValue(*mean, Current));
                }
            }
        }
        all += steps;
    }
    return all;
}
