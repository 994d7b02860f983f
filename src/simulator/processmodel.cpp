#include "simulator/processmodel.h"

#include "data/eventtypelist.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double generatorTimeConstantMs = 60;
constexpr double pulseEventsPerMinute = 12;
constexpr qint64 plainRunMs = 9000;
constexpr double degree = 0.017453292519943295;

double rounded(double value, double unitsPerOne)
{
    return double(std::llround(value * unitsPerOne)) / unitsPerOne;
}

double voltageValue(double value)
{
    return rounded(value, 1000);
}

double currentValue(double value)
{
    return rounded(value, 10000);
}

double smooth(double part)
{
    const double x = std::max(0.0, std::min(part, 1.0));
    return x * x * (3 - 2 * x);
}

} // namespace

ProcessModel::ProcessModel(const ProcessSettings &settings)
    : m_settings(settings), m_recipe(builtInRecipe(settings.runLengthMs)), m_random(settings.seed)
{
    m_settings.rate = std::max(1, std::min(settings.rate, 1000));
    start();
}

Recipe ProcessModel::builtInRecipe(qint64 runLengthMs)
{
    const int total = int(std::max<qint64>(3000, runLengthMs > 0 ? runLengthMs : plainRunMs) / 1000);
    const int strike = std::max(1, total * 2 / 9);
    const int overEtch = std::max(1, total * 3 / 9);
    Recipe recipe;
    recipe.initDefault(3);
    recipe.setRecipeName(QStringLiteral("Oxide etch"));
    recipe.setStepName(0, QStringLiteral("Strike"));
    recipe.setStepName(1, QStringLiteral("Main etch"));
    recipe.setStepName(2, QStringLiteral("Over etch"));
    recipe.setDuration(0, strike);
    recipe.setDuration(1, total - strike - overEtch);
    recipe.setDuration(2, overEtch);
    recipe.setPulseEnabled(1, true);
    recipe.setThreshold(1, 60);
    recipe.setSkipTime(1, 0);
    recipe.setSkipTime(2, 0);
    return recipe;
}

void ProcessModel::setRecipe(const Recipe &recipe)
{
    m_recipe = recipe;
    if (sampleTimeMs(m_index) < m_runStartMs)
        planRun(m_runStartMs);
}

void ProcessModel::restart()
{
    m_phaseMs = m_random.below(1000 / m_settings.rate);
    start();
}

void ProcessModel::start()
{
    m_index = 0;
    m_level = {};
    m_drift = 0;
    m_rfOn = false;
    planRun(m_settings.firstPauseMs);
    m_nextArcMs = drawWait(m_settings.arcsPerMinute);
    m_nextPulseEventMs = drawWait(pulseEventsPerMinute);
}

double ProcessModel::drawWait(double perMinute)
{
    if (perMinute <= 0)
        return 1.0e300;
    return -std::log(1.0 - m_random.uniform()) * 60000.0 / perMinute;
}

void ProcessModel::planRun(qint64 startMs)
{
    m_runStartMs = startMs;
    m_steps.clear();
    qint64 endMs = startMs;
    const qint64 limitMs = m_settings.runLengthMs > 0 ? startMs + m_settings.runLengthMs : 0;
    for (int i = 0; i < m_recipe.numberOfSteps(); ++i) {
        const qint64 durationMs = 1000 * qint64(std::max(0, m_recipe.duration(i)));
        qint64 stepEndMs = endMs + durationMs;
        if (limitMs > 0 && (stepEndMs > limitMs || i == m_recipe.numberOfSteps() - 1))
            stepEndMs = limitMs;
        if (stepEndMs <= endMs)
            continue;
        m_steps.append(planStep(i, endMs, stepEndMs));
        endMs = stepEndMs;
    }
    if (m_steps.isEmpty()) {
        endMs = limitMs > 0 ? limitMs : startMs + plainRunMs;
        m_steps.append(planStep(-1, startMs, endMs));
    }
    m_runEndMs = endMs;

    const qint64 lengthMs = endMs - startMs;
    m_ignitionMs = std::min<qint64>(150 + m_random.below(200), lengthMs / 10);
    m_rampMs = std::min<qint64>(800, lengthMs / 5);
    m_gapStartMs = m_gapEndMs = 0;
    if (lengthMs >= 4000 && m_random.chance(0.4)) {
        m_gapStartMs = startMs + lengthMs / 2 + m_random.below(lengthMs / 3);
        m_gapEndMs = m_gapStartMs + 60 + m_random.below(300);
    }
}

