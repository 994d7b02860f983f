#include "data/norvexdata.h"

#include "base/bytes.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "data/eventfile.h"
#include "data/storesaver.h"

#include <QSet>
#include <QThread>

#include <algorithm>
#include <cmath>

namespace {

constexpr int samplesPerBlock = 10000;
constexpr quint64 defaultConfirmationMs = 3000;

QByteArray samplePayload(const QVector<SamplePoint> &samples)
{
    QByteArray payload(samples.size() * sampleRecordSize(SamplePoint::currentVersion), Qt::Uninitialized);
    encodeSamples(samples.constData(), samples.size(), reinterpret_cast<uchar *>(payload.data()));
    return payload;
}

QByteArray sensorPayload(const QString &serial, const QString &chamber)
{
    QByteArray payload;
    for (const QString &text : {serial, chamber}) {
        const QByteArray bytes = text.toUtf8().left(1000);
        appendBigEndian<quint16>(payload, static_cast<quint16>(bytes.size()));
        payload.append(bytes);
    }
    return payload;
}

/// Files and sensors are not trusted: with these limits no sum or difference of two bases and a time overflows.
bool isPossible(const SensorTimeLine &line)
{
    constexpr qint64 largestBaseUs = 4'610'000'000'000'000'000;
    constexpr qint64 largestUptimeMs = largestBaseUs / 1000;
    return line.baseUs >= -largestBaseUs && line.baseUs <= largestBaseUs && line.uptimeMs >= 0 &&
           line.uptimeMs <= largestUptimeMs;
}

/// The block cannot take or tell anything and waiting does not help: its file is damaged or gone.
bool isLost(const dataBlock &block)
{
    if (block.isDamaged())
        return true;
    return !block.isLoaded() && !pathlook::mayHoldFile(block.folder() + QLatin1Char('/') + block.fileName());
}

bool isRising(const QVector<SamplePoint> &samples)
{
    return std::is_sorted(samples.begin(), samples.end(),
                          [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
}

/// Code outside the list: the code of its name, else "NOTANEVENT".
void normaliseType(EventRecord &event)
{
    if (event.typeCode >= 0 && event.typeCode < eventtype::builtInCount)
        return;
    const int code = eventtype::code(event.name);
    logDebug(QStringLiteral("norvexData::addEvent: event type code %1 is unknown, \"%2\" is used")
                 .arg(event.typeCode)
                 .arg(event.name));
    event.typeCode = code < 0 ? int(eventtype::NotAnEvent) : code;
}

void fillSnapshots(EventRecord &event)
{
    const SamplePoint empty;
    if (event.snapshot1 != empty || event.snapshot2 != empty || event.snapshot3 != empty)
        return;
    if (event.samples.isEmpty()) {
        for (SamplePoint *snapshot : {&event.snapshot1, &event.snapshot2, &event.snapshot3})
            snapshot->time = event.time;
        return;
    }
    const SamplePoint &first = event.samples.constFirst();
    event.snapshot2 = first;
    event.snapshot3 = event.samples.constLast();
    event.snapshot1 = *std::max_element(
        event.samples.constBegin(), event.samples.constEnd(), [&first](const SamplePoint &a, const SamplePoint &b) {
            return std::abs(a.voltage - first.voltage) < std::abs(b.voltage - first.voltage);
        });
}

} // namespace

norvexData::norvexData(const Clock &clock)
    : m_clock(clock), m_collector(m_detector), m_chamberSerial(QStringLiteral("Default")),
      m_saveState(std::make_unique<SaveState>())
{
    configureDetector();
}

norvexData::~norvexData() = default;

QString norvexData::sensorSerial() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_sensorSerial;
}

QString norvexData::chamberSerial() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_chamberSerial;
}

void norvexData::setSensorSerial(const QString &serial)
{
    setIdentity(m_sensorSerial, serial);
}

void norvexData::setChamberSerial(const QString &chamber)
{
    setIdentity(m_chamberSerial, chamber);
}

void norvexData::setIdentity(QString &field, const QString &value)
{
    const QMutexLocker locker(&m_dataLock);
    if (field == value)
        return;
    field = value;
    m_logKnowsSensor = false;
    ++m_changes;
}

QString norvexData::folderName() const
{
    const QMutexLocker locker(&m_dataLock);
    return m_folderName;
}

void norvexData::setFolderName(const QString &name)
{
    const QMutexLocker locker(&m_dataLock);
    m_folderName = name;
}

