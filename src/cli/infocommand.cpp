#include "cli/command.h"
#include "cli/commandline.h"
#include "cli/sessioninfo.h"
#include "session/session.h"

#include <QJsonDocument>

ExitCode runInfo(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("info DIR [--json]"),
                     QStringLiteral("Shows what a session folder holds: sensors, times, samples, runs and events.\n"
                                    "Reads only, also while a recording runs."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object; times are microseconds UTC."));
    const CommandLine::Outcome outcome = line.parse(arguments, 1);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);

    SessionError error;
    const std::unique_ptr<Session> session = Session::loadReadOnly(line.positional(0), &error);
    if (!session) {
        console.complain(error.text);
        return ExitCode::Failed;
    }
    const SessionSummary summary = summaryOf(*session);
    if (line.isSet(QStringLiteral("json")))
        console.out << QJsonDocument(toJson(summary)).toJson();
    else
        console.out << toText(summary);
    return ExitCode::Done;
}
