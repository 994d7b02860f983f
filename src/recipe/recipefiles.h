#pragma once

#include "recipe/recipe.h"

/// Recipe files as an editor meets them: names that a file system takes, and files of unknown origin.
namespace recipefiles {

/// The file name for a recipe's name: what a file system would refuse or take for a folder becomes "_". No extension.
QString baseName(const QString &recipeName);

/// The file of a recipe in a folder. Names that differ only in what became "_" or in case give the same file name; one
/// whose file holds a recipe of another name gets a number, so that none is saved over another.
QString pathFor(const QString &folder, const QString &recipeName);

/// Loads a file that a person chose. Stricter than Recipe::loadFromFile: what carries neither a recipe's name nor a
/// step is of another program. On failure `recipe` is unchanged and `reason` says why in a sentence.
bool load(const QString &path, Recipe &recipe, QString &reason);

} // namespace recipefiles
