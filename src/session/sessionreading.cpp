#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "data/datanames.h"
#include "data/storefiles.h"
#include "session/session.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QThread>
#include <QVector>

// Reading a session that another program may be recording into.

namespace {

/// A save takes much less, and the next one is seconds away.
constexpr int pausesMs[] = {0, 50, 100, 200, 400, 800, 1600};

/// When each file was written that a save of the session writes in any case.
QVector<qint64> writtenTimes(const QString &session)
{
    QVector<qint64> times;
    const auto add = [&times](const QString &path) {
        const QFileInfo file(path);
        times << file.size() << (file.exists() ? file.lastModified().toMSecsSinceEpoch() : -1);
    };
    add(session + QLatin1Char('/') + Session::fileName());
    QStringList folders = pathlook::list(session).folders;
    folders.sort();
    for (const QString &folder : qAsConst(folders)) {
        const QString index = session + QLatin1Char('/') + folder + QLatin1Char('/') + datanames::indexFile();
        add(index);
        add(storefiles::backupPath(index));
    }
    return times;
}

} // namespace

/// What a save writes while the session is read leaves the journal, which is read last, and is in indexes that were
/// read already: then the session is read again.
std::unique_ptr<Session> Session::loadReadOnly(const QString &folder, SessionError *error, const Clock &clock)
{
    const QString path = QDir(folderOf(folder)).absolutePath();
    std::unique_ptr<Session> session;
    for (const int pauseMs : pausesMs) {
        QThread::msleep(static_cast<unsigned long>(pauseMs));
        if (error)
            *error = SessionError();
        const QVector<qint64> before = writtenTimes(path);
        session.reset(new Session(path, true, clock));
        if (!session->readSessionFile(error, {}) || !session->openJournal(error))
            session.reset();
        if (writtenTimes(path) == before)
            return session;
    }
    if (session) {
        session->m_loadProblems.append(
            CoreText::tr("it was saved again and again while it was read, some of the newest data may be missing"));
        logWarning(QStringLiteral("Session::loadReadOnly: ") + session->m_loadProblems.constLast());
    }
    return session;
}
