#include "session/session.h"

#include "base/log.h"
#include "base/safefile.h"
#include "data/journal.h"
#include "session/sessionfile.h"

#include <algorithm>

namespace {

constexpr int blocksForReaders = 48; // of 2 MB, that all stores together keep in memory besides their newest
constexpr int mostOfOneSensor = 16;

const QStringList &sensorColours()
{
    static const QStringList colours{QStringLiteral("#2255ee"), QStringLiteral("#994455"), QStringLiteral("#779922"),
                                     QStringLiteral("#440000"), QStringLiteral("#001133"), QStringLiteral("#998899")};
    return colours;
}

SessionFileSensor fileLineOf(const SensorEntry &entry)
{
    const SensorTimeLine timeLine = entry.data->timeLine();
    SessionFileSensor line;
    line.folder = entry.data->folderName();
    line.serial = entry.data->sensorSerial();
    line.chamber = entry.data->chamberSerial();
    line.address = entry.address;
    line.port = entry.port;
    line.colour = entry.colour;
    line.timeLineKnown = timeLine.known;
    line.baseUs = timeLine.baseUs;
    line.uptimeMs = timeLine.uptimeMs;
    return line;
}

} // namespace

Session::Session(const QString &folder, bool readOnly, const Clock &clock)
    : m_clock(clock), m_readOnly(readOnly), m_path(folder)
{}

Session::~Session()
{
    closeJournal();
}

QString Session::path() const
{
    const QMutexLocker locker(&m_sessionLock);
    return m_path;
}

QVector<SensorEntry> Session::sensors() const
{
    const QMutexLocker locker(&m_sessionLock);
    return m_sensors;
}

QStringList Session::chambers() const
{
    QStringList names;
    const QVector<SensorEntry> entries = sensors();
    for (const SensorEntry &entry : entries)
        names.append(entry.data->chamberSerial());
    names.removeDuplicates();
    return names;
}

std::shared_ptr<norvexData> Session::store(const QString &serial) const
{
    const QMutexLocker locker(&m_sessionLock);
    for (const SensorEntry &entry : m_sensors) {
        if (entry.data->sensorSerial() == serial)
            return entry.data;
    }
    return nullptr;
}

bool Session::isFolderTakenLocked(const QString &folder) const
{
    return std::any_of(m_sensors.begin(), m_sensors.end(), [&](const SensorEntry &entry) {
        return entry.data->folderName().compare(folder, Qt::CaseInsensitive) == 0;
    });
}

QString Session::freeColourLocked() const
{
    for (const QString &colour : sensorColours()) {
        const bool used = std::any_of(m_sensors.begin(), m_sensors.end(),
                                      [&](const SensorEntry &entry) { return entry.colour == colour; });
        if (!used)
            return colour;
    }
    return sensorColours().at(m_sensors.size() % sensorColours().size());
}

std::shared_ptr<norvexData> Session::sensorForImport(const QString &serial, const QString &chamber)
{
    const std::shared_ptr<norvexData> known = store(serial);
    return known ? known : addSensor(serial, chamber, QString(), 80);
}

std::shared_ptr<norvexData> Session::addSensor(const QString &serial, const QString &chamber, const QString &address,
                                               quint16 port)
{
    if (const std::shared_ptr<norvexData> known = store(serial)) {
        if (!chamber.isEmpty())
            known->setChamberSerial(chamber);
        setSensorAddress(serial, address, port);
        return known;
    }
    std::shared_ptr<norvexData> data =
        newStore(serial, chamber.isEmpty() ? QStringLiteral("Default") : chamber, path());
    if (!data) {
        logWarning(QStringLiteral("Session::addSensor: Unable to create the folder of sensor %1").arg(serial));
        return nullptr;
    }
    {
        const QMutexLocker locker(&m_sessionLock);
        SensorEntry entry;
        entry.data = data;
        entry.address = address;
        entry.port = port;
        entry.colour = freeColourLocked();
        m_sensors.append(entry);
    }
    attachLog(data); // once every save includes the store, so that none takes its records out of the journal
    emit sensorAdded(serial);
    return data;
}

bool Session::removeSensor(const QString &serial, bool *saved)
{
    const std::shared_ptr<norvexData> data = store(serial);
    if (!data)
        return false;
    bool isSaved = false;
    {
        const QMutexLocker saving(&m_saveLock);
        if (data->hasUnsavedData() && !data->save(path()))
            return false;
        data->setDurableLog(nullptr);
        {
            const QMutexLocker locker(&m_sessionLock);
            const auto isIt = [&](const SensorEntry &entry) { return entry.data == data; };
            m_sensors.erase(std::remove_if(m_sensors.begin(), m_sensors.end(), isIt), m_sensors.end());
        }
        isSaved = saveLocked(); // its records leave the journal, which would bring it back
    }
    if (!isSaved)
        logWarning(
            QStringLiteral("Session::removeSensor: sensor %1 comes back unless a later save succeeds").arg(serial));
    if (saved)
        *saved = isSaved;
    emit sensorRemoved(serial);
    return true;
}

