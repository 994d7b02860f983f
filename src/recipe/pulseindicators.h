#pragma once

#include <QString>

/// What stands beside the pulse controls of a step: the period and times that follow from the numbers typed. A pure
/// function over them.
struct PulseIndicators
{
    enum class Filter { Suits, TooHigh, TooLow };

    QString frequency;    // "Hz (10000 µs)"
    QString dutyCycle;    // "% (Ton =5000 µs)"
    QString periodMargin; // "µs (9997~10003)"
    QString dutyMargin;   // "µs (4997~5003)", only "µs" for a margin that is not below the time on
    int timeOn = 0;       // us
    Filter filter = Filter::Suits;

    /// The largest duty cycle margin that leaves a time on.
    int dutyMarginMaximum() const { return timeOn > 2 ? timeOn - 2 : 0; }
};

struct PulseSettings
{
    int frequency = 0; // Hz
    int dutyCycle = 0; // %
    int periodMargin = 0;
    int dutyMargin = 0;
    int filterLength = 0;
};

PulseIndicators pulseIndicators(const PulseSettings &settings);
