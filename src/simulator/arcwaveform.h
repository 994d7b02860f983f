#pragma once

#include "simulator/randomsource.h"

#include <QVector>

/// The waveforms of simulated events, as pure functions. One point is one microsecond.

/// What the RF line carries while nothing happens.
struct RfLevel
{
    double voltage = 0;          // V
    double currentReal = 0;      // A
    double currentImaginary = 0; // A
};

/// An event waveform as it travels: signed 16-bit raw values, three per point (voltage, real and imaginary current),
/// with their scales.
struct RawWaveform
{
    float voltageScale = 1.0F; // V per raw unit
    float currentScale = 1.0F; // A per raw unit
    QVector<qint16> raw;

    int points() const { return raw.size() / 3; }
};

/// How long the voltage stays at or beyond half of its largest deviation, and how large that deviation is.
struct ArcShape
{
    double lengthUs = 20;
    double amplitudePercent = 15;
};

/// A voltage collapse with a current spike and ringing on both sides of it. The collapse begins after the first 15 % of
/// the points, so that the first tenth shows the undisturbed level.
RawWaveform arcWaveform(const RfLevel &level, const ArcShape &shape, int points, RandomSource &random);

/// Two and a half pulse periods; the second pulse ends too early, by `missingPart` (0..1) of its length.
RawWaveform pulseWaveform(const RfLevel &high, double dutyCycle, double missingPart, int points, RandomSource &random);

/// The undisturbed line with its noise.
RawWaveform steadyWaveform(const RfLevel &level, int points, RandomSource &random);
