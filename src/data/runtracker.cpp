#include "data/runtracker.h"

#include <algorithm>

namespace {

constexpr quint64 leadTime = 100000; // us: a summary begins before the first sample of its run

} // namespace

RunTracker::Outcome RunTracker::step(const SamplePoint &sample)
{
    Outcome outcome;
    if (sample.time <= m_lastTime) {
        outcome.lines.append(QStringLiteral("WARNING: Current sample at tIn = %1us is OLDER than last sample processed "
                                            "at tLast= %2us;")
                                 .arg(sample.time)
                                 .arg(m_lastTime));
        return outcome;
    }
    // Off and On compare in single precision, Initial and OffPending in double: existing sessions were made so.
    switch (m_state) {
    case State::Initial:
        if (sample.voltage < static_cast<double>(m_threshold))
            m_state = State::Off;
        break;
    case State::Off:
        if (static_cast<float>(sample.voltage) >= m_threshold) {
            startRun(sample);
            outcome.lines.append(QStringLiteral("//////////// RF ON detected. Run started ////////////"));
        }
        break;
    case State::On:
        if (static_cast<float>(sample.voltage) >= m_threshold) {
            m_run.add(sample);
            break;
        }
        outcome.lines.append(QStringLiteral("//////////// RF OFF. Waiting confimation time = %1 msec ////////////")
                                 .arg(static_cast<double>(m_confirmationTime) * 0.001));
        m_offStart = sample.time;
        m_pending.clear();
        m_pending.add(sample);
        m_state = State::OffPending;
        break;
    case State::OffPending:
        waitForConfirmation(sample, outcome);
        break;
    }
    trackSteps(sample.time, outcome);
    m_lastTime = sample.time;
    return outcome;
}

void RunTracker::startRun(const SamplePoint &sample)
{
    m_runStart = sample.time;
    m_run.clear();
    m_run.add(sample);
    m_recipeState = RecipeState::NotStarted;
    m_state = State::On;
}

void RunTracker::waitForConfirmation(const SamplePoint &sample, Outcome &outcome)
{
    const bool on = sample.voltage >= static_cast<double>(m_threshold);
    if (sample.time - m_offStart < m_confirmationTime) {
        if (!on) {
            m_pending.add(sample);
            return;
        }
        m_run.add(m_pending);
        m_pending.clear();
        m_run.add(sample);
        m_state = State::On;
        return;
    }
    finishRun(sample.time, outcome);
    if (on) {
        outcome.lines.append(QStringLiteral("////// RF just On after confirmation time. Another run started //////"));
        startRun(sample);
    } else {
        outcome.lines.append(QStringLiteral("////// RF still OFF after confirmation time //////"));
        m_state = State::Off;
    }
}

void RunTracker::finishRun(quint64 now, Outcome &outcome)
{
    m_pending.clear();
    m_recipeState = RecipeState::FinishRequested;
    trackSteps(now, outcome);
    const quint64 start = m_runStart - std::min(m_runStart, leadTime);
    outcome.finished.append({start, m_offStart, m_stepMeans, m_recipe});
    ++m_runsFound;
    outcome.lines.append(QStringLiteral("///// New RF_ON event #%1 found and enqueued: (tStart=%2,tEnd=%3) /////")
                             .arg(m_runsFound)
                             .arg(start)
                             .arg(m_offStart));
}

void RunTracker::trackSteps(quint64 now, Outcome &outcome)
{
    switch (m_recipeState) {
    case RecipeState::NotStarted:
        startRecipe(outcome);
        break;
    case RecipeState::Running:
        if (now >= m_stepEnd)
            changeStep(now, outcome);
        break;
    case RecipeState::FinishRequested:
        m_run.clear();
        m_pending.clear();
        outcome.lines.append(QStringLiteral("*** RfOn: Recipe finished ***"));
        m_recipeState = RecipeState::Finished;
        break;
    case RecipeState::Finished:
        break;
    }
}

void RunTracker::startRecipe(Outcome &outcome)
{
    m_recipe = m_nextRecipe;
    m_currentStep = 0;
    m_stepMeans = QVector<SamplePoint>(m_recipe.numberOfSteps());
    if (m_recipe.isEmpty()) {
        m_recipeState = RecipeState::Finished;
        return;
    }
    outcome.lines.append(QStringLiteral("*** RfOn: Recipe cycle started. Running step 1 ***"));
    m_stepEnd = m_runStart + durationOfStep(0);
    m_stepSwitchTime = static_cast<quint64>(std::max(m_recipe.rfonoffSwitchTime(0), 0)) * 1000;
    m_recipeState = RecipeState::Running;
}

void RunTracker::changeStep(quint64 now, Outcome &outcome)
{
    if (m_currentStep + 1 >= m_recipe.numberOfSteps()) {
        m_stepMeans[m_currentStep] = m_run.mean();
        m_recipeState = RecipeState::Finished;
        return;
    }
    ++m_currentStep;
    m_stepEnd = now + durationOfStep(m_currentStep); // counted from this sample, not from the planned end
    m_stepMeans[m_currentStep] = m_run.mean();
    outcome.lines.append(QStringLiteral("*** RfOn: Changed to step %1 after T=%2s ***")
                             .arg(m_currentStep + 1)
                             .arg(static_cast<double>(now - m_runStart) * 0.000001));
    m_run.clear();
    m_pending.clear();
}

quint64 RunTracker::durationOfStep(int step) const
{
    return static_cast<quint64>(std::max(m_recipe.duration(step), 0)) * 1000000;
}

void RunTracker::restart()
{
    m_state = State::Initial;
    m_recipeState = RecipeState::Finished;
    m_lastTime = 0;
    m_run.clear();
    m_pending.clear();
    m_stepMeans.clear();
}

int RunTracker::currentStep() const
{
    return isInsideRun() && !m_recipe.isEmpty() ? m_currentStep : -1;
}
