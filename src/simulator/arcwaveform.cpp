#include "simulator/arcwaveform.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double noiseLevel = 0.004; // of the undisturbed value
constexpr double twoPi = 6.283185307179586;

struct Channels
{
    QVector<double> voltage;
    QVector<double> real;
    QVector<double> imaginary;

    explicit Channels(int points) : voltage(points), real(points), imaginary(points) {}
    int points() const { return voltage.size(); }
};

double largest(const QVector<double> &values)
{
    double result = 0;
    for (double value : values)
        result = std::max(result, std::fabs(value));
    return result;
}

float scaleFor(double range)
{
    return range > 0 ? float(range / 32000.0) : 1.0e-6F;
}

qint16 rawValue(double value, float scale)
{
    return qint16(std::lround(value / double(scale)));
}

RawWaveform encode(const Channels &channels)
{
    RawWaveform result;
    result.voltageScale = scaleFor(largest(channels.voltage));
    result.currentScale = scaleFor(std::max(largest(channels.real), largest(channels.imaginary)));
    result.raw.reserve(3 * channels.points());
    for (int i = 0; i < channels.points(); ++i) {
        result.raw.append(rawValue(channels.voltage[i], result.voltageScale));
        result.raw.append(rawValue(channels.real[i], result.currentScale));
        result.raw.append(rawValue(channels.imaginary[i], result.currentScale));
    }
    return result;
}

/// How far the line is disturbed at `x` microseconds after the start: 0 none, 1 fully, below 0 while it rings back.
double disturbance(double x, double length, double fall, double recovery)
{
    if (x < 0)
        return 0;
    if (x < length)
        return 1.0 - std::exp(-x / fall);
    const double after = x - length;
    return std::exp(-after / recovery) * std::cos(twoPi * after / (4.0 * recovery));
}

} // namespace

RawWaveform arcWaveform(const RfLevel &level, const ArcShape &shape, int points, RandomSource &random)
{
    const double depth = std::min(shape.amplitudePercent / 100.0, 0.99);
    const double length = std::max(2.0, std::min(shape.lengthUs, 0.7 * points));
    const double fall = std::min(1.0, length / 8.0);
    const double recovery = std::max(1.0, std::min(length / 6.0, 12.0));
    // The fall reaches one half after 0.7 fall times, the recovery leaves it after 0.42 recovery times.
    const double plateau = std::max(1.0, length + 0.7 * fall - 0.42 * recovery);
    const double start = 0.15 * points;
    const double spike = random.uniform(1.8, 3.2);

    Channels channels(points);
    for (int i = 0; i < points; ++i) {
        const double x = i - start;
        const double hit = depth * disturbance(x, plateau, fall, recovery);
        const double decay = x > 0 ? 0.35 + 0.65 * std::exp(-x / (0.4 * plateau)) : 0.0;
        const double ripple = x > 0 && x < plateau ? 0.03 * depth * std::sin(twoPi * x / 7.0) : 0.0;
        channels.voltage[i] = level.voltage * (1.0 - hit + ripple + noiseLevel * random.noise());
        channels.real[i] = level.currentReal * (1.0 + spike * hit * decay + 4 * ripple + noiseLevel * random.noise());
        channels.imaginary[i] = level.currentImaginary * (1.0 - 0.6 * hit + ripple + noiseLevel * random.noise());
    }
    return encode(channels);
}

RawWaveform pulseWaveform(const RfLevel &high, double dutyCycle, double missingPart, int points, RandomSource &random)
{
    const double period = points / 2.5;
    const double duty = std::max(0.05, std::min(dutyCycle, 0.95));
    Channels channels(points);
    double value = 0;
    for (int i = 0; i < points; ++i) {
        const double place = i / period;
        const double inPulse = place - std::floor(place);
        const bool second = place >= 1.0 && place < 2.0;
        const double end = second ? duty * (1.0 - missingPart) : duty;
        const double target = inPulse < end ? 1.0 : 0.02;
        value += (target - value) * 0.35;
        channels.voltage[i] = high.voltage * (value + noiseLevel * random.noise());
        channels.real[i] = high.currentReal * (value + noiseLevel * random.noise());
        channels.imaginary[i] = high.currentImaginary * (value + noiseLevel * random.noise());
    }
    return encode(channels);
}

RawWaveform steadyWaveform(const RfLevel &level, int points, RandomSource &random)
{
    Channels channels(points);
    for (int i = 0; i < points; ++i) {
        channels.voltage[i] = level.voltage * (1.0 + noiseLevel * random.noise());
        channels.real[i] = level.currentReal * (1.0 + noiseLevel * random.noise());
        channels.imaginary[i] = level.currentImaginary * (1.0 + noiseLevel * random.noise());
    }
    return encode(channels);
}
