#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

/// A lock file that one program at a time holds, with words about who does. The lock of a program that no longer runs
/// counts as free at once, so does a lock file that still names nobody after 2 s.
struct LockAttempt
{
    enum Outcome { Taken, HeldByOther, NotWritable } outcome = NotWritable;
    std::unique_ptr<QLockFile> lock; // when taken; released with it
    QString holder;                  // "norvex (process 4711 on host lab-pc)" when held by another
};

/// Tries to take the lock at `path`. Waits only for a lock file that names nobody yet, and for one that another
/// program takes over just now, at most 2.5 s each.
LockAttempt takeLock(const QString &path);
