#pragma once

#include "data/eventrecord.h"
#include "data/samplesums.h"

#include <QStringList>
#include <QVector>

/// The decisions of the run detector: a plain value that takes one sample after the other and says what follows from
/// it. No lock, log, clock or queue; not shared between threads.
///
///   state        voltage          after                     result
///   Initial      below            -> Off                    (a run in progress at the start is never reported)
///   Off          at or above      -> On                     the run starts with this sample
///   On           below            -> OffPending             the confirmation time starts with this sample
///   OffPending   at or above, in time -> On                 the interruption becomes part of the run
///   OffPending   below, in time   stays
///   OffPending   time is over     -> Off, or On if at or above: the run is finished, and the next one may start
///
/// While a run lasts it follows the recipe's steps by their durations and keeps the mean sample of each. The mean of
/// step k is stored at k + 1, and that of the last step at the last index over the one before it: existing sessions
/// have it so.
class RunTracker
{
public:
    enum class State { Initial = 0, Off = 1, On = 2, OffPending = 3 };
    enum class RecipeState { NotStarted = 0, Running = 1, FinishRequested = 2, Finished = 3 };

    struct Outcome
    {
        QStringList lines;            // for the log, in order
        QVector<RunSummary> finished; // none or one
    };

    Outcome step(const SamplePoint &sample);
    void restart();

    void setThreshold(float volts) { m_threshold = volts; }
    void setConfirmationTime(quint64 microseconds) { m_confirmationTime = microseconds; }
    void setRecipe(const Recipe &recipe) { m_nextRecipe = recipe; }

    State state() const { return m_state; }
    RecipeState recipeState() const { return m_recipeState; }
    bool isInsideRun() const { return m_state == State::On || m_state == State::OffPending; }
    /// The step that is running or was the last to run; -1 outside a run or without a recipe.
    int currentStep() const;
    /// How long the running step lets RF be off, us.
    quint64 stepSwitchTime() const { return m_stepSwitchTime; }

private:
    void startRun(const SamplePoint &sample);
    void waitForConfirmation(const SamplePoint &sample, Outcome &outcome);
    void finishRun(quint64 now, Outcome &outcome);
    void trackSteps(quint64 now, Outcome &outcome);
    void startRecipe(Outcome &outcome);
    void changeStep(quint64 now, Outcome &outcome);
    quint64 durationOfStep(int step) const;

    State m_state = State::Initial;
    RecipeState m_recipeState = RecipeState::Finished; // nothing to follow before the first run
    float m_threshold = 20;                            // V
    quint64 m_confirmationTime = 3000000;              // us
    qint32 m_runsFound = 0;

    quint64 m_lastTime = 0; // us, of the newest sample taken
    quint64 m_runStart = 0;
    quint64 m_offStart = 0;
    SampleSums m_run;     // since the last change of step
    SampleSums m_pending; // while OffPending

    Recipe m_nextRecipe; // taken when a run starts
    Recipe m_recipe;
    int m_currentStep = 0;
    quint64 m_stepEnd = 0;
    quint64 m_stepSwitchTime = 0;
    QVector<SamplePoint> m_stepMeans;
};
