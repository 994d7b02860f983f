#include "simulator/simulatedsensor.h"

#include "base/json.h"
#include "data/eventtypelist.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutexLocker>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int modelRateLimit = 1000; // sample times are whole milliseconds

ProcessSettings processSettings(const SimulatorOptions &options)
{
    ProcessSettings settings;
    settings.seed = options.seed;
    settings.rate = std::min(options.rate, modelRateLimit);
    settings.firstPauseMs = options.firstPauseMs;
    settings.runLengthMs = options.runLengthMs;
    settings.pauseLengthMs = options.pauseLengthMs;
    settings.arcsPerMinute = options.arcsPerMinute;
    settings.singleSlot = options.generation == sensorpages::Generation::First;
    return settings;
}

QByteArray renamedKey(const QByteArray &json, const QString &from, const QString &to)
{
    QJsonObject object = parseJson(json).object();
    if (object.contains(from))
        object.insert(to, object.take(from));
    return QJsonDocument(object).toJson();
}

} // namespace

SimulatedSensor::SimulatedSensor(const SimulatorOptions &options)
    : m_options(options), m_speed(options.speed * std::max(1.0, double(options.rate) / modelRateLimit)),
      m_serial(options.serial), m_model(processSettings(options)),
      m_recipe(ProcessModel::builtInRecipe(options.runLengthMs)), m_capacity(std::max(1, options.sampleCapacity)),
      m_bootedAtMs(options.clock->steadyMs())
{
    m_ledger.setKeptInMemory(options.ledgerInMemory);
    if (!options.ledgerPath.isEmpty())
        m_ledger.open(options.ledgerPath, options.serial, &m_ledgerError);
}

qint64 SimulatedSensor::uptimeMsLocked() const
{
    return m_skippedMs + qint64(double(m_options.clock->steadyMs() - m_bootedAtMs) * m_speed);
}

void SimulatedSensor::advance()
{
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
}

void SimulatedSensor::advanceLocked()
{
    const qint64 nowMs = uptimeMsLocked();
    QVector<SimulatedEvent> events;
    while (m_model.nextTimeMs() <= nowMs) {
        const SamplePoint sample = m_model.nextSample(events);
        storeLocked(sample, events);
    }
    m_ledger.flush();
}

void SimulatedSensor::preload(int samples, int events)
{
    static constexpr std::array<int, 10> classes{eventtype::E11, eventtype::E12,       eventtype::E13, eventtype::E21,
                                                 eventtype::E22, eventtype::E23,       eventtype::E31, eventtype::E32,
                                                 eventtype::E33, eventtype::PulseEvent};

    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    m_capacity = std::max(m_capacity, int(m_samples.size()) + samples);
    qint64 lastMs = 0;
    int made = 0;
    for (int i = 0; i < samples; ++i) {
        QVector<int> types;
        const qint64 due = qint64(events) * (i + 1) / samples;
        for (; made < due; ++made)
            types.append(classes[std::size_t(made) % classes.size()]);
        QVector<SimulatedEvent> newEvents;
        lastMs = m_model.nextTimeMs();
        const SamplePoint sample = m_model.nextSampleWith(types, newEvents);
        storeLocked(sample, newEvents);
    }
    m_skippedMs += std::max<qint64>(0, lastMs - uptimeMsLocked());
    m_ledger.flush();
}

void SimulatedSensor::storeLocked(const SamplePoint &sample, QVector<SimulatedEvent> &events)
{
    if (int(m_samples.size()) >= m_capacity) {
        dropSamplesLocked(qint64(m_samples.size()), false);
        ++m_fifoResets;
    }
    m_samples.push_back(sample);
    m_ledger.sampleGenerated(m_boot, sample);
    for (const SimulatedEvent &event : qAsConst(events))
        storeEventLocked(event);
    events.clear();
}

void SimulatedSensor::storeEventLocked(const SimulatedEvent &event)
{
    if (int(m_events.size()) >= m_options.eventCapacity)
        dropEventsLocked(1, false);
    m_ledger.eventGenerated(m_boot, event.timeUs, event.typeCode, event.waveform);
    m_events.push_back(event);
}

