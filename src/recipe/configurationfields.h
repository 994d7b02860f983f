#pragma once

#include "recipe/sensorconfiguration.h"

#include <QJsonObject>
#include <QLatin1String>
#include <QStringList>

#include <array>
#include <functional>
#include <variant>

class QTextStream;

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

/// A field of a ".norvexconfig" file's object. What this program sends to a sensor is also what it stores, so either
/// name counts, that of reading first.
QJsonValue configurationValue(const QJsonObject &object, const ConfigurationField &field);
/// Hands over what stands in the lines of the text form, up to their end or a line with "End Config" or "End Block
/// Config": the index of the field, and the cells of its line, the label first.
void readConfigurationLines(QTextStream &stream, const std::function<void(int, const QStringList &)> &take);
