#pragma once

#include "data/samplepoint.h"
#include "recipe/recipe.h"
#include "recipe/sensorconfiguration.h"
#include "simulator/arcwaveform.h"
#include "simulator/randomsource.h"

#include <QVector>

#include <algorithm>
#include <array>

struct ProcessSettings
{
    quint64 seed = 1;
    int rate = 50;               // samples per second of sensor time, 1..1000
    qint64 firstPauseMs = 1000;  // RF off before the first run
    qint64 runLengthMs = 0;      // 0: as long as the steps of the recipe
    qint64 pauseLengthMs = 5000; // RF off between runs
    double arcsPerMinute = 60;   // while RF is on
    bool singleSlot = false;     // a sensor without pulse slot 2 and event counters
};

/// An event as the sensor holds it. The time is on the sensor's clock.
struct SimulatedEvent
{
    qint64 timeUs = 0;
    qint16 typeCode = 0;
    RawWaveform waveform;
};

/// The chamber and the sensor's measuring head: RF-ON runs with ignition and ramp, recipe steps of different power,
/// pulsed RF, short interruptions, drift, noise, arcs of every class and pulse events. A plain value: the same settings
/// and the same calls give the same samples and events. Times count from the sensor's start. Values are rounded to what
/// the pages print, so a reader of the pages gets exactly these numbers.
class ProcessModel
{
public:
    explicit ProcessModel(const ProcessSettings &settings = {});

    /// The recipe shipped with the sensor: strike, pulsed main etch, over etch; within `runLengthMs`, 9 s when 0.
    static Recipe builtInRecipe(qint64 runLengthMs);

    /// Followed from the next run on.
    void setRecipe(const Recipe &recipe);
    void setConfiguration(const SensorConfiguration &configuration) { m_configuration = configuration; }

    /// The time of the sample that nextSample() would return.
    qint64 nextTimeMs() const { return sampleTimeMs(m_index + 1); }

    /// The next sample. Events since the sample before it are appended to `events`, in time order; its counters count
    /// them.
    SamplePoint nextSample(QVector<SimulatedEvent> &events);

    /// The same with exactly these classes of event in its interval instead of random ones.
    SamplePoint nextSampleWith(const QVector<int> &typeCodes, QVector<SimulatedEvent> &events);

    /// What a snapshot at `timeUs` shows: the line as it was at the newest sample.
    SimulatedEvent snapshot(qint64 timeUs);

    /// The sensor starts again: its clock is 0 and the chamber is idle. The random sequence goes on, and the samples
    /// come at other fractions of their period than before.
    void restart();

    bool isRfOn() const { return m_rfOn; }

private:
    /// The borders between the classes: lengths in us, amplitudes in %.
    struct EventLevels
    {
        std::array<double, 4> lengths{};
        std::array<double, 4> amplitudes{};
    };

    struct Step
    {
        qint64 endMs = 0;   // on the sensor's clock
        qint64 quietMs = 0; // no events before
        RfLevel level;
        bool pulsed = false;
        double periodUs = 0;
        double duty = 1;
        double lowLevel = 0; // of slot 2, as a part of slot 1
        EventLevels levels;
        qint64 snapshotsFromUs = 0;
        qint64 snapshotDelayUs = 0;
        qint64 snapshots = 0; // that the recipe asks for in this step
    };

    qint64 sampleTimeMs(qint64 index) const { return std::max<qint64>(0, index * 1000 / m_settings.rate - m_phaseMs); }
    void start();
    void planRun(qint64 startMs);
    Step planStep(int recipeStep, qint64 startMs, qint64 endMs) const;
    EventLevels configuredLevels() const;
    const Step *stepAt(qint64 timeMs) const;
    double envelope(qint64 timeMs) const;
    double currentEnvelope(qint64 timeMs) const;
    void followStep(const Step &step, double intervalMs);
    SamplePoint measure(const Step *step, qint64 fromMs, qint64 timeMs);
    void fillPulses(const Step &step, qint64 fromMs, qint64 timeMs, double scale, double currentScale,
                    SamplePoint &sample);
    static qint64 snapshotsUntil(const Step &step, qint64 timeMs);
    QVector<int> drawEvents(const Step *step, qint64 fromMs, qint64 timeMs);
    int drawClass();
    SimulatedEvent makeEvent(int typeCode, qint64 timeUs, const Step *step);
    ArcShape drawShape(int typeCode, const Step *step);
    int waveformPoints() const;
    SamplePoint advance(const QVector<int> *forced, QVector<SimulatedEvent> &events);
    double drawWait(double perMinute);

    ProcessSettings m_settings;
    Recipe m_recipe;
    SensorConfiguration m_configuration;
    RandomSource m_random;

    qint64 m_index = 0;
    qint64 m_phaseMs = 0;
    qint64 m_runStartMs = 0;
    qint64 m_runEndMs = 0;
    qint64 m_ignitionMs = 0;
    qint64 m_rampMs = 0;
    qint64 m_gapStartMs = 0;
    qint64 m_gapEndMs = 0;
    QVector<Step> m_steps;

    RfLevel m_level; // follows the step's level with the generator's time constant
    double m_drift = 0;
    double m_nextArcMs = 0;
    double m_nextPulseEventMs = 0;
    bool m_rfOn = false;
};
