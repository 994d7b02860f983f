#pragma once

#include <QString>

class Prompts;
class QWidget;

/// The choosers for recipe files. They return the chosen path, empty when the user cancels.
///
/// The save chooser opens in the folder of its first call for the rest of the program's life, so that recipes stay
/// together; the path chosen ends with ".recipe" and has it nowhere else.
QString getSaveRecipeFile(Prompts &prompts, QWidget *parent, const QString &folder, const QString &proposedName);
QString getOpenRecipeFile(Prompts &prompts, QWidget *parent, const QString &folder);
