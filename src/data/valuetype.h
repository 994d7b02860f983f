#pragma once

#include <QStringList>

struct SamplePoint;

/// The 33 displayable quantities, numbered from 0.
enum eNorvexValueType : int {
    Voltage = 0,
    Current,
    CurrentReal,
    CurrentImaginary,
    Frequency,
    NumberOfPulses,
    PulsePeriod,
    PulseFrequency,
    PulseDutyCycle,
    Slot1OnTime,
    Slot1Voltage,
    Slot1VoltageMax,
    Slot1VoltageMin,
    Slot1CurrentAvg,
    Slot1CurrentMax,
    Slot1CurrentMin,
    Slot2OnTime,
    Slot2Voltage,
    Slot2VoltageMax,
    Slot2VoltageMin,
    Slot2CurrentAvg,
    Slot2CurrentMax,
    Slot2CurrentMin,
    FirstEventCount,
    LastEventCount = FirstEventCount + 9,
};

constexpr int valueTypeCount = 33;

/// Names and units, shown in selectors, legends and exports exactly as written. Shared, read-only, any thread.
const QStringList &valueTypeNames();
const QStringList &valueTypeUnits();

/// The value of a quantity, 0 for a type outside 0..32. Pulse frequency and duty cycle are derived on every read.
double sampleValue(const SamplePoint &sample, int valueType);
