#pragma once

#include "cli/commandline.h"
#include "export/exportformat.h"

#include <QChar>
#include <QStringList>

/// What "norvex-cli export" was asked for.
struct ExportOptions
{
    QString session;
    QString out;    // empty: in the session's own folder of exports
    QString sensor; // serial; empty: the only one, or all where a file holds several
    bool hasFrom = false;
    bool hasTo = false;
    quint64 from = 0; // us
    quint64 to = 0;
    QChar delimiter = QLatin1Char(';');
    ExportFormat format = ExportFormat::Legacy;
    int run = 0;            // number of the run that is meant, from 1; 0: the range
    QStringList quantities; // columns of the samples; all when empty
    quint64 binWidth = 0;   // us; 0: every sample
    QStringList eventTypes; // of the events that are written; all when empty
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

private:
    Outcome parseFormat(ExportOptions &options);
};
