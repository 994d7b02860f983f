#include "cli/recordoptions.h"

#include <cmath>

namespace {

constexpr double maximumSeconds = 10.0 * 365 * 24 * 3600;
constexpr qint64 maximumRetryMs = 3600 * 1000;

bool readDuration(const QString &text, qint64 &ms)
{
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds <= 0 || seconds > maximumSeconds)
        return false;
    ms = qMax(qint64(1), qRound64(seconds * 1000));
    return true;
}

bool isTwice(const QVector<SensorAddress> &sensors, const SensorAddress &sensor)
{
    for (const SensorAddress &known : sensors) {
        if (known.host.compare(sensor.host, Qt::CaseInsensitive) == 0 && known.port == sensor.port)
            return true;
    }
    return false;
}

} // namespace

RecordCommandLine::RecordCommandLine()
    : CommandLine(
          QStringLiteral("record --session DIR [--sensor HOST[:PORT][,CHAMBER]]... [options]"),
          QStringLiteral(
              "Records every sample and event of one or more sensors into a session folder, until Ctrl+C or for\n"
              "a given time. The folder is created when it is missing; an existing session is continued.\n\n"
              "Example:\n"
              "  norvex-cli record --session etch --sensor 192.168.1.20,Etch1 --for 3600"))
{
    addValue(QStringLiteral("session"), QStringLiteral("DIR"), QStringLiteral("The session folder."));
    addValue(QStringLiteral("sensor"), QStringLiteral("HOST[:PORT][,CHAMBER]"),
             QStringLiteral("A sensor and the chamber it is attached to; may be repeated. Port 80 and chamber Default "
                            "when not given. Without any, the sensors that the session knows are recorded, except those "
                            "that another program records; exit code 11 then."));
    addValue(QStringLiteral("for"), QStringLiteral("SECONDS"), QStringLiteral("End after this time."));
    addValue(QStringLiteral("retry"), QStringLiteral("SECONDS"),
             QStringLiteral("Wait before a lost sensor is tried again (default 10)."));
    addFlag(QStringLiteral("json"),
            QStringLiteral("Print what the session holds as JSON at the end, like info --json."));
}

CommandLine::Outcome RecordCommandLine::parse(const QStringList &arguments, RecordOptions &options)
{
    const Outcome outcome = CommandLine::parse(arguments, 0, {QStringLiteral("sensor")});
    if (outcome != Outcome::Run)
        return outcome;
    options.session = value(QStringLiteral("session"));
    options.json = isSet(QStringLiteral("json"));
    if (options.session.isEmpty())
        return complain(QStringLiteral("--session DIR is missing"));
    const QString seconds = value(QStringLiteral("for"));
    if (!seconds.isEmpty() && !readDuration(seconds, options.durationMs))
        return complain(QStringLiteral("--for needs a number of seconds above 0, not '%1'").arg(seconds));
    const QString retry = value(QStringLiteral("retry"));
    qint64 retryMs = options.retryMs;
    if (!retry.isEmpty() && (!readDuration(retry, retryMs) || retryMs > maximumRetryMs))
        return complain(QStringLiteral("--retry needs a number of seconds up to 3600, not '%1'").arg(retry));
    options.retryMs = int(retryMs);
    const QStringList sensors = values(QStringLiteral("sensor"));
    for (const QString &text : sensors) {
        SensorAddress address;
        QString reason;
        if (!parseSensorAddress(text, address, &reason))
            return complain(reason);
        if (isTwice(options.sensors, address))
            return complain(QStringLiteral("the sensor %1:%2 is given twice").arg(address.host).arg(address.port));
        options.sensors.append(address);
    }
    return outcome;
}
