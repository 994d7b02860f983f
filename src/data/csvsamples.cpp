#include "data/csvsamples.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "data/csvtime.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace csvsamples {

namespace {

constexpr qint64 beginningSize = 64 * 1024;
constexpr qint64 longestLine = 64 * 1024;
constexpr int linesLookedAt = 200;
constexpr int pieceSize = 10000;
constexpr int fewestCells = 3; // of a sample: time, voltage, current
constexpr char byteOrderMark[] = "\xEF\xBB\xBF";
constexpr char exportTitle[] = "Norvex RF Event Detector Data Export";

/// The cells of a line without its end; a cell in quotes may hold the delimiter.
QStringList split(const QString &line, QChar delimiter)
{
    const QLatin1Char quote('"');
    const bool byBlanks = delimiter == QLatin1Char(' '); // any number of them stands between two columns
    QStringList cells;
    int start = 0;
    bool quoted = false;
    const auto take = [&](int end) {
        const QStringRef raw = line.midRef(start, end - start);
        const QString cell = raw.contains(quote) ? raw.toString().remove(quote).trimmed() : raw.trimmed().toString();
        if (!byBlanks || !cell.isEmpty())
            cells.append(cell);
        start = end + 1;
    };
    for (int i = 0; i < line.size(); ++i) {
        if (line.at(i) == quote)
            quoted = !quoted;
        else if (line.at(i) == delimiter && !quoted)
            take(i);
    }
    take(line.size());
    return cells;
}

QStringList linesOf(QByteArray bytes)
{
    if (bytes.startsWith(byteOrderMark))
        bytes.remove(0, int(qstrlen(byteOrderMark)));
    QStringList lines;
    const bool cut = bytes.size() >= beginningSize && !bytes.endsWith('\n');
    for (QByteArray line : bytes.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        lines.append(QString::fromUtf8(line.constData(), line.size())); // a NUL ends no line
    }
    if (cut || (!lines.isEmpty() && lines.constLast().isEmpty()))
        lines.removeLast();
    return lines.mid(0, linesLookedAt);
}

/// A table as one delimiter and decimal sign show it: its longest run of lines with as many cells, from which numbers
/// and times can be read.
struct Reading
{
    Layout layout;
    QStringList columns;
    int lines = 0; // that are samples
    bool named = false;
};

bool nameFits(const QString &name, const QStringList &words, const QString &unit)
{
    const QString lower = name.toLower();
    return std::any_of(words.begin(), words.end(), [&](const QString &word) { return lower.contains(word); }) ||
           lower.endsWith(unit);
}

int namedColumn(const QStringList &names, const QStringList &words, const QString &unit)
{
    for (int i = 0; i < names.size(); ++i) {
        if (nameFits(names.at(i), words, unit))
            return i;
    }
    return -1;
}

/// A line and what its cells may be.
struct TableRow
{
    QStringList cells;
    QVector<csvtime::CellTraits> traits; // as many, none of a line that is too short
};

QVector<csvtime::CellTraits> columnOf(const QVector<TableRow> &rows, int column)
{
    QVector<csvtime::CellTraits> cells;
    cells.reserve(rows.size());
    for (const TableRow &row : rows)
        cells.append(row.traits.value(column)); // the names may be more
    return cells;
}

qint64 countNumbers(const QVector<csvtime::CellTraits> &cells)
{
    return std::count_if(cells.begin(), cells.end(), [](const csvtime::CellTraits &cell) { return cell.isNumber; });
}

/// Finds the columns of rows that have the same number of cells. False when there are none to be samples.
bool findColumns(const QVector<TableRow> &rows, Reading &reading)
{
    static const QStringList times{QStringLiteral("time"), QStringLiteral("date"), QStringLiteral("zeit"),
                                   QStringLiteral("datum")};
    static const QStringList voltages{QStringLiteral("volt"), QStringLiteral("spannung")};
    static const QStringList currents{QStringLiteral("current"), QStringLiteral("strom"), QStringLiteral("amp")};
    Layout &layout = reading.layout;
    const int width = rows.constFirst().cells.size();
    QVector<TimeFormat> formats;
    layout.timeColumn = namedColumn(reading.columns, times, QStringLiteral("(s)"));
    if (layout.timeColumn >= 0)
        formats = csvtime::formatsOf(columnOf(rows, layout.timeColumn));
    for (int i = 0; i < width && formats.isEmpty(); ++i) {
        formats = csvtime::formatsOf(columnOf(rows, i));
        layout.timeColumn = i;
    }
    if (formats.isEmpty())
        return false;
    layout.timeFormat = formats.constFirst();
    QVector<int> numeric;
    for (int i = 0; i < width; ++i) {
        if (i != layout.timeColumn && csvtime::isMost(countNumbers(columnOf(rows, i)), rows.size()))
            numeric.append(i);
    }
    const int voltage = namedColumn(reading.columns, voltages, QStringLiteral("(v)"));
    const int current = namedColumn(reading.columns, currents, QStringLiteral("(a)"));
    reading.named = numeric.contains(voltage) && numeric.contains(current) && voltage != current;
    if (!reading.named && numeric.size() < 2)
        return false;
    layout.voltageColumn = reading.named ? voltage : numeric.at(0);
    layout.currentColumn = reading.named ? current : numeric.at(1);
    return true;
}

/// The rows from `first` on that have as many cells.
QVector<TableRow> sameWidth(const QVector<TableRow> &rows, int first)
{
    int end = first;
    while (end < rows.size() && rows.at(end).cells.size() == rows.at(first).cells.size())
        ++end;
    return rows.mid(first, end - first);
}

bool looksLikeData(const TableRow &row)
{
    return row.cells.size() >= fewestCells && countNumbers(row.traits) >= 2;
}

SamplePoint sampleOf(quint64 time, double voltage, double current)
{
    SamplePoint sample;
    sample.time = time;
    sample.voltage = voltage;
    sample.currentReal = current;
    return sample;
}

bool takeCells(const QStringList &cells, const Layout &layout, SamplePoint &sample)
{
    quint64 time = 0;
    double voltage = 0;
    double current = 0;
    if (!csvtime::parse(cells.value(layout.timeColumn), layout.timeFormat, layout.decimalSign, layout.startUs, time,
                        layout.zone) ||
        !csvtime::parseNumber(cells.value(layout.voltageColumn), layout.decimalSign, voltage) ||
        !csvtime::parseNumber(cells.value(layout.currentColumn), layout.decimalSign, current))
        return false;
    sample = sampleOf(time, voltage, current);
    return true;
}

/// Numbers and times that each fit alone need not make one sample together.
bool countSamples(const QVector<TableRow> &rows, Reading &reading)
{
    SamplePoint unused;
    const auto isSample = [&](const TableRow &row) { return takeCells(row.cells, reading.layout, unused); };
    reading.lines = static_cast<int>(std::count_if(rows.cbegin(), rows.cend(), isSample));
    return reading.lines > 0;
}

/// Bad lines at the top must not take the good ones between them along, nor fill the preview.
void beginAtFirstSample(const QVector<TableRow> &rows, Layout &layout)
{
    SamplePoint unused;
    const auto isSample = [&](const TableRow &row) { return takeCells(row.cells, layout, unused); };
    const int first = static_cast<int>(std::find_if(rows.cbegin(), rows.cend(), isSample) - rows.cbegin());
    if (first < layout.firstLine || first >= layout.firstLine + previewRows)
        layout.firstLine = first;
}

/// The lines taken apart; one with too few delimiters is no line of a table, whatever it holds.
QVector<TableRow> tableOf(const QStringList &lines, QChar delimiter)
{
    QVector<TableRow> rows;
    rows.reserve(lines.size());
    for (const QString &line : lines)
        rows.append({line.count(delimiter) < fewestCells - 1 ? QStringList() : split(line, delimiter), {}});
    return rows;
}

Reading read(QVector<TableRow> rows, QChar delimiter, QChar decimalSign)
{
    Reading reading;
    reading.layout.delimiter = delimiter;
    reading.layout.decimalSign = decimalSign;
    for (TableRow &row : rows) {
        for (int i = 0; row.cells.size() >= fewestCells && i < row.cells.size(); ++i)
            row.traits.append(csvtime::traitsOf(row.cells.at(i), decimalSign));
    }
    for (int first = 0; first < rows.size(); ++first) {
        if (!looksLikeData(rows.at(first)))
            continue;
        const QVector<TableRow> data = sameWidth(rows, first);
        const QStringList above = first > 0 ? rows.at(first - 1).cells : QStringList();
        // Data lines may end with a delimiter that the line of names does not have.
        const int width = data.constFirst().cells.size();
        reading.columns = above.size() >= fewestCells && above.size() + 1 >= width ? above : QStringList();
        reading.layout.firstLine = first;
        if (findColumns(data, reading) && countSamples(data, reading)) {
            beginAtFirstSample(rows, reading.layout);
            return reading;
        }
        reading.columns.clear();
    }
    return reading;
}

/// Of an export of ours the delimiter stands behind "Chamber" in the second line.
QChar exportDelimiter(const QStringList &lines)
{
    const QString second = lines.value(1);
    const QLatin1String label("Chamber");
    return second.startsWith(label) && second.size() > label.size() ? second.at(label.size()) : QChar();
}

} // namespace

