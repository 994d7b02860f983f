#pragma once

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>

/// Counts the files whose name ends so that this program opens: included once, it stands between the toolkit and the
/// system's open calls. Linux. Any thread.
namespace fileopens {

inline const char *counted = nullptr; // end of the names; set before
inline std::atomic<int> count{0};

template <typename Function>
Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

inline void note(const char *path)
{
    const std::size_t length = std::strlen(path);
    const std::size_t end = counted ? std::strlen(counted) : 0;
    if (end > 0 && length >= end && std::strcmp(path + length - end, counted) == 0)
        ++count;
}

/// What an open call does with its arguments, the last of which only a file that is made has.
template <typename Function>
int opened(Function *real, const char *path, int flags, va_list arguments)
{
    note(path);
    return real(path, flags, (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0);
}

} // namespace fileopens

extern "C" int open(const char *path, int flags, ...)
{
    static const auto real = fileopens::next(&::open, "open");
    va_list arguments;
    va_start(arguments, flags);
    const int file = fileopens::opened(real, path, flags, arguments);
    va_end(arguments);
    return file;
}

extern "C" int open64(const char *path, int flags, ...)
{
    static const auto real = fileopens::next(&::open64, "open64");
    va_list arguments;
    va_start(arguments, flags);
    const int file = fileopens::opened(real, path, flags, arguments);
    va_end(arguments);
    return file;
}