bool norvexData::addSamples(const QVector<SamplePoint> &samples)
{
    QVector<SamplePoint> fresh = samples;
    while (!fresh.isEmpty()) {
        const std::shared_ptr<dataBlock> block = blockForInsert();
        // Only what is not later than everything stored, or not in order, can be there already. The block that takes
        // the samples refuses its own duplicates, unless the page goes on into the next one.
        if (fresh.constFirst().time <= m_lastTime || !isRising(fresh)) {
            const bool split = block->count() + fresh.size() > samplesPerBlock;
            if (!dropKnown(fresh, blocks(), split ? nullptr : block.get()))
                return false;
        }
        if (insertAll(block, fresh, &m_collector))
            break;
        if (!isLost(*block))
            return false;
        logWarning(QStringLiteral("norvexData::addSamples: a new block is begun after %1").arg(block->fileName()));
        const QMutexLocker locker(&m_dataLock);
        m_closeNewestBlock = true;
    }
    m_insideRun = m_detector.isInsideRun();
    m_currentStep = m_detector.currentStep();
    return true;
}

std::shared_ptr<dataBlock> norvexData::blockForInsert() const
{
    const QMutexLocker locker(&m_dataLock);
    if (m_blocks.isEmpty() || m_closeNewestBlock || m_blocks.constLast()->count() >= samplesPerBlock ||
        m_blocks.constLast()->isDamaged())
        return std::make_shared<dataBlock>(m_clock);
    return m_blocks.constLast();
}

