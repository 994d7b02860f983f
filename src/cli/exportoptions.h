#pragma once

#include "cli/commandline.h"

#include <QChar>

/// What "norvex-cli export" was asked for.
struct ExportOptions
{
    QString session;
    QString out;    // empty: in the session's own folder of exports
    QString sensor; // serial; empty: the only one
    bool hasFrom = false;
    bool hasTo = false;
    quint64 from = 0; // us
    quint64 to = 0;
    QChar delimiter = QLatin1Char(';');
    bool tidy = false; // tables for data frames instead of the three fixed files
    bool events = true;
    bool rfOn = true;
    bool force = false;
    bool json = false;
};

class ExportCommandLine : public CommandLine
{
public:
    ExportCommandLine();
    Outcome parse(const QStringList &arguments, ExportOptions &options);
};
