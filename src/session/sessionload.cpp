#include "base/coretext.h"
#include "base/log.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/folderrepair.h"
#include "data/integritycheck.h"
#include "session/exclusivelock.h"
#include "session/session.h"
#include "session/sessionfile.h"
#include "session/sessionimport.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

// How a session and its sensors come from a folder: creating, loading, locking, and finding a folder for a new sensor.

namespace {

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
        return CoreText::tr("some of its sample blocks are missing");
    case LoadOutcome::CutIndex:
        return CoreText::tr("its index is damaged and was completed from the files");
    case LoadOutcome::Recreated:
        return CoreText::tr("its index was missing and was rebuilt from the files");
    case LoadOutcome::RestoreFailed:
        return CoreText::tr("its last save was interrupted and the backup of its index could not be put back");
    case LoadOutcome::Failed:
        return CoreText::tr("its folder could not be read");
    }
    return {};
}

QString restoreFailedText()
{
    return CoreText::tr(
        "There seems to have been an error in saving data, the recovery process ran into some trouble that might be "
        "caused by file access rights (is your session in a write only folder ?), or full disk.\n The Norvex software "
        "will now launch a deeper recovery program which might take a while to get done.");
}

/// A session file that is damaged may have lost sensors: the folders with sensor data that it does not name are taken,
/// too, before the next save makes their loss lasting.
void addUnlistedFolders(const QString &sessionPath, QVector<SessionFileSensor> &sensors)
{
    const QDir session(sessionPath);
    for (const QString &name : session.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name)) {
        const bool listed = std::any_of(sensors.cbegin(), sensors.cend(),
                                        [&name](const SessionFileSensor &sensor) { return sensor.folder == name; });
        if (listed || !sessionfile::canName(name) || !holdsSensorData(session.filePath(name)))
            continue;
        SessionFileSensor line;
        line.folder = name;
        const SensorIdentity identity = identityOfName(name);
        line.serial = identity.serial;
        line.chamber = identity.chamber;
        sensors.append(line);
    }
}

/// A folder that is not there may have got another name: then the one with the sensor's data is it. Otherwise its
/// records in the journal would belong to nobody.
void takeRenamedFolders(const QString &sessionPath, QVector<SessionFileSensor> &sensors, QStringList &problems)
{
    const QDir session(sessionPath);
    QStringList names;
    for (const SessionFileSensor &sensor : qAsConst(sensors))
        names.append(sensor.folder);
    for (SessionFileSensor &sensor : sensors) {
        if (QFileInfo(session.filePath(sensor.folder)).isDir())
            continue;
        for (const QString &name : session.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks)) {
            const QString path = session.filePath(name);
            if (names.contains(name) || !sessionfile::canName(name) || !holdsSensorData(path) ||
                proposedNames(path).sensor != sensor.serial)
                continue;
            problems.append(CoreText::tr("the folder %1 is called %2").arg(sensor.folder, name));
            names.append(name);
            sensor.folder = name;
            break;
        }
    }
}

} // namespace

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
    for (const QChar separator : {u'/', u'\\'}) { // paths kept on the other system come along, too
        const QString tail = separator + fileName();
        if (folder.endsWith(tail)) {
            folder.chop(tail.size());
            break;
        }
    }
    return folder.isEmpty() ? QStringLiteral("/") : folder;
}

std::unique_ptr<Session> Session::create(const QString &folder, SessionError *error, const Clock &clock)
{
    const QString path = QDir(folder).absolutePath();
    if (!makeFolderSafely(path)) {
        setError(error, SessionError::CannotWrite, CoreText::tr("Cannot create the folder %1").arg(path));
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path, false, clock));
    if (!session->takeFolderLock(error))
        return nullptr;
    if (QFileInfo::exists(path + QLatin1Char('/') + fileName())) {
        setError(error, SessionError::AlreadyThere, CoreText::tr("The folder %1 holds a session already").arg(path));
        return nullptr;
    }
    session->openJournal(); // of a recording that ended before its first save
    return session;
}

