#pragma once

#include <QFile>
#include <QString>

#include <functional>

/// The few calls that differ between Windows and the others. This is the one place with an #ifdef.
namespace platform {

/// Forces what was written to `file` down to the disk. The file must be open and flushed. False when the system says
/// that it could not; the data must then be written again to another file, never synced a second time.
bool syncFile(const QFile &file);

/// Forces the entries of a folder (new names, renames) down to the disk. True on Windows, where a rename is journaled.
bool syncFolder(const QString &folder);

/// Renames `from` to `to`, replacing `to` in one step.
bool replaceFile(const QString &from, const QString &to);

/// Calls `handler` in the thread that called this (it needs an event loop) at the first Ctrl+C or request to
/// terminate; a second one ends the program at once.
void onInterrupt(std::function<void()> handler);

/// Makes closing this socket reset the connection instead of ending it in order. For servers that simulate failures.
void resetOnClose(qintptr socket);

/// Columns of the terminal behind stderr, or 0 when stderr is not a terminal.
int terminalWidth();

/// From now on large pieces of memory go back to the system as soon as they are freed. The C library would keep them
/// for later, and the megabytes of blocks that are filled, copied and dropped for hours would leave it full of holes.
/// Called once, by main.
void returnLargeMemory();

/// Resident memory of this process in bytes, 0 when unknown.
qint64 residentMemory();

} // namespace platform
