#include "session/exclusivelock.h"

#include "base/coretext.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

namespace {

/// A lock file whose owner died before it wrote its name (a kill or a power cut leaves such) would be kept for ever;
/// its owner would have written it within this time.
constexpr int namelessStaleMs = 2000;
constexpr int namelessWaitMs = namelessStaleMs + 500;
constexpr unsigned long pollMs = 20;

QString takeoverOf(const QString &path)
{
    return path + QStringLiteral(".rmlock");
}

/// Process, program, host, machine and boot, each with its line end. Of a part of them QLockFile would take the owner
/// for one on another machine.
bool namesItsOwner(const QString &path)
{
    constexpr int lines = 5;
    constexpr qint64 most = 4096;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return true; // gone, or not for us to judge
    const QByteArray bytes = file.read(most);
    return bytes.endsWith('\n') && bytes.count('\n') >= lines;
}

/// QLockFile itself locks the takeover of a dead program's lock. One that was killed in the middle of it leaves that
/// second lock, which names nobody and would keep everyone else out for half a minute.
void waitForTakeover(const QString &path)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < namelessWaitMs) {
        const QFileInfo takeover(takeoverOf(path));
        if (!takeover.exists())
            return;
        if (takeover.lastModified().msecsTo(QDateTime::currentDateTime()) > namelessStaleMs)
            QFile::remove(takeover.filePath());
        else
            QThread::msleep(pollMs);
    }
}

} // namespace

LockAttempt takeLock(const QString &path)
{
    LockAttempt attempt;
    auto lock = std::make_unique<QLockFile>(path);
    lock->setStaleLockTime(0); // no lock is stale by age: a recording lasts for weeks
    bool taken = lock->tryLock(0);
    if (!taken && lock->error() == QLockFile::LockFailedError && QFileInfo::exists(takeoverOf(path))) {
        waitForTakeover(path);
        taken = lock->tryLock(0);
    }
    qint64 pid = 0;
    QString host;
    QString program;
    if (!taken && lock->error() == QLockFile::LockFailedError &&
        (!lock->getLockInfo(&pid, &host, &program) || !namesItsOwner(path))) {
        lock->setStaleLockTime(namelessStaleMs);
        taken = lock->tryLock(namelessWaitMs);
    }
    if (taken) {
        attempt.outcome = LockAttempt::Taken;
        attempt.lock = std::move(lock);
    } else if (lock->error() == QLockFile::LockFailedError) {
        attempt.outcome = LockAttempt::HeldByOther;
        if (program.isEmpty())
            attempt.holder = CoreText::tr("another program");
        else
            attempt.holder = CoreText::tr("%1 (process %2 on %3)").arg(program).arg(pid).arg(host);
    }
    return attempt;
}
