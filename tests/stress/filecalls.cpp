// Stands between a program and the system's file calls (LD_PRELOAD): counts them, and at a chosen one kills the process
// or makes the call fail; writes down all of them when asked. Only calls about files below one folder matter. Linux.

#include "filecalls.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using filecalls::Action;
using filecalls::Control;
using filecalls::Op;

constexpr int maximumFiles = 4096;

// What a call does decides by which errors it can fail. One that only looks changes nothing, so a kill there is none of
// its own.
enum class Kind { OpenRead, OpenWrite, Read, Write, Sync, Name, OpenFolder, Look, Other };

Control *control = nullptr;
std::uint32_t files[maximumFiles]; // number of each open file below the root, 0 for all others
off_t syncedSizes[maximumFiles];   // of them; what lies behind is only in memory yet
std::uint32_t lastFile = 0;
int traceFile = -1;

std::recursive_mutex &lock()
{
    static auto *const mutex = new std::recursive_mutex; // outlives every thread
    return *mutex;
}

/// The C library's own function of this name.
template <typename Function>
Function *real(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void begin()
{
    const char *path = std::getenv("NORVEX_FILECALLS");
    if (!path)
        return;
    const int file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC));
    if (file < 0)
        return;
    void *mapped = ::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    syscall(SYS_close, file);
    if (mapped == MAP_FAILED)
        return;
    control = static_cast<Control *>(mapped);
    if (control->trace[0] != 0)
        traceFile = static_cast<int>(
            syscall(SYS_openat, AT_FDCWD, control->trace, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

bool isBelowRoot(const char *path)
{
    const std::size_t length = control ? std::strlen(control->root) : 0;
    return length > 0 && std::strncmp(path, control->root, length) == 0 && (path[length] == '/' || path[length] == 0);
}

bool isWatched(int file)
{
    return control && file >= 0 && file < maximumFiles && files[file] != 0;
}

off_t sizeOf(int file)
{
    struct stat facts;
    return ::fstat(file, &facts) == 0 ? facts.st_size : 0;
}

bool canFail(Kind kind, int error)
{
    switch (error) {
    case EIO:
        return true;
    case EINTR:
        return kind == Kind::OpenRead || kind == Kind::OpenWrite || kind == Kind::Read || kind == Kind::Write ||
               kind == Kind::Sync;
    case ENOSPC:
        return kind == Kind::OpenWrite || kind == Kind::Write || kind == Kind::Sync || kind == Kind::Name;
    case EFBIG: // data finds no room, names do
        return kind == Kind::Write;
    case EDQUOT: // a network share says so only when it is asked to sync
        return kind == Kind::Sync;
    case EROFS:
        return kind == Kind::OpenWrite || kind == Kind::Write || kind == Kind::Name;
    default:
        return kind == Kind::OpenRead || kind == Kind::OpenWrite || kind == Kind::OpenFolder;
    }
}

/// Whether the planned action can happen at a call of this kind; others are not counted.
bool canAct(Action action, Kind kind, int error)
{
    switch (action) {
    case Action::KillBefore:
    case Action::KillAfter:
        return kind != Kind::Look && kind != Kind::OpenFolder;
    case Action::KillMiddle:
    case Action::ShortWrite:
        return kind == Kind::Write;
    case Action::Fail:
        return canFail(kind, error);
    default:
        return true;
    }
}

[[noreturn]] void die()
{
    ::kill(::getpid(), SIGKILL);
    for (;;)
        ::pause();
}

/// The action for one call, which begins here.
class Call
{
public:
    Call(const char *name, Kind kind, const char *path = nullptr) : m_locker(lock())
    {
        const auto action = static_cast<Action>(control->action.load());
        if (!canAct(action, kind, control->error))
            return;
        const std::uint64_t number = ++control->calls;
        const std::uint64_t at = control->actAt;
        if (at == 0 || number < at || (number > at && control->lasting == 0))
            return;
        m_action = action;
        if (m_action != Action::None && ++control->acted == 1)
            std::snprintf(control->what, sizeof control->what, "%s %s", name, path ? path : "");
        if (m_action == Action::KillBefore)
            die();
    }

    ~Call()
    {
        if (m_action == Action::KillAfter || m_action == Action::KillMiddle)
            die();
    }

    bool fails() const
    {
        if (m_action != Action::Fail)
            return false;
        errno = control->error;
        return true;
    }

    std::size_t lengthOf(std::size_t length) const
    {
        const bool half = m_action == Action::KillMiddle || m_action == Action::ShortWrite;
        return half && length > 1 ? length / 2 : length;
    }

private:
    const std::lock_guard<std::recursive_mutex> m_locker;
    Action m_action = Action::None;
};

void note(Op op, std::uint32_t file, std::uint64_t offset, const void *data, std::size_t length, const char *path,
          std::size_t pathLength)
{
    if (traceFile < 0)
        return;
    const filecalls::TraceEntry entry{op, file, offset, static_cast<std::uint32_t>(length),
                                      static_cast<std::uint32_t>(pathLength)};
    const int saved = errno;
    syscall(SYS_write, traceFile, &entry, sizeof entry);
    if (length > 0)
        syscall(SYS_write, traceFile, data, length);
    if (pathLength > 0)
        syscall(SYS_write, traceFile, path, pathLength);
    errno = saved;
}

void notePath(Op op, std::uint32_t file, std::uint64_t flags, const char *path)
{
    note(op, file, flags, nullptr, 0, path, std::strlen(path));
}

template <typename Open>
int opened(const char *path, int flags, Open open)
{
    if (!control || !isBelowRoot(path))
        return open();
    const bool forWriting = (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
    const Call call("open", forWriting ? Kind::OpenWrite : Kind::OpenRead, path);
    if (call.fails())
        return -1;
    const int file = open();
    if (file >= 0 && file < maximumFiles) {
        files[file] = ++lastFile;
        syncedSizes[file] = sizeOf(file);
        notePath(Op::Open, lastFile, static_cast<std::uint64_t>(flags), path);
    }
    return file;
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : mode_t(0);
}

template <typename Truncate>
int truncated(int file, std::int64_t size, Truncate truncate)
{
    if (!isWatched(file))
        return truncate();
    const Call call("ftruncate", Kind::Write);
    if (call.fails())
        return -1;
    const int result = truncate();
    if (result == 0)
        note(Op::Truncate, files[file], static_cast<std::uint64_t>(size), nullptr, 0, nullptr, 0);
    return result;
}

/// After a sync that failed nobody knows what is on disk, whatever a later sync says: here it is not what was written.
void forgetUnsynced(int file)
{
    static const char nothing[4096] = {};
    for (off_t at = syncedSizes[file], end = sizeOf(file); at < end; at += off_t(sizeof nothing)) {
        const off_t length = end - at < off_t(sizeof nothing) ? end - at : off_t(sizeof nothing);
        syscall(SYS_pwrite64, file, nothing, length, at);
    }
}

template <typename Sync>
int synced(const char *name, int file, Sync sync)
{
    if (!isWatched(file))
        return sync();
    const Call call(name, Kind::Sync);
    if (call.fails()) {
        if (errno != EINTR) // which promises another try
            forgetUnsynced(file);
        errno = control->error;
        return -1;
    }
    const int result = sync();
    if (result == 0) {
        syncedSizes[file] = sizeOf(file);
        note(Op::Sync, files[file], 0, nullptr, 0, nullptr, 0);
    }
    return result;
}

template <typename Change>
int named(Op op, const char *name, const char *path, Change change)
{
    if (!control || !isBelowRoot(path))
        return change();
    const Call call(name, Kind::Name, path);
    if (call.fails())
        return -1;
    const int result = change();
    if (result == 0)
        notePath(op, 0, 0, path);
    return result;
}

template <typename Read>
auto readFrom(int file, Read read) -> decltype(read())
{
    if (!isWatched(file))
        return read();
    const Call call("read", Kind::Read);
    return call.fails() ? -1 : read();
}

/// A call that asks for something about a path.
template <typename Look>
int looked(const char *name, const char *path, Look look)
{
    if (!control || !isBelowRoot(path))
        return look();
    const Call call(name, Kind::Look, path);
    return call.fails() ? -1 : look();
}

/// A sensor is about to be told to forget what it handed out.
void noteClear(const void *data, std::size_t length)
{
    if (traceFile < 0 || memmem(data, length, "clear_index=", 12) == nullptr)
        return;
    const std::lock_guard<std::recursive_mutex> locker(lock());
    note(Op::Clear, 0, 0, nullptr, 0, nullptr, 0);
}

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    static const auto next = real(&open, "open");
    return opened(path, flags, [&] { return next(path, flags, mode); });
}

int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    static const auto next = real(&open64, "open64");
    return opened(path, flags, [&] { return next(path, flags, mode); });
}

int openat(int at, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    static const auto next = real(&openat, "openat");
    const auto openIt = [&] { return next(at, path, flags, mode); };
    if ((flags & O_DIRECTORY) == 0 || !control || !isBelowRoot(path))
        return opened(path, flags, openIt);
    const Call call("opendir", Kind::OpenFolder, path); // then listed
    if (call.fails())
        return -1;
    const int file = openIt();
    if (file >= 0 && file < maximumFiles)
        files[file] = ++lastFile;
    return file;
}

ssize_t write(int file, const void *data, size_t length)
{
    static const auto next = real(&write, "write");
    if (!isWatched(file)) {
        noteClear(data, length);
        return next(file, data, length);
    }
    const Call call("write", Kind::Write);
    if (call.fails())
        return -1;
    const off_t offset = ::lseek(file, 0, SEEK_CUR);
    const ssize_t written = next(file, data, call.lengthOf(length));
    if (written > 0)
        note(Op::Write, files[file], static_cast<std::uint64_t>(offset), data, static_cast<std::size_t>(written),
             nullptr, 0);
    return written;
}

ssize_t send(int socket, const void *data, size_t length, int flags)
{
    static const auto next = real(&send, "send");
    noteClear(data, length);
    return next(socket, data, length, flags);
}

ssize_t read(int file, void *data, size_t length)
{
    static const auto next = real(&read, "read");
    return readFrom(file, [&] { return next(file, data, length); });
}

int close(int file)
{
    static const auto next = real(&close, "close");
    if (!isWatched(file))
        return next(file);
    const Call call("close", Kind::Other);
    files[file] = 0;
    const int result = next(file);
    return call.fails() ? -1 : result;
}

int ftruncate(int file, off_t size) noexcept
{
    static const auto next = real(&ftruncate, "ftruncate");
    return truncated(file, size, [&] { return next(file, size); });
}

int ftruncate64(int file, off64_t size) noexcept
{
    static const auto next = real(&ftruncate64, "ftruncate64");
    return truncated(file, size, [&] { return next(file, size); });
}

int fsync(int file)
{
    static const auto next = real(&fsync, "fsync");
    return synced("fsync", file, [&] { return next(file); });
}

int fdatasync(int file)
{
    static const auto next = real(&fdatasync, "fdatasync");
    return synced("fdatasync", file, [&] { return next(file); });
}

int rename(const char *from, const char *to) noexcept
{
    static const auto next = real(&rename, "rename");
    if (!control || !isBelowRoot(to))
        return next(from, to);
    const Call call("rename", Kind::Name, to);
    if (call.fails())
        return -1;
    const int result = next(from, to);
    if (result == 0) {
        char both[2048];
        const int length = std::snprintf(both, sizeof both, "%s%c%s", from, 0, to);
        note(Op::Rename, 0, 0, nullptr, 0, both, static_cast<std::size_t>(length));
    }
    return result;
}

int unlink(const char *path) noexcept
{
    static const auto next = real(&unlink, "unlink");
    return named(Op::Unlink, "unlink", path, [&] { return next(path); });
}

int mkdir(const char *path, mode_t mode) noexcept
{
    static const auto next = real(&mkdir, "mkdir");
    return named(Op::MakeFolder, "mkdir", path, [&] { return next(path, mode); });
}

DIR *opendir(const char *path)
{
    static const auto next = real(&opendir, "opendir");
    if (!control || !isBelowRoot(path))
        return next(path);
    const Call call("opendir", Kind::OpenFolder, path);
    DIR *const folder = call.fails() ? nullptr : next(path);
    const int file = folder ? ::dirfd(folder) : -1;
    if (file >= 0 && file < maximumFiles)
        files[file] = ++lastFile;
    return folder;
}

dirent64 *readdir64(DIR *folder)
{
    static const auto next = real(&readdir64, "readdir64");
    if (!isWatched(::dirfd(folder)))
        return next(folder);
    const Call call("readdir", Kind::Look);
    return call.fails() ? nullptr : next(folder);
}

dirent *readdir(DIR *folder)
{
    static const auto next = real(&readdir, "readdir");
    if (!isWatched(::dirfd(folder)))
        return next(folder);
    const Call call("readdir", Kind::Look);
    return call.fails() ? nullptr : next(folder);
}

int closedir(DIR *folder)
{
    static const auto next = real(&closedir, "closedir");
    if (isWatched(::dirfd(folder)))
        files[::dirfd(folder)] = 0;
    return next(folder);
}

int statx(int at, const char *path, int flags, unsigned mask, struct statx *facts) noexcept
{
    static const auto next = real(&::statx, "statx");
    return looked("stat", path, [&] { return next(at, path, flags, mask, facts); });
}

int stat(const char *path, struct stat *facts) noexcept
{
    static const auto next = real<int(const char *, struct stat *)>(nullptr, "stat");
    return looked("stat", path, [&] { return next(path, facts); });
}

int access(const char *path, int mode) noexcept
{
    static const auto next = real(&access, "access");
    return looked("access", path, [&] { return next(path, mode); });
}

void *mmap64(void *address, size_t length, int protection, int flags, int file, off64_t offset) noexcept
{
    static const auto next = real(&mmap64, "mmap64");
    if (!isWatched(file))
        return next(address, length, protection, flags, file, offset);
    const Call call("mmap", Kind::Other);
    return call.fails() ? MAP_FAILED : next(address, length, protection, flags, file, offset);
}

} // extern "C"
