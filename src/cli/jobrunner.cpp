#include "cli/jobrunner.h"

#include "base/jobprogress.h"
#include "base/platform.h"
#include "cli/command.h"
#include "cli/progress.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

namespace {

constexpr int showEveryMs = 200;

class JobThread final : public QThread
{
public:
    JobThread(const std::function<void(JobProgress &)> &job, JobProgress &progress) : m_job(job), m_progress(progress)
    {}
    void run() override { m_job(m_progress); }

private:
    const std::function<void(JobProgress &)> &m_job;
    JobProgress &m_progress;
};

QString lineOf(const JobProgress &progress, int width)
{
    QString line = progress.step();
    if (progress.total() > 0)
        line += QStringLiteral(" %1 of %2").arg(progress.done()).arg(progress.total());
    if (!progress.name().isEmpty())
        line += QStringLiteral("  ") + progress.name();
    return line.left(width - 1);
}

} // namespace

void runJob(Console &console, const std::function<void(JobProgress &)> &job)
{
    JobProgress progress;
    JobThread thread(job, progress);
    QObject::connect(&thread, &QThread::finished, QCoreApplication::instance(), &QCoreApplication::quit);
    platform::onInterrupt([&progress] { progress.cancel(); });

    const int width = platform::terminalWidth();
    ProgressPrinter printer(console.err, width > 0);
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] { printer.show({lineOf(progress, width)}); });
    if (width > 0)
        timer.start(showEveryMs);
    thread.start();
    QCoreApplication::exec();
    thread.wait();
    platform::onInterrupt([] {});
    if (width > 0)
        printer.show({});
}
