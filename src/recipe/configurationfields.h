#pragma once

#include "recipe/sensorconfiguration.h"

#include <QLatin1String>

#include <array>
#include <variant>

/// The two integers of the frequency window, written together.
struct ConfigurationLimits
{
    qint32 SensorConfiguration::*low;
    qint32 SensorConfiguration::*high;
};

/// Where a field lives; the alternative held is also the kind of the field (a quint8 is a character).
using ConfigurationMember =
    std::variant<double SensorConfiguration::*, qint32 SensorConfiguration::*, quint32 SensorConfiguration::*,
                 quint8 SensorConfiguration::*, ConfigurationLimits>;

/// One field of a sensor's configuration. The JSON codec, the text form, equality and the dialog walk the same list.
struct ConfigurationField
{
    QLatin1String readKey;
    QLatin1String writtenKey;
    QLatin1String label; // of the text form; empty for a field that it does not carry
    ConfigurationMember member;
};

/// Every field in the order in which a sensor's reply is read.
const std::array<ConfigurationField, 25> &configurationFields();
