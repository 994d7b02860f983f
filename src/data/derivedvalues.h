#pragma once

#include "data/samplepoint.h"
#include "data/valuetype.h"

#include <QString>

/// Quantities that waveforms show beside the displayable ones, numbered apart from them.
enum DerivedValue : int {
    Power = 100, // voltage times the current in phase with it
    Impedance,   // magnitude of voltage over magnitude of current; not a number without current
};

/// The value, the name in the language of the user and the unit of a displayable or derived quantity; 0 and empty texts
/// for any other number.
double quantityValue(const SamplePoint &sample, int quantity);
QString quantityName(int quantity);
QString quantityUnit(int quantity);
