#pragma once

#include <QString>

/// File names of a sensor folder, shared by everything that reads or writes one.
namespace datanames {
const QString &indexFile();      // "index.dat"
const QString &blockExtension(); // ".norvexdata"
const QString &eventExtension(); // ".norvexevent"
const QString &lastConfig();     // "config_last"
const QString &rfOnEvent();      // "RFONEVENT"

/// Text that enters a ";"-separated line: ";", CR, LF and NUL become "_".
QString lineSafe(const QString &text);
/// "<serial>-<chamber>" as a folder name: every character outside ASCII letters, digits, ".", "_", "-" and blank
/// becomes "_", at most 100 characters, never ".", ".." or a reserved device name.
QString sensorFolder(const QString &serial, const QString &chamber);
/// True for a bare file name that stays in its folder: no separator or drive colon, not "." or "..", no NUL, not empty.
bool isPlainFileName(const QString &name);
} // namespace datanames
