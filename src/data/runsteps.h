#pragma once

struct RunRecord;
struct SamplePoint;

/// The mean sample of a recipe step, nullptr when the run has none. Stored runs keep the mean of step k at position
/// k + 1, except that of the last step, which takes the last position from the one before it; whose it is shows in its
/// time.
const SamplePoint *meanOfStep(const RunRecord &run, int step);
