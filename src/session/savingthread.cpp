#include "session/savingthread.h"

#include "base/log.h"
#include "session/session.h"

#include <climits>

savingThread::savingThread(Session *session, QObject *parent, int periodMs)
    : QThread(parent), m_session(session), m_period(periodMs)
{
    m_stopLock.lock();
    start(QThread::InheritPriority);
}

savingThread::~savingThread()
{
    m_stopLock.unlock();
    wait(ULONG_MAX);
}

void savingThread::run()
{
    bool stopping = false;
    while (!stopping) {
        stopping = m_stopLock.tryLock(m_period);
        saveSession();
        if (m_session && !stopping)
            m_session->unloadIdleBlocks();
    }
    m_stopLock.unlock();
}

void savingThread::saveSession()
{
    if (!m_session)
        return;
    const QMutexLocker locker(&m_saveLock);
    if (!m_session->hasUnsavedData())
        return;
    logInfo(QStringLiteral("savingThread::saveSession: Session HAS UNSAVED DATA"));
    if (!m_session->save())
        logWarning(QStringLiteral("savingThread::saveSession: Periodic save check failed."));
}
