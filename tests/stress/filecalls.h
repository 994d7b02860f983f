#pragma once

#include <atomic>
#include <cstdint>

/// What the file call shim (filecalls.cpp, loaded before a program's own libraries) and the process that watches it
/// share: a memory-mapped file named by the environment variable NORVEX_FILECALLS. It survives a kill.
namespace filecalls {

enum class Action : std::uint32_t {
    None,
    KillBefore, // the process dies instead of the call
    KillMiddle, // a write writes half of its bytes, then the process dies
    KillAfter,
    Fail,       // the call fails with `error`
    ShortWrite, // a write writes half of its bytes and says so
};

struct Control
{
    std::atomic<std::uint64_t> calls; // made so far below `root`
    std::atomic<std::uint64_t> actAt; // number of the call that `action` is for, from 1
    std::atomic<std::uint32_t> action;
    std::atomic<std::int32_t> error;    // an errno
    std::atomic<std::uint32_t> lasting; // every later call that can fail so fails too, until this is 0 again
    std::atomic<std::uint64_t> acted;   // how often
    char what[200];                     // the first call that was acted on, for messages
    char root[400];                     // calls about files below it count
    char trace[400];                    // file that gets every call in order; empty for none
};

/// A trace is a row of these, each followed by `length` bytes of data and `pathLength` bytes of path (for a rename the
/// two paths with a zero byte between).
enum class Op : std::uint32_t { Open, Write, Truncate, Sync, Rename, Unlink, MakeFolder, Clear };

struct TraceEntry
{
    Op op;
    std::uint32_t file;   // number given by Open
    std::uint64_t offset; // of a write; new size of a truncation; open's flags
    std::uint32_t length;
    std::uint32_t pathLength;
};

} // namespace filecalls
