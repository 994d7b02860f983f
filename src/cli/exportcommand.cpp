#include "cli/command.h"
#include "cli/exportoptions.h"
#include "cli/timetext.h"
#include "data/eventtypelist.h"
#include "export/csvexport.h"
#include "export/exportevents.h"
#include "export/exportnames.h"
#include "export/tidyexport.h"
#include "session/session.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

/// The sensor that is meant, or one without data and why none can be chosen.
SensorEntry chooseSensor(const Session &session, const QString &serial, QString *problem)
{
    const QVector<SensorEntry> entries = session.sensors();
    QStringList serials;
    for (const SensorEntry &entry : entries) {
        serials.append(entry.data->sensorSerial());
        if (serial.isEmpty() ? entries.size() == 1 : serial == serials.constLast())
            return entry;
    }
    *problem = entries.isEmpty()  ? QStringLiteral("the session has no sensors")
               : serial.isEmpty() ? QStringLiteral("the session has several sensors; give one with --sensor: ") +
                                        serials.join(QStringLiteral(", "))
                                  : QStringLiteral("the session has no sensor '%1'; it has: ").arg(serial) +
                                        serials.join(QStringLiteral(", "));
    return {};
}

ExportRequest requestFor(const Session &session, const norvexData &data, const ExportOptions &options)
{
    const QString out =
        options.out.isEmpty() ? defaultExportFile(session.path(), QDateTime::currentDateTime()) : options.out;
    const ExportNames names = exportNames(QDir().absoluteFilePath(out));
    ExportRequest request;
    const ExportRange whole = wholeRecording(data);
    request.from = options.hasFrom ? options.from : whole.from;
    request.to = options.hasTo ? options.to : whole.to;
    request.toIncluded = !options.hasTo;
    request.delimiter = options.delimiter;
    request.exportEvents = options.events;
    request.exportRfOn = options.rfOn;
    request.sessionName = QDir(session.path()).dirName();
    request.eventTypes = eventtype::names();
    request.viFile = names.viFile;
    request.rfOnFile = names.rfOnFile;
    request.eventsFile = names.eventsFile;
    return request;
}

QStringList filesOf(const ExportRequest &request, bool tidy)
{
    if (tidy)
        return tidyNames(request.viFile).written(request);
    QStringList files{request.viFile};
    if (request.exportEvents)
        files.append(request.eventsFile);
    if (request.exportRfOn)
        files.append(request.rfOnFile);
    return files;
}

QJsonObject resultJson(const ExportOutcome &outcome)
{
    QJsonArray files;
    for (const ExportedFile &file : outcome.files)
        files.append(file.path);
    return {{QStringLiteral("files"), files},
            {QStringLiteral("points"), qint64(outcome.points)},
            {QStringLiteral("events"), qint64(outcome.events)},
            {QStringLiteral("runs"), qint64(outcome.runs)}};
}

ExitCode report(const ExportOutcome &outcome, bool json, Console &console)
{
    for (const ExportedFile &file : outcome.files) {
        if (file.result != ExportedFile::Written)
            console.complain(cannotCreateText(file.path) + QStringLiteral(": ") + file.error);
        else if (!json)
            console.out << file.path << '\n';
    }
    if (!outcome.isWritten())
        return ExitCode::CannotWrite;
    if (json)
        console.out << QJsonDocument(resultJson(outcome)).toJson();
    if (outcome.isIncomplete) {
        console.complain(QStringLiteral("some stored samples could not be read and are missing from the files"));
        return ExitCode::Failed;
    }
    return ExitCode::Done;
}

ExitCode exportSensor(const Session &session, const norvexData &data, const ExportOptions &options, Console &console)
{
    const ExportRequest request = requestFor(session, data, options);
    if (request.from > request.to) {
        console.complain(QStringLiteral("the sensor has recorded nothing in that range, only %1 to %2")
                             .arg(timetext::utc(data.firstTime()), timetext::utc(data.lastTime())));
        return ExitCode::Failed;
    }
    const int events = data.eventsInRange(request.from, exportFetchEnd(request)).size();
    const QString refusal = options.tidy ? QString() : exportRefusal(events, request.exportEvents);
    if (!refusal.isEmpty()) {
        console.complain(refusal +
                         QStringLiteral("\nOn the command line: give a shorter range with --from and --to, or "
                                        "--no-events."));
        return ExitCode::Failed;
    }
    const QStringList files = filesOf(request, options.tidy);
    for (const QString &file : files) {
        if (!options.force && QFileInfo::exists(file)) {
            console.complain(QStringLiteral("%1 exists; --force replaces it").arg(file));
            return ExitCode::CannotWrite;
        }
    }
    if (options.out.isEmpty())
        QDir().mkpath(exportFolder(session.path()));
    const QDateTime now = QDateTime::currentDateTime();
    return report(options.tidy ? exportTidy(data, request, tidyNames(request.viFile), now)
                               : exportCsv(data, request, now),
                  options.json, console);
}

} // namespace

ExitCode runExport(const QStringList &arguments, Console &console)
{
    ExportCommandLine line;
    ExportOptions options;
    const CommandLine::Outcome outcome = line.parse(arguments, options);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);

    SessionError error;
    const std::unique_ptr<Session> session = Session::loadReadOnly(options.session, &error);
    if (!session) {
        console.complain(error.text);
        return ExitCode::Failed;
    }
    QString problem;
    const SensorEntry sensor = chooseSensor(*session, options.sensor, &problem);
    if (!sensor.data) {
        console.complain(problem);
        return options.sensor.isEmpty() && session->sensors().size() > 1 ? ExitCode::Usage : ExitCode::Failed;
    }
    if (!sensor.loadProblem.isEmpty()) {
        console.complain(QStringLiteral("sensor %1: %2").arg(sensor.data->sensorSerial(), sensor.loadProblem));
        if (sensor.data->blockCount() == 0 && sensor.data->eventCount() == 0)
            return ExitCode::Failed;
    }
    return exportSensor(*session, *sensor.data, options, console);
}
