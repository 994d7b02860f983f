#include "cli/checkcommand.h"

#include "cli/command.h"
#include "cli/commandline.h"
#include "cli/jobrunner.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

QJsonObject sensorJson(const IntegrityReport &sensor, bool isListed)
{
    QJsonArray files;
    for (const FileFinding &finding : sensor.findings) {
        files.append(QJsonObject{{QStringLiteral("file"), finding.file},
                                 {QStringLiteral("state"), nameOf(finding.state)},
                                 {QStringLiteral("detail"), finding.detail}});
    }
    QJsonObject counts;
    for (auto it = sensor.counts.cbegin(); it != sensor.counts.cend(); ++it)
        counts.insert(nameOf(it.key()), it.value());
    return {
        {QStringLiteral("folder"), sensor.folder},
        {QStringLiteral("listed"), isListed},
        {QStringLiteral("samples"), qint64(sensor.samples)},
        {QStringLiteral("blocks"), sensor.blocks},
        {QStringLiteral("eventFiles"), sensor.events},
        {QStringLiteral("damaged"), sensor.isDamaged()},
        {QStringLiteral("problems"), QJsonArray::fromStringList(sensor.problems)},
        {QStringLiteral("states"), counts},
        {QStringLiteral("files"), files},
    };
}

QString sensorText(const IntegrityReport &sensor, const SessionCheck &check)
{
    QString text = sensor.folder + QStringLiteral(": %1 block files with %2 samples, %3 event files, %4\n")
                                       .arg(sensor.blocks)
                                       .arg(sensor.samples)
                                       .arg(sensor.events)
                                       .arg(sensor.isDamaged() ? QStringLiteral("damaged") : QStringLiteral("sound"));
    if (check.notListed.contains(sensor.folder)) {
        text += check.isListSound ? QStringLiteral("  not part of the session, as after a sensor was removed from it\n")
                                  : QStringLiteral("  not listed in the session file\n");
    }
    for (const QString &problem : sensor.problems)
        text += QStringLiteral("  ") + problem + QLatin1Char('\n');
    for (const FileFinding &finding : sensor.findings) {
        text += QStringLiteral("  ") + finding.file + QStringLiteral("  ") + nameOf(finding.state);
        text +=
            finding.detail.isEmpty() ? QStringLiteral("\n") : QStringLiteral(": ") + finding.detail + QLatin1Char('\n');
    }
    for (auto it = sensor.counts.cbegin(); it != sensor.counts.cend(); ++it) {
        if (it.key() != FileState::Sound && it.value() > IntegrityReport::maximumFindings)
            text += QStringLiteral("  %1 files are %2\n").arg(it.value()).arg(nameOf(it.key()));
    }
    return text;
}

QString outcomeText(const SessionRepair &repair)
{
    switch (repair.outcome) {
    case SessionRepair::Outcome::Sound:
        return QStringLiteral("No damage was found, nothing was changed.\n");
    case SessionRepair::Outcome::Repaired:
        return repair.asideFolder.isEmpty()
                   ? QStringLiteral("The session is repaired.\n")
                   : QStringLiteral("The session is repaired. What was replaced is in %1\n").arg(repair.asideFolder);
    default:
        return {};
    }
}

} // namespace

QJsonObject toJson(const SessionCheck &check)
{
    QJsonArray sensors;
    for (const IntegrityReport &sensor : check.sensors)
        sensors.append(sensorJson(sensor, !check.notListed.contains(sensor.folder)));
    return {{QStringLiteral("session"), check.session},
            {QStringLiteral("damaged"), check.isDamaged()},
            {QStringLiteral("problems"), QJsonArray::fromStringList(check.problems)},
            {QStringLiteral("journalRecords"), check.journalRecords},
            {QStringLiteral("sensors"), sensors}};
}

QString toText(const SessionCheck &check)
{
    QString text = QStringLiteral("Session ") + check.session + QLatin1Char('\n');
    for (const QString &problem : check.problems)
        text += problem + QLatin1Char('\n');
    for (const IntegrityReport &sensor : check.sensors)
        text += sensorText(sensor, check);
    if (check.journalRecords > 0) {
        text += QStringLiteral("The journal holds %1 records; the next opening of the session takes what is new.\n")
                    .arg(check.journalRecords);
    }
    return text +
           (check.isDamaged() ? QStringLiteral("Damage was found.\n") : QStringLiteral("No damage was found.\n"));
}

