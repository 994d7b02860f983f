#include "data/runsearch.h"

#include "data/valuetype.h"

void searchRuns(const QVector<SamplePoint> &samples, double threshold, QVector<RunStretch> &out)
{
    bool inRun = false;
    quint64 start = 0;
    double voltages = 0;
    double currents = 0;
    int count = 0;
    for (const SamplePoint &sample : samples) {
        if (!inRun) {
            if (!(sample.voltage >= threshold))
                continue;
            inRun = true;
            start = sample.time;
            voltages = sample.voltage;
            currents = sampleValue(sample, Current);
            count = 1;
            continue;
        }
        voltages += sample.voltage;
        currents += sampleValue(sample, Current);
        ++count;
        if (sample.voltage < threshold) {
            out.append({start, sample.time, voltages / count, currents / count});
            inRun = false;
        }
    }
}