void Session::setSensorAddress(const QString &serial, const QString &address, quint16 port)
{
    const QMutexLocker locker(&m_sessionLock);
    for (SensorEntry &entry : m_sensors) {
        if (entry.data->sensorSerial() != serial)
            continue;
        entry.address = address;
        entry.port = port;
    }
}

void Session::setSensorColour(const QString &serial, const QString &colour)
{
    const QMutexLocker locker(&m_sessionLock);
    for (SensorEntry &entry : m_sensors) {
        if (entry.data->sensorSerial() == serial)
            entry.colour = colour;
    }
}

QByteArray Session::fileBytes(const QVector<SensorEntry> &sensors)
{
    QVector<SessionFileSensor> lines;
    lines.reserve(sensors.size());
    for (const SensorEntry &entry : sensors)
        lines.append(fileLineOf(entry));
    return sessionfile::write(lines);
}

bool Session::hasUnsavedData() const
{
    if (m_readOnly)
        return false;
    QVector<SensorEntry> entries;
    QByteArray onDisk;
    {
        const QMutexLocker locker(&m_sessionLock);
        entries = m_sensors;
        onDisk = m_fileOnDisk;
    }
    return std::any_of(entries.cbegin(), entries.cend(),
                       [](const SensorEntry &e) { return e.data->hasUnsavedData(); }) ||
           fileBytes(entries) != onDisk;
}

bool Session::save()
{
    if (m_readOnly)
        return false;
    const QMutexLocker saving(&m_saveLock);
    return saveLocked();
}

/// What is on disk at each step: the journal holds everything since the last complete save. Its rotation begins a new
/// file, and the old ones go only when the session file and every store are durable; so after a save that fails or is
/// cut anywhere, every record is in the journal, in its store's files, or in both.
bool Session::saveLocked()
{
    // From here on records belong to the next save: all earlier ones are in the stores that are written now.
    const qint64 generation = m_journal ? m_journal->rotate() : 0;
    const QVector<SensorEntry> entries = sensors();
    const QString folder = path();
    bool fileOk = writeSessionFile(entries);
    bool ok = true;
    for (const SensorEntry &entry : entries) {
        // A time line that came since goes before what is on it: without one, the sensor's samples would be stored
        // again on another.
        const auto keepTimeLine = [&] {
            if (!hasTimeLineOnDisk(entry))
                fileOk = writeSessionFile(entries);
            return hasTimeLineOnDisk(entry);
        };
        const bool saved = entry.data->save(folder, keepTimeLine);
        ok = ok && saved;
    }
    ok = ok && fileOk;
    if (ok)
        m_lastSaveMs = m_clock.utcMs();
    if (ok && m_journal)
        m_journal->commit(generation);
    return ok;
}

bool Session::writeSessionFile(const QVector<SensorEntry> &sensors)
{
    const QHash<QString, qint64> timeLines = timeLinesOf(sensors); // first: what changes now is not taken as written
    const QByteArray bytes = fileBytes(sensors);
    QString reason;
    const bool ok = writeFileSafely(path() + QLatin1Char('/') + fileName(), bytes, &reason);
    if (!ok)
        logWarning(QStringLiteral("Session::save: Unable to write the session file: %1").arg(reason));
    const QMutexLocker locker(&m_sessionLock);
    m_fileOnDisk = ok ? bytes : QByteArray(); // after a failure it counts as unsaved until it is written
    if (ok)
        m_timeLinesOnDisk = timeLines;
    return ok;
}

QHash<QString, qint64> Session::timeLinesOf(const QVector<SensorEntry> &sensors)
{
    QHash<QString, qint64> bases;
    for (const SensorEntry &entry : sensors) {
        const SensorTimeLine line = entry.data->timeLine();
        if (line.known)
            bases.insert(entry.data->folderName(), line.baseUs);
    }
    return bases;
}

/// As the last file has it that could be written: one that fails later leaves it as it is.
bool Session::hasTimeLineOnDisk(const SensorEntry &sensor) const
{
    const SensorTimeLine line = sensor.data->timeLine();
    const QString folder = sensor.data->folderName();
    const QMutexLocker locker(&m_sessionLock);
    const auto onDisk = m_timeLinesOnDisk.constFind(folder);
    return !line.known || (onDisk != m_timeLinesOnDisk.constEnd() && *onDisk == line.baseUs);
}

void Session::unloadIdleBlocks()
{
    const QVector<SensorEntry> entries = sensors();
    for (const SensorEntry &entry : entries) {
        entry.data->setBlocksToKeep(qBound(1, blocksForReaders / entries.size(), mostOfOneSensor));
        entry.data->unloadIdleBlocks();
    }
}
