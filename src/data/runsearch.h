#pragma once

#include "data/eventrecord.h"
#include "data/samplepoint.h"

#include <QVector>

/// Appends one entry to `out` for each period from a sample at or above `threshold` to the first one below it, in list
/// order. The closing sample counts for the end and the means; a period that is still open at the end gives nothing.
void searchRuns(const QVector<SamplePoint> &samples, double threshold, QVector<RunStretch> &out);