QStringList timeFormatNames()
{
    return {QStringLiteral("Mon-05-Feb-2024 13:45:10.123456"),
            QStringLiteral("2024-02-05 13:45:10.123456"),
            QStringLiteral("05.02.2024 13:45:10.123456"),
            QStringLiteral("02/05/2024 13:45:10.123456"),
            CoreText::tr("microseconds since 1970"),
            CoreText::tr("milliseconds since 1970"),
            CoreText::tr("seconds since 1970"),
            CoreText::tr("seconds since the start")};
}

bool operator==(const Layout &a, const Layout &b)
{
    return a.delimiter == b.delimiter && a.decimalSign == b.decimalSign && a.timeFormat == b.timeFormat &&
           a.firstLine == b.firstLine && a.timeColumn == b.timeColumn && a.voltageColumn == b.voltageColumn &&
           a.currentColumn == b.currentColumn && a.startUs == b.startUs && a.zone == b.zone;
}

Preview detect(const QByteArray &beginning)
{
    Preview preview;
    const QStringList lines = linesOf(beginning);
    QVector<QChar> delimiters{QLatin1Char(';'), QLatin1Char('\t'), QLatin1Char(','), QLatin1Char('|'),
                              QLatin1Char(' ')};
    preview.isOurs = lines.value(0).startsWith(QLatin1String(exportTitle)) && !exportDelimiter(lines).isNull();
    if (preview.isOurs)
        delimiters = {exportDelimiter(lines)};
    Reading best;
    for (const QChar delimiter : qAsConst(delimiters)) {
        const QVector<TableRow> rows = tableOf(lines, delimiter);
        for (const QChar sign : {QLatin1Char('.'), QLatin1Char(',')}) {
            if (preview.isOurs && sign != QLatin1Char('.'))
                continue;
            const Reading reading = read(rows, delimiter, sign);
            if (reading.lines > best.lines || (reading.lines == best.lines && reading.named && !best.named))
                best = reading;
        }
    }
    preview.layout = best.layout;
    preview.columns = best.columns;
    preview.understood = best.lines > 0;
    if (!preview.understood)
        preview.reason = CoreText::tr("No lines with a time, a voltage and a current were found");
    preview.rows = rowsOf(beginning, best.layout);
    return preview;
}

