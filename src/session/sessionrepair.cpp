#include "session/sessionrepair.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "base/platform.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/integritycheck.h"
#include "data/journalcheck.h"
#include "data/journalfile.h"
#include "data/storefiles.h"
#include "session/exclusivelock.h"
#include "session/session.h"
#include "session/sessioncheck.h"
#include "session/sessionimport.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

using Outcome = SessionRepair::Outcome;

Outcome outcomeOf(SessionError::Kind kind)
{
    return kind == SessionError::Locked        ? Outcome::Locked
           : kind == SessionError::CannotWrite ? Outcome::CannotWrite
                                               : Outcome::Failed;
}

class Repairer
{
public:
    enum class Scope { ListedSensors, EverySensor };

    Repairer(const QString &folder, Scope scope, JobProgress *progress, const Clock &clock)
        : m_content(contentOfSession(folder)), m_scope(scope), m_progress(progress), m_clock(clock)
    {
        m_result.session = m_content.path;
        m_result.problems = m_content.problems;
    }

    SessionRepair run();

private:
    bool stop(Outcome outcome, const QString &reason = QString());
    bool takeLock();
    void chooseAsideFolder();
    bool giveSafeNames();
    bool takeRenamedFolder(SessionFileSensor &line, QVector<SessionFileSensor> &others) const;
    bool repairSensors();
    bool repairSensor(const QString &name, const SensorIdentity &identity);
    bool writeSessionFile();
    bool replayJournal();
    bool moveKeptJournal();

    SessionContent m_content;
    const Scope m_scope;
    JobProgress *const m_progress;
    const Clock &m_clock;
    std::unique_ptr<QLockFile> m_lock;
    SessionRepair m_result;
    QVector<SessionFileSensor> m_lines; // of the new session file
    QString m_aside;
};

bool Repairer::stop(Outcome outcome, const QString &reason)
{
    m_result.outcome = outcome;
    m_result.reason = reason;
    return false;
}

bool Repairer::takeLock()
{
    LockAttempt attempt = ::takeLock(m_content.path + QStringLiteral("/norvex.lock"));
    if (attempt.outcome == LockAttempt::HeldByOther)
        return stop(Outcome::Locked,
                    CoreText::tr("The session %1 is in use by %2").arg(m_content.path, attempt.holder));
    if (attempt.outcome == LockAttempt::NotWritable)
        return stop(Outcome::CannotWrite, CoreText::tr("Cannot write into the folder %1").arg(m_content.path));
    m_lock = std::move(attempt.lock);
    return true;
}

void Repairer::chooseAsideFolder()
{
    const QString time =
        QDateTime::fromMSecsSinceEpoch(m_clock.utcMs(), Qt::UTC).toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString path = m_content.path + QStringLiteral("/repair-") + time;
    m_aside = path;
    for (int i = 2; QFileInfo::exists(m_aside); ++i)
        m_aside = path + QStringLiteral("-%1").arg(i);
}

bool Repairer::repairSensor(const QString &name, const SensorIdentity &identity)
{
    const FolderInspection found = inspectFolder(m_content.path + QLatin1Char('/') + name, m_progress);
    SessionRepair::Sensor sensor;
    sensor.folder = name;
    sensor.repair = repairFolder(found, identity, m_aside + QLatin1Char('/') + name, m_progress);
    if (sensor.repair.outcome == FolderRepair::Outcome::Cancelled)
        return stop(Outcome::Cancelled);
    if (sensor.repair.outcome != FolderRepair::Outcome::Sound) {
        const IntegrityReport report = reportOf(found);
        sensor.found = report.problems;
        for (const FileFinding &finding : report.findings)
            sensor.found.append(QStringLiteral("%1  %2").arg(finding.file, shownNameOf(finding.state)));
        m_result.sensors.append(sensor);
        m_result.outcome = Outcome::Repaired;
    }
    const bool cannotWrite = sensor.repair.outcome == FolderRepair::Outcome::CannotWrite;
    if (cannotWrite || sensor.repair.outcome == FolderRepair::Outcome::Failed)
        return stop(cannotWrite ? Outcome::CannotWrite : Outcome::Failed,
                    CoreText::tr("Sensor %1: %2").arg(name, sensor.repair.reason));
    SessionFileSensor line;
    line.folder = name;
    line.serial = found.sensorSerial.isEmpty() ? identity.serial : found.sensorSerial;
    line.chamber = found.chamberSerial.isEmpty() ? identity.chamber : found.chamberSerial;
    m_lines.append(line);
    return true;
}

