#include "session/sessioncheck.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "base/safefile.h"
#include "data/journalcheck.h"
#include "session/session.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

bool SessionCheck::isDamaged() const
{
    return !problems.isEmpty() ||
           std::any_of(sensors.begin(), sensors.end(), [](const IntegrityReport &r) { return r.isDamaged(); });
}

SessionContent contentOfSession(const QString &folder)
{
    SessionContent content;
    content.path = QDir(Session::folderOf(folder)).absolutePath();
    const QDir session(content.path);
    QByteArray bytes;
    QString reason;
    if (!session.exists(Session::fileName()))
        content.problems.append(CoreText::tr("there is no session file"));
    else if (!readWholeFile(session.filePath(Session::fileName()), bytes, sessionfile::maximumSize, &reason) ||
             !sessionfile::read(bytes, content.file, &reason))
        content.problems.append(CoreText::tr("the session file cannot be read: %1").arg(reason));
    content.problems += content.file.problems;

    QStringList names;
    for (const SessionFileSensor &sensor : qAsConst(content.file.sensors)) {
        names.append(sensor.folder);
        if (!QFileInfo(session.filePath(sensor.folder)).isDir())
            content.problems.append(CoreText::tr("there is no folder %1").arg(sensor.folder));
    }
    const QStringList folders = session.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
    for (const QString &name : folders) {
        if (!names.contains(name) && holdsSensorData(session.filePath(name)))
            content.notListed.append(name);
    }
    return content;
}

namespace {

/// A recording writes its session file with its first save; until then the journal holds everything.
bool isBeforeFirstSave(const SessionContent &content, const JournalCheck &journal)
{
    return journal.records > 0 && content.notListed.isEmpty() &&
           !QFileInfo::exists(content.path + QLatin1Char('/') + Session::fileName());
}

} // namespace

SessionCheck checkSession(const QString &folder, JobProgress *progress)
{
    const SessionContent content = contentOfSession(folder);
    SessionCheck check;
    check.session = content.path;
    check.notListed = content.notListed;
    check.isListSound = content.problems.isEmpty();
    const JournalCheck journal = checkJournal(check.session);
    check.problems = isBeforeFirstSave(content, journal) ? QStringList() : content.problems;
    check.problems += journal.problems;
    check.journalRecords = journal.records;

    QStringList paths;
    for (const SessionFileSensor &sensor : content.file.sensors)
        paths.append(check.session + QLatin1Char('/') + sensor.folder);
    for (const QString &name : content.notListed)
        paths.append(check.session + QLatin1Char('/') + name);
    if (progress) {
        qint64 units = 0;
        for (const QString &path : qAsConst(paths))
            units += inspectionUnits(path);
        progress->begin(CoreText::tr("Checking"), units);
    }
    for (const QString &path : qAsConst(paths)) {
        check.sensors.append(checkSensorFolder(path, progress));
        check.cancelled = check.cancelled || check.sensors.constLast().cancelled;
    }
    return check;
}