QVector<Row> rowsOf(const QByteArray &beginning, const Layout &layout, int count)
{
    QVector<Row> rows;
    const QStringList lines = linesOf(beginning);
    for (int i = layout.firstLine; i < lines.size() && rows.size() < count; ++i) {
        Row row;
        row.cells = split(lines.at(i), layout.delimiter);
        row.isSample = takeCells(row.cells, layout, row.sample);
        rows.append(row);
    }
    return rows;
}

Preview previewOf(const QString &path)
{
    Preview preview;
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        preview.reason = file.errorString();
        return preview;
    }
    const QByteArray beginning = file.read(beginningSize);
    preview = detect(beginning);
    if (preview.layout.timeFormat != TimeFormat::ElapsedSeconds || !preview.understood)
        return preview;
    // The last line of the table was written when the file was.
    SamplePoint last;
    file.seek(std::max<qint64>(file.size() - beginningSize, 0));
    for (const QByteArray &line : file.readAll().split('\n'))
        takeLine(line, preview.layout, last);
    const quint64 changed = static_cast<quint64>(QFileInfo(path).lastModified().toMSecsSinceEpoch()) * 1000;
    preview.layout.startUs = changed > last.time ? changed - last.time : changed;
    preview.rows = rowsOf(beginning, preview.layout);
    return preview;
}

bool takeLine(const QByteArray &line, const Layout &layout, SamplePoint &sample)
{
    int size = line.size();
    while (size > 0 && (line.at(size - 1) == '\n' || line.at(size - 1) == '\r'))
        --size; // nothing else: the first column may be empty, and the delimiter a tab
    return takeCells(split(QString::fromUtf8(line.constData(), size), layout.delimiter), layout, sample);
}

Outcome readFile(const QString &path, const Layout &layout, const Take &take, JobProgress *progress)
{
    Outcome outcome;
    const auto stop = [&outcome](Outcome::Kind kind, const QString &reason) {
        outcome.kind = kind;
        outcome.reason = reason;
        return outcome;
    };
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return stop(Outcome::Kind::Failed, file.errorString());
    if (progress)
        progress->begin(CoreText::tr("Reading"), file.size(), JobProgress::Unit::Bytes);
    QVector<SamplePoint> piece;
    piece.reserve(pieceSize);
    const auto handOn = [&] {
        outcome.samples += static_cast<quint64>(piece.size());
        const bool ok = piece.isEmpty() || take(piece.constData(), piece.size());
        piece.clear();
        return ok;
    };
    for (qint64 number = 1; !file.atEnd(); ++number) {
        QByteArray line = file.readLine(longestLine);
        if (progress)
            progress->advance(line.size());
        if (number == 1 && line.startsWith(byteOrderMark))
            line.remove(0, int(qstrlen(byteOrderMark)));
        if (number <= layout.firstLine || line.trimmed().isEmpty())
            continue;
        SamplePoint sample;
        if (takeLine(line, layout, sample))
            piece.append(sample);
        else if (++outcome.skippedLines == 1)
            outcome.firstSkipped = number;
        if (piece.size() < pieceSize)
            continue;
        if (progress && progress->isCancelled())
            return stop(Outcome::Kind::Cancelled, {});
        if (!handOn())
            return stop(Outcome::Kind::Failed, {});
    }
    if (file.error() != QFileDevice::NoError)
        return stop(Outcome::Kind::Failed, file.errorString());
    return handOn() ? outcome : stop(Outcome::Kind::Failed, {});
}

} // namespace csvsamples
