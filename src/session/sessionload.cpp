#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/folderrepair.h"
#include "data/integritycheck.h"
#include "data/journal.h"
#include "data/journalfile.h"
#include "data/journalreplay.h"
#include "session/exclusivelock.h"
#include "session/session.h"
#include "session/sessionfile.h"
#include "session/sessionimport.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <iterator>

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
    case LoadOutcome::Unreadable:
        return CoreText::tr("a part of it could not be read");
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

QString unreadableText(const QString &what)
{
    return CoreText::tr("Cannot read %1\nThe session was not opened: what it holds already would not be known. "
                        "Nothing in it was changed; try again, or repair the session.")
        .arg(what);
}

/// The names of the folders in a session that a line of the session file can carry.
QStringList foldersOf(const QString &sessionPath, QString *unreadable)
{
    const pathlook::Listing all = pathlook::list(sessionPath);
    if (!all.complete && unreadable->isEmpty())
        *unreadable = CoreText::tr("%1: the names in it cannot be read").arg(sessionPath);
    QStringList names;
    std::copy_if(all.folders.begin(), all.folders.end(), std::back_inserter(names), sessionfile::canName);
    names.sort();
    return names;
}

/// A session file that is damaged may have lost sensors: the folders with sensor data that it does not name are taken,
/// too, before the next save makes their loss lasting.
void addUnlistedFolders(const QString &sessionPath, QVector<SessionFileSensor> &sensors, QString *unreadable)
{
    const QStringList names = foldersOf(sessionPath, unreadable);
    for (const QString &name : names) {
        const bool listed = std::any_of(sensors.cbegin(), sensors.cend(),
                                        [&name](const SessionFileSensor &sensor) { return sensor.folder == name; });
        if (listed || !holdsSensorData(sessionPath + QLatin1Char('/') + name))
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
QHash<QString, QString> takeRenamedFolders(const QString &sessionPath, SessionFileContent &content, QString *unreadable)
{
    QHash<QString, QString> renamed;
    QStringList taken;
    for (const SessionFileSensor &sensor : qAsConst(content.sensors))
        taken.append(sensor.folder);
    for (SessionFileSensor &sensor : content.sensors) {
        if (pathlook::kindOf(sessionPath + QLatin1Char('/') + sensor.folder) != pathlook::Kind::Nothing)
            continue;
        const QStringList names = foldersOf(sessionPath, unreadable);
        for (const QString &name : names) {
            const QString path = sessionPath + QLatin1Char('/') + name;
            if (taken.contains(name) || !holdsSensorData(path) || proposedNames(path).sensor != sensor.serial)
                continue;
            content.problems.append(CoreText::tr("the folder %1 is called %2").arg(sensor.folder, name));
            taken.append(name);
            renamed.insert(sensor.folder, name);
            sensor.folder = name;
            break;
        }
    }
    return renamed;
}

/// What keeps from knowing whether there is a session in a folder; empty when nothing does.
QString unknownPart(const QString &path)
{
    const QString file = path + QLatin1Char('/') + Session::fileName();
    if (pathlook::kindOf(file) == pathlook::Kind::Unknown)
        return CoreText::tr("%1: it cannot be looked at").arg(file);
    const QString journal = journalfile::folderOf(path);
    return pathlook::list(journal).complete ? QString()
                                            : CoreText::tr("%1: the names in it cannot be read").arg(journal);
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
    const QString unknown = unknownPart(path);
    if (!unknown.isEmpty()) {
        setError(error, SessionError::Unreadable, unreadableText(unknown));
        return nullptr;
    }
    if (pathlook::kindOf(path + QLatin1Char('/') + fileName()) != pathlook::Kind::Nothing) {
        setError(error, SessionError::AlreadyThere, CoreText::tr("The folder %1 holds a session already").arg(path));
        return nullptr;
    }
    if (!session->openJournal(error)) // of a recording that ended before its first save
        return nullptr;
    return session;
}

std::unique_ptr<Session> Session::load(const QString &folder, SessionError *error, const Progress &progress,
                                       const Clock &clock, FailedRestore failedRestore)
{
    const QString path = QDir(folderOf(folder)).absolutePath();
    const QString unknown = unknownPart(path);
    if (!unknown.isEmpty()) {
        setError(error, SessionError::Unreadable, unreadableText(unknown));
        return nullptr;
    }
    if (!holdsSession(path)) {
        setError(error, SessionError::MissingFile, CoreText::tr("Could not locate file at directory:%1").arg(path));
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path, false, clock));
    makeFolderSafely(path); // the program that made it may have been killed before its name was on disk
    if (!session->takeFolderLock(error) || !session->readSessionFile(error, progress) ||
        !session->openJournal(error, failedRestore))
        return nullptr;
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

bool Session::readSessionFile(SessionError *error, const Progress &progress)
{
    const QString file = m_path + QLatin1Char('/') + fileName();
    if (!holdsSession(m_path)) {
        setError(error, SessionError::MissingFile, CoreText::tr("Could not locate file at directory:%1").arg(m_path));
        return false;
    }
    QByteArray bytes;
    QString reason;
    SessionFileContent content;
    // Else a recording ended before its first save, or the file is lost.
    const bool there = pathlook::kindOf(file) != pathlook::Kind::Nothing;
    if (there && (!readWholeFile(file, bytes, sessionfile::maximumSize, &reason) ||
                  !sessionfile::read(bytes, content, &reason))) {
        setError(error, SessionError::Unreadable, CoreText::tr("Cannot read %1: %2").arg(file, reason));
        return false;
    }
    m_renamedFolders = takeRenamedFolders(m_path, content, &m_unreadable);
    m_fileProblems = content.problems;
    m_loadProblems = content.problems;
    if (!there || !content.problems.isEmpty())
        addUnlistedFolders(m_path, content.sensors, &m_unreadable);
    for (int i = 0; i < content.sensors.size(); ++i) {
        const SessionFileSensor &line = content.sensors.at(i);
        if (progress && !progress(i, content.sensors.size(), line.folder)) {
            setError(error, SessionError::Cancelled, CoreText::tr("Loading %1 was cancelled").arg(m_path));
            return false;
        }
        loadSensor(line);
    }
    for (const QString &problem : qAsConst(m_loadProblems))
        logWarning(QStringLiteral("Session::load: %1").arg(problem));
    if (there) {
        m_fileOnDisk = fileBytes(m_sensors); // what was read counts as saved; lines left out are kept until a change
        m_timeLinesOnDisk = timeLinesOf(m_sensors);
    }
    return true;
}

void Session::cannotRead(const QString &what)
{
    if (m_unreadable.isEmpty())
        m_unreadable = what;
}

Session::LoadedFolder Session::loadFolder(norvexData &data)
{
    QString unreadable;
    LoadedFolder loaded{data.load(m_path, LoadMode::ReadOnly, &unreadable), 0};
    cannotRead(unreadable);
    const ReconcileReport report = data.reconcile(); // or the journal gives what newer blocks hold once more
    cannotRead(report.unreadable);
    loaded.damagedFiles = report.damagedFiles.size();
    return loaded;
}

void Session::loadSensor(const SessionFileSensor &line)
{
    auto data = std::make_shared<norvexData>(m_clock);
    data->setSensorSerial(line.serial);
    data->setChamberSerial(line.chamber);
    data->setFolderName(line.folder);
    if (line.timeLineKnown)
        data->setTimeLine({true, line.baseUs, line.uptimeMs});
    const LoadedFolder loaded = loadFolder(*data);
    QString problem = problemOf(loaded.outcome);
    if (loaded.damagedFiles > 0 && problem.isEmpty())
        problem = CoreText::tr("%n of its files are damaged", nullptr, loaded.damagedFiles);
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
}

/// Puts every sensor folder in order, now that all of the session was read.
bool Session::mendFolders(SessionError *error, FailedRestore failedRestore)
{
    const QVector<SensorEntry> entries = sensors();
    for (int i = 0; i < entries.size(); ++i) {
        if (entries[i].data->mendFolder(m_path))
            continue;
        if (failedRestore == FailedRestore::Stop) {
            setError(error, SessionError::RestoreFailed, restoreFailedText());
            return false;
        }
        const QString problem = problemOf(LoadOutcome::RestoreFailed);
        m_loadProblems.append(CoreText::tr("Sensor %1: %2").arg(entries[i].data->folderName(), problem));
        const QMutexLocker locker(&m_sessionLock);
        m_sensors[i].loadProblem = problem;
    }
    return true;
}

/// Replays what the last run had not saved and, unless the session is only read, begins a new journal. What was
/// replayed is saved at once, so that the old journal goes.
bool Session::openJournal(SessionError *error, FailedRestore failedRestore)
{
    const ReplayReport report =
        replayJournal(m_path, [this](const JournalSensor &sensor) { return storeForReplay(sensor); });
    for (const QString &problem : report.problems)
        m_loadProblems.append(CoreText::tr("Journal %1").arg(problem));
    cannotRead(report.unreadable);
    if (m_readOnly)
        return true;
    if (!m_unreadable.isEmpty()) {
        setError(error, SessionError::Unreadable, unreadableText(m_unreadable));
        return false;
    }
    if (!mendFolders(error, failedRestore))
        return false;
    tidyJournal(m_path, report);
    m_journal = new Journal(m_path, this, report.replayed);
    for (const SensorEntry &entry : sensors())
        attachLog(entry.data);
    if (report.entries > 0)
        save();
    return true;
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
        const pathlook::Listing held = pathlook::list(folder.path());
        if (pathlook::kindOf(folder.path()) == pathlook::Kind::Unknown || !held.complete)
            return nullptr;
        if (!folder.exists() || (held.files.isEmpty() && held.folders.isEmpty() && folder.isEmpty()))
            return makeFolderSafely(folder.path()) ? data : nullptr;
        if (!held.files.contains(datanames::indexFile()))
            continue;
        const LoadOutcome outcome = data->load(path);
        if (outcome == LoadOutcome::Unreadable || !data->reconcile().unreadable.isEmpty())
            return nullptr;
        if (outcome == LoadOutcome::Failed || data->sensorSerial() != serial)
            continue;
        data->setFolderName(name);
        data->setChamberSerial(chamber);
        return data;
    }
    return nullptr;
}
