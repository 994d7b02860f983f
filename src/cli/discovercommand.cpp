#include "cli/command.h"
#include "cli/commandline.h"
#include "sensor/sensorscanner.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace {

constexpr int defaultWaitMs = 2000;
constexpr int maximumWaitMs = 600000;

QString sensorLine(const SensorScanner::Found &sensor)
{
    const QString serial = sensor.serial.isEmpty() ? QStringLiteral("(no serial)") : sensor.serial;
    return serial.leftJustified(20) + QLatin1Char(' ') + sensor.address.toString();
}

QJsonObject resultJson(const SensorScanner &scanner)
{
    QJsonArray sensors;
    for (const SensorScanner::Found &sensor : scanner.found()) {
        sensors.append(QJsonObject{{QStringLiteral("serial"), sensor.serial},
                                   {QStringLiteral("address"), sensor.address.toString()}});
    }
    return {{QStringLiteral("sensors"), sensors}};
}

/// What was tried, for somebody who finds nothing.
void explainNothing(const SensorScanner &scanner, Console &console)
{
    console.complain(QStringLiteral("no sensor answered. Tried:"));
    for (const SensorScanner::Adapter &adapter : scanner.adapters()) {
        console.err << "  " << adapter.name << ' ' << adapter.address.toString()
                    << (adapter.sent ? QString() : QStringLiteral(", could not be sent: ") + adapter.error) << '\n';
    }
    console.err << "A firewall may keep out answers to UDP ports 4660 to 4669; record and send also take an address.\n";
}

} // namespace

ExitCode runDiscover(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("discover [--wait MS] [--json]"),
                     QStringLiteral("Asks on every network of this computer for sensors and lists those that answer, "
                                    "with serial\nnumber and address. Exit code 12 when none does."));
    line.addValue(QStringLiteral("wait"), QStringLiteral("MS"),
                  QStringLiteral("How long to wait for answers (default 2000)."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    CommandLine::Outcome outcome = line.parse(arguments, 0);
    bool ok = true;
    const QString text = line.value(QStringLiteral("wait"));
    const int waitMs = text.isEmpty() ? defaultWaitMs : text.toInt(&ok);
    if (outcome == CommandLine::Outcome::Run && (!ok || waitMs < 1 || waitMs > maximumWaitMs))
        outcome = line.complain(QStringLiteral("--wait needs milliseconds up to 600000, not '%1'").arg(text));
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);

    SensorScanner scanner;
    if (!scanner.start()) {
        console.complain(QStringLiteral("Unable to listen on network, feature of discovery unavailable"));
        return ExitCode::Failed;
    }
    QTimer::singleShot(waitMs, [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    scanner.stop();
    if (line.isSet(QStringLiteral("json"))) {
        console.out << QJsonDocument(resultJson(scanner)).toJson();
    } else {
        for (const SensorScanner::Found &sensor : scanner.found())
            console.out << sensorLine(sensor) << '\n';
    }
    if (!scanner.found().isEmpty())
        return ExitCode::Done;
    explainNothing(scanner, console);
    return ExitCode::Unreachable;
}
