#include "base/platform.h"

#include <QSocketNotifier>

#include <atomic>
#include <cstdlib>

#ifdef Q_OS_WIN
#include <QDir>
#include <QMetaObject>
#include <QObject>

#include <winsock2.h>

#include <windows.h>

#include <io.h>
#include <psapi.h>
#else
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace platform {

#ifdef Q_OS_WIN

bool syncFile(const QFile &file)
{
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
    return handle != INVALID_HANDLE_VALUE && FlushFileBuffers(handle);
}

bool syncFolder(const QString &)
{
    return true;
}

namespace {
/// The form that may be longer than 260 characters; a share's begins otherwise.
QString longPath(const QString &path)
{
    const QString full = QDir::toNativeSeparators(QDir::cleanPath(QDir::current().absoluteFilePath(path)));
    if (full.startsWith(QLatin1String("\\\\?\\")))
        return full;
    return full.startsWith(QLatin1String("\\\\")) ? QLatin1String("\\\\?\\UNC") + full.mid(1)
                                                  : QLatin1String("\\\\?\\") + full;
}
} // namespace

/// Whoever has the file open for a moment, such as a virus scanner, makes it fail, so it is tried for a while.
bool replaceFile(const QString &from, const QString &to)
{
    constexpr int tries = 20;
    constexpr DWORD pauseMs = 10;
    const QString source = longPath(from);
    const QString target = longPath(to);
    for (int i = 0; i < tries; ++i) {
        if (MoveFileExW(reinterpret_cast<const wchar_t *>(source.utf16()),
                        reinterpret_cast<const wchar_t *>(target.utf16()),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return true;
        const DWORD error = GetLastError();
        if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)
            return false;
        Sleep(pauseMs);
    }
    return false;
}

namespace {
std::function<void()> interruptHandler;
QObject *interruptReceiver = nullptr;

/// Runs on a thread of the system's, which ends the program when this returns from a closed window or a shutdown.
BOOL WINAPI consoleEvent(DWORD event)
{
    constexpr DWORD longestMs = 30'000; // the system waits less
    static std::atomic<int> count{0};
    if (count.fetch_add(1) > 0)
        return FALSE;
    QMetaObject::invokeMethod(interruptReceiver, interruptHandler, Qt::QueuedConnection);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(longestMs); // the program ends by itself meanwhile
    return TRUE;
}
} // namespace

void onInterrupt(std::function<void()> handler)
{
    interruptHandler = std::move(handler);
    static QObject receiver;
    interruptReceiver = &receiver;
    SetConsoleCtrlHandler(consoleEvent, TRUE);
}

void resetOnClose(qintptr socket)
{
    const linger atOnce{1, 0};
    setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char *>(&atOnce),
               sizeof atOnce);
}

int terminalWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info))
        return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

void returnLargeMemory() {} // its heap does so by itself

qint64 residentMemory()
{
    PROCESS_MEMORY_COUNTERS counters;
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        return 0;
    return static_cast<qint64>(counters.WorkingSetSize);
}

#else

namespace {

/// Tries again when it is interrupted, but not for ever: who saves holds locks that others wait for.
int syncedAfterInterrupts(int (*sync)(int), int descriptor)
{
    constexpr int mostTries = 1000;
    int result = -1;
    for (int i = 0; i < mostTries && result != 0; ++i) {
        result = sync(descriptor);
        if (result != 0 && errno != EINTR)
            break;
    }
    return result;
}

} // namespace

bool syncFile(const QFile &file)
{
    return syncedAfterInterrupts(&::fdatasync, file.handle()) == 0;
}

bool syncFolder(const QString &folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const int result = syncedAfterInterrupts(&::fsync, descriptor);
    const bool notSupported = result != 0 && errno == EINVAL; // some network shares cannot sync a folder
    ::close(descriptor);
    return result == 0 || notSupported;
}

bool replaceFile(const QString &from, const QString &to)
{
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

namespace {
int interruptPipe[2] = {-1, -1};

void interrupted(int signalNumber)
{
    const char byte = 1;
    if (::write(interruptPipe[1], &byte, 1) != 1)
        ::_exit(128 + signalNumber);
    std::signal(signalNumber, SIG_DFL); // a second one ends the program
}
} // namespace

void onInterrupt(std::function<void()> handler)
{
    if (interruptPipe[0] < 0 && ::pipe(interruptPipe) != 0)
        return;
    static auto *notifier = new QSocketNotifier(interruptPipe[0], QSocketNotifier::Read);
    notifier->disconnect();
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [handler = std::move(handler)] {
        char byte = 0;
        if (::read(interruptPipe[0], &byte, 1) == 1)
            handler();
    });
    std::signal(SIGINT, interrupted);
    std::signal(SIGTERM, interrupted);
}

void resetOnClose(qintptr socket)
{
    const linger atOnce{1, 0};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

int terminalWidth()
{
    winsize size{};
    if (!::isatty(STDERR_FILENO))
        return 0;
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return 80;
    return size.ws_col;
}

void returnLargeMemory()
{
#ifdef M_MMAP_THRESHOLD
    constexpr int large = 1 << 20; // less than a block; setting it keeps it from rising with every such piece
    ::mallopt(M_MMAP_THRESHOLD, large);
#endif
}

qint64 residentMemory()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = file.readAll().split(' ');
    return fields.size() < 2 ? 0 : fields.at(1).toLongLong() * ::sysconf(_SC_PAGESIZE);
}

#endif

} // namespace platform
