#include "data/runsteps.h"

#include "data/eventrecord.h"

#include <algorithm>

namespace {

constexpr quint64 startLead = 100000; // us; a run's start is that much before its first sample

} // namespace

const SamplePoint *meanOfStep(const RunRecord &run, int step)
{
    const int count = run.stepMeans.size();
    if (step < 0 || step >= count)
        return nullptr;
    const int last = count - 1;
    const int place = std::min(step + 1, last);
    const SamplePoint &mean = run.stepMeans.at(place);
    if (mean.time == 0)
        return nullptr;
    if (place == last && count > 1) {
        quint64 lastStepStart = run.start + startLead;
        for (int i = 0; i < last; ++i)
            lastStepStart += quint64(std::max(0, run.recipe.duration(i))) * 1000000;
        if ((mean.time >= lastStepStart) != (step == last))
            return nullptr;
    }
    return &mean;
}
