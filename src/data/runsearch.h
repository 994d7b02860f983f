#pragma once

#include "data/eventrecord.h"
#include "data/samplepoint.h"

#include <QVector>

/// The decision of searchRuns() for samples that come in pieces: a period may go on from one piece to the next.
class RunSearch
{
public:
    explicit RunSearch(double threshold) : m_threshold(threshold) {}

    /// Appends the periods that end in these samples.
    void take(const QVector<SamplePoint> &samples, QVector<RunStretch> &out);

private:
    const double m_threshold;
    bool m_inRun = false;
    quint64 m_start = 0;
    double m_voltages = 0;
    double m_currents = 0;
    int m_count = 0;
};

/// Appends one entry to `out` for each period from a sample at or above `threshold` to the first one below it, in list
/// order. The closing sample counts for the end and the means; a period that is still open at the end gives nothing.
void searchRuns(const QVector<SamplePoint> &samples, double threshold, QVector<RunStretch> &out);
