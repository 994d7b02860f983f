#pragma once

#include "simulator/simulatoroptions.h"

#include <QStringList>
#include <QVector>

/// What the arguments of norvex-sensor-sim ask for.
struct SimulatorCommand
{
    enum class Outcome { Run, ShowText, BadArguments };

    Outcome outcome = Outcome::Run;
    QString text; // the help to show, or what is wrong with the arguments
    QVector<SimulatorOptions> sensors;
    int preloadSamples = 0;
    int preloadEvents = 0;
    bool endsWithInput = false;
};

/// `arguments` begins with the name of the program.
SimulatorCommand parseSimulatorCommand(const QStringList &arguments);
