#pragma once

#include "cli/commandline.h"
#include "session/sensoraddress.h"

#include <QVector>

/// What "norvex-cli record" was asked for.
struct RecordOptions
{
    QString session;
    QVector<SensorAddress> sensors; // empty: those the session knows
    qint64 durationMs = 0;          // 0: until interrupted
    int retryMs = 10000;            // before a lost sensor is tried again
    bool json = false;
};

class RecordCommandLine : public CommandLine
{
public:
    RecordCommandLine();
    Outcome parse(const QStringList &arguments, RecordOptions &options);
};
