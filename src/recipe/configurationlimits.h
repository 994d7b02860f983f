#pragma once

#include "recipe/sensorconfiguration.h"

#include <QString>
#include <QVector>

#include <array>

/// What people see of a configuration field: its words, unit and sensible range. One entry for each of
/// configurationFields(), in the same order; the dialog and the guide read it.
struct ConfigurationText
{
    const char *title;
    const char *unit; // UTF-8, empty for none
    double minimum;
    double maximum;
    const char *help;
};

const std::array<ConfigurationText, 25> &configurationTexts();

/// The title in the user's language.
QString configurationTitle(int field);
/// Why a number is none for this field: it lies outside its range, or has decimals that the field does not take. Empty
/// when all is well.
QString configurationProblem(int field, double value);

/// A value that makes no sense to the sensor.
struct ConfigurationProblem
{
    int field = 0; // index into configurationFields()
    QString reason;
};

/// Every field outside its range, and every pair that contradicts itself, in the order of the fields.
QVector<ConfigurationProblem> configurationProblems(const SensorConfiguration &configuration);
