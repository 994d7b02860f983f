#pragma once

#include "data/eventrecord.h"
#include "data/rfondetector.h"
#include "data/samplesink.h"
#include "data/samplesums.h"

#include <QVector>

/// A run with what was measured while RF was on.
struct FinishedRun
{
    RunSummary summary;
    SamplePoint means;
    SamplePoint first; // first and last sample of the run with RF on
    SamplePoint last;
};

/// Stands between the blocks and the run detector and sums the samples of the run that is going on, so that a finished
/// run comes with its means without reading its blocks again. A short interruption inside the run counts, the time
/// after its last sample with RF on does not. Used on the recording thread only.
class RunCollector final : public SampleSink
{
public:
    explicit RunCollector(rfOnDetector &detector) : m_detector(detector) {}

    void process(const SamplePoint &sample, const void *owner = nullptr) override;
    void setThreshold(float volts) { m_threshold = volts; }
    /// A new time line: the open run is dropped.
    void restart();
    QVector<FinishedRun> take();

private:
    void start(const SamplePoint &sample);
    void add(const SamplePoint &sample);

    rfOnDetector &m_detector;
    float m_threshold = 0;
    quint64 m_lastTime = 0;
    SampleSums m_on;
    SampleSums m_pending;  // since RF went off, until it comes back or the run ends
    bool m_wasOff = false; // RF was off at least once since the run began
    SamplePoint m_first;
    SamplePoint m_last;
    QVector<FinishedRun> m_finished;
};

/// The "E_ON" event of a finished run.
EventRecord eventOf(const FinishedRun &run);
