#pragma once

#include "export/csvexport.h"
#include "export/exporttables.h"

#include <array>

/// The files of a tidy export, named after the one that was chosen.
struct TidyNames
{
    std::array<QString, exportTableCount> tables; // NAME.csv for the samples, NAME.events.csv...
    QString meta;                                 // NAME.meta.json

    const QString &of(ExportTable table) const { return tables[static_cast<std::size_t>(table)]; }
    /// Those that an export with this request writes.
    QStringList written(const ExportRequest &request) const;
};
TidyNames tidyNames(const QString &chosen);

/// Writes tables for data frames and spreadsheets: RFC 4180 with one line of column names that carry their units, UTC
/// and integer microseconds for times, numbers in the fewest digits that read back as the same value. Its request's
/// file names and delimiter are not used. The JSON file, written last, describes columns, range and counts. Text that a
/// spreadsheet would run as a formula begins with an apostrophe. Otherwise as exportCsv().
ExportOutcome exportTidy(const abstractNorvexData &data, const ExportRequest &request, const TidyNames &names,
                         const QDateTime &exportDate, const ExportProgress &progress = nullptr);
