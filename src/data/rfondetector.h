#pragma once

#include "data/eventrecord.h"
#include "data/samplesink.h"

#include <QMutex>
#include <QVector>

#include <memory>

class RunTracker;

/// Follows a sensor's RF voltage through OFF and ON with a confirmation time, follows the recipe's steps while a run
/// lasts, and queues a summary of each finished run. The decisions are made by RunTracker, a plain value; this is the
/// shell that logs and queues.
///
/// process() runs on the thread that inserts samples, under the block's lock; the setters on the same thread. Only the
/// queue is shared and has its own lock.
class rfOnDetector final : public SampleSink
{
public:
    rfOnDetector();
    ~rfOnDetector() override;

    void process(const SamplePoint &sample, const void *owner = nullptr) override;

    void setThreshold(float volts);
    void setConfirmationTime(quint64 microseconds);
    /// Taken at the start of the next run, so that a run in progress keeps the recipe it began with.
    void setRecipe(const Recipe &recipe);

    /// A new time line: back to the initial state, an open run is dropped, not invented.
    void restart();

    /// RF is on, or off for less than the confirmation time.
    bool isInsideRun() const;
    /// The step that is running, from 0; -1 outside a run or without a recipe.
    int currentStep() const;

    /// Takes all queued summaries. Any thread.
    QVector<RunSummary> takeSummaries();

private:
    std::unique_ptr<RunTracker> m_tracker;

    QMutex m_queueLock; // guards m_queue
    QVector<RunSummary> m_queue;
};
