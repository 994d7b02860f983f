#include "recipe/reciperules.h"

#include <QCoreApplication>

namespace reciperules {

namespace {

struct StepRule
{
    Rule rule;
    const char *message;
    bool (*isBroken)(const Recipe &recipe, int step);
};

bool amplitudesFall(const Recipe &r, int i)
{
    return r.eventMinAmp1(i) > r.eventMinAmp2(i) || r.eventMinAmp2(i) > r.eventMinAmp3(i);
}

bool lengthsFall(const Recipe &r, int i)
{
    return r.eventMaxLen1(i) > r.eventMaxLen2(i) || r.eventMaxLen2(i) > r.eventMaxLen3(i);
}

// Snapshots that would end just with the step are refused too.
bool snapshotsOutlastStep(const Recipe &r, int i)
{
    return r.snapshotEnabled(i) && qint64(r.snapshotDelay(i)) * r.snapshotNumber(i) >= qint64(r.duration(i)) * 1000000;
}

bool filterOutlastsPulse(const Recipe &r, int i)
{
    if (!r.pulseEnabled(i))
        return false;
    if (r.pulseFrequency(i) < 1)
        return r.pulseFilterLength(i) >= 0;
    return !(r.pulseFilterLength(i) < 1000000.0 / r.pulseFrequency(i));
}

// The pulse values of every step must fit together, whether or not it detects pulses.
bool pulseOutlastsSwitchTime(const Recipe &r, int i)
{
    const float longest = static_cast<float>(r.pulsePeriodEm(i)) + pulsePeriod(r.pulseFrequency(i));
    return r.rfonoffSwitchTime(i) * 1000.0 <= static_cast<double>(longest);
}

bool pulseTooShort(const Recipe &r, int i)
{
    return static_cast<double>(static_cast<float>(r.pulseDutyCycle(i)) * pulsePeriod(r.pulseFrequency(i))) < 400.0;
}

constexpr StepRule stepRules[] = {
    {Rule::StepName, "Please enter the Step's Name", [](const Recipe &r, int i) { return r.stepName(i).isEmpty(); }},
    {Rule::AmplitudeOrder, "Minimum Event Amplitude values must be entered in increasing order", amplitudesFall},
    {Rule::LengthOrder, "Maximum Event Lenght values must be entered in increasing order", lengthsFall},
    {Rule::SnapshotTime, "The Snapshots Time is greater than the Duration of the step", snapshotsOutlastStep},
    {Rule::PulseFilter, "The Pulse Filter Length is greater than the Pulse Frequency", filterOutlastsPulse},
    {Rule::PulsePeriod,
     "Pulse max period (pulse period + period error margin) cannot be greater than the RF ON-OFF switch time",
     pulseOutlastsSwitchTime},
    {Rule::PulseTimeOn, "Pulse time on too low. Pulse period * Duty Cycle must be greater than 4 microseconds",
     pulseTooShort},
};

} // namespace

float pulsePeriod(int pulseFrequency)
{
    return pulseFrequency < 1 ? 0.0F : 1000000.0F / static_cast<float>(pulseFrequency);
}

QVector<BrokenRule> brokenStepRules(const Recipe &recipe, int step)
{
    QVector<BrokenRule> broken;
    for (const StepRule &rule : stepRules) {
        if (rule.isBroken(recipe, step))
            broken.append({rule.rule, QCoreApplication::translate("reciperules", rule.message), step});
    }
    return broken;
}

QVector<BrokenRule> brokenStepRulesWhenAdding(const Recipe &recipe, int step, int existingSteps)
{
    QVector<BrokenRule> broken;
    if (existingSteps >= Recipe::maximumSteps)
        broken.append(
            {Rule::StepLimit,
             QCoreApplication::translate("reciperules", "Cannot add more than %1 steps").arg(Recipe::maximumSteps),
             step});
    return broken + brokenStepRules(recipe, step);
}

QVector<BrokenRule> brokenRecipeRules(const QString &name, int numberOfSteps)
{
    QVector<BrokenRule> broken;
    if (name.isEmpty())
        broken.append({Rule::RecipeName, QCoreApplication::translate("reciperules", "Please enter the recipe name")});
    if (name.size() > Recipe::maximumNameLength)
        broken.append({Rule::RecipeNameLength,
                       QCoreApplication::translate("reciperules",
                                                   "Recipe name is too long. It must have less than %1 characters.")
                           .arg(Recipe::maximumNameLength + 1)});
    if (name == recipenames::defaultRecipeName())
        broken.append(
            {Rule::RecipeNameReserved,
             QCoreApplication::translate("reciperules", "The name '%1' is reserved. Please, choose a different one")
                 .arg(name)});
    if (numberOfSteps < 1)
        broken.append({Rule::NoSteps, QCoreApplication::translate("reciperules", "Recipe has no steps")});
    return broken;
}

QVector<BrokenRule> brokenStepRulesOfAll(const Recipe &recipe)
{
    QVector<BrokenRule> broken;
    for (int step = 0; step < recipe.numberOfSteps(); ++step)
        broken += brokenStepRulesWhenAdding(recipe, step, step);
    return broken;
}

} // namespace reciperules
