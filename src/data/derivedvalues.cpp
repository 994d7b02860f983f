#include "data/derivedvalues.h"

#include <cmath>
#include <limits>

double quantityValue(const SamplePoint &sample, int quantity)
{
    if (quantity == Power)
        return sample.voltage * sample.currentReal;
    if (quantity == Impedance) {
        const double current = sampleValue(sample, Current);
        return current > 0 ? std::abs(sample.voltage) / current : std::numeric_limits<double>::quiet_NaN();
    }
    return sampleValue(sample, quantity);
}

QString quantityName(int quantity)
{
    if (quantity == Power)
        return QStringLiteral("Power");
    if (quantity == Impedance)
        return QStringLiteral("Impedance");
    return valueTypeNames().value(quantity);
}

QString quantityUnit(int quantity)
{
    if (quantity == Power)
        return QStringLiteral("W");
    if (quantity == Impedance)
        return QStringLiteral("Ω");
    return valueTypeUnits().value(quantity);
}
