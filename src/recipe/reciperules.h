#pragma once

#include "recipe/recipe.h"

#include <QString>
#include <QVector>

/// What a recipe must keep so that a sensor can detect what its steps ask for. Pure functions, shared by the editor and
/// the command line; every rule is checked, and the broken ones are told in a fixed order.
namespace reciperules {

enum class Rule {
    StepLimit,
    StepName,
    AmplitudeOrder,
    LengthOrder,
    SnapshotTime,
    PulseFilter,
    PulsePeriod,
    PulseTimeOn,
    RecipeName,
    RecipeNameLength,
    RecipeNameReserved,
    NoSteps,
};

struct BrokenRule
{
    Rule rule;
    QString message; // shown to the user as it is
    int step = -1;   // from 0; -1 for a rule of the recipe
};

/// The step rules as an editor checks a step that it changes.
QVector<BrokenRule> brokenStepRules(const Recipe &recipe, int step);
/// The same for a step that is added to a recipe of `existingSteps` steps: there may be at most 40.
QVector<BrokenRule> brokenStepRulesWhenAdding(const Recipe &recipe, int step, int existingSteps);

/// The rules of a recipe as a whole, checked when it is saved under a name.
QVector<BrokenRule> brokenRecipeRules(const QString &name, int numberOfSteps);

/// The step rules of every step, as if the recipe were built step by step.
QVector<BrokenRule> brokenStepRulesOfAll(const Recipe &recipe);

/// The pulse period in us, 0 below 1 Hz. Single precision, as the rules and indicators use it.
float pulsePeriod(int pulseFrequency);

} // namespace reciperules
