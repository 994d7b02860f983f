#include "cli/exportoptions.h"

#include "cli/timetext.h"
#include "data/eventtypelist.h"
#include "export/exporttables.h"

#include <QFileInfo>
#include <QHash>

namespace {

/// One character that cannot be taken for a part of a number, a name or a quoted cell.
bool readDelimiter(const QString &text, QChar &delimiter)
{
    if (text == QLatin1String("tab") || text == QLatin1String("\\t")) {
        delimiter = QLatin1Char('\t');
        return true;
    }
    static const QString taken = QStringLiteral("\"'.+-:\r\n");
    if (text.size() != 1 || text.at(0).isLetterOrNumber() || text.at(0).isSurrogate() || taken.contains(text.at(0)))
        return false;
    delimiter = text.at(0);
    return true;
}

/// A length of time like "100ms", "1s" or "5min".
bool readWidth(const QString &text, quint64 &us)
{
    static const QHash<QString, quint64> units{{QStringLiteral("us"), 1},
                                               {QStringLiteral("ms"), 1000},
                                               {QStringLiteral("s"), 1000000},
                                               {QStringLiteral("min"), 60000000},
                                               {QStringLiteral("h"), 3600000000}};
    int digits = 0;
    while (digits < text.size() && text.at(digits).isDigit())
        ++digits;
    bool isNumber = false;
    const quint64 number = text.left(digits).toULongLong(&isNumber);
    const quint64 unit = units.value(text.mid(digits));
    constexpr quint64 year = 366ULL * 86400 * 1000000;
    if (!isNumber || unit == 0 || number == 0 || number > year / unit)
        return false;
    us = number * unit;
    return true;
}

} // namespace

ExportCommandLine::ExportCommandLine()
    : CommandLine(
          QStringLiteral("export DIR [--out FILE.vi.csv] [--sensor SERIAL] [--from T] [--to T] [options]"),
          QStringLiteral("Writes the voltage and current, the events and the RF-ON runs of one sensor into three CSV\n"
                         "files: NAME.vi.csv, NAME.events.csv and NAME.rfon.csv. T is a time with a zone, like\n"
                         "2024-05-01T12:00:00Z or 2024-05-01T14:00:00+02:00, or microseconds since 1970. From is\n"
                         "included, to is not; without them everything is written.\n\n"
                         "Examples:\n"
                         "  norvex-cli export etch --out run.vi.csv --from 2024-05-01T12:00:00Z --delimiter ,\n"
                         "  norvex-cli export etch --format sqlite --out etch.sqlite --bin 1s"))
{
    addValue(QStringLiteral("out"), QStringLiteral("FILE"),
             QStringLiteral("The V/I file; the other two are named after it. Default: a name with the time in the "
                            "session's folder Exports."));
    addValue(QStringLiteral("format"), exportFormatNames().join(QLatin1Char('|')),
             QStringLiteral("legacy (the default): the three files. tidy: NAME.csv with every quantity of the samples "
                            "and further tables, for data frames and spreadsheets. sqlite: one database, NAME.sqlite. "
                            "line: line protocol for time-series databases, NAME.lp."));
    addValue(QStringLiteral("sensor"), QStringLiteral("SERIAL"),
             QStringLiteral("Which sensor. Without it: the only one; with sqlite and line, all."));
    addValue(QStringLiteral("from"), QStringLiteral("T"), QStringLiteral("Start of the range."));
    addValue(QStringLiteral("to"), QStringLiteral("T"), QStringLiteral("End of the range."));
    addValue(QStringLiteral("run"), QStringLiteral("N"),
             QStringLiteral("Only the sensor's Nth run, counted from 1, instead of a range."));
    addValue(QStringLiteral("quantities"), QStringLiteral("LIST"),
             QStringLiteral("Columns of the samples, with commas between: voltage_V,current_A... Default: all. Not "
                            "with legacy."));
    addValue(QStringLiteral("bin"), QStringLiteral("WIDTH"),
             QStringLiteral("Minimum, mean and maximum over stretches like 100ms, 1s, 5min or 1h instead of every "
                            "sample. Not with legacy."));
    addValue(QStringLiteral("delimiter"), QStringLiteral("C"),
             QStringLiteral("One character between the cells, or 'tab' (default ;)."));
    addValue(QStringLiteral("types"), QStringLiteral("LIST"),
             QStringLiteral("Only events of these types, with commas between: E11,E12,SNAP... Default: all."));
    addFlag(QStringLiteral("no-events"), QStringLiteral("Leave out events and waveforms."));
    addFlag(QStringLiteral("no-rfon"), QStringLiteral("Leave out runs and their steps."));
    addFlag(QStringLiteral("force"), QStringLiteral("Replace files that exist."));
    addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object with files and counts."));
}

