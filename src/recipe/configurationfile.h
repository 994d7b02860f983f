#pragma once

#include "recipe/sensorconfiguration.h"

#include <QStringList>
#include <QVector>

/// A ".norvexconfig" file as whoever sends it to a sensor reads it: nothing in it is guessed. Where
/// SensorConfiguration::loadFromFile() clamps, takes a value that is none as 0 and leaves out what is not there, this
/// says so. Both forms; a plain value.
struct ConfigurationFile
{
    SensorConfiguration configuration; // a field that is missing has its default
    QVector<int> missing;              // indexes into configurationFields(), in their order
    QStringList problems;              // values that are none or lie outside their range, in words

    /// False and a reason for a file that cannot be read or has none of the fields.
    bool read(const QString &path, QString *reason = nullptr);
    bool fromContent(const QByteArray &bytes);
    /// Gives the missing fields the values of `other`.
    void completeFrom(const SensorConfiguration &other);
    /// What people call the missing fields.
    QStringList missingTitles() const;
};
