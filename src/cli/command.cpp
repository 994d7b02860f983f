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
