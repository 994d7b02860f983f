#include "cli/exportoptions.h"

#include "cli/timetext.h"

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

} // namespace

ExportCommandLine::ExportCommandLine()
    : CommandLine(
          QStringLiteral("export DIR [--out FILE.vi.csv] [--sensor SERIAL] [--from T] [--to T] [options]"),
          QStringLiteral("Writes the voltage and current, the events and the RF-ON runs of one sensor into three CSV\n"
                         "files: NAME.vi.csv, NAME.events.csv and NAME.rfon.csv. T is a time with a zone, like\n"
                         "2024-05-01T12:00:00Z or 2024-05-01T14:00:00+02:00, or microseconds since 1970. From is\n"
                         "included, to is not; without them everything is written.\n\n"
                         "Example:\n"
                         "  norvex-cli export etch --out run.vi.csv --from 2024-05-01T12:00:00Z --delimiter ,"))
{
    addValue(QStringLiteral("out"), QStringLiteral("FILE"),
             QStringLiteral("The V/I file; the other two are named after it. Default: a name with the time in the "
                            "session's folder Exports."));
    addValue(QStringLiteral("format"), QStringLiteral("legacy|tidy"),
             QStringLiteral("tidy: NAME.csv with every quantity of the samples, NAME.events.csv, NAME.waveforms.csv, "
                            "NAME.runs.csv and NAME.meta.json, for data frames and spreadsheets. Default: legacy."));
    addValue(QStringLiteral("sensor"), QStringLiteral("SERIAL"),
             QStringLiteral("Which sensor; needed when the session has several."));
    addValue(QStringLiteral("from"), QStringLiteral("T"), QStringLiteral("Start of the range."));
    addValue(QStringLiteral("to"), QStringLiteral("T"), QStringLiteral("End of the range."));
    addValue(QStringLiteral("delimiter"), QStringLiteral("C"),
             QStringLiteral("One character between the cells, or 'tab' (default ;)."));
    addFlag(QStringLiteral("no-events"), QStringLiteral("Do not write the events file."));
    addFlag(QStringLiteral("no-rfon"), QStringLiteral("Do not write the RF-ON file."));
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
    QString reason;
    if (options.hasFrom && !timetext::parse(value(QStringLiteral("from")), options.from, &reason))
        return complain(reason);
    if (options.hasTo && !timetext::parse(value(QStringLiteral("to")), options.to, &reason))
        return complain(reason);
    if (options.hasFrom && options.hasTo && options.from >= options.to)
        return complain(QStringLiteral("the range is empty: --from must be before --to"));
    const QString format = value(QStringLiteral("format"));
    options.tidy = format == QLatin1String("tidy");
    if (!format.isEmpty() && !options.tidy && format != QLatin1String("legacy"))
        return complain(QStringLiteral("--format is legacy or tidy, not '%1'").arg(format));
    const QString delimiter = value(QStringLiteral("delimiter"));
    if (options.tidy && !delimiter.isEmpty())
        return complain(QStringLiteral("--delimiter does not go with --format tidy, which has commas"));
    if (!delimiter.isEmpty() && !readDelimiter(delimiter, options.delimiter))
        return complain(
            QStringLiteral("--delimiter needs one character like ; or , or 'tab', not '%1'").arg(delimiter));
    return outcome;
}
