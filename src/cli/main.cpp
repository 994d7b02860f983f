#include "base/log.h"
#include "base/platform.h"
#include "cli/command.h"

#include <QCoreApplication>
#include <QStandardPaths>

#include <cstdio>

namespace {

const Command commands[] = {
    {"record", "record sensors into a session folder", runRecord},
    {"info", "show what a session folder holds", runInfo},
    {"export", "write CSV files of a time range", runExport},
    {"check", "look for damaged files in a session folder and repair them", runCheck},
    {"import", "copy a sensor of another session into a session", runImport},
    {"reanalyse", "classify stored events with another configuration", runReanalyse},
    {"recover", "make a session of a folder with sensor data", runRecover},
    {"discover", "find the sensors on the network", runDiscover},
    {"send", "send a recipe, a configuration or a snapshot request to a sensor", runSend},
    {"recipe", "show a recipe file or check its rules", runRecipe},
};

QString helpText()
{
    QString text = QStringLiteral("Norvex - RF Event Detector, command line\n\n"
                                  "Usage: norvex-cli COMMAND [arguments]\n\nCommands:\n");
    for (const Command &command : commands)
        text += QStringLiteral("  %1%2\n").arg(QLatin1String(command.name), -11).arg(QLatin1String(command.summary));
    return text +
           QStringLiteral("\n'norvex-cli COMMAND --help' explains a command.\n"
                          "Results go to stdout; progress, problems and, with --verbose, the log go to stderr.\n");
}

void dropMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

void startLogging(bool verbose)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    if (!startLogFile(folder + QStringLiteral("/norvex.log"), verbose) && !verbose)
        qInstallMessageHandler(dropMessage);
}

ExitCode dispatch(QStringList arguments, Console &console)
{
    const QString name = arguments.value(0);
    if (name == QLatin1String("--help") || name == QLatin1String("-h") || name == QLatin1String("help")) {
        console.out << helpText();
        return ExitCode::Done;
    }
    if (name == QLatin1String("--version")) {
        console.out << "norvex-cli " << QCoreApplication::applicationVersion() << '\n';
        return ExitCode::Done;
    }
    for (const Command &command : commands) {
        if (name == QLatin1String(command.name)) {
            startLogging(arguments.contains(QStringLiteral("--verbose")));
            return command.run(arguments, console);
        }
    }
    if (name.isEmpty())
        console.err << helpText();
    else
        console.complain(QStringLiteral("there is no command '%1'; try 'norvex-cli --help'").arg(name));
    return ExitCode::Usage;
}

} // namespace

int main(int argc, char **argv)
{
    platform::returnLargeMemory();
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kelvaris"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("kelvaris.com"));
    QCoreApplication::setApplicationName(QStringLiteral("Norvex"));
    QCoreApplication::setApplicationVersion(
        QStringLiteral("%1.%2.%3").arg(NORVEX_VERSION_MAJOR).arg(NORVEX_VERSION_MINOR).arg(NORVEX_VERSION_PATCH));
    Console console;
    ExitCode code = dispatch(QCoreApplication::arguments().mid(1), console);
    console.out.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) { // half a result must not look like a whole one
        console.complain(QStringLiteral("the results cannot be written to the standard output"));
        code = code == ExitCode::Done ? ExitCode::CannotWrite : code;
    }
    console.err.flush();
    return int(code);
}
