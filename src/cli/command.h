#pragma once

#include "cli/exitcode.h"
#include "session/session.h"

#include <QStringList>
#include <QTextStream>

class CommandLine;

/// Where a command writes: results to `out`, everything else to `err`.
struct Console
{
    QTextStream out{stdout};
    QTextStream err{stderr};

    Console();
    /// "norvex-cli: <text>" on err.
    void complain(const QString &text);
    /// Prints the help or the complaint of arguments that do not run; the exit code for them.
    ExitCode stopped(const CommandLine &line, bool help);
};

/// For a session that cannot be used.
ExitCode exitCodeOf(SessionError::Kind kind);

/// One entry of the table of commands. `run` gets the arguments from the command's name on and may run the event loop.
struct Command
{
    const char *name;
    const char *summary;
    ExitCode (*run)(const QStringList &arguments, Console &console);
};

ExitCode runCheck(const QStringList &arguments, Console &console);
ExitCode runDiscover(const QStringList &arguments, Console &console);
ExitCode runExport(const QStringList &arguments, Console &console);
ExitCode runImport(const QStringList &arguments, Console &console);
ExitCode runInfo(const QStringList &arguments, Console &console);
ExitCode runReanalyse(const QStringList &arguments, Console &console);
ExitCode runRecipe(const QStringList &arguments, Console &console);
ExitCode runRecord(const QStringList &arguments, Console &console);
ExitCode runRecover(const QStringList &arguments, Console &console);
ExitCode runSend(const QStringList &arguments, Console &console);