ProcessModel::Step ProcessModel::planStep(int recipeStep, qint64 startMs, qint64 endMs) const
{
    // The chamber answers each step of a recipe in its own way, but the same step always in the same way.
    RandomSource chamber(m_settings.seed * 1000003ULL + quint64(recipeStep + 2));
    const double voltage = chamber.uniform(190, 430);
    const double impedance = chamber.uniform(38, 58);
    const double phase = chamber.uniform(62, 82) * degree;

    Step step;
    step.endMs = endMs;
    step.quietMs =
        startMs + std::min<qint64>(1000 * qint64(std::max(0, m_recipe.skipTime(recipeStep))), (endMs - startMs) / 2);
    step.level.voltage = voltage;
    step.level.currentReal = voltage / impedance * std::cos(phase);
    step.level.currentImaginary = -voltage / impedance * std::sin(phase);
    if (m_recipe.eventMaxLen1(recipeStep) > 0 && m_recipe.eventMinAmp1(recipeStep) > 0) {
        step.levels.lengths = {0, double(m_recipe.eventMaxLen1(recipeStep)), double(m_recipe.eventMaxLen2(recipeStep)),
                               double(m_recipe.eventMaxLen3(recipeStep))};
        step.levels.amplitudes = {double(m_recipe.eventMinAmp1(recipeStep)), double(m_recipe.eventMinAmp2(recipeStep)),
                                  double(m_recipe.eventMinAmp3(recipeStep)), 100};
    }
    if (m_recipe.snapshotEnabled(recipeStep)) {
        step.snapshotsFromUs = step.quietMs * 1000;
        step.snapshotDelayUs = std::max(1, m_recipe.snapshotDelay(recipeStep));
        step.snapshots = std::max(0, m_recipe.snapshotNumber(recipeStep));
    }
    if (m_recipe.pulseEnabled(recipeStep) && m_recipe.pulseFrequency(recipeStep) > 0) {
        step.pulsed = true;
        step.periodUs = 1.0e6 / m_recipe.pulseFrequency(recipeStep);
        step.duty = std::max(1, std::min(m_recipe.pulseDutyCycle(recipeStep), 99)) / 100.0;
        step.lowLevel = m_recipe.threshold(recipeStep) > 0 && !m_settings.singleSlot ? 0.4 : 0.0;
    }
    return step;
}

const ProcessModel::Step *ProcessModel::stepAt(qint64 timeMs) const
{
    if (timeMs < m_runStartMs || timeMs >= m_runEndMs)
        return nullptr;
    for (const Step &step : m_steps) {
        if (timeMs < step.endMs)
            return &step;
    }
    return nullptr;
}

/// The voltage as a part of the step's level: the unlit chamber overshoots, then the plasma pulls it down and the
/// generator ramps up.
double ProcessModel::envelope(qint64 timeMs) const
{
    if (timeMs >= m_gapStartMs && timeMs < m_gapEndMs)
        return 0.01;
    const double since = double(timeMs - m_runStartMs);
    if (since < double(m_ignitionMs))
        return 1.45 * (1 - std::exp(-(since + 10) / 20));
    const double ramp = (since - double(m_ignitionMs)) / double(std::max<qint64>(1, m_rampMs));
    return 0.55 + 0.45 * smooth(ramp);
}

double ProcessModel::currentEnvelope(qint64 timeMs) const
{
    return timeMs - m_runStartMs < m_ignitionMs ? 0.12 : envelope(timeMs);
}

void ProcessModel::followStep(const Step &step, double intervalMs)
{
    const double part = m_rfOn ? 1 - std::exp(-intervalMs / generatorTimeConstantMs) : 1.0;
    m_level.voltage += (step.level.voltage - m_level.voltage) * part;
    m_level.currentReal += (step.level.currentReal - m_level.currentReal) * part;
    m_level.currentImaginary += (step.level.currentImaginary - m_level.currentImaginary) * part;
}

SamplePoint ProcessModel::measure(const Step *step, qint64 fromMs, qint64 timeMs)
{
    SamplePoint sample;
    sample.time = quint64(timeMs) * 1000;
    if (!step) {
        m_rfOn = false;
        sample.voltage = voltageValue(0.4 + 0.08 * m_random.noise());
        sample.currentReal = currentValue(0.003 * m_random.noise());
        sample.currentImaginary = currentValue(0.003 * m_random.noise());
        return sample;
    }
    const double intervalMs = double(timeMs - fromMs);
    followStep(*step, intervalMs);
    m_rfOn = true;
    m_drift += -m_drift * intervalMs / 60000 + 0.002 * std::sqrt(intervalMs / 1000) * m_random.noise();
    const double warmUp = 1 - 0.02 * std::exp(-double(timeMs - m_runStartMs) / 8000);
    const double common = warmUp * (1 + m_drift);
    const double voltage = common * envelope(timeMs) * (1 + 0.002 * m_random.noise());
    const double current = common * currentEnvelope(timeMs) * (1 + 0.002 * m_random.noise());

    // Pulsed power is measured as its root mean square over the period.
    const double rms = step->pulsed ? std::sqrt(step->duty + (1 - step->duty) * step->lowLevel * step->lowLevel) : 1.0;
    sample.voltage = voltageValue(m_level.voltage * voltage * rms);
    sample.currentReal = currentValue(m_level.currentReal * current * rms);
    sample.currentImaginary = currentValue(m_level.currentImaginary * current * rms);
    if (step->pulsed)
        fillPulses(*step, fromMs, timeMs, voltage, current, sample);
    return sample;
}

