#include "recipe/pulseindicators.h"

#include "base/numbers.h"
#include "recipe/reciperules.h"

#include <cmath>

namespace {

QString number(float value)
{
    return streamNumber(static_cast<double>(value));
}

PulseIndicators::Filter judged(int filterLength, float period)
{
    if (filterLength >= 3 && period <= 200.0F)
        return PulseIndicators::Filter::TooHigh;
    if (filterLength < 5 && period >= 20000.0F)
        return PulseIndicators::Filter::TooLow;
    return PulseIndicators::Filter::Suits;
}

} // namespace

PulseIndicators pulseIndicators(const PulseSettings &settings)
{
    const float period = reciperules::pulsePeriod(settings.frequency);
    const auto margin = static_cast<float>(settings.periodMargin);
    PulseIndicators shown;
    shown.timeOn = static_cast<int>(std::lround(static_cast<float>(settings.dutyCycle) * period / 100.0F));
    shown.frequency = QStringLiteral("Hz (%1 µs)").arg(number(period));
    shown.dutyCycle = QStringLiteral("% (Ton =%1 µs)").arg(shown.timeOn);
    shown.periodMargin = QStringLiteral("µs (%1~%2)").arg(number(period - margin), number(period + margin));
    shown.dutyMargin = settings.dutyMargin < shown.timeOn ? QStringLiteral("µs (%1~%2)")
                                                                .arg(shown.timeOn - settings.dutyMargin)
                                                                .arg(shown.timeOn + settings.dutyMargin)
                                                          : QStringLiteral("µs");
    shown.filter = judged(settings.filterLength, period);
    return shown;
}
