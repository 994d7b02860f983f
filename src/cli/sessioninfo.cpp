#include "cli/sessioninfo.h"

#include "cli/timetext.h"
#include "data/eventtypelist.h"
#include "session/session.h"

#include <QJsonArray>

#include <limits>

namespace {

SensorSummary sensorSummary(const SensorEntry &entry)
{
    const norvexData &data = *entry.data;
    SensorSummary summary;
    summary.serial = data.sensorSerial();
    summary.chamber = data.chamberSerial();
    summary.folder = data.folderName();
    summary.firstTime = data.firstTime();
    summary.lastTime = data.lastTime();
    summary.samples = data.sampleCount();
    summary.blocks = data.blockCount();
    summary.events = data.eventCount();
    summary.runs = data.runCount();
    summary.recipe = data.recipe().recipeName();
    summary.problem = entry.loadProblem;
    const QVector<EventRecord> events = data.eventsInRange(0, std::numeric_limits<quint64>::max());
    for (const EventRecord &event : events)
        ++summary.eventsByType[eventtype::nameOf(event)];
    return summary;
}

QJsonObject sensorJson(const SensorSummary &sensor)
{
    QJsonObject types;
    for (auto it = sensor.eventsByType.constBegin(); it != sensor.eventsByType.constEnd(); ++it)
        types.insert(it.key(), it.value());
    return {
        {QStringLiteral("serial"), sensor.serial},
        {QStringLiteral("chamber"), sensor.chamber},
        {QStringLiteral("folder"), sensor.folder},
        {QStringLiteral("firstTime"), qint64(sensor.firstTime)},
        {QStringLiteral("lastTime"), qint64(sensor.lastTime)},
        {QStringLiteral("samples"), qint64(sensor.samples)},
        {QStringLiteral("blocks"), sensor.blocks},
        {QStringLiteral("events"), sensor.events},
        {QStringLiteral("runs"), sensor.runs},
        {QStringLiteral("eventsByType"), types},
        {QStringLiteral("recipe"), sensor.recipe},
        {QStringLiteral("damaged"), !sensor.problem.isEmpty()},
    };
}

QString row(const char *label, const QString &value)
{
    return QStringLiteral("  %1%2\n").arg(QLatin1String(label), -10).arg(value);
}

QString counted(qint64 count, const char *one, const char *many)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

QString recordedText(const SensorSummary &sensor)
{
    if (sensor.samples == 0)
        return QStringLiteral("nothing yet");
    return QStringLiteral("%1 to %2 (%3)")
        .arg(timetext::utc(sensor.firstTime), timetext::utc(sensor.lastTime),
             timetext::span(sensor.lastTime - sensor.firstTime));
}

QString eventsText(const SensorSummary &sensor)
{
    QString text = QString::number(sensor.events);
    QStringList parts;
    for (auto it = sensor.eventsByType.constBegin(); it != sensor.eventsByType.constEnd(); ++it)
        parts.append(it.key() + QLatin1Char(' ') + QString::number(it.value()));
    return parts.isEmpty() ? text : text + QStringLiteral(": ") + parts.join(QStringLiteral(", "));
}

QString sensorText(const SensorSummary &sensor)
{
    QString text = QStringLiteral("\nSensor %1 in chamber %2\n").arg(sensor.serial, sensor.chamber);
    text += row("folder", sensor.folder);
    text += row("recorded", recordedText(sensor));
    text +=
        row("samples", QStringLiteral("%1 in %2").arg(sensor.samples).arg(counted(sensor.blocks, "block", "blocks")));
    text += row("runs", QString::number(sensor.runs));
    text += row("events", eventsText(sensor));
    text += row("recipe", sensor.recipe.isEmpty() ? QStringLiteral("-") : sensor.recipe);
    if (!sensor.problem.isEmpty())
        text += row("damaged", sensor.problem);
    return text;
}

} // namespace

SessionSummary summaryOf(const Session &session)
{
    SessionSummary summary;
    summary.session = session.path();
    summary.problems = session.fileProblems();
    const QVector<SensorEntry> entries = session.sensors();
    for (const SensorEntry &entry : entries)
        summary.sensors.append(sensorSummary(entry));
    return summary;
}

QJsonObject toJson(const SessionSummary &summary)
{
    QJsonArray sensors;
    for (const SensorSummary &sensor : summary.sensors)
        sensors.append(sensorJson(sensor));
    return {{QStringLiteral("session"), summary.session}, {QStringLiteral("sensors"), sensors}};
}

QString toText(const SessionSummary &summary)
{
    QString text =
        QStringLiteral("Session %1, %2\n").arg(summary.session, counted(summary.sensors.size(), "sensor", "sensors"));
    for (const QString &problem : summary.problems)
        text += QStringLiteral("Session file: %1\n").arg(problem);
    for (const SensorSummary &sensor : summary.sensors)
        text += sensorText(sensor);
    return text;
}
