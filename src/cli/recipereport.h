#pragma once

#include "recipe/recipe.h"

#include <QString>
#include <QVector>

/// A rule that a recipe breaks, as the command line tells it.
struct BrokenRecipeRule
{
    int step = 0; // from 1; 0 for a rule of the recipe as a whole
    QString message;

    QString text() const; // on one line
};

/// The step rules of every step, as the editor checks them.
QVector<BrokenRecipeRule> brokenStepRules(const Recipe &recipe);
/// The same and then those of the recipe as a whole.
QVector<BrokenRecipeRule> brokenRules(const Recipe &recipe);
