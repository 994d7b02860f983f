#include "simulator/simulatorcommand.h"

#include "simulator/faultplan.h"

#include <QCommandLineParser>
#include <QHostAddress>
#include <QRandomGenerator>

#include <cmath>
#include <limits>

namespace {

constexpr quint32 seedsByChance = 1000000;

QCommandLineOption option(const char *name, const QString &description, const char *valueName = nullptr)
{
    return QCommandLineOption(QLatin1String(name), description, valueName ? QLatin1String(valueName) : QString());
}

const char introduction[] =
    "A simulated RF sensor. It serves the pages of a real one over HTTP, so everything can be tried without hardware:\n"
    "RF-ON runs with recipe steps, arcs of every class and pulse events, all from a seed.";

const char examples[] = "\nExamples:\n"
                        "  norvex-sensor-sim --port 8080\n"
                        "      One sensor; connect to 127.0.0.1, port 8080.\n"
                        "  norvex-sensor-sim --port 8080 --sensors 4 --rate 500 --seed 7\n"
                        "      Four sensors on ports 8080 to 8083.\n"
                        "  norvex-sensor-sim --host 0.0.0.0 --port 80 --discovery\n"
                        "      Found by a network scan from other computers (port 80 needs the right to use it).\n";

const char planHelp[] = "\nFault plan: rules separated by ';', the first that fits a request decides.\n"
                        "  PAGE@WHEN=FAULT\n"
                        "    PAGE   info, frame, clear (a frame request that clears), status, data, events, config,\n"
                        "           recipe, trigger, post (any upload) or all\n"
                        "    WHEN   counted per rule: 3, 10-12, 5+, /4 (every fourth), * (each); a chance: 5%;\n"
                        "           or a time since the start: 10s-20s\n"
                        "    FAULT  one of the list\n"
                        "  reboot@30s, reboot@30s=kept   the sensor restarts and loses, or keeps, its data\n"
                        "  off@10s=2s                    the sensor cannot be reached for two seconds\n"
                        "  serial@20s=SN2                another sensor answers from then on\n"
                        "  Example: --fault 'data@3=reset;events@/10=delay:1500;status@5s-8s=404;reboot@30s'\n"
                        "\nFaults:\n";

/// Reads option values and remembers the first that makes no sense.
class Values
{
public:
    explicit Values(const QCommandLineParser &parser) : m_parser(parser) {}

    qint64 whole(const char *name, qint64 low, qint64 high, qint64 absent)
    {
        const QString text = m_parser.value(QLatin1String(name));
        if (!m_parser.isSet(QLatin1String(name)))
            return absent;
        bool ok = false;
        const qint64 value = text.toLongLong(&ok);
        if (!ok || value < low || value > high)
            refuse(QStringLiteral("--%1 wants a whole number from %2 to %3, not '%4'")
                       .arg(QLatin1String(name))
                       .arg(low)
                       .arg(high)
                       .arg(text));
        return ok ? value : absent;
    }

    double real(const char *name, double low, double high, double absent)
    {
        if (!m_parser.isSet(QLatin1String(name)))
            return absent;
        const QString text = m_parser.value(QLatin1String(name));
        bool ok = false;
        const double value = text.toDouble(&ok);
        if (!ok || !(value >= low && value <= high))
            refuse(QStringLiteral("--%1 wants a number from %2 to %3, not '%4'")
                       .arg(QLatin1String(name))
                       .arg(low)
                       .arg(high)
                       .arg(text));
        return ok ? value : absent;
    }

    /// Seconds on the command line, milliseconds inside.
    qint64 milliseconds(const char *name, double low, double high, qint64 absent)
    {
        return std::llround(1000 * real(name, low, high, double(absent) / 1000));
    }

    void refuse(const QString &reason)
    {
        if (m_error.isEmpty())
            m_error = reason;
    }

    const QString &error() const { return m_error; }

private:
    const QCommandLineParser &m_parser;
    QString m_error;
};

void addOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        option("host", QStringLiteral("Address to listen on (default 127.0.0.1; 0.0.0.0 for every network)."),
               "ADDRESS"),
        option("port", QStringLiteral("TCP port to listen on (default: any free one; it is printed)."), "N"),
        option("serial", QStringLiteral("Serial number (default NVX-SIM-0001)."), "S"),
        option("sensors",
               QStringLiteral("Number of sensors, on consecutive ports, their serials numbered (default 1)."), "N"),
        option("discovery", QStringLiteral("Answer network scans (UDP port 1799).")),
        option("generation",
               QStringLiteral("2: all columns on pulsedata.cgi (default). 1: an old sensor with one pulse "
                              "slot, no event counters, and databis.cgi only."),
               "1|2"),
        option("rate", QStringLiteral("Samples per second, 1 to 2000 (default 50)."), "N"),
        option("seed",
               QStringLiteral("Another seed gives other data, the same seed the same (default: another one at each "
                              "start)."),
               "N"),
        option("run-length", QStringLiteral("Length of an RF-ON run (default: as long as the recipe, at first 9)."),
               "SECONDS"),
        option("pause-length", QStringLiteral("RF off between runs (default 5)."), "SECONDS"),
        option("arcs", QStringLiteral("Arcs per minute of RF on (default 60; 0 for none)."), "N"),
        option("speed", QStringLiteral("How much faster than real time the sensor lives (default 1)."), "X"),
        option("capacity", QStringLiteral("Samples the sensor can hold; one more resets its memory (default 60000)."),
               "N"),
        option("preload", QStringLiteral("Samples, and events, that are waiting from the start."), "SAMPLES[,EVENTS]"),
        option("fault", QStringLiteral("What goes wrong, and when; see below."), "PLAN"),
        option("ledger", QStringLiteral("Append what was generated, handed out, cleared and lost to FILE."), "FILE"),
        option("end-with-input",
               QStringLiteral("End when the standard input ends, as with the program that started it.")),
    });
}