std::unique_ptr<Session> Session::load(const QString &folder, SessionError *error, const Progress &progress,
                                       const Clock &clock, FailedRestore failedRestore)
{
    const QString path = QDir(folderOf(folder)).absolutePath();
    if (!holdsSession(path)) {
        setError(error, SessionError::MissingFile, CoreText::tr("Could not locate file at directory:%1").arg(path));
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path, false, clock));
    makeFolderSafely(path); // the program that made it may have been killed before its name was on disk
    if (!session->takeFolderLock(error) || !session->readSessionFile(error, progress, failedRestore))
        return nullptr;
    session->openJournal();
    return session;
}

std::unique_ptr<Session> Session::loadReadOnly(const QString &folder, SessionError *error, const Clock &clock)
{
    std::unique_ptr<Session> session(new Session(QDir(folderOf(folder)).absolutePath(), true, clock));
    if (!session->readSessionFile(error, {}, FailedRestore::GoOn))
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
                 CoreText::tr("The session %1 is in use by %2").arg(m_path, attempt.holder));
        return false;
    case LockAttempt::NotWritable:
        break;
    }
    setError(error, SessionError::CannotWrite, CoreText::tr("Cannot write into the folder %1").arg(m_path));
    return false;
}

bool Session::readSessionFile(SessionError *error, const Progress &progress, FailedRestore failedRestore)
{
    const QString file = m_path + QLatin1Char('/') + fileName();
    if (!holdsSession(m_path)) {
        setError(error, SessionError::MissingFile, CoreText::tr("Could not locate file at directory:%1").arg(m_path));
        return false;
    }
    QByteArray bytes;
    QString reason;
    SessionFileContent content;
    const bool there = QFileInfo::exists(file); // else a recording ended before its first save, or the file is lost
    if (there && (!readWholeFile(file, bytes, sessionfile::maximumSize, &reason) ||
                  !sessionfile::read(bytes, content, &reason))) {
        setError(error, SessionError::Unreadable, CoreText::tr("Cannot read %1: %2").arg(file, reason));
        return false;
    }
    takeRenamedFolders(m_path, content.sensors, content.problems);
    m_fileProblems = content.problems;
    m_loadProblems = content.problems;
    if (!there || !content.problems.isEmpty())
        addUnlistedFolders(m_path, content.sensors);
    for (int i = 0; i < content.sensors.size(); ++i) {
        const SessionFileSensor &line = content.sensors.at(i);
        if (progress && !progress(i, content.sensors.size(), line.folder)) {
            setError(error, SessionError::Cancelled, CoreText::tr("Loading %1 was cancelled").arg(m_path));
            return false;
        }
        if (loadSensor(line) == LoadOutcome::RestoreFailed && failedRestore == FailedRestore::Stop) {
            setError(error, SessionError::RestoreFailed, restoreFailedText());
            return false;
        }
    }
    for (const QString &problem : qAsConst(m_loadProblems))
        logWarning(QStringLiteral("Session::load: %1").arg(problem));
    if (there)
        m_fileOnDisk = fileBytes(m_sensors); // what was read counts as saved; lines left out are kept until a change
    return true;
}

LoadOutcome Session::loadSensor(const SessionFileSensor &line)
{
    auto data = std::make_shared<norvexData>(m_clock);
    data->setSensorSerial(line.serial);
    data->setChamberSerial(line.chamber);
    data->setFolderName(line.folder);
    if (line.timeLineKnown)
        data->setTimeLine({true, line.baseUs, line.uptimeMs});
    const LoadOutcome outcome = data->load(m_path, m_readOnly ? LoadMode::ReadOnly : LoadMode::Normal);
    QString problem = problemOf(outcome);
    if (!m_readOnly) {
        const int damaged = data->reconcile().damagedFiles.size();
        if (damaged > 0 && problem.isEmpty())
            problem = CoreText::tr("%n of its files are damaged", nullptr, damaged);
    }
    if (!problem.isEmpty())
        m_loadProblems.append(CoreText::tr("Sensor %1: %2").arg(line.folder, problem));
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
    return outcome;
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
            return makeFolderSafely(folder.path()) ? data : nullptr;
        const bool sameSensor = folder.exists(datanames::indexFile()) && data->load(path) != LoadOutcome::Failed &&
                                data->sensorSerial() == serial;
        if (!sameSensor)
            continue;
        data->reconcile();
        data->setFolderName(name);
        data->setChamberSerial(chamber);
        return data;
    }
    return nullptr;
}
