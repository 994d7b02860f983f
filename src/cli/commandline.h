#pragma once

#include "cli/exitcode.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

/// The arguments of one command: options, positional arguments, --help and --verbose, which every command has. Nothing
/// is printed here; text() is what main prints when parse() did not end in Run.
class CommandLine
{
public:
    /// `usage` is what follows the program name in the usage line, `description` a paragraph or more.
    CommandLine(const QString &usage, const QString &description);

    void addFlag(const QString &name, const QString &text);
    void addValue(const QString &name, const QString &valueName, const QString &text);

    enum class Outcome { Run, ShowHelp, BadUsage };
    /// `arguments` begins with the command's name. Options that take one value may be given once, unless they are in
    /// `repeatable`; there must be `positionals` other arguments.
    Outcome parse(const QStringList &arguments, int positionals, const QStringList &repeatable = {});
    /// The help, or what is wrong and where to look.
    QString text() const { return m_text; }

    /// Makes a complaint of the command itself: always BadUsage.
    Outcome complain(const QString &problem);

    bool isSet(const QString &name) const { return m_parser.isSet(name); }
    QString value(const QString &name) const { return m_parser.value(name); }
    QStringList values(const QString &name) const { return m_parser.values(name); }
    QString positional(int index) const { return m_parser.positionalArguments().value(index); }

private:
    QString helpText() const;

    const QString m_usage;
    QCommandLineParser m_parser;
    QStringList m_singleValues;
    QString m_text;
};