void readPreload(const QString &text, Values &values, SimulatorCommand &command)
{
    const QStringList parts = text.split(QLatin1Char(','));
    bool samplesOk = false;
    bool eventsOk = true;
    command.preloadSamples = parts[0].toInt(&samplesOk);
    if (parts.size() > 1)
        command.preloadEvents = parts[1].toInt(&eventsOk);
    const auto sensible = [](int count) { return count >= 0 && count <= 10000000; };
    if (!samplesOk || !eventsOk || parts.size() > 2 || !sensible(command.preloadSamples) ||
        !sensible(command.preloadEvents))
        values.refuse(QStringLiteral("--preload wants SAMPLES or SAMPLES,EVENTS, not '%1'").arg(text));
}

SimulatorOptions readOptions(const QCommandLineParser &parser, Values &values)
{
    SimulatorOptions options;
    if (parser.isSet(QStringLiteral("host")))
        options.host = parser.value(QStringLiteral("host"));
    if (QHostAddress(options.host).isNull())
        values.refuse(QStringLiteral("--host wants an IP address, not '%1'").arg(options.host));
    options.port = quint16(values.whole("port", 0, 65535, 0));
    if (parser.isSet(QStringLiteral("serial")))
        options.serial = parser.value(QStringLiteral("serial"));
    if (options.serial.isEmpty() || options.serial.toUtf8().size() > 56)
        values.refuse(QStringLiteral("--serial wants 1 to 56 characters"));
    options.discovery = parser.isSet(QStringLiteral("discovery"));
    options.generation = sensorpages::Generation(values.whole("generation", 1, 2, 2));
    options.rate = int(values.whole("rate", 1, 2000, options.rate));
    const qint64 byChance = QRandomGenerator::global()->bounded(1u, seedsByChance);
    options.seed = quint64(values.whole("seed", 0, std::numeric_limits<qint64>::max(), byChance));
    options.runLengthMs = values.milliseconds("run-length", 0.1, 1e6, options.runLengthMs);
    options.pauseLengthMs = values.milliseconds("pause-length", 0, 1e6, options.pauseLengthMs);
    options.arcsPerMinute = values.real("arcs", 0, 60000, options.arcsPerMinute);
    options.speed = values.real("speed", 0.01, 10000, options.speed);
    options.sampleCapacity = int(values.whole("capacity", 1, 10000000, options.sampleCapacity));
    options.faultPlan = parser.value(QStringLiteral("fault"));
    QString planError;
    if (!FaultPlan().parse(options.faultPlan.toUtf8(), options.seed, &planError))
        values.refuse(planError);
    options.ledgerPath = parser.value(QStringLiteral("ledger"));
    options.ledgerInMemory = false;
    return options;
}

/// Sensor `index` of several: its own serial, seed, port and ledger.
SimulatorOptions numbered(SimulatorOptions options, int index)
{
    if (index == 0)
        return options;
    options.serial += QStringLiteral("-%1").arg(index + 1);
    options.seed += quint64(index);
    if (options.port != 0)
        options.port = quint16(options.port + index);
    if (!options.ledgerPath.isEmpty())
        options.ledgerPath += QStringLiteral(".%1").arg(index + 1);
    return options;
}

} // namespace

SimulatorCommand parseSimulatorCommand(const QStringList &arguments)
{
    SimulatorCommand command;
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(introduction));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
    parser.addOption(help);
    addOptions(parser);

    const bool parsed = parser.parse(arguments);
    if (parser.isSet(help)) {
        command.outcome = SimulatorCommand::Outcome::ShowText;
        command.text = parser.helpText() + QLatin1String(examples) + QLatin1String(planHelp) + faultHelp();
        return command;
    }
    Values values(parser);
    if (!parsed)
        values.refuse(parser.errorText());
    if (!parser.positionalArguments().isEmpty())
        values.refuse(QStringLiteral("'%1' is not an option").arg(parser.positionalArguments().first()));
    const int count = int(values.whole("sensors", 1, 256, 1));
    if (parser.isSet(QStringLiteral("preload")))
        readPreload(parser.value(QStringLiteral("preload")), values, command);
    command.endsWithInput = parser.isSet(QStringLiteral("end-with-input"));
    const SimulatorOptions options = readOptions(parser, values);
    if (options.port != 0 && options.port + count - 1 > 65535)
        values.refuse(QStringLiteral("there are no %1 ports from %2 on").arg(count).arg(options.port));
    if (!values.error().isEmpty()) {
        command.outcome = SimulatorCommand::Outcome::BadArguments;
        command.text = values.error();
        return command;
    }
    for (int i = 0; i < count; ++i)
        command.sensors.append(numbered(options, i));
    return command;
}
