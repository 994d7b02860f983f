#include "data/derivedvalues.h"

#include "base/coretext.h"

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
        return CoreText::tr("Power");
    if (quantity == Impedance)
        return CoreText::tr("Impedance");
    return CoreText::tr(valueTypeNames().value(quantity).toUtf8());
}

QString quantityUnit(int quantity)
{
    if (quantity == Power)
        return QStringLiteral("W");
    if (quantity == Impedance)
        return QStringLiteral("Ω");
    return valueTypeUnits().value(quantity);
}