QJsonObject toJson(const SessionRepair &repair)
{
    QJsonArray sensors;
    for (const SessionRepair::Sensor &sensor : repair.sensors) {
        sensors.append(QJsonObject{{QStringLiteral("folder"), sensor.folder},
                                   {QStringLiteral("found"), QJsonArray::fromStringList(sensor.found)},
                                   {QStringLiteral("changes"), QJsonArray::fromStringList(sensor.repair.changes)},
                                   {QStringLiteral("setAside"), sensor.repair.setAside},
                                   {QStringLiteral("rewrittenBlocks"), sensor.repair.rewritten},
                                   {QStringLiteral("addedFiles"), sensor.repair.addedFiles},
                                   {QStringLiteral("restoredEvents"), sensor.repair.restoredEvents},
                                   {QStringLiteral("lostSamples"), sensor.repair.lostSamples},
                                   {QStringLiteral("missingBlocks"), sensor.repair.missingBlocks.size()}});
    }
    return {{QStringLiteral("session"), repair.session},
            {QStringLiteral("repaired"), repair.outcome == SessionRepair::Outcome::Repaired},
            {QStringLiteral("originals"), repair.asideFolder},
            {QStringLiteral("problems"), QJsonArray::fromStringList(repair.problems)},
            {QStringLiteral("sensors"), sensors}};
}

QString toText(const SessionRepair &repair)
{
    QString text = QStringLiteral("Session ") + repair.session + QLatin1Char('\n');
    for (const QString &problem : repair.problems)
        text += problem + QLatin1Char('\n');
    for (const SessionRepair::Sensor &sensor : repair.sensors) {
        text += sensor.folder + QLatin1Char('\n');
        for (const QString &line : sensor.found)
            text += QStringLiteral("  found: ") + line + QLatin1Char('\n');
        for (const QString &line : sensor.repair.changes)
            text += QStringLiteral("  ") + line + QLatin1Char('\n');
    }
    return text + outcomeText(repair);
}

namespace {

ExitCode exitCodeOf(SessionRepair::Outcome outcome)
{
    switch (outcome) {
    case SessionRepair::Outcome::Sound:
    case SessionRepair::Outcome::Repaired:
        return ExitCode::Done;
    case SessionRepair::Outcome::Locked:
        return ExitCode::Locked;
    case SessionRepair::Outcome::CannotWrite:
        return ExitCode::CannotWrite;
    default:
        return ExitCode::Failed;
    }
}

using RepairFunction = SessionRepair (*)(const QString &folder, JobProgress *progress, const Clock &clock);

ExitCode repairAndPrint(const CommandLine &line, RepairFunction function, Console &console)
{
    SessionRepair repair;
    runJob(console, [&](JobProgress &progress) { repair = function(line.positional(0), &progress, systemClock()); });
    const bool looked = repair.outcome != SessionRepair::Outcome::Locked && QDir(repair.session).exists();
    if (looked && line.isSet(QStringLiteral("json")))
        console.out << QJsonDocument(toJson(repair)).toJson();
    else if (looked)
        console.out << toText(repair);
    if (repair.outcome == SessionRepair::Outcome::Cancelled)
        console.complain(QStringLiteral("cancelled; what was repaired so far stays"));
    else if (!repair.isSessionThere())
        console.complain(repair.reason);
    return exitCodeOf(repair.outcome);
}

} // namespace

ExitCode runCheck(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("check DIR [--repair] [--json]"),
                     QStringLiteral("Reads every block and event file of a session folder and compares them with the "
                                    "indexes.\nExit code 4 when there is damage. While a recording runs, files of the "
                                    "moment may show as\nunlisted. Without --repair nothing is changed; with it the "
                                    "session is made sound and the\noriginals of what was replaced are moved to "
                                    "\"repair-<time>\" in the session folder."));
    line.addFlag(QStringLiteral("repair"), QStringLiteral("Repair what is damaged."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    const CommandLine::Outcome outcome = line.parse(arguments, 1);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);
    if (line.isSet(QStringLiteral("repair")))
        return repairAndPrint(line, repairSession, console);

    SessionCheck check;
    runJob(console, [&](JobProgress &progress) { check = checkSession(line.positional(0), &progress); });
    if (!QDir(check.session).exists()) {
        console.complain(QStringLiteral("there is no folder %1").arg(check.session));
        return ExitCode::Failed;
    }
    if (check.cancelled) {
        console.complain(QStringLiteral("cancelled"));
        return ExitCode::Failed;
    }
    if (line.isSet(QStringLiteral("json")))
        console.out << QJsonDocument(toJson(check)).toJson();
    else
        console.out << toText(check);
    return check.isDamaged() ? ExitCode::Damage : ExitCode::Done;
}

ExitCode runRecover(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("recover DIR [--json]"),
                     QStringLiteral("Makes a session that opens of a folder with sensor data, with or without a "
                                    "session file:\nevery sub-folder with sensor data becomes a sensor of it, and what "
                                    "is damaged is repaired\nas by 'check --repair'. Nothing is deleted."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    const CommandLine::Outcome outcome = line.parse(arguments, 1);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);
    return repairAndPrint(line, recoverSession, console);
}
