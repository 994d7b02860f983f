#include "base/jobprogress.h"
#include "cli/command.h"
#include "cli/commandline.h"
#include "cli/jobrunner.h"
#include "session/session.h"
#include "session/sessionimport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QJsonObject toJson(const ImportOutcome &outcome)
{
    return {{QStringLiteral("samples"), qint64(outcome.samples)},
            {QStringLiteral("knownSamples"), qint64(outcome.knownSamples)},
            {QStringLiteral("events"), outcome.events},
            {QStringLiteral("knownEvents"), outcome.knownEvents},
            {QStringLiteral("oldFormat"), !outcome.hadIndex},
            {QStringLiteral("problems"), QJsonArray::fromStringList(outcome.problems)}};
}

QString toText(const ImportOutcome &outcome)
{
    QString text = QStringLiteral("%1 samples and %2 events imported").arg(outcome.samples).arg(outcome.events);
    if (outcome.knownSamples > 0 || outcome.knownEvents > 0) {
        text += QStringLiteral(", %1 samples and %2 events were there already")
                    .arg(outcome.knownSamples)
                    .arg(outcome.knownEvents);
    }
    text += QLatin1Char('\n');
    for (const QString &problem : outcome.problems)
        text += QStringLiteral("source: ") + problem + QLatin1Char('\n');
    return text;
}

/// The one sensor folder that is meant; empty when there is none or more than one.
QString sourceFolder(const QString &source, Console &console)
{
    const QStringList folders = sensorFoldersOf(source);
    if (folders.isEmpty())
        console.complain(QStringLiteral("the folder %1 holds no sensor data").arg(source));
    else if (folders.size() > 1)
        console.complain(QStringLiteral("%1 holds several sensor folders, name one of them: %2")
                             .arg(source, folders.join(QStringLiteral(", "))));
    return folders.size() == 1 ? folders.constFirst() : QString();
}

ExitCode importInto(Session &session, const QString &source, const CommandLine &line, Console &console)
{
    const auto store =
        session.sensorForImport(line.value(QStringLiteral("sensor")), line.value(QStringLiteral("chamber")));
    if (!store) {
        console.complain(QStringLiteral("the folder of the sensor cannot be created"));
        return ExitCode::CannotWrite;
    }
    ImportOutcome outcome;
    runJob(console,
           [&](JobProgress &progress) { outcome = importSensorFolder(source, *store, session.path(), &progress); });
    const bool saved = session.save();
    if (line.isSet(QStringLiteral("json")))
        console.out << QJsonDocument(toJson(outcome)).toJson();
    else
        console.out << toText(outcome);
    if (outcome.kind == ImportOutcome::Kind::Cancelled)
        console.complain(QStringLiteral("cancelled; what was imported so far stays"));
    else if (outcome.kind != ImportOutcome::Kind::Done)
        console.complain(outcome.reason);
    else if (!saved)
        console.complain(QStringLiteral("the session cannot be saved"));
    if (!saved || outcome.cannotWrite)
        return ExitCode::CannotWrite;
    return outcome.kind == ImportOutcome::Kind::Done ? ExitCode::Done : ExitCode::Failed;
}

} // namespace

ExitCode runImport(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("import SRC DIR --sensor SERIAL --chamber NAME [--json]"),
                     QStringLiteral("Copies the samples and events of a sensor folder of another session, or of a "
                                    "folder of the old\nformat, into the session DIR as sensor SERIAL in chamber "
                                    "NAME. DIR is created when missing. SRC is\nonly read; what DIR has already is "
                                    "left out."));
    line.addValue(QStringLiteral("sensor"), QStringLiteral("SERIAL"), QStringLiteral("Serial number it gets."));
    line.addValue(QStringLiteral("chamber"), QStringLiteral("NAME"), QStringLiteral("Chamber it gets."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    CommandLine::Outcome parsed = line.parse(arguments, 2);
    if (parsed == CommandLine::Outcome::Run &&
        (!line.isSet(QStringLiteral("sensor")) || !line.isSet(QStringLiteral("chamber"))))
        parsed = line.complain(QStringLiteral("--sensor and --chamber are needed"));
    if (parsed != CommandLine::Outcome::Run)
        return console.stopped(line, parsed == CommandLine::Outcome::ShowHelp);

    const QString source = sourceFolder(line.positional(0), console);
    if (source.isEmpty())
        return ExitCode::Failed;
    SessionError error;
    const QString target = QDir(Session::folderOf(line.positional(1))).absolutePath();
    const std::unique_ptr<Session> session =
        Session::holdsSession(target) ? Session::load(target, &error) : Session::create(target, &error);
    if (!session) {
        console.complain(error.text);
        return exitCodeOf(error.kind);
    }
    return importInto(*session, source, line, console);
}
