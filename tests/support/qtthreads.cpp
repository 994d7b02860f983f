// Tells the thread sanitizer what the toolkit's locks and threads mean.
//
// The packaged toolkit is not built for the sanitizer, so a lock taken inside it orders nothing and every access that
// it guards looks like a race. Each program of a sanitizer build gets these functions in place of the toolkit's: they
// call the toolkit's own and say what happened. Nothing is hidden: an access without a lock is still a race, and locks
// taken in two orders are now reported as well.

#include <QDeadlineTimer>
#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

/// The toolkit's own function of that name.
template <typename Function>
Function *toolkit(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

constexpr unsigned anyMutex = __tsan_mutex_linker_init; // made by a constructor that the sanitizer does not see

void unlocking(void *mutex)
{
    __tsan_mutex_pre_unlock(mutex, 0);
    __tsan_mutex_post_unlock(mutex, 0);
}

void locked(void *mutex, unsigned flags = 0)
{
    __tsan_mutex_pre_lock(mutex, anyMutex | flags);
    __tsan_mutex_post_lock(mutex, anyMutex | flags, 0);
}

} // namespace

void QMutex::lock() noexcept
{
    static auto *const lockMutex = toolkit<void(QMutex *)>("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, anyMutex);
    lockMutex(this);
    __tsan_mutex_post_lock(this, anyMutex, 0);
}

bool QMutex::tryLock(int timeout) noexcept
{
    static auto *const tryLockMutex = toolkit<bool(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    const bool taken = tryLockMutex(this, timeout);
    if (taken)
        locked(this, __tsan_mutex_try_lock);
    return taken;
}

void QMutex::unlock() noexcept
{
    static auto *const unlockMutex = toolkit<void(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    unlockMutex(this);
    __tsan_mutex_post_unlock(this, 0);
}

QMutex::~QMutex()
{
    static auto *const destroyMutex = toolkit<void(QMutex *)>("_ZN6QMutexD1Ev");
    __tsan_mutex_destroy(this, anyMutex);
    destroyMutex(this);
}

bool QWaitCondition::wait(QMutex *mutex, QDeadlineTimer deadline)
{
    static auto *const waitFor =
        toolkit<bool(QWaitCondition *, QMutex *, QDeadlineTimer)>("_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer");
    unlocking(mutex);
    const bool woken = waitFor(this, mutex, deadline);
    locked(mutex);
    return woken;
}

bool QWaitCondition::wait(QMutex *mutex, unsigned long time)
{
    return wait(mutex, time == ULONG_MAX ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(qint64(time)));
}

void QThread::start(Priority priority)
{
    static auto *const startThread = toolkit<void(QThread *, Priority)>("_ZN7QThread5startENS_8PriorityE");
    // Emitted in the thread itself, after run() and before wait() returns.
    connect(
        this, &QThread::finished, this, [this] { __tsan_release(this); }, Qt::ConnectionType(Qt::DirectConnection));
    startThread(this, priority);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static auto *const waitForThread = toolkit<bool(QThread *, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool ended = waitForThread(this, deadline);
    if (ended)
        __tsan_acquire(this);
    return ended;
}

bool QThread::wait(unsigned long time)
{
    return wait(time == ULONG_MAX ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(qint64(time)));
}
