#include "display/records/runanalysis.h"

#include "data/runsearch.h"
#include "data/valuetype.h"
#include "display/records/plotsource.h"

#include <algorithm>

QVector<StepMeans> stepMeans(const PlotSource &source, const RunRecord &run, const std::atomic<bool> &cancelled)
{
    QVector<StepMeans> result;
    const QVector<RunStep> steps = stepsOf(run);
    for (const RunStep &step : steps)
        result.append(StepMeans{step, 0, {}});
    if (result.isEmpty())
        result.append(StepMeans{RunStep{QString(), TimeRange{run.start, run.end}}, 0, {}});
    const TimeRange range{result.first().step.range.from, result.last().step.range.to};
    walkSamples(source, range, [&](const QVector<SamplePoint> &samples) {
        int at = 0;
        for (const SamplePoint &sample : samples) {
            while (at < result.size() && sample.time >= result.at(at).step.range.to)
                ++at;
            if (at == result.size())
                break;
            StepMeans &step = result[at];
            if (!step.step.range.contains(sample.time))
                continue;
            if (step.samples++ == 0)
                step.means.fill(0, valueTypeCount);
            for (int quantity = 0; quantity < valueTypeCount; ++quantity)
                step.means[quantity] += sampleValue(sample, quantity);
        }
        return !cancelled;
    });
    for (StepMeans &step : result)
        for (double &mean : step.means)
            mean /= step.samples;
    return result;
}

SearchResult searchAgain(const PlotSource &source, const RecordSet &known, double threshold,
                         const std::function<void()> &progress, const std::atomic<bool> &cancelled)
{
    SearchResult result;
    RunSearch search(threshold);
    QVector<RunStretch> found;
    result.complete = walkSamples(source, {0, ~quint64(0)}, [&](const QVector<SamplePoint> &samples) {
        search.take(samples, found);
        progress();
        return !cancelled;
    });
    result.records = known;
    result.records.runs.clear();
    for (const RunStretch &stretch : qAsConst(found)) {
        RunRow row;
        row.record.start = stretch.start;
        row.record.end = stretch.end;
        row.record.meanVoltage = stretch.meanVoltage;
        row.record.meanCurrent = stretch.meanCurrent;
        result.records.runs.append(row);
    }
    std::sort(result.records.runs.begin(), result.records.runs.end(),
              [](const RunRow &a, const RunRow &b) { return a.record.start < b.record.start; });
    result.records.link();
    return result;
}
