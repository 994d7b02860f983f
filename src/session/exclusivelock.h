#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

/// A lock file that one program at a time holds, with words about who does. The lock of a program that no longer runs,
/// and a lock file that names nobody, count as free at once.
struct LockAttempt
{
    enum Outcome { Taken, HeldByOther, NotWritable } outcome = NotWritable;
    std::unique_ptr<QLockFile> lock; // when taken; released with it
    QString holder;                  // "norvex (process 4711 on host lab-pc)" when held by another
};

/// Tries to take the lock at `path` without waiting.
LockAttempt takeLock(const QString &path);