/// A folder that becomes a sensor of the session has a name that the session file can carry, and one that no other
/// folder has in another case.
bool Repairer::giveSafeNames()
{
    if (m_content.problems.isEmpty() && m_scope == Scope::ListedSensors)
        return true;
    QDir session(m_content.path);
    QSet<QString> taken;
    for (const SessionFileSensor &sensor : qAsConst(m_content.file.sensors)) {
        if (session.exists(sensor.folder)) // else the line may mean one of the others
            taken.insert(sensor.folder.toLower());
    }
    for (QString &name : m_content.notListed) {
        QString safe = datanames::lineSafe(name);
        if (!sessionfile::canName(safe))
            safe.replace(QLatin1Char(':'), QLatin1Char('_')).replace(QLatin1Char('\\'), QLatin1Char('_'));
        const QString base = safe;
        for (int i = 2; taken.contains(safe.toLower()) || (safe != name && session.exists(safe)); ++i)
            safe = QStringLiteral("%1 (%2)").arg(base).arg(i);
        taken.insert(safe.toLower());
        if (safe == name)
            continue;
        if (!session.rename(name, safe))
            return stop(Outcome::CannotWrite, CoreText::tr("Cannot rename the folder %1 to %2").arg(name, safe));
        m_result.problems.append(
            CoreText::tr("the session file cannot list the folder %1, it is called %2 now").arg(name, safe));
        name = safe;
    }
    return true;
}

/// A folder that is not there may have got another name: then the one whose index has the sensor's serial is it.
bool Repairer::takeRenamedFolder(SessionFileSensor &line, QVector<SessionFileSensor> &others) const
{
    if (QFileInfo(m_content.path + QLatin1Char('/') + line.folder).isDir())
        return false;
    for (int i = 0; i < others.size(); ++i) {
        if (others.at(i).serial == line.serial) {
            line.folder = others.takeAt(i).folder;
            return true;
        }
    }
    return false;
}

bool Repairer::repairSensors()
{
    qint64 units = 0;
    for (const SessionFileSensor &sensor : qAsConst(m_content.file.sensors))
        units += inspectionUnits(m_content.path + QLatin1Char('/') + sensor.folder);
    for (const QString &name : qAsConst(m_content.notListed))
        units += inspectionUnits(m_content.path + QLatin1Char('/') + name);
    if (m_progress)
        m_progress->begin(CoreText::tr("Checking and repairing"), units);
    QVector<SessionFileSensor> others; // in folders that the session file does not name
    for (const QString &name : qAsConst(m_content.notListed)) {
        if (!repairSensor(name, identityOfName(name)))
            return false;
        others.append(m_lines.takeLast());
    }
    for (const SessionFileSensor &sensor : qAsConst(m_content.file.sensors)) {
        SessionFileSensor line = sensor;
        if (takeRenamedFolder(line, others)) {
            m_lines.append(line);
            continue;
        }
        if (!repairSensor(sensor.folder, {sensor.serial, sensor.chamber}))
            return false;
        m_lines.last() = sensor;
    }
    const int listed = m_lines.size();
    m_lines += others;
    // A session file that says all it should leaves out what was removed from the session on purpose.
    if (m_content.problems.isEmpty() && m_scope == Scope::ListedSensors)
        m_lines.resize(listed);
    return true;
}

bool Repairer::writeSessionFile()
{
    if (m_content.problems.isEmpty() && m_lines.size() == m_content.file.sensors.size())
        return true;
    QSet<QString> serials;
    for (SessionFileSensor &line : m_lines) {
        const QString serial = line.serial.isEmpty() ? line.folder : line.serial;
        line.serial = serial;
        for (int i = 2; serials.contains(line.serial); ++i)
            line.serial = QStringLiteral("%1 (%2)").arg(serial).arg(i);
        serials.insert(line.serial);
    }
    const QString path = m_content.path + QLatin1Char('/') + Session::fileName();
    QString reason;
    if (QFileInfo::exists(path) &&
        (!QDir().mkpath(m_aside) ||
         !storefiles::copyDurably(path, m_aside + QLatin1Char('/') + Session::fileName(), &reason)))
        return stop(Outcome::CannotWrite, CoreText::tr("Cannot keep a copy of the session file: %1").arg(reason));
    if (!writeFileSafely(path, sessionfile::write(m_lines), &reason))
        return stop(Outcome::CannotWrite, CoreText::tr("Unable to write the session file: %1").arg(reason));
    m_result.outcome = Outcome::Repaired;
    return true;
}