void SimulatedSensor::dropSamplesLocked(qint64 count, bool cleared)
{
    if (cleared)
        m_ledger.cleared(Ledger::Kind::Sample, m_firstSample, count);
    else
        m_ledger.lost(Ledger::Kind::Sample, m_firstSample, count);
    m_samples.erase(m_samples.begin(), m_samples.begin() + std::ptrdiff_t(count));
    m_firstSample += count;
}

void SimulatedSensor::dropEventsLocked(qint64 count, bool cleared)
{
    if (cleared)
        m_ledger.cleared(Ledger::Kind::Event, m_firstEvent, count);
    else
        m_ledger.lost(Ledger::Kind::Event, m_firstEvent, count);
    m_events.erase(m_events.begin(), m_events.begin() + std::ptrdiff_t(count));
    m_firstEvent += count;
}

void SimulatedSensor::reboot(bool keepData)
{
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    if (!keepData) {
        dropSamplesLocked(qint64(m_samples.size()), false);
        dropEventsLocked(qint64(m_events.size()), false);
    }
    m_ledger.restarted(keepData, m_options.clock->utcMs());
    m_ledger.flush();
    ++m_boot;
    m_fifoResets = 0;
    m_skippedMs = 0;
    m_lastSnapshotUs = -1;
    m_bootedAtMs = m_options.clock->steadyMs();
    m_model.restart();
}

void SimulatedSensor::setSerial(const QString &serial)
{
    const QMutexLocker locker(&m_mutex);
    m_serial = serial;
}

QByteArray SimulatedSensor::infoPage()
{
    const QMutexLocker locker(&m_mutex);
    const bool first = m_options.generation == sensorpages::Generation::First;
    return sensorpages::info({m_serial.toUtf8(),
                              first ? "NVX-100" : "NVX-200",
                              first ? "1.4.2" : "2.3.0",
                              first ? "A3" : "C7",
                              {12882000, 13560000, 14238000},
                              "2023-05-17"});
}

QByteArray SimulatedSensor::statusPage()
{
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    const qint64 uptimeMs = uptimeMsLocked();
    const double warmth = 1 - std::exp(-double(uptimeMs) / 600000);
    const double swing = 0.4 * std::sin(double(uptimeMs) / 45000);
    sensorpages::Status status;
    status.pcbTemperature = 24 + 14 * warmth + swing;
    status.sensorTemperature = 23 + 19 * warmth + (m_model.isRfOn() ? 1.5 : 0) + swing;
    status.configurationAccess = "enabled";
    status.uptimeMs = uptimeMs;
    status.sensorTime = QDateTime::fromMSecsSinceEpoch(m_options.clock->utcMs(), Qt::UTC)
                            .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                            .toLatin1();
    status.fifoResets = m_fifoResets;
    return sensorpages::status(status);
}

QByteArray SimulatedSensor::framePage()
{
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    sensorpages::Frame frame;
    frame.start = m_samples.empty() ? uptimeMsLocked() : qint64(m_samples.front().time / 1000);
    frame.maximumTransactionPoints = m_options.samplesPerPage;
    frame.numberOfPoints = qint32(m_samples.size());
    frame.numberOfEvents = qint32(m_events.size());
    return sensorpages::frame(frame, m_options.generation);
}

void SimulatedSensor::clearUpTo(qint64 index)
{
    const QMutexLocker locker(&m_mutex);
    const qint64 count = std::min(index, qint64(m_samples.size()) - 1) + 1;
    if (count <= 0)
        return;
    const qint64 lastUs = qint64(m_samples[std::size_t(count - 1)].time);
    dropSamplesLocked(count, true);
    const auto later = std::find_if(m_events.begin(), m_events.end(),
                                    [lastUs](const SimulatedEvent &event) { return event.timeUs > lastUs; });
    dropEventsLocked(later - m_events.begin(), true);
    m_ledger.flush();
}

