#include "base/platform.h"

#include <QSocketNotifier>

#include <atomic>
#include <cstdlib>

#ifdef Q_OS_WIN
#include <QMetaObject>
#include <QObject>

#include <io.h>
#include <psapi.h>
#include <windows.h>
#include <winsock2.h>
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

bool replaceFile(const QString &from, const QString &to)
{
    return MoveFileExW(reinterpret_cast<const wchar_t *>(from.utf16()), reinterpret_cast<const wchar_t *>(to.utf16()),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

namespace {
std::function<void()> interruptHandler;
QObject *interruptReceiver = nullptr;

BOOL WINAPI consoleEvent(DWORD)
{
    static std::atomic<int> count{0};
    if (count.fetch_add(1) > 0)
        return FALSE;
    QMetaObject::invokeMethod(interruptReceiver, interruptHandler, Qt::QueuedConnection);
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

bool syncFile(const QFile &file)
{
    int result = 0;
    do {
        result = ::fdatasync(file.handle());
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool syncFolder(const QString &folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    int result = 0;
    do {
        result = ::fsync(descriptor);
    } while (result != 0 && errno == EINTR);
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
