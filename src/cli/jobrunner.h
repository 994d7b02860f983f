#pragma once

#include <functional>

class JobProgress;
struct Console;

/// Runs a long job on a thread of its own, shows on a terminal how far it is, and lets Ctrl+C cancel it. Returns when
/// the job has ended; main thread.
void runJob(Console &console, const std::function<void(JobProgress &)> &job);
