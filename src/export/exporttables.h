#pragma once

#include "export/csvexport.h"
#include "export/exportrequest.h"

#include <QString>
#include <QVector>

/// The tables that an export for other programs holds, whatever its format.
enum class ExportTable { Samples, Events, Waveforms, Runs, Steps };
constexpr int exportTableCount = 5;
QString exportTableName(ExportTable table); // "samples"...

struct ExportColumn
{
    enum Kind {
        Moment, // microseconds since 1970; what people read has the time spelled out beside it
        Time,   // microseconds since 1970
        Key,    // the number of an event or a run in this export, from 1
        Tag,    // a text that many rows share
        Whole,
        Number, // may be none: not finite
    };
    QString name; // with its unit; of moments and times without it
    Kind kind;
    /// Stands in the row that the key names too; for formats whose tables stand alone.
    bool isRepeated = false;
};

/// What a sample can be exported with, in the order of the columns: "voltage_V"...
QStringList exportQuantities();
/// The words for one of them: "Voltage".
QString exportQuantityTitle(const QString &quantity);
QVector<ExportColumn> exportColumns(ExportTable table, const ExportRequest &request);
/// Whether the request asks for it.
bool isExported(ExportTable table, const ExportRequest &request);

/// Takes the cells of one table, in the order of its columns. Moments, times and keys come as whole numbers.
class RowSink
{
public:
    virtual ~RowSink() = default;
    virtual void whole(qint64 value) = 0;
    virtual void number(double value) = 0;
    virtual void text(const QString &value) = 0;
    virtual void endRow() = 0;
};

/// A format: takes the rows of all tables, those of events and waveforms in turn.
class TableSink
{
public:
    virtual ~TableSink() = default;
    /// Only for tables that are exported, and only while good.
    virtual RowSink &rows(ExportTable table) = 0;
    /// False once nothing more can be written.
    virtual bool isGood() const = 0;
};

/// Numbers of events and runs go on from sensor to sensor.
struct ExportKeys
{
    qint64 events = 0;
    qint64 runs = 0;
};

/// Writes the rows of one sensor; false when cancelled. Counts go to `outcome`, not the files. Samples are read in
/// slices of time, so memory does not grow with the range. Blocks its thread; the data may grow meanwhile.
bool writeTables(const abstractNorvexData &data, const ExportRequest &request, TableSink &sink, ExportKeys &keys,
                 const ExportProgress &progress, ExportOutcome &outcome);
