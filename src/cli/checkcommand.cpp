#include "cli/checkcommand.h"

#include "cli/command.h"
#include "cli/commandline.h"

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
    return {
        {QStringLiteral("folder"), sensor.folder},
        {QStringLiteral("listed"), isListed},
        {QStringLiteral("samples"), qint64(sensor.samples)},
        {QStringLiteral("blocks"), sensor.blocks},
        {QStringLiteral("eventFiles"), sensor.events},
        {QStringLiteral("damaged"), sensor.isDamaged()},
        {QStringLiteral("problems"), QJsonArray::fromStringList(sensor.problems)},
        {QStringLiteral("files"), files},
    };
}

QString sensorText(const IntegrityReport &sensor, bool isListed)
{
    QString text = sensor.folder + QStringLiteral(": %1 block files with %2 samples, %3 event files, %4\n")
                                       .arg(sensor.blocks)
                                       .arg(sensor.samples)
                                       .arg(sensor.events)
                                       .arg(sensor.isDamaged() ? QStringLiteral("damaged") : QStringLiteral("sound"));
    if (!isListed)
        text += QStringLiteral("  not part of the session, as after a sensor was removed from it\n");
    for (const QString &problem : sensor.problems)
        text += QStringLiteral("  ") + problem + QLatin1Char('\n');
    for (const FileFinding &finding : sensor.findings) {
        text += QStringLiteral("  ") + finding.file + QStringLiteral("  ") + nameOf(finding.state);
        text +=
            finding.detail.isEmpty() ? QStringLiteral("\n") : QStringLiteral(": ") + finding.detail + QLatin1Char('\n');
    }
    return text;
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
            {QStringLiteral("sensors"), sensors}};
}

QString toText(const SessionCheck &check)
{
    QString text = QStringLiteral("Session ") + check.session + QLatin1Char('\n');
    for (const QString &problem : check.problems)
        text += problem + QLatin1Char('\n');
    for (const IntegrityReport &sensor : check.sensors)
        text += sensorText(sensor, !check.notListed.contains(sensor.folder));
    return text +
           (check.isDamaged() ? QStringLiteral("Damage was found.\n") : QStringLiteral("No damage was found.\n"));
}

ExitCode runCheck(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("check DIR [--json]"),
                     QStringLiteral("Reads every block and event file of a session folder and compares them with the "
                                    "indexes.\nChanges nothing. Exit code 4 when there is damage. While a recording "
                                    "runs, files of the\nmoment may show as unlisted."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    const CommandLine::Outcome outcome = line.parse(arguments, 1);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);

    const SessionCheck check = checkSession(line.positional(0));
    if (!QDir(check.session).exists()) {
        console.complain(QStringLiteral("there is no folder %1").arg(check.session));
        return ExitCode::Failed;
    }
    if (line.isSet(QStringLiteral("json")))
        console.out << QJsonDocument(toJson(check)).toJson();
    else
        console.out << toText(check);
    return check.isDamaged() ? ExitCode::Damage : ExitCode::Done;
}