/// Opening the session takes what its journal holds and sets a damaged journal file aside.
bool Repairer::replayJournal()
{
    const JournalCheck journal = checkJournal(m_content.path);
    m_result.problems += journal.problems;
    if (journal.records == 0 && journal.problems.isEmpty())
        return true;
    m_lock.reset();
    SessionError error;
    const std::unique_ptr<Session> session = Session::load(m_content.path, &error, {}, m_clock);
    if (!session)
        return stop(outcomeOf(error.kind), error.text);
    if (!session->save())
        return stop(Outcome::CannotWrite, CoreText::tr("The session cannot be saved"));
    m_result.outcome = Outcome::Repaired;
    return moveKeptJournal(); // while the session is locked
}

bool Repairer::moveKeptJournal()
{
    const QString from = journalfile::folderOf(m_content.path) + QLatin1Char('/');
    const QString to = journalfile::folderOf(m_aside) + QLatin1Char('/');
    const QStringList names = journalNames(m_content.path).kept;
    for (const QString &name : names) {
        if (!QDir().mkpath(to) || !platform::replaceFile(from + name, to + name))
            return stop(Outcome::CannotWrite, CoreText::tr("cannot move %1 to %2").arg(from + name, to));
        m_result.problems.append(
            CoreText::tr("journal file %1: what could not be taken of it is in %2").arg(name, m_aside));
    }
    return true;
}

SessionRepair Repairer::run()
{
    if (!QFileInfo(m_content.path).isDir()) {
        stop(Outcome::Failed, CoreText::tr("there is no folder %1").arg(m_content.path));
        return m_result;
    }
    const bool empty = m_content.file.sensors.isEmpty() && m_content.notListed.isEmpty();
    if (empty && !Session::holdsSession(m_content.path)) {
        stop(Outcome::NoData, CoreText::tr("The folder %1 holds no sensor data").arg(m_content.path));
        return m_result;
    }
    if (!takeLock())
        return m_result;
    chooseAsideFolder();
    if (giveSafeNames() && repairSensors() && writeSessionFile() && replayJournal() &&
        !QFileInfo::exists(m_content.path + QLatin1Char('/') + Session::fileName()))
        stop(Outcome::Failed, CoreText::tr("The folder %1 is not there any more").arg(m_content.path));
    m_lock.reset();
    if (QFileInfo::exists(m_aside))
        m_result.asideFolder = m_aside;
    return m_result;
}

/// Block and event files that lie in the folder itself become a sensor of a new session there; they stay as they are.
SessionRepair importLooseFiles(const QString &folder, JobProgress *progress, const Clock &clock)
{
    SessionRepair result;
    result.session = folder;
    const auto fail = [&result](Outcome outcome, const QString &reason) {
        result.outcome = outcome;
        result.reason = reason;
        return result;
    };
    SessionError error;
    const ImportNames names = proposedNames(folder);
    const std::unique_ptr<Session> session = Session::create(folder, &error, clock);
    if (!session)
        return fail(outcomeOf(error.kind), error.text);
    const auto store = session->addSensor(names.sensor, names.chamber, QString(), 80);
    if (!store)
        return fail(Outcome::CannotWrite, CoreText::tr("Cannot create a folder in %1").arg(folder));
    const ImportOutcome imported = importSensorFolder(folder, *store, folder, progress);
    result.problems = imported.problems;
    if (imported.kind == ImportOutcome::Kind::Cancelled)
        return fail(Outcome::Cancelled, {});
    if (imported.kind != ImportOutcome::Kind::Done)
        return fail(imported.cannotWrite ? Outcome::CannotWrite : Outcome::Failed, imported.reason);
    if (!session->save())
        return fail(Outcome::CannotWrite, CoreText::tr("The session cannot be saved"));
    result.outcome = Outcome::Repaired;
    return result;
}

} // namespace

SessionRepair repairSession(const QString &folder, JobProgress *progress, const Clock &clock)
{
    return Repairer(folder, Repairer::Scope::ListedSensors, progress, clock).run();
}

SessionRepair recoverSession(const QString &folder, JobProgress *progress, const Clock &clock)
{
    const QString path = QDir(Session::folderOf(folder)).absolutePath();
    QStringList problems;
    bool imported = false;
    // Without the session file: an earlier try that did not get to the end is taken up where it stopped.
    if (holdsSensorData(path) && !QFileInfo::exists(path + QLatin1Char('/') + Session::fileName())) {
        if (Session::holdsSession(QFileInfo(path).path())) // a sensor folder: its session is meant
            return recoverSession(QFileInfo(path).path(), progress, clock);
        const SessionRepair loose = importLooseFiles(path, progress, clock);
        if (!loose.isSessionThere())
            return loose;
        problems = loose.problems;
        imported = true;
    }
    SessionRepair repair = Repairer(path, Repairer::Scope::EverySensor, progress, clock).run();
    repair.problems = problems + repair.problems;
    if (imported && repair.outcome == Outcome::Sound)
        repair.outcome = Outcome::Repaired;
    return repair;
}
