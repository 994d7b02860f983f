#pragma once

#include <QString>

#include <functional>

class JobProgress;
class QWidget;

/// Runs a long job on a thread of its own and returns when it has ended, while windows stay alive and sensors go on
/// being recorded. Input waits from the start; a busy cursor shows after half a second, and after two a window with
/// what the job is at, how much of how much, the rate, and Cancel. GUI thread; never start a job from within a job.
void runJob(QWidget *parent, const QString &title, const std::function<void(JobProgress &)> &job);