CommandLine::Outcome ExportCommandLine::parse(const QStringList &arguments, ExportOptions &options)
{
    const Outcome outcome = CommandLine::parse(arguments, 1);
    if (outcome != Outcome::Run)
        return outcome;
    options.session = positional(0);
    options.out = value(QStringLiteral("out"));
    options.sensor = value(QStringLiteral("sensor"));
    options.hasFrom = isSet(QStringLiteral("from"));
    options.hasTo = isSet(QStringLiteral("to"));
    options.events = !isSet(QStringLiteral("no-events"));
    options.rfOn = !isSet(QStringLiteral("no-rfon"));
    options.force = isSet(QStringLiteral("force"));
    options.json = isSet(QStringLiteral("json"));
    if (options.out.endsWith(QLatin1Char('/')) || QFileInfo(options.out).isDir())
        return complain(QStringLiteral("--out needs the name of a file; '%1' is a folder").arg(options.out));
    QString reason;
    if (options.hasFrom && !timetext::parse(value(QStringLiteral("from")), options.from, &reason))
        return complain(reason);
    if (options.hasTo && !timetext::parse(value(QStringLiteral("to")), options.to, &reason))
        return complain(reason);
    if (options.hasFrom && options.hasTo && options.from >= options.to)
        return complain(QStringLiteral("the range is empty: --from must be before --to"));
    return parseFormat(options);
}

CommandLine::Outcome ExportCommandLine::parseFormat(ExportOptions &options)
{
    const QString format = value(QStringLiteral("format"));
    if (!format.isEmpty() && !readExportFormat(format, options.format))
        return complain(
            QStringLiteral("--format is %1, not '%2'").arg(exportFormatNames().join(QStringLiteral(", ")), format));
    const QString delimiter = value(QStringLiteral("delimiter"));
    if (options.format != ExportFormat::Legacy && !delimiter.isEmpty())
        return complain(QStringLiteral("--delimiter goes with --format legacy only"));
    if (!delimiter.isEmpty() && !readDelimiter(delimiter, options.delimiter))
        return complain(
            QStringLiteral("--delimiter needs one character like ; or , or 'tab', not '%1'").arg(delimiter));
    if (isSet(QStringLiteral("run"))) {
        bool isNumber = false;
        options.run = value(QStringLiteral("run")).toInt(&isNumber);
        if (!isNumber || options.run < 1)
            return complain(QStringLiteral("--run is a number from 1, not '%1'").arg(value(QStringLiteral("run"))));
        if (options.hasFrom || options.hasTo)
            return complain(QStringLiteral("--run does not go with --from and --to"));
    }
    if (isFixed(options.format) && (isSet(QStringLiteral("quantities")) || isSet(QStringLiteral("bin"))))
        return complain(QStringLiteral("--quantities and --bin do not go with --format legacy, which is fixed"));
    const QString bin = value(QStringLiteral("bin"));
    if (isSet(QStringLiteral("bin")) && !readWidth(bin, options.binWidth))
        return complain(QStringLiteral("--bin is a length of time like 100ms, 1s, 5min or 1h, not '%1'").arg(bin));
    if (isSet(QStringLiteral("types")))
        options.eventTypes = value(QStringLiteral("types")).split(QLatin1Char(','));
    for (const QString &type : qAsConst(options.eventTypes)) {
        if (!eventtype::names().contains(type))
            return complain(QStringLiteral("no event type '%1'; there are: %2")
                                .arg(type, eventtype::names().join(QStringLiteral(", "))));
    }
    if (isSet(QStringLiteral("quantities")))
        options.quantities = value(QStringLiteral("quantities")).split(QLatin1Char(','));
    const QStringList known = exportQuantities();
    for (const QString &quantity : qAsConst(options.quantities)) {
        if (!known.contains(quantity))
            return complain(
                QStringLiteral("no quantity '%1'; there are: %2").arg(quantity, known.join(QStringLiteral(", "))));
    }
    return Outcome::Run;
}
