#pragma once

#include "data/samplepoint.h"

/// The one list of a sample's fields. Calls visit(&SamplePoint::field) for each field that a record of `Version`
/// carries, in the record's order; version 4 carries them all. Codec, equality and sums walk this list.
template <int Version = SamplePoint::currentVersion, typename Visit>
Q_ALWAYS_INLINE constexpr void visitSampleFields(Visit &&visit)
{
    visit(&SamplePoint::time);
    visit(&SamplePoint::frequency);
    visit(&SamplePoint::voltage);
    visit(&SamplePoint::currentReal);
    visit(&SamplePoint::currentImaginary);
    if constexpr (Version >= 2) {
        visit(&SamplePoint::numberOfPulses);
        if constexpr (Version == 2)
            visit(&SamplePoint::slot1OnTime);
        visit(&SamplePoint::pulsePeriod);
        if constexpr (Version != 2)
            visit(&SamplePoint::slot1OnTime);
        visit(&SamplePoint::slot1VoltageAvg);
        visit(&SamplePoint::slot1VoltageMax);
        visit(&SamplePoint::slot1VoltageMin);
        visit(&SamplePoint::slot1CurrentAvg);
        visit(&SamplePoint::slot1CurrentMax);
        visit(&SamplePoint::slot1CurrentMin);
    }
    if constexpr (Version >= 3) {
        visit(&SamplePoint::slot2OnTime);
        visit(&SamplePoint::slot2VoltageAvg);
        visit(&SamplePoint::slot2VoltageMax);
        visit(&SamplePoint::slot2VoltageMin);
        visit(&SamplePoint::slot2CurrentAvg);
        visit(&SamplePoint::slot2CurrentMax);
        visit(&SamplePoint::slot2CurrentMin);
    }
    if constexpr (Version >= 4)
        visit(&SamplePoint::eventCounts);
}
