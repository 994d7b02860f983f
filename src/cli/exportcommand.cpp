#include "base/jobprogress.h"
#include "cli/command.h"
#include "cli/exportoptions.h"
#include "cli/jobrunner.h"
#include "cli/timetext.h"
#include "data/eventtypelist.h"
#include "export/exportevents.h"
#include "export/exportjob.h"
#include "export/exportnames.h"
#include "session/session.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

namespace {

/// The sensors that are meant, or none and why none can be chosen.
QVector<SensorEntry> chooseSensors(const Session &session, const ExportOptions &options, QString *problem)
{
    const QVector<SensorEntry> entries = session.sensors();
    QVector<SensorEntry> chosen;
    QStringList serials;
    for (const SensorEntry &entry : entries) {
        serials.append(entry.data->sensorSerial());
        if (options.sensor.isEmpty() || options.sensor == serials.constLast())
            chosen.append(entry);
    }
    if (chosen.size() == 1 || (chosen.size() > 1 && !holdsOneSensor(options.format) && options.run == 0))
        return chosen;
    *problem = entries.isEmpty() ? QStringLiteral("the session has no sensors")
               : options.sensor.isEmpty()
                   ? QStringLiteral("the session has several sensors; give one with --sensor: ") +
                         serials.join(QStringLiteral(", "))
                   : QStringLiteral("the session has no sensor '%1'; it has: ").arg(options.sensor) +
                         serials.join(QStringLiteral(", "));
    return {};
}

/// False when the sensor has no such run.
bool setRun(const norvexData &data, int number, ExportRequest &request)
{
    const QVector<RunRecord> runs = data.runsInRange(0, std::numeric_limits<quint64>::max());
    if (number > runs.size())
        return false;
    request.from = runs.at(number - 1).start;
    request.to = runs.at(number - 1).end + 1;
    return true;
}

ExportRequest requestFor(const Session &session, const norvexData &data, const ExportOptions &options)
{
    ExportRequest request;
    const ExportRange whole = wholeRecording(data);
    request.from = options.hasFrom ? options.from : whole.from;
    request.to = options.hasTo ? options.to : whole.to;
    request.toIncluded = !options.hasTo && options.run == 0;
    request.delimiter = options.delimiter;
    request.exportEvents = options.events;
    request.exportRfOn = options.rfOn;
    request.sessionName = QDir(session.path()).dirName();
    for (const QString &type : eventtype::names()) {
        const bool isWanted = options.eventTypes.isEmpty() || options.eventTypes.contains(type);
        (isWanted ? request.eventTypes : request.disabledTypes).append(type);
    }
    request.quantities = options.quantities;
    request.binWidth = options.binWidth;
    return request;
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
    if (outcome.isCancelled()) {
        console.complain(QStringLiteral("cancelled; no file was changed"));
        return ExitCode::Failed;
    }
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

/// Why one sensor cannot be exported as it was asked for; empty when it can.
QString refusalOf(const norvexData &data, const ExportOptions &options, ExportRequest &request)
{
    if (options.run > 0 && !setRun(data, options.run, request))
        return QStringLiteral("the sensor has no run %1, only %2")
            .arg(options.run)
            .arg(data.runsInRange(0, std::numeric_limits<quint64>::max()).size());
    if (request.from > request.to)
        return QStringLiteral("the sensor has recorded nothing in that range, only %1 to %2")
            .arg(timetext::utc(data.firstTime()), timetext::utc(data.lastTime()));
    const int events = data.eventsInRange(request.from, exportFetchEnd(request)).size();
    const QString refusal = isFixed(options.format) ? exportRefusal(events, request.exportEvents) : QString();
    return refusal.isEmpty() ? refusal
                             : refusal + QStringLiteral("\nOn the command line: give a shorter range with --from and "
                                                        "--to, --no-events, or another --format.");
}

ExitCode exportSensors(const Session &session, const QVector<SensorEntry> &sensors, const ExportOptions &options,
                       Console &console)
{
    const QDateTime now = QDateTime::currentDateTime();
    ExportJob job;
    job.format = options.format;
    job.file = QDir().absoluteFilePath(options.out);
    if (options.out.isEmpty())
        job.file = exportFolder(session.path()) + QLatin1Char('/') + exportTag(now) + exportSuffix(options.format);
    for (const SensorEntry &sensor : sensors) {
        ExportRequest request = requestFor(session, *sensor.data, options);
        const QString refusal = refusalOf(*sensor.data, options, request);
        if (refusal.isEmpty())
            job.parts.append({sensor.data, request});
        else if (sensors.size() == 1) {
            console.complain(refusal);
            return ExitCode::Failed;
        }
    }
    if (job.parts.isEmpty()) {
        console.complain(QStringLiteral("no sensor has recorded anything in that range"));
        return ExitCode::Failed;
    }
    const QStringList files = job.files();
    for (const QString &file : files) {
        if (!options.force && QFileInfo::exists(file)) {
            console.complain(QStringLiteral("%1 exists; --force replaces it").arg(file));
            return ExitCode::CannotWrite;
        }
    }
    if (options.out.isEmpty() && !QDir().mkpath(exportFolder(session.path()))) {
        console.complain(QStringLiteral("the folder %1 cannot be created; give a file with --out")
                             .arg(exportFolder(session.path())));
        return ExitCode::CannotWrite;
    }
    ExportOutcome outcome;
    runJob(console, [&](JobProgress &progress) { outcome = job.run(now, progressInto(progress)); });
    return report(outcome, options.json, console);
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
    QVector<SensorEntry> sensors = chooseSensors(*session, options, &problem);
    if (sensors.isEmpty()) {
        console.complain(problem);
        return options.sensor.isEmpty() && session->sensors().size() > 1 ? ExitCode::Usage : ExitCode::Failed;
    }
    bool isIncomplete = false;
    for (int i = sensors.size() - 1; i >= 0; --i) {
        const SensorEntry &sensor = sensors.at(i);
        if (sensor.loadProblem.isEmpty())
            continue;
        console.complain(QStringLiteral("sensor %1: %2").arg(sensor.data->sensorSerial(), sensor.loadProblem));
        if (sensor.data->blockCount() == 0 && sensor.data->eventCount() == 0) {
            sensors.remove(i);
            isIncomplete = true;
        }
    }
    if (sensors.isEmpty())
        return ExitCode::Failed;
    const ExitCode code = exportSensors(*session, sensors, options, console);
    return code == ExitCode::Done && isIncomplete ? ExitCode::Failed : code;
}
