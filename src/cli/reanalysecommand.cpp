#include "base/jobprogress.h"
#include "cli/command.h"
#include "cli/commandline.h"
#include "cli/jobrunner.h"
#include "data/reanalysis.h"
#include "recipe/configurationfile.h"
#include "session/session.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QJsonObject toJson(const QString &folder, const reanalysis::Outcome &outcome)
{
    QJsonArray changes;
    for (auto it = outcome.transitions.cbegin(); it != outcome.transitions.cend(); ++it) {
        changes.append(QJsonObject{{QStringLiteral("from"), eventtype::name(it.key().first)},
                                   {QStringLiteral("to"), eventtype::name(it.key().second)},
                                   {QStringLiteral("events"), it.value()}});
    }
    return {{QStringLiteral("folder"), folder},
            {QStringLiteral("events"), outcome.events},
            {QStringLiteral("withoutWaveform"), outcome.withoutWaveform},
            {QStringLiteral("changes"), changes}};
}

QString toText(const QString &folder, const reanalysis::Outcome &outcome)
{
    QString text = QStringLiteral("%1: %2 events reanalysed\n").arg(folder).arg(outcome.events);
    for (auto it = outcome.transitions.cbegin(); it != outcome.transitions.cend(); ++it) {
        const QString to = it.key().first == it.key().second
                               ? QStringLiteral("unchanged")
                               : QStringLiteral("to %1").arg(eventtype::name(it.key().second));
        text += QStringLiteral("  %1 %2  %3\n").arg(eventtype::name(it.key().first), to).arg(it.value());
    }
    if (outcome.withoutWaveform > 0)
        text += QStringLiteral("  %1 have no waveform and keep their class\n").arg(outcome.withoutWaveform);
    return text;
}

ExitCode reanalyse(const Session &session, const ConfigurationFile &file, const CommandLine &line, Console &console)
{
    QJsonArray sensors;
    QString text;
    const QVector<SensorEntry> entries = session.sensors();
    for (const SensorEntry &entry : entries) {
        if (line.isSet(QStringLiteral("sensor")) && entry.data->sensorSerial() != line.value(QStringLiteral("sensor")))
            continue;
        ConfigurationFile completed = file;
        completed.completeFrom(entry.data->configuration());
        reanalysis::Outcome outcome;
        runJob(console, [&](JobProgress &progress) {
            outcome = reanalysis::run(*entry.data, session.path(), completed.configuration, &progress);
        });
        if (outcome.kind == reanalysis::Outcome::Kind::Cancelled) {
            console.complain(QStringLiteral("cancelled"));
            return ExitCode::Failed;
        }
        if (outcome.kind == reanalysis::Outcome::Kind::Failed) {
            console.complain(QStringLiteral("%1/%2 cannot be written: %3")
                                 .arg(entry.data->folderName(), reanalysis::fileName(), outcome.reason));
            return ExitCode::CannotWrite;
        }
        sensors.append(toJson(entry.data->folderName(), outcome));
        text += toText(entry.data->folderName(), outcome);
    }
    if (sensors.isEmpty()) {
        console.complain(QStringLiteral("the session has no such sensor"));
        return ExitCode::Failed;
    }
    if (line.isSet(QStringLiteral("json")))
        console.out << QJsonDocument(QJsonObject{{QStringLiteral("sensors"), sensors}}).toJson();
    else
        console.out << text;
    return ExitCode::Done;
}

} // namespace

ExitCode runReanalyse(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("reanalyse DIR --config FILE [--sensor SERIAL] [--json]"),
                     QStringLiteral("Classifies the stored events of a session again with another configuration and "
                                    "writes the\nresult to \"reanalysis.dat\" in each sensor folder. The events and "
                                    "the sensors' configuration stay\nas they are. What the file does not carry is "
                                    "taken from the sensor's own. Prints how many\nevents changed "
                                    "from which class to which."));
    line.addValue(QStringLiteral("config"), QStringLiteral("FILE"), QStringLiteral("Configuration file."));
    line.addValue(QStringLiteral("sensor"), QStringLiteral("SERIAL"), QStringLiteral("Only this sensor."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    CommandLine::Outcome parsed = line.parse(arguments, 1);
    if (parsed == CommandLine::Outcome::Run && !line.isSet(QStringLiteral("config")))
        parsed = line.complain(QStringLiteral("--config is needed"));
    if (parsed != CommandLine::Outcome::Run)
        return console.stopped(line, parsed == CommandLine::Outcome::ShowHelp);

    ConfigurationFile file;
    QString reason;
    if (!file.read(line.value(QStringLiteral("config")), &reason))
        file.problems = QStringList{reason};
    for (const QString &problem : qAsConst(file.problems))
        console.complain(QStringLiteral("%1: %2").arg(line.value(QStringLiteral("config")), problem));
    if (!file.problems.isEmpty())
        return ExitCode::Failed;
    SessionError error;
    const std::unique_ptr<Session> session = Session::loadReadOnly(line.positional(0), &error);
    if (!session) {
        console.complain(error.text);
        return ExitCode::Failed;
    }
    return reanalyse(*session, file, line, console);
}
