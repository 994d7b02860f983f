#include "session/exclusivelock.h"

namespace {

/// A lock file whose owner died before it wrote its name (a kill or a power cut leaves such) would be kept for ever;
/// its owner would have written it within this time.
constexpr int namelessStaleMs = 2000;
constexpr int namelessWaitMs = namelessStaleMs + 500;

} // namespace

LockAttempt takeLock(const QString &path)
{
    LockAttempt attempt;
    auto lock = std::make_unique<QLockFile>(path);
    lock->setStaleLockTime(0); // no lock is stale by age: a recording lasts for weeks
    bool taken = lock->tryLock(0);
    qint64 pid = 0;
    QString host;
    QString program;
    if (!taken && lock->error() == QLockFile::LockFailedError && !lock->getLockInfo(&pid, &host, &program)) {
        lock->setStaleLockTime(namelessStaleMs);
        taken = lock->tryLock(namelessWaitMs);
    }
    if (taken) {
        attempt.outcome = LockAttempt::Taken;
        attempt.lock = std::move(lock);
    } else if (lock->error() == QLockFile::LockFailedError) {
        attempt.outcome = LockAttempt::HeldByOther;
        if (program.isEmpty())
            attempt.holder = QStringLiteral("another program");
        else
            attempt.holder = QStringLiteral("%1 (process %2 on %3)").arg(program).arg(pid).arg(host);
    }
    return attempt;
}
