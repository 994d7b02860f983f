#include "session/saveas.h"

#include "base/coretext.h"
#include "base/log.h"
#include "data/journal.h"
#include "session/session.h"

#include <QDir>

namespace {

QStringList foldersOf(const QVector<SensorEntry> &sensors)
{
    QStringList folders;
    for (const SensorEntry &entry : sensors)
        folders.append(entry.data->folderName());
    return folders;
}

CopyOutcome failed(const QString &reason)
{
    CopyOutcome outcome;
    outcome.kind = CopyOutcome::Kind::Failed;
    outcome.reason = reason;
    return outcome;
}

} // namespace

SaveAs::SaveAs(Session &session, const QString &folder) : m_session(session), m_folder(QDir(folder).absolutePath()) {}

SaveAs::~SaveAs()
{
    if (m_copied)
        giveUp();
}

CopyOutcome SaveAs::giveUp()
{
    m_copied = false;
    m_lock.reset();
    m_copy->undo();
    return m_copy->outcome();
}

bool SaveAs::takeLock()
{
    LockAttempt attempt = ::takeLock(m_folder + QStringLiteral("/norvex.lock"));
    m_lock = std::move(attempt.lock);
    return attempt.outcome == LockAttempt::Taken;
}

CopyOutcome SaveAs::copy(JobProgress *progress)
{
    if (m_session.m_readOnly)
        return failed(CoreText::tr("The session was opened for reading only"));
    const QMutexLocker saving(&m_session.m_saveLock);
    m_copy = std::make_unique<SessionCopy>(m_session.path(), m_folder);
    // What the old folder cannot take any more, as on a full disk, is in memory and goes to the new one in the end.
    if (m_session.hasUnsavedData() && !m_session.saveLocked())
        logWarning(QStringLiteral("SaveAs: the session cannot be saved where it is"));
    if (!m_copy->begin())
        return m_copy->outcome();
    m_copied = true;
    if (!takeLock()) {
        giveUp();
        return failed(CoreText::tr("Cannot write into the folder %1").arg(m_folder));
    }
    return m_copy->copy(foldersOf(m_session.sensors()), progress) ? m_copy->outcome() : giveUp();
}

CopyOutcome SaveAs::finish()
{
    if (!m_copied)
        return failed(CoreText::tr("There is no copy"));
    const QMutexLocker saving(&m_session.m_saveLock);
    if (m_session.hasUnsavedData())
        m_session.saveLocked();
    if (!m_copy->refresh(foldersOf(m_session.sensors())))
        return giveUp();
    if (!moveSession()) {
        giveUp();
        return failed(CoreText::tr("The session cannot be saved in %1").arg(m_folder));
    }
    m_copied = false;
    emit m_session.moved(m_folder);
    return m_copy->outcome();
}

/// The stores, the journal and the path change together; this thread is the one that records. When the old folder had
/// everything, a failure brings all of it back. When it had not, the session stays here and goes on trying to save.
bool SaveAs::moveSession()
{
    const QString oldPath = m_session.path();
    const bool allInOldFolder = !m_session.hasUnsavedData();
    Journal *const oldJournal = m_session.m_journal;
    const auto moveTo = [this](const QString &path, Journal *journal) {
        m_session.m_journal = journal;
        for (const SensorEntry &entry : m_session.sensors()) {
            entry.data->moveTo(path);
            entry.data->setDurableLog(journal);
        }
        const QMutexLocker locker(&m_session.m_sessionLock);
        m_session.m_path = path;
        m_session.m_fileOnDisk.clear();
        m_session.m_timeLinesOnDisk.clear();
    };
    auto journal = std::make_unique<Journal>(m_folder, &m_session);
    moveTo(m_folder, journal.get());
    const bool saved = m_session.saveLocked();
    if (!saved && allInOldFolder) {
        moveTo(oldPath, oldJournal);
        journal.reset();
        m_session.saveLocked();
        return false;
    }
    journal.release();
    m_session.m_folderLock.swap(m_lock); // the old folder's is given up with this object
    if (oldJournal) {
        if (saved)
            oldJournal->commit(oldJournal->rotate()); // answers whoever still waits: the new folder has everything
        oldJournal->deleteLater();
    }
    return true;
}
