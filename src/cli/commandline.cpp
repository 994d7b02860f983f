#include "cli/commandline.h"

CommandLine::CommandLine(const QString &usage, const QString &description) : m_usage(usage)
{
    m_parser.setApplicationDescription(description);
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    addFlag(QStringLiteral("verbose"), QStringLiteral("Also print the log lines on stderr."));
    m_parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")});
}

void CommandLine::addFlag(const QString &name, const QString &text)
{
    m_parser.addOption({name, text});
}

void CommandLine::addValue(const QString &name, const QString &valueName, const QString &text)
{
    m_parser.addOption({name, text, valueName});
    m_singleValues.append(name);
}

CommandLine::Outcome CommandLine::parse(const QStringList &arguments, int positionals, const QStringList &repeatable)
{
    const bool understood = m_parser.parse(arguments);
    if (m_parser.isSet(QStringLiteral("help"))) {
        m_text = helpText();
        return Outcome::ShowHelp;
    }
    if (!understood)
        return complain(m_parser.errorText());
    for (const QString &name : qAsConst(m_singleValues)) {
        if (m_parser.values(name).size() > 1 && !repeatable.contains(name))
            return complain(QStringLiteral("--%1 is given twice").arg(name));
        if (m_parser.isSet(name) && m_parser.value(name).isEmpty())
            return complain(QStringLiteral("--%1 needs a value").arg(name));
    }
    const QStringList others = m_parser.positionalArguments();
    if (others.size() > positionals)
        return complain(QStringLiteral("unexpected argument '%1'").arg(others.at(positionals)));
    if (others.size() < positionals)
        return complain(QStringLiteral("an argument is missing: %1").arg(m_usage));
    return Outcome::Run;
}

CommandLine::Outcome CommandLine::complain(const QString &problem)
{
    const QString command = m_usage.section(QLatin1Char(' '), 0, 0);
    m_text = QStringLiteral("norvex-cli %1: %2\nTry 'norvex-cli %1 --help'.\n").arg(command, problem);
    return Outcome::BadUsage;
}

/// The parser's own text, with a usage line of ours: the parser knows nothing of commands.
QString CommandLine::helpText() const
{
    const QString text = m_parser.helpText();
    return QStringLiteral("Usage: norvex-cli %1\n").arg(m_usage) + text.mid(text.indexOf(QLatin1Char('\n')) + 1);
}