void ProcessModel::fillPulses(const Step &step, qint64 fromMs, qint64 timeMs, double scale, double currentScale,
                              SamplePoint &sample)
{
    const auto pulsesUntil = [&](qint64 ms) { return qint64(std::floor(double(ms) * 1000 / step.periodUs)); };
    sample.numberOfPulses = qint32(pulsesUntil(timeMs) - pulsesUntil(fromMs));
    sample.pulsePeriod = rounded(step.periodUs * (1 + 0.0001 * m_random.noise()), 10);
    sample.slot1OnTime = qint32(std::lround(step.periodUs * step.duty * (1 + 0.0005 * m_random.noise())));
    const double voltage = m_level.voltage * scale;
    const double current = std::hypot(m_level.currentReal, m_level.currentImaginary) * currentScale;
    const double spread = 0.006 + 0.002 * std::fabs(m_random.noise());
    sample.slot1VoltageAvg = voltageValue(voltage);
    sample.slot1VoltageMax = voltageValue(voltage * (1 + spread));
    sample.slot1VoltageMin = voltageValue(voltage * (1 - spread));
    sample.slot1CurrentAvg = currentValue(current);
    sample.slot1CurrentMax = currentValue(current * (1 + spread));
    sample.slot1CurrentMin = currentValue(current * (1 - spread));
    if (step.lowLevel <= 0)
        return;
    sample.slot2OnTime = std::max(0, qint32(std::floor(sample.pulsePeriod)) - sample.slot1OnTime);
    sample.slot2VoltageAvg = voltageValue(voltage * step.lowLevel);
    sample.slot2VoltageMax = voltageValue(voltage * step.lowLevel * (1 + spread));
    sample.slot2VoltageMin = voltageValue(voltage * step.lowLevel * (1 - spread));
    sample.slot2CurrentAvg = currentValue(current * step.lowLevel);
    sample.slot2CurrentMax = currentValue(current * step.lowLevel * (1 + spread));
    sample.slot2CurrentMin = currentValue(current * step.lowLevel * (1 - spread));
}

SamplePoint ProcessModel::nextSample(QVector<SimulatedEvent> &events)
{
    return advance(nullptr, events);
}

SamplePoint ProcessModel::nextSampleWith(const QVector<int> &typeCodes, QVector<SimulatedEvent> &events)
{
    return advance(&typeCodes, events);
}

SamplePoint ProcessModel::advance(const QVector<int> *forced, QVector<SimulatedEvent> &events)
{
    const qint64 fromMs = sampleTimeMs(m_index);
    const qint64 timeMs = sampleTimeMs(++m_index);
    if (timeMs >= m_runEndMs) {
        const qint64 jitter = m_settings.pauseLengthMs / 10;
        const qint64 pauseMs = m_settings.pauseLengthMs + (jitter > 0 ? m_random.below(2 * jitter) - jitter : 0);
        planRun(std::max(m_runEndMs + pauseMs, timeMs));
    }
    const Step *step = stepAt(timeMs);
    SamplePoint sample = measure(step, fromMs, timeMs);
    QVector<int> types = forced ? *forced : drawEvents(step, fromMs, timeMs);

    const qint64 intervalUs = (timeMs - fromMs) * 1000;
    QVector<qint64> times;
    for (int i = 0; i < types.size(); ++i)
        times.append(fromMs * 1000 + 1 + intervalUs * i / types.size() + m_random.below(intervalUs / types.size()));
    for (int i = 0; i < types.size(); ++i) {
        events.append(makeEvent(types[i], times[i], step));
        const int counter = eventtype::countIndex(types[i]);
        if (counter >= 0 && !m_settings.singleSlot)
            ++sample.eventCounts[std::size_t(counter)];
        if (step && types[i] <= eventtype::E33) {
            // An arc that fills a good part of the interval shows in the sample itself.
            const double part = std::min(0.2, 100.0 / double(intervalUs));
            sample.voltage = voltageValue(sample.voltage * (1 - part));
        }
    }
    return sample;
}

