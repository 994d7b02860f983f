#include "data/runcollector.h"

#include "data/eventtypelist.h"

#include <utility>

void RunCollector::start(const SamplePoint &sample)
{
    m_on.clear();
    m_pending.clear();
    m_wasOff = false;
    m_first = sample;
    m_last = sample;
    m_on.add(sample);
}

void RunCollector::add(const SamplePoint &sample)
{
    if (static_cast<float>(sample.voltage) < m_threshold) {
        m_pending.add(sample);
        m_wasOff = true;
        return;
    }
    m_on.add(m_pending);
    m_on.add(sample);
    m_pending.clear();
    m_last = sample;
}

void RunCollector::process(const SamplePoint &sample, const void *owner)
{
    const bool late = sample.time <= m_lastTime;
    const bool wasInside = m_detector.isInsideRun();
    m_detector.process(sample, owner);
    if (late)
        return;
    m_lastTime = sample.time;
    const bool inside = m_detector.isInsideRun();
    // A run can only end after RF was seen off: nothing is asked of the queue before.
    QVector<RunSummary> ended;
    if (wasInside && m_wasOff)
        ended = m_detector.takeSummaries();
    for (const RunSummary &summary : std::as_const(ended))
        m_finished.append({summary, m_on.mean(), m_first, m_last});
    if (inside && (!wasInside || !ended.isEmpty()))
        start(sample);
    else if (inside)
        add(sample);
}

void RunCollector::restart()
{
    m_detector.restart();
    m_lastTime = 0;
    m_on.clear();
    m_pending.clear();
}

QVector<FinishedRun> RunCollector::take()
{
    return std::exchange(m_finished, {});
}

EventRecord eventOf(const FinishedRun &run)
{
    EventRecord event;
    event.time = run.summary.start;
    event.typeCode = eventtype::RfOn;
    event.isOverridden = true;
    event.overrideCode = eventtype::RfOn;
    event.loaded = true;
    event.snapshot1 = run.means;
    event.snapshot2 = run.first;
    event.snapshot2.time = run.summary.start;
    event.snapshot3 = run.last;
    event.snapshot3.time = run.summary.end;
    event.samples = run.summary.stepMeans;
    event.recipe = run.summary.recipe;
    return event;
}
