#include "data/valuetype.h"

#include "base/coretext.h"
#include "data/samplepoint.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace {

using Accessor = double (*)(const SamplePoint &);

struct Quantity
{
    const char *name; // UTF-8
    const char *unit; // UTF-8
    Accessor value;
};

template <auto Field>
double field(const SamplePoint &s)
{
    return static_cast<double>(s.*Field);
}

template <std::size_t Class>
double eventCount(const SamplePoint &s)
{
    return static_cast<double>(s.eventCounts[Class]);
}

double currentMagnitude(const SamplePoint &s)
{
    return std::sqrt(s.currentImaginary * s.currentImaginary + s.currentReal * s.currentReal);
}

double pulseFrequency(const SamplePoint &s)
{
    return s.pulsePeriod > 0 ? 1e6 / s.pulsePeriod : 0;
}

double pulseDutyCycle(const SamplePoint &s)
{
    const double onTime = static_cast<double>(s.slot2OnTime) + static_cast<double>(s.slot1OnTime);
    return s.pulsePeriod > 0 ? onTime * 100 / s.pulsePeriod : 0;
}

constexpr std::array<Quantity, valueTypeCount> quantities{{
    {QT_TRANSLATE_NOOP("CoreText", "Voltage"), "V", field<&SamplePoint::voltage>},
    {QT_TRANSLATE_NOOP("CoreText", "Current"), "A", currentMagnitude},
    {QT_TRANSLATE_NOOP("CoreText", "Current (Real)"), "A", field<&SamplePoint::currentReal>},
    {QT_TRANSLATE_NOOP("CoreText", "Current (Imaginary)"), "A", field<&SamplePoint::currentImaginary>},
    {QT_TRANSLATE_NOOP("CoreText", "Frequency"), "Hz", field<&SamplePoint::frequency>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of Pulses"), "", field<&SamplePoint::numberOfPulses>},
    {QT_TRANSLATE_NOOP("CoreText", "Pulse Period"), "µs", field<&SamplePoint::pulsePeriod>},
    {QT_TRANSLATE_NOOP("CoreText", "Pulse Frequency"), "Hz", pulseFrequency},
    {QT_TRANSLATE_NOOP("CoreText", "Pulse Duty Cycle"), "%", pulseDutyCycle},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 On Time"), "µs", field<&SamplePoint::slot1OnTime>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 Voltage"), "V", field<&SamplePoint::slot1VoltageAvg>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 Voltage Max"), "V", field<&SamplePoint::slot1VoltageMax>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 Voltage Min"), "V", field<&SamplePoint::slot1VoltageMin>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 Current Avg"), "A", field<&SamplePoint::slot1CurrentAvg>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 Current Max"), "A", field<&SamplePoint::slot1CurrentMax>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 1 Current Min"), "A", field<&SamplePoint::slot1CurrentMin>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 On Time"), "µs", field<&SamplePoint::slot2OnTime>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 Voltage"), "V", field<&SamplePoint::slot2VoltageAvg>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 Voltage Max"), "V", field<&SamplePoint::slot2VoltageMax>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 Voltage Min"), "V", field<&SamplePoint::slot2VoltageMin>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 Current Avg"), "A", field<&SamplePoint::slot2CurrentAvg>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 Current Max"), "A", field<&SamplePoint::slot2CurrentMax>},
    {QT_TRANSLATE_NOOP("CoreText", "P. Slot 2 Current Min"), "A", field<&SamplePoint::slot2CurrentMin>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E11 events"), "", eventCount<0>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E12 events"), "", eventCount<1>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E13 events"), "", eventCount<2>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E21 events"), "", eventCount<3>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E22 events"), "", eventCount<4>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E23 events"), "", eventCount<5>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E31 events"), "", eventCount<6>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E32 events"), "", eventCount<7>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of E33 events"), "", eventCount<8>},
    {QT_TRANSLATE_NOOP("CoreText", "Number of EPE events"), "", eventCount<9>},
}};

QStringList column(const char *Quantity::*text)
{
    QStringList list;
    for (const Quantity &quantity : quantities)
        list.append(QString::fromUtf8(quantity.*text));
    return list;
}

} // namespace

const QStringList &valueTypeNames()
{
    static const QStringList list = column(&Quantity::name);
    return list;
}

const QStringList &valueTypeUnits()
{
    static const QStringList list = column(&Quantity::unit);
    return list;
}

double sampleValue(const SamplePoint &sample, int valueType)
{
    if (valueType < 0 || valueType >= valueTypeCount)
        return 0;
    return quantities[static_cast<std::size_t>(valueType)].value(sample);
}
