#include "session/session.h"

#include "base/log.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/journal.h"
#include "session/exclusivelock.h"
#include "session/sessionfile.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace {

const QStringList &sensorColours()
{
    static const QStringList colours{QStringLiteral("#2255ee"), QStringLiteral("#994455"), QStringLiteral("#779922"),
                                     QStringLiteral("#440000"), QStringLiteral("#001133"), QStringLiteral("#998899")};
    return colours;
}

void setError(SessionError *error, SessionError::Kind kind, const QString &text)
{
    if (error)
        *error = {kind, text};
}

/// What the user should know about a sensor that was loaded; empty when all was well.
QString problemOf(LoadOutcome outcome)
{
    switch (outcome) {
    case LoadOutcome::Loaded:
        return {};
    case LoadOutcome::MissingBlocks:
        return QStringLiteral("some of its sample blocks are missing");
    case LoadOutcome::Recreated:
        return QStringLiteral("its index was missing and was rebuilt from the files");
    case LoadOutcome::RestoreFailed:
        return QStringLiteral("its last save was interrupted and the backup of its index could not be put back");
    case LoadOutcome::Failed:
        return QStringLiteral("its folder could not be read");
    }
    return {};
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

const QString &Session::fileName()
{
    static const QString name = QStringLiteral("index.norvex_session");
    return name;
}

QString Session::folderOf(const QString &path)
{
    QString folder = QDir::fromNativeSeparators(path);
    if (folder == fileName())
        return QStringLiteral(".");
    const QString tail = QLatin1Char('/') + fileName();
    if (folder.endsWith(tail))
        folder.chop(tail.size());
    return folder.isEmpty() ? QStringLiteral("/") : folder;
}

std::unique_ptr<Session> Session::create(const QString &folder, SessionError *error, const Clock &clock)
{
    const QString path = QDir(folder).absolutePath();
    if (!QDir().mkpath(path)) {
        setError(error, SessionError::CannotWrite, QStringLiteral("Cannot create the folder %1").arg(path));
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path, false, clock));
    if (!session->takeFolderLock(error))
        return nullptr;
    if (QFileInfo::exists(path + QLatin1Char('/') + fileName())) {
        setError(error, SessionError::AlreadyThere, QStringLiteral("The folder %1 holds a session already").arg(path));
        return nullptr;
    }
    session->openJournal(); // of a recording that ended before its first save
    return session;
}

std::unique_ptr<Session> Session::load(const QString &folder, SessionError *error, const Progress &progress,
                                       const Clock &clock)
{
    const QString path = QDir(folderOf(folder)).absolutePath();
    if (!holdsSession(path)) {
        setError(error, SessionError::MissingFile, QStringLiteral("Could not locate file at directory:%1").arg(path));
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path, false, clock));
    if (!session->takeFolderLock(error) || !session->readSessionFile(error, progress))
        return nullptr;
    session->openJournal();
    return session;
}

std::unique_ptr<Session> Session::loadReadOnly(const QString &folder, SessionError *error, const Clock &clock)
{
    std::unique_ptr<Session> session(new Session(QDir(folderOf(folder)).absolutePath(), true, clock));
    if (!session->readSessionFile(error, {}))
        return nullptr;
    session->openJournal();
    return session;
}

bool Session::takeFolderLock(SessionError *error)
{
    LockAttempt attempt = takeLock(m_path + QStringLiteral("/norvex.lock"));
    switch (attempt.outcome) {
    case LockAttempt::Taken:
        m_folderLock = std::move(attempt.lock);
        return true;
    case LockAttempt::HeldByOther:
        setError(error, SessionError::Locked,
                 QStringLiteral("The session %1 is in use by %2").arg(m_path, attempt.holder));
        return false;
    case LockAttempt::NotWritable:
        break;
    }
    setError(error, SessionError::CannotWrite, QStringLiteral("Cannot write into the folder %1").arg(m_path));
    return false;
}

