#include "base/platform.h"
#include "simulator/sensorsimulator.h"
#include "simulator/simulatorcommand.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

int main(int argc, char **argv)
{
    qputenv("QT_NO_THREADED_GLIB", "1"); // its event loop wakes itself for every reply that is written
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("norvex-sensor-sim"));
    QTextStream out(stdout);
    QTextStream err(stderr);

    const SimulatorCommand command = parseSimulatorCommand(QCoreApplication::arguments());
    if (command.outcome == SimulatorCommand::Outcome::ShowText) {
        out << command.text;
        return 0;
    }
    if (command.outcome == SimulatorCommand::Outcome::BadArguments) {
        err << "norvex-sensor-sim: " << command.text << "\nTry 'norvex-sensor-sim --help'.\n";
        return 2;
    }

    std::vector<std::unique_ptr<SensorSimulator>> sensors;
    for (const SimulatorOptions &options : command.sensors) {
        sensors.push_back(std::make_unique<SensorSimulator>(options));
        QString error;
        if (!sensors.back()->start(&error)) {
            err << "norvex-sensor-sim: " << error << '\n';
            return 1;
        }
        if (command.preloadSamples > 0)
            sensors.back()->preload(command.preloadSamples, command.preloadEvents);
        out << "listening on " << options.host << ':' << sensors.back()->port() << '\n';
        out.flush();
    }
    err << "seed " << command.sensors.front().seed << "; press Ctrl+C to end.\n";
    err.flush();
    platform::onInterrupt([] { QCoreApplication::quit(); });
    if (command.endsWithInput) // the thread waits in a read, and ends with the program
        std::thread([] {
            while (std::getc(stdin) != EOF)
                continue;
            if (QCoreApplication *const running = QCoreApplication::instance())
                QMetaObject::invokeMethod(running, &QCoreApplication::quit, Qt::QueuedConnection);
        }).detach();
    return QCoreApplication::exec();
}
