#pragma once

#include "recipe/recipe.h"

/// Recipe files as an editor meets them: names that a file system takes, and files of unknown origin.
namespace recipefiles {

/// The file name for a recipe's name: what a file system would refuse or take for a folder becomes "_". No extension.
QString baseName(const QString &recipeName);

/// Loads a file that a person chose. Stricter than Recipe::loadFromFile: what carries neither a recipe's name nor a
/// step is of another program. On failure `recipe` is unchanged and `reason` says why in a sentence.
bool load(const QString &path, Recipe &recipe, QString &reason);

} // namespace recipefiles
