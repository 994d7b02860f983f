#include "session/sessioncheck.h"

#include "base/safefile.h"
#include "session/session.h"
#include "session/sessionfile.h"

#include <QDir>

#include <algorithm>

bool SessionCheck::isDamaged() const
{
    return !problems.isEmpty() ||
           std::any_of(sensors.begin(), sensors.end(), [](const IntegrityReport &r) { return r.isDamaged(); });
}

SessionCheck checkSession(const QString &folder)
{
    SessionCheck check;
    check.session = QDir(Session::folderOf(folder)).absolutePath();
    const QDir session(check.session);
    QByteArray bytes;
    QString reason;
    SessionFileContent content;
    if (!session.exists(Session::fileName()))
        check.problems.append(QStringLiteral("there is no session file"));
    else if (!readWholeFile(session.filePath(Session::fileName()), bytes, sessionfile::maximumSize, &reason) ||
             !sessionfile::read(bytes, content, &reason))
        check.problems.append(QStringLiteral("the session file cannot be read: %1").arg(reason));
    check.problems += content.problems;

    QStringList names;
    for (const SessionFileSensor &sensor : qAsConst(content.sensors))
        names.append(sensor.folder);
    const QStringList folders = session.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
    for (const QString &name : folders) {
        if (!names.contains(name) && holdsSensorData(session.filePath(name)))
            check.notListed.append(name);
    }
    names += check.notListed;
    for (const QString &name : qAsConst(names))
        check.sensors.append(checkSensorFolder(session.filePath(name)));
    return check;
}
