#pragma once

#include <QString>
#include <QStringList>

/// What an export can be written as. The three fixed CSV files and the tidy tables hold one sensor, the others any
/// number.
enum class ExportFormat { Legacy, Tidy, Sqlite, Line };

/// The formats' names on the command line, in the order of the enumeration.
const QStringList &exportFormatNames();
/// False for a name that is none.
bool readExportFormat(const QString &name, ExportFormat &format);

bool holdsOneSensor(ExportFormat format);
/// Only the three fixed files hold every sample and all its quantities whatever is asked for, and few events.
bool isFixed(ExportFormat format);

/// ".sqlite"..., what the proposed file ends with.
QString exportSuffix(ExportFormat format);
/// The file of a format that writes one: a suffix of its own is kept, that of another format replaced.
QString exportFileName(ExportFormat format, const QString &chosen);