/// Takes out the samples that a block holds already. False when a block could not be asked within its bounded wait.
/// With no exception a time that comes twice in the page is taken once.
bool norvexData::dropKnown(QVector<SamplePoint> &samples, const Blocks &blocks, const dataBlock *except) const
{
    const auto range = std::minmax_element(samples.constBegin(), samples.constEnd(),
                                           [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
    const quint64 first = range.first->time;
    const quint64 last = range.second->time;
    Blocks candidates;
    std::copy_if(blocks.constBegin(), blocks.constEnd(), std::back_inserter(candidates), [&](const auto &block) {
        return block.get() != except && block->minimumTime() <= last && block->maximumTime() >= first;
    });
    QSet<quint64> seen;
    QVector<SamplePoint> fresh;
    for (const SamplePoint &sample : std::as_const(samples)) {
        bool known = !except && seen.contains(sample.time);
        for (int i = 0; i < candidates.size() && !known; ++i) {
            dataBlock &block = *candidates[i];
            if (sample.time < block.minimumTime() || sample.time > block.maximumTime())
                continue;
            bool asked = true;
            known = block.contains(sample.time, &asked);
            if (!asked && !isLost(block))
                return false;
        }
        if (!except)
            seen.insert(sample.time);
        if (!known)
            fresh.append(sample);
    }
    samples = fresh;
    return true;
}

/// Fills the block, then new ones. A block that is not shared yet cannot refuse, so only the first insert can fail,
/// with nothing taken.
bool norvexData::insertAll(std::shared_ptr<dataBlock> block, const QVector<SamplePoint> &samples, SampleSink *sink)
{
    bool grown = false;
    int taken = 0;
    while (taken < samples.size()) {
        grown = grown || !block->isLoaded(); // its count may be a guess
        const int held = block->count();
        const int room = std::max(samplesPerBlock - held, 1);
        const QVector<SamplePoint> part = taken == 0 && samples.size() <= room ? samples : samples.mid(taken, room);
        if (!block->insert(part, sink))
            return false;
        takeBlock(block);
        grown = grown || block->count() != held;
        taken += part.size();
        block = blockForInsert();
    }
    if (grown)
        logChange(DurableLog::Record::Samples, [&samples] { return samplePayload(samples); });
    return true;
}

/// The block holds new samples; it is the newest one or comes after it.
void norvexData::takeBlock(const std::shared_ptr<dataBlock> &block)
{
    const QMutexLocker locker(&m_dataLock);
    widenTimes(*block);
    // An import may have put a block behind the one that is recorded into.
    if (m_blocks.isEmpty() || (m_blocks.constLast() != block && !m_blocks.contains(block))) {
        m_blocks.append(block);
        m_closeNewestBlock = false;
    }
    ++m_changes;
    ++m_revision;
}

void norvexData::widenTimes(const dataBlock &block)
{
    const bool first = m_lastTime == 0;
    m_firstTime = first ? block.minimumTime() : std::min<quint64>(m_firstTime, block.minimumTime());
    m_lastTime = std::max<quint64>(m_lastTime, block.maximumTime());
}

bool norvexData::addEvent(EventRecord event)
{
    normaliseType(event);
    if (!event.named)
        event.name.clear();
    event.filePath.clear();
    event.loaded = true;
    fillSnapshots(event);
    return storeEvent(event);
}

bool norvexData::storeEvent(const EventRecord &event)
{
    {
        const QMutexLocker locker(&m_dataLock);
        if (!m_events.add(std::make_shared<const EventRecord>(event)))
            return false;
        ++m_changes;
        ++m_revision;
    }
    logChange(DurableLog::Record::Event, [&event] { return eventfile::encode(event); });
    return true;
}

int norvexData::takeFinishedRuns()
{
    int stored = 0;
    const QVector<FinishedRun> runs = m_collector.take();
    for (const FinishedRun &run : runs)
        stored += storeEvent(eventOf(run)) ? 1 : 0;
    return stored;
}

void norvexData::setConfiguration(const SensorConfiguration &configuration)
{
    {
        const QMutexLocker locker(&m_dataLock);
        if (m_configuration == configuration)
            return;
        m_configuration = configuration;
        ++m_changes;
    }
    configureDetector();
    logChange(DurableLog::Record::Configuration, [&configuration] { return configuration.configToJSON(); });
}

void norvexData::setRecipe(const Recipe &recipe)
{
    {
        const QMutexLocker locker(&m_dataLock);
        if (m_recipe == recipe)
            return;
        m_recipe = recipe;
        ++m_changes;
    }
    configureDetector();
    logChange(DurableLog::Record::Recipe, [&recipe] { return recipe.toCompactJSON(); });
}

void norvexData::configureDetector()
{
    const SensorConfiguration settings = configuration();
    const Recipe steps = recipe();
    quint64 confirmationMs = settings.minSwitchOffLength;
    if (confirmationMs == 0 && steps.rfonoffSwitchTime(0) > 0)
        confirmationMs = static_cast<quint64>(steps.rfonoffSwitchTime(0));
    if (confirmationMs == 0)
        confirmationMs = defaultConfirmationMs;
    m_detector.setThreshold(static_cast<float>(settings.signalBaseThreshold));
    m_collector.setThreshold(static_cast<float>(settings.signalBaseThreshold));
    m_detector.setConfirmationTime(confirmationMs * 1000);
    m_detector.setRecipe(steps);
}

void norvexData::setTimeLine(const SensorTimeLine &line)
{
    if (!isPossible(line))
        return;
    bool restarted = false;
    {
        const QMutexLocker locker(&m_dataLock);
        const SensorTimeLine &old = m_timeLine;
        if (old.known == line.known && old.baseUs == line.baseUs && old.uptimeMs == line.uptimeMs)
            return;
        restarted = old.known && old.baseUs != line.baseUs;
        m_closeNewestBlock = m_closeNewestBlock || restarted;
        m_timeLine = line;
        ++m_changes;
    }
    if (restarted) {
        m_collector.restart();
        m_insideRun = false;
        m_currentStep = -1;
    }
    logChange(DurableLog::Record::TimeLine, [&line] {
        QByteArray payload;
        appendBigEndian<qint64>(payload, line.baseUs);
        appendBigEndian<qint64>(payload, line.uptimeMs);
        return payload;
    });
}

void norvexData::setDurableLog(DurableLog *log)
{
    const QMutexLocker locker(&m_dataLock);
    m_log = log;
    m_logKnowsSensor = false;
}

void norvexData::logChange(DurableLog::Record type, const std::function<QByteArray()> &payload)
{
    DurableLog *log = nullptr;
    QString folder;
    QByteArray sensor;
    {
        const QMutexLocker locker(&m_dataLock);
        if (!m_log)
            return;
        log = m_log;
        folder = m_folderName;
        // Before its first record the log is told who this is: nothing else on disk may name a new sensor yet.
        if (!m_logKnowsSensor)
            sensor = sensorPayload(m_sensorSerial, m_chamberSerial);
        m_logKnowsSensor = true;
    }
    if (!sensor.isEmpty())
        log->append(folder, DurableLog::Record::Sensor, sensor);
    log->append(folder, type, payload());
}

bool norvexData::takesMore() const
{
    DurableLog *log = nullptr;
    {
        const QMutexLocker locker(&m_dataLock);
        log = m_log;
    }
    return !log || log->takesMore();
}

void norvexData::whenDurable(QObject *context, std::function<void(bool)> done)
{
    DurableLog *log = nullptr;
    {
        const QMutexLocker locker(&m_dataLock);
        log = m_log;
    }
    if (log)
        log->whenDurable(context, std::move(done));
    else if (context->thread() == QThread::currentThread())
        done(true);
    else
        QMetaObject::invokeMethod(
            context, [done = std::move(done)] { done(true); }, Qt::QueuedConnection);
}
