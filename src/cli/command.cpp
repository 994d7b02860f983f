#include "cli/command.h"

#include "cli/commandline.h"

Console::Console()
{
    out.setCodec("UTF-8");
    err.setCodec("UTF-8");
}

void Console::complain(const QString &text)
{
    err << "norvex-cli: " << text << '\n';
    err.flush();
}

ExitCode Console::stopped(const CommandLine &line, bool help)
{
    (help ? out : err) << line.text();
    (help ? out : err).flush();
    return help ? ExitCode::Done : ExitCode::Usage;
}

ExitCode exitCodeOf(SessionError::Kind kind)
{
    switch (kind) {
    case SessionError::Locked:
        return ExitCode::Locked;
    case SessionError::CannotWrite:
        return ExitCode::CannotWrite;
    default:
        return ExitCode::Failed;
    }
}