/// How many of the step's snapshots have been taken at this time.
qint64 ProcessModel::snapshotsUntil(const Step &step, qint64 timeMs)
{
    const qint64 sinceUs = timeMs * 1000 - step.snapshotsFromUs;
    return sinceUs < 0 ? 0 : std::min(step.snapshots, sinceUs / std::max<qint64>(1, step.snapshotDelayUs));
}

QVector<int> ProcessModel::drawEvents(const Step *step, qint64 fromMs, qint64 timeMs)
{
    QVector<int> types;
    if (!step || timeMs < step->quietMs || timeMs - m_runStartMs < m_ignitionMs + m_rampMs / 2)
        return types;
    if (timeMs >= m_gapStartMs && timeMs < m_gapEndMs)
        return types;
    for (qint64 i = snapshotsUntil(*step, fromMs); i < snapshotsUntil(*step, timeMs) && types.size() < 50; ++i)
        types.append(eventtype::Snapshot);
    const double intervalMs = double(timeMs - fromMs);
    for (m_nextArcMs -= intervalMs; m_nextArcMs <= 0 && types.size() < 100;
         m_nextArcMs += drawWait(m_settings.arcsPerMinute))
        types.append(drawClass());
    if (!step->pulsed || m_settings.arcsPerMinute <= 0)
        return types;
    for (m_nextPulseEventMs -= intervalMs; m_nextPulseEventMs <= 0 && types.size() < 100;
         m_nextPulseEventMs += drawWait(pulseEventsPerMinute))
        types.append(eventtype::PulseEvent);
    return types;
}

int ProcessModel::drawClass()
{
    // Short and shallow arcs are the common ones.
    static constexpr std::array<int, 10> weights{28, 14, 8, 13, 10, 6, 8, 5, 4, 4}; // E11 .. E33, NOTANEVENT
    qint64 draw = m_random.below(100);
    for (std::size_t code = 0; code < weights.size(); ++code) {
        draw -= weights[code];
        if (draw < 0)
            return int(code);
    }
    return eventtype::E11;
}

int ProcessModel::waveformPoints() const
{
    return int(std::max<quint32>(16, std::min<quint32>(m_configuration.eventPoints, 10000)));
}

ProcessModel::EventLevels ProcessModel::configuredLevels() const
{
    const SensorConfiguration &c = m_configuration;
    return {{0, double(c.event1MaxLength), double(c.event2MaxLength), double(c.event3MaxLength)},
            {double(c.event1MinAmplitude), double(c.event2MinAmplitude), double(c.event3MinAmplitude), 100}};
}

/// The first digit of a class is the level of its length, the second that of its amplitude. The shape is drawn well
/// inside the class, so that noise cannot carry it into the next. A step without levels of its own uses the sensor's.
ArcShape ProcessModel::drawShape(int typeCode, const Step *step)
{
    const bool ownLevels = step && step->levels.lengths[1] > 0;
    const EventLevels levels = ownLevels ? step->levels : configuredLevels();
    const auto &lengths = levels.lengths;
    const auto &amplitudes = levels.amplitudes;
    if (typeCode == eventtype::NotAnEvent)
        return {lengths[1] * 0.5, amplitudes[0] * m_random.uniform(0.4, 0.75)};
    const std::size_t length = std::size_t(typeCode / 3);
    const std::size_t amplitude = std::size_t(typeCode % 3);
    const auto inside = [&](double low, double high) { return low + (high - low) * m_random.uniform(0.25, 0.75); };
    return {inside(lengths[length], lengths[length + 1]), inside(amplitudes[amplitude], amplitudes[amplitude + 1])};
}

SimulatedEvent ProcessModel::makeEvent(int typeCode, qint64 timeUs, const Step *step)
{
    // Events asked for while RF is off are measured on the level of the first step.
    const RfLevel level = step ? m_level : m_steps.first().level;
    SimulatedEvent event;
    event.timeUs = timeUs;
    event.typeCode = qint16(typeCode);
    if (typeCode == eventtype::PulseEvent)
        event.waveform =
            pulseWaveform(level, step ? step->duty : 0.5, m_random.uniform(0.2, 1.0), waveformPoints(), m_random);
    else if (typeCode == eventtype::Snapshot)
        event.waveform = steadyWaveform(level, waveformPoints(), m_random);
    else
        event.waveform = arcWaveform(level, drawShape(typeCode, step), waveformPoints(), m_random);
    return event;
}

SimulatedEvent ProcessModel::snapshot(qint64 timeUs)
{
    SimulatedEvent event;
    event.timeUs = timeUs;
    event.typeCode = eventtype::Snapshot;
    const RfLevel level = m_rfOn ? m_level : RfLevel{0.4, 0.003, 0.003};
    event.waveform = steadyWaveform(level, waveformPoints(), m_random);
    return event;
}