bool Session::readSessionFile(SessionError *error, const Progress &progress)
{
    const QString file = m_path + QLatin1Char('/') + fileName();
    if (!holdsSession(m_path)) {
        setError(error, SessionError::MissingFile, QStringLiteral("Could not locate file at directory:%1").arg(m_path));
        return false;
    }
    if (!QFileInfo::exists(file))
        return true; // a recording that ended before its first save: all of it is in the journal
    QByteArray bytes;
    QString reason;
    SessionFileContent content;
    if (!readWholeFile(file, bytes, sessionfile::maximumSize, &reason) || !sessionfile::read(bytes, content, &reason)) {
        setError(error, SessionError::Unreadable, QStringLiteral("Cannot read %1: %2").arg(file, reason));
        return false;
    }
    m_fileProblems = content.problems;
    m_loadProblems = content.problems;
    for (int i = 0; i < content.sensors.size(); ++i) {
        const SessionFileSensor &line = content.sensors.at(i);
        if (progress && !progress(i, content.sensors.size(), line.folder)) {
            setError(error, SessionError::Cancelled, QStringLiteral("Loading %1 was cancelled").arg(m_path));
            return false;
        }
        loadSensor(line);
    }
    for (const QString &problem : qAsConst(m_loadProblems))
        logWarning(QStringLiteral("Session::load: %1").arg(problem));
    m_fileOnDisk = fileBytes(m_sensors); // what was read counts as saved; lines left out are kept until a change
    return true;
}

void Session::loadSensor(const SessionFileSensor &line)
{
    auto data = std::make_shared<norvexData>(m_clock);
    data->setSensorSerial(line.serial);
    data->setChamberSerial(line.chamber);
    data->setFolderName(line.folder);
    if (line.timeLineKnown)
        data->setTimeLine({true, line.baseUs, line.uptimeMs});
    QString problem = problemOf(data->load(m_path, m_readOnly ? LoadMode::ReadOnly : LoadMode::Normal));
    if (!m_readOnly) {
        const int damaged = data->reconcile().damagedFiles.size();
        if (damaged > 0 && problem.isEmpty())
            problem = QStringLiteral("%1 of its files are damaged").arg(damaged);
    }
    if (!problem.isEmpty())
        m_loadProblems.append(QStringLiteral("Sensor %1: %2").arg(line.folder, problem));
    if (data->sensorSerial().isEmpty() || store(data->sensorSerial()))
        data->setSensorSerial(line.serial);
    attachLog(data);

    const QMutexLocker locker(&m_sessionLock);
    SensorEntry entry;
    entry.data = std::move(data);
    entry.address = line.address;
    entry.port = line.port;
    entry.colour = line.colour.isEmpty() ? freeColourLocked() : line.colour;
    entry.loadProblem = problem;
    m_sensors.append(entry);
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

/// A store in a folder of its own. The folder of the same sensor, removed earlier, is taken up again with what it
/// holds; a folder with anything else in it is left alone.
std::shared_ptr<norvexData> Session::newStore(const QString &serial, const QString &chamber, const QString &path) const
{
    const QString wanted = datanames::sensorFolder(serial, chamber);
    constexpr int tries = 1000;
    for (int i = 1; i <= tries; ++i) {
        const QString name = i == 1 ? wanted : QStringLiteral("%1 (%2)").arg(wanted).arg(i);
        {
            const QMutexLocker locker(&m_sessionLock);
            if (isFolderTakenLocked(name))
                continue;
        }
        auto data = std::make_shared<norvexData>(m_clock);
        data->setSensorSerial(serial);
        data->setChamberSerial(chamber);
        data->setFolderName(name);
        const QDir folder(path + QLatin1Char('/') + name);
        if (!folder.exists() || folder.isEmpty())
            return QDir().mkpath(folder.path()) ? data : nullptr;
        const bool sameSensor = folder.exists(datanames::indexFile()) && data->load(path) != LoadOutcome::Failed &&
                                data->sensorSerial() == serial;
        if (!sameSensor)
            continue;
        data->setFolderName(name);
        data->setChamberSerial(chamber);
        return data;
    }
    return nullptr;
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

bool Session::removeSensor(const QString &serial)
{
    const std::shared_ptr<norvexData> data = store(serial);
    if (!data)
        return false;
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
        saveLocked(); // its records leave the journal, which would bring it back
    }
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
    const QByteArray bytes = fileBytes(entries);
    QString reason;
    bool ok = writeFileSafely(folder + QLatin1Char('/') + fileName(), bytes, &reason);
    {
        const QMutexLocker locker(&m_sessionLock);
        m_fileOnDisk = ok ? bytes : QByteArray(); // after a failure it counts as unsaved until it is written
    }
    if (!ok)
        logWarning(QStringLiteral("Session::save: Unable to write the session file: %1").arg(reason));
    for (const SensorEntry &entry : entries)
        ok = entry.data->save(folder) && ok;
    if (ok)
        m_lastSaveMs = m_clock.utcMs();
    if (ok && m_journal)
        m_journal->commit(generation);
    return ok;
}

void Session::unloadIdleBlocks()
{
    const QVector<SensorEntry> entries = sensors();
    for (const SensorEntry &entry : entries)
        entry.data->unloadIdleBlocks();
}
