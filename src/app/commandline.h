#pragma once

#include "session/sensoraddress.h"

#include <QString>
#include <QStringList>
#include <QVector>

/// norvex [SESSION_DIR] [--connect HOST[:PORT][,CHAMBER]]... [--safe]
struct CommandLine
{
    QString sessionFolder;
    QVector<SensorAddress> sensors;
    bool safe = false; // ignore the settings

    bool finished = false; // the program has nothing more to do
    int exitCode = 0;      // 2 for wrong usage
    QString message;       // to print, help or the reason
};

CommandLine parseCommandLine(const QStringList &arguments);
