#include "fastclock.h"
#include "options.h"
#include "simulator/sensorsimulator.h"

#include <QCoreApplication>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int firstPort = 12000;
constexpr int ports = 20000;

bool startOne(std::vector<std::unique_ptr<SensorSimulator>> &sensors, const SimulatorOptions &options, QString *error)
{
    sensors.push_back(std::make_unique<SensorSimulator>(options));
    if (sensors.back()->start(error))
        return true;
    sensors.pop_back();
    return false;
}

} // namespace

/// sensors FOLDER COUNT RATE ARCS SPEED SEED: simulated sensors, each with a ledger in the folder; prints their ports.
/// A line "NUMBER PLAN" on standard input gives a sensor another fault plan, which a line says; the end of the input
/// ends all.
int runSensors(const QStringList &arguments)
{
    const FastClock clock(arguments.value(4).toDouble());
    const int count = arguments.value(1).toInt();
    // Below those that a system gives away: a sensor that is off for a moment would find its port taken by a
    // connection.
    int port = firstPort + int(QCoreApplication::applicationPid() % ports);
    std::vector<std::unique_ptr<SensorSimulator>> sensors;
    for (int i = 0; i < count; ++i) {
        SimulatorOptions options;
        options.serial = QStringLiteral("S%1").arg(i);
        options.rate = arguments.value(2).toInt();
        options.arcsPerMinute = arguments.value(3).toDouble();
        if (options.rate == 1) { // hours go by: few and long runs
            options.runLengthMs = 1200000;
            options.pauseLengthMs = 600000;
        }
        options.seed = arguments.value(5).toULongLong() + quint64(i);
        options.ledgerPath = QStringLiteral("%1/ledger-%2").arg(arguments.value(0)).arg(i);
        options.ledgerInMemory = false;
        options.clock = &clock;
        QString error;
        bool started = false;
        for (int attempt = 0; attempt < ports && !started; ++attempt) {
            options.port = quint16(port);
            port = port + 1 < firstPort + ports ? port + 1 : firstPort;
            started = startOne(sensors, options, &error);
        }
        if (!started)
            return 1;
        // It has been up for a while: what a restart in the first seconds after a start means, nobody can tell.
        sensors.back()->preload(options.rate == 1 ? 1200 : 400, options.rate == 1 ? 0 : 5);
        std::printf("%d\n", int(sensors.back()->port()));
    }
    std::fflush(stdout);
    std::string line;
    while (std::getline(std::cin, line)) {
        const QString text = QString::fromStdString(line);
        const int number = text.section(QLatin1Char(' '), 0, 0).toInt();
        if (number < 0 || number >= count)
            return 2;
        QString error;
        if (!sensors[std::size_t(number)]->setFaultPlan(text.section(QLatin1Char(' '), 1), &error))
            std::fprintf(stderr, "sensors: %s: %s\n", line.c_str(), qPrintable(error));
        std::printf("done\n");
        std::fflush(stdout);
    }
    return 0;
}