QByteArray SimulatedSensor::samplePage(qint64 index, qint64 limit)
{
    const QMutexLocker locker(&m_mutex);
    const qint64 stored = qint64(m_samples.size());
    const qint64 first = std::max<qint64>(0, std::min(index, stored));
    const qint64 count = std::max<qint64>(0, std::min({limit, stored - first, qint64(m_options.samplesPerPage)}));
    QVector<SamplePoint> samples;
    samples.reserve(int(count));
    for (qint64 i = first; i < first + count; ++i)
        samples.append(m_samples[std::size_t(i)]);
    m_ledger.handedOut(Ledger::Kind::Sample, m_firstSample + first, count);
    m_ledger.flush();
    return sensorpages::samples(samples, m_options.generation);
}

QByteArray SimulatedSensor::eventPage(qint64 index, bool binary)
{
    const QMutexLocker locker(&m_mutex);
    if (index < 0 || index >= qint64(m_events.size()))
        return sensorpages::eventCount(int(m_events.size()));
    const SimulatedEvent &event = m_events[std::size_t(index)];
    m_ledger.handedOut(Ledger::Kind::Event, m_firstEvent + index, 1);
    m_ledger.flush();
    const QByteArray name = eventtype::name(event.typeCode).toLatin1();
    return binary ? sensorpages::binaryEvent(event, name) : sensorpages::textualEvent(event, name);
}

QByteArray SimulatedSensor::configurationPage()
{
    const QMutexLocker locker(&m_mutex);
    return renamedKey(m_configuration.configToJSON(), QStringLiteral("signalLock"), QStringLiteral("signal_lock"));
}

QByteArray SimulatedSensor::recipePage()
{
    const QMutexLocker locker(&m_mutex);
    return m_recipe.toJSON();
}

bool SimulatedSensor::takeConfiguration(const QByteArray &json)
{
    SensorConfiguration uploaded;
    if (!uploaded.configFromJSON(renamedKey(json, QStringLiteral("signalLock"), QStringLiteral("signal_lock"))))
        return false;
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    m_configuration = uploaded;
    m_model.setConfiguration(uploaded);
    return true;
}

bool SimulatedSensor::takeRecipe(const QByteArray &json)
{
    const QJsonObject object = parseJson(json).object();
    if (!object.contains(QStringLiteral("recipe_name")) && !object.contains(QStringLiteral("step_01")))
        return false;
    Recipe uploaded;
    if (!uploaded.fromJSON(json))
        return false;
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    m_recipe = uploaded;
    m_model.setRecipe(uploaded);
    return true;
}

void SimulatedSensor::takeSnapshot()
{
    const QMutexLocker locker(&m_mutex);
    advanceLocked();
    // Two triggers in one millisecond stay two events, and who clears the samples until now does not clear this.
    qint64 nowUs = uptimeMsLocked() * 1000;
    if (!m_samples.empty() && qint64(m_samples.back().time) == nowUs)
        ++nowUs;
    m_lastSnapshotUs = std::max(nowUs, m_lastSnapshotUs + 1);
    storeEventLocked(m_model.snapshot(m_lastSnapshotUs));
    m_ledger.flush();
}

QString SimulatedSensor::serial() const
{
    const QMutexLocker locker(&m_mutex);
    return m_serial;
}

Recipe SimulatedSensor::recipe() const
{
    const QMutexLocker locker(&m_mutex);
    return m_recipe;
}

SensorConfiguration SimulatedSensor::configuration() const
{
    const QMutexLocker locker(&m_mutex);
    return m_configuration;
}

LedgerSnapshot SimulatedSensor::ledger() const
{
    const QMutexLocker locker(&m_mutex);
    LedgerSnapshot copy = m_ledger.entries();
    // Copied here and now, so that the ledger never writes into lists that somebody else still reads.
    copy.samples.detach();
    copy.events.detach();
    return copy;
}

int SimulatedSensor::storedSamples() const
{
    const QMutexLocker locker(&m_mutex);
    return int(m_samples.size());
}

int SimulatedSensor::storedEvents() const
{
    const QMutexLocker locker(&m_mutex);
    return int(m_events.size());
}
