#pragma once

#include "recipe/recipe.h"

#include <array>

/// What people see of a step field, and where it lives in a recipe. Its control in a window is "sb_" or, for a switch,
/// "cb_" with the name.
struct StepField
{
    const char *name;  // of the getter
    const char *title; // UTF-8
    const char *unit;  // UTF-8, empty for none
    qint32 minimum;
    qint32 maximum;
    qint32 singleStep;
    const char *help;
    bool isSwitch;
    qint32 (*value)(const Recipe &recipe, int step);
    void (*setValue)(Recipe &recipe, int step, qint32 value);
};

/// Every step field but the name, in the order of recipefields.inc.
const std::array<StepField, 22> &stepFields();

/// Copies a step over another; nothing happens when one of them does not exist.
void copyStep(Recipe &to, int toStep, const Recipe &from, int fromStep);
/// A recipe of this one step.
Recipe singleStep(const Recipe &recipe, int step);
