// Linked only with the thread sanitizer. The packaged Qt is not instrumented, so the sanitizer does not see that a mutex
// orders what two threads do and would report every pair of accesses that a mutex keeps apart. These functions take the
// place of the library's, tell the sanitizer, and leave the work to it.
#include <QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename Function>
Function original(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

void QMutex::lock() noexcept
{
    static const auto lockMutex = original<void (*)(QMutex *)>("_ZN6QMutex4lockEv");
    lockMutex(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) noexcept
{
    static const auto tryLockMutex = original<bool (*)(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = tryLockMutex(this, timeout);
    if (locked)
        __tsan_acquire(this);
    return locked;
}

void QMutex::unlock() noexcept
{
    static const auto unlockMutex = original<void (*)(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    unlockMutex(this);
}
