#include "data/rfondetector.h"

#include "base/log.h"
#include "data/runtracker.h"

#include <utility>

rfOnDetector::rfOnDetector() : m_tracker(std::make_unique<RunTracker>()) {}

rfOnDetector::~rfOnDetector() = default;

void rfOnDetector::process(const SamplePoint &sample, const void *)
{
    const RunTracker::Outcome outcome = m_tracker->step(sample);
    if (!outcome.finished.isEmpty()) {
        const QMutexLocker locker(&m_queueLock);
        m_queue += outcome.finished;
    }
    for (const QString &line : outcome.lines)
        logInfo(line);
}

void rfOnDetector::setThreshold(float volts)
{
    m_tracker->setThreshold(volts);
}

void rfOnDetector::setConfirmationTime(quint64 microseconds)
{
    m_tracker->setConfirmationTime(microseconds);
}

void rfOnDetector::setRecipe(const Recipe &recipe)
{
    m_tracker->setRecipe(recipe);
}

void rfOnDetector::restart()
{
    m_tracker->restart();
}

bool rfOnDetector::isInsideRun() const
{
    return m_tracker->isInsideRun();
}

int rfOnDetector::currentStep() const
{
    return m_tracker->currentStep();
}

QVector<RunSummary> rfOnDetector::takeSummaries()
{
    const QMutexLocker locker(&m_queueLock);
    return std::exchange(m_queue, {});
}
