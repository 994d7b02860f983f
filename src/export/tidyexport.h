#pragma once

#include "export/csvexport.h"

/// The files of a tidy export, named after the one that was chosen.
struct TidyNames
{
    QString samples;   // NAME.csv
    QString events;    // NAME.events.csv
    QString waveforms; // NAME.waveforms.csv
    QString runs;      // NAME.runs.csv
    QString meta;      // NAME.meta.json

    /// Those that an export with this request writes.
    QStringList written(const ExportRequest &request) const;
};
TidyNames tidyNames(const QString &chosen);

/// Writes tables for data frames and spreadsheets: RFC 4180 with one line of column names that carry their units, UTC
/// and integer microseconds for times, numbers in the fewest digits that read back as the same value. Events and
/// waveforms are written when the request asks for events, runs when it asks for RF-ON; its file names and delimiter
/// are not used. The JSON file, written last, describes columns, range and counts. Text that a spreadsheet would run as
/// a formula begins with an apostrophe. Otherwise as exportCsv().
ExportOutcome exportTidy(const abstractNorvexData &data, const ExportRequest &request, const TidyNames &names,
                         const QDateTime &exportDate, const ExportProgress &progress = nullptr);
