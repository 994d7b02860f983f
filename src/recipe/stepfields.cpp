#include "recipe/stepfields.h"

#include <type_traits>

namespace {

struct Text
{
    const char *title;
    const char *unit;
    qint32 minimum;
    qint32 maximum;
    qint32 singleStep;
    const char *help;
};

// In the order of recipefields.inc.
constexpr std::array<Text, 22> texts = {{
    {"Duration", "s", 1, 86400, 1, "How long the step lasts."},
    {"Frequency", "Hz", 1, 100000000, 10000, "RF frequency of the step. The sensor refuses one outside its range."},
    {"Skip time", "s", 0, 3600, 1, "Seconds at the start of the step in which nothing is detected."},
    {"Threshold", "V", 0, 10000, 1,
     "Set the threshold for the multilevel pulse detection. Disabled by default (Voltage = 0).\r\nMake sure that this "
     "value is at least above the Signal Base Threshold set in the sensor configuration."},
    {"MEL1", "µs", 1, 1000000, 10, "Maximum event length of level 1. The levels must not fall."},
    {"MEL2", "µs", 1, 1000000, 10, "Maximum event length of level 2. The levels must not fall."},
    {"MEL3", "µs", 1, 1000000, 10, "Maximum event length of level 3. The levels must not fall."},
    {"MEA1", "%", 0, 100, 1, "Minimum event amplitude of level 1. The levels must not fall."},
    {"MEA2", "%", 0, 100, 1, "Minimum event amplitude of level 2. The levels must not fall."},
    {"MEA3", "%", 0, 100, 1, "Minimum event amplitude of level 3. The levels must not fall."},
    {"Take snapshots", "", 0, 1, 1, "Waveform snapshots are taken during the step."},
    {"Delay", "µs", 1, 10000000, 1000, "Time between two snapshots. All of them must end before the step does."},
    {"Number", "", 1, 10000, 1, "Snapshots in the step. All of them must end before the step does."},
    {"Detect pulses", "", 0, 1, 1, "The RF of the step is pulsed."},
    {"Frequency", "Hz", 0, 100000, 1, "Pulses in a second."},
    {"Duty cycle", "%", 1, 99, 1, "Share of the pulse period in which RF is on; at least 4 µs."},
    {"Period margin", "µs", 0, 100000, 1, "How far the pulse period may be off without being an event."},
    {"Duty margin", "µs", 0, 989998, 1, "How far the time on may be off without being an event."},
    {"Filter length", "µs", 1, 1000, 1, "Pulse event resolution: one saved data point in so many microseconds."},
    {"Noise filter", "samples", 1, 1024, 1, "Length of the filter that smooths the signal before detection."},
    {"Detect strike events", "", 0, 1, 1, "Events while the plasma strikes are detected too."},
    {"RF ON-OFF time", "ms", 1, 60000, 100,
     "RF ON-OFF switch time: how long RF may be off before the run has ended. Longer than the longest pulse period."},
}};

} // namespace

const std::array<StepField, 22> &stepFields()
{
    static const std::array<StepField, 22> fields = [] {
        std::array<StepField, 22> list{};
        std::size_t i = 0;
#define NORVEX_RECIPE_FIELD(type, getter, setter)                                                                      \
    list[i] = {#getter,                                                                                                \
               texts[i].title,                                                                                         \
               texts[i].unit,                                                                                          \
               texts[i].minimum,                                                                                       \
               texts[i].maximum,                                                                                       \
               texts[i].singleStep,                                                                                    \
               texts[i].help,                                                                                          \
               std::is_same_v<type, bool>,                                                                             \
               [](const Recipe &recipe, int step) { return static_cast<qint32>(recipe.getter(step)); },                \
               [](Recipe &recipe, int step, qint32 value) { recipe.setter(step, static_cast<type>(value)); }};         \
    ++i;
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
        return list;
    }();
    return fields;
}

void copyStep(Recipe &to, int toStep, const Recipe &from, int fromStep)
{
    if (toStep < 0 || toStep >= to.numberOfSteps() || fromStep < 0 || fromStep >= from.numberOfSteps())
        return;
    to.setStepName(toStep, from.stepName(fromStep));
    for (const StepField &field : stepFields())
        field.setValue(to, toStep, field.value(from, fromStep));
}

Recipe singleStep(const Recipe &recipe, int step)
{
    Recipe one;
    one.addStep();
    copyStep(one, 0, recipe, step);
    return one;
}
