#pragma once

#include "data/samplepoint.h"

#include <QByteArray>
#include <QChar>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <QVector>

#include <functional>

class JobProgress;

/// Reading samples from a text table with a time, a voltage and a current column: a V/I export of ours or any other CSV
/// file. What the file looks like is detected from its beginning, shown for confirmation, and may be corrected before
/// the file is read.
namespace csvsamples {

enum class TimeFormat {
    ExportCell,    // "Mon-05-Feb-2024 13:45:10.1235": milliseconds, then microseconds without leading zeros
    Iso,           // "2024-02-05T13:45:10.123456", with "T" or a blank, with or without a zone
    DayMonthYear,  // "05.02.2024 13:45:10.123", with ".", "/" or "-"
    MonthDayYear,  // "02/05/2024 13:45:10.123"
    Microseconds,  // since 1970
    Milliseconds,  // since 1970
    Seconds,       // since 1970, with decimals
    ElapsedSeconds // since the start of the table
};
/// For a list to choose from, in the order of the values.
QStringList timeFormatNames();

/// What a table looks like.
struct Layout
{
    QChar delimiter = QLatin1Char(';');
    QChar decimalSign = QLatin1Char('.');
    TimeFormat timeFormat = TimeFormat::Iso;
    int firstLine = 0; // of the data, from 0
    int timeColumn = 0;
    int voltageColumn = 1;
    int currentColumn = 2;
    quint64 startUs = 0; // of elapsed times, us since the epoch
    QTimeZone zone;      // of texts that tell none; none: UTC

    friend bool operator==(const Layout &a, const Layout &b);
};

/// One line as the layout reads it; `isSample` is false for a line that is none.
struct Row
{
    QStringList cells;
    bool isSample = false;
    SamplePoint sample;
};

/// What is shown before the import.
struct Preview
{
    bool understood = false;
    QString reason; // why not
    Layout layout;
    QStringList columns; // names, as far as the table has a line of them
    QVector<Row> rows;   // the first ones
    bool isOurs = false; // a V/I export
};

/// From the first bytes of a file (64 KiB are plenty).
Preview detect(const QByteArray &beginning);
constexpr int previewRows = 20;
/// The rows of a beginning as a layout reads them, for a layout that was corrected.
QVector<Row> rowsOf(const QByteArray &beginning, const Layout &layout, int count = previewRows);
/// Reads the beginning of a file and detects; a file's elapsed times are counted back from its last change.
Preview previewOf(const QString &path);

/// False for a line that is no sample. The current is all real, as the table does not tell its phase.
bool takeLine(const QByteArray &line, const Layout &layout, SamplePoint &sample);

struct Outcome
{
    enum class Kind { Done, Cancelled, Failed } kind = Kind::Done;

    QString reason;
    quint64 samples = 0;      // handed on
    quint64 skippedLines = 0; // after the first data line, that are no samples
    qint64 firstSkipped = 0;  // the number of the first of them, from 1
};

/// Gets the samples in pieces; returning false ends the reading as failed.
using Take = std::function<bool(const SamplePoint *samples, int count)>;
/// Reads a whole file. Pool thread; memory does not grow with the file.
Outcome readFile(const QString &path, const Layout &layout, const Take &take, JobProgress *progress = nullptr);

} // namespace csvsamples
