#pragma once

#include <QString>

/// Log lines go to the toolkit's message handler exactly as given: no added quotes, blanks or decoration. Any thread.
void logDebug(const QString &line);
void logInfo(const QString &line);
void logWarning(const QString &line);

/// Also appends every log line to `path`, each after a "dd-MM-yyyy HH:mm:ss.zzz" time stamp. A file past 5 MB is
/// renamed to "<path>.1" first. Lines still reach the previous handler (stderr) when `echo` is set.
/// Returns false when the file cannot be opened; logging then goes on without it. Called once, by main.
bool startLogFile(const QString &path, bool echo);
