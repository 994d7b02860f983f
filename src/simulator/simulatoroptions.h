#pragma once

#include "base/clock.h"
#include "simulator/sensorpages.h"

#include <QString>

/// Everything that can be chosen about a simulated sensor. The defaults show runs and arcs within 20 seconds.
struct SimulatorOptions
{
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = 0; // 0: any free port
    QString serial = QStringLiteral("NVX-SIM-0001");
    sensorpages::Generation generation = sensorpages::Generation::Second;

    quint64 seed = 1;
    /// 1..2000. Sample times are whole milliseconds, so above 1000 the sensor's own clock runs faster than ours, by
    /// rate / 1000.
    int rate = 50;
    double speed = 1;            // sensor seconds per second
    qint64 firstPauseMs = 1000;  // RF off before the first run
    qint64 runLengthMs = 0;      // 0: as long as the steps of the recipe
    qint64 pauseLengthMs = 5000; // RF off between runs
    double arcsPerMinute = 60;   // while RF is on

    int sampleCapacity = 60000; // more than this resets the memory
    int eventCapacity = 2000;   // the oldest event gives way
    int samplesPerPage = 50;    // at most, whatever is asked for

    bool discovery = false;
    quint16 discoveryPort = 1799;

    QString faultPlan;
    QString ledgerPath;
    bool ledgerInMemory = true;
    const Clock *clock = &systemClock(); // outlives the simulator
};
