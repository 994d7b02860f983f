#include "data/runsearch.h"

#include "data/valuetype.h"

void RunSearch::take(const QVector<SamplePoint> &samples, QVector<RunStretch> &out)
{
    for (const SamplePoint &sample : samples) {
        if (!m_inRun) {
            if (!(sample.voltage >= m_threshold))
                continue;
            m_inRun = true;
            m_start = sample.time;
            m_voltages = sample.voltage;
            m_currents = sampleValue(sample, Current);
            m_count = 1;
            continue;
        }
        m_voltages += sample.voltage;
        m_currents += sampleValue(sample, Current);
        ++m_count;
        if (sample.voltage < m_threshold) {
            out.append({m_start, sample.time, m_voltages / m_count, m_currents / m_count});
            m_inRun = false;
        }
    }
}

void searchRuns(const QVector<SamplePoint> &samples, double threshold, QVector<RunStretch> &out)
{
    RunSearch(threshold).take(samples, out);
}
